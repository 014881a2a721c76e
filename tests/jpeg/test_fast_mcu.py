"""--fast-mcu: colour conversion, sampling and level shift with the MCU functions."""

import unittest

import pictures
import support
from test_interop import Difference, InteropTest, raw_pnm


class FastMcu(InteropTest):
    def sources(self):
        for width, height in (64, 48), (61, 43), (1, 1), (17, 16), (16, 33):
            yield self.write(f"{width}x{height}.ppm", support.pnm(pictures.generated(width, height, 3, width)))

    def run_tool(self, *arguments):
        return self.expect(support.OK, *arguments)

    def test_encoded_files(self):
        """djpeg decodes nearly the same picture as without the option (bounds measured once), for every process."""
        for source in self.sources():
            for sampling, bound in ("4:4:4", 10), ("4:2:2", 18), ("4:2:0", 18):
                options = ["--sample", sampling, "--quality", "90"]
                self.write("exact.jpg", self.run_tool("encode", source, "-", *options))
                exact = self.djpeg("exact.jpg", "-nosmooth")
                shown = []
                for form in [], ["--optimize"], ["--progressive"]:
                    self.write("x.jpg", self.run_tool("encode", source, "-", "--fast-mcu", *options, *form))
                    shown.append(self.djpeg("x.jpg", "-nosmooth"))
                self.assertEqual(shown[1:], shown[:1] * 2)
                difference = Difference()
                difference.add(shown[0][3], exact[3])
                self.assertLessEqual(difference.largest(), bound, (source, sampling))
                self.assertLess(difference.mean(), 0.25 if sampling == "4:4:4" else 1.7, (source, sampling))

    def test_decoded_pictures(self):
        """Equal to repeated samples up to rounding, by rows (PNM) and as a whole (PNG)."""
        for source in self.sources():
            for sampling in "4:4:4", "4:2:2", "4:2:0":
                for form in [], ["--progressive"], ["--restart", "1"]:
                    self.write("x.jpg", self.run_tool("encode", source, "-", "--sample", sampling, *form))
                    exact = raw_pnm(self.run_tool("decode", "x.jpg", "-", "--nosmooth"))
                    fast = raw_pnm(self.run_tool("decode", "x.jpg", "-", "--fast-mcu"))
                    self.assertEqual(fast[:3], exact[:3])
                    difference = Difference()
                    difference.add(fast[3], exact[3])
                    self.assertLessEqual(difference.largest(), 2, (source, sampling))
                    self.run_tool("decode", "x.jpg", "x.png", "--fast-mcu")
                    self.assertEqual(bytes(support.parse_png(self.read("x.png"))[3]), fast[3])

    def test_other_files_are_coded_as_without(self):
        self.write("grey.pgm", support.pnm(pictures.generated(61, 43, 1, 1)))
        self.assertEqual(
            self.run_tool("encode", "grey.pgm", "-", "--fast-mcu"), self.run_tool("encode", "grey.pgm", "-")
        )
        for sampling in "1x2", "4x1", "2x2,2x1,1x1":
            self.write("x.jpg", self.cjpeg(support.pnm(pictures.generated(61, 43, 3, 1)), "-sample", sampling))
            self.assertEqual(self.run_tool("decode", "x.jpg", "-", "--fast-mcu"), self.run_tool("decode", "x.jpg", "-"))

    def test_cut_short(self):
        source = next(self.sources())
        self.write("x.jpg", self.run_tool("encode", source, "-")[:-400])
        for name in "a.ppm", "a.png":
            self.assertEqual(self.moxj("decode", "x.jpg", name, "--fast-mcu").returncode, support.INCOMPLETE)
        rows = raw_pnm(self.read("a.ppm"))
        self.assertEqual(bytes(support.parse_png(self.read("a.png"))[3]), rows[3])
        self.assertEqual(set(rows[3][-3 * 64:]), {128})


if __name__ == "__main__":
    unittest.main()

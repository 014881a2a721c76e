"""Progressive files, scans and tables of all kinds, beside cjpeg, djpeg and jpegtran."""

import re
import struct
import unittest

import pictures
import support
from test_interop import InteropTest, raw_pnm

# Scans that no default script has: bands of a few coefficients, bits refined one by one, components in any order.
SCRIPTS = {
    "spectral": "0 1 2: 0-0, 0, 0; 0: 1-2, 0, 0; 0: 3-9, 0, 0; 0: 10-63, 0, 0; 2: 1-63, 0, 0; 1: 1-63, 0, 0;",
    "bits": "0 1 2: 0-0, 0, 3; 0: 1-63, 0, 3; 1: 1-63, 0, 3; 2: 1-63, 0, 3; 0 1 2: 0-0, 3, 2; 0: 1-63, 3, 2; 1: 1-63, 3, 2;"
            " 2: 1-63, 3, 2; 0: 1-63, 2, 1; 1: 1-63, 2, 1; 2: 1-63, 2, 1; 0 1 2: 0-0, 2, 1; 0 1 2: 0-0, 1, 0; 0: 1-63, 1, 0;"
            " 1: 1-63, 1, 0; 2: 1-63, 1, 0;",
    "single": "2: 0-0, 0, 1; 0: 0-0, 0, 1; 1: 0-0, 0, 0; 0: 0-0, 1, 0; 0: 1-63, 0, 1; 2: 0-0, 1, 0; 0: 1-20, 1, 0;"
              " 1: 1-63, 0, 0; 0: 21-63, 1, 0; 2: 1-63, 0, 0;",
    "unfinished": "0 1 2: 0-0, 0, 1; 0: 1-63, 0, 2; 1: 1-5, 0, 1;",
    "sequential": "0; 2; 1;",
}


class ProgressiveTest(InteropTest):
    def sequential(self, file, *options):
        return self.tool("jpegtran", *options, stdin=file)[0]

    def assert_same_pixels(self, files, twins):
        """Each file gives exactly the pixels of its twin."""
        decoded = self.decode_all(files | {name + "-twin": data for name, data in twins.items()})
        for name in files:
            self.assertEqual(decoded[name], decoded[name + "-twin"], name)


class ReadTest(ProgressiveTest):
    def files(self):
        """Progressive files of cjpeg: samplings, qualities, restarts, sizes, scripts, grey."""
        colour = support.pnm(pictures.generated(61, 43, 3, 1))
        grey = support.pnm(pictures.generated(61, 43, 1, 2))
        files = {}
        for sampling in ("1x1", "2x1", "2x2", "1x2", "4x1", "1x1,2x2,1x1"):
            for restart in ("0", "1", "5", "1B"):
                files[f"s{sampling}-{restart}"] = self.cjpeg(colour, "-progressive", "-sample", sampling, "-restart", restart)
        for quality in (1, 20, 60, 95, 100):
            files[f"q{quality}"] = self.cjpeg(colour, "-progressive", "-quality", quality)
            files[f"g{quality}"] = self.cjpeg(grey, "-progressive", "-quality", quality, "-restart", quality % 3)
        for name, script in SCRIPTS.items():
            self.write("script", script.encode())
            for sampling in ("1x1", "2x2"):
                files[f"{name}-{sampling}"] = self.cjpeg(colour, "-scans", "script", "-quality", 90, "-sample", sampling)
        files["rgb"] = self.cjpeg(colour, "-progressive", "-rgb", "-quality", 90)
        for width in range(1, 35, 3):
            picture = support.pnm(pictures.generated(width, width * 23 % 41, 3, width))
            files[f"w{width}"] = self.cjpeg(picture, "-progressive", "-quality", 85)
        return files

    def test_the_pixels_of_their_sequential_twins(self):
        files = self.files()
        self.assert_same_pixels(files, {name: self.sequential(data) for name, data in files.items()})

    def test_what_jpegtran_makes_of_sequential_files(self):
        picture = support.pnm(pictures.generated(75, 53, 3, 4))
        twins, files = {}, {}
        for number, options in enumerate((["-progressive"], ["-optimize"], ["-progressive", "-restart", "2"], ["-optimize", "-restart", "1B"])):
            for sampling in ("1x1", "2x1", "2x2"):
                name = f"{number}-{sampling}"
                twins[name] = self.cjpeg(picture, "-sample", sampling, "-quality", 92)
                files[name] = self.sequential(twins[name], *options)
        self.assert_same_pixels(files, twins)

    def test_cut_short(self):
        """As many scans as there are; the rest of the picture is still whole."""
        file = self.cjpeg(support.pnm(pictures.generated(75, 53, 3, 4)), "-progressive")
        whole = self.decode_all({"whole": file})["whole"]
        scans = [match.start() for match in re.finditer(rb"\xff\xda", file)]
        self.assertEqual(len(scans), 10)
        errors = []
        for length in [scan + 80 for scan in scans] + [len(file) - 2]:
            self.write("x.jpg", file[:length])
            expected = support.INCOMPLETE if length < len(file) - 2 else support.OK
            words = "warning" if expected else "note: the file has no EOI marker"
            picture = self.expect(expected, "decode", "x.jpg", "-", error=re.compile(r"\Amoxj: x\.jpg: %s[^\n]*\n\Z" % words))
            errors.append(sum((a - b) ** 2 for a, b in zip(raw_pnm(picture)[3], whole[3])))
        self.assertEqual(errors, sorted(errors, reverse=True))
        self.assertEqual(errors[-1], 0)
        between = re.compile(r"warning: the file ends before its last scan\n\Z")
        self.write("x.jpg", file[:scans[4]] + b"\xff\xd8"[:0])
        self.expect(support.INCOMPLETE, "decode", "x.jpg", "-", error=between)
        # With an EOI marker the encoder has left the rest out.
        self.write("x.jpg", file[:scans[4]] + b"\xff\xd9")
        self.expect(support.OK, "decode", "x.jpg", "-")
        self.write("x.jpg", file[:scans[0]])
        self.expect(support.REFUSED, "decode", "x.jpg", "-", error=re.compile("before all components"))

    def test_the_number_of_scans_is_limited(self):
        self.write("x.jpg", self.cjpeg(support.pnm(pictures.generated(40, 40, 3, 4)), "-progressive"))
        self.expect(support.OK, "decode", "x.jpg", "-", "--max-scans", "10")
        self.expect(support.LIMIT, "decode", "x.jpg", "x.ppm", "--max-scans", "9",
                    error="moxj: x.jpg: more than the limit of 9 scans (--max-scans)\n")
        # 501 scans by default: refinements that go on for ever.
        file = self.read("x.jpg")
        last = [match.start() for match in re.finditer(rb"\xff\xda", file)][-1]
        self.write("y.jpg", file[:-2] + file[last:-2] * 490 + b"\xff\xd9")
        self.expect(support.INCOMPLETE, "decode", "y.jpg", "-", error="moxj: y.jpg: warning: scan 11 is out of sequence\n")
        self.write("y.jpg", file[:-2] + file[last:-2] * 491 + b"\xff\xd9")
        self.expect(support.LIMIT, "decode", "y.jpg", "-", error="moxj: y.jpg: more than the limit of 500 scans (--max-scans)\n")

    def test_the_number_of_pixels_is_limited(self):
        file = bytearray(self.cjpeg(support.pnm(pictures.generated(40, 40, 3, 4)), "-progressive"))
        at = file.index(b"\xff\xc2") + 5
        file[at:at + 4] = b"\xff\xff\xff\xff"
        self.write("x.jpg", file)
        self.expect(support.LIMIT, "decode", "x.jpg", "-", error=re.compile("--max-pixels"))

    def test_scans_that_make_no_sense(self):
        file = self.cjpeg(support.pnm(pictures.generated(40, 40, 3, 4)), "-progressive")
        scans = [match.start() for match in re.finditer(rb"\xff\xda", file)]

        def with_parameters(scan, *values):
            start = scans[scan]
            end = start + 2 + struct.unpack(">H", file[start + 2:start + 4])[0]
            return file[:end - 3] + bytes(values) + file[end:]

        for values, words in ((5, 3, 0), "bad band"), ((0, 5, 0), "bad band"), ((1, 64, 0), "bad band"), ((1, 63, 14), "bad point"), \
                ((1, 63, 0x31), "refinement of several"):
            self.write("x.jpg", with_parameters(1, *values))
            self.expect(support.INCOMPLETE, "decode", "x.jpg", "-", error=re.compile(r"warning: scan 2 has a %s[^\n]*\n\Z" % words))
        self.write("x.jpg", with_parameters(0, 1, 63, 0))
        self.expect(support.REFUSED, "decode", "x.jpg", "-", error=re.compile("scan 1 has AC coefficients of several components"))
        self.write("x.jpg", with_parameters(5, 1, 63, 0x10))
        self.expect(support.INCOMPLETE, "decode", "x.jpg", "-", error=re.compile("scan 6 is out of sequence"))

    def test_info(self):
        self.write("x.jpg", self.cjpeg(support.pnm(pictures.generated(40, 40, 3, 4)), "-progressive"))
        text = self.expect(support.OK, "info", "x.jpg").decode()
        self.assertIn("JPEG, progressive\n", text)
        self.assertIn("coefficients 1 to 5, bits 0 to 2", text)
        self.assertEqual(text.count("\nscan "), 10)


if __name__ == "__main__":
    unittest.main()

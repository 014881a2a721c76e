"""Sampling factors and qualities of each component, beside cjpeg: the same headers, nearly the same picture."""

import json
import operator
import struct
import unittest

import pictures
import support
from test_interop import ODD_SAMPLINGS, SAMPLINGS, InteropTest, raw_pnm

NAMES = {"4:4:4": "1x1", "4:2:2": "2x1", "4:2:0": "2x2", "4:4:0": "1x2", "4:1:1": "4x1", "4:1:0": "4x2"}


def frame(data):
    """[(identifier, factors, quantisation table)]"""
    at = next(at for at in range(len(data)) if data[at] == 0xFF and data[at + 1] in (0xC0, 0xC1, 0xC2))
    return [tuple(data[at + 10 + 3 * i:at + 13 + 3 * i]) for i in range(data[at + 9])]


def tables(data):
    """{number: steps of a quantisation table}"""
    found, at = {}, 2
    while data[at + 1] != 0xDA:
        length = struct.unpack(">H", data[at + 2:at + 4])[0]
        if data[at + 1] == 0xDB:
            for table in range(at + 4, at + 2 + length, 65):
                found[data[table]] = data[table + 1:table + 65]
        at += 2 + length
    return found


class SamplingTest(InteropTest):
    def setUp(self):
        super().setUp()
        self.picture = support.pnm(pictures.generated(75, 53, 3, 1))
        self.write("in.ppm", self.picture)

    def encoded(self, *options, source="in.ppm"):
        return self.expect(support.OK, "encode", source, "-", *options)

    def psnr(self, data):
        self.write("x.jpg", data)
        error = sum(map(lambda d: d * d, map(operator.sub, self.djpeg("x.jpg")[3], raw_pnm(self.picture)[3])))
        return error / (75 * 53 * 3)


class Factors(SamplingTest):
    def test_names(self):
        for name, factors in NAMES.items():
            data = self.encoded("--sample", name)
            self.assertEqual(data, self.encoded("--sample", factors))
            self.assertEqual(data, self.encoded("--sample", factors + ",1x1,1x1"))
            self.write("x.jpg", data)
            self.assertEqual(json.loads(self.expect(support.OK, "info", "x.jpg", "--json"))["sampling"], name)
            self.assertEqual([c[1] for c in frame(data)], [int(factors.replace("x", ""), 16), 0x11, 0x11])

    def test_all_that_cjpeg_has(self):
        """As good as its files, and of nearly their size. (Its filters for 2 are not boxes.)"""
        for factors in SAMPLINGS + ODD_SAMPLINGS:
            theirs = self.tool("cjpeg", "-quality", "85", "-sample", factors, stdin=self.picture)[0]
            for options in ([], ["--progressive", "--restart", "2"]):
                ours = self.encoded("--quality", "85", "--sample", factors, *options)
                self.assertEqual(frame(ours), frame(theirs), factors)
                self.assertLess(self.psnr(ours), 1.03 * self.psnr(theirs), factors)
            self.assertLess(len(self.encoded("--quality", "85", "--sample", factors)), 1.01 * len(theirs))

    def test_every_size(self):
        """No pixel depends on what is beyond the edges."""
        for factors in ("1x2", "4x1", "4x2", "1x1,2x2,1x1", "2x2,1x2,2x1", "3x1", "1x3", "3x2"):
            for width in list(range(1, 36, 3)):
                height = width * 23 % 41
                source = support.pnm(support.smooth(width, height, 3))
                self.write("s.ppm", source)
                self.write("x.jpg", self.encoded("--sample", factors, "--quality", "95", source="s.ppm"))
                self.assertEqual(self.djpeg("x.jpg")[:2], (width, height))
                # The lowest and the highest grey stay what they are to the corners.
                for value in (0, 255):
                    self.write("s.ppm", b"P6 %d %d 255\n" % (width, height) + bytes([value]) * (3 * width * height))
                    self.write("x.jpg", self.encoded("--sample", factors, source="s.ppm"))
                    self.assertEqual(set(self.djpeg("x.jpg")[3]), {value})

    def test_boxes(self):
        """Means of boxes, rounded to nearest: of single blocks without frequencies, exactly."""
        for factors, across, down in (("4x1", 4, 1), ("1x2", 1, 2), ("4x2", 4, 2), ("3x1", 3, 1), ("3x2", 3, 2)):
            # Red stripes as wide as a sample of chrominance: each is one value, whatever the filter.
            stripes = b"".join(bytes([40 * (x // across % 5) + y // down % 3 * 20, 100, 90])
                               for y in range(8 * down) for x in range(8 * across))
            self.write("s.ppm", b"P6 %d %d 255\n" % (8 * across, 8 * down) + stripes)
            self.write("x.jpg", self.encoded("--sample", factors, "--quality", "100", source="s.ppm"))
            decoded = self.djpeg("x.jpg", "-nosmooth")[3]
            self.assertLessEqual(max(abs(a - b) for a, b in zip(decoded, stripes)), 4, factors)

    def test_what_is_refused(self):
        for factors, cause in (("4x4", "--sample makes an MCU of 18 blocks: JPEG allows at most 10"),
                               ("3x3,1x1,1x1", "--sample makes an MCU of 11 blocks: JPEG allows at most 10"),
                               ("3x1,2x1,1x1", "--sample has ratios of components that are not whole numbers"),
                               ("1x3,1x2,1x1", "--sample has ratios of components that are not whole numbers"),
                               ("1x1,1x1,1x1,1x1", "--sample is for 4 components, but there are 3")):
            self.expect(support.REFUSED, "encode", "in.ppm", "x.jpg", "--sample", factors,
                        error=f"moxj: in.ppm: {cause}\n")
        for text in ("5x1", "0x1", "2x", "2x1,", "2", "4:2:1", "2x1;1x1", "1x1,1x1,1x1,1x1,1x1", ""):
            self.assertEqual(self.moxj("encode", "in.ppm", "x.jpg", "--sample", text).returncode, support.USAGE, text)

    def test_the_last_option_counts(self):
        self.assertEqual(self.encoded("--sample", "2x1", "--sample", "4:4:4"), self.encoded("--sample", "4:4:4"))
        self.assertEqual(self.encoded("--sample", "4:4:4", "--sample", "2x1"), self.encoded("--sample", "4:2:2"))

    def test_grey_has_no_sampling(self):
        self.write("grey.pgm", support.pnm(pictures.generated(30, 20, 1, 1)))
        self.assertEqual(self.encoded("--sample", "2x2,1x1,1x1", source="grey.pgm"), self.encoded(source="grey.pgm"))


class Qualities(SamplingTest):
    def test_of_each_component(self):
        luminance = {q: tables(self.encoded("--quality", str(q)))[0] for q in (90, 80, 30)}
        chrominance = {q: tables(self.encoded("--quality", str(q)))[1] for q in (90, 80, 30)}
        for text, expected, numbers in (
            ("90,80", [luminance[90], chrominance[80]], [0, 1, 1]),
            ("90,80,80", [luminance[90], chrominance[80]], [0, 1, 1]),
            ("90,80,30", [luminance[90], chrominance[80], chrominance[30]], [0, 1, 2]),
            ("30,90,30", [luminance[30], chrominance[90], chrominance[30]], [0, 1, 2]),
        ):
            for options in ([], ["--progressive"], ["--optimize"]):
                data = self.encoded("--quality", text, *options)
                self.assertEqual([c[2] for c in frame(data)], numbers)
                self.assertEqual([table for _, table in sorted(tables(data).items())], expected)
                self.write("x.jpg", data)
                self.assertEqual(self.djpeg("x.jpg")[:2], (75, 53))

    def test_cjpeg_has_the_same_tables(self):
        for text in ("90,80", "30,60"):
            theirs = self.tool("cjpeg", "-quality", text, "-sample", "2x2", stdin=self.picture)[0]
            self.assertEqual(tables(self.encoded("--quality", text)), tables(theirs))

    def test_one_number_is_the_quality_of_all(self):
        self.assertEqual(self.encoded("--quality", "80,80"), self.encoded("--quality", "80"))
        self.assertEqual(self.encoded("--quality", "20,30", "--quality", "80"), self.encoded("--quality", "80"))
        self.assertEqual(self.encoded("--quality", "40,30,20", "--grayscale"),
                         self.encoded("--quality", "40", "--grayscale"))

    def test_what_is_refused(self):
        for text in ("90,", ",90", "90,0", "101,90", "90;80", "90,80,70,60,50", "90,a"):
            self.assertEqual(self.moxj("encode", "in.ppm", "x.jpg", "--quality", text).returncode, support.USAGE, text)


if __name__ == "__main__":
    unittest.main()

"""Regions and reduced pictures of files of cjpeg: every sampling, Huffman and arithmetic coding. A region is the cut of
the whole; a reduced picture is close to that of djpeg."""

import random
import unittest

import pictures
import support
from test_interop import InteropTest, raw_pnm

WIDTH, HEIGHT = 93, 71
SAMPLINGS = "1x1", "2x1", "2x2", "1x2", "4x1", "3x1", "3x2", "1x1,2x2,1x1", "2x1,1x2,1x1"


class RegionsTest(InteropTest):
    def files(self):
        colour = support.pnm(pictures.generated(WIDTH, HEIGHT, 3, 1))
        for sampling in SAMPLINGS:
            for options in (), ("-progressive",), ("-arithmetic", "-restart", "2"), ("-arithmetic", "-progressive"):
                data = self.cjpeg(colour, "-sample", sampling, "-quality", "90", *options)
                yield " ".join((sampling, *options)), data

    def decoded(self, *options):
        return support.parse_pnm(self.expect(support.OK, "decode", "in.jpg", "-", "--format", "ppm", *options))

    def test_cuts(self):
        for name, data in self.files():
            self.write("in.jpg", data)
            source = random.Random(name)
            for reduce in range(4):
                size = ["--reduce", str(reduce), *(["--nosmooth"] if reduce == 1 else [])]
                width, height, _, samples = self.decoded(*size)
                self.assertEqual((width, height), (-(-WIDTH >> reduce), -(-HEIGHT >> reduce)))
                for _ in range(3):
                    x, y = source.randrange(WIDTH - 9), source.randrange(HEIGHT - 9)
                    wide, high = source.randint(9, WIDTH - x), source.randint(9, HEIGHT - y)
                    left, right, top, bottom = (-(-at >> reduce) for at in (x, x + wide, y, y + high))
                    rows = [samples[3 * (row * width + left):3 * (row * width + right)] for row in range(top, bottom)]
                    part = self.decoded(*size, "--region", f"{x},{y},{wide},{high}")
                    self.assertEqual(part, (right - left, bottom - top, 3, sum(rows, [])), (name, reduce, x, y))

    def test_reduced_pictures_are_those_of_djpeg(self):
        """Nearly: djpeg averages samples. (Of 4:2:2 it takes chrominance of half the height, and repeats it.)"""
        for sampling in "1x1", "2x2":
            colour = support.pnm(support.smooth(WIDTH, HEIGHT, 3))
            data = self.cjpeg(colour, "-sample", sampling, "-quality", "95")
            self.write("in.jpg", data)
            for reduce in 1, 2, 3:
                ours = self.decoded("--reduce", str(reduce))
                peer = raw_pnm(self.tool("djpeg", "-scale", f"1/{1 << reduce}", "in.jpg")[0])
                self.assertEqual(ours[:3], peer[:3])
                mean = sum(abs(a - b) for a, b in zip(ours[3], peer[3])) / len(ours[3])
                self.assertLess(mean, 2, (sampling, reduce))


if __name__ == "__main__":
    unittest.main()

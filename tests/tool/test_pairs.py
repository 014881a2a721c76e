"""Options of reading, combined at random: a region is the cut of the picture that the others give, and turning comes
last."""

import random
import unittest

from support import *
from test_metadata import exif_of, with_chunks

WIDTH, HEIGHT = 93, 71
JPEG = [["--sample", "4:4:4"], ["--sample", "2x1"], ["--sample", "4:2:0", "--restart", "3"], ["--sample", "1x4"],
        ["--sample", "2x2,2x1,1x2"], ["--progressive"], ["--depth", "12", "--sample", "4:2:0"], ["--rgb"],
        ["--grayscale"], ["--lossless", "4"]]
JPEG_2000 = [[], ["--ratio", "5"], ["--tile", "31x29"], ["--tile", "32x32", "--ratio", "8", "--layers", "3"],
             ["--precincts", "32,32,16,16", "--progression", "PCRL", "--sop"], ["--levels", "2", "--block", "8x128"]]


def parse_pam(data):
    """(rows of pixels, each of them bytes, and what else the header says)"""
    header, samples = data.split(b"ENDHDR\n", 1)
    facts = dict(line.split(b" ", 1) for line in header.split(b"\n") if b" " in line)
    width, height, depth = (int(facts.pop(name)) for name in (b"WIDTH", b"HEIGHT", b"DEPTH"))
    pixel = depth * (1 + (int(facts[b"MAXVAL"]) > 255))
    assert len(samples) == width * height * pixel
    rows = [[samples[at:at + pixel] for at in range(y * width * pixel, (y + 1) * width * pixel, pixel)]
            for y in range(height)]
    return rows, facts


def turned(rows, orientation):
    if orientation in (2, 3, 7, 8):
        rows = [row[::-1] for row in rows]
    if orientation in (3, 4, 6, 7):
        rows = rows[::-1]
    return [list(row) for row in zip(*rows)] if orientation >= 5 else rows


class Pairs(ToolTest):
    def make_files(self):
        plain = png_of(smooth(WIDTH, HEIGHT, 3))
        files = []
        for number, (kind, options) in enumerate([("jpg", one) for one in JPEG] + [("jp2", one) for one in JPEG_2000]):
            orientation = 1 + number % 8
            self.write("in.png", with_chunks(plain, chunk(b"eXIf", exif_of(orientation))))
            files.append((f"{number}.{kind}", orientation, options))
            self.expect(OK, "encode", "in.png", files[-1][0], *options, "--quiet")
        for orientation in range(1, 9):
            self.write(f"p{orientation}.png", with_chunks(plain, chunk(b"eXIf", exif_of(orientation))))
            self.expect(OK, "decode", f"p{orientation}.png", f"t{orientation}.tif", "--quiet")
            files += [(f"p{orientation}.png", orientation, []), (f"t{orientation}.tif", orientation, [])]
        return files

    def decoded(self, name, *options):
        return parse_pam(self.expect(OK, "decode", name, "-", "--format", "pam", "--quiet", *options))

    def test_regions_and_turns(self):
        source = random.Random(7)
        for name, orientation, coded in self.make_files():
            for _ in range(3):
                options, reduce = [], 0
                if name.endswith(("jpg", "jp2")) and "--lossless" not in coded and source.random() < 0.6:
                    reduce = source.randint(1, 2)
                    options += ["--reduce", str(reduce)]
                if name.endswith("jpg"):
                    options += source.choice([[], ["--nosmooth"], ["--picture", "1"],
                                              [] if reduce else ["--fast-mcu"]])
                if name.endswith("jp2"):
                    options += source.choice([[], ["--upsample"], ["--layers", "1"]])
                options += source.choice([[], ["--srgb"], ["--threads", "3"]])
                x, y = source.randrange(WIDTH), source.randrange(HEIGHT)
                width, height = source.randint(8, 40), source.randint(8, 40)
                region = ["--region", f"{x},{y},{width},{height}"]
                with self.subTest(name, coded=coded, options=options, region=region):
                    rows, facts = self.decoded(name, *options)
                    self.assertTrue(self.decoded(name, *options, "--orient") == (turned(rows, orientation), facts))
                    part = [-(-at // (1 << reduce)) for at in (x, min(x + width, WIDTH), y, min(y + height, HEIGHT))]
                    cut = [row[part[0]:part[1]] for row in rows[part[2]:part[3]]]
                    if not cut or not cut[0]:
                        continue
                    self.assertTrue(self.decoded(name, *options, *region) == (cut, facts))
                    self.assertTrue(self.decoded(name, *options, *region, "--orient") ==
                                    (turned(cut, orientation), facts))


if __name__ == "__main__":
    unittest.main()

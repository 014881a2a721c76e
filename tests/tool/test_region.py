"""--region, --reduce and --tile: with every format, with each other and with --orient. The result is the cut of the
whole picture."""

import re
import struct
import unittest

from support import *


def cut(picture, x, y, width, height):
    whole, _, channels, samples = picture
    rows = [samples[((y + row) * whole + x) * channels:((y + row) * whole + x + width) * channels]
            for row in range(height)]
    return width, height, channels, sum(rows, [])


def rotated(picture):
    """Clockwise."""
    width, height, channels, samples = picture
    pixels = [samples[(y * width + x) * channels:(y * width + x + 1) * channels]
              for x in range(width) for y in range(height - 1, -1, -1)]
    return height, width, channels, sum(pixels, [])


class Regions(ToolTest):
    def setUp(self):
        super().setUp()
        picture = smooth(90, 70, 3)
        self.write("a.ppm", pnm(picture))
        self.write("a.png", png_of(picture))
        self.write("i.png", png_of(picture, interlaced=True))
        self.write("a.pgx", b"PG ML + 8 90 70\n" + bytes(picture[3][::3]))
        for name, *options in (("a.jpg",), ("p.jpg", "--progressive"), ("f.jpg", "--sample", "4:2:2"),
                               ("l.jpg", "--lossless"), ("a.jp2",), ("t.jp2", "--tile", "40x30"),
                               ("n.j2k", "--ratio", "10", "--levels", "3")):
            self.expect(OK, "encode", "a.ppm", name, *options)

    def decoded(self, name, *options, error=""):
        return parse_pnm(self.expect(OK, "decode", name, "-", "--format", "pnm", *options, error=error))

    def test_every_format(self):
        for name in "a.ppm", "a.png", "i.png", "a.pgx", "a.jpg", "p.jpg", "f.jpg", "l.jpg", "a.jp2", "t.jp2", "n.j2k":
            whole = self.decoded(name)
            for region in ((0, 0, 90, 70), (13, 21, 40, 30), (89, 69, 1, 1), (37, 0, 5, 70), (16, 16, 16, 16)):
                with self.subTest(name=name, region=region):
                    text = ",".join(map(str, region))
                    self.assertEqual(self.decoded(name, "--region", text), cut(whole, *region))

    def test_in_grey(self):
        """Colours are converted before the rest is cut off: the columns at the end of a row have other roundings."""
        for name in "a.ppm", "a.jpg", "a.jp2":
            convert = ["decode", name, "-", "--format", "pgm", "--quiet"]
            whole = parse_pnm(self.expect(OK, *convert))
            for x, width in (0, 30), (13, 41), (7, 83), (1, 2):
                part = self.expect(OK, *convert, "--region", f"{x},21,{width},30")
                self.assertEqual(parse_pnm(part), cut(whole, x, 21, width, 30), (name, x, width))

    def test_reduced(self):
        for name in "a.jpg", "p.jpg", "f.jpg", "a.jp2", "t.jp2", "n.j2k":
            for reduce in 1, 2, 3:
                whole = self.decoded(name, "--reduce", str(reduce))
                self.assertEqual(whole[:2], (-(-90 >> reduce), -(-70 >> reduce)))
                x0, y0, x1, y1 = (-(-value >> reduce) for value in (13, 21, 53, 51))
                self.assertEqual(self.decoded(name, "--reduce", str(reduce), "--region", "13,21,40,30"),
                                 cut(whole, x0, y0, x1 - x0, y1 - y0), (name, reduce))

    def test_tiles(self):
        whole = self.decoded("t.jp2")
        for tile in range(9):
            x, y = tile % 3 * 40, tile // 3 * 30
            part = self.decoded("t.jp2", "--tile", str(tile))
            self.assertEqual(part, cut(whole, x, y, min(40, 90 - x), min(30, 70 - y)))
        half = self.decoded("t.jp2", "--reduce", "1")
        self.assertEqual(self.decoded("t.jp2", "--reduce", "1", "--tile", "4"), cut(half, 20, 15, 20, 15))

    def test_tiles_that_are_refused(self):
        self.expect(REFUSED, "decode", "t.jp2", "out.ppm", "--tile", "9",
                    error="moxj: t.jp2: --tile 9: the tiles of the picture are 0 to 8\n")
        self.expect(REFUSED, "decode", "a.jpg", "out.ppm", "--tile", "0",
                    error="moxj: a.jpg: --tile is not for JPEG files\n")
        self.expect(USAGE, "decode", "t.jp2", "out.ppm", "--tile", "0", "--region", "0,0,9,9",
                    error="moxj: --tile and --region cannot be combined (see moxj decode --help)\n")
        self.expect(USAGE, "decode", "in.jpg", "out.ppm", "--reduce", "1", "--fast-mcu",
                    error="moxj: --reduce and --fast-mcu cannot be combined (see moxj decode --help)\n")

    def test_regions_that_are_refused(self):
        for text in "1,2,3", "1,2,3,4,5", "1,2,0,4", "-1,2,3,4", "a", "1,2,3,", "":
            self.expect(USAGE, "decode", "a.jpg", "out.ppm", "--region", text, error=re.compile(
                r"\Amoxj: --region: .* is not X,Y,W,H with whole numbers, W and H at least 1 "))
        for name in "a.ppm", "a.jpg", "l.jpg", "a.jp2":
            self.expect(REFUSED, "decode", name, "out.png", "--region", "90,0,1,1",
                        error=f"moxj: {name}: --region lies outside the picture of 90 x 70 pixels\n")
        for name in "a.jpg", "a.jp2":
            self.expect(REFUSED, "decode", name, "out.png", "--region", "1,1,1,1", "--reduce", "2",
                        error=f"moxj: {name}: --region has no pixels at that resolution\n")
        self.expect(REFUSED, "decode", "a.jpg", "out.png", "--reduce", "4",
                    error="moxj: a.jpg: --reduce 4 is not a number from 0 to 3\n")
        self.expect(REFUSED, "decode", "l.jpg", "out.png", "--reduce", "1",
                    error="moxj: l.jpg: --reduce is not for lossless JPEG files\n")
        self.assertNotIn("out.png", self.files())

    def test_beyond_the_picture(self):
        for name in "a.ppm", "a.jpg", "l.jpg", "a.jp2":
            note = f"moxj: {name}: note: the region reaches beyond the picture and becomes 20 x 10 pixels\n"
            self.assertEqual(self.decoded(name, "--region", "70,60,30,30", error=note),
                             cut(self.decoded(name), 70, 60, 20, 10))

    def test_the_region_is_that_of_the_picture_before_it_is_turned(self):
        exif = b"Exif\0\0MM\0*" + struct.pack(">IHHHIHHI", 8, 1, 0x112, 3, 1, 6, 0, 0)
        file = self.read("a.jpg")
        self.write("turned.jpg", file[:20] + b"\xff\xe1" + struct.pack(">H", len(exif) + 2) + exif + file[20:])
        whole = self.decoded("a.jpg")
        self.assertEqual(self.decoded("turned.jpg", "--orient", "--region", "13,21,40,30"),
                         rotated(cut(whole, 13, 21, 40, 30)))

    def test_encoding(self):
        for name in "a.png", "a.jpg", "a.jp2":
            self.expect(OK, "encode", name, "part.jp2", "--region", "13,21,40,30")
            self.assertEqual(self.decoded("part.jp2"), cut(self.decoded(name), 13, 21, 40, 30))
        self.expect(OK, "encode", "a.jpg", "small.jp2", "--reduce", "2", "--region", "13,21,40,30")
        self.assertEqual(self.decoded("small.jp2"), self.decoded("a.jpg", "--reduce", "2", "--region", "13,21,40,30"))

    def test_components(self):
        self.expect(OK, "decode", "a.jp2", "all.pgx", "--components")
        self.expect(OK, "decode", "a.jp2", "part.pgx", "--components", "--region", "13,21,40,30")
        for number in range(3):
            samples = list(self.read(f"all_{number}.pgx").split(b"\n", 1)[1])
            header, found = self.read(f"part_{number}.pgx").split(b"\n", 1)
            self.assertEqual((40, 30, 1, list(found)), cut((90, 70, 1, samples), 13, 21, 40, 30))
            self.assertTrue(header.endswith(b" 40 30"))

    def test_memory(self):
        """A part of a file that does not fit as a whole."""
        width, height = 1500, 1200
        self.write("big.ppm", pnm((width, height, 3, list(bytes(range(250)) * (width * height * 3 // 250)))))
        self.expect(OK, "encode", "big.ppm", "big.jp2")
        self.expect(OK, "encode", "big.ppm", "big.jpg", "--progressive")
        for name in "big.jp2", "big.jpg":
            self.expect(LIMIT, "decode", name, "out.ppm", "--max-memory", "3M", error=re.compile("max-memory"))
            self.expect(OK, "decode", name, "out.ppm", "--max-memory", "3M", "--region", "700,300,100,100")
        self.expect(LIMIT, "decode", "big.jp2", "out.ppm", "--max-pixels", "10000", error=re.compile("max-pixels"))
        self.expect(OK, "decode", "big.jp2", "out.ppm", "--max-pixels", "10000", "--region", "700,300,100,100")


if __name__ == "__main__":
    unittest.main()

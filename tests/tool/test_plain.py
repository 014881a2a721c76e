"""Formats of plain samples other than PNG, PPM, PGM and PGX: pictures of every kind in and out, held against other
programs, and damaged files."""

import os
import re
import shutil
import subprocess
import unittest

from support import *

# Tuple types of PAM: how many samples a tuple has.
TUPLES = {"GRAYSCALE": 1, "GRAYSCALE_ALPHA": 2, "RGB": 3, "RGB_ALPHA": 4, "CMYK": 4, "CMYK_ALPHA": 5}


def words(samples, maxval):
    return b"".join(pack(value, maxval) for value in samples)


def pam(picture, tuple_type, maxval=255):
    """As the tool writes it."""
    width, height, channels, samples = picture
    header = "P7\nWIDTH %d\nHEIGHT %d\nDEPTH %d\nMAXVAL %d\n" % (width, height, channels, maxval)
    header += ("TUPLTYPE %s\n" % tuple_type if tuple_type else "") + "ENDHDR\n"
    return header.encode() + words(samples, maxval)


def packed_bits(picture):
    """The raster of a PBM file, whose samples are 0 for white."""
    width, height, _, samples = picture
    rows = b""
    for y in range(height):
        text = "".join(str(1 - value) for value in samples[y * width:(y + 1) * width])
        text += "0" * (-width % 8)
        rows += bytes(int(text[i:i + 8], 2) for i in range(0, len(text), 8))
    return rows


def pbm(picture):
    """As the tool writes it; the samples of the picture are 1 for white."""
    return b"P4\n%d %d\n" % picture[:2] + packed_bits(picture)


def plain_pbm(picture, between=b""):
    width, height, _, samples = picture
    return b"P1\n# comment\n%d %d\n" % (width, height) + between.join(b"%d" % (1 - value) for value in samples)


class PlainTest(ToolTest):
    def converted(self, data, name, *options, error=""):
        """The file that the tool makes of another one. Through pipes it is the same."""
        self.write("in", data)
        self.expect(OK, "decode", "in", name, *options, error=error)
        kind = name.rsplit(".")[-1]
        piped = self.expect(OK, "decode", "-", "-", "--format", kind, *options, stdin=data,
                            error=error.replace("moxj: in:", "moxj: standard input:"))
        self.assertEqual(piped, self.read(name))
        return piped

    def refused(self, data, cause):
        self.write("in", data)
        self.expect(REFUSED, "decode", "in", "out.ppm", error="moxj: in: %s\n" % cause)

    def incomplete(self, data, cause, kind="pnm"):
        self.write("in", data)
        return self.expect(INCOMPLETE, "decode", "in", "-", "--format", kind, error="moxj: in: warning: %s\n" % cause)

    def damaged(self, file, limit=400, seed=5):
        """Cut at every byte, and with bytes changed at random: one line, or a picture."""
        source = random.Random(seed)
        cases = [file[:length] for length in range(3, min(len(file), limit))]
        for _ in range(150):
            data = bytearray(file)
            for _ in range(source.randint(1, 4)):
                data[source.randrange(min(len(data), limit))] = source.choice((0, 1, 255, source.randrange(256)))
            cases.append(bytes(data))
        statuses = set()
        for data in cases:
            self.write("in", data)
            for arguments in ("decode", "in", "-", "--quiet", "--max-pixels", "100000"), ("info", "in"):
                result = self.moxj(*arguments)
                self.assertIn(result.returncode, (OK, REFUSED, INCOMPLETE, LIMIT), (data, result.stderr))
                self.assertEqual(result.stderr.count("\n"), int(result.returncode != OK), (data, result.stderr))
                if arguments[0] == "decode":
                    statuses.add(result.returncode)
        self.assertLessEqual({REFUSED, INCOMPLETE}, statuses)


class Pam(PlainTest):
    def test_every_tuple_type_and_depth_comes_back(self):
        for tuple_type, channels in TUPLES.items():
            for maxval in 1, 3, 100, 255, 256, 1000, 65535:
                for size in (1, 1), (7, 5), (100, 41):
                    if tuple_type.startswith("GRAYSCALE") and maxval == 1:
                        name = tuple_type.replace("GRAYSCALE", "BLACKANDWHITE")
                    else:
                        name = tuple_type
                    file = pam(noise(*size, channels, maxval, maxval), name, maxval)
                    self.assertEqual(self.converted(file, "out.pam"), file, (name, maxval, size))

    def test_samples_of_unknown_meaning(self):
        for channels in 1, 2, 3, 4, 5, 16:
            picture = noise(9, 5, channels)
            self.assertEqual(self.converted(pam(picture, "SPECTRUM"), "out.pam"), pam(picture, ""))
            self.assertEqual(self.converted(pam(picture, ""), "out.pam"), pam(picture, ""))

    def test_from_and_to_pnm_and_png(self):
        for tuple_type, kind in (("GRAYSCALE", GREY), ("GRAYSCALE_ALPHA", GREY_ALPHA), ("RGB", RGB),
                                 ("RGB_ALPHA", RGB_ALPHA)):
            for bits in 8, 16:
                maxval = (1 << bits) - 1
                picture = noise(13, 9, TUPLES[tuple_type], bits, maxval)
                file = pam(picture, tuple_type, maxval)
                made = self.converted(file, "out.png")
                self.assertEqual(parse_any_png(made), (13, 9, kind, bits, picture[3]))
                self.assertEqual(self.converted(made, "out.pam"), file)
                if kind in (GREY, RGB):
                    self.assertEqual(self.converted(file, "out.pnm"), pnm(picture, maxval))
                    self.assertEqual(self.converted(pnm(picture, maxval), "out.pam"), file)

    def test_opacity_is_dropped_with_a_note(self):
        width, height, _, samples = picture = noise(6, 4, 4)
        kept = [value for i, value in enumerate(samples) if i % 4 < 3]
        self.assertEqual(self.converted(pam(picture, "RGB_ALPHA"), "out.ppm",
                                        error="moxj: in: note: transparency dropped\n"), pnm((6, 4, 3, kept)))

    def test_inks_of_jpeg_files(self):
        """0 is no ink in PAM and the maximum value in JPEG."""
        picture = noise(24, 16, 4)
        self.write("in.pam", pam(picture, "CMYK"))
        self.expect(OK, "encode", "in.pam", "out.jpg", "--lossless")
        self.expect(OK, "decode", "out.jpg", "out.pgm", "--components")
        for i in range(4):
            self.assertEqual(parse_pnm(self.read("out_%d.pgm" % i))[3], [255 - ink for ink in picture[3][i::4]])
        self.assertEqual(self.converted(self.read("out.jpg"), "out.pam"), pam(picture, "CMYK"))

    def test_headers(self):
        picture = noise(4, 3, 3)
        samples = bytes(picture[3])
        for header in (b"P7\nWIDTH 4\nHEIGHT 3\nDEPTH 3\nMAXVAL 255\nTUPLTYPE RGB\nENDHDR\n",
                       b"P7\n# one\n\nMAXVAL\t255\n  DEPTH  3  \nHEIGHT 3\n#TUPLTYPE X\nWIDTH 4\nTUPLTYPE RGB \r\n"
                       b"ENDHDR\n",
                       b"P7\r\nWIDTH 4\r\nHEIGHT 3\r\nDEPTH 3\r\nMAXVAL 255\r\nTUPLTYPE RGB\r\nENDHDR\r\n"):
            self.assertEqual(self.converted(header + samples, "out.ppm"), pnm(picture), header)
        for header, cause in ((b"P7\nWIDTH 1\n", "the file ends in its header"),
                              (b"P7\nWIDTH x\n", "the WIDTH in the header is not a number"),
                              (b"P7\nWIDTH\n", "the WIDTH in the header is not a number"),
                              (b"P7\nHEIGHT -1\n", "the HEIGHT in the header is not a number"),
                              (b"P7\nCOLOUR 1\n", "the header has an unknown line"),
                              (b"P7\nWIDTH 1\nHEIGHT 1\nDEPTH 1\nENDHDR\nx", "the header has no MAXVAL"),
                              (b"P7\nWIDTH 1\nHEIGHT 1\nMAXVAL 9\nENDHDR\nx", "the header has no DEPTH")):
            self.refused(header, cause)
        for values, cause in (((0, 1, 1, 1), "the picture has no samples"),
                              ((1, 0, 1, 1), "the picture has no samples"),
                              ((1, 1, 0, 1), "the picture has no samples"),
                              ((1, 1, 1, 0), "the maximum value is not between 1 and 65535"),
                              ((1, 1, 1, 65536), "the maximum value is not between 1 and 65535"),
                              ((1, 1, 17, 1), "PAM files of 17 samples a pixel are not supported")):
            self.refused(b"P7\nWIDTH %d\nHEIGHT %d\nDEPTH %d\nMAXVAL %d\nENDHDR\nxx" % values, cause)
        self.refused(b"P7\nWIDTH 1\nHEIGHT 1\nDEPTH 2\nMAXVAL 1\nTUPLTYPE RGB\nENDHDR\nxx",
                     "the tuple type RGB does not have 2 samples")

    def test_info(self):
        self.write("in.pam", pam(noise(5, 4, 4, maxval=1000), "CMYK", 1000))
        text = self.expect(OK, "info", "in.pam").decode()
        self.assertIn("PAM, CMYK, maximum value 1000\n", text)
        self.assertIn("5 x 4 pixels, 4 channels of 10 bits", text)

    def test_damage(self):
        picture = noise(12, 9, 4)
        file = pam(picture, "RGB_ALPHA")
        row = 12 * 4
        made = self.incomplete(file[:-2 * row - 1], "the file ends after 6 of 9 rows", "pam")
        self.assertEqual(made, file[:-2 * row - 1] + bytes(2 * row + 1))
        made = self.incomplete(pam((2, 1, 1, [9, 2]), "GRAYSCALE", 7).replace(b"VAL 7", b"VAL 5"),
                               "samples above the maximum value in the header", "pam")
        self.assertEqual(made, pam((2, 1, 1, [5, 2]), "GRAYSCALE", 5))
        self.damaged(file, limit=90)

    @unittest.skipUnless(shutil.which("pamtopnm") and shutil.which("convert"), "needs netpbm and ImageMagick")
    def test_other_programs(self):
        def run(*command, data):
            return subprocess.run(command, input=data, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
                                  check=True).stdout

        for maxval in 255, 65535:
            rgb, grey = noise(21, 13, 3, 3, maxval), noise(21, 13, 1, 4, maxval)
            self.assertEqual(run("pamtopnm", data=self.converted(pnm(rgb, maxval), "out.pam")), pnm(rgb, maxval))
            self.assertEqual(run("pamtopnm", data=self.converted(pnm(grey, maxval), "out.pam")), pnm(grey, maxval))
            depth = "8" if maxval == 255 else "16"
            for tuple_type in "GRAYSCALE", "GRAYSCALE_ALPHA", "RGB", "RGB_ALPHA", "CMYK":
                picture = noise(21, 13, TUPLES[tuple_type], 5, maxval)
                made = run("convert", "pam:-", "-depth", depth, "pam:-", data=pam(picture, tuple_type, maxval))
                self.assertEqual(self.converted(made, "out.pam"), pam(picture, tuple_type, maxval), tuple_type)
            # The raw samples of CMYK are the inks, 0 is none.
            inks = noise(21, 13, 4, 6, maxval)
            made = run("convert", "pam:-", "-depth", depth, "-endian", "MSB", "cmyk:-", data=pam(inks, "CMYK", maxval))
            self.assertEqual(made, words(inks[3], maxval))


class Pbm(PlainTest):
    def test_bits_come_back(self):
        for size in (1, 1), (7, 3), (8, 2), (9, 5), (100, 41):
            picture = noise(*size, 1, maxval=1)
            for file in pbm(picture), plain_pbm(picture), plain_pbm(picture, b" "), plain_pbm(picture, b"\n#1\n"):
                self.assertEqual(self.converted(file, "out.pbm"), pbm(picture))
            self.assertEqual(self.converted(pbm(picture), "out.pgm"), pnm(picture, 1))
            self.assertEqual(self.converted(pbm(picture), "out.pam"), pam(picture, "BLACKANDWHITE", 1))
            self.assertEqual(self.converted(pnm(picture, 1), "out.pbm"), pbm(picture))
            self.assertEqual(parse_png(self.converted(pbm(picture), "out.png")), scaled(picture, 1))

    def test_deeper_samples_are_black_or_white(self):
        """Whichever is nearer."""
        picture = (4, 1, 1, [0, 127, 128, 255])
        self.assertEqual(self.converted(pnm(picture), "out.pbm",
                                        error="moxj: in: note: samples of 8 bits reduced to 1\n"),
                         pbm((4, 1, 1, [0, 0, 1, 1])))

    def test_through_jpeg(self):
        """As 8-bit grey."""
        picture = (32, 16, 1, [x // 16 for _ in range(16) for x in range(32)])
        self.write("in.pbm", pbm(picture))
        self.expect(OK, "encode", "in.pbm", "out.jpg", "--quality", "95")
        self.expect(OK, "decode", "out.jpg", "out.pgm")
        self.assertEqual(parse_pnm(self.read("out.pgm"))[3], [255 * value for value in picture[3]])

    def test_headers_and_damage(self):
        self.refused(b"P4\n3", "the file ends in its header")
        self.refused(b"P4\n3 x", "the header has something that is not a number")
        self.refused(b"P4\n0 1\n", "the picture has no pixels")
        self.refused(b"P4\n9 1\n", "the file ends after its header")
        self.refused(b"P1\n2 1\n2", "no samples follow the header")
        picture = noise(20, 9, 1, maxval=1)
        black = (20, 9, 1, picture[3][:60 + 8] + [0] * 112)
        self.assertEqual(self.incomplete(pbm(picture)[:-17], "the file ends after 3 of 9 rows", "pbm"), pbm(black))
        file = plain_pbm(picture)
        self.incomplete(file[:-30] + b"7" + file[-29:],
                        "the file has something that is neither 0 nor 1 after 7 of 9 rows")
        for file in pbm(picture), plain_pbm(picture):
            self.damaged(file, limit=60)

    def test_info(self):
        self.write("in", pbm(noise(5, 4, 1, maxval=1)))
        self.assertIn("PBM, grey, raw\nsize          5 x 4 pixels, 1 channel of 1 bit,",
                      self.expect(OK, "info", "in").decode())

    @unittest.skipUnless(shutil.which("pbmtoascii"), "needs netpbm")
    def test_other_programs(self):
        picture = noise(21, 13, 1, maxval=1)
        for command in ["pnmtoplainpnm"], ["pamtopnm"], ["pnmtile", "21", "13"]:
            made = subprocess.run(command, input=self.converted(pnm(picture, 1), "out.pbm"), stdout=subprocess.PIPE,
                                  check=True).stdout
            self.assertEqual(self.converted(made, "out.pbm"), pbm(picture))


if __name__ == "__main__":
    unittest.main()

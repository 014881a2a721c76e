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
        for _ in range(100):
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


# ---- BMP ---------------------------------------------------------------------------------------------------------


def bmp(width, height, bits, rows, size=40, compression=0, palette=None, masks=(), extra=b"", top_down=False,
        resolution=(0, 0)):
    """`rows`: the bytes of the rows from the top, or the run lengths. `extra`: the rest of a header above 40 bytes."""
    if isinstance(rows, list):
        padded = [row + bytes(-len(row) % 4) for row in rows]
        rows = b"".join(padded if top_down else reversed(padded))
    entries = b"".join(bytes(reversed(colour)) + (b"" if size == 12 else b"\0") for colour in palette or [])
    if size == 12:
        header = struct.pack("<IHHHH", 12, width, height, 1, bits)
    else:
        header = struct.pack("<IiiHHIIiiII", size, width, -height if top_down else height, 1, bits, compression,
                             len(rows), *resolution, len(palette or []), 0)
        header += struct.pack("<%dI" % len(masks), *masks) + extra
        assert len(header) == size or (size == 40 and len(header) == 40 + 4 * len(masks))
    offset = 14 + len(header) + len(entries)
    return b"BM" + struct.pack("<IHHI", offset + len(rows), 0, 0, offset) + header + entries + rows


def bits_of(values, bits):
    text = "".join(format(value, "0%db" % bits) for value in values)
    text += "0" * (-len(text) % 8)
    return bytes(int(text[i:i + 8], 2) for i in range(0, len(text), 8))


def rows_of(picture):
    width, height, channels, samples = picture
    return [samples[y * width * channels:(y + 1) * width * channels] for y in range(height)]


def bgr(row):
    return bytes(row[i - i % 3 + 2 - i % 3] for i in range(len(row)))


def repeated(value, bits, to=8):
    """A field of few bits as a sample: its bits again and again."""
    text = format(value, "0%db" % bits) * to
    return int(text[:to], 2)


def bmp24(picture, **options):
    return bmp(*picture[:2], 24, [bgr(row) for row in rows_of(picture)], **options)


class Bmp(PlainTest):
    COLOURS = [(i * 7 % 256, i * 31 % 256, 255 - i) for i in range(256)]

    def test_colours_come_back(self):
        for size in (1, 1), (2, 2), (3, 5), (101, 43):
            picture = noise(*size, 3)
            for options in {}, {"size": 12}, {"top_down": True}, {"size": 108, "extra": bytes(68)}:
                self.assertEqual(self.converted(bmp24(picture, **options), "out.ppm"), pnm(picture))
            self.assertEqual(self.converted(pnm(picture), "out.bmp"), bmp24(picture))
            grey = noise(*size, 1)
            made = self.converted(pnm(grey), "out.bmp")
            self.assertEqual(made, bmp(*size, 8, [bytes(row) for row in rows_of(grey)],
                                       palette=[(i, i, i) for i in range(256)]))
            self.assertEqual(self.converted(made, "out.pgm"), pnm(grey))

    def test_palettes(self):
        for bits in 1, 2, 4, 8:
            for size in (1, 1), (9, 4), (33, 17):
                for options in {}, {"size": 12}, {"top_down": True}, {"size": 64, "extra": bytes(24)}:
                    if options.get("size") == 12 and bits == 2:
                        continue
                    picture = noise(*size, 1, maxval=(1 << bits) - 1)
                    palette = self.COLOURS[:1 << bits]
                    rows = [bits_of(row, bits) for row in rows_of(picture)]
                    file = bmp(*size, bits, rows, palette=palette, **options)
                    expected = (*size, 3, [value for index in picture[3] for value in palette[index]])
                    self.assertEqual(self.converted(file, "out.ppm"), pnm(expected), (bits, size, options))
        # Grey, whatever the order.
        picture = noise(9, 4, 1, maxval=15)
        file = bmp(9, 4, 4, [bits_of(row, 4) for row in rows_of(picture)], palette=[(255 - i,) * 3 for i in range(16)])
        self.assertEqual(self.converted(file, "out.pnm"), pnm((9, 4, 1, [255 - value for value in picture[3]])))

    def test_colours_that_the_palette_does_not_have(self):
        file = bmp(4, 1, 8, [bytes([0, 1, 2, 3])], palette=[(9, 8, 7), (1, 2, 3)])
        made = self.incomplete(file, "pixels have colours that the palette does not have")
        self.assertEqual(made, pnm((4, 1, 3, [9, 8, 7, 1, 2, 3] + [0] * 6)))

    def test_words(self):
        """Of 16 and 32 bits, with fields of any size and order."""
        for bits, masks in ((16, None), (16, (0xF800, 0x07E0, 0x001F)), (16, (0x001F, 0x03E0, 0x7C00)),
                            (16, (0xF00, 0xF0, 0xF)), (16, (0xE0, 0x1C, 0x3)), (32, None),
                            (32, (0xFF, 0xFF00, 0xFF0000)), (32, (0xFF000000, 0xFF0000, 0xFF00)),
                            (32, (0x3FF00000, 0xFFC00, 0x3FF)), (32, (0xFFFF0000, 0xFF00, 0xFF))):
            fields = masks or ((0x7C00, 0x3E0, 0x1F) if bits == 16 else (0xFF0000, 0xFF00, 0xFF))
            counts = [bin(mask).count("1") for mask in fields]
            depth = max(8, *counts)
            source = random.Random(bits)
            pixels = [[source.getrandbits(bits) for _ in range(13)] for _ in range(7)]
            rows = [b"".join(struct.pack("<H" if bits == 16 else "<I", word) for word in row) for row in pixels]
            samples = [repeated((word & mask) // (mask & -mask), count, depth)
                       for row in pixels for word in row for mask, count in zip(fields, counts)]
            for options in {}, {"size": 108, "extra": bytes(52)}:
                if options and not masks:
                    continue
                given = tuple(masks or ()) + ((0,) if options else ())
                file = bmp(13, 7, bits, rows, compression=3 if masks else 0, masks=given, **options)
                self.assertEqual(self.converted(file, "out.ppm"), pnm((13, 7, 3, samples), (1 << depth) - 1),
                                 (bits, masks, options))

    def test_opacity(self):
        for tuple_type, channels in ("RGB_ALPHA", 4), ("GRAYSCALE_ALPHA", 2):
            picture = noise(13, 7, channels)
            colours = [row for row in rows_of(picture)]
            expected = [b"".join(bytes([row[i + 2], row[i + 1], row[i], row[i + 3]] if channels == 4 else
                                       [row[i]] * 3 + [row[i + 1]]) for i in range(0, len(row), channels))
                        for row in colours]
            made = self.converted(pam(picture, tuple_type), "out.bmp")
            masks = (0xFF0000, 0xFF00, 0xFF, 0xFF000000)
            self.assertEqual(made, bmp(13, 7, 32, expected, size=108, compression=3, masks=masks,
                                       extra=b"BGRs" + bytes(48)))
            back = parse_any_png(self.converted(made, "out.png"))
            if channels == 4:
                self.assertEqual(back, (13, 7, RGB_ALPHA, 8, picture[3]))
            else:
                self.assertEqual(back[4][::4], picture[3][::2])
                self.assertEqual(back[4][3::4], picture[3][1::2])
        # Four masks after a header of 40 bytes.
        words = [[source for source in (0x7FFF, 0x8000, 0xFFFF, 0)]]
        file = bmp(4, 1, 16, [struct.pack("<4H", *words[0])], compression=6, masks=(0x7C00, 0x3E0, 0x1F, 0x8000))
        self.assertEqual(parse_any_png(self.converted(file, "out.png")),
                         (4, 1, RGB_ALPHA, 8, [255, 255, 255, 0, 0, 0, 0, 255, 255, 255, 255, 255, 0, 0, 0, 0]))

    # The counts of bits, compression and masks of the two kinds of words.
    KINDS = {"555": ((5, 5, 5), 0, ()), "565": ((5, 6, 5), 3, (0xF800, 0x7E0, 0x1F))}

    def test_words_are_written(self):
        """A sample becomes the nearest field, the larger of two; nothing is noted if nothing is lost."""
        for kind, (counts, compression, masks) in self.KINDS.items():
            note = "moxj: in: note: samples reduced to %s bits\n" % {"555": "5", "565": "5, 6 and 5"}[kind]
            for size in (1, 1), (2, 3), (101, 43):
                picture, rows, seen = noise(*size, 3), [], []
                nearest = [[min(range(1 << count), key=lambda f: (abs(repeated(f, count) - value), -f))
                            for value in range(256)] for count in counts]
                for row in rows_of(picture):
                    fields = [nearest[i % 3][value] for i, value in enumerate(row)]
                    seen += [repeated(field, counts[i % 3]) for i, field in enumerate(fields)]
                    rows.append(b"".join(struct.pack("<H", r << counts[1] + 5 | g << 5 | b)
                                         for r, g, b in zip(*[iter(fields)] * 3)))
                expected = bmp(*size, 16, rows, compression=compression, masks=masks)
                made = self.converted(pnm(picture), "out.bmp", "--words", kind, error=note)
                self.assertEqual(made, expected)
                self.assertEqual(self.converted(made, "out.ppm"), pnm((*size, 3, seen)))
                self.assertEqual(self.converted(made, "out.bmp", "--words", kind), made)
                grey = self.converted(pnm((*size, 1, [0, 255] * (size[0] * size[1]))), "out.bmp", "--words", kind)
                self.assertEqual(grey[28:30], b"\x10\0")
        self.write("in.bmp", made)
        self.assertIn(b"BMP, 16 bits a pixel", self.expect(OK, "info", "in.bmp"))
        for value in "", "8", "556", "565x", "0565 ":
            self.expect(USAGE, "decode", "in.bmp", "out.bmp", "--words=" + value, error=re.compile("is not 555 or 565"))
        self.expect(USAGE, "decode", "in.bmp", "out.pgx", "--words", "565", "--components",
                    error=re.compile("--words and --components cannot be combined"))

    def test_words_of_each_picture_of_a_file(self):
        """The pictures of joined JPEG files become words by their own sampling, not by that of the first one."""
        self.write("in.ppm", pnm(smooth(37, 21, 3)))
        files = []
        for sample in "4:4:4", "4:2:0":
            self.expect(OK, "encode", "in.ppm", "one.jpg", "--sample", sample)
            files.append(self.read("one.jpg"))
        for one, other in files, files[::-1]:
            self.write("one.jpg", other)
            self.write("two.jpg", one + other)
            self.expect(OK, "decode", "one.jpg", "one.bmp", "--words", "565", "--quiet")
            self.expect(OK, "decode", "two.jpg", "two.bmp", "--words", "565", "--picture", "2", "--quiet")
            self.assertEqual(self.read("two.bmp")[54:], self.read("one.bmp")[54:])

    @unittest.skipUnless(shutil.which("convert"), "needs ImageMagick")
    def test_other_programs_read_words(self):
        self.write("in.ppm", pnm(smooth(37, 21, 3)))
        for kind in self.KINDS:
            self.expect(OK, "decode", "in.ppm", "in.bmp", "--words", kind, "--quiet")
            self.expect(OK, "decode", "in.bmp", "out.ppm")
            ours = parse_pnm(self.read("out.ppm"))
            command = ["convert", "bmp:-", "-depth", "8", "ppm:-"]
            read = subprocess.run(command, input=self.read("in.bmp"), stdout=subprocess.PIPE, check=True).stdout
            self.assertEqual(parse_pnm(read), ours, kind)

    def test_jpeg_of_rows_with_blue_first(self):
        """The same file as of the same picture with red first, whatever it is coded as."""
        for size in (1, 1), (17, 9), (101, 43):
            picture = smooth(*size, 3)
            self.write("in.ppm", pnm(picture))
            cut = bmp24(picture)[:-(-size[0] * 3 % 4) or None]  # without the padding of the last row
            for i, file in enumerate((bmp24(picture), bmp24(picture, top_down=True), cut)):
                self.write("in.bmp", file)
                for options in ("", "--sample 4:4:4", "--sample 4:2:2", "--sample 2x1,1x2,1x1", "--grayscale", "--rgb",
                                "--progressive", "--fast-mcu", "--fast-mcu --sample 4:4:4", "--threads 2", "--depth 12",
                                "--fast-mcu --sample 4:2:2", "--lossless", "--region 0,0,1,1", "--comment x", "--srgb"):
                    made = []
                    for source in "in.bmp", "in.ppm":
                        self.expect(OK, "encode", source, "out.jpg", *options.split())
                        made.append(self.read("out.jpg"))
                    self.assertEqual(*made, (size, i, options))

    def test_run_lengths(self):
        palette = self.COLOURS
        # 3 x 2: a run, an absolute part (padded to even), the end of a row, another row with a jump.
        runs = bytes([2, 5, 1, 7, 0, 0, 0, 3, 1, 2, 3, 0, 0, 1])
        self.assertEqual(self.converted(bmp(3, 2, 8, runs, compression=1, palette=palette), "out.ppm"),
                         pnm((3, 2, 3, [v for i in (1, 2, 3, 5, 5, 7) for v in palette[i]])))
        runs = bytes([0, 2, 1, 1, 1, 9, 0, 1])
        self.assertEqual(self.converted(bmp(3, 2, 8, runs, compression=1, palette=palette), "out.ppm"),
                         pnm((3, 2, 3, [v for i in (0, 9, 0, 0, 0, 0) for v in palette[i]])))
        runs = bytes([5, 0x12, 0, 0, 0, 5, 0x34, 0x56, 0x70, 0, 0, 1])
        self.assertEqual(self.converted(bmp(5, 2, 4, runs, compression=2, palette=palette[:16]), "out.ppm"),
                         pnm((5, 2, 3, [v for i in (3, 4, 5, 6, 7, 1, 2, 1, 2, 1) for v in palette[i]])))
        # What follows an absolute part begins at a whole word.
        runs = bytes([0, 3, 1, 2, 3, 0, 0, 0, 3, 9, 0, 1])
        self.assertEqual(self.converted(bmp(3, 2, 8, runs, compression=1, palette=palette), "out.ppm"),
                         pnm((3, 2, 3, [v for i in (9, 9, 9, 1, 2, 3) for v in palette[i]])))
        # Without the end, all the same.
        runs = bytes([3, 5, 0, 0, 3, 6])
        self.assertEqual(self.converted(bmp(3, 2, 8, runs, compression=1, palette=palette), "out.ppm"),
                         pnm((3, 2, 3, [v for i in (6, 6, 6, 5, 5, 5) for v in palette[i]])))
        made = self.incomplete(bmp(3, 3, 8, runs, compression=1, palette=palette),
                               "the file ends after 2 of 3 rows, counted from the bottom")
        self.assertEqual(made, pnm((3, 3, 3, [0] * 9 + [v for i in (6, 6, 6, 5, 5, 5) for v in palette[i]])))
        # Pixels to the right of the picture are padding, rows above it are damage.
        runs = bytes([4, 5, 0, 0, 4, 6, 0, 1])
        self.assertEqual(self.converted(bmp(3, 2, 8, runs, compression=1, palette=palette), "out.ppm"),
                         pnm((3, 2, 3, [v for i in (6, 6, 6, 5, 5, 5) for v in palette[i]])))
        runs = bytes([3, 5, 0, 0, 3, 6, 0, 0, 1, 6, 0, 1])
        self.incomplete(bmp(3, 2, 8, runs, compression=1, palette=palette), "the run lengths are damaged")

    def test_resolution_and_profile(self):
        picture = noise(3, 2, 3)
        file = bmp24(picture, resolution=(11811, 5906))
        self.write("in.bmp", file)
        text = self.expect(OK, "info", "in.bmp").decode()
        self.assertIn("BMP, 24 bits a pixel\n", text)
        self.assertIn("299.999 x 150.012 dpi", text)
        self.assertEqual(self.converted(file, "out.bmp"), file)
        self.assertIn(b"pHYs" + struct.pack(">IIB", 11811, 5906, 1), self.converted(file, "out.png"))
        self.assertEqual(self.converted(file, "out.bmp", "--strip"), bmp24(picture))

    def test_refused(self):
        picture = noise(3, 2, 3)
        good = bmp24(picture)

        def changed(at, form, value):
            return good[:at] + struct.pack(form, value) + good[at + struct.calcsize(form):]

        for file, cause in ((good[:30], "the file ends in its header"), (good[:54], "no rows follow the header"),
                            (changed(18, "<i", 0), "the picture has no pixels"),
                            (changed(22, "<i", 0), "the picture has no pixels"),
                            (changed(18, "<i", -3), "the picture has a negative width"),
                            (changed(28, "<H", 3), "BMP files of compression 0 with 3 bits are not supported"),
                            (changed(30, "<I", 1), "BMP files of compression 1 with 24 bits are not supported"),
                            (changed(30, "<I", 4), "BMP files that wrap a JPEG file are not supported"),
                            (changed(30, "<I", 5), "BMP files that wrap a PNG file are not supported"),
                            (bmp(1, 1, 8, [b"\0"]), "the palette is missing"),
                            (bmp(1, 1, 16, [b"\0\0"], compression=3, masks=(5, 2, 8)), "a colour mask has gaps"),
                            (bmp(1, 1, 16, [b"\0\0"], compression=3, masks=(1, 2, 0x10000)),
                             "a colour mask has more bits than the pixels")):
            self.refused(file, cause)
        self.write("in", changed(18, "<i", 1 << 30))
        self.expect(LIMIT, "decode", "in", "out.ppm", error=re.compile("more than the limit"))
        self.write("in", changed(22, "<i", -(1 << 31)))
        self.expect(LIMIT, "decode", "in", "out.ppm", error=re.compile("more than the limit"))

    def test_damage(self):
        picture = noise(9, 7, 3)
        file = bmp24(picture)
        made = self.incomplete(file[:-28 - 5], "the file ends after 5 of 7 rows, counted from the bottom")
        self.assertEqual(made, pnm((9, 7, 3, [0] * 54 + picture[3][54:])))
        made = self.incomplete(bmp24(picture, top_down=True)[:-28 - 5], "the file ends after 5 of 7 rows")
        self.assertEqual(made, pnm((9, 7, 3, picture[3][:-54] + [0] * 54)))
        grey = noise(9, 7, 1)
        runs = b"".join(bytes([0, 9]) + bytes(row) + b"\0\0\0" for row in rows_of(grey)) + b"\0\1"
        masks = (0xFF0000, 0xFF00, 0xFF, 0xFF000000)
        self.damaged(file, limit=90)
        self.damaged(bmp(9, 7, 8, runs, compression=1, palette=self.COLOURS[:40]), limit=300)
        self.damaged(bmp(9, 7, 32, [bytes(range(36))] * 7, size=108, compression=3, masks=masks, extra=bytes(52)))

    @unittest.skipUnless(shutil.which("bmptopnm") and shutil.which("convert"), "needs netpbm and ImageMagick")
    def test_other_programs(self):
        picture = smooth(37, 21, 3)
        made = self.converted(pnm(picture), "out.bmp")
        for command in ["bmptopnm", "-quiet"], ["convert", "bmp:-", "ppm:-"]:
            read = subprocess.run(command, input=made, stdout=subprocess.PIPE, check=True).stdout
            self.assertEqual(self.converted(read, "out.ppm"), pnm(picture), command)
        self.write("in.ppm", pnm(picture))
        rgba = pam(noise(37, 21, 4), "RGB_ALPHA")
        read = subprocess.run(["convert", "bmp:-", "pam:-"], input=self.converted(rgba, "out.bmp"),
                              stdout=subprocess.PIPE, check=True).stdout
        self.assertEqual(self.converted(read, "out.pam"), rgba)
        for options in (["-colors", "200", "-compress", "RLE"], ["-colors", "200"], ["-colors", "13"], ["-monochrome"],
                        ["-define", "bmp:subtype=RGB565"], ["-define", "bmp:subtype=RGB555"], ["bmp2:"], ["bmp3:"]):
            target = options.pop() + "x.bmp" if options[-1].endswith(":") else "x.bmp"
            subprocess.run(["convert", "in.ppm", *options, target], cwd=self.directory, check=True)
            subprocess.run(["convert", "x.bmp", "-depth", "8", "x.ppm"], cwd=self.directory, check=True)
            self.assertEqual(self.converted(self.read("x.bmp"), "out.ppm"), self.read("x.ppm"), options)


# ---- Every format into every format --------------------------------------------------------------------------------


class Matrix(PlainTest):
    """Pictures of every kind go from format to format; what a format cannot hold is lost as documented."""

    # Colours, opacity, depths; the extra options of the tool.
    FORMATS = {
        "png": ("grey rgb", True, (8, 16), []),
        "ppm": ("rgb", False, None, []),
        "pgm": ("grey", False, None, []),
        "pnm": ("grey rgb", False, None, []),
        "pam": ("grey rgb cmyk", True, None, []),
        "pbm": ("grey", False, (1,), []),
        "pgx": ("grey", False, None, []),
        "bmp": ("grey rgb", True, (8,), []),
        "tif": ("grey rgb cmyk", True, (8, 16), []),
        "jp2": ("grey rgb", True, None, []),
        "j2k": ("grey rgb", True, None, []),
        "jpg": ("grey rgb", False, tuple(range(2, 17)), ["--lossless"]),
    }

    @staticmethod
    def lost(kind, picture, bits, name):
        """What is left in a format."""
        colours, opacity, depths, _ = Matrix.FORMATS[name]
        width, height, channels, samples = picture
        pixels = [samples[i:i + channels] for i in range(0, len(samples), channels)]
        kind, alpha = kind
        if depths:
            to = next((depth for depth in depths if depth >= bits), depths[-1])
            _, _, _, samples = scaled(picture, (1 << bits) - 1, (1 << to) - 1)
            wide = [samples[i:i + channels] for i in range(0, len(samples), channels)]
        else:
            to, wide = bits, pixels
        if kind == "rgb" and kind not in colours.split():  # the luminance, before the depth changes
            grey = [[(19595 * p[0] + 38470 * p[1] + 7471 * p[2] + 32768) >> 16] + p[3:] for p in pixels]
            flat = (width, height, 1, [value for p in grey for value in p])
            values = scaled(flat, (1 << bits) - 1, (1 << to) - 1)[3]
            wide = [values[i:i + 1 + alpha] for i in range(0, len(values), 1 + alpha)]
            kind = "grey"
        elif kind == "grey" and kind not in colours.split():
            wide = [p[:1] * 3 + p[1:] for p in wide]
            kind = "rgb"
        count = {"grey": 1, "rgb": 3, "cmyk": 4}[kind]
        alpha = alpha and opacity
        if name == "bmp" and alpha and kind == "grey":
            wide = [p[:1] * 3 + p[1:] for p in wide]
            kind, count = "rgb", 3
        wide = [p[:count + alpha] for p in wide]
        return (kind, alpha), (width, height, count + alpha, [value for p in wide for value in p]), to

    @staticmethod
    def as_pam(kind, picture, bits):
        name = {"grey": "GRAYSCALE" if bits > 1 else "BLACKANDWHITE", "rgb": "RGB", "cmyk": "CMYK"}[kind[0]]
        return pam(picture, name + ("_ALPHA" if kind[1] else ""), (1 << bits) - 1)

    @staticmethod
    def holds(name, kind, bits):
        """PGX has one component, and lossless JPEG at least two bits; others are refused. A codestream does not say
        which component is opacity."""
        return not (name == "pgx" and kind != ("grey", False) or name == "jpg" and bits == 1 or
                    name == "j2k" and kind[1])

    def make(self, source, name, options):
        command = "encode" if name in ("jp2", "j2k", "jpg") else "decode"
        return self.moxj(command, source, "made." + name, "--quiet", *options)

    def test_every_pair(self):
        for kind, bits in ((("grey", False), 1), (("grey", False), 8), (("rgb", False), 16), (("rgb", False), 5),
                           (("rgb", True), 8), (("grey", True), 16), (("cmyk", False), 8), (("cmyk", False), 16)):
            channels = {"grey": 1, "rgb": 3, "cmyk": 4}[kind[0]] + kind[1]
            start = noise(19, 11, channels, bits, (1 << bits) - 1)
            self.write("start.pam", self.as_pam(kind, start, bits))
            names = [name for name in self.FORMATS if kind[0] != "cmyk" or "cmyk" in self.FORMATS[name][0]]
            for first in names:
                if not self.holds(first, kind, bits):
                    continue
                result = self.make("start.pam", first, self.FORMATS[first][3])
                self.assertEqual((result.returncode, result.stderr), (OK, ""), (kind, bits, first))
                os.rename(self.path("made." + first), self.path("first"))
                after, depth = self.lost(kind, start, bits, first)[:2], self.lost(kind, start, bits, first)[2]
                for second in names:
                    if not self.holds(second, after[0], depth):
                        continue
                    with self.subTest(kind=kind, bits=bits, first=first, second=second):
                        result = self.make("first", second, self.FORMATS[second][3])
                        self.assertEqual((result.returncode, result.stderr), (OK, ""))
                        expected = self.lost(*after, depth, second)
                        self.expect(OK, "decode", "made." + second, "end.pam")
                        made, wanted = self.read("end.pam"), self.as_pam(*expected)
                        if after[0][0] == "rgb" and expected[0][0] == "grey" and expected[2] == 8:
                            self.assertEqual(len(made), len(wanted))  # luminance of 8 bits has the library's rounding
                            self.assertLessEqual(max(abs(a - b) for a, b in zip(made, wanted)), 1)
                        else:
                            self.assertEqual(made, wanted)


if __name__ == "__main__":
    unittest.main()

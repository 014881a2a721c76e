"""TIFF files of every kind, made here byte by byte and by other programs, and damaged ones."""

import itertools
import json
import math
import os
import re
import shutil
import subprocess
import unittest

from support import *
from test_plain import PlainTest, bits_of, pam, pbm, rows_of

BYTE, ASCII, SHORT, LONG, RATIONAL, UNDEFINED, LONG8 = 1, 2, 3, 4, 5, 7, 16
SIZES = {BYTE: 1, ASCII: 1, SHORT: 2, LONG: 4, RATIONAL: 8, UNDEFINED: 1, LONG8: 8}
WIDTH, HEIGHT, BITS, COMPRESSION, PHOTOMETRIC, OFFSETS, SAMPLES, ROWS, COUNTS, PLANAR = (256, 257, 258, 259, 262, 273,
                                                                                         277, 278, 279, 284)
DESCRIPTION, MAKE, ORIENTATION, X_RESOLUTION, Y_RESOLUTION, UNIT = 270, 271, 274, 282, 283, 296
PALETTE_COLOURS, TILE_WIDTH, TILE_HEIGHT, TILE_OFFSETS, TILE_COUNTS, INK_SET, EXTRA, FORMAT = (320, 322, 323, 324, 325,
                                                                                               332, 338, 339)
PRIMARIES, TABLES, SUBSAMPLING, XMP, IPTC, EXIF, ICC = 319, 347, 530, 700, 33723, 34665, 34675
PROFILE_SIGNATURE = b"acsp"


def tiff(tags, chunks, order="<", big=False, tiled=False, more=()):
    """A file with one directory, or with those of `more` (bytes of tags alone) after it."""
    tags = dict(tags)
    tags[TILE_OFFSETS if tiled else OFFSETS] = (LONG8 if big else LONG, [0] * len(chunks))
    tags[TILE_COUNTS if tiled else COUNTS] = (LONG8 if big else LONG, [len(chunk) for chunk in chunks])
    header, count, entry, offset = (16, "Q", 20, "Q") if big else (8, "H", 12, "I")
    wide = struct.calcsize(offset)

    def value(kind, values):
        if isinstance(values, bytes):
            return values
        if kind == RATIONAL:
            return b"".join(struct.pack(order + "II", *pair) for pair in values)
        letter = {BYTE: "B", SHORT: "H", LONG: "I", LONG8: "Q"}[kind]
        return struct.pack(order + letter * len(values), *values)

    def directory(at):
        entries, beyond, place = b"", b"", at + struct.calcsize("=" + count) + len(tags) * entry + wide
        for tag, (kind, values) in sorted(tags.items()):
            data = value(kind, values)
            entries += struct.pack(order + "HH" + offset, tag, kind, len(data) // SIZES[kind])
            if len(data) <= wide:
                entries += data + bytes(wide - len(data))
            else:
                entries += struct.pack(order + offset, place + len(beyond))
                beyond += data + bytes(len(data) % 2)
        return struct.pack(order + count, len(tags)) + entries + struct.pack(order + offset, 0) + beyond

    begin = header + len(directory(header))
    places = list(itertools.accumulate([begin] + [len(chunk) for chunk in chunks]))[:-1]
    tags[TILE_OFFSETS if tiled else OFFSETS] = (LONG8 if big else LONG, places)
    mark = {"<": b"II", ">": b"MM"}[order]
    top = struct.pack(order + "HHHQ", 43, 8, 0, header) if big else struct.pack(order + "HI", 42, header)
    return mark + top + directory(header) + b"".join(chunks)


def facts(picture, photometric, bits=8, rows=None):
    width, height, channels, _ = picture
    return {WIDTH: (LONG, [width]), HEIGHT: (LONG, [height]), BITS: (SHORT, [bits] * channels),
            COMPRESSION: (SHORT, [1]), PHOTOMETRIC: (SHORT, [photometric]), SAMPLES: (SHORT, [channels]),
            ROWS: (LONG, [rows or height])}


def coded(row, bits, order="<"):
    return struct.pack(order + "%dH" % len(row), *row) if bits == 16 else bits_of(row, bits)


def strips(picture, bits=8, rows=None, order="<"):
    lines = [coded(row, bits, order) for row in rows_of(picture)]
    rows = rows or len(lines)
    return [b"".join(lines[i:i + rows]) for i in range(0, len(lines), rows)]


def of_picture(picture, photometric, bits=8, rows=None, order="<", big=False, tags=()):
    tags = {**facts(picture, photometric, bits, rows), **dict(tags)}
    return tiff(tags, strips(picture, bits, rows, order), order, big)


def tiles(picture, bits, width, height, order="<"):
    w, h, channels, samples = picture
    made = []
    for y0 in range(0, h, height):
        for x0 in range(0, w, width):
            data = b""
            for y in range(y0, y0 + height):
                row = []
                for x in range(x0, x0 + width):
                    at = (min(y, h - 1) * w + min(x, w - 1)) * channels
                    row += samples[at:at + channels]
                data += coded(row, bits, order)
            made.append(data)
    return made


def longs(file, tag):
    """The numbers of a tag in the first directory of a file with the low byte first."""
    at, = struct.unpack_from("<I", file, 4)
    for i in range(struct.unpack_from("<H", file, at)[0]):
        entry = at + 2 + 12 * i
        found, kind, count = struct.unpack_from("<HHI", file, entry)
        if found == tag:
            assert kind == LONG, kind
            return list(struct.unpack_from(f"<{count}I", file, entry + 8 if count == 1 else
                                           struct.unpack_from("<I", file, entry + 8)[0]))
    return []


def plane(picture, index):
    width, height, channels, samples = picture
    return width, height, 1, samples[index::channels]


class Tiff(PlainTest):
    def test_depths_and_polarities(self):
        for order in "<>":
            for big in False, True:
                for bits in 1, 2, 3, 4, 5, 8, 11, 12, 16:
                    maxval = (1 << bits) - 1
                    for size, rows in ((1, 1), None), ((17, 9), 2), ((33, 7), 1):
                        grey = noise(*size, 1, bits, maxval)
                        negative = (*size, 1, [maxval - value for value in grey[3]])
                        for picture, photometric in (grey, 1), (negative, 0):
                            file = of_picture(picture, photometric, bits, rows, order, big)
                            self.write("in", file)
                            self.assertEqual(self.expect(OK, "decode", "in", "-"), pnm(grey, maxval), (bits, order))
                        if bits in (5, 8, 16):
                            rgb = noise(*size, 3, bits, maxval)
                            self.write("in", of_picture(rgb, 2, bits, rows, order, big))
                            self.assertEqual(self.expect(OK, "decode", "in", "-"), pnm(rgb, maxval))

    def test_written(self):
        """Through pipes too, and the rows in strips of about 64 KiB."""
        for kind, channels, photometric, extra in (("GRAYSCALE", 1, 1, None), ("GRAYSCALE_ALPHA", 2, 1, 2),
                                                   ("RGB", 3, 2, None), ("RGB_ALPHA", 4, 2, 2), ("CMYK", 4, 5, None),
                                                   ("CMYK_ALPHA", 5, 5, 2)):
            for bits in 8, 16:
                for size in (1, 1), (9, 5), (300, 150):
                    picture = noise(*size, channels, bits, (1 << bits) - 1)
                    file = pam(picture, kind, (1 << bits) - 1)
                    made = self.converted(file, "out.tif")
                    self.assertEqual(self.converted(made, "out.pam"), file)
                    self.assertTrue(made.startswith(b"II*\0"))
                    samples = b"".join(strips(picture, bits))
                    self.assertTrue(made.endswith(samples))
                    counts, offsets = longs(made, COUNTS), longs(made, OFFSETS)
                    self.assertEqual(offsets, [len(made) - sum(counts[i:]) for i in range(len(counts))])
                    self.assertEqual(sum(counts), len(samples))

    def test_tiles_and_planes(self):
        for bits in 4, 8, 16:
            for channels, kind, photometric in (1, "GRAYSCALE", 1), (3, "RGB", 2), (4, "CMYK", 5):
                for size in (16, 16), (50, 37), (7, 90):
                    maxval = (1 << bits) - 1
                    picture = noise(*size, channels, bits, maxval)
                    expected = pam(picture, kind, maxval)
                    tags = facts(picture, photometric, bits)
                    del tags[ROWS]
                    tiled = {**tags, TILE_WIDTH: (SHORT, [32]), TILE_HEIGHT: (SHORT, [16])}
                    files = [tiff(tiled, tiles(picture, bits, 32, 16, ">"), ">", tiled=True)]
                    planes = [plane(picture, i) for i in range(channels)]
                    apart = {**tiled, PLANAR: (SHORT, [2])}
                    files.append(tiff(apart, [c for p in planes for c in tiles(p, bits, 32, 16)], tiled=True))
                    apart = {**tags, ROWS: (SHORT, [5]), PLANAR: (SHORT, [2])}
                    files.append(tiff(apart, [s for p in planes for s in strips(p, bits, 5)], big=True))
                    for file in files:
                        self.write("in", file)
                        self.expect(OK, "decode", "in", "out.pam")
                        self.assertEqual(self.read("out.pam"), expected, (bits, kind, size))

    def test_opacity(self):
        for bits in 8, 16:
            maxval = (1 << bits) - 1
            for channels, kind, photometric in (2, "GRAYSCALE_ALPHA", 1), (4, "RGB_ALPHA", 2):
                picture = noise(9, 6, channels, bits, maxval)
                file = of_picture(picture, photometric, bits, tags={EXTRA: (SHORT, [2])})
                self.assertEqual(self.converted(file, "out.pam"), pam(picture, kind, maxval))
                # Colours that are multiplied by opacity are divided by it.
                samples = []
                for i in range(0, len(picture[3]), channels):
                    *colours, alpha = picture[3][i:i + channels]
                    samples += [colour * alpha // maxval for colour in colours] + [alpha]
                divided = []
                for i in range(0, len(samples), channels):
                    *colours, alpha = samples[i:i + channels]
                    divided += [min((colour * maxval + alpha // 2) // alpha, maxval) if alpha else 0
                                for colour in colours] + [alpha]
                file = of_picture((9, 6, channels, samples), photometric, bits, tags={EXTRA: (SHORT, [1])})
                self.assertEqual(self.converted(file, "out.pam"), pam((9, 6, channels, divided), kind, maxval))
        # Opacity that is not the last sample.
        picture = noise(9, 6, 5)
        file = of_picture(picture, 2, tags={EXTRA: (SHORT, [2, 0])})
        self.write("in", file)
        self.expect(OK, "decode", "in", "out.png", error="moxj: in: note: only the first 4 of 5 components written\n")
        self.assertEqual(parse_any_png(self.read("out.png"))[4],
                         [v for i in range(0, len(picture[3]), 5) for v in picture[3][i:i + 4]])

    def test_samples_without_a_meaning(self):
        for channels in 2, 5, 16:
            picture = noise(9, 6, channels)
            file = of_picture(picture, 1, tags={EXTRA: (SHORT, [0] * (channels - 1))})
            self.assertEqual(self.converted(file, "out.pam"), pam(picture, ""))
            made = self.converted(pam(picture, ""), "out.tif")
            self.assertEqual(self.converted(made, "out.pam"), pam(picture, ""))
        self.write("in", of_picture(noise(9, 6, 17), 1, tags={EXTRA: (SHORT, [0] * 16)}))
        self.expect(REFUSED, "decode", "in", "out.pam",
                    error="moxj: in: TIFF files of 17 samples a pixel are not supported\n")
        inks = noise(9, 6, 3)
        self.assertEqual(self.converted(of_picture(inks, 5, tags={INK_SET: (SHORT, [2])}), "out.pam"), pam(inks, ""))

    def test_inks_other_than_cmyk_are_never_shown_as_colours(self):
        for channels in 1, 3, 4, 6:
            inks = noise(9, 6, channels)
            file = of_picture(inks, 5, tags={INK_SET: (SHORT, [2])})
            self.assertEqual(self.converted(file, "out.pam"), pam(inks, ""))
            for command, output, wanted in (("decode", "out.png", "RGB"), ("decode", "out.ppm", "RGB"),
                                            ("decode", "out.pgm", "grey"), ("decode", "out.tif", "RGB"),
                                            ("encode", "out.jpg", "RGB"), ("encode", "out.jp2", "RGB")):
                self.expect(REFUSED, command, "in", output,
                            error=f"moxj: in: inks other than CMYK cannot be written as {wanted}\n")
            self.expect(OK, "encode", "in", "out.j2k")
            self.expect(OK, "decode", "in", "part.pgm", "--components")
            names = [f"part_{i}.pgm" for i in range(channels)]
            self.assertEqual([self.read(name) for name in names],
                             [pnm((9, 6, 1, inks[3][i::channels])) for i in range(channels)])

    def test_palettes(self):
        source = random.Random(3)
        for bits in 1, 2, 4, 8:
            picture = noise(19, 7, 1, bits, (1 << bits) - 1)
            colours = [[source.randrange(256) for _ in range(3)] for _ in range(1 << bits)]
            expected = [v for index in picture[3] for v in colours[index]]
            for factor in 1, 256, 257:
                table = [colours[i][c] * factor for c in range(3) for i in range(1 << bits)]
                file = of_picture(picture, 3, bits, tags={PALETTE_COLOURS: (SHORT, table)})
                self.assertEqual(self.converted(file, "out.ppm"), pnm((19, 7, 3, expected)), (bits, factor))
            deep = [[source.randrange(65536) for _ in range(3)] for _ in range(1 << bits)]
            table = [deep[i][c] for c in range(3) for i in range(1 << bits)]
            file = of_picture(picture, 3, bits, tags={PALETTE_COLOURS: (SHORT, table)})
            self.assertEqual(self.converted(file, "out.ppm"),
                             pnm((19, 7, 3, [v for index in picture[3] for v in deep[index]]), 65535))
            self.expect(OK, "decode", "in", "out.pgm", "--components")
            self.assertEqual(self.read("out_0.pgm"), pnm(picture, (1 << bits) - 1))
        self.refused(of_picture(picture, 3, 8), "the palette is missing")

    def test_signed_samples(self):
        values = [-128, -1, 0, 1, 127, 5]
        picture = (6, 1, 1, [value & 255 for value in values])
        self.write("in.tif", of_picture(picture, 1, tags={FORMAT: (SHORT, [2])}))
        self.expect(OK, "decode", "in.tif", "out.pgx")
        self.assertTrue(self.read("out.pgx").startswith(b"PG ML - 8 6 1\n"))
        self.expect(OK, "decode", "out.pgx", "out.tif")
        self.expect(OK, "decode", "out.tif", "again.pgx")
        self.assertEqual(self.read("again.pgx"), self.read("out.pgx"))

    def test_ycbcr(self):
        for across, down in (1, 1), (2, 1), (2, 2), (4, 2), (1, 2), (4, 4):
            width, height = 21, 11
            source = random.Random(across * 8 + down)
            luma = [[source.randrange(256) for _ in range(width + 4)] for _ in range(height + 4)]
            chroma = {(x, y): (source.randrange(256), source.randrange(256)) for x in range(30) for y in range(30)}
            for rows in 4, 16:
                chunks = []
                for y0 in range(0, height, rows):
                    data = b""
                    for y in range(y0, min(y0 + rows, height), down):
                        for x in range(0, width, across):
                            block = [luma[y + dy][x + dx] for dy in range(down) for dx in range(across)]
                            data += bytes(block) + bytes(chroma[x // across, y // down])
                    chunks.append(data)
                tags = facts((width, height, 3, None), 6, rows=rows)
                tags[SUBSAMPLING] = (SHORT, [across, down])
                self.write("in", tiff(tags, chunks))
                made = parse_pnm(self.expect(OK, "decode", "in", "-"))[3]
                for y in range(height):
                    for x in range(width):
                        cb, cr = chroma[x // across, y // down]
                        exact = [luma[y][x] + 1.402 * (cr - 128),
                                 luma[y][x] - 0.344136 * (cb - 128) - 0.714136 * (cr - 128),
                                 luma[y][x] + 1.772 * (cb - 128)]
                        found = made[(y * width + x) * 3:][:3]
                        for want, has in zip(exact, found):
                            self.assertLessEqual(abs(min(max(want, 0), 255) - has), 0.51)

    def test_jpeg_strips_and_tiles(self):
        """What the codec makes of the same JPEG data outside of a TIFF file."""
        for photometric, channels in (6, 3), (1, 1):
            picture = smooth(48, 40, channels)
            self.write("in.pnm", pnm(picture))
            lines = rows_of(picture)
            parts, decoded = [], []
            for y in range(0, 40, 16):
                part = lines[y:y + 16]
                self.write("part.pnm", pnm((48, len(part), channels, [v for row in part for v in row])))
                parts.append(self.expect(OK, "encode", "part.pnm", "-", "--quality", "90"))
                decoded += parse_pnm(self.expect(OK, "decode", "-", "-", stdin=parts[-1]))[3]
            tags = {**facts(picture, photometric, rows=16), COMPRESSION: (SHORT, [7])}
            self.assertEqual(self.converted(tiff(tags, parts), "out.pnm"), pnm((48, 40, channels, decoded)))
            # The tables in a tag of their own, and neither JFIF nor the tables in the strips.
            bare, tables = [], b""
            for part in parts:
                at, kept = 2, b"\xff\xd8"
                while part[at + 1] != 0xDA:
                    size = 2 + struct.unpack(">H", part[at + 2:at + 4])[0]
                    if part[at + 1] in (0xDB, 0xC4):
                        tables += part[at:at + size] if not bare else b""
                    elif part[at + 1] != 0xE0:
                        kept += part[at:at + size]
                    at += size
                bare.append(kept + part[at:])
            tags[TABLES] = (UNDEFINED, b"\xff\xd8" + tables + b"\xff\xd9")
            file = tiff(tags, bare)
            self.assertEqual(self.converted(file, "out.pnm"), pnm((48, 40, channels, decoded)))
            # A strip that is damaged is black, the others are there.
            broken = tiff(tags, [bare[0], b"\xff\xd8\xff\xd9", bare[2]])
            size = 16 * 48 * channels
            made = parse_pnm(self.incomplete(broken, "the file has no frame header, after 16 of 40 rows"))
            self.assertEqual(made[3], decoded[:size] + [0] * size + decoded[2 * size:])

    def test_kinds_that_are_refused(self):
        picture = noise(4, 4, 1)

        def refused(cause, **changes):
            tags = {**facts(picture, 1), **{globals()[name]: value for name, value in changes.items()}}
            file = tiff(tags, strips(picture))
            self.refused(file, "TIFF files of %s are not supported" % cause)
            self.write("in", file)
            self.expect(OK, "info", "in")

        refused("floating-point samples", FORMAT=(SHORT, [3]), BITS=(SHORT, [16]))
        refused("32 bits a sample", BITS=(SHORT, [32]))
        refused("CIE L*a*b*", PHOTOMETRIC=(SHORT, [8]))
        refused("old-style JPEG", COMPRESSION=(SHORT, [6]))
        refused("compression 34712", COMPRESSION=(SHORT, [34712]))
        refused("colour filter array", PHOTOMETRIC=(SHORT, [32803]))

    def test_limits(self):
        picture = noise(4, 4, 1)
        changes = {name: (LONG, [20000]) for name in (WIDTH, HEIGHT, ROWS)}
        self.write("in", tiff({**facts(picture, 1), **changes}, strips(picture)))
        self.expect(LIMIT, "decode", "in", "out.pgm", error=re.compile("pixels are more than the limit"))
        huge = {TILE_WIDTH: (LONG, [1 << 30]), TILE_HEIGHT: (LONG, [1 << 30])}
        self.write("in", tiff({**facts(picture, 1), **huge}, strips(picture), tiled=True))
        result = self.moxj("decode", "in", "out.pgm")
        self.assertIn(result.returncode, (LIMIT, REFUSED))
        self.assertEqual(result.stderr.count("\n"), 1)
        wide = (3000, 3000, 1, [7] * 9000000)
        tags = facts(wide, 1)
        del tags[ROWS]
        tags.update({TILE_WIDTH: (LONG, [3008]), TILE_HEIGHT: (LONG, [3008])})
        self.write("in", tiff(tags, [bytes(3008 * 3008)], tiled=True))
        self.expect(LIMIT, "decode", "in", "out.pgm", "--max-memory", "16M",
                    error=re.compile("bytes of memory are needed"))
        self.expect(OK, "decode", "in", "out.pgm", "--max-memory", "32M")

    def test_loaded_only_when_needed(self):
        """The linker's log names the libraries."""
        picture = noise(4, 4, 1)
        self.write("in.tif", of_picture(picture, 1))
        self.write("in.pgm", pnm(picture))

        def loads(*arguments):
            result = self.moxj(*arguments, env={**os.environ, "LD_DEBUG": "files"})
            self.assertEqual(result.returncode, OK)
            return "libtiff" in result.stderr

        self.assertTrue(loads("decode", "in.tif", "out.pgm"))
        self.assertFalse(loads("decode", "in.pgm", "out.tif"))
        self.assertFalse(loads("decode", "in.pgm", "out.png"))

    def test_without_the_library(self):
        """A library of that name that is none: found first, and of no use."""
        self.write("in.tif", of_picture(noise(4, 4, 1), 1))
        self.write("libtiff.so.6", b"")
        result = self.moxj("decode", "in.tif", "out.pgm", env={**os.environ, "LD_LIBRARY_PATH": self.directory})
        self.assertEqual((result.returncode, result.stderr),
                         (REFUSED, "moxj: in.tif: TIFF files need libtiff.so.6, version 4.5 or later, which cannot be "
                                   "loaded\n"))

    def test_several_pictures(self):
        file = bytearray(of_picture(noise(4, 4, 1), 1))
        count = struct.unpack("<H", file[8:10])[0]
        file += bytes(len(file) % 2)
        second = len(file)
        file[10 + 12 * count:14 + 12 * count] = struct.pack("<I", second)
        self.converted(bytes(file + file[8:10 + 12 * count] + bytes(4)), "out.pgm",
                       error="moxj: in: note: only the first picture of the file is read\n")
        self.assertIn(b"the first of several pictures", self.expect(OK, "info", "in"))

    def test_damage(self):
        picture = noise(16, 12, 3)
        file = of_picture(picture, 2, rows=3)
        row = 16 * 3
        made = self.incomplete(file[:-3 * row - 5], "the file ends early, after 8 of 12 rows")
        self.assertEqual(parse_pnm(made)[3], picture[3][:8 * row] + [0] * 4 * row)
        self.damaged(file)
        tags = {**facts(picture, 2), TILE_WIDTH: (SHORT, [16]), TILE_HEIGHT: (SHORT, [16])}
        del tags[ROWS]
        wide = noise(40, 12, 3)
        tags[WIDTH] = (LONG, [40])
        self.damaged(tiff(tags, tiles(wide, 8, 16, 16), ">", tiled=True), limit=600, seed=6)
        self.damaged(of_picture(picture, 2, rows=3, big=True), seed=7)

    def test_damage_ends_with_its_strip(self):
        picture = noise(16, 12, 3)
        row = 16 * 3
        packed = [b"".join(b"\x2f" + strip[i:i + row] for i in range(0, len(strip), row))
                  for strip in strips(picture, 8, 4)]
        packed[1] = packed[1][:row + 9]
        tags = {**facts(picture, 2, 8, 4), COMPRESSION: (SHORT, [32773])}
        self.write("in", tiff(tags, packed))
        made = self.expect(INCOMPLETE, "decode", "in", "-",
                           error=re.compile(r"\Amoxj: in: warning: .*after 5 of 12 rows\n"))
        self.assertEqual(parse_pnm(made)[3], picture[3][:5 * row] + [0] * 3 * row + picture[3][8 * row:])

    # ---- Metadata ------------------------------------------------------------------------------------------------

    def test_metadata_travels(self):
        """From TIFF to TIFF, PNG, JPEG and JP2, and back."""
        picture = noise(6, 4, 3)
        for order in "<>":
            for orientation in 1, 6:
                tags = {XMP: (BYTE, b"<x:xmpmeta xmlns:x='adobe:ns:meta/'/>"), MAKE: (ASCII, b"Maker\0"),
                        DESCRIPTION: (ASCII, b"a text\0"), ORIENTATION: (SHORT, [orientation]),
                        X_RESOLUTION: (RATIONAL, [(300, 1)]), Y_RESOLUTION: (RATIONAL, [(150, 1)]), UNIT: (SHORT, [2]),
                        IPTC: (UNDEFINED, b"\x1c\x02\x05\0\4name")}
                self.write("in.tif", of_picture(picture, 2, order=order, tags=tags))
                turned = ("moxj: %s: note: the picture is turned by its Exif orientation 6; the option orient turns "
                          "its pixels\n") if orientation == 6 else ""
                self.expect(OK, "decode", "in.tif", "out.tif", error=turned and turned % "in.tif")
                made = self.read("out.tif")
                self.assertEqual(made[:2], {"<": b"II", ">": b"MM"}[order])
                self.assertTrue(made.endswith(bytes(picture[3])))
                for part in tags[XMP][1], b"Maker\0", b"a text\0", tags[IPTC][1]:
                    self.assertIn(part, made)
                first = json.loads(self.expect(OK, "info", "in.tif", "--json"))["metadata"]
                self.assertEqual(json.loads(self.expect(OK, "info", "out.tif", "--json"))["metadata"], first)
                self.assertIn("300 x 150 dpi", self.expect(OK, "info", "out.tif").decode())
                self.expect(OK, "encode", "in.tif", "out.jpg", error=turned and turned % "in.tif")
                self.expect(OK, "decode", "out.jpg", "back.tif", error=turned and turned % "out.jpg")
                back = self.read("back.tif")
                self.assertEqual(back[:2], made[:2])
                for part in tags[XMP][1], b"Maker\0", b"a text\0", tags[IPTC][1]:
                    self.assertIn(part, back)
                self.expect(OK, "decode", "in.tif", "bare.tif", "--strip",
                            error=turned and "moxj: in.tif: note: the Exif orientation 6 is lost: the picture is "
                                             "turned; the option orient turns its pixels\n")
                self.assertNotIn(b"Maker", self.read("bare.tif"))
                self.expect(OK, "decode", "in.tif", "up.tif", "--orient")
                size = (4, 6) if orientation == 6 else (6, 4)
                text = self.expect(OK, "info", "up.tif").decode()
                self.assertIn("%d x %d pixels" % size, text)
                self.expect(OK, "decode", "up.tif", "up.ppm")

    def test_nothing_of_exif_data_is_lost(self):
        """Neither its description and resolution, nor tags that say nothing to TIFF."""
        tags = {DESCRIPTION: (ASCII, b"of Exif\0"), X_RESOLUTION: (RATIONAL, [(300, 1)]),
                Y_RESOLUTION: (RATIONAL, [(300, 1)]), UNIT: (SHORT, [2]), 40091: (BYTE, "title\0".encode("utf-16-le")),
                18246: (SHORT, [4]), PRIMARIES: (RATIONAL, [(n, 1000) for n in (680, 320, 265, 690, 150, 60)]),
                WIDTH: (LONG, [12345]), PHOTOMETRIC: (SHORT, [6])}
        exif = b"Exif\0\0" + tiff(tags, [])
        comment = b"\xff\xfe\0\x0ba comment"
        self.write("in.ppm", b"P6 8 8 255\n" + bytes(range(192)))
        self.expect(OK, "encode", "in.ppm", "plain.jpg")
        plain = self.read("plain.jpg")
        segments = b"\xff\xe1" + struct.pack(">H", len(exif) + 2) + exif + comment
        self.write("in.jpg", plain[:2] + segments + plain[20:])
        self.expect(OK, "decode", "in.jpg", "out.tif")
        made = self.read("out.tif")
        for part in b"of Exif\na comment\0", tags[40091][1], struct.pack("<HHII", 18246, SHORT, 1, 4):
            self.assertIn(part, made)
        self.assertNotIn(struct.pack("<HHII", WIDTH, LONG, 1, 12345), made)
        self.assertIn("300 x 300 dpi", self.expect(OK, "info", "out.tif").decode())
        self.expect(OK, "encode", "out.tif", "back.jpg")
        back = self.read("back.jpg")
        for part in b"of Exif\na comment", tags[40091][1], struct.pack("<HHII", 18246, SHORT, 1, 4):
            self.assertIn(part, back)
        self.assertIn(struct.pack("<HH", PRIMARIES, RATIONAL), back)

    def test_tags_without_a_place_are_noted(self):
        tags = {33550: (RATIONAL, [(1, 1)]), 34735: (SHORT, [1, 1, 0, 0]), 50838: (LONG, [7, 8]),
                65000: (ASCII, b"x\0")}
        self.write("in.tif", of_picture(noise(6, 4, 3), 2, tags=tags))
        lost = "moxj: in.tif: note: metadata dropped: GeoTIFF tags, TIFF tags 50838 65000\n"
        for name in "out.jpg", "out.jp2":
            self.expect(OK, "encode", "in.tif", name, error=lost)
        for name in "out.tif", "out.png":
            self.expect(OK, "decode", "in.tif", name, error=lost)
        self.expect(OK, "decode", "in.tif", "out.ppm")
        self.expect(OK, "decode", "in.tif", "out.png", "--strip")

    def test_primaries_of_srgb_say_nothing(self):
        tags = {318: (RATIONAL, [(3127, 10000), (3290, 10000)]),
                PRIMARIES: (RATIONAL, [(n, 100) for n in (64, 33, 30, 60, 15, 6)])}
        self.write("in.tif", of_picture(noise(6, 4, 3), 2, tags=tags))
        self.expect(OK, "encode", "in.tif", "out.jpg")
        self.assertNotIn(b"Exif", self.read("out.jpg"))

    def test_pixel_ratio(self):
        tags = {X_RESOLUTION: (RATIONAL, [(2, 1)]), Y_RESOLUTION: (RATIONAL, [(1, 1)]), UNIT: (SHORT, [1])}
        self.write("in.tif", of_picture(noise(3, 2, 1), 1, tags=tags))
        self.expect(OK, "decode", "in.tif", "out.tif")
        self.expect(OK, "decode", "out.tif", "out.png")
        self.assertIn(b"pHYs" + struct.pack(">IIB", 2, 1, 0), self.read("out.png"))

    @unittest.skipUnless(shutil.which("exiftool"), "needs exiftool")
    def test_exif_directories(self):
        """Exposure, position and the like are in directories of their own."""
        self.write("in.tif", of_picture(noise(6, 4, 3), 2))
        given = ["-ExposureTime=1/125", "-FNumber=2.8", "-ISO=200", "-GPSLatitude=48.5", "-GPSLatitudeRef=N",
                 "-DateTimeOriginal=2024:05:17 10:20:30", "-Model=Camera", "-Artist=Somebody", "-UserComment=words"]
        names = [entry[1:].split("=")[0] for entry in given]
        subprocess.run(["exiftool", "-q", "-overwrite_original", *given, "in.tif"], cwd=self.directory, check=True)

        def read(name):
            made = subprocess.run(["exiftool", "-j", "-n", *("-" + each for each in names), name], cwd=self.directory,
                                  stdout=subprocess.PIPE, stderr=subprocess.PIPE, check=True)
            self.assertEqual(made.stderr, b"", name)
            found = json.loads(made.stdout)[0]
            return {each: found.get(each) for each in names}

        expected = read("in.tif")
        self.assertNotIn(None, expected.values())
        for command, name in ("decode", "a.tif"), ("decode", "a.png"), ("encode", "a.jpg"), ("encode", "a.jp2"):
            self.expect(OK, command, "in.tif", name)
            self.assertEqual(read(name), expected, name)
            self.expect(OK, "decode", name, "b.tif")
            self.assertEqual(read("b.tif"), expected, name)
            warnings = subprocess.run(["exiftool", "-validate", "-warning", "-a", "b.tif"], cwd=self.directory,
                                      stdout=subprocess.PIPE).stdout.decode()
            self.assertNotIn("Error", warnings)

    # ---- Other programs ------------------------------------------------------------------------------------------

    @unittest.skipUnless(shutil.which("convert") and shutil.which("tiffcp"), "needs ImageMagick and libtiff's tools")
    def test_read_from_other_programs(self):
        def run(*command):
            subprocess.run(command, cwd=self.directory, check=True, stdout=subprocess.DEVNULL,
                           stderr=subprocess.DEVNULL)

        pictures = {"rgb8": pam(smooth(70, 46, 3), "RGB"), "rgb16": pam(noise(70, 46, 3, 1, 65535), "RGB", 65535),
                    "grey8": pam(smooth(70, 46, 1), "GRAYSCALE"), "rgba": pam(noise(70, 46, 4), "RGB_ALPHA"),
                    "bits": pbm(noise(70, 46, 1, maxval=1)), "cmyk": pam(noise(70, 46, 4), "CMYK")}
        for name, data in pictures.items():
            self.write("in." + name, data)
            expected = self.expect(OK, "decode", "in." + name, "-", "--format", "pam")
            for options in (["-compress", "None"], ["-compress", "LZW"], ["-compress", "Zip"], ["-compress", "RLE"],
                            ["-compress", "LZMA"], ["-compress", "ZSTD"], ["-compress", "LZW", "-endian", "MSB"],
                            ["-define", "tiff:tile-geometry=32x16", "-compress", "Zip"],
                            ["-interlace", "plane", "-compress", "LZW"], ["-define", "tiff:rows-per-strip=7"],
                            ["-compress", "Group4"], ["-compress", "Fax"]):
                if options[-1] in ("Group4", "Fax") and name != "bits":
                    continue
                run("convert", "in." + name, *options, "x.tif")
                self.expect(OK, "decode", "x.tif", "out.pam")
                made = self.read("out.pam")
                if name == "bits":
                    self.expect(OK, "compare", "in.bits", "x.tif")
                    self.assertIn(b"equal", self.expect(OK, "compare", "in.bits", "x.tif"))
                else:
                    self.assertEqual(made, expected, (name, options))
            if name in ("bits", "cmyk"):
                continue
            self.expect(OK, "decode", "in." + name, "mine.tif")
            for options in (["-c", "lzw:2"], ["-c", "zip:2", "-t", "-w", "16", "-l", "32"], ["-p", "separate"], ["-B"],
                            ["-8", "-c", "zstd"], ["-L", "-s", "-r", "5", "-p", "separate", "-c", "packbits"]):
                if "separate" in options and name not in ("rgb8", "rgba"):
                    continue  # tiffcp refuses
                run("tiffcp", *options, "mine.tif", "x.tif")
                self.expect(OK, "decode", "x.tif", "out.pam")
                self.assertEqual(self.read("out.pam"), expected, (name, options))

    @unittest.skipUnless(shutil.which("convert") and shutil.which("tiffinfo") and shutil.which("tifftopnm"),
                         "needs ImageMagick, netpbm and the tools of libtiff")
    def test_written_for_other_programs(self):
        for kind, channels in ("GRAYSCALE", 1), ("RGB", 3), ("RGB_ALPHA", 4), ("CMYK", 4):
            for bits in 8, 16:
                file = pam(noise(70, 46, channels, 2, (1 << bits) - 1), kind, (1 << bits) - 1)
                self.write("out.tif", self.converted(file, "out.tif"))
                told = subprocess.run(["tiffinfo", "-D", "out.tif"], cwd=self.directory, stdout=subprocess.PIPE,
                                      stderr=subprocess.PIPE)
                self.assertEqual((told.returncode, told.stderr), (0, b""))
                subprocess.run(["convert", "out.tif", "-depth", str(bits), "back.pam"], cwd=self.directory, check=True)
                self.assertEqual(self.converted(self.read("back.pam"), "again.pam"), file, (kind, bits))
                if channels in (1, 3) and bits == 8:
                    back = subprocess.run(["tifftopnm", "out.tif"], cwd=self.directory, check=True,
                                          stdout=subprocess.PIPE, stderr=subprocess.DEVNULL).stdout
                    self.assertEqual(self.converted(back, "again.pam"), file)

    @unittest.skipUnless(shutil.which("convert") and shutil.which("tiffcp"), "needs ImageMagick and libtiff's tools")
    def test_jpeg_of_other_programs(self):
        self.write("in.ppm", pnm(smooth(70, 46, 3)))
        subprocess.run(["convert", "in.ppm", "plain.tif"], cwd=self.directory, check=True)
        for options in (["-c", "jpeg:90", "-r", "16"], ["-c", "jpeg:r:90", "-r", "48"],
                        ["-c", "jpeg:90", "-t", "-w", "32", "-l", "32"],
                        ["-c", "jpeg:r:90", "-r", "16", "-p", "separate"]):
            subprocess.run(["tiffcp", *options, "plain.tif", "x.tif"], cwd=self.directory, check=True)
            subprocess.run(["tiff2rgba", "-c", "none", "x.tif", "rgba.tif"], cwd=self.directory, check=True)
            self.expect(OK, "decode", "x.tif", "out.ppm")
            self.write("rgba.ppm", self.expect(OK, "decode", "rgba.tif", "-", "--quiet"))
            text = json.loads(self.expect(OK, "compare", "out.ppm", "rgba.ppm", "--json"))
            self.assertLessEqual(text["all"]["max"], 3, options)


if __name__ == "__main__":
    unittest.main()

"""Files that claim, loop or swell: each must end within a second of processor time and 256 MiB at the limits that the
tool has by itself, with one line that names the cause, and with the exit status written beside it."""

import os
import resource
import struct
import subprocess
import sys
import unittest
import zlib

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "j2k"))
import codestreams as j2k  # noqa: E402
from support import INCOMPLETE, LIMIT, MOXJ, OK, REFUSED, ToolTest  # noqa: E402

SECONDS, MEBIBYTES = 1, 256
SANITIZED = bool(os.environ.get("SANITIZERS"))  # they take time and memory of their own


# ---- JPEG ----------------------------------------------------------------------------------------------------------


def segment(marker, body=b""):
    return struct.pack(">BBH", 0xFF, marker, len(body) + 2) + body


def frame(marker, width, height, components=1, bits=8, sampling=0x11):
    """The first component has its own sampling."""
    each = b"".join(bytes([i + 1, sampling if i == 0 else 0x11, 0]) for i in range(components))
    return segment(marker, struct.pack(">BHHB", bits, height, width, components) + each)


def scan(components=(1,), first=0, last=63, approximation=0):
    return segment(0xDA, bytes([len(components)]) + b"".join(bytes([c, 0]) for c in components) +
                   bytes([first, last, approximation]))


def huffman(kind, counts, symbols):
    return segment(0xC4, bytes([kind]) + bytes(counts + [0] * (16 - len(counts))) + bytes(symbols))


QUANTISATION = segment(0xDB, bytes([0]) + bytes([1]) * 64)
ONE_CODE = huffman(0, [1], [0]) + huffman(0x10, [1], [0])  # DC difference 0, end of block: a bit 0 each
EOB_RUNS = huffman(0x10, [1], [0xE0])  # a bit 0 and 14 bits: 16384 blocks and more
TABLES = QUANTISATION + ONE_CODE
EXIF = b"Exif\0\0II*\0\x08\0\0\0"


def jpeg(*parts):
    return b"\xFF\xD8" + b"".join(parts) + b"\xFF\xD9"


def whole_jpeg(*before):
    """32 x 32 samples, all the same."""
    return jpeg(*before, TABLES, frame(0xC0, 32, 32), scan(), b"\0" * 4)


def refinements(count):
    """After a first scan, scans that refine nothing in all blocks of 1024 x 1024 samples."""
    blocks = 128 * 128
    first = TABLES + EOB_RUNS + frame(0xC2, 1024, 1024) + scan(last=0) + b"\0" * (blocks // 8)
    runs = scan(first=1, approximation=0x10) + b"\0\0" * (blocks // 16384 + 1)
    return jpeg(first, scan(first=1, approximation=1) + b"\0\0" * (blocks // 16384 + 1), runs * count)


JPEG_CASES = [
    ("more pixels than the limit", LIMIT, "more than the limit",
     lambda: jpeg(TABLES, frame(0xC0, 65500, 65500, 3), scan((1, 2, 3)))),
    ("four components, the largest sizes", LIMIT, "more than the limit",
     lambda: jpeg(TABLES, frame(0xC2, 65535, 65535, 4), scan((1, 2, 3, 4), last=0))),
    ("the largest lossless picture", LIMIT, "more than the limit",
     lambda: jpeg(TABLES, frame(0xC3, 65535, 65535), scan(first=1, last=0))),
    ("many pixels and no data", REFUSED, "ends early", lambda: jpeg(TABLES, frame(0xC0, 16384, 16384), scan())),
    ("many pixels of a progressive file and no data", REFUSED, "ends early",
     lambda: jpeg(TABLES, frame(0xC2, 16384, 16384), scan(last=0))),
    ("many pixels of a lossless file and no data", REFUSED, "ends early",
     lambda: jpeg(TABLES, frame(0xC3, 8192, 8192), scan(first=1, last=0))),
    ("more scans than the limit", LIMIT, "scans", lambda: refinements(600)),
    ("as many scans as the limit", INCOMPLETE, "out of sequence", lambda: refinements(450)),
    ("ten thousand empty scans", LIMIT, "500 scans",
     lambda: jpeg(TABLES, frame(0xC2, 4096, 4096), scan(last=0) * 10000)),
    ("a segment of no length", REFUSED, "invalid length",
     lambda: jpeg(b"\xFF\xE1\0\0", TABLES, frame(0xC0, 8, 8), scan(), b"\0")),
    ("a segment longer than the file", REFUSED, "ends within the APP1 segment", lambda: b"\xFF\xD8\xFF\xE1\xFF\xFFabc"),
    ("a million fill bytes", OK, "", lambda: whole_jpeg(b"\xFF" * 1000000)),
    ("codes that take more room than there is", REFUSED, "too many codes",
     lambda: jpeg(QUANTISATION, huffman(0, [3], [0, 1, 2]), frame(0xC0, 8, 8), scan(), b"\0")),
    ("a table of more symbols than its segment", REFUSED, "too many codes",
     lambda: jpeg(segment(0xC4, bytes([0]) + b"\xFF" * 16))),
    ("more blocks in an MCU than allowed", REFUSED, "an MCU of 19 blocks",
     lambda: jpeg(TABLES, frame(0xC0, 64, 64, 4, sampling=0x44), scan((1, 2, 3, 4)), b"\0" * 99)),
    ("no height, and no DNL", REFUSED, "height", lambda: jpeg(TABLES, frame(0xC0, 65535, 0), scan(), b"\0" * 100)),
    ("two frames", REFUSED, "more than one frame header",
     lambda: jpeg(TABLES, frame(0xC0, 8, 8), frame(0xC0, 9, 9), scan(), b"\0")),
    ("megabytes before the first marker", REFUSED, "unrecognised format", lambda: b"\0" * 5000000 + whole_jpeg()),
    ("a profile in parts that never come", OK, "",
     lambda: whole_jpeg(*[segment(0xE2, b"ICC_PROFILE\0" + bytes([i, 255]) + b"x" * 60000) for i in range(1, 250)])),
    ("Exif directories in a ring", OK, "",
     lambda: whole_jpeg(segment(0xE1, EXIF + struct.pack("<HHHIII", 1, 0x8769, 4, 1, 8, 8)))),
    ("an Exif directory of 65535 entries", OK, "", lambda: whole_jpeg(segment(0xE1, EXIF + b"\xFF\xFF" + b"\0" * 200))),
    ("an Exif value of 4 GiB", OK, "",
     lambda: whole_jpeg(segment(0xE1, EXIF + struct.pack("<HHHIII", 1, 0x010F, 2, 0xFFFFFFFF, 26, 0)))),
    ("restart markers alone", REFUSED, "data is missing",
     lambda: jpeg(TABLES, segment(0xDD, b"\0\1"), frame(0xC0, 4096, 4096), scan(), b"\xFF\xD0" * 100000)),
    ("arithmetic coding without data", OK, "", lambda: jpeg(QUANTISATION, frame(0xC9, 4096, 4096), scan())),
]


# ---- JPEG 2000 -----------------------------------------------------------------------------------------------------


def siz(width, height, tile=None, components=1, depth=7, offset=0, profile=0):
    tile_width, tile_height = tile or (width, height)
    return struct.pack(">H8IH", profile, width, height, offset, offset, tile_width, tile_height, 0, 0,
                       components & 0xFFFF) + bytes([depth, 1, 1]) * components


def cod(levels=5, layers=1, block=(4, 4), precincts=b"", style=0, progression=0):
    return struct.pack(">BBHBBBBBB", style | bool(precincts), progression, layers, 0, levels, *block, 0, 1) + precincts


def qcd(levels=5, bits=8):
    return bytes([0x40]) + bytes([bits << 3]) * (3 * levels + 1)


def stream(size, coding=None, quantisation=None, parts=b"", more=()):
    segments = [(j2k.SIZ, size), (j2k.COD, cod() if coding is None else coding),
                (j2k.QCD, qcd() if quantisation is None else quantisation), *more]
    return b"\xFF\x4F" + b"".join(j2k.segment(*one) for one in segments) + parts + b"\xFF\xD9"


def part(tile=0, number=0, of=1, data=b"", length=None):
    return j2k.Part(tile, number, of, [], data).bytes() if length is None else \
        struct.pack(">HHHIBB", j2k.SOT, 10, tile, length, number, of) + b"\xFF\x93" + data


def empty(width=64, height=64):
    return stream(siz(width, height), parts=part(data=b"\0" * 6))


def with_boxes(*boxes):
    return j2k.jp2(empty(), j2k.ihdr(64, 64, 1), *boxes, j2k.colr(17))


def nested(depth):
    body = b""
    for _ in range(depth):
        body = j2k.box(b"res ", body)
    return body


J2K_CASES = [
    ("4 Gi by 4 Gi samples", LIMIT, "too wide or too high", lambda: stream(siz(0xFFFFFFFF, 0xFFFFFFFF), parts=part())),
    ("tiles of one sample", REFUSED, "more than 65535 tiles", lambda: stream(siz(4096, 4096, (1, 1)), parts=part())),
    ("65025 tiles of 64 components", LIMIT, "tile-components", lambda: stream(siz(255, 255, (1, 1), 64), parts=part())),
    ("16384 components", LIMIT, "--max-memory", lambda: stream(siz(4096, 4096, None, 16384), parts=part())),
    ("no component", REFUSED, "invalid number of components", lambda: stream(siz(64, 64, None, 0), parts=part())),
    ("tiles outside the picture", REFUSED, "tiles that do not fit",
     lambda: stream(struct.pack(">H8IH", 0, 64, 64, 0, 0, 64, 64, 1000, 1000, 1) + b"\7\1\1", parts=part())),
    ("precincts of one sample", LIMIT, "--max-memory",
     lambda: stream(siz(8192, 8192), cod(precincts=b"\0" + b"\x11" * 5), parts=part(data=b"\0" * 99))),
    ("65535 layers of no bytes", INCOMPLETE, "ends early", lambda: stream(siz(2048, 2048), cod(layers=65535),
                                                             parts=part(data=b"\0" * 100))),
    ("65535 layers of empty packets", INCOMPLETE, "ends early", lambda: stream(
        siz(64, 64), cod(layers=65535), parts=part(data=b"\0" * 300000))),
    ("33 levels", REFUSED, "level", lambda: stream(siz(64, 64), cod(levels=33), qcd(33), parts=part())),
    ("code-blocks of 4096 by 4096", REFUSED, "code-block", lambda: stream(siz(64, 64), cod(block=(10, 10)),
                                                                          parts=part())),
    ("too few quantisation steps", REFUSED, "no picture", lambda: stream(siz(64, 64), cod(), qcd(1), parts=part())),
    ("zero bits in packet headers for ever", OK, "", lambda: stream(siz(4096, 4096), parts=part(data=b"\0" * 9))),
    ("ones in packet headers for ever", INCOMPLETE, "ends in a packet",
     lambda: stream(siz(4096, 4096), parts=part(data=b"\xFE" * 100000))),
    ("lengths of code-blocks beyond the file", REFUSED, "no picture",
     lambda: stream(siz(64, 64), parts=part(data=b"\xC7\xFF\x7F\xFF\x7F\xFF\x7F\xFF\x7F"))),
    ("tile-parts of no length", REFUSED, "no picture", lambda: stream(siz(64, 64), parts=part(length=1) * 100000)),
    ("a tile-part longer than the file", OK, "", lambda: stream(siz(64, 64), parts=part(
        length=0xFFFFFFF0, data=b"\0" * 6))),
    ("255 empty tile-parts of each of 4096 tiles", REFUSED, "no picture", lambda: stream(
        siz(64, 64, (1, 1)), cod(levels=0), qcd(0),
        b"".join(part(tile, number, 255) for number in range(4) for tile in range(4096)))),
    ("a tile that is not there", REFUSED, "no picture", lambda: stream(siz(64, 64), parts=part(tile=65535))),
    ("packed headers without a packet", INCOMPLETE, "ends early",
     lambda: stream(siz(64, 64), parts=part(), more=[(j2k.PPM, b"\0\xFF\xFF\xFF\xFFabc")])),
    ("a progression change a thousand times", REFUSED, "more than 255 progression", lambda: stream(
        siz(64, 64), parts=part(data=b"\0"), more=[(j2k.POC, struct.pack(">BBHBBB", 0, 0, 1, 33, 255, 0) * 1000)])),
    ("a region of interest of 255 planes", REFUSED, "region of interest", lambda: stream(
        siz(64, 64), parts=part(data=b"\0" * 6), more=[(j2k.RGN, b"\0\0\xFF")])),
    ("boxes ten thousand deep", OK, "", lambda: with_boxes(nested(10000))),
    ("a box shorter than its head", REFUSED, "a box in the JP2 header has an invalid length",
     lambda: with_boxes(j2k.box(b"res ", b"", 4))),
    ("a box of 2^63 bytes", REFUSED, "no codestream", lambda: j2k.SIGNATURE + j2k.box(b"ftyp", b"", 1 << 63, True)),
    ("a palette of 255 columns of 1024", REFUSED, "pclr box ends early", lambda: with_boxes(
        j2k.box(b"pclr", struct.pack(">HB", 1024, 255) + b"\7" * 255))),
    ("a hundred thousand boxes", OK, "", lambda: j2k.jp2(
        empty(), j2k.ihdr(64, 64, 1), j2k.colr(17), after=j2k.box(b"uuid", b"\0" * 16) * 100000)),
]


# ---- PNG and the plain formats -------------------------------------------------------------------------------------


def chunk(kind, body, length=None):
    return struct.pack(">I", len(body) if length is None else length) + kind + body + \
        struct.pack(">I", zlib.crc32(kind + body))


def png(width, height, *chunks, depth=8, kind=0, interlace=0, data=None):
    header = chunk(b"IHDR", struct.pack(">IIBBBBB", width, height, depth, kind, 0, 0, interlace))
    pixels = zlib.compress(b"\0" * (height * (width + 1)) if data is None else data, 9)
    return b"\x89PNG\r\n\x1A\n" + header + b"".join(chunks) + chunk(b"IDAT", pixels) + chunk(b"IEND", b"")


def swollen(bytes_inside):
    packer = zlib.compressobj(9)
    megabyte = b"\0" * (1 << 20)
    return b"".join(packer.compress(megabyte) for _ in range(bytes_inside >> 20)) + packer.flush()


def tiff(entries, data=b"", next_directory=0):
    body = b"".join(struct.pack("<HHII", tag, kind, count, value) for tag, kind, count, value in entries)
    return b"II*\0\x08\0\0\0" + struct.pack("<H", len(entries)) + body + struct.pack("<I", next_directory) + data


def grey_tiff(width, height, *more, **options):
    sizes = [(256, 4, 1, width), (257, 4, 1, height), (258, 3, 1, 8), (262, 3, 1, 1)]
    return tiff(sorted(sizes + list(more)), **options)


def bmp(width, height, bits=24, colours=0, offset=54):
    return struct.pack("<2sIHHIIiiHHIIiiII", b"BM", 100, 0, 0, offset, 40, width, height, 1, bits, 0, 0, 0, 0, colours,
                       0) + b"\0" * 46


PLAIN_CASES = [
    ("a PNG of 2^31 by 2^31", LIMIT, "--max-pixels", "png", lambda: png(0x7FFFFFFF, 0x7FFFFFFF, data=b"")),
    ("an interlaced PNG without data", REFUSED, "ends early", "png", lambda: png(8192, 8192, interlace=1, data=b"")),
    ("a PNG chunk of 2^31 bytes", REFUSED, "ends early", "png", lambda: png(8, 8, chunk(b"tEXt", b"a\0b", 0x7FFFFFFF))),
    ("a PNG profile that swells to 512 MiB", OK, "", "png",
     lambda: png(8, 8, chunk(b"iCCP", b"icc\0\0" + swollen(512 << 20)))),
    ("a PNG text that swells to 512 MiB", OK, "", "png",
     lambda: png(8, 8, chunk(b"zTXt", b"Comment\0\0" + swollen(512 << 20)))),
    ("a PNG with fifty thousand texts", OK, "", "png", lambda: png(8, 8, chunk(b"tEXt", b"Comment\0text") * 50000)),
    ("a PPM of 20 digits", LIMIT, "--max-pixels", "ppm", lambda: b"P6 99999999999999999999 99999999999999999999 255\n"),
    ("a PPM header that is all comment", REFUSED, "ends in its header", "ppm", lambda: b"P6\n#" + b"x" * 5000000),
    ("a PAM without an end of its header", REFUSED, "ends in its header", "pam",
     lambda: b"P7\n" + b"WIDTH 1\n" * 500000),
    ("a PAM of 2^31 planes", REFUSED, "2147483647 samples a pixel", "pam",
     lambda: b"P7\nWIDTH 9\nHEIGHT 9\nDEPTH 2147483647\nMAXVAL 255\nENDHDR\n"),
    ("a PGX of 4 Gi samples", LIMIT, "--max-pixels", "pgx", lambda: b"PG ML + 8 4294967295 4294967295\n"),
    ("a BMP of negative width", REFUSED, "negative width", "bmp", lambda: bmp(-8, 8)),
    ("a BMP of -2^31 rows", LIMIT, "--max-pixels", "bmp", lambda: bmp(8, -(1 << 31))),
    ("a BMP of 4 Gi colours", REFUSED, "palette is missing", "bmp", lambda: bmp(8, 8, 8, 0xFFFFFFFF)),
    ("a BMP whose pixels are far away", REFUSED, "no rows follow", "bmp", lambda: bmp(8, 8, offset=0xFFFFFFF0)),
    ("TIFF directories in a ring", REFUSED, "StripOffsets", "tif", lambda: grey_tiff(8, 8, next_directory=8)),
    ("a TIFF of 4 Gi strips", REFUSED, "ends early", "tif",
     lambda: grey_tiff(8, 8, (273, 4, 0xFFFFFFFF, 8), (278, 4, 1, 1), (279, 4, 0xFFFFFFFF, 8))),
    ("a TIFF of 65535 samples a pixel", REFUSED, "StripOffsets", "tif", lambda: grey_tiff(8, 8, (277, 3, 1, 65535))),
    ("a TIFF of 4 Gi by 4 Gi", REFUSED, "overflow", "tif",
     lambda: grey_tiff(0xFFFFFFFF, 0xFFFFFFFF, (273, 4, 1, 8), (279, 4, 1, 8))),
]


class Hostile(ToolTest):
    def run_bounded(self, *arguments):
        """(status, standard error, seconds of processor time, MiB at the peak)"""
        with subprocess.Popen([MOXJ, *arguments], cwd=self.directory, stdin=subprocess.DEVNULL,
                              stdout=subprocess.DEVNULL, stderr=subprocess.PIPE) as process:
            errors = process.stderr.read().decode()
            _, status, usage = os.wait4(process.pid, 0)
            process.returncode = os.waitstatus_to_exitcode(status)
        return process.returncode, errors, usage.ru_utime + usage.ru_stime, usage.ru_maxrss / 1024

    def judge(self, name, expected, cause, source, target, *, command="decode"):
        output = self.path(target)
        status, errors, seconds, mebibytes = self.run_bounded(command, source, target)
        lines = errors.splitlines()
        if os.environ.get("SHOW"):
            print("%-48s %d %5.2f s %4.0f MiB  %s" % (name, status, seconds, mebibytes, errors.strip()),
                  file=sys.stderr)
        with self.subTest(name):
            self.assertEqual(status, expected, errors)
            if status != OK:
                self.assertRegex(lines[-1], cause)
                self.assertIn(source, lines[-1])
                self.assertEqual(len([line for line in lines if "note:" not in line]), 1, errors)
            self.assertEqual(os.path.exists(output), status in (OK, INCOMPLETE))
            if not SANITIZED:
                self.assertLess(seconds, SECONDS)
                self.assertLess(mebibytes, MEBIBYTES)
        if os.path.exists(output):
            os.remove(output)

    def test_jpeg(self):
        for name, status, cause, make in JPEG_CASES:
            self.write("hostile.jpg", make())
            self.judge(name, status, cause, "hostile.jpg", "out.ppm")

    def test_jpeg_2000(self):
        for name, status, cause, make in J2K_CASES:
            data = make()
            source = self.write("hostile.jp2" if data[:4] == b"\0\0\0\x0C" else "hostile.j2k", data)
            self.judge(name, status, cause, source, "out.pgm")

    def test_plain(self):
        for name, status, cause, kind, make in PLAIN_CASES:
            source = self.write("hostile." + kind, make())
            self.judge(name, status, cause, source, "out.jp2", command="encode")


if __name__ == "__main__":
    unittest.main()

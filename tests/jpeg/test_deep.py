"""12-bit extended sequential and progressive files: beside an exact inverse transform, and beside dcmcjpeg and dcmdjpeg
(DCMTK), which have the 12-bit processes."""

import functools
import math
import random
import re
import shutil
import struct
import subprocess
import unittest

import coefficient_files as cf
import dicom
import support
from test_interop import InteropTest

MAXVAL = 4095


def waves(width, height, channels, seed, noise=40):
    """A picture of 12 bits."""
    source = random.Random(seed)
    numbers = [source.uniform(0.02, 0.3) for _ in range(6)]
    samples = []
    for y in range(height):
        for x in range(width):
            for c in range(channels):
                value = 2048 + 1500 * math.sin(numbers[c] * x + numbers[c + 3] * y + c) + source.uniform(-noise, noise)
                samples.append(min(MAXVAL, max(0, round(value))))
    return width, height, channels, samples


def psnr(a, b):
    error = sum((x - y) ** 2 for x, y in zip(a, b)) / len(a)
    return math.inf if error == 0 else 10 * math.log10(MAXVAL ** 2 / error)


@functools.lru_cache(None)
def cosine(x, u):
    return math.cos((2 * x + 1) * u * math.pi / 16) * (math.sqrt(0.125) if u == 0 else 0.5)


def exact_block(block, step):
    """The samples of a block in zig-zag order, in double precision (T.81 A.3.3)."""
    zigzag = sorted(range(64), key=lambda i: (i // 8 + i % 8, (i % 8 if (i // 8 + i % 8) % 2 == 0 else i // 8)))
    coefficients = {}
    for k, value in enumerate(block):
        if value:
            coefficients[divmod(zigzag[k], 8)] = value * step
    return [[2048 + sum(value * cosine(y, v) * cosine(x, u) for (v, u), value in coefficients.items())
             for x in range(8)] for y in range(8)]


def deep(data):
    """The same file with a precision of 12 bits in its frame header."""
    at = data.index(b"\xff\xc1") + 4
    return data[:at] + b"\x0c" + data[at + 1:]


class DeepTest(InteropTest):
    def decoded(self, data, *options):
        self.write("x.jpg", data)
        picture, maxval = support.parse_deep_pnm(self.expect(support.OK, "decode", "x.jpg", "-", *options))
        self.assertEqual(maxval, MAXVAL)
        return picture


class ReadTest(DeepTest):
    def test_an_exact_inverse_transform(self):
        for step in (1, 8, 60, 255):
            size = (45, 27)
            component = cf.Component(1, 1, 1)
            data = deep(cf.jpeg(size, [component], step=step, process=0xC1))
            blocks = cf.random_blocks(component, size, (1, 1), 0)
            picture = self.decoded(data)
            self.assertEqual(picture[:3], (45, 27, 1))
            off = 0
            for (bx, by), block in blocks.items():
                exact = exact_block(block, step)
                for y in range(min(8, size[1] - 8 * by)):
                    for x in range(min(8, size[0] - 8 * bx)):
                        ours = picture[3][(8 * by + y) * size[0] + 8 * bx + x]
                        expected = min(MAXVAL, max(0, exact[y][x]))
                        self.assertLessEqual(abs(ours - expected), 0.501)
                        off += abs(ours - expected) > 0.5
            self.assertLess(off, 20)

    def test_planes_of_components(self):
        """Inks, two components, and RGB have their samples; the up-sampling of 8 bits is that of 12."""
        for identifiers, colours in ((b"RGB", 3), (b"\1\2", 2)):
            data = deep(cf.jpeg((24, 16), [cf.Component(i, 1, 1) for i in identifiers], process=0xC1))
            self.write("x.jpg", data)
            self.expect(support.OK, "decode", "x.jpg", "x.pgm", "--components")
            alone = [deep(cf.jpeg((24, 16), [cf.Component(i, 1, 1) for i in identifiers], [[j] for j in range(colours)],
                                  process=0xC1)) for j in range(colours)]
            for index in range(colours):
                self.write("y.jpg", alone[index])
                self.expect(support.OK, "decode", "y.jpg", "y.pgm", "--components")
                self.assertEqual(self.read(f"x_{index}.pgm"), self.read(f"y_{index}.pgm"))

    def test_upsampling_is_that_of_8_bits(self):
        """Of coefficients that give flat blocks, with steps 16 times as large."""
        for factors in ((2, 1), (1, 2), (2, 2), (4, 1), (3, 1), (3, 2)):
            size = (61, 43)
            components = [cf.Component(1, *factors), cf.Component(2, 1, 1), cf.Component(3, 1, 1)]
            eight = cf.jpeg(size, components, step=1, process=0xC1)
            twelve = deep(cf.jpeg(size, components, step=16, process=0xC1))
            for options in ((), ("--nosmooth",)):
                self.write("eight.jpg", eight)
                _, _, _, samples = support.parse_pnm(self.expect(support.OK, "decode", "eight.jpg", "-", *options))
                picture = self.decoded(twelve, *options)
                difference = [abs(a / 16 - b) for a, b in zip(picture[3], samples)]
                self.assertLess(max(difference), 3.5, (factors, options))
                self.assertLess(sum(difference) / len(difference), 0.6, (factors, options))

    def test_reduced_pictures_are_those_of_8_bits(self):
        """Of the same coefficients, with steps 16 times as large."""
        for factors in ((1, 1), (2, 1), (1, 2), (2, 2), (4, 1)):
            components = [cf.Component(1, *factors), cf.Component(2, 1, 1), cf.Component(3, 1, 1)]
            self.write("eight.jpg", cf.jpeg((61, 43), components, step=1, process=0xC1))
            twelve = deep(cf.jpeg((61, 43), components, step=16, process=0xC1))
            for reduce in "1", "2", "3":
                options = ("--reduce", reduce)
                eight = support.parse_pnm(self.expect(support.OK, "decode", "eight.jpg", "-", *options))
                picture = self.decoded(twelve, *options)
                self.assertEqual(picture[:3], eight[:3])
                difference = [abs(a / 16 - b) for a, b in zip(picture[3], eight[3])]
                self.assertLess(max(difference), 3.5, (factors, reduce))
                self.assertLess(sum(difference) / len(difference), 0.6, (factors, reduce))

    def test_regions_are_cuts_of_the_whole(self):
        """At every resolution, exactly."""
        size = (61, 43)
        for factors in (((1, 1),), ((1, 1),) * 3, ((2, 1), (1, 1), (1, 1)), ((2, 2), (1, 1), (1, 1)),
                        ((1, 2), (1, 1), (1, 1)), ((4, 1), (1, 1), (1, 1)), ((2, 2), (1, 2), (2, 1))):
            components = [cf.Component(i + 1, *factor) for i, factor in enumerate(factors)]
            self.write("x.jpg", deep(cf.jpeg(size, components, step=200, process=0xC1, restart=3)))
            self.expect(support.OK, "transcode", "x.jpg", "p.jpg", "--progressive")
            for name, *options in ("x.jpg",), ("x.jpg", "--nosmooth"), ("p.jpg",):
                for reduce in range(4):
                    arguments = ["decode", name, "-", "--reduce", str(reduce), *options]
                    (width, _, channels, samples), _ = support.parse_deep_pnm(self.expect(support.OK, *arguments))
                    for x, y, wide, high in (0, 0, *size), (13, 21, 40, 9), (56, 40, 5, 3), (8, 0, 8, 43), (1, 7, 9, 9):
                        left, right, top, bottom = (-(-at >> reduce) for at in (x, x + wide, y, y + high))
                        cut = [samples[channels * (row * width + left):channels * (row * width + right)]
                               for row in range(top, bottom)]
                        part = self.expect(support.OK, *arguments, "--region", f"{x},{y},{wide},{high}")
                        self.assertEqual(support.parse_deep_pnm(part),
                                         ((right - left, bottom - top, channels, sum(cut, [])), MAXVAL),
                                         (factors, name, options, reduce, x, y))

    def test_transcoding(self):
        """Sequential to progressive and back: the same coefficients."""
        components = [cf.Component(1, 2, 2), cf.Component(2, 1, 1), cf.Component(3, 1, 1)]
        self.write("a.jpg", deep(cf.jpeg((61, 43), components, step=200, process=0xC1)))
        pixels = self.expect(support.OK, "decode", "a.jpg", "-")
        self.expect(support.OK, "transcode", "a.jpg", "b.jpg", "--progressive")
        self.assertIn(b"\xff\xc2\0\x11\x0c", self.read("b.jpg"))
        self.expect(support.OK, "transcode", "b.jpg", "c.jpg", "--sequential", "--restart", "2")
        self.assertIn(b"\xff\xc1\0\x11\x0c", self.read("c.jpg"))
        for name in ("b.jpg", "c.jpg"):
            self.assertEqual(self.expect(support.OK, "decode", name, "-"), pixels)

    def test_baseline_has_8_bits(self):
        data = bytearray(cf.jpeg((16, 16), [cf.Component(1, 1, 1)]))
        data[data.index(b"\xff\xc0") + 4] = 12
        self.write("x.jpg", bytes(data))
        self.expect(support.REFUSED, "decode", "x.jpg", "x.ppm",
                    error="moxj: x.jpg: baseline JPEG of 12 bits is not supported\n")

    def test_png(self):
        """Scaled to 16 bits."""
        self.write("x.jpg", deep(cf.jpeg((16, 16), [cf.Component(1, 1, 1)], step=100, process=0xC1)))
        samples = self.decoded(self.read("x.jpg"))[3]
        self.expect(support.OK, "decode", "x.jpg", "x.png")
        self.expect(support.OK, "decode", "x.png", "x.pgm")
        picture, maxval = support.parse_deep_pnm(self.read("x.pgm"))
        self.assertEqual((picture[3], maxval), ([(2 * 65535 * s + MAXVAL) // (2 * MAXVAL) for s in samples], 65535))


class WriteTest(DeepTest):
    def encoded(self, picture, *options, maxval=MAXVAL):
        self.write("in.pnm", support.pnm(picture, maxval))
        return self.expect(support.OK, "encode", "in.pnm", "-", "--depth", "12", *options)

    def test_there_and_back(self):
        """Better with the quality; progressive, restarts and samplings give the same picture where they should."""
        for channels in (1, 3):
            picture = waves(61, 43, channels, channels)
            last = 0
            for quality in (10, 50, 75, 95, 100):
                data = self.encoded(picture, "--quality", str(quality), "--sample", "4:4:4")
                self.assertIn(b"\xff\xc1" + struct.pack(">HBHHB", 8 + 3 * channels, 12, 43, 61, channels), data)
                decoded = self.decoded(data)
                self.assertEqual(decoded[:3], picture[:3])
                self.assertGreater(psnr(decoded[3], picture[3]), last)
                last = psnr(decoded[3], picture[3])
                for options in (["--progressive"], ["--restart", "3"], ["--progressive", "--restart", "1B"]):
                    other = self.encoded(picture, "--quality", str(quality), "--sample", "4:4:4", *options)
                    self.assertEqual(self.decoded(other), decoded, options)
            self.assertGreater(last, 70 if channels == 1 else 60)

    def test_the_largest_coefficients(self):
        """Black and white noise at quality 100: DC differences of 15 bits, AC coefficients of 14."""
        source = random.Random(3)
        for channels in (1, 3):
            flat = [source.choice((0, MAXVAL)) for _ in range(8 * 6)]
            blocks = [flat[y // 8 * 8 + x // 8] for y in range(48) for x in range(64) for _ in range(channels)]
            noise = [source.choice((0, MAXVAL)) for _ in range(64 * 48 * channels)]
            checked = [MAXVAL * ((x + y) % 2) for y in range(48) for x in range(64) for _ in range(channels)]
            for samples in (blocks, noise, checked):
                for options in ([], ["--progressive"]):
                    data = self.encoded((64, 48, channels, samples), "--quality", "100", "--sample", "4:4:4", *options)
                    self.assertGreater(psnr(self.decoded(data)[3], samples), 55, options)

    def test_samplings(self):
        picture = waves(61, 43, 3, 7, noise=0)
        for factors in ("4:2:2", "4:2:0", "4:4:0", "4x1", "4x2", "1x1,2x2,1x1", "3x1"):
            decoded = self.decoded(self.encoded(picture, "--sample", factors, "--quality", "95"))
            self.assertGreater(psnr(decoded[3], picture[3]), 28, factors)

    def test_rgb(self):
        picture = waves(61, 43, 3, 7)
        decoded = self.decoded(self.encoded(picture, "--rgb", "--quality", "100"))
        self.assertLessEqual(max(abs(a - b) for a, b in zip(decoded[3], picture[3])), 4)

    def test_other_depths(self):
        """8 bits are scaled without a note, 16 with one."""
        eight = support.smooth(40, 30, 3)
        decoded = self.decoded(self.encoded(eight, "--quality", "100", "--sample", "4:4:4", maxval=255))
        self.assertGreater(psnr(decoded[3], [(v * MAXVAL * 2 + 255) // 510 for v in eight[3]]), 60)
        self.write("in.pnm", support.pnm(support.noise(20, 20, 1, maxval=65535), 65535))
        self.expect(support.OK, "encode", "in.pnm", "x.jpg", "--depth", "12",
                    error="moxj: in.pnm: note: samples of 16 bits reduced to 12\n")
        self.assertEqual(self.expect(support.OK, "encode", "in.pnm", "-", "--depth", "8", "--quiet"),
                         self.expect(support.OK, "encode", "in.pnm", "-", "--quiet"))

    def test_there_and_back_between_jpeg_files(self):
        """The samples of YCbCr are coded as they are, whatever the sampling."""
        picture = waves(61, 43, 3, 9)
        self.write("x.jpg", self.encoded(picture, "--sample", "4:2:0", "--quality", "100"))
        self.expect(support.OK, "encode", "x.jpg", "y.jpg", "--depth", "12", "--quality", "100", "--sample", "4:2:0")
        self.assertGreater(psnr(self.decoded(self.read("y.jpg"))[3], self.decoded(self.read("x.jpg"))[3]), 45)

    def test_what_is_refused(self):
        self.write("in.ppm", support.pnm(support.smooth(20, 20, 3)))
        self.expect(support.REFUSED, "encode", "in.ppm", "x.jpg", "--depth", "12", "--fast-mcu",
                    error="moxj: in.ppm: --fast-mcu is for samples of 8 bits\n")
        self.expect(support.USAGE, "encode", "in.ppm", "x.jpg", "--depth", "12", "--lossless",
                    error=re.compile("--depth is not for lossless files"))
        for depth in ("9", "10", "16", "0", "x"):
            self.assertEqual(self.moxj("encode", "in.ppm", "x.jpg", "--depth", depth).returncode, support.USAGE)


@unittest.skipUnless(shutil.which("dcmcjpeg"), "needs dcmcjpeg and dcmdjpeg (package dcmtk)")
class DicomTest(DeepTest):
    def dcmtk(self, name, *arguments):
        result = subprocess.run([name, *arguments], cwd=self.directory, stdout=subprocess.PIPE,
                                stderr=subprocess.STDOUT, timeout=60)
        self.assertEqual(result.returncode, 0, (name, arguments, result.stdout))

    def encoded(self, picture, *options):
        """As dcmcjpeg codes it."""
        width, height, channels, samples = picture
        self.write("raw.dcm", dicom.file(width, height, channels, 12, struct.pack(f"<{len(samples)}H", *samples)))
        self.dcmtk("dcmcjpeg", "+sr", *options, "raw.dcm", "coded.dcm")
        return dicom.pixel_data(self.read("coded.dcm"))

    def expected(self, data, picture, syntax=dicom.EXTENDED, colour=None):
        """As dcmdjpeg decodes it."""
        width, height, channels = picture[:3]
        self.write("in.dcm", dicom.file(width, height, channels, 12, data, syntax, colour))
        self.dcmtk("dcmdjpeg", "in.dcm", "out.dcm")
        samples = dicom.pixel_data(self.read("out.dcm"))
        return list(struct.unpack(f"<{width * height * channels}H", samples[:2 * width * height * channels]))

    def test_files_of_dcmcjpeg(self):
        for channels in (1, 3):
            for number, options in enumerate((["+ee", "+q", "90"], ["+ep", "+q", "90"], ["+ee", "+q", "30"],
                                              ["+ep", "+q", "100"])):
                picture = waves(61 + number, 43, channels, number)
                data = self.encoded(picture, *options)
                ours = self.decoded(data)
                self.assertEqual(ours[:3], picture[:3])
                self.assertGreater(psnr(ours[3], picture[3]), 45 if channels == 1 else 35, (channels, options))
                if channels == 1:
                    syntax = dicom.PROGRESSIVE if "+ep" in options else dicom.EXTENDED
                    theirs = self.expected(data, picture, syntax)
                    self.assertLessEqual(max(abs(a - b) for a, b in zip(ours[3], theirs)), 1)

    def test_files_of_ours(self):
        """dcmdjpeg gives what we give, within 1 (grey); both are close to the picture."""
        for channels in (1, 3):
            picture = waves(61, 43, channels, 11)
            self.write("in.pnm", support.pnm(picture, MAXVAL))
            for options in ([], ["--progressive"], ["--restart", "2"], ["--progressive", "--quality", "100"],
                            ["--quality", "100"]):
                data = self.expect(support.OK, "encode", "in.pnm", "-", "--depth", "12", *options, "--sample", "4:4:4")
                syntax = dicom.PROGRESSIVE if "--progressive" in options else dicom.EXTENDED
                theirs = self.expected(data, picture, syntax, "YBR_FULL" if channels == 3 else None)
                ours = self.decoded(data)[3]
                if channels == 1:
                    self.assertLessEqual(max(abs(a - b) for a, b in zip(ours, theirs)), 1)
                else:
                    self.assertGreater(psnr(ours, theirs), 60)

    def test_as_good_as_dcmcjpeg(self):
        """At the same quality, about the same size and error."""
        picture = waves(128, 96, 1, 12)
        self.write("in.pnm", support.pnm(picture, MAXVAL))
        for quality in ("30", "75", "95"):
            theirs = self.encoded(picture, "+ee", "+q", quality)
            ours = self.expect(support.OK, "encode", "in.pnm", "-", "--depth", "12", "--quality", quality)
            self.assertLess(len(ours), 1.02 * len(theirs))
            self.assertGreater(psnr(self.decoded(ours)[3], picture[3]),
                               psnr(self.decoded(theirs)[3], picture[3]) - 0.1)


if __name__ == "__main__":
    unittest.main()

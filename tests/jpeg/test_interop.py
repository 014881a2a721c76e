"""moxj, cjpeg and djpeg read each other's files, with nearly the same pixels."""

import collections
import itertools
import operator
import os
import pathlib
import random
import subprocess
import unittest

import coefficient_files as cf
import pictures
import support

# Factors of the first component that cjpeg accepts (an MCU has at most 10 blocks).
SAMPLINGS = [f"{h}x{v}" for h in range(1, 5) for v in range(1, 5) if h * v <= 8]
# Factors of all components, with larger ones not only in the first.
ODD_SAMPLINGS = ["1x1,2x2,1x1", "1x1,1x1,2x1", "2x2,1x2,2x1", "2x2,2x1,2x1", "2x1,1x2,1x1",
                 "1x2,2x1,1x1", "4x1,2x1,2x1", "4x1,1x1,2x1", "1x4,1x2,1x2", "2x2,2x2,1x1"]
# Scans with one component and with two.
SCANS = ["0;1;2;", "0,1;2;", "0;1,2;", "1;0;2;", "2;1;0;"]


# Measured once. The largest difference of a sample:
MAX_GREY = 1
MAX_COLOUR = 4
# Fractions and mean over all samples of a group of files:
EQUAL_GREY = 0.97
WITHIN_2_COLOUR = 0.999
MEAN_COLOUR = 0.1


def raw_pnm(data):
    magic, size, _, samples = data.split(b"\n", 3)
    return *map(int, size.split()), {b"P5": 1, b"P6": 3}[magic], samples


class Difference:
    """The distribution of the differences between the samples of pictures."""

    def __init__(self):
        self.counts = collections.Counter()

    def add(self, a, b):
        self.counts.update(map(abs, map(operator.sub, a, b)))

    def part(self, bound):
        return sum(count for value, count in self.counts.items() if value <= bound) / sum(self.counts.values())

    def mean(self):
        return sum(value * count for value, count in self.counts.items()) / sum(self.counts.values())

    def largest(self):
        return max(self.counts)

    def __str__(self):
        return (f"largest {self.largest()}, equal {self.part(0):.4f}, within 2 {self.part(2):.5f}, "
                f"mean {self.mean():.4f}")


class InteropTest(support.ToolTest):
    def tool(self, name, *arguments, stdin=b""):
        """The output of the program, and its warnings."""
        result = subprocess.run([name, *map(str, arguments)], cwd=self.directory, input=stdin, stdout=subprocess.PIPE,
                                stderr=subprocess.PIPE, timeout=60)
        self.assertEqual(result.returncode, 0, (name, arguments, result.stderr))
        return result.stdout, result.stderr

    def cjpeg(self, picture, *arguments):
        return self.tool("cjpeg", *arguments, stdin=picture)[0]

    def djpeg(self, name, *arguments):
        picture, warnings = self.tool("djpeg", "-dct", "int", "-pnm", *arguments, name)
        self.assertEqual(warnings, b"", name)
        return raw_pnm(picture)

    def decode_all(self, files, *options):
        """All files in one call of the tool: {name: picture}."""
        directory = self.path("decoded" + "".join(options))
        for name, data in files.items():
            self.write(name + ".jpg", data)
        self.expect(support.OK, "decode", *(name + ".jpg" for name in files), "--output-dir", directory,
                    "--format", "pnm", "--quiet", *options)
        return {name: raw_pnm(pathlib.Path(directory, name + ".pnm").read_bytes()) for name in files}

    def encode_all(self, pictures_, *options):
        directory = self.path("coded" + "".join(options).replace(":", ""))
        for name, data in pictures_.items():
            self.write(name + ".ppm", data)
        self.expect(support.OK, "encode", *(name + ".ppm" for name in pictures_), "--output-dir", directory, "--quiet",
                    *options)
        return {name: pathlib.Path(directory, name + ".jpg").read_bytes() for name in pictures_}

    def assert_close(self, files, grey=False, plain=True, equal_grey=EQUAL_GREY):
        """Compares with djpeg, with its default options and without smoothing. Samples differ by at most 1 (grey) or 4,
        and their distribution keeps to the bounds at the head of this file."""
        for ours, theirs in [([], [])] + [(["--nosmooth"], ["-nosmooth"])] * plain:
            all_files = Difference()
            for name, picture in self.decode_all(files, *ours).items():
                expected = self.djpeg(name + ".jpg", *theirs)
                self.assertEqual(picture[:3], expected[:3], name)
                one = Difference()
                one.add(picture[3], expected[3])
                self.assertLessEqual(one.largest(), MAX_GREY if grey else MAX_COLOUR, (name, ours))
                all_files.counts.update(one.counts)
            if os.environ.get("SHOW_DIFFERENCES"):
                print(f"{self.id().split('.')[-1]:34} {''.join(ours):10} {all_files}")
            if grey:
                self.assertGreaterEqual(all_files.part(0), equal_grey, all_files)
            else:
                self.assertGreaterEqual(all_files.part(2), WITHIN_2_COLOUR, all_files)
                self.assertLessEqual(all_files.mean(), MEAN_COLOUR, all_files)


class ReadTest(InteropTest):
    def test_every_quality(self):
        picture = support.pnm(pictures.generated(40, 40, 3, 1))
        samplings = ["1x1", "2x1", "2x2", "1x2"]
        self.assert_close({f"q{q}": self.cjpeg(picture, "-quality", q, "-sample", samplings[q % 4])
                           for q in range(1, 101)})

    def test_every_quality_in_grey(self):
        picture = support.pnm(pictures.generated(40, 40, 1, 1))
        self.assert_close({f"q{q}": self.cjpeg(picture, "-quality", q) for q in range(1, 101)}, grey=True, plain=False)

    def test_every_sampling(self):
        picture = support.pnm(pictures.generated(45, 37, 3, 2))
        self.assert_close({s: self.cjpeg(picture, "-quality", 80, "-sample", s) for s in SAMPLINGS + ODD_SAMPLINGS})

    def test_every_width_and_height(self):
        for sampling in ("1x1", "2x1", "2x2", "1x2", "4x1", "4x2"):
            files = {}
            for width in range(1, 41):
                height = width * 23 % 41
                picture = support.pnm(pictures.generated(width, height, 3, width))
                files[f"{sampling}-{width}"] = self.cjpeg(picture, "-quality", 85, "-sample", sampling)
            self.assert_close(files)

    def test_every_width_and_height_in_grey(self):
        files = {}
        for width in range(1, 41):
            picture = support.pnm(pictures.generated(width, width * 23 % 41, 1, width))
            files[f"w{width}"] = self.cjpeg(picture, "-quality", 85)
        self.assert_close(files, grey=True, plain=False)

    def test_restarts(self):
        picture = support.pnm(pictures.generated(75, 53, 3, 3))
        self.assert_close({f"{s}-{r}": self.cjpeg(picture, "-sample", s, "-restart", r)
                           for s in ("1x1", "2x1", "2x2") for r in ("1B", "2B", "7B", "1", "2", "9")})

    def test_scans_of_their_own(self):
        files = {}
        for number, script in enumerate(SCANS):
            self.write("script", script.encode())
            for sampling in ("1x1", "2x1", "2x2", "1x2"):
                for size in ((40, 37), (13, 21)):
                    picture = support.pnm(pictures.generated(*size, 3, number))
                    for restart in ("0", "3B", "1"):
                        files[f"{number}-{sampling}-{size[0]}-{restart}"] = self.cjpeg(
                            picture, "-sample", sampling, "-scans", "script", "-restart", restart)
        self.assert_close(files, plain=False)

    def test_optimal_tables_and_rgb(self):
        picture = support.pnm(pictures.generated(75, 53, 3, 4))
        self.assert_close({"optimal": self.cjpeg(picture, "-optimize"), "rgb": self.cjpeg(picture, "-rgb")})

    def test_photographs(self):
        directory, names = pictures.photographs()
        for name in names:
            picture = (directory / f"{name}.ppm").read_bytes()
            self.assert_close({f"{name}-{q}-{s}": self.cjpeg(picture, "-quality", q, "-sample", s)
                               for q, s in ((50, "2x2"), (90, "2x2"), (75, "2x1"), (95, "1x1"))})
            self.assert_close({f"{name}-grey-{q}": self.cjpeg(picture, "-quality", q, "-grayscale") for q in (50, 90)},
                              grey=True, plain=False)

    def test_colour_models(self):
        four = [cf.Component(i, 1, 1) for i in b"CMYK"]
        halved = [cf.Component(1, 2, 2), cf.Component(2, 1, 1), cf.Component(3, 1, 1), cf.Component(4, 2, 2)]
        three = [cf.Component(i, 1, 1) for i in b"abc"]
        named = [cf.Component(i, 1, 1) for i in b"RGB"]
        files = {}
        for size in ((31, 18), (6, 5), (64, 9)):
            name = f"{size[0]}"
            files["cmyk" + name] = cf.jpeg(size, four)
            files["adobe-cmyk" + name] = cf.jpeg(size, four, segments=cf.adobe(0))
            files["ycck" + name] = cf.jpeg(size, four, segments=cf.adobe(2))
            files["ycck-halved" + name] = cf.jpeg(size, halved, segments=cf.adobe(2))
            files["cmyk-halved" + name] = cf.jpeg(size, halved)
            files["adobe-rgb" + name] = cf.jpeg(size, three, segments=cf.adobe(0))
            files["adobe-ycbcr" + name] = cf.jpeg(size, three, segments=cf.adobe(1))
            files["ycbcr" + name] = cf.jpeg(size, three)
            files["jfif-first" + name] = cf.jpeg(size, named, segments=cf.JFIF + cf.adobe(0))
            files["rgb" + name] = cf.jpeg(size, named)
        self.assert_close(files)

    def test_forms_that_cjpeg_does_not_write(self):
        """16-bit steps, SOF1, scans in any order, restarts in all of them, components with partly filled MCUs."""
        triple = [cf.Component(10, 2, 2), cf.Component(20, 1, 1), cf.Component(30, 1, 2)]
        wide = [cf.Component(10, 4, 1), cf.Component(20, 2, 1), cf.Component(30, 1, 1)]
        high = [cf.Component(10, 1, 4), cf.Component(20, 1, 2), cf.Component(30, 1, 1)]
        small_first = [cf.Component(10, 1, 1), cf.Component(20, 2, 2), cf.Component(30, 2, 1)]
        grey = [cf.Component(1, 3, 2)]
        files = {}
        for components in (triple, wide, high, small_first):
            for scans in (None, [[0], [1], [2]], [[2], [0], [1]], [[1, 2], [0]], [[0, 2], [1]]):
                for restart in (0, 1, 3):
                    name = f"c{len(files)}"
                    files[name] = cf.jpeg((41, 35), components, scans, restart=restart, wide_steps=len(files) % 2 == 1,
                                          process=0xC1 if len(files) % 3 else 0xC0, segments=cf.JFIF)
        self.assert_close(files)
        self.assert_close(
            {"grey": cf.jpeg((41, 35), grey), "grey-restart": cf.jpeg((41, 35), grey, restart=4)}, grey=True
        )

    def test_a_line_count_after_the_scan(self):
        components = [cf.Component(1, 2, 2), cf.Component(2, 1, 1), cf.Component(3, 1, 1)]
        for scans in (None, [[0], [1], [2]]):
            plain = cf.jpeg((41, 35), components, scans)
            later = cf.jpeg((41, 35), components, scans, line_count=35)
            decoded = self.decode_all({"plain": plain, "later": later})
            self.assertEqual(decoded["plain"], decoded["later"])

    def test_damaged_files(self):
        """Every damaged file gives a complete picture, a partial one, or a reason for the refusal."""
        source = random.Random(5)
        picture = support.pnm(pictures.generated(67, 45, 3, 7))
        original = self.cjpeg(picture, "-quality", 85, "-restart", "3B")
        for number in range(60):
            damaged = bytearray(original)
            if number % 3 == 0:
                del damaged[source.randrange(len(damaged)):]
            else:
                for _ in range(1 + number % 7):
                    damaged[source.randrange(len(damaged))] ^= 1 << source.randrange(8)
            self.write(f"{number}.jpg", bytes(damaged))
            result = self.moxj("decode", f"{number}.jpg", f"{number}.ppm", "--max-pixels", "1000000")
            self.assertIn(result.returncode, (support.OK, support.REFUSED, support.INCOMPLETE, support.LIMIT))
            self.assertEqual(result.stderr.count("\n"), 0 if result.returncode == support.OK else 1, result.stderr)
            has_picture = result.returncode in (support.OK, support.INCOMPLETE)
            self.assertEqual(f"{number}.ppm" in self.files(), has_picture)


class WriteTest(InteropTest):
    def frame_factors(self, data):
        at = data.index(b"\xff\xc0")
        return [data[at + 11 + 3 * i] for i in range(data[at + 9])]

    def test_every_size_and_sampling(self):
        sizes = [(w, w * 23 % 41) for w in range(1, 41)]
        sources = {f"{w}x{h}": support.pnm(pictures.generated(w, h, 3, w)) for w, h in sizes}
        for sampling, factors in (("4:4:4", 0x11), ("4:2:2", 0x21), ("4:2:0", 0x22)):
            coded = self.encode_all(sources, "--sample", sampling)
            for name, data in coded.items():
                self.assertEqual(self.frame_factors(data), [factors, 0x11, 0x11], name)
            self.assert_close(coded, plain=False)

    def test_every_quality_and_restarts(self):
        picture = support.pnm(pictures.generated(75, 53, 3, 1))
        self.write("picture.ppm", picture)
        files = {}
        for quality in range(1, 101, 3):
            restart = ("0", "1", "4", "1B", "2B")[quality % 5]
            self.expect(
                support.OK, "encode", "picture.ppm", "coded.jpg", "--quality", str(quality), "--restart", restart
            )
            files[f"q{quality}"] = self.read("coded.jpg")
        self.assert_close(files, plain=False)

    def test_grey(self):
        sources = {
            f"{c}-{w}": support.pnm(pictures.generated(w, w * 23 % 41, c, w)) for c in (1, 3) for w in range(1, 41)
        }
        coded = self.encode_all(sources, "--grayscale")
        for data in coded.values():
            self.assertEqual(len(self.frame_factors(data)), 1)
        # Noise at quality 75 has more values near a half than any file of ReadTest: 0.9696 are equal.
        self.assert_close(coded, grey=True, plain=False, equal_grey=0.965)

    def test_as_good_as_cjpeg(self):
        """Photographs: about the same size and the same error as cjpeg at the same quality."""
        directory, names = pictures.photographs()
        for name in names:
            picture = (directory / f"{name}.ppm").read_bytes()
            for quality, ours, theirs in ((50, "4:2:0", "2x2"), (75, "4:2:2", "2x1"), (90, "4:4:4", "1x1")):
                coded = self.encode_all({name: picture}, "--quality", str(quality), "--sample", ours)[name]
                peer = self.cjpeg(picture, "-quality", quality, "-sample", theirs)
                self.write("ours.jpg", coded)
                self.write("theirs.jpg", peer)
                self.assertLess(len(coded), 1.01 * len(peer))
                original = raw_pnm(picture)[3]
                error = [sum(map(operator.pow, map(operator.sub, self.djpeg(file)[3], original), itertools.repeat(2)))
                         for file in ("ours.jpg", "theirs.jpg")]
                self.assertLess(error[0], 1.03 * error[1], (name, quality))


if __name__ == "__main__":
    unittest.main()

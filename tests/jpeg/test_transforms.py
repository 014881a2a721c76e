"""transcode turns, mirrors and crops: size, tables, sampling factors and every coefficient are those of jpegtran."""

import concurrent.futures
import re
import shutil
import subprocess
import unittest

import coefficient_files as cf
import pictures
import support
from test_interop import InteropTest

# As moxj and as jpegtran spell them.
TRANSFORMS = {
    "flip h": (["--flip", "h"], ["-flip", "horizontal"]),
    "flip v": (["--flip", "v"], ["-flip", "vertical"]),
    "transpose": (["--transpose"], ["-transpose"]),
    "transverse": (["--transverse"], ["-transverse"]),
    "rotate 90": (["--rotate", "90"], ["-rotate", "90"]),
    "rotate 180": (["--rotate", "180"], ["-rotate", "180"]),
    "rotate 270": (["--rotate", "270"], ["-rotate", "270"]),
}
SAMPLINGS = ["1x1", "2x1", "2x2", "1x2", "4x1", "1x4", "4x2", "3x1,1x1,1x1", "1x1,2x2,1x1", "2x2,1x2,2x1",
             "2x2,2x1,1x1"]
# Factors of pictures that cjpeg does not make: CMYK, and grey with factors that mean nothing.
OTHERS = {"cmyk": [(1, 1)] * 4, "inks": [(2, 2), (1, 1), (1, 1), (2, 2)], "grey2x2": [(2, 2)], "grey3x1": [(3, 1)]}


@unittest.skipUnless(shutil.which("jpegtran"), "jpegtran is missing")
class TransformTest(InteropTest):
    def sources(self, samplings=SAMPLINGS, others=OTHERS, step=3 if support.SHORT else 1):
        """Files of every remainder of their sizes by 16, in both directions, each with another one of the other."""
        files = {}
        for remainder in range(0, 16, step):
            width, height = 48 + remainder, 48 + (remainder * 5 + 3) % 16
            picture = support.pnm(pictures.generated(width, height, 3, remainder))
            for sampling in samplings:
                name = f"s{sampling.replace(',', '-')}-{width}"
                files[name] = self.cjpeg(picture, "-sample", sampling, "-quality", 88)
            files[f"grey-{width}"] = self.cjpeg(picture, "-grayscale")
            for name, factors in others.items():
                components = [cf.Component(number + 1, *each) for number, each in enumerate(factors)]
                segments = cf.adobe(0) if len(factors) == 4 else b""
                files[f"{name}-{width}"] = cf.jpeg((width, height), components, segments=segments)
        for name, data in files.items():
            self.write(name + ".jpg", data)
        return sorted(files)

    def jpegtran(self, path, *options):
        """What jpegtran writes, or None if it refuses."""
        result = subprocess.run(["jpegtran", "-copy", "none", *options, path], cwd=self.directory, capture_output=True,
                                timeout=60)
        return result.stdout if result.returncode == 0 else None

    def assert_same(self, names, ours, theirs, status=support.OK):
        """jpegtran gives the same file for what moxj has made, and moxj refuses what jpegtran refuses."""
        shutil.rmtree(self.path("out"), ignore_errors=True)
        files = [name + ".jpg" for name in names]
        result = self.moxj("transcode", *files, "--output-dir", "out", *ours)
        self.assertEqual(result.returncode, status, (ours, result.stderr))
        written = self.files("out")
        with concurrent.futures.ThreadPoolExecutor(4) as pool:
            expected = pool.map(lambda file: self.jpegtran(file, *theirs), files)
            made = pool.map(lambda file: file in written and self.jpegtran("out/" + file), files)
            for name, expect, got in zip(names, expected, made):
                self.assertTrue((expect or False) == got, (name, ours))
        return result.stderr

    def test_every_transform(self):
        names = self.sources()
        for ours, theirs in TRANSFORMS.values():
            self.assert_same(names, ours, theirs)

    def test_trim(self):
        names = self.sources()
        for ours, theirs in TRANSFORMS.values():
            errors = self.assert_same(names, [*ours, "--trim"], [*theirs, "-trim"])
            self.assertEqual(errors, "", ours)

    def test_perfect(self):
        names = self.sources()
        for name, (ours, theirs) in TRANSFORMS.items():
            status = support.OK if name == "transpose" else support.REFUSED
            errors = self.assert_same(names, [*ours, "--perfect"], [*theirs, "-perfect"], status)
            for line in errors.splitlines():
                self.assertRegex(line, r"\Amoxj: \S+: --perfect is impossible: the (width|height) of \d+ is not a "
                                       r"multiple of the MCU's, \d+\Z")

    def test_crop(self):
        names = self.sources(step=3)
        for crop in ("20x17", "17x9+16+8", "1x1+32+33", "+5+7", "24x24+8+8", "+31+40", "16x16+17+31", "+0+0"):
            self.assert_same(names, ["--crop", crop], ["-crop", crop])
            for ours, theirs in TRANSFORMS.values():
                self.assert_same(names, ["--crop", crop, *ours], ["-crop", crop, *theirs])

    def test_crop_and_trim(self):
        names = self.sources(["2x2", "2x1", "2x2,1x2,2x1"], {}, step=5)
        for crop in ("+17+16", "40x40+3+5", "3x3+45+45", "31x31+17+17"):
            for ours, theirs in TRANSFORMS.values():
                self.assert_same(names, ["--crop", crop, "--trim", *ours], ["-crop", crop, "-trim", *theirs])

    def test_small_pictures(self):
        """Sizes below an MCU, of which nothing is mirrored or trimmed away."""
        names = []
        for number, (width, height) in enumerate(((1, 1), (7, 5), (8, 8), (16, 3), (5, 16), (15, 17))):
            picture = support.pnm(pictures.generated(width, height, 3, number))
            for sampling in "1x1", "2x1", "2x2":
                names.append(f"small{number}-{sampling}")
                self.write(names[-1] + ".jpg", self.cjpeg(picture, "-sample", sampling))
        for ours, theirs in TRANSFORMS.values():
            self.assert_same(names, ours, theirs)
            self.assert_same(names, [*ours, "--trim"], [*theirs, "-trim"])

    def test_grayscale(self):
        names = self.sources(step=5)
        refused = [name for name in names if self.jpegtran(name + ".jpg", "-grayscale") is None]
        self.assertEqual({name.rsplit("-", 1)[0] for name in refused}, {"s1x1-2x2-1x1", "cmyk", "inks"})
        for ours, theirs in ([], []), *TRANSFORMS.values(), (["--crop", "17x9+16+8"], ["-crop", "17x9+16+8"]):
            self.assert_same(names, ["--grayscale", *ours], ["-grayscale", *theirs], support.REFUSED)

    def test_pixels(self):
        """A picture of whole MCUs decodes to the same pixels, turned."""
        picture = pictures.generated(48, 32, 3, 5)
        self.write("in.jpg", self.cjpeg(support.pnm(picture), "-sample", "1x1"))
        width, height, _, samples = self.djpeg("in.jpg")
        rows = [[samples[3 * (y * width + x):][:3] for x in range(width)] for y in range(height)]
        turned = {
            "flip h": [row[::-1] for row in rows],
            "flip v": rows[::-1],
            "transpose": list(zip(*rows)),
            "transverse": [column[::-1] for column in zip(*rows)][::-1],
            "rotate 90": [column[::-1] for column in zip(*rows)],
            "rotate 180": [row[::-1] for row in rows[::-1]],
            "rotate 270": list(zip(*rows))[::-1],
        }
        for name, (ours, _) in TRANSFORMS.items():
            self.expect(support.OK, "transcode", "in.jpg", "out.jpg", *ours)
            got = self.djpeg("out.jpg")
            self.assertEqual(got[:2], (len(turned[name][0]), len(turned[name])), name)
            expected = b"".join(pixel for row in turned[name] for pixel in row)
            # The inverse transform rounds rows and columns in turn.
            self.assertLessEqual(max(abs(a - b) for a, b in zip(got[3], expected)), 3, name)

    def test_scans_tables_and_restarts_are_those_of_the_result(self):
        names = self.sources(["2x2", "1x2"], {}, step=7)
        self.write("script", b"0: 0-0, 0, 0; 0: 1-63, 0, 0;")
        for options in (["--progressive"], ["--optimize"], ["--sequential"], ["--restart", "2"],
                        ["--progressive", "--restart", "1B"]):
            self.assert_same(names, ["--rotate", "90", *options], ["-rotate", "90"])
        self.assert_same(names, ["--rotate", "90", "--grayscale", "--scans", "script"], ["-rotate", "90", "-grayscale"])
        # From progressive files.
        for name in names:
            self.write(name + ".jpg", self.tool("jpegtran", "-progressive", name + ".jpg")[0])
        self.assert_same(names, ["--transverse", "--sequential"], ["-transverse"])
        self.expect(support.OK, "transcode", names[0] + ".jpg", "out.jpg", "--rotate", "90", "--trim")
        self.assertIn(b"\xff\xc2", self.read("out.jpg"))

    def test_steps_are_transposed(self):
        self.write("in.jpg", self.cjpeg(support.pnm(pictures.generated(16, 16, 1, 1))))
        self.expect(support.OK, "transcode", "in.jpg", "out.jpg", "--transpose")
        before, after = (first_steps(self.read(name)) for name in ("in.jpg", "out.jpg"))
        self.assertNotEqual(before, after)
        self.assertEqual(before, [after[8 * x + y] for y in range(8) for x in range(8)])

    def test_edges_are_noted(self):
        self.write("in.jpg", self.cjpeg(support.pnm(pictures.generated(61, 43, 3, 1)), "-sample", "2x2"))

        def noted(*options):
            return self.moxj("transcode", "in.jpg", "out.jpg", *options).stderr

        note = "moxj: in.jpg: note: the last %d %s do not fill an MCU and are not mirrored\n"
        self.assertEqual(noted("--flip", "h"), note % (13, "columns"))
        self.assertEqual(noted("--flip", "vertical"), note % (11, "rows"))
        self.assertEqual(noted("--rotate", "90"), note % (11, "columns"))
        self.assertEqual(noted("--rotate", "270"), note % (13, "rows"))
        self.assertEqual(noted("--rotate", "180"), note % (13, "columns") + note % (11, "rows"))
        self.assertEqual(noted("--transpose"), "")
        self.assertEqual(noted("--flip", "h", "--crop", "20x20+3+3"), "")
        self.assertEqual(noted("--flip", "h", "--crop", "20x20+30+3"), note % (2, "columns"))

    def test_refusals(self):
        self.write("in.jpg", self.cjpeg(support.pnm(pictures.generated(61, 43, 3, 1)), "-sample", "2x2"))
        self.write("rgb.jpg", self.cjpeg(support.pnm(pictures.generated(61, 43, 3, 1)), "-rgb"))
        self.write("mixed.jpg", self.cjpeg(support.pnm(pictures.generated(61, 43, 3, 1)), "-sample", "1x1,2x2,1x1"))
        needs = " needs --orient, --rotate, --flip, --transpose or --transverse"
        for options, words in ((["--rotate", "90", "--flip", "h"], "--rotate and --flip cannot be combined"),
                               (["--transpose", "--transverse"], "--transpose and --transverse cannot be combined"),
                               (["--rotate", "90", "--rotate", "90"], "--rotate and --rotate cannot be combined"),
                               (["--flip", "h", "--trim", "--perfect"], "--trim and --perfect cannot be combined"),
                               (["--trim"], "--trim" + needs),
                               (["--perfect", "--crop", "8x8"], "--perfect" + needs),
                               (["--rotate", "45"], "--rotate: '45' is not 90, 180 or 270"),
                               (["--flip", "x"], "--flip: 'x' is not h, v, horizontal or vertical"),
                               *((["--crop=" + crop],
                                  f"--crop: '{crop}' is not WxH+X+Y, WxH or +X+Y with whole numbers")
                                 for crop in ("", "+", "3", "3x", "0x3", "3x0+1+1", "3x3+1", "3x3+1+", "3x3+1+1+1",
                                              "3x3-1-1", "3x3+1+x", "99999999999x1", "+1+2147483648"))):
            self.expect(support.USAGE, "transcode", "in.jpg", "out.jpg", *options,
                        error=f"moxj: {words} (see moxj transcode --help)\n")
        past, impossible = "--crop reaches past the ", "--perfect is impossible: the "
        for file, options, words in (
            ("in", ["--crop", "62x1"], past + "61 columns of the picture"),
            ("in", ["--crop", "1x1+61+0"], past + "61 columns of the picture"),
            ("in", ["--crop", "40x40+20+4"], past + "43 rows of the picture"),
            ("in", ["--crop", "+0+43"], past + "43 rows of the picture"),
            ("in", ["--crop", "+2147483647+2147483647"], past + "61 columns of the picture"),
            ("in", ["--crop", "61x43", "--rotate", "90"], past + "43 columns of the picture"),
            ("in", ["--flip", "h", "--perfect"], impossible + "width of 61 is not a multiple of the MCU's, 16"),
            ("in", ["--rotate", "90", "--perfect"], impossible + "height of 43 is not a multiple of the MCU's, 16"),
            ("rgb", ["--grayscale"], "--grayscale is for YCbCr and grey pictures, not for RGB"),
            ("mixed", ["--grayscale"], "--grayscale is not for pictures whose luminance is sub-sampled"),
        ):
            self.expect(support.REFUSED, "transcode", file + ".jpg", "out.jpg", *options,
                        error=f"moxj: {file}.jpg: {words}\n")

    def test_memory(self):
        """Both sets of coefficients count, and the list of segments."""
        self.write("in.jpg", self.cjpeg(support.pnm(pictures.generated(64, 64, 3, 1)), "-sample", "1x1"))
        one, segments = 64 * 64 * 3 * 2, 64
        self.expect(support.OK, "transcode", "in.jpg", "out.jpg", "--max-memory", str(one + segments))
        self.expect(support.OK, "transcode", "in.jpg", "out.jpg", "--crop", "20x20", "--max-memory",
                    str(one + segments))
        self.expect(support.OK, "transcode", "in.jpg", "out.jpg", "--rotate", "90", "--max-memory",
                    str(2 * one + segments))
        self.expect(support.LIMIT, "transcode", "in.jpg", "out.jpg", "--rotate", "90", "--max-memory", str(2 * one - 1),
                    error=re.compile("--max-memory"))

    def test_damaged_files(self):
        """What could be decoded is turned, with status 3."""
        file = self.cjpeg(support.pnm(pictures.generated(64, 64, 3, 1)), "-sample", "2x2")
        self.write("in.jpg", file[:len(file) // 2])
        error = re.compile(r"\Amoxj: in\.jpg: warning: [^\n]+\n\Z")
        self.expect(support.INCOMPLETE, "transcode", "in.jpg", "whole.jpg", error=error)
        self.expect(support.INCOMPLETE, "transcode", "in.jpg", "out.jpg", "--rotate", "90", error=error)
        self.assertEqual(self.jpegtran("whole.jpg", "-rotate", "90"), self.jpegtran("out.jpg"))

    def test_density(self):
        """Pixels that are twice as high as wide become twice as wide as high."""
        file = self.cjpeg(support.pnm(pictures.generated(20, 20, 3, 1)))
        jfif = b"JFIF\0\1\1\1\0\x48\0\x24\0\0"
        self.assertEqual(file[6:11], jfif[:5])
        self.write("in.jpg", file[:6] + jfif + file[20:])
        for name, (ours, _) in TRANSFORMS.items():
            self.expect(support.OK, "transcode", "in.jpg", "out.jpg", *ours, "--trim")
            turned = name in ("transpose", "transverse", "rotate 90", "rotate 270")
            expected = jfif[:8] + b"\0\x24\0\x48\0\0" if turned else jfif
            self.assertEqual(self.read("out.jpg")[6:20], expected, name)
        # Segments that only look like one.
        for segment in cf.segment(0xE0, b"JFIF\0\1\1\1\0"), cf.segment(0xE0, b"JFXX\0\x10abcdefgh"):
            self.write("in.jpg", file[:2] + segment + file[20:])
            self.expect(support.OK, "transcode", "in.jpg", "out.jpg", "--transpose")
            self.assertEqual(self.read("out.jpg")[:len(segment) + 2], file[:2] + segment)

    def test_segments(self):
        """A grey picture needs no Adobe segment; all others stay."""
        comment = cf.segment(0xFE, b"hello")
        file = self.cjpeg(support.pnm(pictures.generated(20, 20, 3, 1)))
        self.write("in.jpg", file[:20] + cf.adobe(1) + comment + file[20:])
        self.expect(support.OK, "transcode", "in.jpg", "out.jpg", "--grayscale")
        self.assertEqual(self.read("out.jpg")[:20 + len(comment)], file[:20] + comment)
        self.expect(support.OK, "transcode", "in.jpg", "out.jpg", "--transpose")
        self.assertEqual(self.read("out.jpg")[:36 + len(comment)], file[:20] + cf.adobe(1) + comment)


def first_steps(file):
    """The first quantisation table, in natural order."""
    at = file.index(b"\xff\xdb") + 5
    order = sorted(range(64), key=lambda k: (k // 8 + k % 8, k // 8 if (k // 8 + k % 8) % 2 else k % 8))
    steps = [0] * 64
    for position, natural in enumerate(order):
        steps[natural] = file[at + position]
    return steps


if __name__ == "__main__":
    unittest.main()

"""The command line as such, `info` and `compare` on pictures that are not JPEG."""

import json
import math
import os
import re
import resource
import struct
import unittest
import zlib

from support import *


ANY = re.compile("")


class CommandLine(ToolTest):
    def test_version(self):
        for flag in "--version", "-V":
            self.assertRegex(self.expect(OK, flag), rb"\Amoxj \d+\.\d+\.\d+\n")

    def test_help_in_all_its_forms(self):
        general = self.expect(OK, "--help")
        self.assertEqual(self.expect(OK, "help"), general)
        self.assertEqual(self.expect(USAGE), general)
        self.assertEqual(self.expect(OK, "help", "encode"), self.expect(OK, "encode", "--help"))

    def test_help_names_every_option(self):
        common = ["--max-pixels", "--threads", "--quiet", "--help"]
        conversion = common + ["IN OUT", "--format", "--output-dir", "--jobs"]
        for command, words in {
            (): ["encode", "decode", "transcode", "info", "compare", "Exit status", "--version"],
            ("encode",): conversion
            + [
                "--quality",
                "--sample",
                "--grayscale",
                "--restart",
                "--progressive",
                "--scans",
                "--optimize",
                "--lossless",
                "--fast-mcu",
            ],
            ("transcode",): [
                "IN OUT",
                "--progressive",
                "--scans",
                "--sequential",
                "--optimize",
                "--strip",
                "--restart",
                "--max-scans",
                "--output-dir",
            ],
            ("decode",): conversion + ["--nosmooth", "--fast-mcu", "--max-scans"],
            ("info",): ["--json"],
            ("compare",): common + ["--json"],
        }.items():
            for flag in "--help", "-h":
                text = self.expect(OK, *command, flag).decode()
                for word in words:
                    self.assertIn(word, text)
                self.assertLessEqual(max(map(len, text.splitlines())), 100)

    def test_wrong_use_is_one_line(self):
        os.mkdir(self.path("folder"))
        cannot_tell = "cannot tell the output format from the name; use --format "
        for arguments, cause in ((("explode",), "unknown command 'explode' (see moxj --help)"),
                                 (("help", "explode"), "unknown command 'explode' (see moxj --help)"),
                                 (("a\nb",), "unknown command 'a\\x0Ab' (see moxj --help)"),
                                 (("",), "unknown command '' (see moxj --help)"),
                                 (("-x",), "unknown command '-x' (see moxj --help)"),
                                 (("encode", "a", "b.png"), "b.png: PNG is written by 'moxj decode'"),
                                 (("decode", "a", "b.jpg"), "b.jpg: JPEG is written by 'moxj encode'"),
                                 (("encode", "a", "b"), "b: " + cannot_tell + "jpg, jp2 or j2k"),
                                 (("decode", "a", "b.x"), "b.x: " + cannot_tell + PLAIN),
                                 (("decode", "a", "folder"), "folder: is a directory; use --output-dir"),
                                 (("decode", "a", ""), "the output name is empty"),
                                 (("compare", "-", "-"), "standard input can be only one of the two pictures"),
                                 (("info", "-", "a", "-"), "standard input can be only one of the files"),
                                 (("decode", "a", "-", "--no-clobber"),
                                  "--no-clobber is not for standard output")):
            self.expect(USAGE, *arguments, error="moxj: %s\n" % cause)

    def test_wrong_options_and_files_are_named(self):
        """Also those in a group of single letters, which the parser has not passed when it finds the error."""
        for arguments, cause in ((("encode", "a", "b.jpg", "--wrong"), "unknown option '--wrong'"),
                                 (("encode", "a", "b.jpg", "--wrong=1"), "unknown option '--wrong'"),
                                 (("encode", "-x", "a", "b.jpg"), "unknown option '-x'"),
                                 (("encode", "a", "b.jpg", "-quality"), "-quality needs a value"),
                                 (("encode", "a", "b.jpg", "-progressive=1"), "-progressive takes no value"),
                                 (("encode", "a", "b.jpg", "---quality", "1"),
                                  "unknown option '---quality'; did you mean --quality?"),
                                 (("encode", "a", "b.jpg", "---o", "c"), "unknown option '---o'"),
                                 (("encode", "a", "b.jpg", "--o", "c"), "ambiguous option '--o'"),
                                 (("encode", "-x.png", "b.jpg"), "unknown option '-x.png'"),
                                 (("encode", "a", "--output-dir", "-q", "-qq"), "unknown option '-qq'"),
                                 (("info", "a", "--quiet"), "unknown option '--quiet'"),
                                 (("decode", "a", "b.png", "--quality", "9"), "unknown option '--quality'"),
                                 (("encode", "a", "b.jpg", "--qu", "9"), "ambiguous option '--qu'"),
                                 (("encode", "a", "b.jpg", "--quality"), "--quality needs a value"),
                                 (("encode", "a", "b.jpg", "--quiet=maybe"), "--quiet takes no value"),
                                 (("encode",), "missing file name"), (("info",), "missing file name"),
                                 (("compare", "a"), "missing file name"),
                                 (("compare", "a", "b", "c"), "unexpected argument 'c'; compare takes two files"),
                                 (("encode", "a", "b.jp2", "--ratio", "9", "--bpp", "1"),
                                  "--ratio and --bpp cannot be combined"),
                                 (("encode", "a", "b.jp2", "--lossless", "--bpp", "1"),
                                  "--lossless cannot be combined with --bpp")):
            self.expect(USAGE, *arguments, error="moxj: %s (see moxj %s --help)\n" % (cause, arguments[0]))

    def test_options_may_be_shortened_if_that_is_unambiguous(self):
        self.expect(USAGE, "encode", "a", "b.jpg", "--qual", "101",
                    error=re.compile(r"--quality: '101' is not a whole number from 1 to 100 \("))

    def test_one_dash(self):
        """As in other tools, but never shortened."""
        self.write("in.ppm", pnm(noise(40, 30, 3)))
        self.write("script", b"0 1 2;")
        for command, given, meant in (
                ("encode", ["-quality", "90"], ["--quality", "90"]), ("encode", ["-q", "90"], ["--quality", "90"]),
                ("encode", ["-quality=90"], ["--quality=90"]), ("encode", ["-progressive"], ["--progressive"]),
                ("encode", ["-optimize"], ["--optimize"]), ("encode", ["-optimise"], ["--optimize"]),
                ("encode", ["-grayscale"], ["--grayscale"]), ("encode", ["-greyscale"], ["--grayscale"]),
                ("encode", ["-restart", "2B"], ["--restart", "2B"]),
                ("encode", ["-scans", "script"], ["--scans", "script"]),
                ("encode", ["-lossless", "4,1"], ["--lossless", "4,1"]),
                ("encode", ["-format", "jp2", "-r", "9"], ["--format", "jp2", "--ratio", "9"]),
                ("decode", ["-nosmooth"], ["--nosmooth"]), ("decode", ["-maxscans", "9"], ["--max-scans", "9"]),
                ("decode", ["-format", "png"], ["--format", "png"]),
                ("transcode", ["-rotate", "90"], ["--rotate", "90"]),
                ("transcode", ["-flip", "horizontal"], ["--flip", "h"]),
                ("transcode", ["-crop", "8x8+16+0", "-trim", "-transverse"],
                 ["--crop", "8x8+16+0", "--trim", "--transverse"])):
            source = "in.ppm" if command == "encode" else "in.jpg"
            self.expect(OK, "encode", "in.ppm", "in.jpg")
            plain = self.expect(OK, command, *given, source, "-", error=ANY)
            self.assertEqual(plain, self.expect(OK, command, source, "-", *meant, error=ANY), given)
            for name in "-o", "-outfile":
                self.expect(OK, command, source, name, "out", *given, *["--format", "jpg"] * (command == "encode"
                            and "-format" not in given), *["--format", "pnm"] * (command == "decode" and "-format"
                            not in given), error=ANY)
                self.assertEqual(self.read("out"), plain, given)
        self.expect(OK, "encode", "in.ppm", "in.jp2")
        self.assertEqual(self.expect(OK, "decode", "in.jp2", "-", "-r", "2"),
                         self.expect(OK, "decode", "in.jp2", "-", "--reduce", "2"))

    def test_copy_keeps_some_metadata(self):
        blocks = {"icc": b"\xff\xe2\0\x12ICC_PROFILE\0\1\1xx", "comments": b"\xff\xfe\0\6text",
                  "other": b"\xff\xe5\0\6abcd"}
        self.write("in.ppm", pnm(noise(9, 9, 3)))
        self.expect(OK, "encode", "in.ppm", "a.jpg")
        data = self.read("a.jpg")
        self.write("b.jpg", data[:2] + b"".join(blocks.values()) + data[2:])
        for value, kept in (("all", set(blocks)), ("none", set()), ("icc", {"icc"}), ("comments", {"comments"})):
            copy = self.expect(OK, "transcode", "b.jpg", "-", "-copy", value, error=ANY)
            self.assertEqual({name for name, segment in blocks.items() if segment in copy}, kept, value)
        self.expect(USAGE, "transcode", "b.jpg", "-", "-copy", "some", error=re.compile(
            r"\Amoxj: -copy: 'some' is not all, none, comments or icc \("))

    def test_doubtful_spellings_are_refused_with_a_suggestion(self):
        for arguments, cause in (
                (("encode", "a", "b.jpg", "-qual", "9"), "unknown option '-qual'; did you mean --quality?"),
                (("encode", "a", "b.jpg", "-opt"), "unknown option '-opt'; did you mean --optimize or -optimise?"),
                (("transcode", "a", "b.jpg", "-trans"),
                 "unknown option '-trans'; did you mean --transpose or --transverse?"),
                (("encode", "a", "b.jpg", "-maxmemory", "9"),
                 "unknown option '-maxmemory'; use --max-memory, which counts bytes"),
                (("encode", "a", "b.jp2", "-n", "6"),
                 "unknown option '-n'; use --levels, which is one less than the number of resolutions"),
                (("decode", "a", "b.png", "-d", "0,0,9,9"), "unknown option '-d'; use --region X,Y,W,H"),
                (("decode", "a", "b.png", "-p", "8"), "unknown option '-p'"),
                (("encode", "a", "b.jpg", "-Quality", "9"), "unknown option '-Quality'"),
                (("encode", "a", "b.jpg", "-o", "c"), "unexpected argument 'b.jpg'; -o names the output"),
                (("encode", "-o", "c"), "missing file name"),
                (("encode", "a", "-o", "c.jpg", "--output-dir", "d"), "-o and --output-dir cannot be combined")):
            self.expect(USAGE, *arguments, error="moxj: %s (see moxj %s --help)\n" % (cause, arguments[0]))
        # The same letter for the other format.
        for letter, output, label, instead in (("-q", "b.jp2", "JPEG 2000", "--quality (JPEG) or --psnr (JPEG 2000)"),
                                               ("-r", "b.jpg", "JPEG", "--restart (JPEG) or --ratio (JPEG 2000)")):
            self.expect(USAGE, "encode", "a", output, letter, "9",
                        error=f"moxj: {letter} is not for {label} files; use {instead}\n")

    def test_values_out_of_range(self):
        for option, values in {
            "--quality": ["0", "101", "-1", "x", "", "7x", "75.0", "99999999999"],
            "--sample": ["4:2:1", "444", "5x1", "2x1,", ""],
            "--restart": ["-1", "65536", "B", "1C", ""],
            "--jobs": ["0", "257"],
            "--threads": ["0", "1025"],
            "--max-pixels": ["0", "-5", "1099511627777", "k", "1.5M", "1T", "1 k", "1100G", "1kB"],
            "--max-memory": ["0", "x", "1025G", "2kk", ""],
            "--format": ["png", "gif", ""],
        }.items():
            for value in values:
                self.expect(USAGE, "encode", "a", "b.jpg", option + "=" + value,
                            error=re.compile(r"\Amoxj: %s[^\n]+\(see moxj encode --help\)\n\Z" % option))

    def test_options_anywhere(self):
        picture = noise(3, 3, 3)
        self.write("-in", pnm(picture))
        self.assertEqual(self.expect(OK, "decode", "--format", "ppm", "--", "-in", "-"), pnm(picture))
        self.assertEqual(self.expect(OK, "decode", "./-in", "--max-pixels=9", "-", "--threads", "2"), pnm(picture))


class Info(ToolTest):
    def info(self, data):
        self.write("in", data)
        return json.loads(self.expect(OK, "info", "in", "--json"))

    def test_pnm(self):
        file = pnm(noise(7, 5, 3), 255)
        self.assertEqual(self.info(file), {"format": "PPM", "kind": "RGB, raw, maximum value 255", "bytes": len(file),
                                           "width": 7, "height": 5, "channels": 3, "bits": 8})
        self.assertEqual(self.info(b"P2 9 8 1000 0")["kind"], "grey, plain, maximum value 1000")

    def test_png(self):
        file = png(6, 5, RGB_ALPHA, 16, noise(6, 5, 4, maxval=65535)[3], interlaced=True)
        self.assertEqual(
            self.info(file),
            {
                "format": "PNG",
                "kind": "RGB, transparent, interlaced",
                "bytes": len(file),
                "width": 6,
                "height": 5,
                "channels": 4,
                "bits": 16,
            },
        )
        self.assertEqual(
            self.info(png(6, 5, PALETTE, 2, noise(6, 5, 1, maxval=3)[3], palette=[(1, 2, 3)] * 4))["kind"], "palette"
        )

    def test_text(self):
        self.write("in", pnm(noise(7, 5, 1)))
        self.assertEqual(self.expect(OK, "info", "in"),
                         b"format        PGM, grey, raw, maximum value 255\n"
                         b"size          7 x 5 pixels, 1 channel of 8 bits, 46 bytes\n")

    def several(self):
        """Two pictures, and two files that are refused."""
        self.write("a.ppm", pnm(noise(7, 5, 3)))
        self.write("b.png", png_of(noise(4, 3, 1)))
        self.write("bad", b"GIF")
        return "a.ppm", "bad", "b.png", "none"

    def test_several_files_as_text(self):
        names = self.several()
        errors = ("moxj: bad: " + UNRECOGNISED + "\nmoxj: none: cannot be read: No such file or directory\n")
        text = self.expect(REFUSED, "info", *names, error=errors)
        self.assertEqual(text, b"file: a.ppm\n" + self.expect(OK, "info", "a.ppm") +
                         b"\nfile: b.png\n" + self.expect(OK, "info", "b.png"))
        self.write("short.jpg", self.expect(OK, "encode", "a.ppm", "-")[:-2])
        self.expect(INCOMPLETE, "info", "short.jpg", "a.ppm", error=re.compile(r"\Amoxj: short\.jpg: warning: "))

    def test_several_files_as_json(self):
        names = self.several()
        items = json.loads(self.expect(REFUSED, "info", "--json", *names, error=re.compile("bad.*\n.*none")))
        self.assertEqual([list(item.items())[0] for item in items], [("file", "a.ppm"), ("file", "b.png")])
        for item in items:
            name = item.pop("file")
            self.assertEqual(item, json.loads(self.expect(OK, "info", "--json", name)))
        none = self.expect(REFUSED, "info", "--json", "bad", "none", error=re.compile("none"))
        self.assertEqual(json.loads(none), [])

    def test_standard_input_among_several_files(self):
        self.several()
        text = self.expect(OK, "info", "a.ppm", "-", stdin=self.read("b.png")).decode()
        self.assertIn("\nfile: standard input\nformat        PNG", text)

    def test_refused(self):
        self.expect(REFUSED, "info", "-", "--json", stdin=b"GIF",
                    error="moxj: standard input: " + UNRECOGNISED + "\n")
        self.expect(REFUSED, "info", "none", error="moxj: none: cannot be read: No such file or directory\n")


def mean_square(a, b):
    return sum((x - y) ** 2 for x, y in zip(a, b)) / len(a)


def psnr(a, b):
    return 10 * math.log10(255 ** 2 / mean_square(a, b))


def ssim(a, b, width, height):
    """By its definition, window by window, with deviations from the mean."""
    def taps(count):
        weights = [math.exp(-(i - (count - 1) / 2) ** 2 / 4.5) for i in range(count)]
        return [weight / sum(weights) for weight in weights]
    across, down = taps(min(11, width)), taps(min(11, height))
    window = [(x, y, across[x] * down[y]) for y in range(len(down)) for x in range(len(across))]
    total = count = 0
    for top in range(height - len(down) + 1):
        for left in range(width - len(across) + 1):
            p = [(a[(top + y) * width + left + x], w) for x, y, w in window]
            q = [(b[(top + y) * width + left + x], w) for x, y, w in window]
            mean_p, mean_q = sum(v * w for v, w in p), sum(v * w for v, w in q)
            variance_p = sum((v - mean_p) ** 2 * w for v, w in p)
            variance_q = sum((v - mean_q) ** 2 * w for v, w in q)
            covariance = sum((v - mean_p) * (u - mean_q) * w for (v, w), (u, _) in zip(p, q))
            c1, c2 = 2.55 ** 2, 7.65 ** 2
            total += ((2 * mean_p * mean_q + c1) * (2 * covariance + c2) /
                      ((mean_p ** 2 + mean_q ** 2 + c1) * (variance_p + variance_q + c2)))
            count += 1
    return total / count


class Compare(ToolTest):
    def compare(self, a, b, status=OK, error=""):
        self.write("a", a)
        self.write("b", b)
        return json.loads(self.expect(status, "compare", "a", "b", "--json", error=error))

    def check(self, got, a, b, width, height):
        self.assertAlmostEqual(got["mse"], mean_square(a, b), places=6)
        self.assertAlmostEqual(got["psnr"], psnr(a, b), places=6)
        self.assertEqual(got["max"], max(abs(x - y) for x, y in zip(a, b)))
        self.assertAlmostEqual(got["ssim"], ssim(a, b, width, height), places=6)

    def test_against_the_definitions(self):
        source = random.Random(5)
        for width, height in (11, 11), (12, 13), (20, 15), (5, 14), (30, 3), (1, 1), (2, 40):
            for channels in 1, 3:
                a = smooth(width, height, channels)
                b = a[:3] + ([max(0, min(255, value + source.randint(-20, 20))) for value in a[3]],)
                got = self.compare(png_of(a), pnm(b))
                names = ["grey"] if channels == 1 else ["red", "green", "blue"]
                self.assertEqual(list(got["channels"]), names)
                self.assertEqual((got["width"], got["height"]), (width, height))
                for channel, name in enumerate(names):
                    self.check(got["channels"][name], a[3][channel::channels], b[3][channel::channels], width, height)
                self.assertAlmostEqual(got["all"]["psnr"], psnr(a[3], b[3]), places=6)
                self.assertEqual(got["all"]["max"], max(got["channels"][name]["max"] for name in names))
                self.assertAlmostEqual(got["all"]["ssim"], sum(got["channels"][n]["ssim"] for n in names) / channels)

    def test_equal_pictures(self):
        picture = noise(30, 20, 3)
        got = self.compare(png_of(picture), pnm(picture, plain=True))
        equal = {"psnr": None, "mse": 0, "max": 0, "ssim": 1}
        self.assertEqual(
            got, {"width": 30, "height": 20, "channels": {"red": equal, "green": equal, "blue": equal}, "all": equal}
        )
        self.assertEqual(
            self.expect(OK, "compare", "a", "b").splitlines()[3], b"all    PSNR equal      max 0    SSIM 1.00000"
        )

    def test_one_channel_differs(self):
        a = noise(30, 20, 3)
        b = a[:3] + ([value ^ (i % 3 == 1) for i, value in enumerate(a[3])],)
        got = self.compare(pnm(a), pnm(b))
        self.assertEqual([got["channels"][name]["max"] for name in ("red", "green", "blue")], [0, 1, 0])
        self.assertAlmostEqual(got["channels"]["green"]["psnr"], 20 * math.log10(255))
        self.assertAlmostEqual(got["all"]["mse"], 1 / 3)
        self.assertEqual(self.expect(OK, "compare", "a", "b").splitlines()[1][:24], b"green  PSNR 48.13 dB   m")

    def test_grey_beside_colour(self):
        grey = noise(12, 12, 1)
        tripled = (12, 12, 3, [value for value in grey[3] for _ in range(3)])
        for a, b in (grey, tripled), (tripled, grey):
            self.assertEqual(self.compare(pnm(a), pnm(b))["all"]["max"], 0)

    def test_other_sizes(self):
        self.write("a", pnm(noise(3, 2, 1)))
        self.write("b", pnm(noise(2, 3, 1)))
        self.expect(REFUSED, "compare", "a", "b", error="moxj: b: 2 x 3 pixels, but a has 3 x 2\n")

    def test_the_file_that_fails_is_named(self):
        self.write("good", pnm(noise(3, 2, 1)))
        self.write("bad", b"GIF")
        for pair in ("good", "bad"), ("bad", "good"):
            self.expect(REFUSED, "compare", *pair, error="moxj: bad: " + UNRECOGNISED + "\n")
        self.expect(LIMIT, "compare", "good", "good", "--max-pixels", "5",
                    error="moxj: good: 3 x 2 pixels are more than the limit of 5 (--max-pixels)\n")

    def test_an_incomplete_picture(self):
        picture = (3, 2, 1, [0] * 6)
        got = self.compare(pnm(picture), pnm(picture)[:-1], INCOMPLETE,
                           "moxj: b: warning: the file ends after 1 of 2 rows\n")
        self.assertEqual(got["all"]["max"], 0)

    def test_standard_input(self):
        self.write("a", pnm(noise(3, 2, 1)))
        for pair in ("a", "-"), ("-", "a"):
            self.expect(OK, "compare", *pair, stdin=self.read("a"))


class OptionsOfInputs(ToolTest):
    """Options of `decode` are refused for inputs of formats to which they do not apply."""

    def setUp(self):
        super().setUp()
        self.write("a.ppm", pnm(smooth(40, 30, 3)))
        self.expect(OK, "encode", "a.ppm", "a.jpg")
        self.expect(OK, "encode", "a.ppm", "a.jp2")

    def test_each_option(self):
        for option, good, bad in ((("--reduce", "1"), "a.jp2", {"a.ppm": "PPM/PGM"}),
                                  (("--tile", "0"), "a.jp2", {"a.jpg": "JPEG", "a.ppm": "PPM/PGM"}),
                                  (("--layers", "1"), "a.jp2", {"a.jpg": "JPEG", "a.ppm": "PPM/PGM"}),
                                  (("--nosmooth",), "a.jpg", {"a.jp2": "JPEG 2000", "a.ppm": "PPM/PGM"}),
                                  (("--fast-mcu",), "a.jpg", {"a.jp2": "JPEG 2000", "a.ppm": "PPM/PGM"})):
            self.expect(OK, "decode", good, "out.png", *option)
            os.remove(self.path("out.png"))
            for name, label in bad.items():
                self.expect(REFUSED, "decode", name, "out.png", *option,
                            error=f"moxj: {name}: {option[0]} is not for {label} files\n")
                self.assertNotIn("out.png", self.files())

    def test_each_file_of_a_batch(self):
        os.rename(self.path("a.jp2"), self.path("b.jp2"))
        self.expect(REFUSED, "decode", "a.jpg", "b.jp2", "--output-dir", "out", "--layers", "1", "--format", "ppm",
                    error="moxj: a.jpg: --layers is not for JPEG files\n")
        self.assertEqual(self.files("out"), ["b.ppm"])

    def test_limits_hold_for_compare(self):
        self.expect(OK, "encode", "a.ppm", "p.jpg", "--progressive")
        self.expect(LIMIT, "compare", "p.jpg", "a.ppm", "--max-scans", "1",
                    error="moxj: p.jpg: more than the limit of 1 scans (--max-scans)\n")
        self.expect(LIMIT, "compare", "a.ppm", "p.jpg", "--max-scans", "9",
                    error="moxj: p.jpg: more than the limit of 9 scans (--max-scans)\n")
        self.expect(OK, "compare", "a.ppm", "p.jpg", "--max-scans", "10")


@unittest.skipIf(os.environ.get("SANITIZERS"), "sanitizers need more address space")
class FewThreads(ToolTest):
    """Fewer threads than asked for where no more can be started: the same outputs, no word."""

    # Stacks of so many bytes fit the address space two or three times, and what is left does for the picture.
    STACK, SPACE = 64 << 20, 230 << 20

    def expect_in_little_space(self, *arguments):
        def limit():
            resource.setrlimit(resource.RLIMIT_STACK, (self.STACK, self.STACK))
            resource.setrlimit(resource.RLIMIT_AS, (self.SPACE, self.SPACE))

        return self.expect(OK, *arguments, preexec_fn=limit, env={**os.environ, "MALLOC_ARENA_MAX": "1"})

    def test_of_a_picture(self):
        self.write("a.ppm", pnm(smooth(640, 480, 3)))
        for name in "a.ppm", "a.jp2":
            command = ("encode", name, "-", "--format", "jp2") if name == "a.ppm" else ("decode", name, "-")
            made = self.expect(OK, *command, "--threads", "1")
            self.assertEqual(self.expect_in_little_space(*command, "--threads", "64"), made)
            self.write("a.jp2", made)

    def test_of_a_batch(self):
        names = [self.write(f"{i}.ppm", pnm(smooth(64, 48, 3))) for i in range(80)]
        self.expect_in_little_space("encode", *names, "--output-dir", "out", "--jobs", "64")
        self.assertEqual(len(self.files("out")), 80)


class MemoryLimit(ToolTest):
    """Small files that claim large pictures."""

    REFUSAL = re.compile(r"\Amoxj: [^:\n]+: at least \d+ bytes of memory are needed, the limit is 50000000 "
                         r"\(--max-memory\)\n\Z")
    REFUSAL_OF_JP2 = re.compile(REFUSAL.pattern.replace("max-memory", "max-memory(, or --tile to need less)?"))

    def claim(self, name, marker, size=16000):
        """A JPEG file with another size in its frame header, and 20 kB."""
        file = self.read(name)
        at = file.index(bytes([0xFF, marker])) + 5
        return self.write("big-" + name, file[:at] + struct.pack(">HH", size, size) + file[at + 4:].ljust(20000, b"a"))

    def expect_in_little(self, status, *arguments, error):
        """Within a second and 256 MiB; sanitizers take more of both."""
        def limits():
            if os.environ.get("SANITIZERS"):
                resource.setrlimit(resource.RLIMIT_CPU, (10, 10))
            else:
                resource.setrlimit(resource.RLIMIT_CPU, (1, 1))
                resource.setrlimit(resource.RLIMIT_AS, (256 << 20, 256 << 20))

        self.expect(status, *arguments, "--max-memory", "50000000", error=error, preexec_fn=limits)

    def refuse(self, *arguments):
        error = self.REFUSAL_OF_JP2 if arguments[-1] == "out.jp2" else self.REFUSAL
        self.expect_in_little(LIMIT, *arguments, error=error)
        self.assertFalse([name for name in self.files() if name.startswith("out")])

    def test_of_readers(self):
        self.write("a.ppm", pnm(smooth(64, 48, 3)))
        for name, marker, *options in (("base.jpg", 0xC0), ("prog.jpg", 0xC2, "--progressive"),
                                       ("less.jpg", 0xC3, "--lossless", "1")):
            self.expect(OK, "encode", "a.ppm", name, *options)
            big = self.claim(name, marker)
            for command in ("encode", big, "out.jp2"), ("compare", big, "a.ppm"):
                self.refuse(*command)
            if marker != 0xC0:
                self.refuse("decode", big, "out.png")
            if marker != 0xC3:
                self.refuse("transcode", big, "out.jpg")
            self.expect(OK, "decode", name, "small.png", "--max-memory", "50000000")
        self.write("big.png", SIGNATURE + chunk(b"IHDR", struct.pack(">IIBBBBB", 16000, 16000, 8, RGB, 0, 0, 0)) +
                   chunk(b"IDAT", zlib.compress(bytes(200000))) + chunk(b"IEND", b""))
        self.write("deep.png", SIGNATURE + chunk(b"IHDR", struct.pack(">IIBBBBB", 16000, 16000, 16, RGB, 0, 0, 0)) +
                   chunk(b"IDAT", zlib.compress(bytes(200000))) + chunk(b"IEND", b""))
        self.write("big.ppm", b"P6 16000 16000 255\n" + bytes(20000))
        self.write("deep.ppm", b"P6 16000 16000 4095\n" + bytes(20000))
        self.write("big.pgx", b"PG ML + 8 16000 16000\n" + bytes(20000))
        for name in "big.png", "deep.png", "big.ppm", "deep.ppm":
            self.refuse("encode", name, "out.jp2")
        self.refuse("encode", "big.pgx", "out.jpg", "--optimize")

    def test_pictures_larger_than_the_limit_that_go_through_in_strips(self):
        self.write("a.ppm", pnm(smooth(64, 48, 3)))
        self.expect(OK, "encode", "a.ppm", "base.jpg")
        self.write("big.ppm", b"P6 5000 5000 255\n" + bytes(20000))
        warning = re.compile(r"\Amoxj: big[^\n]*: warning: the [^\n]+ ends [^\n]+\n\Z")
        for arguments in ("decode", self.claim("base.jpg", 0xC0, 5000), "out.ppm"), ("encode", "big.ppm", "out.jpg"):
            self.expect_in_little(INCOMPLETE, *arguments, error=warning)

    def test_units(self):
        """k, M and G are powers of 1000 for pixels and of 1024 for memory."""
        self.write("a.ppm", pnm(noise(50, 41, 3)))
        self.expect(OK, "encode", "a.ppm", "a.jp2", "--max-pixels", "3k")
        self.expect(LIMIT, "encode", "a.ppm", "a.jp2", "--max-pixels", "2k",
                    error="moxj: a.ppm: 50 x 41 pixels are more than the limit of 2000 (--max-pixels)\n")
        self.expect(LIMIT, "encode", "a.ppm", "a.jp2", "--max-memory", "2K",
                    error=re.compile(r"are needed, the limit is 2048 \("))
        for amount in "1048576k", "1024M", "1G", "1g":
            self.expect(OK, "encode", "a.ppm", "a.jp2", "--max-memory", amount)

    def test_how_much_is_needed_and_that_tiles_need_less(self):
        self.write("a.ppm", pnm((1000, 1000, 3, [9] * 3000000)))
        refusal = re.compile(r"\Amoxj: a\.ppm: at least (\d+) bytes of memory are needed, the limit is 5242880 "
                             r"\(--max-memory, or --tile to need less\)\n\Z")
        self.expect(LIMIT, "encode", "a.ppm", "a.jp2", "--max-memory", "5M", error=refusal)
        self.expect(OK, "encode", "a.ppm", "a.jp2", "--max-memory", "5M", "--tile", "256x256")

    def test_of_writers(self):
        """A baseline file is written row by row, other JPEG files from the coefficients of the whole picture."""
        self.write("a.ppm", pnm((640, 480, 3, [7] * (640 * 480 * 3))))
        self.expect(OK, "encode", "a.ppm", "out.jpg", "--max-memory", "500000")
        self.expect(LIMIT, "encode", "a.ppm", "out.jpg", "--optimize", "--max-memory", "500000",
                    error=re.compile(r"at least \d+ bytes of memory are needed, the limit is 500000 \(--max-memory\)"))
        self.expect(OK, "encode", "a.ppm", "out.jpg", "--optimize", "--max-memory", "1100000")


if __name__ == "__main__":
    unittest.main()

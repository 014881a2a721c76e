"""Every option of every command, with every format: it changes what comes out, or it is refused by name. None is
accepted and ignored, except those that are about the run and not about its result."""

import os
import re
import shutil
import struct
import unittest

from support import *

CHANGES, REFUSES, RUN = "changes", "refuses", "is about the run"
SCRIPT = b"0 1 2: 0-0, 0, 0;\n0: 1-63, 0, 0;\n1: 1-63, 0, 0;\n2: 1-63, 0, 0;\n"


class Case:
    """An option with a value, and what it does for each of the formats: one letter each, C, R or - (about the run)."""

    def __init__(self, arguments, effects, source=None, output=None):
        self.arguments = arguments.split()
        self.effects = [{"C": CHANGES, "R": REFUSES, "-": RUN}[letter] for letter in effects.split()]
        self.source, self.output = source, output


# For each command its formats: a name, and what comes before the option: input, output and other options.
ENCODED = {"JPEG": ("in.png", "out.jpg"), "lossless JPEG": ("in.png", "out.jpg", "--lossless"),
           "JP2": ("in.png", "out.jp2"), "codestream": ("in.png", "out.j2k")}
DECODED = {"JPEG": ("in.jpg", "out.pnm"), "JP2": ("in.jp2", "out.pnm"), "codestream": ("in.j2k", "out.pnm"),
           "PNG": ("in.png", "out.pnm"), "PPM": ("in.ppm", "out.pnm"), "PGX": ("in.pgx", "out.pnm")}
COMMANDS = {
    "encode": (ENCODED, [
        Case("--quality 20", "C R R R"),
        Case("--quality 75,40", "C R R R"),
        Case("--sample 4:4:4", "C R R R"),
        Case("--sample 1x1,2x2,1x2", "C R R R"),
        Case("--rgb", "C R R R"),
        Case("--depth 12", "C R R R"),
        Case("--grayscale", "C R R R"),
        Case("--progressive", "C R R R"),
        Case("--scans script", "C R R R"),
        Case("--optimize", "C R R R"),
        Case("--fast-mcu", "C R R R"),
        Case("--cmyk", "C R R R", source="inks.pam"),
        Case("--cmyk", "R R R R"),
        Case("--srgb", "C C C C", source="light.png"),
        Case("--restart 1B", "C C R R"),
        Case("--lossless 1,2", "C C R R"),
        Case("--ratio 20", "R R C C"),
        Case("--bpp 1", "R R C C"),
        Case("--ratio 40,20,1", "R R C C"),
        Case("--psnr 35", "R R C C"),
        Case("--precincts 64,64", "R R C C"),
        Case("--tile-parts R", "R R C C"),
        Case("--sop", "R R C C"),
        Case("--eph", "R R C C"),
        Case("--plt", "R R C C"),
        Case("--tlm", "R R C C"),
        Case("--roi 10,10,20,20", "R R C C"),
        Case("--visual --ratio 20", "R R C C"),
        Case("--visual", "R R R R"),
        Case("--comment text", "C C C C"),
        Case("--levels 2", "R R C C"),
        Case("--block 32x32", "R R C C"),
        Case("--tile 32x32", "R R C C"),
        Case("--progression CPRL", "R R C C"),
        Case("--layers 3", "R R C C"),
        Case("--modes causal", "R R C C"),
        Case("--strip", "C C C -", source="turned.jpg"),
        Case("--orient", "C C C C", source="turned.jpg"),
        Case("--picture 2", "C C C C", source="two.jpg"),
        Case("--picture 1", "R R R R"),
        Case("--region 3,2,20,10", "C C C C"),
        Case("--reduce 1", "C C C C", source="turned.jpg"),
        Case("--reduce 1", "R R R R"),
        Case("--format j2k", "C C C -"),
        Case("--max-scans 1", "C C C C", source="progressive.jpg"),
        Case("--no-clobber", "C C C C"),
        Case("--output-dir folder", "C C C C", output=""),
        Case("--jobs 2", "R R R R"),
        Case("--max-pixels 1", "C C C C"),
        Case("--max-memory 1", "C C C C"),
        Case("--threads 2", "- - - -"),
        Case("--quiet", "- - - -"),
    ]),
    "decode": (DECODED, [
        Case("--fast-mcu", "C R R R R R"),
        Case("--nosmooth", "C R R R R R"),
        Case("--words 565", "C C C C C C", output="out.bmp"),
        Case("--words 565", "R R R R R R"),
        Case("--region 3,2,20,10", "C C C C C C"),
        Case("--reduce 1", "C C C R R R"),
        Case("--tile 0", "R - - R R R"),
        Case("--upsample", "R - - R R R"),
        Case("--tile 1", "R R R R R R"),
        Case("--layers 1", "R C C R R R"),
        Case("--components", "C C C R R R", output="out.pgx"),
        Case("--format png", "C C C C C C"),
        Case("--strip", "- - - - - -"),
        Case("--orient", "C C C C C C", source="turned.jpg"),
        Case("--srgb", "C C C C C C", source="light.png"),
        Case("--picture 2", "C C C C C C", source="two.jpg"),
        Case("--picture 1", "- R R R R R"),
        Case("--upsample", "R - - R R R"),
        Case("--max-scans 1", "C C C C C C", source="progressive.jpg"),
        Case("--max-scans 1", "- - - - - -"),
        Case("--no-clobber", "C C C C C C"),
        Case("--output-dir folder", "C C C C C C", output=""),
        Case("--jobs 2", "R R R R R R"),
        Case("--max-pixels 1", "C C C C C C"),
        Case("--max-memory 1", "C C C C C C"),
        Case("--threads 2", "- - - - - -"),
        Case("--quiet", "- - - - - -"),
    ]),
    "transcode": ({"JPEG": ("progressive.jpg", "out.jpg")}, [
        Case("--progressive", "C", source="in.jpg"),
        Case("--scans script", "C"),
        Case("--sequential", "C"),
        Case("--optimize", "C"),
        Case("--strip", "C"),
        Case("--orient", "C", source="turned.jpg"),
        Case("--picture 2", "C", source="two.jpg"),
        Case("--grayscale", "C"),
        Case("--rotate 90", "C"),
        Case("--flip v", "C"),
        Case("--transpose", "C"),
        Case("--transverse", "C"),
        Case("--trim", "R"),
        Case("--trim --rotate 180", "C"),
        Case("--perfect", "R"),
        Case("--perfect --transpose", "C"),
        Case("--crop 9x9+20+20", "C"),
        Case("--restart 1B", "C"),
        Case("--max-scans 1", "C"),
        Case("--no-clobber", "C"),
        Case("--output-dir folder", "C", output=""),
        Case("--jobs 2", "R"),
        Case("--max-pixels 1", "C"),
        Case("--max-memory 1", "C"),
        Case("--quiet", "-"),
    ]),
    "info": ({name: pair[:1] for name, pair in DECODED.items()}, [Case("--json", "C C C C C C")]),
    "compare": ({name: (pair[0], "in.ppm") for name, pair in DECODED.items() if name != "PGX"}, [
        Case("--json", "C C C C C"),
        Case("--max-scans 1", "C C C C C", source="progressive.jpg"),
        Case("--max-pixels 1", "C C C C C"),
        Case("--max-memory 1", "C C C C C"),
        Case("--threads 2", "- - - - -"),
        Case("--quiet", "- - - - -"),
    ]),
}


class Options(ToolTest):
    def setUp(self):
        super().setUp()
        picture = smooth(120, 90, 3)
        self.write("in.png", png_of(picture))
        self.write("in.ppm", pnm(picture))
        light = self.read("in.png")
        self.write("light.png", light[:33] + chunk(b"gAMA", struct.pack(">I", 100000)) + light[33:])
        inks = b"P7\nWIDTH 16\nHEIGHT 16\nDEPTH 4\nMAXVAL 255\nTUPLTYPE CMYK\nENDHDR\n"
        self.write("inks.pam", inks + bytes(i * 7 % 256 for i in range(1024)))
        self.write("in.pgx", b"PG ML + 8 120 90\n" + bytes(picture[3][::3]))
        self.write("script", SCRIPT)
        self.expect(OK, "encode", "in.png", "in.jpg")
        exif = b"Exif\0\0MM\0*" + struct.pack(">IHHHIHHI", 8, 1, 0x112, 3, 1, 6, 0, 0)
        file = self.read("in.jpg")
        self.write("turned.jpg", file[:20] + b"\xff\xe1" + struct.pack(">H", len(exif) + 2) + exif + file[20:])
        file = self.read("in.jpg")
        self.write("in.jpg", file[:20] + b"\xff\xfe\0\x07hello" + file[20:])  # a comment
        self.expect(OK, "transcode", "in.jpg", "progressive.jpg", "--progressive")
        self.write("two.jpg", self.read("in.jpg") + self.read("turned.jpg"))
        for name in "in.jp2", "in.j2k":
            self.expect(OK, "encode", "in.png", name, "--ratio", "8", "--layers", "3")
        self.sources = set(self.files())

    def outcome(self, *arguments):
        """Status, both streams and all files that are not sources."""
        for name in set(self.files()) - self.sources:
            path = self.path(name)
            shutil.rmtree(path) if os.path.isdir(path) else os.remove(path)
        for name in "out.jpg", "out.jp2", "out.j2k", "out.pnm", "out.pgx", "out.bmp":
            self.write(name, b"old")
        result = self.moxj(*arguments)
        made = {}
        for folder, _, names in os.walk(self.directory):
            for name in names:
                path = os.path.relpath(os.path.join(folder, name), self.directory)
                if path not in self.sources:
                    made[path] = self.read(path)
        return result.returncode, result.stdout, result.stderr, made

    def test_the_table_has_every_option(self):
        for command, (_, cases) in COMMANDS.items():
            listed = re.findall(r"^  (--[a-z-]+)", self.expect(OK, command, "--help").decode(), re.M)
            self.assertEqual(sorted(listed), sorted({case.arguments[0] for case in cases}), command)

    def check(self, command, before, case, effect):
        source, *rest = before
        operands = [case.source or source, *rest]
        if case.output is not None and command in ("encode", "decode", "transcode"):
            operands[1:2] = [case.output] if case.output else []
        plain = self.outcome(command, *(operands if case.output != "" else before))
        given = self.outcome(command, *operands, *case.arguments)
        status, _, errors, made = given
        if effect is REFUSES:
            self.assertIn(status, (USAGE, REFUSED))
            names = "|".join(word for word in case.arguments if word.startswith("--"))
            self.assertRegex(errors, r"\Amoxj: [^\n]*(%s)\b[^\n]*\n\Z" % names)
            self.assertTrue(set(made.values()) == {b"old"}, list(made))
        elif effect is RUN:
            self.assertEqual(status, OK, errors)
            self.assertTrue(given == plain, errors)
        else:
            self.assertTrue(given != plain, errors)
            self.assertIn(status, (OK, LIMIT, OUTPUT))
            if status != OK:
                self.assertIn(f"({case.arguments[0]}", errors)

    def test_every_option_with_every_format(self):
        for command, (formats, cases) in COMMANDS.items():
            for case in cases:
                self.assertEqual(len(case.effects), len(formats))
                for (name, before), effect in zip(formats.items(), case.effects):
                    with self.subTest(command=command, option=" ".join(case.arguments), format=name, effect=effect):
                        self.check(command, before, case, effect)


if __name__ == "__main__":
    unittest.main()

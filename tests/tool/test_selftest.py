#!/usr/bin/env python3
"""The choice of a target by the environment, --version, and selftest: that it passes, and that it can fail."""

import json
import os
import re
import subprocess
import unittest

from support import *

ALL = ["scalar", "sse2", "sse41", "avx2", "avx512", "neon"]
FAILED = 7


def version(**environment):
    done = subprocess.run([MOXJ, "--version", "--json"], env={**os.environ, **environment}, capture_output=True,
                          check=True)
    return json.loads(done.stdout)


class Version(ToolTest):
    def test_lines(self):
        lines = self.expect(OK, "--version").decode().splitlines()
        self.assertRegex(lines[0], r"\Amoxj \d+\.\d+\.\d+\Z")
        self.assertEqual([line.split("  ")[0] for line in lines[1:]],
                         ["targets built", "targets here", "target in use", "libpng", "libtiff", "lcms2"])
        self.assertRegex(lines[4], r"\Alibpng +1\.\d+\.\d+ \(PNG files\)\Z")

    def test_json_has_the_same(self):
        shown = version()
        lines = dict(line.split("  ", 1) for line in self.expect(OK, "-V").decode().splitlines()[1:])
        self.assertEqual(lines["targets built"].split(), shown["targets"]["built"])
        self.assertEqual(lines["targets here"].split(), shown["targets"]["here"])
        self.assertEqual(lines["target in use"].split(), [shown["targets"]["active"]])
        for library in shown["libraries"]:
            self.assertEqual(lines[library["name"]].split(" (")[0].strip(), library["version"] or "not found")

    def test_other_words_are_refused(self):
        self.expect(USAGE, "--version", "--jsn", error="moxj: unexpected argument '--jsn' (see moxj --help)\n")


class Environment(unittest.TestCase):
    def test_lowers_the_target(self):
        here = version()["targets"]["here"]
        best = version()["targets"]["active"]
        self.assertEqual(best, here[-1])
        for name in ALL:
            self.assertEqual(version(MOXJ_TARGET=name)["targets"]["active"], name if name in here else best)

    def test_other_values_are_ignored(self):
        best = version()["targets"]["active"]
        for name in "", "AVX2", "avx", "scalar ", "sse2,sse41", "x" * 100000:
            self.assertEqual(version(MOXJ_TARGET=name)["targets"]["active"], best)


class Selftest(ToolTest):
    def results(self, *arguments, status=OK, program=MOXJ, **environment):
        done = subprocess.run([program, "selftest", "--json", *arguments], env={**os.environ, **environment},
                              capture_output=True)
        self.assertEqual((done.returncode, done.stderr), (status, b""))
        return json.loads(done.stdout)

    def test_passes_on_every_target(self):
        here, built = (version()["targets"][key] for key in ("here", "built"))
        lines = self.expect(OK, "selftest").decode().splitlines()
        self.assertEqual([line.split()[0] for line in lines], ALL)
        for name, line in zip(ALL, lines):
            outcome = r"ok: 205 functions in \d+\.\d\d s" if name in here else \
                "not run: this processor lacks it" if name in built else "not run: not built in"
            self.assertRegex(line, rf"\A{name} +{outcome}\Z")

    def test_json(self):
        found = self.results("--target", "scalar")
        self.assertTrue(found["passed"])
        scalar, *others = found["targets"]
        self.assertEqual((scalar["target"], scalar["ran"], scalar["passed"], scalar["functions"],
                          scalar["differences"]), ("scalar", True, True, 205, []))
        self.assertFalse(any(target["ran"] for target in others))
        self.assertLessEqual({target["reason"] for target in others},
                             {"not asked for", "not built in", "this processor lacks it"})

    # Whatever the environment says, each target is run by itself.
    def test_environment(self):
        here = version()["targets"]["here"]
        found = self.results(MOXJ_TARGET="scalar")
        self.assertEqual([target["target"] for target in found["targets"] if target["ran"]], here)

    def test_a_wrong_checksum_is_found(self):
        program = os.environ["WRONG_TABLE"]
        here = version()["targets"]["here"]
        found = self.results(program=program, status=FAILED)
        self.assertFalse(found["passed"])
        for target in found["targets"][:len(here)]:
            self.assertEqual(target["differences"], ["moxiSub128_JPEG_8u16s_C1R", "moxiWithoutACase"])
        done = subprocess.run([program, "selftest", "--target", "scalar"], capture_output=True, text=True)
        self.assertEqual((done.returncode, done.stderr), (FAILED, ""))
        self.assertEqual(done.stdout.splitlines()[0], "scalar  FAILED: 2 of 205 functions differ: "
                         "moxiSub128_JPEG_8u16s_C1R, moxiWithoutACase")

    def test_misuse(self):
        self.expect(USAGE, "selftest", "x", error=re.compile("unexpected argument 'x'; selftest takes no files"))
        self.expect(USAGE, "selftest", "--target", "mmx", error="moxj: --target: 'mmx' is no target\n")
        self.expect(USAGE, "selftest", "--target", "scalar,", error=re.compile("is not a list of names"))
        for name in set(ALL) - set(version()["targets"]["here"]):
            self.expect(USAGE, "selftest", "--target", name, error=re.compile(f"--target: {name} cannot be run: "))


if __name__ == "__main__":
    unittest.main()

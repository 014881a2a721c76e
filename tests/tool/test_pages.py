#!/usr/bin/env python3
"""Manual pages and completions: the same options as --help, and no complaints of the programs that read them."""

import os
import pathlib
import re
import shutil
import subprocess
import sys
import unittest

from support import *

SOURCE = pathlib.Path(__file__).resolve().parents[2]
PAGES = pathlib.Path(os.environ["PAGES"])
COMMANDS = ["encode", "decode", "transcode", "info", "compare", "selftest", "bench"]


def helped(command):
    """The options that --help shows: their names, and the text beside them."""
    text = subprocess.run([MOXJ, command, "--help"], capture_output=True, text=True, check=True).stdout
    return dict(re.findall(r"^  (?:-h, )?(-[-\w]+)(?: [^ ]+)?  +(.*)$", text, re.M))


def unescaped(text):
    return re.sub(r"\\f.|\\&", "", text).replace("\\-", "-").replace("\\e", "\\")


class Manual(unittest.TestCase):
    def test_same_options_as_help(self):
        for command in COMMANDS:
            page = (PAGES / f"moxj-{command}.1").read_text(encoding="utf-8")
            found = dict(re.findall(r"^\.TP\n(.*)\n(.*)\.$", page, re.M))
            found = {unescaped(names).split(", ")[-1].split(" ")[0]: unescaped(words) for names, words in found.items()}
            with self.subTest(command):
                self.assertEqual(found, helped(command))
                self.assertGreaterEqual(len(found), 2)

    def test_overview_names_commands_and_statuses(self):
        page = (PAGES / "moxj.1").read_text(encoding="utf-8")
        general = subprocess.run([MOXJ, "--help"], capture_output=True, text=True, check=True).stdout
        statuses = re.sub(r"\s+", " ", general.partition("Exit status: ")[2]).strip(" .").split(", ")
        for status in statuses:
            number, _, meaning = status.partition(" ")
            self.assertIn(f".TP\n\\fB{number}\\fR\n{meaning}.\n", page)
        for command in COMMANDS:
            self.assertIn(f".BR moxj\\-{command} (1)", page)

    @unittest.skipUnless(shutil.which("groff"), "needs groff")
    def test_groff_has_no_complaints(self):
        pages = sorted(PAGES.glob("*.1"))
        self.assertEqual(len(pages), 1 + len(COMMANDS))
        for page in pages:
            done = subprocess.run(["groff", "-man", "-Tutf8", "-ww", "-rLL=78n", page], capture_output=True, text=True)
            with self.subTest(page.name):
                self.assertEqual((done.returncode, done.stderr), (0, ""))
                text = re.sub("\x1b\\[[0-9;]*m|.\b", "", done.stdout)
                self.assertIn("SYNOPSIS", text)
                self.assertLessEqual(max(map(len, text.splitlines())), 78)


class Functions(unittest.TestCase):
    """Section 3, made from the headers."""

    def setUp(self):
        self.folder = PAGES / "man3"
        if not self.folder.is_dir():
            self.skipTest("they were not made")

    def test_every_function_has_a_page(self):
        exported = set((SOURCE / "tests/exports.txt").read_text(encoding="utf-8").split())
        for name in ("libmoxcodec5", "libmoxcore5"):
            symbols = (SOURCE / f"debian/{name}.symbols").read_text(encoding="utf-8")
            exported |= set(re.findall(r"^ (mox\w+)@", symbols, re.M))
        self.assertGreater(len(exported), 240)
        for name in exported:
            with self.subTest(name):
                alias = (self.folder / f"{name}.3").read_text(encoding="utf-8")
                page = re.fullmatch(r"\.so man3/(.*)\n", alias)[1]
                text = (self.folder / page).read_text(encoding="utf-8")
                self.assertIn(f"\n{name}", text.partition(".SH SYNOPSIS")[0])
                self.assertRegex(text, rf"\b{name}\(")

    def test_types_and_options_are_there(self):
        text = "".join(path.read_text(encoding="utf-8") for path in self.folder.iterdir())
        for word in ("moxStatusContextMismatch", "MOXJ_J2K_OPTIONS", "moxJ2KKeepMidpoint", "int32_t restartInRows;"):
            self.assertIn(word, text)
        self.assertNotRegex(text, "MOXJ_API|__declspec|extern \"C\"")

    @unittest.skipUnless(shutil.which("groff"), "needs groff")
    def test_groff_has_no_complaints(self):
        pages = [path for path in self.folder.iterdir() if not path.read_text(encoding="utf-8").startswith(".so")]
        self.assertGreater(len(pages), 30)
        done = subprocess.run(["groff", "-man", "-Tutf8", "-ww", "-rLL=78n", *pages], capture_output=True, text=True)
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        for page in pages:  # nothing in the first line stands over something else
            shown = subprocess.run(["groff", "-man", "-Tascii", "-P-c", "-rLL=78n", page], capture_output=True,
                                   text=True)
            with self.subTest(page.name):
                self.assertRegex(shown.stdout.lstrip(), r"\A([A-Z0-9-]+\(3\)) +Library Functions +\1\n")

    def test_parser(self):
        subprocess.run([sys.executable, "-B", SOURCE / "pages/headers.py", "--self"], check=True)


class Bash(unittest.TestCase):
    def completed(self, *words):
        script = f"""source '{PAGES}/moxj.bash'
            COMP_WORDS=({' '.join(f"'{word}'" for word in words)}); COMP_CWORD={len(words) - 1}
            _moxj; printf '%s\\n' "${{COMPREPLY[@]}}" """
        done = subprocess.run(["bash", "-uc", script], capture_output=True, text=True)
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        return done.stdout.split()

    def test_completes(self):
        self.assertEqual(self.completed("moxj", "en"), ["encode"])
        self.assertEqual(self.completed("moxj", "encode", "--qu"), ["--quality", "--quiet"])
        self.assertEqual(self.completed("moxj", "encode", "--format", ""), ["jpg", "jp2", "j2k"])
        self.assertEqual(self.completed("moxj", "encode", "--progression", "R"), ["RLCP", "RPCL"])
        self.assertEqual(self.completed("moxj", "transcode", "--flip", ""), ["h", "v"])
        self.assertEqual(self.completed("moxj", "encode", "--ratio", "2"), [])
        self.assertEqual(self.completed("moxj", "help", "co"), ["compare"])
        self.assertEqual(self.completed("moxj", "selftest", "--target", "s"), ["scalar", "sse2", "sse41"])

    def test_every_option(self):
        for command in COMMANDS:
            self.assertEqual(set(self.completed("moxj", command, "-")), set(helped(command)))


class OtherShells(unittest.TestCase):
    def test_every_option(self):
        for name, spelled in ("_moxj", lambda option: f"'{option}["), ("moxj.fish", None):
            text = (PAGES / name).read_text(encoding="utf-8")
            for command in COMMANDS:
                for option in helped(command):
                    kind = "-l" if option.startswith("--") else "-s" if len(option) == 2 else "-o"
                    line = f"__fish_seen_subcommand_from {command}' {kind} {option.lstrip('-')} "
                    self.assertIn(spelled(option) if spelled else line, text, f"{name}: {command}")

    def check(self, shell, name):
        if not shutil.which(shell):
            self.skipTest(f"needs {shell}")
        done = subprocess.run([shell, "-n", PAGES / name], capture_output=True, text=True)
        self.assertEqual((done.returncode, done.stderr), (0, ""))

    def test_zsh(self):
        self.check("zsh", "_moxj")

    def test_fish(self):
        self.check("fish", "moxj.fish")


if __name__ == "__main__":
    unittest.main()

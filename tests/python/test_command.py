#!/usr/bin/env python3
"""python -m moxj."""

import json
import subprocess
import sys
import unittest

import moxj
import numpy
from support import *


class Command(PictureTest):
    def run_moxj(self, status, *arguments):
        """Runs it and checks its exit status; returns (standard output, standard error)."""
        command = [sys.executable, "-B", "-m", "moxj", *map(str, arguments)]
        done = subprocess.run(command, capture_output=True, text=True, timeout=60, cwd=self.directory)
        self.assertEqual(done.returncode, status, (arguments, done.stderr))
        return done.stdout, done.stderr

    def test_files(self):
        array = smooth(60, 80)
        moxj.encode(array, to=self.directory / "a.png")
        self.assertEqual(self.run_moxj(0, "encode", "a.png", "a.jpg", "--quality", 60, "--sample", "4:4:4"), ("", ""))
        self.assertEqual((self.directory / "a.jpg").read_bytes(), moxj.encode(array, "jpg", quality=60, sample="4:4:4"))
        self.run_moxj(0, "encode", "a.png", "a.jp2", "--ratio", 10, "--block", "32x64", "--threads", 2)
        self.assertEqual((self.directory / "a.jp2").read_bytes(), moxj.encode(array, "jp2", ratio=10, block=(32, 64)))
        self.run_moxj(0, "decode", "a.jp2", "half", "--reduce", 1, "--format", "ppm")
        self.assertSame(moxj.decode(self.directory / "half"), moxj.decode(self.directory / "a.jp2", reduce=1))
        self.run_moxj(0, "transcode", "a.jpg", "p.jpg", "--progressive", "--strip")
        self.assertEqual((self.directory / "p.jpg").read_bytes(),
                         moxj.transcode(self.directory / "a.jpg", progressive=True, strip=True))

    def test_info_and_compare(self):
        for name in "a.png", "b.pgm":
            moxj.encode(smooth(60, 80, 1), to=self.directory / name)
        out, _ = self.run_moxj(0, "info", "a.png")
        self.assertEqual(json.loads(out), moxj.info(self.directory / "a.png"))
        out, _ = self.run_moxj(0, "compare", "a.png", "b.pgm")
        self.assertEqual(json.loads(out)["all"], {"mse": 0.0, "psnr": None, "ssim": 1.0, "max": 0})

    def test_failures(self):
        (self.directory / "bad").write_bytes(b"nonsense")
        rgba = noise((60, 80, 4))
        moxj.encode(rgba, to=self.directory / "a.png")
        whole = moxj.encode(rgba[..., :3], "jpg")
        (self.directory / "cut.jpg").write_bytes(whole[:len(whole) // 2])
        for status, text, arguments in (
                (1, "usage", []), (1, "usage", ["encode", "a.png"]), (1, "quality", ["encode", "a.png", "x.jpg",
                                                                                   "--quality", 200]),
                (1, "extension", ["encode", "a.png", "x.unknown"]), (2, "unrecognised", ["info", "bad"]),
                (2, "No such file", ["decode", "missing", "x.png"]),
                (3, "moxj: warning: the file ends", ["decode", "cut.jpg", "x.png"]),
                (4, "limit", ["decode", "a.png", "x.ppm", "--max-pixels", 10]),
                (5, "cannot be created", ["encode", "a.png", "no/x.jpg"]),
                (0, "moxj: note: transparency", ["encode", "a.png", "x.jpg"])):
            out, error = self.run_moxj(status, *arguments)
            self.assertEqual(out, "")
            self.assertIn(text, error)

    def test_help(self):
        out, _ = self.run_moxj(0, "--help")
        for command in "encode", "decode", "transcode", "info", "compare":
            self.assertIn(command, out)
            self.run_moxj(0, command, "--help")
        self.assertEqual(self.run_moxj(0, "--version")[0], f"moxj {moxj.__version__}\n")


if __name__ == "__main__":
    unittest.main()

#!/usr/bin/env python3
"""scripts/report in its quick form, on a small picture: everything is in the page, and nothing outside."""

import os
import pathlib
import re
import shutil
import subprocess
import unittest
import xml.dom.minidom

from support import *

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
PROGRAMS = ["cjpeg", "djpeg", "opj_compress", "opj_decompress", "grk_compress", "grk_decompress", "ffmpeg"]
MISSING = [name for name in PROGRAMS if not shutil.which(name)]
MISSING += [name for name in ("matplotlib", "PIL")
            if subprocess.run(["/usr/bin/python3", "-c", f"import {name}"], capture_output=True).returncode]


@unittest.skipIf(os.environ.get("SANITIZERS"), "measures, which sanitizers slow down")
@unittest.skipIf(MISSING, f"needs {', '.join(MISSING)}")
class Report(ToolTest):
    def test_page(self):
        rows = bytes(min(255, abs(x * y // 64 - 2 * x + 40 * c) % 256 // 2 + (x * 7 + y * 13) % 40)
                     for y in range(160) for x in range(192) for c in range(3))
        self.write("small.ppm", b"P6\n192 160\n255\n" + rows)
        done = subprocess.run([ROOT / "scripts/report", "--quick", "--moxj", MOXJ, "--picture", self.path("small.ppm"),
                               "--output", self.path("out")], capture_output=True, text=True)
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        self.assertEqual(self.files("out"), ["index.html"])
        page = self.read("out/index.html").decode()
        for text in "PSNR", "SSIM", "grk_compress", "dct: forward", "libjpeg-turbo", "Grok", "threads", "times memcpy":
            self.assertIn(text, page)
        self.assertEqual(page.count("<svg"), 2)
        self.assertEqual(page.count('width="320" src="data:image/png'), 6)  # no larger than the picture, twice
        self.assertIn("Made by --quick", page)
        self.assertEqual(re.findall(r'(?:src|href)="(?!data:|#)([^"]*)"', page.replace("xlink:", "")), [])
        for drawing in re.findall(r"<svg.*?</svg>", page, re.S):
            xml.dom.minidom.parseString(drawing)

    def test_no_tool(self):
        done = subprocess.run([ROOT / "scripts/report", "--quick", "--moxj", self.path("none")], capture_output=True,
                              text=True)
        self.assertEqual(done.returncode, 1)
        self.assertRegex(done.stderr, r"\Areport: there is no \S*none; cmake --preset [^\n]*\n\Z")
        self.write("small.ppm", b"P6\n8 8\n255\n" + bytes(192))
        done = subprocess.run([ROOT / "scripts/compare-speed", "--moxj", self.path("none"), "--picture",
                               self.path("small.ppm")], capture_output=True, text=True)
        self.assertEqual(done.returncode, 1)
        self.assertRegex(done.stderr, r"\Acompare-speed: there is no \S*none; moxj is made by [^\n]*\n\Z")


if __name__ == "__main__":
    unittest.main()

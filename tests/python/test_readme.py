#!/usr/bin/env python3
"""The README's lines of Python."""

import re
import unittest

import moxj
from support import *


class Readme(PictureTest):
    def test_its_lines_do_what_they_say(self):
        text = (SOURCE / "README.md").read_text()
        blocks = re.findall(r"```python\n(.*?)```", text, re.DOTALL)
        self.assertEqual(len(blocks), 1)
        self.enterContext(contextlib.chdir(self.directory))
        moxj.encode(smooth(60, 80), to="photo.jpg", quality=90)
        names = {}
        exec(blocks[0], names)
        self.assertSame(names["pixels"], moxj.decode("photo.jpg"))
        self.assertEqual(moxj.probe(names["data"]), "jp2")
        self.assertLessEqual(len(names["data"]), names["pixels"].size / 20)
        self.assertGreater(psnr(moxj.decode(names["data"]), names["pixels"]), 30)


if __name__ == "__main__":
    unittest.main()

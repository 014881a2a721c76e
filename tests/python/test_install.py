#!/usr/bin/env python3
"""The package built by pip, without a network, against an installed library."""

import importlib.util
import os
import pathlib
import shutil
import subprocess
import sys
import tarfile
import unittest
import zipfile

import moxj
from support import *

BUILD, CMAKE = os.environ["BUILD"], os.environ["CMAKE"]
USER = """
import moxj, numpy, sys
assert moxj.__file__.startswith(sys.argv[1]), moxj.__file__
array = numpy.arange(600, dtype=numpy.uint16).reshape(20, 30)
assert (moxj.decode(moxj.encode(array, "jp2")) == array).all()
print(moxj.__version__)
"""
CODECS = """
import numcodecs, numpy
for name in "moxj_jpeg2000", "moxj_jpeg_lossless", "moxj_jpeg":
    codec = numcodecs.get_codec({"id": name})
    assert codec.decode(codec.encode(numpy.zeros((20, 30), "u1"))).shape == (20, 30)
"""


def without_network():
    """The command that runs another one without a network, if that is allowed here."""
    command = ["unshare", "--net", "--map-root-user"]
    return command if shutil.which("unshare") and subprocess.run([*command, "true"],
                                                                 capture_output=True).returncode == 0 else []


@needs("pip")
class Install(PictureTest):
    def setUp(self):
        super().setUp()
        self.prefix, self.site = self.directory / "prefix", self.directory / "site"
        subprocess.run([CMAKE, "--install", BUILD, "--prefix", self.prefix], check=True, capture_output=True)
        libraries = next(self.prefix.rglob("moxcodec.pc")).parent
        self.environment = {**os.environ, "PKG_CONFIG_PATH": str(libraries), "PIP_CONFIG_FILE": os.devnull,
                            "PIP_DISABLE_PIP_VERSION_CHECK": "1"}
        del self.environment["PYTHONPATH"]

    def run_python(self, *arguments, path=None, offline=()):
        environment = {**self.environment, **({"PYTHONPATH": str(path)} if path else {})}
        done = subprocess.run([*offline, sys.executable, "-B", *map(str, arguments)], env=environment, text=True,
                              capture_output=True, cwd=self.directory, timeout=500)
        self.assertEqual(done.returncode, 0, done.stdout + done.stderr)
        return done.stdout

    def test_pip(self):
        before = sorted((SOURCE / "python").rglob("*"))
        self.environment["MOXJ_BUILD_DIR"] = str(self.directory / "build")
        self.run_python("-m", "pip", "install", "--no-deps", "--target", self.site, SOURCE / "python",
                        offline=without_network())
        self.assertEqual(sorted((SOURCE / "python").rglob("*")), before, "nothing is left in the sources")

        self.assertEqual(self.run_python("-c", USER, self.site, path=self.site), moxj.__version__ + "\n")
        if importlib.util.find_spec("numcodecs"):
            self.run_python("-c", CODECS, path=self.site)
        self.assertIn("compare", self.run_python("-m", "moxj", "--help", path=self.site))
        names = {path.name for path in (self.site / "moxj").iterdir() if path.is_file()}
        self.assertEqual({name for name in names if not name.startswith("_native")},
                         {path.name for path in (SOURCE / "python" / "moxj").iterdir() if path.is_file()})
        native = next((self.site / "moxj").glob("_native*"))
        linked = subprocess.run(["ldd", native], capture_output=True, text=True, check=True).stdout
        self.assertIn(str(self.prefix.resolve()), linked)
        self.assertNotIn(str(BUILD), linked)
        self.assertIn(f"moxj-{moxj.__version__}.dist-info", {path.name for path in self.site.iterdir()})

    def test_archives(self):
        """A source archive has all that a build needs, and a wheel's list names all files with their sums."""
        archive = self.run_python("-c", "import sys; sys.path.insert(0, sys.argv[1]); import build_backend;"
                                  "print(build_backend.build_sdist('.'))", SOURCE / "python").strip()
        with tarfile.open(self.directory / archive) as file:
            names = {name.partition("/")[2] for name in file.getnames()}
        there = {str(path.relative_to(SOURCE / "python")) for path in (SOURCE / "python").rglob("*")
                 if path.is_file() and "__pycache__" not in path.parts}
        self.assertEqual(names, there | {"VERSION", "PKG-INFO"})


if __name__ == "__main__":
    unittest.main()

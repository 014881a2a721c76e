#!/usr/bin/env python3
"""Every kind of failure has its class, and says what to do; damage and loss are warnings."""

import errno
import io
import os
import unittest
import warnings

import moxj
import numpy
from support import *


class Kinds(PictureTest):
    def setUp(self):
        super().setUp()
        self.array = smooth(60, 80)
        self.png, self.jpg = moxj.encode(self.array, "png"), moxj.encode(self.array, "jpg")

    def test_input(self):
        with self.raises(moxj.NotThisFormat, "unrecognised format"):
            moxj.decode(b"no picture at all")
        with self.raises(moxj.NotThisFormat, "empty"):
            moxj.decode(b"")
        with self.raises(moxj.Damaged):
            moxj.decode(self.jpg[:30])
        missing = str(self.directory / "missing.png")
        with self.raises(moxj.MissingFile, missing + ": ", filename=missing, errno=errno.ENOENT):
            moxj.decode(missing)
        with self.assertRaises(FileNotFoundError):
            moxj.info(missing)
        with self.raises(moxj.InputError, filename=str(self.directory), errno=errno.EISDIR):
            moxj.decode(self.directory)

    def test_unsupported(self):
        hierarchical = self.jpg.replace(b"\xff\xc0", b"\xff\xc5", 1)
        with self.raises(moxj.Unsupported, "hierarchical"):
            moxj.decode(hierarchical)
        self.assertEqual(moxj.info(hierarchical)["width"], 80)

    def test_options(self):
        for option, value in ("quality", 101), ("quality", 0), ("quality", -5), ("quality", 1 << 70), \
                ("sample", "4:2:1"), ("sample", "5x1"), ("quality", (90, 0)), ("restart", 70000):
            with self.raises(moxj.BadOption, option, option=option, advice=option):
                moxj.encode(self.array, "jpg", **{option: value})
        for option, value in ("levels", 33), ("levels", -1), ("block", (64, 128)), ("block", 3), ("tile", 0), \
                ("tile", (0, 5)), ("progression", "LLLL"), ("modes", ["fast"]), ("layers", 0), ("layers", 101), \
                ("ratio", 0), ("ratio", 0.5), ("bpp", -1.0), ("block", (1, 2, 3)):
            with self.raises(moxj.BadOption, option, option=option):
                moxj.encode(self.array, "jp2", **{option: value})
        for format, option, value in ("png", "quality", 90), ("jpg", "ratio", 5), ("jp2", "progressive", True), \
                ("ppm", "lossless", True), ("jp2", "fast_mcu", True), ("jpg", "levels", 0):
            with self.raises(moxj.BadOption, option + " ", option=option):
                moxj.encode(self.array, format, **{option: value})
        for option, value in ("reduce", 4), ("layers", 2), ("tile", 0), ("region", (10000, 0, 1, 1)):
            with self.raises(moxj.BadOption, option=option):
                moxj.decode(self.jpg, **{option: value})
        for option in {"smooth": False}, {"fast_mcu": True}:
            with self.raises(moxj.BadOption, option=next(iter(option))):
                moxj.decode(self.png, **option)
        for threads in 0, -1, 2000:
            with self.raises(moxj.BadOption, option="threads"):
                moxj.decode(self.png, threads=threads)
        with self.raises(moxj.BadOption, "line 1", option="scans"):
            moxj.encode(self.array, "jpg", scans="nonsense")

    def test_wrong_types(self):
        for options in {"quality": "90"}, {"quality": 90.5}, {"levels": None, "sample": 3.5, "quality": []}:
            with self.assertRaises((TypeError, moxj.BadOption)):
                moxj.encode(self.array, "jpg", **options)
        with self.assertRaises(TypeError):
            moxj.encode(self.array, "jpg", no_such_option=1)

    def test_limits(self):
        with self.raises(moxj.LimitExceeded, "limits.max_pixels", advice="max_pixels"):
            moxj.decode(self.png, limits=moxj.Limits(max_pixels=60 * 80 - 1))
        self.assertSame(moxj.decode(self.png, limits=moxj.Limits(max_pixels=60 * 80)), self.array)
        for call in lambda limits: moxj.encode(self.array, "jp2", limits=limits), \
                lambda limits: moxj.decode(self.jpg, limits=limits), \
                lambda limits: moxj.decode(moxj.encode(self.array, "jp2"), limits=limits):
            with self.assertRaises(moxj.LimitExceeded) as caught:
                call(moxj.Limits(max_memory=5000))
            self.assertTrue(caught.exception.advice.startswith("max_memory"))
        with self.raises(moxj.LimitExceeded, advice="max_scans"):
            moxj.decode(moxj.transcode(self.jpg, progressive=True), limits=moxj.Limits(max_scans=2))
        for bad in {"max_pixels": 0}, {"max_memory": -1}, {"max_scans": 1 << 40}:
            with self.assertRaises(moxj.BadOption):
                moxj.Limits(**bad)

    def test_output(self):
        path = str(self.directory / "no" / "folder.png")
        with self.raises(moxj.OutputError, path, filename=path, errno=errno.ENOENT):
            moxj.encode(self.array, to=path)
        self.assertEqual(os.listdir(self.directory), [])

    def test_standard_bases(self):
        for kind, base in (moxj.NotThisFormat, ValueError), (moxj.Damaged, ValueError), (moxj.BadOption, ValueError), \
                (moxj.InputError, OSError), (moxj.OutputError, OSError), (moxj.OutOfMemory, MemoryError), \
                (moxj.MissingFile, FileNotFoundError), (moxj.InternalError, RuntimeError):
            self.assertTrue(issubclass(kind, base) and issubclass(kind, moxj.Error))
        kinds = [getattr(moxj, name) for name in moxj.__all__ if isinstance(getattr(moxj, name), type)
                 and issubclass(getattr(moxj, name), moxj.Error) and getattr(moxj, name) is not moxj.Error]
        self.assertTrue(all(kind.kind for kind in kinds))


class Warnings(PictureTest):
    def test_damage(self):
        for name in "jpg", "jp2", "png", "ppm":
            file = moxj.encode(noise((60, 80, 3)), name)
            cut = file[:len(file) * 2 // 3]
            with self.assertWarns(moxj.IncompleteWarning) as caught:
                array = moxj.decode(cut)
            self.assertEqual(caught.filename, __file__)
            self.assertEqual(array.shape, (60, 80, 3))
            with self.assertWarns(moxj.IncompleteWarning):
                self.assertSame(moxj.decode(cut, out=numpy.zeros_like(array)), array)
            picture = moxj.read(cut)
            self.assertFalse(picture.complete)
            self.assertEqual(picture.warning, str(caught.warning))
            self.assertSame(picture.array, array)
            self.assertTrue(moxj.read(file).complete)
            with self.assertWarns(moxj.IncompleteWarning):
                moxj.convert(cut, "png")
            with self.assertWarns(moxj.IncompleteWarning):
                moxj.compare(file, cut)

    def test_damage_as_an_error(self):
        file = moxj.encode(noise((60, 80, 3)), "jpg")
        with self.assertRaises(moxj.IncompleteWarning):
            moxj.decode(file[:len(file) // 2])

    def test_loss(self):
        for array in noise((9, 9, 4)), noise((9, 9, 3), "u2"):
            with self.assertWarns(moxj.NoteWarning) as caught:
                moxj.encode(array, "jpg")
            self.assertEqual(caught.filename, __file__)
            file = moxj.encode(array, "png")
            with self.assertWarns(moxj.NoteWarning):
                moxj.convert(file, "jpg")
        self.assertEqual(len(moxj.read(file, bits=8).notes), 1)
        moxj.decode(file, bits=8)  # asked for, hence without a warning


class Callbacks(PictureTest):
    def test_progress(self):
        file = moxj.encode(smooth(300, 400), "jp2")
        for call in lambda progress: moxj.decode(file, progress=progress), \
                lambda progress: moxj.encode(smooth(300, 400), "jp2", progress=progress), \
                lambda progress: moxj.convert(file, "jpg", progress=progress), \
                lambda progress: moxj.compare(file, file, progress=progress):
            seen = []
            call(lambda done, total: seen.append((done, total)) or True)
            self.assertTrue(seen)
            self.assertTrue(all(0 <= done <= total for done, total in seen), seen)
            self.assertGreater(seen[-1][0], seen[-1][1] * 0.75)

    def test_what_a_callback_raises_comes_out(self):
        class Stop(Exception):
            pass

        calls = {"decode": lambda progress: moxj.decode(file, progress=progress),
                 "encode": lambda progress: moxj.encode(smooth(300, 400), "jp2", progress=progress),
                 "file": lambda progress: moxj.encode(smooth(300, 400), to=self.directory / "x.jp2", progress=progress)}
        file = moxj.encode(smooth(300, 400), "jp2")
        for name, call in calls.items():
            count = []
            call(lambda done, total: count.append(done))
            for stop in {1, len(count) // 2, len(count)} - {0}:
                left = [stop]

                def progress(done, total):
                    left[0] -= 1
                    if left[0] == 0:
                        raise Stop("here")
                    self.assertGreater(left[0], 0, "called again after it raised")

                with self.assertRaises(Stop, msg=(name, stop)):
                    call(progress)
        with self.raises(moxj.Cancelled, "enough"):
            moxj.decode(file, progress=lambda done, total: (_ for _ in ()).throw(moxj.Cancelled("enough")))
        self.assertEqual([path.name for path in self.directory.iterdir()], ["x.jp2"])

    def test_what_files_raise_comes_out(self):
        class Broken(io.BytesIO):
            def read(self, size=-1):
                raise KeyError("read")

            def write(self, data):
                raise KeyError("write")

        with self.assertRaises(KeyError):
            moxj.decode(Broken())
        with self.assertRaises(KeyError):
            moxj.encode(noise((9, 9)), "png", to=Broken())

        class TooMuch(io.BytesIO):
            def read(self, size=-1):
                return bytes(size + 1)

        with self.assertRaises(ValueError):
            moxj.decode(TooMuch())

    def test_a_nested_call(self):
        file = moxj.encode(smooth(200, 200), "jp2")
        inner = []
        moxj.decode(file, progress=lambda done, total: inner.append(moxj.decode(file).shape))
        self.assertEqual(set(inner), {(200, 200, 3)})


if __name__ == "__main__":
    unittest.main()

#!/usr/bin/env python3
"""Arrays to files and back: types, layouts, strides, files of every kind, and memory that is shared, not copied."""

import gc
import io
import mmap
import struct
import unittest
import warnings
import weakref
import zlib

import moxj
import numpy
from support import *

LOSSLESS = {**dict.fromkeys(("jp2", "j2k", "png", "ppm", "pgm", "pam", "tif", "pgx"), {}), "jpg": {"lossless": True}}


class Types(PictureTest):
    def test_grey_samples_come_back(self):
        formats = {"u1": LOSSLESS, "u2": LOSSLESS, "i1": ("j2k", "jp2", "pgx"), "i2": ("j2k", "jp2", "pgx"),
                   "u4": ("pgx",), "i4": ("pgx",)}
        for dtype, names in formats.items():
            for name in set(names) - {"ppm"}:
                bits = 20 if dtype == "u4" else None
                array = noise((13, 17), dtype, bits=bits)
                given = {"bits": bits} if bits else {"bits": 31} if dtype == "i4" else {}
                if dtype == "i4":
                    array //= 2
                with self.subTest(dtype=dtype, format=name):
                    picture = moxj.read(moxj.encode(array, name, **given, **LOSSLESS[name]))
                    self.assertTrue(numpy.array_equal(picture.array, array))
                    self.assertEqual(picture.bits, given.get("bits", array.itemsize * 8))
                    self.assertEqual(picture.array.dtype, "i2" if dtype == "i1" else dtype)
                    self.assertEqual((picture.width, picture.height, picture.layout), (17, 13, "grey"))

    def test_colour_comes_back(self):
        for dtype in "u1", "u2":
            for name in "jp2", "j2k", "png", "ppm", "jpg":
                array = noise((13, 17, 3), dtype)
                with self.subTest(dtype=dtype, format=name):
                    self.assertSame(moxj.decode(moxj.encode(array, name, **LOSSLESS[name])), array)

    def test_opacity_comes_back(self):
        for dtype in "u1", "u2":
            for channels in 2, 4:
                for name in "jp2", "png":
                    array = noise((13, 17, channels), dtype)
                    with self.subTest(dtype=dtype, channels=channels, format=name):
                        self.assertSame(moxj.decode(moxj.encode(array, name)), array)

    def test_bool_is_one_bit(self):
        array = noise((9, 30), "bool")
        for name in "j2k", "pgm", "pam", "pbm", "pgx":
            picture = moxj.read(moxj.encode(array, name))
            self.assertSame(picture.array, array.astype("u1"), name)
            self.assertEqual((picture.bits, picture.max_value), (1, 1))

    def test_bits(self):
        for bits in 1, 7, 8, 9, 12, 16:
            array = noise((11, 14), "u2", bits=bits)
            picture = moxj.read(moxj.encode(array, "j2k", bits=bits))
            self.assertEqual(picture.bits, bits)
            self.assertSame(picture.array, array.astype("u1" if bits <= 8 else "u2"), bits)
        self.assertSame(moxj.decode(moxj.encode(array, "j2k"), bits=8),
                        ((array.astype("u4") * 255 * 2 + 65535) // (65535 * 2)).astype("u1"))

    def test_largest_value(self):
        array = noise((5, 6)) % 101
        picture = moxj.read(moxj.encode(array, "pgm", max_value=100, bits=7))
        self.assertEqual((picture.max_value, picture.bits), (100, 7))
        self.assertSame(picture.array, array)

    def test_byte_orders(self):
        array = noise((8, 9), ">u2")
        self.assertSame(moxj.decode(moxj.encode(array, "png")), array.astype("u2"))
        self.assertEqual(moxj.encode(array, "png"), moxj.encode(array.astype("<u2"), "png"))

    def test_what_is_no_picture(self):
        for bad in numpy.zeros(5, "u1"), numpy.zeros((2, 2, 2, 2), "u1"), numpy.zeros((0, 3), "u1"), \
                numpy.zeros((3, 3)), numpy.zeros((3, 3, 5), "u1"), numpy.zeros((3, 3), "u8"), "text", None, []:
            with self.assertRaises(moxj.BadArgument):
                moxj.encode(bad, "png")
        for dtype in "u4", "i4":
            with self.raises(moxj.BadOption, "32 bits", option="bits"):
                moxj.encode(numpy.zeros((3, 3), dtype), "pgx")
        for bits in 0, 9, 17:
            with self.raises(moxj.BadOption, option="bits"):
                moxj.encode(numpy.zeros((3, 3), "u1"), "pgx", bits=bits)


class Layouts(PictureTest):
    def setUp(self):
        super().setUp()
        self.rgb = noise((12, 15, 3))
        self.file = moxj.encode(self.rgb, "png")

    def test_orders(self):
        opaque = numpy.full((12, 15, 1), 255, "u1")
        self.assertSame(moxj.decode(self.file, layout="rgb"), self.rgb)
        self.assertSame(moxj.decode(self.file, layout="bgr"), self.rgb[..., ::-1])
        self.assertSame(moxj.decode(self.file, layout="RGBA"), numpy.concatenate([self.rgb, opaque], 2))
        self.assertSame(moxj.decode(self.file, layout="bgra"), numpy.concatenate([self.rgb[..., ::-1], opaque], 2))
        grey = moxj.decode(self.file, layout="grey")
        self.assertEqual(grey.shape, (12, 15))
        self.assertSame(moxj.decode(self.file, layout="grey-alpha"), numpy.stack([grey, opaque[..., 0]], 2))
        self.assertSame(moxj.decode(moxj.encode(grey, "png"), layout="rgb"), numpy.stack([grey] * 3, 2))

    def test_orders_in(self):
        self.assertEqual(moxj.encode(self.rgb[..., ::-1].copy(), "png", layout="bgr"), self.file)
        rgba = noise((4, 5, 4))
        self.assertEqual(moxj.encode(rgba[..., [2, 1, 0, 3]], "png", layout="bgra"), moxj.encode(rgba, "png"))

    def test_words(self):
        for layout, bits in ("rgb565", (5, 6, 5)), ("rgb555", (5, 5, 5)):
            words = moxj.decode(self.file, layout=layout)
            self.assertEqual((words.shape, words.dtype), ((12, 15), "u2"))
            fields = words >> (bits[1] + bits[2]), words >> bits[2] & (1 << bits[1]) - 1, words & 31
            for field, count, samples in zip(fields, bits, numpy.moveaxis(self.rgb, 2, 0)):
                # The nearest level is at most half a level away.
                self.assertLessEqual(numpy.abs(field * (255 / ((1 << count) - 1)) - samples).max(),
                                     128 / ((1 << count) - 1) + 1)
            self.assertSame(moxj.decode(moxj.encode(words, "png", layout=layout), layout=layout), words)

    def test_planes(self):
        for file in self.file, moxj.encode(self.rgb, "j2k"):
            planes = moxj.decode(file, layout="planes")
            self.assertEqual(len(planes), 3)
            for i, plane in enumerate(planes):
                self.assertSame(plane, self.rgb[..., i])
        planes = [noise((8, 6), seed=seed) for seed in range(3)]
        self.assertSame(moxj.decode(moxj.encode(planes, "j2k"), components=True), numpy.stack(planes, 2))

    def test_sampled_ycbcr(self):
        file = moxj.encode(smooth(33, 41), "jpg")
        picture = moxj.read(file, layout="ycbcr")
        self.assertEqual([plane.shape for plane in picture.planes], [(33, 41), (17, 21), (17, 21)])
        self.assertEqual(picture.sampling, [(1, 1), (2, 2), (2, 2)])
        again = moxj.encode(moxj.decode(file, layout="ycbcr"), "jpg", layout="ycbcr", quality=95)
        self.assertEqual(moxj.info(again)["sampling"], "4:2:0")
        self.assertGreater(psnr(moxj.decode(file), moxj.decode(again)), 38)
        with self.raises(moxj.Unsupported, "planes"):
            picture.array
        for plane, other in zip(picture.planes, moxj.decode(file, layout="ycbcr")):
            self.assertSame(plane, other)

    def test_inks(self):
        inks = noise((6, 7, 4))
        file = moxj.encode(inks, "jpg", layout="cmyk", lossless=True)
        self.assertSame(moxj.decode(file, layout="cmyk"), inks)
        self.assertEqual(moxj.decode(file).shape, (6, 7, 3))

    def test_channels_that_do_not_fit(self):
        for array, layout in (self.rgb, "rgba"), (self.rgb, "grey"), (self.rgb[..., 0], "rgb"), (self.rgb, "planes"), \
                (self.rgb[..., 0], "rgb565"), ([self.rgb[..., 0]] * 2, "ycbcr"), ([self.rgb[..., 0]], "grey"), \
                ([self.rgb[..., 0], self.rgb[:5, :4, 0]], None):
            with self.assertRaises(moxj.BadArgument):
                moxj.encode(array, "png", layout=layout)
        with self.raises(moxj.BadOption, "grey-alpha", option="layout"):
            moxj.decode(self.file, layout="gray")


class Strides(PictureTest):
    """Any view of an array is the same picture as a copy of it."""

    def test_views(self):
        for dtype in "u1", "u2":
            big = noise((40, 60, 3), dtype)
            views = {"rows apart": big[::2], "bottom up": big[::-1], "part": big[3:20, 5:40], "mirror": big[:, ::-1],
                     "columns apart": big[:, ::3], "channel": big[..., 1], "turned": big.transpose(1, 0, 2),
                     "other order": big[..., ::-1], "Fortran": numpy.asfortranarray(big), "one row": big[5:6],
                     "one column": big[:, 7:8], "one pixel": big[1:2, 1:2], "one channel": big[..., :1],
                     "rows repeated": numpy.broadcast_to(big[0], big.shape),
                     "columns repeated": numpy.broadcast_to(big[:, :1], big.shape)}
            for name, view in views.items():
                with self.subTest(name=name, dtype=dtype):
                    for format in "png", "j2k":
                        self.assertEqual(moxj.encode(view, format), moxj.encode(view.copy(), format))
                    self.assertTrue(numpy.array_equal(moxj.decode(moxj.encode(view, "png")).reshape(view.shape), view))

    def test_unaligned(self):
        array = numpy.frombuffer(b"\0" + noise((10, 12), "u2").tobytes(), "u1")[1:].view("u2").reshape(10, 12)
        self.assertFalse(array.flags.aligned)
        self.assertEqual(moxj.encode(array, "png"), moxj.encode(array.copy(), "png"))

    def test_read_only(self):
        array = noise((10, 12))
        array.flags.writeable = False
        self.assertSame(moxj.decode(moxj.encode(array, "png")), array)


class Into(PictureTest):
    """Decoding into an existing array."""

    def test_rows_of_any_distance(self):
        for dtype in "u1", "u2":
            array = noise((20, 30, 3), dtype)
            for name in "png", "jp2", "jpg":
                file = moxj.encode(array, name, **LOSSLESS[name])
                big = numpy.zeros((50, 70, 3), dtype)
                for view in big[:20, :30], big[::2][:20, 5:35], big[40:20:-1, 30:60]:
                    big[...] = 7
                    self.assertIs(moxj.decode(file, out=view), view)
                    self.assertSame(view, array, name)
                    self.assertEqual((big == 7).sum() - (array == 7).sum(), big.size - view.size, "nothing else")

    def test_types(self):
        for dtype in "u1", "u2", "i1", "i2":
            for shape in (9, 11), (9, 11, 1), (9, 11, 3), (9, 11, 4):
                array = noise(shape, dtype)
                out = numpy.zeros_like(array)
                self.assertSame(moxj.decode(moxj.encode(array, "j2k"), out=out), array, (dtype, shape))

    def test_depth_of_the_file_where_there_is_room(self):
        array = noise((9, 11), "u2", bits=12)
        file = moxj.encode(array, "j2k", bits=12)
        self.assertSame(moxj.decode(file, out=numpy.zeros((9, 11), "u2")), array)
        self.assertSame(moxj.decode(file, out=numpy.zeros((9, 11), "u4")), array.astype("u4"))
        self.assertSame(moxj.decode(file, out=numpy.zeros((9, 11), "u1")), moxj.decode(file, bits=8))
        self.assertSame(moxj.decode(file, out=numpy.zeros((9, 11), "u2"), bits=16), moxj.decode(file, bits=16))
        self.assertSame(moxj.decode(io.BytesIO(file), out=numpy.zeros((9, 11), "u2")), array)

    def test_layouts(self):
        file = moxj.encode(noise((9, 11, 3)), "png")
        for layout in "rgb", "bgr", "rgba", "bgra", "grey", "grey-alpha", "rgb565", "rgb555":
            expected = moxj.decode(file, layout=layout)
            self.assertSame(moxj.decode(file, layout=layout, out=numpy.zeros_like(expected)), expected, layout)

    def test_what_does_not_fit(self):
        file = moxj.encode(noise((9, 11, 3)), "png")
        frozen = numpy.zeros((9, 11, 3), "u1")
        frozen.flags.writeable = False
        for out in numpy.zeros((11, 9, 3), "u1"), numpy.zeros((9, 11, 3), "f4"), numpy.zeros((9, 11, 3), ">u2"), \
                numpy.zeros((9, 22, 3), "u1")[:, ::2], numpy.zeros((9, 11, 5), "u1"), bytearray(297), frozen, \
                numpy.zeros((9, 11, 3), "i1"):
            with self.assertRaises(moxj.BadArgument):
                moxj.decode(file, out=out)
        self.assertFalse(frozen.any())


class Shared(PictureTest):
    """No copies where the layouts allow."""

    def test_the_array_is_the_memory_of_the_picture(self):
        for array in noise((50, 60)), noise((50, 60, 3)), noise((50, 60, 3), "u2"):
            for name in "png", "jpg", "jp2":
                picture = moxj.read(moxj.encode(array, name, **LOSSLESS[name]))
                self.assertFalse(picture.array.flags.owndata)
                self.assertEqual(type(picture.array.base).__module__, "moxj._native")
                self.assertTrue(numpy.shares_memory(picture.array, picture.planes[0]))
                picture.array[3, 4] = 9
                self.assertTrue((picture.planes[0][3, 4] == 9).all())

    def test_the_memory_lives_as_long_as_an_array(self):
        array = noise((300, 200, 3))
        decoded = moxj.decode(moxj.encode(array, "png"))
        owner = weakref.ref(decoded.base) if hasattr(type(decoded.base), "__weakref__") else None
        row = decoded[100]
        del decoded
        gc.collect()
        others = [numpy.full((300, 200, 3), i, "u1") for i in range(5)]
        self.assertSame(row, array[100])
        del row, others
        gc.collect()
        self.assertTrue(owner is None or owner() is None)

    def test_memory_is_given_back(self):
        """Twenty pictures of 48 MB one after the other, within the memory of a few."""
        import resource
        file = moxj.encode(numpy.zeros((4000, 4000, 3), "u1"), "png")
        before = resource.getrusage(resource.RUSAGE_SELF).ru_maxrss
        for _ in range(20):
            moxj.decode(file)[0, 0, 0]
        self.assertLess(resource.getrusage(resource.RUSAGE_SELF).ru_maxrss - before, 200 * 1024)

    def test_planes_are_apart(self):
        planes = moxj.decode(moxj.encode(smooth(33, 41), "jpg"), layout="ycbcr")
        for i, plane in enumerate(planes):
            self.assertFalse(plane.flags.owndata)
            for other in planes[i + 1:]:
                self.assertFalse(numpy.may_share_memory(plane, other))


class Files(PictureTest):
    def test_every_kind_of_source(self):
        array = noise((9, 11, 3))
        data = moxj.encode(array, "png")
        path = self.directory / "päth with ünicode.png"
        path.write_bytes(data)

        class Reader:
            """No more than a few bytes at a time, as a pipe does."""

            def __init__(self):
                self.left = data

            def read(self, size):
                piece, self.left = self.left[:min(size, 7)], self.left[min(size, 7):]
                return bytearray(piece)

        with open(path, "rb") as file, mmap.mmap(file.fileno(), 0, access=mmap.ACCESS_READ) as mapped:
            for source in data, bytearray(data), memoryview(data), numpy.frombuffer(data, "u1"), path, str(path), \
                    io.BytesIO(data), file, mapped, Reader():
                self.assertSame(moxj.decode(source), array, type(source))
        with open(path, "rb", buffering=0) as file:
            self.assertSame(moxj.decode(file), array)

    def test_every_kind_of_target(self):
        array = noise((90, 110, 3))
        data = moxj.encode(array, "png")
        path = self.directory / "out.png"
        self.assertIsNone(moxj.encode(array, to=path))
        self.assertEqual(path.read_bytes(), data)
        self.assertIsNone(moxj.encode(array, to=str(path) + ".j2k"))
        self.assertEqual(moxj.probe(str(path) + ".j2k"), "j2k")

        class Slow:
            """Takes a few bytes of what it is given, as a raw file may."""

            def __init__(self):
                self.got = bytearray()

            def write(self, piece):
                self.got += piece[:1000]
                return min(len(piece), 1000)

        for target in io.BytesIO(), Slow():
            self.assertIsNone(moxj.encode(array, "png", to=target))
            self.assertEqual(target.got if isinstance(target, Slow) else target.getvalue(), data)
        self.assertEqual(sorted(entry.name for entry in self.directory.iterdir()), ["out.png", "out.png.j2k"])

    def test_what_is_no_source_or_target(self):
        for source in None, 5, [b"x"]:
            with self.assertRaises(TypeError):
                moxj.decode(source)
        with self.assertRaises(TypeError):
            moxj.decode(io.StringIO("text"))
        with self.assertRaises(TypeError):
            moxj.encode(noise((3, 3)), "png", to=5)
        with self.raises(moxj.BadOption, "must be given", option="format"):
            moxj.encode(noise((3, 3)))
        with self.raises(moxj.BadOption, "extension", option="format"):
            moxj.encode(noise((3, 3)), to=self.directory / "name.unknown")
        with self.raises(moxj.BadOption, "gif", option="format"):
            moxj.encode(noise((3, 3)), "gif")

    def test_formats(self):
        formats = {each.name: each for each in moxj.formats()}
        self.assertEqual(set(formats), {"jpg", "jp2", "j2k", "png", "ppm", "pgm", "pnm", "pam", "pbm", "pgx", "bmp",
                                        "tif", "raw", "rawl"})
        self.assertIn("jpeg", formats["jpg"].extensions)
        self.assertEqual([name for name in formats if formats[name].coded], ["jpg", "jp2", "j2k"])
        black = numpy.zeros((5, 6), numpy.uint8)
        for name in formats:
            found = {"ppm": "pnm", "pgm": "pnm", "raw": None, "rawl": None}.get(name, name)
            with warnings.catch_warnings():
                warnings.simplefilter("ignore", moxj.NoteWarning)  # a bitmap has samples of one bit
                self.assertEqual(moxj.probe(moxj.encode(black, name)), found)
        self.assertIsNone(moxj.probe(b"no picture"))

    def test_convert(self):
        array = smooth(40, 50)
        data = moxj.encode(array, "png")
        self.assertEqual(moxj.convert(data, "jp2"), moxj.encode(array, "jp2"))
        self.assertEqual(moxj.convert(data, "jpeg", quality=50), moxj.encode(array, "jpeg", quality=50))
        path = self.directory / "half.png"
        moxj.convert(moxj.convert(data, "jp2"), to=path, reading={"reduce": 1})
        self.assertEqual(moxj.decode(path).shape, (20, 25, 3))
        with self.assertRaises(TypeError):
            moxj.convert(data, "png", reading={"quality": 5})

    def test_transcode(self):
        data = moxj.encode(smooth(80, 90), "jpg")
        small = moxj.transcode(data, progressive=True)
        self.assertSame(moxj.decode(small), moxj.decode(data))
        self.assertEqual(moxj.info(small)["process"], "progressive")
        self.assertLess(len(moxj.transcode(data)), len(data))
        moxj.transcode(data, to=self.directory / "t.jpg", sequential=True)
        self.assertEqual((self.directory / "t.jpg").read_bytes(), moxj.transcode(data, sequential=True))

    def test_forms_of_jpeg(self):
        array = smooth(80, 90)
        info = moxj.info(moxj.encode(array, "jpg", sample="1x1,2x1,1x1", quality=(90, 80)))
        self.assertEqual([(c["horizontal"], c["quantTable"]) for c in info["components"]], [(1, 0), (2, 1), (1, 1)])
        self.assertEqual(moxj.info(moxj.encode(array, "jpg", sample="411"))["sampling"], "4:1:1")
        self.assertEqual(moxj.info(moxj.encode(array, "jpg", rgb=True))["colour"], "RGB")
        deep = moxj.encode(noise((20, 30), "u2", bits=12), "jpg", bits=12, depth=12, quality=100)
        self.assertEqual((moxj.info(deep)["bits"], moxj.read(deep).bits), (12, 12))
        two = moxj.encode(array, "jpg") + moxj.encode(array[::-1].copy(), "jpg")
        self.assertEqual(moxj.info(two)["pictures"], 2)
        self.assertSame(moxj.decode(two, picture=2), moxj.decode(moxj.transcode(two, picture=2)))

    def test_transforms(self):
        data = moxj.encode(smooth(80, 90), "jpg", sample="4:4:4")

        def turned(**options):
            return moxj.decode(moxj.transcode(data, **options)).astype(int)

        picture = turned()
        whole = picture[:, :88]
        for transform, expected in (("flip-horizontal", whole[:, ::-1]), ("flip-vertical", whole[::-1]),
                                    ("transpose", whole.transpose(1, 0, 2)), ("rotate-90", numpy.rot90(whole, -1)),
                                    ("rotate-180", numpy.rot90(whole, 2)), ("rotate-270", numpy.rot90(whole)),
                                    ("transverse", numpy.rot90(whole, 2).transpose(1, 0, 2))):
            got = turned(transform=transform, trim=True)
            if transform in ("flip-vertical", "transpose", "rotate-90"):  # these do not mirror the right edge
                got = got[:, :88] if transform == "flip-vertical" else got[:88]
            self.assertLessEqual(abs(got - expected).max(), 3, transform)
        planes, cropped = (moxj.decode(file, layout="ycbcr")
                           for file in (data, moxj.transcode(data, crop=(17, 9, 30, 20))))
        for plane, part in zip(planes, cropped, strict=True):
            self.assertSame(part, plane[8:29, 16:47])
        self.assertEqual(turned(grayscale=True, transform="transpose", perfect=True).shape, (90, 80))
        with self.assertWarns(moxj.NoteWarning):
            self.assertEqual(turned(transform="rotate-180").shape, (80, 90, 3))
        for options in ({"transform": "rotate-180", "perfect": True}, {"trim": True}, {"transform": "rotate-45"},
                        {"crop": (0, 0, 91, 1)}, {"crop": (0, 0, 5, 0)}, {"crop": 5}, {"crop": (-1, 0, 5, 5)}):
            with self.assertRaises(moxj.BadOption, msg=options):
                moxj.transcode(data, **options)

    def test_info_and_compare(self):
        array = smooth(40, 50)
        png, jpg = moxj.encode(array, "png"), moxj.encode(array, "jpg")
        info = moxj.info(jpg)
        self.assertEqual((info["format"], info["width"], info["height"], info["quality"]), ("JPEG", 50, 40, 75))
        same = moxj.compare(png, png)
        self.assertEqual((same["width"], same["height"], same["bits"]), (50, 40, 8))
        self.assertEqual(same["all"], {"mse": 0, "psnr": float("inf"), "ssim": 1, "max": 0})
        other = moxj.compare(png, jpg)
        self.assertEqual(list(other["channels"]), ["red", "green", "blue"])
        difference = array.astype(float) - moxj.decode(jpg)
        self.assertAlmostEqual(other["all"]["mse"], numpy.mean(difference ** 2), 9)
        self.assertEqual(other["channels"]["blue"]["max"], numpy.abs(difference[..., 2]).max())


class Options(PictureTest):
    """Each option reaches the codec: it changes the file, or what is read of it."""

    def test_of_writing(self):
        array = smooth(70, 90)
        for format, options in {
                "jpg": [{"quality": 30}, {"sample": "4:4:4"}, {"sample": "422"}, {"grayscale": True},
                        {"progressive": True}, {"scans": "0 1 2: 0-0, 0, 0;\n0: 1-63, 0, 0;\n1: 1-63, 0, 0;\n"
                                                         "2: 1-63, 0, 0;\n"},
                        {"optimize": True}, {"fast_mcu": True}, {"restart": 3}, {"restart": 1, "restart_in_rows": True},
                        {"lossless": True}, {"lossless": True, "predictor": 1}, {"lossless": True, "point": 2}],
                "j2k": [{"ratio": 8}, {"bpp": 2.5}, {"levels": 2}, {"levels": 0}, {"block": (32, 16)}, {"block": 32},
                        {"tile": (50, 40)}, {"tile": 32}, {"progression": "rpcl"}, {"layers": 3, "ratio": 8},
                        {"modes": ["bypass", "reset"]}, {"modes": "causal,segsym"}, {"modes": ["termall"]},
                        {"modes": ["pterm"]}, {"ratio": [30, 10, 1]}, {"bpp": (0.5, 3)}, {"psnr": 35},
                        {"psnr": [30, 0]},
                        {"precincts": [(64, 64), 32]}, {"sop": True}, {"eph": True}, {"plt": True}, {"tlm": True},
                        {"tile_parts": "resolutions"}, {"roi": (5, 5, 20, 20)}, {"ratio": 8, "visual": True},
                        {"comment": "by the test"}]}.items():
            files = [moxj.encode(array, format), *(moxj.encode(array, format, **each) for each in options)]
            self.assertEqual(len(set(files)), len(files), format)
            for file in files:
                self.assertGreater(psnr(moxj.decode(file) if moxj.decode(file).ndim == 3 else array, array), 20)

    def test_levels_are_counted_from_0(self):
        for levels in 0, 1, 5, 7:
            self.assertEqual(moxj.info(moxj.encode(noise((20, 30)), "j2k", levels=levels))["levels"], levels)

    def test_of_reading(self):
        array = smooth(70, 90)
        jpg, j2k = moxj.encode(array, "jpg"), moxj.encode(array, "j2k", layers=3, ratio=6)
        self.assertEqual(moxj.decode(j2k, reduce=2).shape, (18, 23, 3))
        whole = moxj.decode(j2k)
        self.assertFalse(numpy.array_equal(moxj.decode(j2k, layers=1), whole))
        self.assertSame(moxj.decode(j2k, threads=3), whole)
        for option in {"smooth": False}, {"fast_mcu": True}:
            self.assertFalse(numpy.array_equal(moxj.decode(jpg, **option), moxj.decode(jpg)), option)

    def test_regions(self):
        array = smooth(70, 90)
        tiled = moxj.encode(array, "jp2", tile=(40, 30))
        for file in moxj.encode(array, "jpg"), tiled, moxj.encode(array, "png"):
            whole = moxj.decode(file)
            self.assertSame(moxj.decode(file, region=(13, 21, 40, 30)), whole[21:51, 13:53])
            part = numpy.zeros((30, 40, 3), numpy.uint8)
            moxj.decode(file, region=(13, 21, 40, 30), out=part)
            self.assertSame(part, whole[21:51, 13:53])
        self.assertSame(moxj.decode(tiled, tile=4), moxj.decode(tiled)[30:60, 40:80])
        self.assertEqual(moxj.decode(moxj.encode(array, "jpg"), reduce=3).shape, (9, 12, 3))

    def test_metadata_of_what_is_read(self):
        blocks = moxj.metadata(moxj.encode(noise((5, 5)), "jpg"))
        self.assertTrue(all(isinstance(block, moxj.Metadata) for block in blocks))

    def test_pictures_are_turned_upright(self):
        exif = b"MM\0*" + struct.pack(">IHHHIHHI", 8, 1, 0x112, 3, 1, 6, 0, 0)
        array = noise((5, 9, 3))
        file = moxj.encode(array, "png", exif=exif)
        numpy.testing.assert_array_equal(moxj.decode(file, orient=True), numpy.rot90(array, -1))
        picture = moxj.read(file, orient=True)
        self.assertEqual(picture.exif[19], 1)
        self.assertEqual(moxj.read(file).exif, exif)

    def test_resolution(self):
        array = noise((5, 9, 3))
        for name in "jpg", "png", "jp2":
            for given, expected in (300, (300, 300)), ((300, 150), (300, 150)):
                file = moxj.encode(array, name, resolution=given)
                numpy.testing.assert_allclose(moxj.read(file).resolution, expected, rtol=1e-4)
                again = moxj.encode(array, "jpg", metadata=moxj.read(file).metadata)
                numpy.testing.assert_allclose(moxj.read(again).resolution, expected, rtol=1e-4)
                self.assertIsNone(moxj.read(moxj.encode(array, name, resolution=given, strip="resolution")).resolution)
            self.assertIsNone(moxj.read(moxj.encode(array, name)).resolution)
        with self.raises(moxj.BadOption, option="resolution"):
            moxj.encode(array, "png", resolution=(1, 2, 3))
        with self.raises(moxj.BadArgument, "above 0"):
            moxj.encode(array, "png", resolution=0)

    def test_strip(self):
        exif = b"MM\0*" + struct.pack(">IHHHIHHI", 8, 1, 0x112, 3, 1, 6, 0, 0)
        array = noise((16, 16, 3))
        given = {"exif": exif, "xmp": b"<x/>", "metadata": [moxj.Metadata("iptc", b"\x1c\2\5\0\1x")]}
        file = moxj.encode(array, "jpg", **given)
        kinds = {"exif", "xmp", "iptc"}
        for strip, dropped in ((False, set()), (True, kinds), ("exif, xmp", {"exif", "xmp"}), (["iptc"], {"iptc"})):
            for made in (self.quiet(moxj.encode, array, "jpg", strip=strip, **given),
                         moxj.transcode(file, strip=strip), self.quiet(moxj.convert, file, "png", strip=strip)):
                self.assertEqual({block.kind for block in moxj.metadata(made)}, kinds - dropped, strip)
        with self.raises(moxj.BadOption, option="strip"):
            moxj.transcode(file, strip="colour")

    def quiet(self, call, *arguments, **options):
        with warnings.catch_warnings():
            warnings.simplefilter("ignore")
            return call(*arguments, **options)

    def test_transcoding_turns_upright(self):
        exif = b"MM\0*" + struct.pack(">IHHHIHHI", 8, 1, 0x112, 3, 1, 6, 0, 0)
        file = moxj.encode(smooth(32, 48), "jpg", exif=exif)
        upright = moxj.transcode(file, orient=True)
        self.assertEqual(moxj.read(upright).exif[19], 1)
        self.assertSame(moxj.decode(upright), moxj.decode(moxj.transcode(file, transform="rotate-90")))
        with self.raises(moxj.BadOption, option="orient"):
            moxj.transcode(file, orient=True, transform="rotate-90")

    def test_colours_are_converted_to_srgb(self):
        array = numpy.arange(256, dtype=numpy.uint8).reshape(16, 16)
        file = moxj.encode(array, "png")
        body = b"gAMA" + struct.pack(">I", 100000)  # light itself
        file = file[:33] + struct.pack(">I", 4) + body + struct.pack(">I", zlib.crc32(body)) + file[33:]
        light = array / 255
        code = numpy.where(light <= 0.0031308, light * 12.92, 1.055 * light ** (1 / 2.4) - 0.055)
        numpy.testing.assert_allclose(moxj.decode(file, srgb=True), code * 255, atol=0.51)
        with self.assertRaises(moxj.BadOption):
            moxj.decode(file, srgb=True, components=True)

    def test_inks_in_jpeg(self):
        inks = numpy.dstack([smooth(40, 60), smooth(40, 60)[:, :, 0]])
        for options in {"cmyk": True}, {"sample": "4:4:4"}:
            file = moxj.encode(inks, "jpg", layout="cmyk", quality=100, **options)
            found = moxj.decode(file, layout="cmyk").astype(int)
            self.assertLessEqual(abs(found - inks).max(), 4)

    def test_metadata_is_written_or_its_loss_is_said(self):
        given = {"icc": b"profile " * 20, "exif": b"II*\0" + bytes(40), "xmp": b"<x:xmpmeta/>"}
        for name in "jpg", "jp2", "png":
            for kind, data in given.items():
                with warnings.catch_warnings(record=True) as caught:
                    warnings.simplefilter("always")
                    file = moxj.encode(noise((8, 8, 3)), name, **{kind: data})
                kept = {block.kind: block.data for block in moxj.metadata(file)}
                lost = [warning for warning in caught if warning.category is moxj.NoteWarning]
                self.assertTrue(kept.get(kind) == data or lost, (name, kind))
                self.assertEqual(getattr(moxj.read(file), kind), kept.get(kind))


if __name__ == "__main__":
    unittest.main()

#!/usr/bin/env python3
"""The codecs for numcodecs: every shape and type comes back, in Zarr too; damage is an error."""

import json
import struct
import unittest

import moxj
import numpy
from support import *

try:
    import numcodecs
    from moxj.numcodecs import Jpeg, Jpeg2000, JpegLossless
except ImportError:
    pass  # the tests are skipped

SHAPES = ((20, 30), (20, 30, 1), (20, 30, 2), (20, 30, 3), (20, 30, 4), (1, 20, 30), (1, 1, 20, 30), (5, 20, 30),
          (2, 3, 10, 12), (2, 3, 10, 12, 3), (1, 30), (30, 1), (1, 1))


@needs("numcodecs")
class Codecs(PictureTest):
    def check(self, codec, array):
        """Encodes, and decodes in every way; returns the result in the shape of the array."""
        data = codec.encode(array)
        self.assertIsInstance(data, bytes)
        decoded = codec.decode(data)
        # As numcodecs has it: the bytes are those of the array's memory, in its order.
        order = "F" if array.flags.f_contiguous and not array.flags.c_contiguous else "C"
        result = decoded.reshape(-1, order="A").view(array.dtype).reshape(array.shape, order=order)
        for out in numpy.empty_like(array), numpy.empty(array.size, array.dtype), bytearray(array.nbytes):
            self.assertIsNotNone(codec.decode(data, out))
            flat = numpy.frombuffer(out, array.dtype) if isinstance(out, bytearray) else out
            self.assertSame(flat.reshape(array.shape, order=order) if flat.ndim == 1 else flat, result)
        for kind in bytearray, memoryview, lambda data: numpy.frombuffer(data, "u1"):
            self.assertTrue(numpy.array_equal(codec.decode(kind(data)), decoded))
        return result

    def test_lossless_shapes_and_types(self):
        for codec, types in (Jpeg2000(), ("u1", "u2", "i1", "i2", ">u2", ">i2", "?")), \
                (JpegLossless(), ("u1", "u2", ">u2")):
            for dtype in types:
                for shape in SHAPES:
                    with self.subTest(codec=codec.codec_id, dtype=dtype, shape=shape):
                        array = noise(shape, dtype)
                        self.assertSame(self.check(codec, array), array)
                        self.assertSame(self.check(codec, numpy.asfortranarray(array)), array)
                        self.assertSame(codec.decode(codec.encode(numpy.repeat(array, 2, 0)[::2])).reshape(shape)
                                        .view(dtype), array)

    def test_lossy_shapes(self):
        grey = smooth(40, 50, 1)
        for array in grey, smooth(40, 50), grey[None], numpy.stack([grey, grey[::-1], grey]), \
                grey[None, None, ..., None], numpy.stack([[smooth(40, 50)] * 2] * 3), \
                numpy.dstack([smooth(40, 50), grey]):
            for codec in Jpeg(quality=90), Jpeg2000(ratio=3):
                with self.subTest(codec=codec.codec_id, shape=array.shape):
                    self.assertGreater(psnr(self.check(codec, array), array), 30)

    def test_any_number_of_channels(self):
        for channels in 1, 2, 3, 4, 5, 9:
            array = noise((12, 14, channels), "u2")
            for codec in Jpeg2000(channels="last"), Jpeg2000(channels=None), JpegLossless(channels="last"):
                self.assertSame(self.check(codec, array), array)

    def test_a_fourth_channel_survives_jpeg(self):
        array = numpy.dstack([smooth(64, 64), smooth(64, 64, 1)[::-1]])
        result = self.check(Jpeg(quality=90), array)
        for channel in range(4):
            self.assertGreater(psnr(result[..., channel], array[..., channel]), 30)

    def test_a_single_picture_is_a_plain_file(self):
        for codec, name in (Jpeg2000(), "j2k"), (Jpeg2000(format="jp2"), "jp2"), (JpegLossless(), "jpg"), \
                (Jpeg(), "jpg"):
            for shape in (20, 30), (20, 30, 3), (1, 1, 20, 30):
                data = codec.encode(noise(shape))
                self.assertEqual(moxj.probe(data), name)
                self.assertEqual(moxj.info(data)["width"], 30)
        stack = Jpeg2000().encode(noise((2, 20, 30)))
        self.assertIsNone(moxj.probe(stack))
        self.assertEqual(stack[:8], b"MOXJSTK1")

    def test_options_reach_the_file(self):
        array = smooth(100, 120)
        info = moxj.info(Jpeg2000(levels=2, block=[32, 16], tile=50, progression="RPCL", layers=3, ratio=8,
                                  modes=["causal"]).encode(array))
        self.assertEqual([info[name] for name in ("levels", "blockWidth", "blockHeight", "tileWidth", "progression",
                                                  "layers", "wavelet", "modes")],
                         [2, 32, 16, 50, "RPCL", 3, "9/7", "causal"])
        self.assertLessEqual(len(Jpeg2000(bpp=2).encode(array)), 100 * 120 * 2 // 8)
        info = moxj.info(Jpeg(quality=40, sample="4:4:4", progressive=True).encode(array))
        self.assertEqual([info[name] for name in ("quality", "sampling", "process")], [40, "4:4:4", "progressive"])
        self.assertEqual(moxj.info(JpegLossless(predictor=4).encode(array))["scans"][0]["spectralStart"], 4)
        self.assertEqual(moxj.info(Jpeg2000(bits=12).encode(noise((9, 9), "u2", bits=12)))["components"][0]["bits"], 12)

    def test_significant_bits(self):
        for bits in 2, 7, 8, 9, 12, 16:
            array = noise((12, 14), "u2", bits=bits)
            for codec in Jpeg2000(bits=bits), JpegLossless(bits=bits):
                self.assertSame(self.check(codec, array), array)
                if bits < 16:
                    with self.assertRaisesRegex(ValueError, f"more than the {bits} bits"):
                        codec.encode(array + numpy.uint16(1 << bits))
        signed = noise((12, 14), "u2", bits=12).astype("i2") - 2048
        self.assertSame(self.check(Jpeg2000(bits=12), signed), signed)
        with self.assertRaises(ValueError):
            Jpeg2000(bits=11).encode(signed)

    def test_configurations(self):
        for codec in Jpeg2000(), Jpeg2000(ratio=7.5, levels=3, block=(32, 64), tile=(64, 64), progression="CPRL",
                                          layers=2, modes=["reset"], bits=12, channels=None, format="jp2"), \
                JpegLossless(predictor=3, bits=9, channels="last"), Jpeg(quality=3, sample="4:4:4", progressive=True):
            config = json.loads(json.dumps(codec.get_config()))
            again = numcodecs.get_codec(config)
            self.assertEqual(again, codec)
            self.assertIs(type(again), type(codec))
            self.assertEqual(again.get_config(), codec.get_config())
            self.assertEqual(eval(repr(codec)), codec)
        for wrong in {"bits": 17}, {"bits": 0}, {"channels": "first"}, {"format": "png"}, {"quality": 3}:
            with self.assertRaises((ValueError, TypeError)):
                Jpeg2000(**wrong)

    def test_what_is_no_chunk_of_pictures(self):
        for codec, array, kind in (Jpeg2000(), numpy.zeros(10, "u1"), ValueError), (Jpeg(), b"bytes", TypeError), \
                (Jpeg2000(), numpy.zeros((0, 5), "u1"), ValueError), (Jpeg2000(), numpy.zeros((5, 5)), TypeError), \
                (Jpeg2000(), numpy.zeros((5, 5), "u4"), TypeError), (Jpeg(), numpy.zeros((5, 5), "u2"), TypeError), \
                (JpegLossless(), numpy.zeros((5, 5), "i2"), TypeError):
            with self.assertRaisesRegex(kind, codec.codec_id):
                codec.encode(array)

    def test_damage_is_an_error(self):
        """Cut at every place, and with every byte of the index changed: an error or the same samples, never others."""
        array = noise((3, 9, 11), "u2")
        for codec, chunk in (Jpeg2000(), array), (Jpeg2000(), array[0]), (JpegLossless(), array[0]):
            data = codec.encode(chunk)
            for length in range(len(data)):
                try:
                    self.assertSame(codec.decode(data[:length]), chunk, length)  # an end marker may be missing
                except moxj.Error:
                    continue
        data = Jpeg2000().encode(array)
        for place in range(18 + 8 * 3 + 8 * 3):
            for change in 1, 128, 255:
                damaged = bytearray(data)
                damaged[place] ^= change
                try:
                    result = Jpeg2000().decode(bytes(damaged))
                except moxj.Error:
                    continue
                # The type, the depth and the order of the memory are what the index alone knows.
                self.assertIn(place, (8, 9, 10, 12, 14, 15), change)
                self.assertEqual(result.shape, array.shape)

    def test_a_stack_that_claims_much(self):
        data = Jpeg2000().encode(noise((3, 9, 11)))
        head = 18
        for shape in (1 << 60, 9, 11), (3, 1 << 40, 11), (3, 9, 1 << 31), (0, 9, 11), (3, 11, 9):
            claim = bytearray(data)
            struct.pack_into("<3Q", claim, head, *shape)
            with self.assertRaises(moxj.Damaged):
                Jpeg2000().decode(bytes(claim))

    def test_the_wrong_shape_is_an_error(self):
        data = Jpeg2000().encode(noise((9, 11)))
        for shape in (11, 9), (9, 12), (9, 11, 3):
            with self.assertRaises(moxj.Damaged):
                Jpeg2000().decode(data, numpy.zeros(shape, "u1"))


@needs("numcodecs", "zarr")
class InZarr(PictureTest):
    def test_arrays(self):
        import zarr
        volume = noise((5, 70, 90), "u2", bits=12)
        picture = numpy.dstack([smooth(100, 120), smooth(100, 120, 1)])
        for array, chunks in (volume, (1, 32, 64)), (volume, (3, 50, 50)), (picture, (40, 50, 4)), \
                (picture, (40, 50, 3)), (volume.astype("i2") - 2000, (2, 64, 64)), (volume > 2000, (1, 64, 64)):
            for order in "CF":
                for codec in Jpeg2000(), Jpeg2000(format="jp2", block=32):
                    store = zarr.DirectoryStore(str(self.directory / f"{len(list(self.directory.iterdir()))}.zarr"))
                    made = zarr.array(array, chunks=chunks, order=order, store=store, compressor=codec)
                    self.assertSame(made[:], array)
                    there = zarr.open(store.path, mode="r")
                    self.assertEqual(there.compressor, codec)
                    self.assertSame(there[1:4, 10:60, 1:], array[1:4, 10:60, 1:])
        made = zarr.array(volume, chunks=(1, 32, 32), compressor=JpegLossless())
        made[2, 10:40, 5:50] = 77  # parts of chunks
        volume[2, 10:40, 5:50] = 77
        self.assertSame(made[:], volume)

    def test_lossy_arrays(self):
        import zarr
        array = numpy.stack([smooth(128, 128)] * 3)
        for codec in Jpeg(quality=92), Jpeg2000(ratio=6):
            made = zarr.array(array, chunks=(1, 64, 64, 3), compressor=codec)
            self.assertGreater(psnr(made[:], array), 30)
            self.assertLess(made.nbytes_stored, array.nbytes / 4)

    def test_a_damaged_chunk_is_an_error(self):
        import zarr
        made = zarr.array(noise((64, 64)), chunks=(32, 32), compressor=Jpeg2000())
        made.store["1.0"] = made.store["1.0"][:400]
        self.assertEqual(made[:32].shape, (32, 64))
        with self.assertRaises(moxj.Damaged):
            made[:]


if __name__ == "__main__":
    unittest.main()

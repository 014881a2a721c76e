"""Codecs for numcodecs, and so for Zarr: each chunk of an array is stored as pictures.

    import zarr, moxj.numcodecs
    zarr.array(volume, chunks=(1, 512, 512), compressor=moxj.numcodecs.Jpeg2000())

moxj_jpeg2000      Jpeg2000: lossless by default, or to a size (ratio, bpp)
moxj_jpeg_lossless JpegLossless: lossless
moxj_jpeg          Jpeg: lossy, 8 bits

Chunks have the shape (height, width), (height, width, channels) or any number of dimensions before these, such as
(time, z, height, width): each picture of height x width is coded separately. A chunk that is a single picture is stored
as a file that every decoder of its format reads. Other chunks are stored as several such files after a small index (see
_Stack): stacks, channels that the format does not take in one picture, arrays in Fortran's order, big-endian samples.

After installation numcodecs finds the codecs by their names; importing this module registers them as well.
"""

import math
import struct

import numpy
from numcodecs.abc import Codec
from numcodecs.compat import ensure_contiguous_ndarray, ndarray_copy
from numcodecs.registry import register_codec

import moxj

__all__ = ["Jpeg", "Jpeg2000", "JpegLossless"]


class _Stack:
    """Several pictures after an index. All numbers are little-endian:

    offset  bytes
    0       8      b"MOXJSTK1"
    8       4      the type of the samples as NumPy writes it: "<u2", padded with zero bytes
    12      1      significant bits
    13      1      the number of dimensions n
    14      1      the order of the samples in memory: C or F
    15      1      0
    16      2      the number of groups g into which the last dimension, channels, is split; 0: the last is the width
    18      8n     the shape
    ...     2g     the number of channels of each group
    ...     8m     the size of each picture, in the order of the shape, groups last; m follows from shape and groups
    ...            the pictures
    """

    MAGIC = b"MOXJSTK1"
    _HEAD = struct.Struct("<8s4sBBcxH")

    def __init__(self, dtype, bits, shape, order, groups):
        self.dtype, self.bits, self.shape, self.order = numpy.dtype(dtype), bits, tuple(shape), order
        self.groups = tuple(groups)

    def places(self):
        """For each picture its index in the dimensions before height, and its channels (None: there are none)."""
        before = self.shape[:-3] if self.groups else self.shape[:-2]
        first = numpy.cumsum((0,) + self.groups).tolist()
        slices = [slice(a, b) for a, b in zip(first, first[1:])] or [None]
        return ((index, channels) for index in numpy.ndindex(*before) for channels in slices)

    def count(self):
        return math.prod(self.shape[:-3] if self.groups else self.shape[:-2]) * max(len(self.groups), 1)

    def join(self, pictures):
        pictures = list(pictures)
        return b"".join([
            self._HEAD.pack(self.MAGIC, self.dtype.str.encode(), self.bits, len(self.shape), self.order.encode(),
                            len(self.groups)),
            struct.pack(f"<{len(self.shape)}Q{len(self.groups)}H{len(pictures)}Q", *self.shape, *self.groups,
                        *map(len, pictures)), *pictures])

    @classmethod
    def split(cls, data):
        """The stack that `data` begins with, and its pictures. Raises moxj.Damaged."""
        try:
            _, dtype, bits, dimensions, order, groups = cls._HEAD.unpack_from(data)
            numbers = struct.unpack_from(f"<{dimensions}Q{groups}H", data, cls._HEAD.size)
            stack = cls(dtype.rstrip(b"\0").decode(), bits, numbers[:dimensions], order.decode(), numbers[dimensions:])
            position = cls._HEAD.size + 8 * dimensions + 2 * groups
            # A false count is met before anything is made of it.
            if dimensions < (3 if groups else 2) or groups and sum(stack.groups) != stack.shape[-1] or \
                    not 0 < 8 * stack.count() <= len(data) - position or \
                    stack.dtype.kind not in "uib" or stack.order not in "CF":
                raise ValueError
            sizes = struct.unpack_from(f"<{stack.count()}Q", data, position)
            position += 8 * len(sizes)
            if sum(sizes) != len(data) - position:
                raise ValueError
        except (struct.error, ValueError, TypeError):
            raise moxj.Damaged("the index of a stack of pictures is damaged or cut off") from None
        pictures = []
        for size in sizes:
            pictures.append(data[position:position + size])
            position += size
        return stack, pictures


def _type_of(bits, kind):
    """The type of a chunk that is stored without an index."""
    return numpy.dtype(f"<{kind}{1 if bits <= 8 else 2}")


def _bytes(array):
    """bool samples as bytes of 0 and 1."""
    return array.view(numpy.uint8) if array.dtype == bool else array


def _fill(data, place, bits=None):
    """Decodes a picture into an array. One of another kind, or one that is cut off, is damage. `bits` None: those of
    the picture, which must be those of the array's type."""
    place = place[..., 0] if place.ndim == 3 and place.shape[2] == 1 else place
    width, height, channels, depth = moxj._facts(data)
    if (height, width, channels) != (*place.shape, 1)[:3] or \
            bits is None and _type_of(depth, place.dtype.kind).itemsize != place.dtype.itemsize:
        raise moxj.Damaged(f"a picture of {width} x {height} pixels, {channels} channels and {depth} bits does not fit "
                           f"its chunk")
    straight = place.dtype.isnative and place[0].flags.c_contiguous
    target = place if straight else numpy.empty(place.shape, place.dtype.newbyteorder("="))
    try:
        warning, _ = moxj._decode_into(data, target, bits or depth)
    except moxj.BadArgument as error:
        raise moxj.Damaged(f"a picture does not fit its chunk: {error}") from None
    if warning:
        raise moxj.Damaged(warning)
    if not straight:
        place[...] = target


class _Pictures(Codec):
    """What the codecs share. Each has _TYPES, the samples that it takes, and _TOGETHER, the numbers of channels that it
    codes in one picture."""

    _TYPES = ("u1", "u2")
    _TOGETHER = (1, 3)
    bits = None
    channels = "auto"

    def _options(self):
        """(format, options) of moxj.encode()."""
        raise NotImplementedError

    def _set_channels(self, channels):
        if channels not in ("auto", "last", None):
            raise ValueError(f"channels is \"auto\", \"last\" or None, not {channels!r}")
        self.channels = channels

    def _groups(self, shape):
        """How many channels go into each picture; () if the last dimension is the width."""
        if len(shape) < 3 or self.channels is None or self.channels == "auto" and shape[-1] > 4:
            return ()
        count = shape[-1]
        if count in self._TOGETHER:
            return (count,)
        return (3, 1) if count == 4 else (1,) * count

    def _bits(self, array):
        """The significant bits of the samples. Samples that need more would not come back."""
        kind, room = array.dtype.kind, 1 if array.dtype == bool else array.dtype.itemsize * 8
        if self.bits is None or kind == "b":
            return room
        low, high = (-(1 << self.bits - 1), (1 << self.bits - 1) - 1) if kind == "i" else (0, (1 << self.bits) - 1)
        if self.bits < room and (array.max() > high or array.min() < low):
            raise ValueError(f"samples need more than the {self.bits} bits of the codec")
        return min(self.bits, room)

    def encode(self, buf):
        """Encodes a chunk of at least two dimensions; returns bytes."""
        array = numpy.asarray(buf)
        if array.dtype.str[1:] not in self._TYPES:
            raise TypeError(f"{self.codec_id} codes samples of {', '.join(self._TYPES)}, not {array.dtype.str[1:]}")
        if array.ndim < 2 or array.size == 0:
            raise ValueError(f"{self.codec_id} needs chunks of at least two dimensions, not of shape {array.shape}")
        order = "F" if array.flags.f_contiguous and not array.flags.c_contiguous else "C"
        stack = _Stack(array.dtype, self._bits(array), array.shape, order, self._groups(array.shape))
        format, options = self._options()
        pictures = [moxj._encode_quietly(array[index] if channels is None else array[index][..., channels], format,
                                         stack.bits, options)
                    for index, channels in stack.places()]
        plain = order == "C" and (array.dtype == bool or array.dtype.str == _type_of(stack.bits, array.dtype.kind).str)
        return pictures[0] if len(pictures) == 1 and plain else stack.join(pictures)

    def decode(self, buf, out=None):
        """Decodes a chunk; returns an array, which is `out` if it is given. A chunk stored as a single file comes back
        without the dimensions of size 1 before and after height and width. Raises moxj.Damaged for a chunk that is not
        complete."""
        data = memoryview(ensure_contiguous_ndarray(buf)).cast("B")
        if bytes(data[:len(_Stack.MAGIC)]) == _Stack.MAGIC:
            return self._decode_stack(data, out)
        if isinstance(out, numpy.ndarray) and out.flags.c_contiguous and out.ndim >= 2:
            shape = out.shape[next((i for i, size in enumerate(out.shape[:-2]) if size != 1), out.ndim - 2):]
            if len(shape) == 2 or len(shape) == 3 and shape[2] in self._TOGETHER:
                _fill(data, _bytes(out).reshape(shape))
                return out
        picture = moxj.read(data)
        if not picture.complete:
            raise moxj.Damaged(picture.warning)
        array = picture.array
        dtype = _type_of(picture.bits, array.dtype.kind)
        array = array if array.dtype == dtype else array.astype(dtype)
        return array if out is None else ndarray_copy(array, out)

    def _decode_stack(self, data, out):
        stack, pictures = _Stack.split(data)
        if math.prod(stack.shape) * stack.dtype.itemsize > 1 << 40 or not pictures:
            raise moxj.Damaged("the index of a stack of pictures is damaged or cut off")
        if moxj._facts(pictures[0])[1::-1] != (stack.shape[-3:-1] if stack.groups else stack.shape[-2:]):
            raise moxj.Damaged("a picture does not have the size of its chunk")
        same = isinstance(out, numpy.ndarray) and out.shape == stack.shape and out.dtype == stack.dtype
        array = out if same else numpy.empty(stack.shape, stack.dtype, stack.order)
        for data, (index, channels) in zip(pictures, stack.places()):
            place = _bytes(array)[index]
            _fill(data, place if channels is None else place[..., channels], stack.bits)
        return array if same or out is None else ndarray_copy(array, out)


class Jpeg2000(_Pictures):
    """JPEG 2000 of bool and of 8- and 16-bit samples, signed or unsigned; lossless unless a size is given.

    ratio, bpp   lossy: to 1/ratio of the size of the samples, or to bpp bits per pixel
    levels, block, tile, progression, layers, modes   as in moxj.encode()
    bits         significant bits of the samples, 1 to 16, of which samples that need more are refused; None: all
    channels     "auto": the last of 3 or more dimensions is channels if it has 1 to 4 elements; "last": it is, always;
                 None: it never is. 3 are coded as RGB, 4 as RGB and opacity (which in a lossless file means no more
                 than a fourth channel), others separately
    format       "j2k", a codestream, or "jp2", the same in a file of some 85 bytes more
    """

    codec_id = "moxj_jpeg2000"
    _TYPES = ("u1", "u2", "i1", "i2", "b1")
    _TOGETHER = (1, 3, 4)

    def __init__(self, ratio=None, bpp=None, levels=None, block=None, tile=None, progression=None, layers=None,
                 modes=None, bits=None, channels="auto", format="j2k"):
        if format not in ("j2k", "jp2"):
            raise ValueError(f"format is \"j2k\" or \"jp2\", not {format!r}")
        if bits is not None and not 1 <= bits <= 16:
            raise ValueError("bits must be 1 to 16")
        self.ratio, self.bpp, self.levels = ratio, bpp, levels
        self.block, self.tile = (list(size) if isinstance(size, tuple) else size for size in (block, tile))
        self.progression, self.layers, self.modes = progression, layers, modes
        self.bits, self.format = bits, format
        self._set_channels(channels)

    def _options(self):
        names = "ratio", "bpp", "levels", "block", "tile", "progression", "layers", "modes"
        return self.format, {name: getattr(self, name) for name in names}


class JpegLossless(_Pictures):
    """Lossless JPEG of unsigned 8- and 16-bit samples.

    predictor  1 to 7; None: the one with the smallest file
    bits       significant bits of the samples, 2 to 16, of which samples that need more are refused; None: all
    channels   see Jpeg2000; 3 are coded as RGB, others separately
    """

    codec_id = "moxj_jpeg_lossless"

    def __init__(self, predictor=None, bits=None, channels="auto"):
        if bits is not None and not 2 <= bits <= 16:
            raise ValueError("bits must be 2 to 16")
        self.predictor, self.bits = predictor, bits
        self._set_channels(channels)

    def _options(self):
        return "jpg", {"lossless": True, "predictor": self.predictor}


class Jpeg(_Pictures):
    """JPEG of uint8 samples: lossy.

    quality      1, the smallest chunks, to 100, the best picture
    sample       chroma sub-sampling: "4:4:4", "4:2:2", "4:2:0"
    progressive  smaller chunks, slower
    optimize     optimal Huffman tables
    channels     see Jpeg2000; 3 are coded as RGB, others separately
    """

    codec_id = "moxj_jpeg"
    _TYPES = ("u1",)

    def __init__(self, quality=75, sample="4:2:0", progressive=False, optimize=False, channels="auto"):
        self.quality, self.sample, self.progressive, self.optimize = quality, sample, progressive, optimize
        self._set_channels(channels)

    def _options(self):
        return "jpg", {"quality": self.quality, "sample": self.sample, "progressive": self.progressive,
                       "optimize": self.optimize}


for _codec in Jpeg2000, JpegLossless, Jpeg:
    register_codec(_codec)

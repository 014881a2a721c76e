"""Reads, writes, transcodes and compares picture files: JPEG, JPEG 2000, PNG, PPM, PGM, PAM, PBM, PGX, BMP and TIFF.

    array = moxj.decode("photo.jpg")                     file to array, of shape (height, width, 3)
    data = moxj.encode(array, "jpeg", quality=90)        array to the bytes of a file
    moxj.encode(array, to="photo.jp2", ratio=20)         or straight to a file
    small = moxj.transcode(data, progressive=True)       the same JPEG picture in a smaller file
    moxj.convert("scan.png", to="scan.jp2")              file to file
    moxj.info("photo.jpg")["width"]                      what a file is
    moxj.compare("a.png", "a.jpg")["all"]["psnr"]        how different two files are
    picture = moxj.read("photo.jpg")                     the array with its metadata, warning and notes

A file is given as bytes (any object with contiguous bytes), as a path (str or os.PathLike) or as an object with a
method read(size), of which any number of bytes may be read. Outputs are bytes, or go to `to`: a path, which gets the
file when it is complete, or an object with a method write(bytes).

Arrays have the shape (height, width) or (height, width, channels); sizes are in pixels and samples are integers of
`bits` significant bits. The interpreter lock is released while the codec works, so threads run side by side. Failures
raise a subclass of moxj.Error.

`threads` is the number of threads that one call may use (JPEG and JPEG 2000 do); the result does not depend on it.
`progress(done, total)` is called at a moderate rate in the thread that called; what it raises ends the call and comes
out of it. What it returns has no meaning. Ctrl-C ends every call.
"""

import dataclasses
import json
import struct
import typing
import warnings

import numpy

from . import _native, _options
from ._errors import (BadArgument, BadOption, Cancelled, Damaged, Error, IncompleteWarning, InputError, InternalError,
                      LimitExceeded, MissingFile, NotThisFormat, NoteWarning, OutOfMemory, OutputError, Unsupported)
from ._errors import bad_option as _bad_option

__all__ = [
    "BadArgument", "BadOption", "Cancelled", "Damaged", "Error", "Format", "IncompleteWarning", "InputError",
    "InternalError", "LimitExceeded", "Limits", "Metadata", "MissingFile", "NotThisFormat", "NoteWarning",
    "OutOfMemory", "OutputError", "Picture", "Unsupported", "compare", "convert", "decode", "encode", "formats",
    "info", "metadata", "probe", "read", "transcode",
]

__version__ = _native.version()


@dataclasses.dataclass(frozen=True)
class Limits:
    """What a call may need at most; more raises moxj.LimitExceeded before the memory is allocated. None: the default.

    max_pixels  width x height of a picture; default 268435456
    max_memory  bytes that a call may hold; default 1073741824
    max_scans   scans of a JPEG file; default 500
    """

    max_pixels: int = None
    max_memory: int = None
    max_scans: int = None

    def __post_init__(self):
        for field in dataclasses.fields(self):
            value = getattr(self, field.name)
            if value is not None and not 1 <= value < 1 << (31 if field.name == "max_scans" else 63):
                raise _bad_option(field.name, "is out of range")


class Metadata(typing.NamedTuple):
    """One block of metadata.

    kind  "icc" (a profile), "exif" (a TIFF structure, from its byte-order mark on), "xmp" (a packet), "iptc" (IIM data
          sets), "comment" (text), "resolution" (see Picture.resolution; its data are the library's) or "other"
    data  bytes
    name  of other metadata its segment or box ("APP13"), of a comment its keyword; otherwise ""
    """

    kind: str
    data: bytes
    name: str = ""


class Format(typing.NamedTuple):
    """A format of files.

    name        as encode() and convert() take it: "jpg", "jp2", "j2k", "png", "ppm", "pgm", "pnm", "pam", "pbm",
                "pgx", "bmp" or "tif"
    label       for people: "JPEG 2000"
    extensions  of file names, without the dot; each is also a name of the format
    coded       False for formats of plain samples
    """

    name: str
    label: str
    extensions: tuple
    coded: bool


_KIND_NAMES = {number: name for name, number in _native.METADATA.items()}


def _blocks_of(native):
    return [Metadata(_KIND_NAMES[kind], data, name) for kind, name, data in native]


class Picture:
    """A decoded picture, from read(). The library's memory is used in place, and kept as long as one of the arrays.

    planes     list of arrays: the array of an interleaved layout, or each plane of "ycbcr" and "planes", of shape
               (height, width), where sub-sampled planes are smaller
    layout     "grey", "grey-alpha", "rgb", "bgr", "rgba", "bgra", "cmyk", "ycbcr", "planes", "rgb565" or "rgb555"
    width      in pixels
    height     in pixels
    bits       significant bits of each sample, the lowest ones; of planes the largest number
    max_value  the value of full intensity; 2 ** bits - 1 unless the file says otherwise
    sampling   list of (dx, dy) for each of planes: columns and rows of the picture for each sample
    metadata   list of moxj.Metadata
    complete   False if part of the picture is missing or wrong, because the file is damaged
    warning    what is missing; "" if complete
    notes      list of texts: what was left out by design
    """

    def __init__(self, native, outcome):
        self.planes = native.arrays
        self.layout = _options.LAYOUT_NAMES[native.layout]
        self.width = native.width
        self.height = native.height
        planes = native.planes
        self.bits = max(bits for bits, _, _ in planes)
        self.max_value = native.max_value or (1 << self.bits) - 1
        self.sampling = [(dx, dy) for _, dx, dy in planes]
        self.metadata = _blocks_of(native.metadata)
        self.warning, self.notes = outcome
        self.complete = not self.warning

    @property
    def array(self):
        """The picture as one array of shape (height, width) or (height, width, channels). Planes of one size are put
        side by side in a copy; planes of several sizes raise moxj.Unsupported."""
        if len(self.planes) == 1:
            return self.planes[0]
        if len({(plane.shape, plane.dtype) for plane in self.planes}) > 1:
            raise Unsupported("the planes differ in size or type: use layout=\"planes\", or Picture.planes")
        return numpy.stack(self.planes, axis=-1)

    def _first(self, kind):
        return next((block.data for block in self.metadata if block.kind == kind), None)

    @property
    def icc(self):
        """The ICC profile as bytes, or None."""
        return self._first("icc")

    @property
    def exif(self):
        """The EXIF data as bytes, or None."""
        return self._first("exif")

    @property
    def xmp(self):
        """The XMP packet as bytes, or None."""
        return self._first("xmp")

    @property
    def resolution(self):
        """Dots per inch, horizontal and vertical, or None if they are not known."""
        density = self._first("resolution")
        horizontal, vertical, ratio_only = _DENSITY.unpack(density) if density else (0, 0, 1)
        return None if ratio_only else (horizontal * _INCH, vertical * _INCH)

    def __repr__(self):
        return (f"<moxj.Picture {self.width} x {self.height} {self.layout}, {self.bits} bits"
                f"{'' if self.complete else ', incomplete'}>")


def _running(threads, limits, progress):
    if not 1 <= threads <= 1024:
        raise _bad_option("threads", "must be 1 to 1024")
    limits = limits or Limits()
    return threads, limits.max_pixels or 0, limits.max_memory or 0, limits.max_scans or 0, progress


def _warn(outcome, level=3, notes=True):
    """Warns of what a call reported, at the line that called the package."""
    warning, texts = outcome
    if warning:
        warnings.warn(warning, IncompleteWarning, stacklevel=level)
    for text in texts if notes else ():
        warnings.warn(text, NoteWarning, stacklevel=level)


def _format(format, to):
    """The library's name of a format, by the name or by the extension of the output."""
    if format is None:
        if not isinstance(to, str) and not hasattr(to, "__fspath__"):
            raise _bad_option("format", "must be given, unless `to` is a path")
        named = _native.format_of_path(str(to))
        if not named:
            raise _bad_option("format", f"must be given: the extension of {to} is not a known one")
        return named
    named = _native.format_named(format)
    if not named:
        raise _bad_option("format", f"is one of {', '.join(each.name for each in formats())}, not {format!r}")
    return named


_DENSITY = struct.Struct("=ddi4x")
_INCH = 0.0254  # metres


def _resolution_given(resolution):
    try:
        horizontal, vertical = (resolution, resolution) if numpy.ndim(resolution) == 0 else resolution
    except ValueError:
        raise _bad_option("resolution", "is (horizontal, vertical), or one number for both") from None
    return Metadata("resolution", _DENSITY.pack(horizontal / _INCH, vertical / _INCH, 0))


def _metadata_given(icc, exif, xmp, resolution, metadata):
    blocks = [Metadata(kind, data) for kind, data in (("icc", icc), ("exif", exif), ("xmp", xmp)) if data is not None]
    blocks += [Metadata(*block) for block in metadata]
    if resolution is not None:
        blocks.append(_resolution_given(resolution))
    return [(_options.number_of("metadata", block.kind, _native.METADATA), block.name, bytes(block.data))
            for block in blocks]


def read(source, *, layout=None, bits=None, reduce=0, layers=0, smooth=True, fast_mcu=False, components=False,
         orient=False, picture=0, upsample=False, region=None, tile=None, srgb=False, threads=1, limits=None,
         progress=None):
    """Decodes a file into a moxj.Picture: arrays with metadata, warning and notes. Arguments as those of decode().

    A damaged file that can be decoded in part gives a picture with complete=False, without a Python warning.
    """
    fields = _options.read_fields(reduce, layers, smooth, fast_mcu, components, orient, picture, upsample, region,
                                  tile, srgb)
    return Picture(*_native.decode(source, fields, _options.layout_number(layout), bits or 0,
                                   _running(threads, limits, progress)))


def decode(source, *, layout=None, bits=None, reduce=0, layers=0, smooth=True, fast_mcu=False, components=False,
           orient=False, picture=0, upsample=False, region=None, tile=None, srgb=False, threads=1, limits=None,
           progress=None, out=None):
    """Decodes a file into an array.

    source      bytes, path or file object of any format that the library reads
    layout      what the channels are; by default what the file has: grey, RGB or RGBA, or its planes.
                "grey", "rgb565", "rgb555"    (height, width); the last two are words of uint16
                "grey-alpha"                  (height, width, 2)
                "rgb", "bgr"                  (height, width, 3)
                "rgba", "bgra", "cmyk"        (height, width, 4); opacity is straight, no ink is 0
                "ycbcr"                       a tuple of three arrays (height, width); of JPEG files as they are coded,
                                              Cb and Cr smaller where they are sub-sampled
                "planes"                      a tuple of arrays (height, width), of any sizes
    bits        scale samples to this depth, 1 to 31; by default that of the file
    reduce      halve width and height this many times; JPEG: at most 3
    layers      JPEG 2000: quality layers to decode; 0: all
    smooth      JPEG: False up-samples by repeating samples instead of interpolating
    fast_mcu    JPEG: True decodes MCU by MCU, faster, without interpolation
    components  True: components and inks as they are coded: no palette, no conversion of inks to RGB
    orient      True: turned upright, as the Exif orientation says, which becomes 1
    picture     JPEG: of several pictures that follow each other in a file, the one with this number, from 1
    upsample    JPEG 2000: True gives all components the size of the reference grid
    region      (x, y, width, height): only these pixels of the picture, before it is reduced or turned
    tile        JPEG 2000: only this tile, counted from 0
    srgb        True: colours converted to sRGB, by ICC profile, colour space or gamma of the file; not with components
    threads     threads that the call may use, 1 to 1024
    limits      moxj.Limits
    progress    callable(done, total)
    out         an array of the size of the picture to decode into, which is then returned. Its pixels must lie side by
                side in a row; rows may be any distance apart, also negative. Its last dimension gives the layout,
                unless `layout` does

    Returns an array of uint8 (up to 8 bits), uint16 (9 to 16) or uint32 (more); for signed samples of int16 (up to 16
    bits) or int32. It uses the memory that the library decoded into, without a copy, and may be changed. Planes of one
    size that have no common meaning come as (height, width, planes), in a copy. Where part of the picture is missing,
    because the file is damaged, there is a moxj.IncompleteWarning.
    """
    fields = _options.read_fields(reduce, layers, smooth, fast_mcu, components, orient, picture, upsample, region,
                                  tile, srgb)
    running = _running(threads, limits, progress)
    if out is None:
        picture = Picture(*_native.decode(source, fields, _options.layout_number(layout), bits or 0, running))
        _warn((picture.warning, ()))
        planar = layout is not None and picture.layout in _options.PLANAR
        return tuple(picture.planes) if planar else picture.array
    if bits is None and hasattr(source, "read"):
        source = source.read()  # once for its depth, once for its samples
    _warn(_decode_into(source, out, bits, layout, fields, running), notes=False)
    return out


def _facts(source, running=None):
    """(width, height, channels, bits) of a file."""
    return _native.describe(source, running or _running(1, None, None))[3]


def _decode_into(source, out, bits=None, layout=None, fields=None, running=None):
    """Decodes into an array, without a warning; returns (warning, notes)."""
    running = running or _running(1, None, None)
    file_bits = _facts(source, (1, *running[1:4], None))[3] if bits is None else 0
    arrays, form = _options.pixels_to_fill(out, layout, bits, file_bits)
    if out.dtype.kind == "i" and out.ndim == 3 and out.shape[2] > 1 and layout is None:
        # The library keeps the sign of colours only where no layout is asked of it.
        native, outcome = _native.decode(source, fields or {}, 0, form[3], running)
        picture = Picture(native, outcome)
        if picture.array.shape != out.shape or picture.array.dtype.kind != "i":
            raise BadArgument(f"{picture} does not fit into an array of {out.dtype} of shape {out.shape}")
        numpy.copyto(out, picture.array, casting="unsafe")
        return outcome
    return _native.decode_into(source, fields or {}, arrays, form, running)


def encode(array, format=None, *, to=None, layout=None, bits=None, max_value=None, quality=None, sample=None,
           grayscale=False, progressive=False, scans=None, optimize=False, fast_mcu=False, restart=None,
           restart_in_rows=False, lossless=False, predictor=None, point=None, ratio=None, bpp=None, levels=None,
           block=None, tile=None, progression=None, layers=None, modes=None, psnr=None, precincts=None, sop=False,
           eph=False, plt=False, tlm=False, tile_parts=None, roi=None, visual=False, comment=None, cmyk=False,
           rgb=False, depth=None, words=None, icc=None, exif=None, xmp=None, resolution=None, metadata=(), strip=False,
           threads=1, limits=None, progress=None):
    """Encodes an array as a file.

    array      (height, width): grey; (height, width, 1 to 4): grey, grey and opacity, RGB, RGBA; or a list of 1 to 16
               arrays (height, width), the planes of "planes" or "ycbcr", of which sub-sampled ones are smaller.
               Samples: bool, uint8, int8, uint16, int16, uint32, int32. Rows may be any distance apart, also negative;
               where the pixels of a row do not lie side by side, a copy is made
    format     the name or the extension of one of formats(); None: by the extension of `to`
    to         None: the file is returned as bytes; otherwise a path or a file object
    layout     "bgr", "bgra", "cmyk", "rgb565", "rgb555", "ycbcr" ... where the shape does not say it, see decode()
    bits       significant bits of the samples, the lowest ones; by default all 8 or 16; 32-bit samples need it
    max_value  the value of full intensity; default 2 ** bits - 1

    JPEG
    quality    1, the smallest file, to 100, the best picture (default 75); or a sequence of one for each component
    sample     chroma sub-sampling: "4:4:4", "4:2:2", "4:2:0" (default), "4:4:0", "4:1:1", "4:1:0"; or sampling factors
               of each component: "2x1,1x1,1x1"
    rgb        True: red, green and blue as they are, not as YCbCr
    depth      8 (default) or 12 bits per sample; 12: extended sequential or progressive
    grayscale  keep the luminance alone
    progressive, scans   progressive; or the scans of a script, a text as for cjpeg
    optimize   optimal Huffman tables, in a second pass
    fast_mcu   colour conversion and sampling in one function, slightly less accurate
    cmyk       code inks as they are; otherwise they become YCCK
    restart    MCUs, or with restart_in_rows rows of MCUs, between restart markers: 0 (none) to 65535
    predictor  of lossless JPEG, 1 to 7 (default: the one with the smallest file)
    point      of lossless JPEG: the number of lowest bits that are dropped, 0 to 15

    JPEG and JPEG 2000
    lossless   the lossless process of JPEG; JPEG 2000 without `ratio` and `bpp` is lossless anyway

    JPEG 2000
    ratio, bpp     lossy: to 1/ratio of the size of the samples, or to bpp bits per pixel, headers included
    levels         decomposition levels, 0 to 32 (default 5)
    block, tile    (width, height) or one number: code-blocks (default 64), tiles (default: the whole picture)
    progression    "LRCP" (default), "RLCP", "RPCL", "PCRL", "CPRL"
    layers         quality layers, 1 to 100 (default 1)
    modes          of code-blocks, any of "bypass", "reset", "termall", "causal", "pterm", "segsym"
    psnr           lossy, to this PSNR in dB. ratio, bpp and psnr may be lists, a value for each layer; the last may be
                   0: without loss
    precincts      a list of (width, height), from the highest resolution down
    sop, eph, plt, tlm   markers and lengths of packets and tile-parts
    tile_parts     "resolutions", "layers" or "components": where tile-parts begin
    roi            (x, y, width, height): a region of interest, coded before everything else
    visual         spend the bytes where the eye sees them

    words          BMP: 565 or 555, pixels of 16 bits

    comment        a text for a comment segment (JPEG and JPEG 2000)

    icc, exif, xmp   metadata as bytes
    resolution       dots per inch: (horizontal, vertical), or one number for both
    metadata         further moxj.Metadata, such as Picture.metadata
    strip            metadata to drop: True, or any of "icc", "exif", "xmp", "iptc", "comment", "other", "resolution",
                     as a list or as a text with commas
    threads, limits, progress   see decode()

    An option that has no effect on the format is refused with moxj.BadOption. What the format has no place for, such as
    opacity in JPEG, is left out with a moxj.NoteWarning. Returns bytes, or None if `to` is given.
    """
    fields = _options.fields_of(locals(), _options.WRITE_OPTIONS)
    pixels = _options.pixels_to_write(array, layout, bits, max_value)
    data, outcome = _native.encode(*pixels, _format(format, to), fields, _metadata_given(icc, exif, xmp, resolution,
                                                                               metadata), to,
                                   _running(threads, limits, progress))
    _warn(outcome)
    return data


def _encode_quietly(array, format, bits, options):
    """Encodes with a dict of options, without the warnings of encode()."""
    fields = _options.fields_of(options, options)
    pixels = _options.pixels_to_write(array, None, bits, None)
    return _native.encode(*pixels, format, fields, [], None, _running(1, None, None))[0]


def convert(source, format=None, *, to=None, reading=None, quality=None, sample=None, grayscale=False,
            progressive=False, scans=None, optimize=False, fast_mcu=False, restart=None, restart_in_rows=False,
            lossless=False, predictor=None, point=None, ratio=None, bpp=None, levels=None, block=None, tile=None,
            progression=None, layers=None, modes=None, psnr=None, precincts=None, sop=False, eph=False, plt=False,
            tlm=False, tile_parts=None, roi=None, visual=False, comment=None, cmyk=False, rgb=False, depth=None,
            words=None, strip=False, threads=1, limits=None, progress=None):
    """Writes a file as one of another format, with its metadata. PNG, PPM, PGM and baseline JPEG go through in strips,
    so that even large pictures need little memory.

    source   bytes, path or file object
    format   see encode()
    reading  a dict of options of decode(): reduce, layers, smooth, fast_mcu, components, orient,
             picture, upsample, region, tile, srgb

    All other arguments, warnings and the result are those of encode().
    """
    writing = _options.fields_of(locals(), _options.WRITE_OPTIONS)
    given = {"reduce": 0, "layers": 0, "smooth": True, "fast_mcu": False, "components": False, "orient": False,
             "picture": 0, "upsample": False, "region": None, "tile": None, "srgb": False}
    unknown = set(reading or ()) - set(given)
    if unknown:
        raise TypeError(f"no option of reading is called {min(unknown)}")
    given.update(reading or {})
    data, outcome = _native.convert(source, _options.read_fields(**given), _format(format, to), writing, to,
                                    _running(threads, limits, progress))
    _warn(outcome)
    return data


def transcode(source, *, to=None, optimize=False, progressive=False, scans=None, sequential=False, strip=False,
              restart=None, restart_in_rows=False, transform=None, trim=False, perfect=False, grayscale=False,
              crop=None, orient=False, picture=None, threads=1, limits=None, progress=None):
    """Codes the coefficients of a JPEG file again, with other scans and tables: every decoder shows the same picture,
    or the same pixels in other places.

    source       bytes, path or file object
    to           None: the file is returned as bytes; otherwise a path or a file object
    (none)       the process of the input, with optimal tables
    optimize     sequential, with optimal tables
    progressive  progressive; scans: the scans of a script, a text as for cjpeg
    sequential   sequential, with the tables of T.81 Annex K, unless `optimize` is given
    strip        True: drop all APPn and COM segments but JFIF and Adobe, which define the colours; or some, by
                 names, see encode(). "other" includes what follows the picture in the file
    restart      MCUs, or with restart_in_rows rows of MCUs, between restart markers: 0 (none) to 65535
    transform    "flip-horizontal" (left and right change places), "flip-vertical", "transpose", "transverse",
                 "rotate-90" (clockwise), "rotate-180" or "rotate-270". MCUs at the right and bottom edge that the
                 picture does not fill cannot be mirrored: they stay in place, with a moxj.NoteWarning,
    trim         or are dropped,
    perfect      or such pictures are refused
    grayscale    keep only the luminance
    crop         (x, y, width, height) of the transformed picture; the corner moves to that of an MCU, and the rectangle
                 grows by as much
    orient       True: the transform that turns the picture upright, as its Exif orientation says, which becomes 1
    picture      of several pictures that follow each other in a file, the one with this number, from 1, alone

    Returns bytes, or None if `to` is given. A damaged file gives the part that could be decoded, with a
    moxj.IncompleteWarning.
    """
    fields = _options.fields_of(locals(), _options.TRANSCODE_OPTIONS)
    data, outcome = _native.transcode(source, fields, to, _running(threads, limits, progress))
    _warn(outcome)
    return data


def probe(source):
    """Recognises a file by its first bytes: the name of its format ("pnm" for PPM and PGM), or None."""
    try:
        return _native.probe(source, _running(1, None, None))
    except NotThisFormat:
        return None


def info(source, *, limits=None):
    """Describes a file by its headers, as far as they can be read, even of kinds that cannot be decoded.

    Returns a dict, the same as the JSON of the command line: "format", "width" and "height" (in pixels), and more that
    depends on the format.
    """
    return json.loads(_native.describe(source, _running(1, limits, None))[0])


def metadata(source, *, limits=None):
    """The metadata of a file, without decoding it: a list of moxj.Metadata."""
    return _blocks_of(_native.describe(source, _running(1, limits, None))[2])


def _difference(native):
    return dict(zip(("mse", "psnr", "ssim", "max"), native))


def compare(a, b, *, threads=1, limits=None, progress=None):
    """Compares two files of the same size at the larger depth of both.

    a, b  bytes, path or file object; the formats may differ. A grey picture beside one in colour is compared as colour;
          a picture without opacity beside one with it counts as opaque

    Returns a dict: "width", "height" (in pixels), "bits" (the depth of the comparison), "channels" (a dict with the
    differences of each channel, by its name) and "all" (those over all channels). Differences are a dict: "mse" (the
    mean squared error in steps of that depth), "psnr" (in dB; infinite if no sample differs), "ssim" (mean structural
    similarity, 1 if equal) and "max" (the largest difference). A damaged file is compared as far as it can be decoded,
    with a moxj.IncompleteWarning.
    """
    width, height, bits, channels, whole, *outcomes = _native.compare(a, b, _running(threads, limits, progress))
    for outcome in outcomes:
        _warn(outcome, notes=False)
    return {"width": width, "height": height, "bits": bits,
            "channels": {name: _difference(difference) for name, difference in channels}, "all": _difference(whole)}


def formats():
    """All formats: a list of moxj.Format."""
    return [Format(name, label, tuple(extensions.split()), coded)
            for name, label, extensions, coded in _native.formats()]

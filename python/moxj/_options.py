"""From arguments to the library's fields, and from arrays to its pixels."""

import operator

import numpy

from . import _native
from ._errors import BadArgument, bad_option

# Options for which 0 means "not given" in the library. Python refuses it.
_NEVER_ZERO = {"quality", "ratio", "bpp", "layers", "picture"}
_CHOICES = {"sample": _native.SAMPLES, "progression": _native.PROGRESSIONS, "tile_parts": _native.TILE_PARTS,
            "transform": _native.TRANSFORMS}
_FIELDS = {"fast_mcu": "fastMcu", "restart_in_rows": "restartInRows", "tile_parts": "tileParts"}

WRITE_OPTIONS = ("quality", "sample", "grayscale", "progressive", "scans", "optimize", "fast_mcu", "restart",
                 "restart_in_rows", "lossless", "predictor", "point", "ratio", "bpp", "levels", "block", "tile",
                 "progression", "layers", "modes", "psnr", "precincts", "sop", "eph", "plt", "tlm", "tile_parts",
                 "roi", "visual", "comment", "strip", "cmyk", "rgb", "depth", "words")
READ_OPTIONS = ("reduce", "layers", "smooth", "fast_mcu", "components", "orient", "picture", "upsample",
                "region", "tile", "srgb")
TRANSCODE_OPTIONS = ("optimize", "progressive", "scans", "sequential", "strip", "restart", "restart_in_rows",
                     "transform", "trim", "perfect", "grayscale", "crop", "orient", "picture")
_INTERLEAVED = {"grey": 1, "grey-alpha": 2, "rgb": 3, "bgr": 3, "rgba": 4, "bgra": 4, "cmyk": 4, "rgb565": 1,
                "rgb555": 1}
_LAYOUT_OF_CHANNELS = {1: "grey", 2: "grey-alpha", 3: "rgb", 4: "rgba"}
PLANAR = ("ycbcr", "planes")
LAYOUT_NAMES = {number: name for name, number in _native.LAYOUTS.items()}


def number_of(option, value, choices):
    """The library's number for a word, regardless of case."""
    names = {name.lower(): number for name, number in choices.items()}
    names.update({name.replace(":", ""): number for name, number in names.items()})
    try:
        return names[str(value).lower()]
    except KeyError:
        raise bad_option(option, f"is one of {', '.join(choices)}, not {value!r}") from None


def _size(option, value):
    """Width and height from one number or two."""
    try:
        width, height = (value, value) if numpy.ndim(value) == 0 else value
    except ValueError:
        raise bad_option(option, "is (width, height), or one number for both") from None
    if width == 0 or height == 0:
        raise bad_option(option, "has no size of 0")
    return width, height


def _crop(value):
    """The fields of a rectangle (x, y, width, height)."""
    try:
        x, y, width, height = value
    except (TypeError, ValueError):
        raise bad_option("crop", "is (x, y, width, height)") from None
    if width == 0 or height == 0:
        raise bad_option("crop", "has no size of 0")
    return {"cropX": x, "cropY": y, "cropWidth": width, "cropHeight": height}


def _goals(name, value):
    """The field for one value, or for those of several layers."""
    if numpy.ndim(value) == 0 and name != "psnr":
        return {name: value}
    return {name + "s": [float(each) for each in numpy.atleast_1d(value)]}


def _precincts(value):
    return [side for size in value for side in _size("precincts", size)]


def _region(value):
    """The fields of a region of interest (x, y, width, height)."""
    try:
        x, y, width, height = value
    except (TypeError, ValueError):
        raise bad_option("roi", "is (x, y, width, height)") from None
    if width == 0 or height == 0:
        raise bad_option("roi", "has no size of 0")
    return {"roiX": x, "roiY": y, "roiWidth": width, "roiHeight": height}


def _sum_of(option, value, choices):
    """The sum of the numbers for words: a list, or a text with commas or spaces."""
    names = value.replace(",", " ").split() if isinstance(value, str) else value
    return sum({number_of(option, name, choices) for name in names})


def fields_of(given, names):
    """The library's fields for the arguments of a call, of which `names` are options. None: not given."""
    fields = {}
    for name in names:
        value = given[name]
        if value is None or value is False:
            continue
        if name in _NEVER_ZERO and numpy.ndim(value) == 0 and value == 0:
            raise bad_option(name, "cannot be 0")
        if name == "sample" and "x" in str(value):
            fields["factors"] = str(value)
        elif name == "quality" and isinstance(value, (list, tuple)) and value:
            fields["qualities"] = ",".join(str(operator.index(each)) for each in value)
        elif name in _CHOICES:
            fields[_FIELDS.get(name, name)] = number_of(name, value, _CHOICES[name])
        elif name == "levels":
            if not 0 <= value <= 32:
                raise bad_option(name, f"must be 0 to 32, not {value}")
            fields["levelsPlus1"] = value + 1
        elif name in ("block", "tile"):
            fields[name + "Width"], fields[name + "Height"] = _size(name, value)
        elif name in ("ratio", "bpp", "psnr"):
            fields.update(_goals(name, value))
        elif name == "precincts":
            fields[name] = _precincts(value)
        elif name == "roi":
            fields.update(_region(value))
        elif name == "crop":
            fields.update(_crop(value))
        elif name == "modes":
            fields[name] = _sum_of(name, value, _native.MODES)
        elif name == "strip":
            fields[name] = _native.STRIP["all"] if value is True else _sum_of(name, value, _native.STRIP)
        else:
            fields[_FIELDS.get(name, name)] = value
    return fields


def read_fields(reduce, layers, smooth, fast_mcu, components, orient=False, picture=0, upsample=False, region=None,
                tile=None, srgb=False):
    fields = {"reduce": reduce, "layers": layers, "nosmooth": int(not smooth), "fastMcu": int(bool(fast_mcu)),
              "components": int(bool(components)), "orient": int(bool(orient)), "picture": picture,
              "upsample": int(bool(upsample)), "srgb": int(bool(srgb))}
    if region is not None:
        x, y, width, height = region
        if width <= 0 or height <= 0:
            raise bad_option("region", "is empty")
        fields.update(regionX=x, regionY=y, regionWidth=width, regionHeight=height)
    if tile is not None:
        if tile < 0:
            raise bad_option("tile", "is negative")
        fields["tilePlus1"] = tile + 1
    return fields


def layout_number(layout):
    return 0 if layout is None else number_of("layout", layout, _native.LAYOUTS)


# ---- Arrays ---------------------------------------------------------------------------------------------------------


def _rows_fit(array):
    """Whether the library can use an array as it is: pixels side by side in a row, rows that do not overlap."""
    if not array.flags.aligned or array.size == 0:
        return False
    row = array[0]
    return row.flags.c_contiguous and (array.shape[0] == 1 or abs(array.strides[0]) >= row.nbytes)


def _checked(array, what):
    if array.dtype.kind not in "ui" or array.dtype.itemsize > 4:
        raise BadArgument(f"{what} of {array.dtype} samples; they must be bool, or integers of 8, 16 or 32 bits")
    if array.ndim not in (2, 3) or array.size == 0:
        raise BadArgument(f"{what} of shape {array.shape}; it must be (height, width) or (height, width, channels)")
    return array


def _bits(array, bits, boolean):
    if bits is None:
        if array.dtype.itemsize == 4:
            raise bad_option("bits", "must be given for samples of 32 bits: 1 to 31")
        return 1 if boolean else array.dtype.itemsize * 8
    if not 1 <= bits <= array.dtype.itemsize * 8:
        raise bad_option("bits", f"must be 1 to {array.dtype.itemsize * 8} for {array.dtype}, not {bits}")
    return bits


def _usable(array):
    """The array with samples that the library can use, as a copy where needed; whether it is bool."""
    array = numpy.asarray(array)
    boolean = array.dtype == bool
    if boolean:
        array = array.view(numpy.uint8)
    _checked(array, "an array")
    if not array.dtype.isnative:
        array = array.astype(array.dtype.newbyteorder("="))
    return array if _rows_fit(array) else numpy.ascontiguousarray(array), boolean


def _interleaved(array, layout):
    """The layout of an array by its shape and by what the caller says."""
    channels = 1 if array.ndim == 2 else array.shape[2]
    if layout is None:
        layout = _LAYOUT_OF_CHANNELS.get(channels)
        if not layout:
            raise BadArgument(f"an array of {channels} channels; for more than 4 give a list of planes")
    if layout not in _INTERLEAVED:
        raise BadArgument(f"{layout} is a layout of planes: it needs a list of arrays of shape (height, width)")
    if _INTERLEAVED[layout] != channels:
        raise BadArgument(f"{layout} has {_INTERLEAVED[layout]} channels, the array has {channels}")
    if layout in ("rgb565", "rgb555") and array.dtype != numpy.uint16:
        raise BadArgument(f"{layout} has samples of uint16, the array has {array.dtype}")
    return layout


def _name(layout):
    return LAYOUT_NAMES[layout_number(layout)]


def _form(layout, height, width, bits, max_value):
    return _native.LAYOUTS[layout], width, height, bits, max_value or 0


def pixels_to_write(array, layout, bits, max_value):
    """(arrays, form, sampling) of an array or of a list of planes, as the native module takes them."""
    if isinstance(array, (list, tuple)):
        return _planes_to_write(array, layout, bits, max_value)
    array, boolean = _usable(array)
    layout = _interleaved(array, layout and _name(layout))
    bits = 16 if layout in ("rgb565", "rgb555") and bits is None else _bits(array, bits, boolean)
    return [array], _form(layout, *array.shape[:2], bits, max_value), []


def _planes_to_write(planes, layout, bits, max_value):
    usable = [_usable(plane) for plane in planes]
    layout = _name(layout or "planes")
    if layout not in PLANAR:
        raise BadArgument(f"a list of planes is of the layout planes or ycbcr, not {layout}")
    if not 1 <= len(planes) <= 16 or layout == "ycbcr" and len(planes) != 3:
        raise BadArgument(f"{len(planes)} planes; there must be {'3' if layout == 'ycbcr' else '1 to 16'}")
    arrays = [array for array, _ in usable]
    if any(array.ndim != 2 for array in arrays) or len({array.dtype.itemsize for array in arrays}) != 1:
        raise BadArgument("planes must have the shape (height, width), and samples of one size")
    height, width = (max(array.shape[axis] for array in arrays) for axis in (0, 1))
    bits = _bits(arrays[0], bits, all(boolean for _, boolean in usable))
    return arrays, _form(layout, height, width, bits, max_value), [_sampling(array, height, width) for array in arrays]


def _sampling(array, height, width):
    """Columns and rows of the picture for each sample of a plane."""
    steps = tuple(-(-whole // part) for whole, part in ((width, array.shape[1]), (height, array.shape[0])))
    if (-(-height // steps[1]), -(-width // steps[0])) != array.shape:
        raise BadArgument(f"a plane of shape {array.shape} in a picture of {(height, width)}")
    return steps


def pixels_to_fill(out, layout, bits, file_bits):
    """(arrays, form) of an array that a picture is decoded into."""
    if not isinstance(out, numpy.ndarray):
        raise BadArgument("out must be an array")
    _checked(out, "out")
    if not out.dtype.isnative or not out.flags.writeable or not _rows_fit(out):
        raise BadArgument("out must be a writeable array of the machine's byte order, with the pixels of a row side by "
                          "side")
    layout = _interleaved(out, layout and _name(layout))
    return [out], _form(layout, *out.shape[:2], _bits_to_fill(out, layout, bits, file_bits), 0)


def _bits_to_fill(out, layout, bits, file_bits):
    """The depth of samples in `out`: that of the file, or else the largest that it can hold."""
    room = out.dtype.itemsize * 8 if out.dtype.itemsize < 4 else 31
    if layout in ("rgb565", "rgb555"):
        return 16
    if bits is None:
        return min(max(file_bits, 1), room)
    if not 1 <= bits <= room:
        raise bad_option("bits", f"must be 1 to {room} for {out.dtype}, not {bits}")
    return bits

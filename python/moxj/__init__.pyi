import os
from collections.abc import Callable, Iterable, Mapping, Sequence
from dataclasses import dataclass
from typing import Any, Literal, NamedTuple, Protocol, TypeAlias, overload

import numpy
import numpy.typing

class _Reader(Protocol):
    def read(self, size: int, /) -> bytes: ...

class _Writer(Protocol):
    def write(self, data: bytes, /) -> int | None: ...

_Path: TypeAlias = str | os.PathLike[str] | os.PathLike[bytes]
_Source: TypeAlias = bytes | bytearray | memoryview | numpy.ndarray | _Path | _Reader
_Target: TypeAlias = _Path | _Writer
_Array: TypeAlias = numpy.typing.NDArray[numpy.integer[Any]]
_Samples: TypeAlias = numpy.typing.NDArray[numpy.integer[Any] | numpy.bool_]
_Progress: TypeAlias = Callable[[int, int], object]
_Size: TypeAlias = int | tuple[int, int]
_InterleavedLayout: TypeAlias = Literal[
    "grey", "grey-alpha", "rgb", "bgr", "rgba", "bgra", "cmyk", "rgb565", "rgb555"
]
_PlanarLayout: TypeAlias = Literal["ycbcr", "planes"]
_Layout: TypeAlias = _InterleavedLayout | _PlanarLayout
_Sampling: TypeAlias = Literal["4:4:4", "4:2:2", "4:2:0", "4:4:0", "4:1:1", "4:1:0",
                               "444", "422", "420", "440", "411", "410"]
_TileParts: TypeAlias = Literal["resolutions", "layers", "components"]
_Progression: TypeAlias = Literal["LRCP", "RLCP", "RPCL", "PCRL", "CPRL"]
_Transform: TypeAlias = Literal[
    "flip-horizontal", "flip-vertical", "transpose", "transverse", "rotate-90", "rotate-180", "rotate-270"
]
_Strip: TypeAlias = bool | str | Iterable[str]
_MetadataKind: TypeAlias = Literal["icc", "exif", "xmp", "iptc", "comment", "other", "resolution"]

__version__: str

class Error(Exception):
    kind: str
    option: str | None
    advice: str | None

class NotThisFormat(Error, ValueError): ...
class Damaged(Error, ValueError): ...
class Unsupported(Error, ValueError): ...
class InputError(Error, OSError): ...
class MissingFile(InputError, FileNotFoundError): ...
class BadOption(Error, ValueError): ...
class LimitExceeded(Error, ValueError): ...
class OutOfMemory(Error, MemoryError): ...
class OutputError(Error, OSError): ...
class Cancelled(Error): ...
class BadArgument(Error, ValueError): ...
class InternalError(Error, RuntimeError): ...
class IncompleteWarning(UserWarning): ...
class NoteWarning(UserWarning): ...

@dataclass(frozen=True)
class Limits:
    max_pixels: int | None = None
    max_memory: int | None = None
    max_scans: int | None = None

class Metadata(NamedTuple):
    kind: _MetadataKind
    data: bytes
    name: str = ""

class Format(NamedTuple):
    name: str
    label: str
    extensions: tuple[str, ...]
    coded: bool

class Picture:
    planes: list[_Array]
    layout: _Layout
    width: int
    height: int
    bits: int
    max_value: int
    sampling: list[tuple[int, int]]
    metadata: list[Metadata]
    complete: bool
    warning: str
    notes: list[str]
    @property
    def array(self) -> _Array: ...
    @property
    def icc(self) -> bytes | None: ...
    @property
    def exif(self) -> bytes | None: ...
    @property
    def xmp(self) -> bytes | None: ...
    @property
    def resolution(self) -> tuple[float, float] | None: ...

def read(
    source: _Source,
    *,
    layout: _Layout | None = None,
    bits: int | None = None,
    reduce: int = 0,
    layers: int = 0,
    smooth: bool = True,
    fast_mcu: bool = False,
    components: bool = False,
    orient: bool = False,
    picture: int = 0,
    upsample: bool = False,
    region: tuple[int, int, int, int] | None = None,
    tile: int | None = None,
    srgb: bool = False,
    threads: int = 1,
    limits: Limits | None = None,
    progress: _Progress | None = None,
) -> Picture: ...
@overload
def decode(
    source: _Source,
    *,
    layout: _InterleavedLayout | None = None,
    bits: int | None = None,
    reduce: int = 0,
    layers: int = 0,
    smooth: bool = True,
    fast_mcu: bool = False,
    components: bool = False,
    orient: bool = False,
    picture: int = 0,
    upsample: bool = False,
    region: tuple[int, int, int, int] | None = None,
    tile: int | None = None,
    srgb: bool = False,
    threads: int = 1,
    limits: Limits | None = None,
    progress: _Progress | None = None,
    out: _Array | None = None,
) -> _Array: ...
@overload
def decode(
    source: _Source,
    *,
    layout: _PlanarLayout,
    bits: int | None = None,
    reduce: int = 0,
    layers: int = 0,
    smooth: bool = True,
    fast_mcu: bool = False,
    components: bool = False,
    orient: bool = False,
    picture: int = 0,
    upsample: bool = False,
    region: tuple[int, int, int, int] | None = None,
    tile: int | None = None,
    srgb: bool = False,
    threads: int = 1,
    limits: Limits | None = None,
    progress: _Progress | None = None,
    out: None = None,
) -> tuple[_Array, ...]: ...
@overload
def encode(
    array: _Samples | Sequence[_Samples],
    format: str,
    *,
    to: None = None,
    layout: _Layout | None = None,
    bits: int | None = None,
    max_value: int | None = None,
    quality: int | Sequence[int] | None = None,
    sample: _Sampling | str | None = None,
    grayscale: bool = False,
    progressive: bool = False,
    scans: str | None = None,
    optimize: bool = False,
    fast_mcu: bool = False,
    restart: int | None = None,
    restart_in_rows: bool = False,
    lossless: bool = False,
    predictor: int | None = None,
    point: int | None = None,
    ratio: float | Sequence[float] | None = None,
    bpp: float | Sequence[float] | None = None,
    levels: int | None = None,
    block: _Size | None = None,
    tile: _Size | None = None,
    progression: _Progression | None = None,
    layers: int | None = None,
    modes: str | Iterable[str] | None = None,
    psnr: float | Sequence[float] | None = None,
    precincts: Iterable[_Size] | None = None,
    sop: bool = False,
    eph: bool = False,
    plt: bool = False,
    tlm: bool = False,
    tile_parts: _TileParts | None = None,
    roi: tuple[int, int, int, int] | None = None,
    visual: bool = False,
    comment: str | None = None,
    cmyk: bool = False,
    rgb: bool = False,
    depth: int | None = None,
    words: int | None = None,
    icc: bytes | None = None,
    exif: bytes | None = None,
    xmp: bytes | None = None,
    resolution: float | tuple[float, float] | None = None,
    metadata: Iterable[Metadata] = (),
    strip: _Strip = False,
    threads: int = 1,
    limits: Limits | None = None,
    progress: _Progress | None = None,
) -> bytes: ...
@overload
def encode(
    array: _Samples | Sequence[_Samples],
    format: str | None = None,
    *,
    to: _Target,
    layout: _Layout | None = None,
    bits: int | None = None,
    max_value: int | None = None,
    quality: int | Sequence[int] | None = None,
    sample: _Sampling | str | None = None,
    grayscale: bool = False,
    progressive: bool = False,
    scans: str | None = None,
    optimize: bool = False,
    fast_mcu: bool = False,
    restart: int | None = None,
    restart_in_rows: bool = False,
    lossless: bool = False,
    predictor: int | None = None,
    point: int | None = None,
    ratio: float | Sequence[float] | None = None,
    bpp: float | Sequence[float] | None = None,
    levels: int | None = None,
    block: _Size | None = None,
    tile: _Size | None = None,
    progression: _Progression | None = None,
    layers: int | None = None,
    modes: str | Iterable[str] | None = None,
    psnr: float | Sequence[float] | None = None,
    precincts: Iterable[_Size] | None = None,
    sop: bool = False,
    eph: bool = False,
    plt: bool = False,
    tlm: bool = False,
    tile_parts: _TileParts | None = None,
    roi: tuple[int, int, int, int] | None = None,
    visual: bool = False,
    comment: str | None = None,
    cmyk: bool = False,
    rgb: bool = False,
    depth: int | None = None,
    words: int | None = None,
    icc: bytes | None = None,
    exif: bytes | None = None,
    xmp: bytes | None = None,
    resolution: float | tuple[float, float] | None = None,
    metadata: Iterable[Metadata] = (),
    strip: _Strip = False,
    threads: int = 1,
    limits: Limits | None = None,
    progress: _Progress | None = None,
) -> None: ...
def convert(
    source: _Source,
    format: str | None = None,
    *,
    to: _Target | None = None,
    reading: Mapping[str, Any] | None = None,
    quality: int | Sequence[int] | None = None,
    sample: _Sampling | str | None = None,
    grayscale: bool = False,
    progressive: bool = False,
    scans: str | None = None,
    optimize: bool = False,
    fast_mcu: bool = False,
    restart: int | None = None,
    restart_in_rows: bool = False,
    lossless: bool = False,
    predictor: int | None = None,
    point: int | None = None,
    ratio: float | Sequence[float] | None = None,
    bpp: float | Sequence[float] | None = None,
    levels: int | None = None,
    block: _Size | None = None,
    tile: _Size | None = None,
    progression: _Progression | None = None,
    layers: int | None = None,
    modes: str | Iterable[str] | None = None,
    psnr: float | Sequence[float] | None = None,
    precincts: Iterable[_Size] | None = None,
    sop: bool = False,
    eph: bool = False,
    plt: bool = False,
    tlm: bool = False,
    tile_parts: _TileParts | None = None,
    roi: tuple[int, int, int, int] | None = None,
    visual: bool = False,
    comment: str | None = None,
    cmyk: bool = False,
    rgb: bool = False,
    depth: int | None = None,
    words: int | None = None,
    strip: _Strip = False,
    threads: int = 1,
    limits: Limits | None = None,
    progress: _Progress | None = None,
) -> bytes | None: ...
def transcode(
    source: _Source,
    *,
    to: _Target | None = None,
    optimize: bool = False,
    progressive: bool = False,
    scans: str | None = None,
    sequential: bool = False,
    strip: _Strip = False,
    restart: int | None = None,
    restart_in_rows: bool = False,
    transform: _Transform | None = None,
    trim: bool = False,
    perfect: bool = False,
    grayscale: bool = False,
    crop: tuple[int, int, int, int] | None = None,
    orient: bool = False,
    picture: int | None = None,
    threads: int = 1,
    limits: Limits | None = None,
    progress: _Progress | None = None,
) -> bytes | None: ...
def probe(source: _Source) -> str | None: ...
def info(source: _Source, *, limits: Limits | None = None) -> dict[str, Any]: ...
def metadata(source: _Source, *, limits: Limits | None = None) -> list[Metadata]: ...
def compare(
    a: _Source,
    b: _Source,
    *,
    threads: int = 1,
    limits: Limits | None = None,
    progress: _Progress | None = None,
) -> dict[str, Any]: ...
def formats() -> list[Format]: ...

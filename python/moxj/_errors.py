"""The exceptions and warnings of moxj."""

import errno
import os
import re

from . import _native


class Error(Exception):
    """What every failure of the codec is, in one of the classes below. str() gives the cause in a few words.

    kind    which kind of problem, in words: "damaged", "bad option" ...
    option  the argument that the problem is about, such as "quality"; None if there is none
    advice  the argument to change so that the same picture is accepted: "max_pixels", "max_memory",
            "max_memory or tile", "max_scans", "optimize", or the name of the option; None if there is none
    """

    kind = ""
    option = None
    advice = None

    def __str__(self):
        return str(self.args[0]) if self.args else ""


class NotThisFormat(Error, ValueError):
    """The input is not a file of any known format, or of the one that is needed."""


class Damaged(Error, ValueError):
    """The input is damaged beyond use, or violates its standard."""


class Unsupported(Error, ValueError):
    """The kind of the input is not supported, or the output format cannot hold the picture."""


class InputError(Error, OSError):
    """The input cannot be read. `filename` and `errno` are set where they are known."""


class MissingFile(InputError, FileNotFoundError):
    """The input does not exist."""


class BadOption(Error, ValueError):
    """An option does not fit the picture or the format, or has an impossible value."""


class LimitExceeded(Error, ValueError):
    """The picture needs more than a limit allows. `advice` says which limit, see moxj.Limits."""


class OutOfMemory(Error, MemoryError):
    """The memory could not be allocated."""


class OutputError(Error, OSError):
    """The output cannot be written. `filename` and `errno` are set where they are known."""


class Cancelled(Error):
    """The call was cancelled. A progress callback may raise it, or any other exception."""


class BadArgument(Error, ValueError):
    """An array or another argument makes no sense, such as `out` of another size than the picture."""


class InternalError(Error, RuntimeError):
    """A bug in the codec."""


class IncompleteWarning(UserWarning):
    """Part of a decoded picture is missing or wrong, because its file is damaged."""


class NoteWarning(UserWarning):
    """A note on what was written: what was left out by design, because the output has no place for it (opacity, lower
    bits, metadata), or an option that turned out to be unnecessary."""


_CLASSES = {_native.KINDS[kind.__name__]: kind for kind in
            (NotThisFormat, Damaged, Unsupported, InputError, BadOption, LimitExceeded, OutOfMemory, OutputError,
             Cancelled, BadArgument, InternalError)}
for _number, _class in _CLASSES.items():
    _class.kind = _native.kind_name(_number)
_ADVICE = {number: name for name, number in _native.ADVICE.items()}
# Arguments whose name is not that of the library's field in small letters.
_ARGUMENTS = {"nosmooth": "smooth", "factors": "sample", "qualities": "quality", "levelsPlus1": "levels",
              "blockWidth": "block", "blockHeight": "block",
              "tileWidth": "tile", "tileHeight": "tile", "cropX": "crop", "cropY": "crop", "cropWidth": "crop",
              "cropHeight": "crop", "regionX": "region", "regionY": "region", "regionWidth": "region",
              "regionHeight": "region", "tilePlus1": "tile"}


def argument_of(field):
    """The argument that stands for a field of the library's structs: "fastMcu" is fast_mcu."""
    return _ARGUMENTS.get(field) or re.sub("[A-Z]", lambda letter: "_" + letter.group().lower(), field)


def _system_error(text):
    """The number of the system's error that a text ends with, or None."""
    return next((number for number in errno.errorcode if text.endswith(": " + os.strerror(number))), None)


def make(kind, text, advice, field, path):
    """The exception for a failure that the library reported. Called by the native module."""
    option = argument_of(field) if field else None
    if field and text.startswith(field):
        text = option + text[len(field):]
    name = _ADVICE.get(advice)
    if name == "option":
        name = option
    elif name:
        text += f" (see {'the option ' if name == 'optimize' else 'limits.'}{name})"
    error_class = _CLASSES.get(kind, InternalError)
    number = _system_error(text)
    if error_class is InputError and number == errno.ENOENT:
        error_class = MissingFile
    error = error_class(f"{os.fsdecode(path)}: {text}" if path else text)
    if isinstance(error, OSError):
        error.errno, error.strerror, error.filename = number, text, os.fsdecode(path) or None
    error.option = option
    error.advice = name
    return error


def bad_option(option, what):
    """The exception for an option that Python refuses."""
    error = BadOption(f"{option} {what}")
    error.option = error.advice = option
    return error

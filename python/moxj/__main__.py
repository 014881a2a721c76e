"""The package on the command line: python -m moxj COMMAND ..."""

import argparse
import json
import sys
import warnings

import moxj

OK, USAGE, REFUSED, INCOMPLETE, LIMIT, OUTPUT, INTERNAL = range(7)
_STATUS = ((moxj.LimitExceeded, LIMIT), (moxj.OutOfMemory, LIMIT), (moxj.OutputError, OUTPUT),
           (moxj.BadOption, USAGE), (moxj.InternalError, INTERNAL), (moxj.Error, REFUSED))


class _Parser(argparse.ArgumentParser):
    def error(self, message):
        self.print_usage(sys.stderr)
        self.exit(USAGE, f"{self.prog}: {message}\n")


def _size(text):
    width, separator, height = text.lower().partition("x")
    return (int(width), int(height)) if separator else int(width)


def _flag(group, name, text):
    group.add_argument("--" + name, action="store_true", help=text)


def _add_scans(group):
    _flag(group, "progressive", "progressive")
    _flag(group, "optimize", "optimal Huffman tables")
    group.add_argument("--scans", metavar="FILE", help="the scans of a script")
    group.add_argument("--restart", type=int, metavar="N", help="a restart marker every N MCUs")
    _flag(group, "restart-in-rows", "count rows of MCUs instead")


def _add_writing(parser):
    jpeg = parser.add_argument_group("JPEG")
    jpeg.add_argument("--quality", type=int, metavar="1..100", help="100 is the best picture (75)")
    jpeg.add_argument("--sample", metavar="4:2:0", help="chroma sub-sampling: 4:4:4, 4:2:2 or 4:2:0")
    _flag(jpeg, "grayscale", "the luminance alone")
    _add_scans(jpeg)
    _flag(jpeg, "fast-mcu", "faster, slightly less accurate")
    jpeg.add_argument("--predictor", type=int, metavar="1..7", help="of lossless JPEG")
    jpeg.add_argument("--point", type=int, metavar="N", help="of lossless JPEG: drop the N lowest bits")
    both = parser.add_argument_group("JPEG and JPEG 2000")
    _flag(both, "lossless", "exact")
    j2k = parser.add_argument_group("JPEG 2000")
    j2k.add_argument("--ratio", type=float, metavar="R", help="to 1/R of the size of the samples")
    j2k.add_argument("--bpp", type=float, metavar="B", help="to B bits per pixel")
    j2k.add_argument("--levels", type=int, metavar="0..32", help="decomposition levels (5)")
    j2k.add_argument("--block", type=_size, metavar="WxH", help="code-blocks (64x64)")
    j2k.add_argument("--tile", type=_size, metavar="WxH", help="tiles (the whole picture)")
    j2k.add_argument("--progression", metavar="ORDER", help="LRCP, RLCP, RPCL, PCRL or CPRL")
    j2k.add_argument("--layers", type=int, metavar="N", help="quality layers (1)")
    j2k.add_argument("--modes", metavar="LIST", help="bypass,reset,termall,causal,pterm,segsym")


def _add_reading(parser):
    group = parser.add_argument_group("reading")
    group.add_argument("--reduce", type=int, default=0, metavar="N", help="halve the picture N times")
    group.add_argument("--layers", type=int, default=0, metavar="N", help="JPEG 2000: quality layers to decode")
    group.add_argument("--nosmooth", dest="smooth", action="store_false", help="JPEG: repeat samples")
    _flag(group, "fast-mcu", "JPEG: faster, without interpolation")


def _parser():
    parser = _Parser(prog="python -m moxj",
                     description="Encodes, decodes, transcodes, describes and compares pictures.")
    parser.add_argument("--version", action="version", version="moxj " + moxj.__version__)
    commands = parser.add_subparsers(dest="command", required=True, metavar="COMMAND", parser_class=_Parser)
    texts = {"encode": "a picture as JPEG or JPEG 2000, or as another format with options of writing",
             "decode": "a picture to PNG, PPM or another plain format, with options of reading",
             "transcode": "a JPEG file again, without loss", "info": "a file as JSON", "compare": "two files, as JSON"}
    made = {name: commands.add_parser(name, help=text, description=text) for name, text in texts.items()}
    for name in "encode", "decode", "transcode":
        made[name].add_argument("input")
        made[name].add_argument("output")
    for name in "encode", "decode":
        made[name].add_argument("--format", help="default: by the extension of the output")
    made["info"].add_argument("files", nargs="+", metavar="FILE")
    made["compare"].add_argument("a")
    made["compare"].add_argument("b")
    _add_writing(made["encode"])
    _add_reading(made["decode"])
    _add_scans(made["transcode"])
    _flag(made["transcode"], "sequential", "sequential")
    for name in "encode", "decode", "transcode":
        made[name].add_argument("--strip", nargs="?", const=True, default=False, metavar="LIST",
                                help="drop metadata: all, or icc,exif,xmp,iptc,comment,other,resolution")
    for name in "decode", "transcode":
        _flag(made[name], "orient", "turn the picture upright, as its Exif orientation says")
    for name, each in made.items():
        for limit in "max-pixels", "max-memory", "max-scans":
            each.add_argument("--" + limit, type=int, metavar="N", help="refuse more")
        if name != "info":
            each.add_argument("--threads", type=int, default=1, metavar="N", help="threads (1)")
    return parser


def _run(given):
    common = {"limits": moxj.Limits(given.pop("max_pixels"), given.pop("max_memory"), given.pop("max_scans"))}
    if "threads" in given:
        common["threads"] = given.pop("threads")
    if given.get("scans"):
        with open(given["scans"], encoding="utf-8") as file:
            given["scans"] = file.read()
    command = given.pop("command")
    if command == "info":
        for file in given["files"]:
            json.dump(moxj.info(file, **common), sys.stdout, indent=2)
            print()
    elif command == "compare":
        result = moxj.compare(given["a"], given["b"], **common)
        for difference in result["all"], *result["channels"].values():
            difference["psnr"] = None if difference["mse"] == 0 else difference["psnr"]  # JSON has no infinity
        json.dump(result, sys.stdout, indent=2)
        print()
    else:
        source, to = given.pop("input"), given.pop("output")
        if command == "transcode":
            moxj.transcode(source, to=to, **given, **common)
        elif command == "encode":
            moxj.convert(source, to=to, **given, **common)
        else:
            moxj.convert(source, given.pop("format"), to=to, strip=given.pop("strip"), reading=given, **common)


def main(arguments=None):
    """Runs a command; returns the exit status, which means the same as that of the command-line codec."""
    given = vars(_parser().parse_args(arguments))
    incomplete = []

    def show(message, category, *_):
        incomplete.append(issubclass(category, moxj.IncompleteWarning))
        print(f"moxj: {'warning' if incomplete[-1] else 'note'}: {message}", file=sys.stderr)

    try:
        with warnings.catch_warnings():
            warnings.simplefilter("always")
            warnings.showwarning = show
            _run(given)
    except (moxj.Error, OSError, UnicodeError) as error:
        print(f"moxj: {error}", file=sys.stderr)
        return next((status for kind, status in _STATUS if isinstance(error, kind)), REFUSED)
    return INCOMPLETE if any(incomplete) else OK


if __name__ == "__main__":
    sys.exit(main())

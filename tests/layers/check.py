#!/usr/bin/env python3
"""Includes run downward only.

usage: tests/layers/check.py [ROOT]      checks the #include lines below ROOT; names file and line of every arrow upward
       tests/layers/check.py --self      plants such arrows in a copy of the tree; each must be reported"""

import pathlib
import re
import shutil
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
INTERFACE = ["include/moxj.h", "include/moxcore.h"]
CODEC = ["include/moxcodec.h"]
SHARED = ["src/kernels/bytes.h"]  # access to memory at any address, for all of src
CHOICE = ["src/kernels/choice.h", "src/kernels/cpu.h"]  # which target is chosen
ENGINE = ["codec/pictures", "codec/base", *INTERFACE]

# The layers, the lowest first: a folder, or the files directly in it (/*), or one file, and what it may include besides
# itself. The first that holds a file decides. What is not named here may not be included.
LAYERS = {
    "include": [],
    "core": INTERFACE,
    "src/kernels/bytes.h": INTERFACE,
    "src/kernels/cpu.h": [],
    "src/kernels/choice.h": ["src/kernels/cpu.h"],
    "src/kernels/vec": [*SHARED, *INTERFACE],
    "src/kernels/dct": ["src/kernels/vec", *SHARED, *INTERFACE],
    "src/kernels/colour": ["src/kernels/vec", *SHARED, *INTERFACE],
    "src/kernels/entropy": ["src/kernels/vec", "src/kernels/dct/fixed.h", *SHARED, *INTERFACE],
    "src/kernels/tier1": ["src/kernels/vec", *SHARED, *INTERFACE],
    "src/kernels/wavelet": ["src/kernels/vec", *SHARED, *INTERFACE],
    "src/kernels/*": [
        *CHOICE,
        *[f"src/kernels/{family}" for family in ("colour", "dct", "entropy", "tier1", "wavelet")],
    ],
    "src/frame": [*SHARED, *INTERFACE],
    "src/exports": [
        "src/frame",
        "src/kernels/dispatch.h",
        *[f"src/kernels/{family}" for family in ("colour", "dct", "entropy", "tier1", "wavelet")],  # the definitions
        *SHARED,
        *INTERFACE,
    ],
    "codec/base": INTERFACE,
    "codec/pictures": ["codec/base", *INTERFACE],
    "codec/jpeg": ENGINE,
    "codec/j2k": ENGINE,
    "codec/formats": ["codec/jpeg", "codec/j2k", *ENGINE],
    "codec/api": ["codec/formats", "codec/jpeg", "codec/j2k", *ENGINE, *CODEC],
    "proof/targets.cpp": ["proof/targets.h", *CHOICE],  # what is chosen, which no function tells
    "proof": INTERFACE,
    "codec/cli": [*CODEC, "include/moxcore.h", "proof"],
    "pages": ["codec/cli", *CODEC],
    "examples": ["include"],
}
# Compiled once for every processor, these may not even reach a folder through headers of others.
OUT_OF_REACH = {"src/exports": "src/kernels/vec", "src/frame": "src/kernels/vec"}

SEARCHED = ["include", "src", "codec", "."]  # where #include "..." looks, besides the file's own folder
INCLUDE = re.compile(r'\s*#\s*include\s*"([^"]+)"')


def inside(place, path):
    """Whether a file, given from the root, is what a line of LAYERS names."""
    if place.endswith("/*"):
        return path.parent.as_posix() == place[:-2]
    return path.as_posix() == place or path.as_posix().startswith(place + "/")


def layer_of(path):
    return next((layer for layer in LAYERS if inside(layer, path)), None)


def includes(root, path):
    """(line, included file) of a file, both files given from the root; files of the system are left out."""
    for number, line in enumerate((root / path).read_text().splitlines(), 1):
        if match := INCLUDE.match(line):
            for folder in (path.parent, *map(pathlib.Path, SEARCHED)):
                if (root / folder / match[1]).is_file():
                    found = (root / folder / match[1]).resolve().relative_to(root.resolve())
                    yield number, found
                    break


def reached(root, path):
    """All files that a file includes, directly or not."""
    seen, waiting = set(), [path]
    while waiting:
        for _, target in includes(root, waiting.pop()):
            if target not in seen:
                seen.add(target)
                waiting.append(target)
    return seen


def sources(root):
    for folder in ("include", "core", "src", "proof", "codec", "examples"):
        yield from sorted(p.relative_to(root) for p in (root / folder).rglob("*") if p.suffix in (".h", ".c", ".cpp"))


def complaints(root, among=None):
    for path in sources(root):
        if among is not None and path.as_posix() not in among:
            continue
        layer = layer_of(path)
        if layer is None:
            yield f"{path}:1: is in no layer"
            continue
        for number, target in includes(root, path):
            if not any(inside(place, target) for place in [layer, *LAYERS[layer]]):
                yield f"{path}:{number}: {layer} may not include {target}"
        barred = OUT_OF_REACH.get(layer)
        for target in sorted(reached(root, path)) if barred else []:
            if inside(barred, target):
                yield f"{path}:1: {layer} may not reach {target}"


# Arrows that must be reported: the folder of a file, and that of a header which it includes.
UPWARD = [
    ("src/frame", "src/kernels"),
    ("src/frame", "src/kernels/colour"),
    ("src/frame", "src/exports"),
    ("src/kernels/vec", "src/kernels/dct"),
    ("src/kernels/dct", "src/kernels/colour"),
    ("src/kernels/colour", "src/kernels"),
    ("src/kernels/tier1", "src/frame"),
    ("src/kernels/wavelet", "src/exports"),
    ("src/kernels", "src/frame"),
    ("src/exports", "src/kernels/vec"),
    ("src/exports", "codec/base"),
    ("src/kernels/entropy", "codec/jpeg"),
    ("codec/jpeg", "codec/j2k"),
    ("codec/jpeg", "src/kernels"),
    ("codec/j2k", "src/kernels/wavelet"),
    ("codec/pictures", "codec/jpeg"),
    ("codec/base", "codec/pictures"),
    ("codec/j2k", "codec/formats"),
    ("codec/formats", "codec/api"),
    ("codec/cli", "codec/base"),
    ("codec/cli", "codec/formats"),
    ("codec/cli", "src/frame"),
    ("codec/cli", "src/kernels"),
    ("proof", "src/kernels"),
    ("proof/golden", "src/kernels/entropy"),
    ("proof", "codec/cli"),
    ("codec/formats", "proof"),
]


def self_check():
    """Fails unless each planted arrow is reported with file and line, also one through another header."""
    with tempfile.TemporaryDirectory() as directory:
        root = pathlib.Path(directory)
        for folder in ("include", "core", "src", "proof", "codec", "examples"):
            shutil.copytree(ROOT / folder, root / folder)

        def report_of(files):
            for path, text in files.items():
                (root / path).write_text(text)
            found = list(complaints(root, files))
            for path in files:
                (root / path).unlink()
            return found

        def expect(where, files):
            found = report_of(files)
            if not any(line.startswith(f"{where}: ") for line in found):
                sys.exit(f"{files} was not reported as {where}; what was: {found}")

        for folder, target in UPWARD:
            headers = sorted(p for p in (root / target).iterdir() if p.suffix == ".h")
            header = next(p for p in headers if p.relative_to(root).as_posix() not in SHARED)
            top = target.split("/")[0]
            relative = header.relative_to(root if top == "proof" else root / top)
            expect(f"{folder}/planted.cpp:2", {f"{folder}/planted.cpp": f'\n#include "{relative}"\n'})
        expect("src/exports/planted.cpp:1", {
            "src/exports/planted.cpp": '#include "kernels/dct/planted.h"\n',
            "src/kernels/dct/planted.h": '#include "kernels/vec/vec.h"\n',
        })
        # The tool is built on the codec's interface alone, which nothing below that interface knows.
        for path, header in ("codec/cli/planted.cpp", "moxj.h"), ("codec/formats/planted.cpp", "moxcodec.h"):
            expect(f"{path}:1", {path: f'#include "{header}"\n'})
        (root / "src/kernels/new").mkdir()
        expect("src/kernels/new/planted.h:1", {"src/kernels/new/planted.h": ""})
    print(f"{len(UPWARD) + 4} planted mistakes were all reported")


def main():
    if sys.argv[1:] == ["--self"]:
        return self_check()
    root = pathlib.Path(sys.argv[1]) if sys.argv[1:] else ROOT
    found = list(complaints(root))
    print(*found, sep="\n", end="\n" if found else "")
    if not found:
        print(f"{len(list(sources(root)))} files in {len(LAYERS)} layers: all includes run downward")
    sys.exit(bool(found))


if __name__ == "__main__":
    main()

#!/usr/bin/env python3
"""Every exported function has a picture of the tool, the file codec or an example going through it.

usage: tests/pictured/check.py [--list]   fails for the exports that nothing calls; --list prints who calls each
       tests/pictured/check.py --self     plants mistakes in a copy; each must be reported

A call is the name of the function in the code, not in a comment or a text, of codec/ or examples/."""

import pathlib
import re
import shutil
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
FOLDERS = ("codec", "examples")
NO_CODE = re.compile(r'//[^\n]*|/\*.*?\*/|"(?:\\.|[^"\\\n])*"', re.DOTALL)


def callers(root):
    """The exports, each with the files that use it; those of the codec come first."""
    found = {name: [] for name in (root / "tests/exports.txt").read_text().split()}
    for folder in FOLDERS:
        for path in sorted((root / folder).rglob("*")):
            if path.suffix in (".c", ".cpp", ".h"):
                for name in set(re.findall(r"\bmox\w+", NO_CODE.sub(" ", path.read_text()))) & found.keys():
                    found[name].append(str(path.relative_to(root)))
    return found


def complaints(root):
    for name, files in callers(root).items():
        if not files:
            yield f"{name}: no picture goes through it, neither in {' nor in '.join(FOLDERS)}"


def self_check():
    """Fails unless a call that is missing is reported, and one in a comment or a text counts for nothing."""
    name = "moxiDiffPredRow_JPEG_16s_C1"
    with tempfile.TemporaryDirectory() as directory:
        copy = pathlib.Path(directory)
        (copy / "tests").mkdir()
        (copy / "tests/exports.txt").write_text(name + "\n")
        for folder in FOLDERS:
            shutil.copytree(ROOT / folder, copy / folder, ignore=shutil.ignore_patterns("__pycache__"))
        if list(complaints(copy)):
            return f"{name} is called, but this is not seen"
        for path in [path for folder in FOLDERS for path in (copy / folder).rglob("*") if path.is_file()]:
            if name.encode() in path.read_bytes():
                path.write_text(f'/* {name}\n */ // {name}\nconst char* text = "\\"{name}()";\n')
        if len(list(complaints(copy))) != 1:
            return f"{name} is not called, but this is not reported"
    return ""


def main():
    if sys.argv[1:] == ["--self"]:
        sys.exit(self_check() or 0)
    if sys.argv[1:] == ["--list"]:
        for name, files in callers(ROOT).items():
            print(f"{name:45} {', '.join(files) or '-'}")
    found = list(complaints(ROOT))
    print("\n".join(found) or f"{len(callers(ROOT))} exports have a picture")
    sys.exit(bool(found))


if __name__ == "__main__":
    main()

#!/usr/bin/env python3
"""The form of the sources: clang-format leaves no difference, and no line is longer than 120 characters.

usage: tests/style/format.py          checks; names file and line of every difference
       tests/style/format.py --fix    lets clang-format rewrite the sources"""

import os
import pathlib
import shutil
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
# C and C++ in these folders.
FORMATTED = ["src", "include", "core", "codec", "pages", "proof", "tests", "fuzz", "bench", "examples", "python"]
C_SUFFIXES = {".c", ".h", ".cpp", ".hpp"}
OTHER_SUFFIXES = {".cmake", ".py", ".pyi", ".in", ".map", ".sh"}  # files without a suffix are scripts
NOT_OURS = {"build", "__pycache__"}  # and whatever begins with a dot, but .ci
LONGEST = 120
VERSION = 14  # other versions format differently


def sources():
    """Every file of C, C++, CMake, shell and Python, relative to the root."""
    for directory, folders, files in os.walk(ROOT):
        folders[:] = sorted(f for f in folders if f not in NOT_OURS and (f == ".ci" or not f.startswith(".")))
        for name in sorted(files):
            path = pathlib.Path(directory, name)
            code = path.suffix in C_SUFFIXES | OTHER_SUFFIXES or name == "CMakeLists.txt"
            if code or not path.suffix and path.read_bytes().startswith(b"#!"):
                yield path.relative_to(ROOT)


def clang_format():
    """The command of the wanted version."""
    for command in (f"clang-format-{VERSION}", "clang-format"):
        if shutil.which(command):
            version = subprocess.run([command, "--version"], capture_output=True, text=True, check=True).stdout
            if f"version {VERSION}." in version:
                return command
    sys.exit(f"format.py: clang-format {VERSION} is needed (Debian: clang-format-{VERSION})")


def differences(command, paths):
    """Each place that clang-format would change."""
    run = subprocess.run([command, "--dry-run", "--Werror", *map(str, paths)], cwd=ROOT, capture_output=True, text=True)
    found = [line for line in run.stderr.splitlines() if "clang-format-violations" in line]
    if run.returncode != 0 and not found:
        sys.exit(f"format.py: {command} failed: {run.stderr}")
    return found


def long_lines(path):
    for number, line in enumerate((ROOT / path).read_text().splitlines(), 1):
        if len(line) > LONGEST:
            yield f"{path}:{number}: {len(line)} characters, more than {LONGEST}"


def main():
    files = list(sources())
    formatted = [path for path in files if path.suffix in C_SUFFIXES and path.parts[0] in FORMATTED]
    command = clang_format()
    if sys.argv[1:] == ["--fix"]:
        subprocess.run([command, "-i", *map(str, formatted)], cwd=ROOT, check=True)
        formatted = []
    elif sys.argv[1:]:
        sys.exit(__doc__)
    complaints = differences(command, formatted) if formatted else []
    complaints += [c for path in files for c in long_lines(path)]
    print(*complaints, sep="\n", end="\n" if complaints else "")
    if not complaints:
        print(f"{len(files)} files, {len(formatted)} of them through clang-format: no difference")
    sys.exit(bool(complaints))


if __name__ == "__main__":
    main()

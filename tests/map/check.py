#!/usr/bin/env python3
"""The table "Every export" of src/README.md is true.

usage: tests/map/check.py [ROOT]      every exported name stands in one row, and every row points at what it says
       tests/map/check.py --self      plants mistakes in a copy of the table; each must be reported

A row is: exported names | their file | files of their kernels | files of their definitions. Files are relative to src.
Words between backticks, in the last two columns, stand in one of the files before them; a dash means that there is
none."""

import pathlib
import re
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
HEADING = "Every export"
WORD = re.compile(r"`([^`]+)`")
FILE = re.compile(r"[\w./]+\.(?:cpp|h)\b")


def rows(text):
    """(line, cells) of the table under the heading."""
    lines = text.splitlines()
    heading = next((i for i, line in enumerate(lines) if re.fullmatch(rf"#+ {HEADING}", line)), len(lines))
    for number, line in enumerate(lines[heading + 1:], heading + 2):
        if line.startswith("#"):
            break
        if line.startswith("|") and "`" in line:
            yield number, [cell.strip() for cell in line.strip().strip("|").split("|")]


def defines(text, name):
    """Whether a source has the function's body and not only its declaration."""
    return re.search(rf"^\S[^;{{}}()]*\b{name}\([^;{{}}]*\{{", text, re.MULTILINE) is not None


def complaints(root):
    source = root / "src"
    exports = (root / "tests/exports.txt").read_text().split()
    counts = dict.fromkeys(exports, 0)
    table = list(rows((source / "README.md").read_text()))
    if not table:
        yield f'src/README.md:1: no table under "{HEADING}"'
    for number, cells in table:
        where = f"src/README.md:{number}"
        if len(cells) != 4:
            yield f"{where}: {len(cells)} columns, not 4"
            continue
        files = [[source / name for name in FILE.findall(WORD.sub("", cell))] for cell in cells]
        missing = [str(path.relative_to(source)) for column in files[1:] for path in column if not path.is_file()]
        if missing:
            yield f"{where}: there is no {', '.join(missing)}"
            continue
        names = WORD.findall(cells[0])
        if len(files[1]) != 1:
            yield f"{where}: one file defines the names of a row"
            continue
        text = files[1][0].read_text()
        for name in names:
            if name not in counts:
                yield f"{where}: {name} is not exported"
                continue
            counts[name] += 1
            if not defines(text, name):
                yield f"{where}: {cells[1]} does not define {name}"
        for column in (2, 3):
            if not files[column] and not cells[column].startswith(("—", "-")):
                yield f"{where}: column {column + 1} names no file"
            texts = "\n".join(path.read_text() for path in files[column])
            for word in WORD.findall(cells[column]):
                if not re.search(rf"\b{re.escape(word)}\b", texts):
                    yield f"{where}: {word} is not in {', '.join(p.name for p in files[column]) or 'any file'}"
    for name, count in counts.items():
        if count != 1:
            yield f"src/README.md:1: {name} stands in {count} rows, not in one"


def self_check():
    """Fails unless each mistake planted in the table is reported."""
    good = (ROOT / "src/README.md").read_text()
    line, cells = next((line, cells) for line, cells in rows(good) if "`" in cells[2] and "`" in cells[3])
    row = good.splitlines()[line - 1]
    name, kernel, definition = (WORD.findall(cells[column])[0] for column in (0, 2, 3))
    other = next(cells for _, cells in rows(good) if cells[1] != row.split("|")[2].strip())
    mistakes = {
        "a missing row": good.replace(row + "\n", ""),
        "a row twice": good.replace(row, row + "\n" + row),
        "an unknown name": good.replace(f"`{name}`", f"`{name}X`", 1),
        "the file of others": good.replace(row, row.replace(cells[1], other[1])),
        "a kernel's file that is not there": good.replace(row, row.replace(".cpp `", "_x.cpp `")),
        "an unknown kernel": good.replace(row, row.replace(f"`{kernel}`", "`noKernel`")),
        "an unknown definition": good.replace(row, row.replace(f"`{definition}`", "`noDefinition`")),
        "no table": good.replace(HEADING, "Some exports"),
    }
    with tempfile.TemporaryDirectory() as directory:
        root = pathlib.Path(directory)
        (root / "src").mkdir()
        for path in (ROOT / "src").iterdir():
            if path.name != "README.md":
                (root / "src" / path.name).symlink_to(path)
        (root / "tests").symlink_to(ROOT / "tests")
        for what, text in mistakes.items():
            assert text != good, what
            (root / "src/README.md").write_text(text)
            if not list(complaints(root)):
                sys.exit(f"planted, and not reported: {what}")
        (root / "src/README.md").write_text(good)
        if found := list(complaints(root)):
            sys.exit("\n".join(found))
    print(f"{len(mistakes)} planted mistakes were all reported")


def main():
    if sys.argv[1:] == ["--self"]:
        return self_check()
    root = pathlib.Path(sys.argv[1]) if sys.argv[1:] else ROOT
    found = list(complaints(root))
    print(*found, sep="\n", end="\n" if found else "")
    if not found:
        print(f"{len((root / 'tests/exports.txt').read_text().split())} exports, each in one row of the map")
    sys.exit(bool(found))


if __name__ == "__main__":
    main()

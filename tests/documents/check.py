#!/usr/bin/env python3
"""Checks the Markdown files of the project: links lead somewhere, code blocks can be run, and the options that tables
for users of other tools name exist. usage: check.py links [FOLDER] | package | options MOXJ | formats MOXJ | --self

"package" checks the links of what debian/moxj-doc.install selects, in the folders where it goes."""

import pathlib
import re
import shutil
import subprocess
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parents[2]


def documents(root):
    return [path for path in sorted(root.rglob("*.md"))
            if not {"build", ".git", "demo-output"} & set(path.relative_to(root).parts)]


def without_code(text):
    return re.sub(r"`[^`\n]*`", "", re.sub(r"^```.*?^```", "", text, flags=re.M | re.S))


def anchors(path):
    """The names of a document's headings, as renderers of Markdown make them."""
    text = re.sub(r"^```.*?^```", "", path.read_text(encoding="utf-8"), flags=re.M | re.S)
    headings = re.findall(r"^#+ +(.*?)\s*$", text, re.M)
    return {re.sub(r"[^\w\- ]", "", heading.lower()).replace(" ", "-") for heading in headings}


def broken_links(root):
    for path in documents(root):
        for target in re.findall(r"\]\(([^)\s]+)\)", without_code(path.read_text(encoding="utf-8"))):
            if re.match(r"[a-z]+:", target):
                continue
            name, _, anchor = target.partition("#")
            file = (path.parent / name).resolve() if name else path
            if not file.exists():
                yield f"{path.relative_to(root)}: {target}: there is no such file"
            elif anchor and anchor not in anchors(file):
                yield f"{path.relative_to(root)}: {target}: there is no such heading"


def install(root, rules, folder):
    """Copies files as dh_install does: each line of the rules names some, and the folder for them."""
    for line in rules.splitlines():
        *names, target = line.split()
        for source in (source for name in names for source in root.glob(name)):
            copy = folder / target / source.name
            copy.parent.mkdir(parents=True, exist_ok=True)
            if source.is_dir():
                shutil.copytree(source, copy, ignore=shutil.ignore_patterns("__pycache__"))
            else:
                shutil.copy(source, copy)


def broken_links_of_package():
    rules = (ROOT / "debian/moxj-doc.install").read_text(encoding="utf-8")
    with tempfile.TemporaryDirectory() as folder:
        root = pathlib.Path(folder).resolve()
        install(ROOT, rules, root)
        yield from broken_links(root)


def unrun_code(root):
    """Code blocks that tests/documents/run.py would not find: indented, or without a known language."""
    for path in documents(root):
        text = path.read_text(encoding="utf-8")
        for match in re.finditer(r"^```(\S*)[^\n]*\n.*?^```", text, re.M | re.S):
            if match[1] not in {"c", "python", "sh", "cmake", "output", "text"}:
                yield f"{path.relative_to(root)}: a code block of the language '{match[1]}'"
        plain = re.sub(r"^```.*?^```", "", text, flags=re.M | re.S)
        if re.search(r"(?:^|\n\n)(?![-*0-9 ])[^\n]+(?:\n[^\n]+)*\n\n    \S", plain):
            yield f"{path.relative_to(root)}: an indented code block: fence it, with its language"


def tables_of_options(text):
    """Of each row in a section "## tool: `moxj COMMAND IN OUT.x`": (command, OUT.x, options of the tool, ours)."""
    for section in re.split(r"^## ", text, flags=re.M)[1:]:
        command = re.match(r".*?`moxj (\w+) [^`]*?(OUT[.\w]*)", section)
        for theirs, ours in re.findall(r"^\|([^|]*)\|([^|]*)\|", section, re.M) if command else ():
            yield (command[1], command[2], *(re.findall(r"`(--?[A-Za-z][-\w]*)", cell) for cell in (theirs, ours)))


def wrong_options(text, moxj):
    """Options in the second column that a command does not have; and in the first, those that it refuses without a hint
    at their counterpart."""
    for command, output, theirs, ours in tables_of_options(text):
        known = re.findall(r"^  (?:-h, )?(-[-\w]+)", moxj(command, "--help").stdout, re.M)
        for option in ours:
            if option not in known:
                yield f"{command} has no option {option}"
        for option in theirs if ours else ():
            answer = moxj(command, "absent", output, option, "9").stderr
            refused = re.search("unknown option|is not for", answer)
            if refused and not any(re.search(name + r"\b", answer) for name in ours):
                yield f"{command} {option}: {answer.strip()}"


def table_of_formats(text):
    """The first table of docs/formats.md: (label, extensions, whether it is read, whether it is written)."""
    for row in re.findall(r"^\| ([^|]+) \| ((?:`\.\w+` ?)+)\| ([^|]+) \| ([^|]+) \|$", text, re.M):
        yield row[0].split(",")[0], re.findall(r"\.(\w+)", row[1]), row[2] != "-", row[3] != "-"


def wrong_formats(text, moxj, folder):
    """Where the table differs from what the tool does and says: each extension is written, and read again."""
    table = list(table_of_formats(text))
    helps = {command: moxj(command, "--help").stdout for command in ("encode", "decode")}
    read = set(re.split(r", | or ", re.search(r"Reads ([^;]*);", helps["decode"])[1].replace("\n", " ")))
    written = {name for text in helps.values()
               for name in re.split(r", | or ", re.search(r"writes ([^.]*)\.", text)[1].replace("\n", " "))}
    if read != {label for label, _, reads, _ in table if reads and " or " not in label}:
        yield f"read are {sorted(read)}"
    if written != {extensions[0] for _, extensions, _, writes in table if writes}:
        yield f"written are {sorted(written)}"
    picture = folder / "grey.pgm"
    picture.write_bytes(b"P5 9 7 255\n" + bytes(63))
    for label, extensions, reads, _ in table:
        for extension in extensions:
            file = folder / f"out.{extension}"
            command = "encode" if label.startswith("JPEG") else "decode"
            if moxj(command, picture, file).returncode != 0:
                yield f".{extension}: not written"
            described = re.match(r"format +(.*)", moxj("info", file).stdout)
            if bool(described) != reads:
                yield f".{extension}: {'not ' if reads else ''}read"
            elif reads and not any(described[1].startswith(name) for name in label.split(" or ")):
                yield f".{extension}: is {described[1]}"


def self_test():
    with tempfile.TemporaryDirectory() as folder:
        root = pathlib.Path(folder).resolve() / "build"  # of what is below it, not of where it is
        root.mkdir()
        links = "[x](b.md) [y](#one-two) `[z](none)` [w](c.md#no) [v](https://e.org)"
        (root / "a.md").write_text(f"# One: `two`\n{links}\n")
        (root / "c.md").write_text("[u](a.md#one-two)\n```\n# no\n```\n")
        assert list(broken_links(root)) == ["a.md: b.md: there is no such file",
                                            "a.md: c.md#no: there is no such heading"]
        (root / "b.md").write_text("")
        install(root, "b.md doc\n*c.md doc/lower\n", root / "package")
        assert list(broken_links(root / "package")) == [
            "doc/lower/c.md: a.md#one-two: there is no such file"], list(broken_links(root / "package"))
        shutil.rmtree(root / "package")
        (root / "a.md").write_text("- list\n\n    of it\n\ntext\n\n```sh\nx\n```\n")
        (root / "c.md").write_text("text\n\n    x\n\n```\ny\n```\n")
        assert list(unrun_code(root)) == ["c.md: a code block of the language ''",
                                          "c.md: an indented code block: fence it, with its language"]
        table = "| format | | | |\n| A, x | `.a` `.b` | yes | - |\n| B or A | `.c` | - | yes |\n"
        assert list(table_of_formats(table)) == [("A", ["a", "b"], True, False), ("B or A", ["c"], False, True)]
        answer = subprocess.CompletedProcess([], 0, "Reads A; writes c or d.\nformat A\n", "")
        assert list(wrong_formats(table, lambda *words: answer, root)) == ["written are ['c', 'd']", ".a: not read",
                                                                           ".b: not read"]
    text = ("## x: `moxj encode IN OUT.y`\n| `-a` | `--good`, `--bad` | |\n| `-b`, `c` | `-o` | |\n| `-d` | | |\n"
            "## y\n| `-a` | `--other` | |\n")
    answer = subprocess.CompletedProcess([], 1, "  --good N  help\n  -o FILE  help\n", "unknown option; use --good x\n")
    assert list(wrong_options(text, lambda *words: answer)) == [
        "encode has no option --bad", "encode -b: unknown option; use --good x"]


def main():
    if sys.argv[1:] == ["--self"]:
        return self_test()
    if sys.argv[1:] == ["links"]:
        complaints = [*broken_links(ROOT), *unrun_code(ROOT)]
    elif len(sys.argv) == 3 and sys.argv[1] == "links":
        root = pathlib.Path(sys.argv[2]).resolve()
        complaints = list(broken_links(root)) if documents(root) else [f"{root}: there are no documents"]
    elif sys.argv[1:] == ["package"]:
        complaints = list(broken_links_of_package())
    elif len(sys.argv) == 3 and sys.argv[1] in ("formats", "options"):
        def moxj(*words):
            return subprocess.run([sys.argv[2], *words], capture_output=True, text=True, check=False)

        if sys.argv[1] == "formats":
            with tempfile.TemporaryDirectory() as folder:
                complaints = list(wrong_formats(
                    (ROOT / "docs/formats.md").read_text(encoding="utf-8"), moxj, pathlib.Path(folder)))
        else:
            complaints = list(wrong_options((ROOT / "docs/from-other-tools.md").read_text(encoding="utf-8"), moxj))
    else:
        sys.exit(__doc__)
    print("\n".join(complaints))
    sys.exit(1 if complaints else 0)


if __name__ == "__main__":
    main()

#!/usr/bin/env python3
"""Runs the code blocks of a Markdown file, from first to last, in a folder of their own.
usage: run.py DOCUMENT | --self          needs PREFIX, an installed copy; CC; PYTHONPATH with the package

  c        a program: it gets the name that the next block of the shell compiles (cc ... NAME.c);
           statements: the body of a main(), compiled with the headers and run; a MoxcKind `kind` must be moxcOk
  python   statements, in one interpreter for the whole document; or a program, if the next block of the shell runs
           NAME.py for which there is no file
  sh       run by bash, which ends at the first failure
  cmake    a CMakeLists.txt, configured and built; program.c is there
  output   what the block before has printed
  text     not run

The folder has photo.png, photo.jpg, photo.jp2, scan16.png (16 bits), program.c (a program of libmoxcodec), the folder
scans with pictures, and the project's folder examples."""

import ast
import importlib.util
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parents[2]
LANGUAGES = {"c", "python", "sh", "cmake", "output", "text"}

# Commands that this test does not run, and who runs them.
NOT_RUN = {
    r"scripts/install-deps .*": "installs packages; the other scripts call it",
    r"(cmake --preset|cmake --build|ctest --test-dir) .*": "stages of scripts/test",
    r"(sudo )?cmake --install .*": "tests/install",
    r"ldconfig": "for root",
    r"scripts/(test|check|mutate|fuzz|packages|bench|compare-speed|bench-python|demo|conformance)\b.*":
        "take long, or run this test",
    r"scripts/(site|report|release|coverage)\b.*":
        "take long, or run this test",
    r"(env/bin/)?pip install \./python|python3 -m venv .*": "tests/python/test_install.py",
    r"sudo apt install .*": "installs packages",
}

HEADERS = "".join(f"#include <{name}.h>\n" for name in ("moxcodec", "moxj", "stdio", "stdlib", "string"))
PROGRAM = HEADERS + "int main(void) { puts(moxcVersion()); return 0; }\n"


class Failure(Exception):
    pass


def blocks_of(text):
    """(language, line, text) of each fenced block."""
    for match in re.finditer(r"^```(\S*)\n(.*?)^```$", text, re.M | re.S):
        yield match[1], text.count("\n", 0, match.start()) + 1, match[2]


def is_program(text):
    return re.search(r"^int main\(", text, re.M) is not None


def commands_of(text):
    """The commands that are run."""
    return "".join(line for line in text.splitlines(keepends=True)
                   if not any(re.fullmatch(pattern, line.split(" #")[0].strip()) for pattern in NOT_RUN))


class Folder:
    """Where a document's blocks run."""

    def __init__(self, path):
        self.path = path
        prefix = pathlib.Path(os.environ["PREFIX"])
        library = prefix / os.environ.get("LIBDIR", "lib")
        options = "-std=c99 -pedantic-errors -Wall -Wextra -Werror"
        self.tool("cc", f'{shutil.which(os.environ.get("CC", "cc"))} {options} "$@" -lm')
        self.tool("python3", f'{sys.executable} -B "$@"')
        self.environment = {**os.environ, "PATH": f"{path / 'bin'}:{prefix / 'bin'}:{os.environ['PATH']}",
                            "PKG_CONFIG_PATH": str(library / "pkgconfig"), "LD_LIBRARY_PATH": str(library),
                            "CMAKE_PREFIX_PATH": str(prefix), "LC_ALL": "C.UTF-8"}
        self.names, self.output = {"__name__": "document"}, ""

    def tool(self, name, command):
        (self.path / "bin").mkdir(exist_ok=True)
        (self.path / "bin" / name).write_text(f"#!/bin/sh\nexec {command}\n")
        (self.path / "bin" / name).chmod(0o755)

    def run(self, *command, quiet=False):
        done = subprocess.run(command, cwd=self.path, env=self.environment, text=True, capture_output=True,
                              timeout=120, check=False)
        self.output = done.stdout
        if done.returncode != 0 or (quiet and done.stderr):
            raise Failure(f"status {done.returncode}\n{done.stdout[-3000:]}{done.stderr[-3000:]}")

    def prepare(self):
        """The pictures, and what else documents take for granted."""
        width, height = 640, 480
        samples = bytes((x * x // 40 + 3 * y + 50 * c) // 4 % 200 for y in range(height) for x in range(width)
                        for c in range(3))
        (self.path / "photo.ppm").write_bytes(b"P6 %d %d 255\n" % (width, height) + samples)
        deep = b"".join(((x * y) % 65536).to_bytes(2, "big") for y in range(200) for x in range(300))
        (self.path / "scan16.pgm").write_bytes(b"P5 300 200 65535\n" + deep)
        (self.path / "program.c").write_text(PROGRAM)
        (self.path / "examples").symlink_to(ROOT / "examples")
        (self.path / "scans").mkdir()
        for line in ("decode photo.ppm photo.png", "encode photo.ppm photo.jpg", "encode photo.ppm photo.jp2",
                     "decode scan16.pgm scan16.png", "encode photo.png scans/a.jpg", "encode scan16.png scans/b.jp2"):
            self.run("moxj", *line.split(), "--quiet")
        for name in ("photo.ppm", "scan16.pgm"):
            (self.path / name).unlink()

    def statements_in_c(self, text):
        check = "return kind == moxcOk ? 0 : 1;\n" if "MoxcKind kind" in text else "return 0;\n"
        (self.path / "statements.c").write_text(f"{HEADERS}int main(void) {{\n{text}{check}}}\n")
        # Not every header is needed by every block.
        compile_and_run = "cc -o statements statements.c $(pkg-config --cflags --libs moxcodec moxj) && ./statements"
        self.run("sh", "-c", compile_and_run, quiet=True)

    def statements_in_python(self, text, line):
        # From a file, so that processes that are started find nothing to run again; with its line numbers.
        code = compile(ast.increment_lineno(ast.parse(text), line), "document", "exec")
        with Output(self) as output:
            exec(code, self.names)
        self.output = output.text()

    def cmake(self, text):
        folder = self.path / "cmake"
        folder.mkdir(exist_ok=True)
        (folder / "program.c").write_text(PROGRAM)
        (folder / "CMakeLists.txt").write_text(text)
        cmake = os.environ.get("CMAKE", "cmake")
        self.run(cmake, "-S", str(folder), "-B", str(folder / "build"))
        self.run(cmake, "--build", str(folder / "build"))


class Output:
    """Standard output of Python statements, those of the folder being the current one."""

    def __init__(self, folder):
        self.folder = folder

    def __enter__(self):
        import contextlib
        import io
        self.stack, self.buffer = contextlib.ExitStack(), io.StringIO()
        self.stack.enter_context(contextlib.chdir(self.folder.path))
        self.stack.enter_context(contextlib.redirect_stdout(self.buffer))
        return self

    def __exit__(self, *error):
        self.stack.close()

    def text(self):
        return self.buffer.getvalue()


def name_in(command_blocks, extension, folder):
    """The name of a program that the following commands use and that is not there yet."""
    for text in command_blocks[:1]:
        for name in re.findall(rf"[\w/-]+\.{extension}\b", commands_of(text)):
            if not (folder.path / name).exists():
                return name
    return None


def run_block(folder, blocks, index):
    language, line, text = blocks[index]
    following = [later[2] for later in blocks[index + 1:] if later[0] == "sh"]
    name = name_in(following, "py" if language == "python" else "c", folder)
    if language not in LANGUAGES:
        raise Failure(f"a block of no known language: '{language}'")
    if language == "c" and is_program(text):
        if not name:
            raise Failure("no commands compile this program")
        (folder.path / name).write_text(text)
    elif language == "c":
        folder.statements_in_c(text)
    elif language == "python" and name:
        (folder.path / name).write_text(text)
    elif language == "python":
        folder.statements_in_python(text, line)
    elif language == "sh":
        folder.run("bash", "-euo", "pipefail", "-c", commands_of(text))
    elif language == "cmake":
        folder.cmake(text)
    elif language == "output" and text.split() != folder.output.split():
        raise Failure(f"it printed\n{folder.output}")


def needed_modules(blocks):
    """Those that may be missing: the package itself is only built where NumPy and pybind11 are."""
    for language, _, text in blocks:
        if language == "python":
            yield from re.findall(r"^(?:import|from) (dask|distributed|moxj|numcodecs|numpy|zarr)\b", text, re.M)
        elif language == "sh" and "python3" in commands_of(text):
            yield "moxj"
            if "cluster.py" in text:
                yield "distributed"


def run(text, name):
    """The complaint about a document, or None."""
    blocks = list(blocks_of(text))
    missing = [module for module in needed_modules(blocks) if importlib.util.find_spec(module) is None]
    if missing:
        print("skipped: needs Python's", ", ".join(missing))
        return None
    if not shutil.which("pkg-config") and any(language == "c" or "pkg-config" in text for language, _, text in blocks):
        print("skipped: needs pkg-config")
        return None
    with tempfile.TemporaryDirectory(prefix="moxj-document-") as path:
        folder = Folder(pathlib.Path(path))
        folder.prepare()
        for index, (_, line, _) in enumerate(blocks):
            try:
                run_block(folder, blocks, index)
            except Exception as error:  # whatever an example raises
                return f"{name}:{line}: {type(error).__name__}: {error}"
    return None


def self_test():
    def complaint(text):
        return run(text, "x.md") or ""

    assert complaint("```sh\nmoxj info photo.png | head -n 1\n```\n```output\nPNG\n```\n").startswith("x.md:4: Failure")
    assert "status 2" in complaint("```sh\nmoxj info none.png\ntrue\n```\n")
    assert "status 1" in complaint('```c\nMoxcKind kind = moxcInput;\n```\n')
    assert "no commands compile" in complaint("```c\nint main(void) { return 0; }\n```\n")
    assert "no known language" in complaint("```\nx\n```\n")
    program = "```c\nint main(void) { return 7; }\n```\n```sh\ncc -o a seven.c\n./a && false || echo seven\n```\n"
    assert complaint(program + "```output\nseven\n```\n```sh\nscripts/test --full   # not here\n```\n") == ""
    assert "ZeroDivisionError" in complaint("```python\nimport moxj\n1 / 0\n```\n") or "moxj" not in sys.modules


def main():
    if sys.argv[1:] == ["--self"]:
        return self_test()
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    path = pathlib.Path(sys.argv[1]).resolve()
    complaint = run(path.read_text(encoding="utf-8"), path.relative_to(ROOT))
    sys.exit(complaint)


if __name__ == "__main__":
    main()

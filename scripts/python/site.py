#!/usr/bin/env python3
"""Makes the site: the Markdown files, the reference of the headers and of the Python package, by Doxygen.
usage: site.py FOLDER | --self          FOLDER/html is the site

Doxygen gets copies of the documents: with an anchor for each heading, links as references to its pages, and signs
that it would take for commands escaped. The headers come from pages/headers.py. Any warning of Doxygen is an error, and
so is a link inside the site that leads nowhere."""

import ast
import functools
import html
import html.parser
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import urllib.parse

ROOT = pathlib.Path(__file__).resolve().parents[2]
HEADERS = ["moxj.h", "moxcodec.h", "moxcore.h"]

# The order of the pages beside the text.
DOCUMENTS = ["README.md", "docs/building.md", "docs/tool.md", "docs/formats.md", "docs/faq.md",
             "docs/from-other-tools.md", "docs/codec.md", "docs/python.md", "docs/library.md",
             "docs/tutorials/jpeg-encoder.md", "docs/tutorials/jpeg2000-decoder.md", "docs/tutorials/code-blocks.md",
             "docs/tutorials/from-jpeglib.md", "docs/tutorials/thumbnails.md", "docs/tutorials/zarr-archive.md",
             "docs/performance.md", "docs/threads.md", "docs/exactness.md", "docs/abi.md", "docs/testing.md",
             "docs/architecture.md", "docs/decisions.md", "src/README.md", "src/kernels/README.md", "codec/README.md",
             "CHANGELOG.md", "CONTRIBUTING.md", "SECURITY.md"]

DOXYFILE = """
PROJECT_NAME           = moxj
PROJECT_NUMBER         = {version}
PROJECT_BRIEF          = "JPEG and JPEG 2000: functions, files, a command"
INPUT                  = {inputs}
STRIP_FROM_PATH        = {folder}/input
OUTPUT_DIRECTORY       = {folder}
USE_MDFILE_AS_MAINPAGE = {folder}/input/00-index.md
OPTIMIZE_OUTPUT_FOR_C  = YES
EXTRACT_ALL            = YES
TYPEDEF_HIDES_STRUCT   = YES
SORT_MEMBER_DOCS       = NO
SORT_GROUP_NAMES       = NO
REPEAT_BRIEF           = NO
MACRO_EXPANSION        = YES
EXPAND_ONLY_PREDEF     = YES
PREDEFINED             = MOXJ_API= MOXC_API= MOXCORE_API= MOXC_INLINE= __GNUC__
SHOW_INCLUDE_FILES     = NO
VERBATIM_HEADERS       = NO
TOC_INCLUDE_HEADINGS   = 2
GENERATE_LATEX         = NO
GENERATE_TREEVIEW      = YES
TREEVIEW_WIDTH         = 320
FULL_SIDEBAR           = NO
HTML_EXTRA_STYLESHEET  = {css}
HTML_TIMESTAMP         = NO
HAVE_DOT               = NO
QUIET                  = YES
WARN_IF_UNDOCUMENTED   = NO
WARN_NO_PARAMDOC       = NO
WARN_AS_ERROR          = FAIL_ON_WARNINGS
"""


def slug(heading):
    return re.sub(r"[^\w\- ]", "", heading.lower()).replace(" ", "-")


def page_of(document):
    """The name of a document's page: "tool", "tutorial-jpeg-encoder", "src-kernels-map"."""
    name = document.removesuffix(".md").removeprefix("docs/").replace("tutorials/", "tutorial-")
    name = re.sub("/README$", "-map", name) if name != "README" else "index"
    return re.sub(r"\W+", "-", name.lower())


@functools.cache
def functions():
    """The names of all functions in the headers."""
    names = set()
    for header in HEADERS:
        text = (ROOT / "include" / header).read_text(encoding="utf-8")
        names |= set(re.findall(r"^MOX\w+ .*?\b(mox\w+)\(", text, re.M))
    return names


def title_of(document):
    return re.match("# (.*)", (ROOT / document).read_text(encoding="utf-8"))[1].replace("`", "")


class Document:
    """Rewrites one Markdown file. What it links to besides documents and headers is copied into the site."""

    def __init__(self, name, files):
        self.name, self.files = name, files  # files: of the site, by their path in the project

    def rewritten(self, text):
        parts = re.split(r"(^```.*?^```$)", text, flags=re.M | re.S)
        return "".join(self.code(part) if part.startswith("```") else self.prose(part) for part in parts)

    @staticmethod
    def code(block):
        language = re.match(r"```(\S*)", block)[1]
        known = {"c": ".c", "python": ".py"}.get(language, ".unparsed")
        return re.sub(r"^```\S*", f"~~~{{{known}}}", block)[:-3] + "~~~"

    def prose(self, text):
        # Code and links are put aside while the rest is made safe.
        kept = []

        def keep(made):
            kept.append(made)
            return f"\x00{len(kept) - 1}\x00"

        text = re.sub(r"(?<!`)`([^`\n]+)`", lambda code: keep(self.inline(code[1])), text)
        text = re.sub(r"!\[([^\]]+)\]\(([^)\s]+)\)", lambda image: keep(self.image(image[1], image[2])), text)
        text = re.sub(r"\[([^\]]+)\]\(([^)\s]+)\)", lambda link: keep(self.link(link[1], link[2])), text)
        # Doxygen takes ** beside code for itself.
        text = re.sub(r"\*\*(\S(?:[^*\n]|\n(?!\n))*)\*\*", lambda bold: f"{keep('<b>')}{bold[1]}{keep('</b>')}", text)
        text = re.sub(r"<br>", lambda _: keep("<br>"), text)
        text = re.sub(r"\\([|*])", lambda sign: keep(sign[0]), text)
        text = text.replace("@", "@@").replace("&", "&amp;").replace("<", "&lt;").replace(">", "&gt;")
        text = re.sub(r"#(?=\w)", r"\\#", text)
        text = re.sub(r"^(#+) +(.*?)[ \t]*$", lambda heading: self.heading(heading, kept), text, flags=re.M)
        while "\x00" in text:
            text = re.sub(r"\x00(\d+)\x00", lambda number: kept[int(number[1])], text)
        return text

    def heading(self, match, kept):
        """With the anchor that other documents use."""
        plain = re.sub(r"\x00(\d+)\x00", lambda number: re.sub("<.*?>", "", kept[int(number[1])]), match[2])
        page = page_of(self.name)
        anchor = page if len(match[1]) == 1 else f"{page}-{slug(html.unescape(plain))}"
        if anchor == "index":
            return f"{match[1]} {plain}"  # the main page has its name
        return f"{match[1]} {self.entities(html.unescape(plain))} {{#{anchor}}}"

    def inline(self, code):
        """Code in a line; the name of a function leads to its reference."""
        if code in functions():
            return f'<code>@ref {code} "{code}"</code>'
        return f"<code>{self.entities(code)}</code>"

    @staticmethod
    def entities(code):
        code = code.replace("\\|", "|")
        code = re.sub(r"[\\@#%|$]", lambda sign: "\\" + sign[0], code)
        return html.escape(code, quote=False).replace("--", "\\--")

    def image(self, text, target):
        path = os.path.relpath((ROOT / self.name).parent / target, ROOT)
        self.files.add(path)
        return f'<img src="files/{path}" alt="{text}">'

    def link(self, text, target):
        text = " ".join(text.split())
        if re.match(r"[a-z]+:", target):
            return f"[{text}]({target})"
        name, _, anchor = target.partition("#")
        path = os.path.relpath((ROOT / self.name).parent / name, ROOT) if name else self.name
        if path in DOCUMENTS:
            if re.fullmatch(r"[\w./-]+\.md", text):  # the name of a file
                text = title_of(path)
            return f"@ref {page_of(path)}{'-' + anchor if anchor else ''} \"{text}\""
        if os.path.basename(path) in HEADERS:
            return f"<a href=\"{path_of_file(os.path.basename(path))}\">{text}</a>"
        self.files.add(path)
        return f"<a href=\"files/{path}{'/index.html' if (ROOT / path).is_dir() else ''}\">{text}</a>"


def path_of_file(header):
    """The page that Doxygen makes for a header."""
    return header.replace(".", "_8") + ".html"


# ---- Python ---------------------------------------------------------------------------------------------------------


def signature(node):
    return re.sub(r": \.\.\.$", "", ast.unparse(node).split(":\n")[0]).removesuffix(": ...")


def wrapped_signature(text):
    if len(text) <= 100:
        return text
    head, _, rest = text.partition("(")
    arguments, _, result = rest.rpartition(")")
    return head + "(\n    " + re.sub(r", (?=\*?\*?\w+: |\*,|\*, )", ",\n    ", arguments) + ")" + result


def python_page():
    """The reference of the package: signatures of the stubs, texts of the sources."""
    stubs = ast.parse((ROOT / "python/moxj/__init__.pyi").read_text(encoding="utf-8")).body
    source = ast.parse((ROOT / "python/moxj/__init__.py").read_text(encoding="utf-8"))
    errors = ast.parse((ROOT / "python/moxj/_errors.py").read_text(encoding="utf-8"))
    texts = {node.name: ast.get_docstring(node) or "" for tree in (source, errors) for node in tree.body
             if isinstance(node, (ast.FunctionDef, ast.ClassDef))}
    out = ["# Python: reference {#python-reference}", "", "~~~{.unparsed}", ast.get_docstring(source), "~~~", ""]
    names = [node for node in stubs if isinstance(node, (ast.FunctionDef, ast.ClassDef))
             and not node.name.startswith("_")]
    for name in dict.fromkeys(node.name for node in names):
        out += [f"## {name} {{#python-{name}}}", "", "~~~{.py}"]
        for node in (node for node in names if node.name == name):
            node.decorator_list = []
            out.append(ast.unparse(node).replace(":\n    ...", "") if isinstance(node, ast.ClassDef)
                       else wrapped_signature(signature(node)))
        out += ["~~~", ""]
        if texts.get(name):
            out += ["~~~{.unparsed}", texts[name], "~~~", ""]
    return "\n".join(out)


# ---- Links of the result --------------------------------------------------------------------------------------------


class Page(html.parser.HTMLParser):
    def __init__(self, text):
        super().__init__()
        self.links, self.anchors = set(), set()
        self.feed(text)

    def handle_starttag(self, tag, attributes):
        values = dict(attributes)
        self.anchors |= {values.get("id"), values.get("name")} - {None}
        self.links |= {values.get("href"), values.get("src")} - {None}


def broken_links(folder):
    pages = {path: Page(path.read_text(encoding="utf-8")) for path in sorted(folder.rglob("*.html"))}
    for path, page in pages.items():
        for link in sorted(page.links):
            if re.match(r"[a-z]+:|//", link) or link == "#":
                continue
            name, _, anchor = link.partition("#")
            target = (path.parent / urllib.parse.unquote(name.partition("?")[0])).resolve() if name else path
            if not target.exists():
                yield f"{path.relative_to(folder)}: {link}: there is no such file"
            elif anchor and target in pages and anchor not in pages[target].anchors:
                yield f"{path.relative_to(folder)}: {link}: there is no such anchor"


# ---------------------------------------------------------------------------------------------------------------------


def copy_files(names, folder):
    for name in sorted(names):
        source, target = ROOT / name, folder / "files" / name
        target.parent.mkdir(parents=True, exist_ok=True)
        if source.is_dir():
            files = sorted(path.name for path in source.iterdir() if path.is_file())
            shutil.copytree(source, target, dirs_exist_ok=True, ignore=shutil.ignore_patterns("__pycache__"))
            items = "".join(f'<li><a href="{file}">{file}</a></li>\n' for file in files)
            (target / "index.html").write_text(f"<!DOCTYPE html>\n<title>{name}</title>\n<h1>{name}</h1>\n<ul>\n"
                                               f"{items}</ul>\n", encoding="utf-8")
        else:
            shutil.copy(source, target)


def version():
    numbers = re.findall(r"^#define MOXJ_VERSION_(?:MAJOR|MINOR|PATCH) (\d+)",
                         (ROOT / "include/moxj.h").read_text(encoding="utf-8"), re.M)
    return ".".join(numbers)


def make(folder):
    """The complaints."""
    unlisted = sorted({str(path.relative_to(ROOT)) for path in (ROOT / "docs").rglob("*.md")} - set(DOCUMENTS))
    if unlisted:
        return [f"{name} is not in DOCUMENTS of scripts/python/site.py" for name in unlisted]
    for part in ("input", "html"):
        shutil.rmtree(folder / part, ignore_errors=True)
    (folder / "input").mkdir(parents=True)
    files, inputs = set(), []
    for number, name in enumerate(DOCUMENTS):
        inputs.append(folder / "input" / f"{number:02}-{page_of(name)}.md")
        inputs[-1].write_text(Document(name, files).rewritten((ROOT / name).read_text(encoding="utf-8")),
                              encoding="utf-8")
    reference = folder / "input" / "python-reference.md"
    reference.write_text(python_page(), encoding="utf-8")
    inputs.insert(DOCUMENTS.index("docs/python.md") + 1, reference)
    for header in HEADERS:
        made = subprocess.run([sys.executable, "-B", ROOT / "pages/headers.py", "doxygen", ROOT / "include" / header],
                              capture_output=True, text=True, check=True).stdout
        inputs.append(folder / "input" / header)
        inputs[-1].write_text(made, encoding="utf-8")
    (folder / "Doxyfile").write_text(DOXYFILE.format(
        version=version(), folder=folder, css=ROOT / "scripts/python/site.css",
        inputs=" ".join(map(str, inputs))), encoding="utf-8")
    done = subprocess.run(["doxygen", folder / "Doxyfile"], capture_output=True, text=True, check=False)
    if done.returncode != 0 or done.stderr:
        return (done.stderr or f"doxygen: status {done.returncode}").replace(f"{folder}/input/", "").splitlines()
    copy_files(files, folder / "html")
    return list(broken_links(folder / "html"))


def self_test():
    files = set()
    document = Document("docs/tool.md", files)
    made = document.rewritten("# The `x`\n\n## A b!\n[f](formats.md#colours) [e](../examples) a@b `8\\|12` \\|\n"
                              "```sh\n@x\n```\n")
    assert made == ("# The x {#tool}\n\n## A b! {#tool-a-b}\n@ref formats-colours \"f\" "
                    "<a href=\"files/examples/index.html\">e</a> a@@b <code>8\\|12</code> \\|\n"
                    "~~~{.unparsed}\n@x\n~~~\n"), made
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        (folder / "a.html").write_text('<a id="x" href="b.html#y">b</a><a href="#x">a</a><a href="c.html">c</a>')
        (folder / "b.html").write_text('<a href="https://example.org/d">d</a>')
        assert list(broken_links(folder)) == ["a.html: b.html#y: there is no such anchor",
                                              "a.html: c.html: there is no such file"]
    assert document.rewritten("`moxcDecode` `moxc`") == '<code>@ref moxcDecode "moxcDecode"</code> <code>moxc</code>'
    assert files == {"examples"}
    assert document.rewritten("**`x` y\nz.** *") == "<b><code>x</code> y\nz.</b> *"
    assert document.rewritten("![a](speed.svg)") == '<img src="files/docs/speed.svg" alt="a">'
    assert page_of("src/kernels/README.md") == "src-kernels-map" and page_of("README.md") == "index"


def main():
    if sys.argv[1:] == ["--self"]:
        return self_test()
    if len(sys.argv) != 2 or sys.argv[1].startswith("-"):
        sys.exit(__doc__)
    folder = pathlib.Path(sys.argv[1]).resolve()
    complaints = make(folder)
    print("\n".join(complaints) if complaints else f"{folder}/html/index.html")
    sys.exit(1 if complaints else 0)


if __name__ == "__main__":
    main()

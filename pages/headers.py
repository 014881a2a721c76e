#!/usr/bin/env python3
"""Reference from the public headers: manual pages of section 3, and headers whose comments Doxygen reads.
usage: headers.py man FOLDER VERSION HEADER...      pages, an alias for each function, and a list of all files
       headers.py names HEADER...                   the files that "man" writes
       headers.py doxygen HEADER                    the header for Doxygen, to standard output
       headers.py --self

A header is a comment that introduces it, and sections, which begin with /* ---- Title ---- */ or /* ==== Title ==== */.
A comment that stands directly before declarations is about all of them, up to the next empty line; any other comment is
about its section. In a comment lines side by side are a paragraph; "term   text" in two columns is a list; what is
indented otherwise stays as it is."""

import pathlib
import re
import sys

BANNER = re.compile(r"^/\* (?:-{4}|={4}) (.*?) [-=]+ \*/$")
FUNCTION = re.compile(r"\b(mox\w+)\((?!\*)")


class Item:
    """A comment and the declarations that it is about, each a text."""

    def __init__(self, comment, declarations):
        self.comment, self.declarations = comment, declarations

    def functions(self):
        return [name for text in self.declarations for name in function_of(text)]


class Section:
    def __init__(self, title, is_part=False):
        self.title, self.items = title, []
        self.is_part = is_part  # of the header: it has the sections that follow

    def functions(self):
        return [name for item in self.items for name in item.functions()]


def function_of(declaration):
    """The name of a function that a declaration declares or defines, as a list of one or none."""
    if re.match(r"typedef|struct|enum|#|extern\b(?! \"C\")", declaration):
        return []
    return FUNCTION.findall(re.sub(r"\{.*", "", declaration, flags=re.S))[:1]


def comment_at(lines, at):
    """The lines of the comment that begins here, without its frame, and the line after it."""
    text = []
    while True:
        line = lines[at]
        text.append(re.sub(r"^ ?\* ?|^/\* ?", "", line.replace("*/", "").rstrip()))
        at += 1
        if "*/" in line:
            break
    while text and not text[-1].strip():
        text.pop()
    return (text[1:] if text and not text[0] else text), at


def declarations_at(lines, at):
    """Declarations up to an empty line outside of braces, or a comment on lines of its own there."""
    found, current, depth = [], [], 0
    while at < len(lines) and (depth or (lines[at].strip() and not lines[at].startswith("/*"))):
        line = lines[at]
        current.append(line)
        code = re.sub(r"/\*.*?(\*/|$)", "", line)
        if line.lstrip().startswith("*"):
            code = line.partition("*/")[2]  # within a comment beside a field
        directive = current[0].startswith(("#", 'extern "C"', "}")) and not line.endswith("\\")
        if not directive:
            depth += code.count("{") - code.count("}")
        ends = "*/" in line.partition("/*")[2] or "/*" not in line
        if depth == 0 and (directive or code.rstrip().endswith((";", "}")) and ends):
            found.append("\n".join(current))
            current = []
        at += 1
    return found + (["\n".join(current)] if current else []), at


def parse(text):
    """(introduction, sections); the first section has no title."""
    lines, at = text.splitlines(), 0
    introduction, sections = None, [Section("")]
    while at < len(lines):
        banner = BANNER.match(lines[at])
        if banner:
            sections.append(Section(banner[1], lines[at].startswith("/* ==")))
            at += 1
        elif lines[at].startswith("/*"):
            comment, at = comment_at(lines, at)
            declarations, at = declarations_at(lines, at)
            if introduction is None:
                introduction = comment
                sections[-1].items.append(Item([], declarations))
            else:
                sections[-1].items.append(Item(comment, declarations))
        elif not lines[at].strip():
            at += 1
        else:
            declarations, at = declarations_at(lines, at)
            sections[-1].items.append(Item([], declarations))
    return introduction, sections


# ---- Comments -------------------------------------------------------------------------------------------------------

TERM = re.compile(r"^ *(\S+(?: \S+)*) {2,}(\S.*)$")


def is_plain(line):
    return bool(line) and not line.startswith("  ") and not re.search(r"\S {3,}\S", line) and not is_bullet(line)


def is_bullet(line):
    return re.match(" *- ", line) is not None


def list_of(block):
    """The terms and texts of two columns, or None."""
    terms, column = [], None
    for line in block:
        term = TERM.match(line)
        if term and "  " not in term[2] and column in (None, term.start(2)):
            terms.append([term[1], term[2]])
            column = term.start(2)
        elif column and len(line) - len(line.lstrip()) == column:
            terms[-1][1] += " " + line.strip()
        else:
            return None
    return terms


def nodes(comment):
    """("text", words), ("list", [[term, text] ...]), ("bullets", [text ...]) or ("as it is", lines)."""
    at = 0
    while at < len(comment):
        if not comment[at].strip():
            at += 1
            continue
        end, plain = at, is_plain(comment[at])
        bullets = is_bullet(comment[at])
        while end < len(comment) and comment[end].strip():
            here = is_plain(comment[end])
            if bullets and here or not bullets and (here != plain or is_bullet(comment[end])):
                break
            end += 1
        block = comment[at:end]
        if bullets:
            yield "bullets", re.split(r"\n *- ", "\n" + re.sub(r"\n(?! *- ) *", " ", "\n".join(block)))[1:]
        elif plain:
            yield "text", " ".join(block)
        else:
            terms = list_of(block)
            yield ("list", terms) if terms else ("as it is", block)
        at = end


# ---- Manual pages ---------------------------------------------------------------------------------------------------


def escaped(text):
    text = text.replace("\\", "\\e").replace("-", "\\-")
    return re.sub(r"^([.'])", r"\\&\1", text, flags=re.M)


def lines_as_they_are(lines):
    return ".PP\n.nf\n" + escaped("\n".join(lines)) + "\n.fi\n"


def man_text(comment):
    text = ""
    for kind, what in nodes(comment):
        if kind == "text":
            text += ".PP\n" + escaped(what) + "\n"
        elif kind == "list":
            width = max(len(term) for term, _ in what) + 3
            text += ".sp\n.PD 0\n"
            text += "".join(f".TP {width}\n\\fB{escaped(term)}\\fR\n{escaped(words)}\n" for term, words in what)
            text += ".PD\n"
        elif kind == "bullets":
            text += "".join(f".IP \\- 2\n{escaped(words)}\n" for words in what)
        else:
            text += lines_as_they_are(what)
    return text


def shown(declaration):
    """A declaration as programs see it."""
    text = re.sub(r"\b(MOXJ_API|MOXC_API|MOXCORE_API|MOXC_INLINE) ", "", declaration)
    if not function_of(declaration):
        return text
    text, _, remark = re.sub(r"\s+", " ", re.sub(r"\s*\{.*", ";", text, flags=re.S)).partition("; /*")
    text = text.rstrip(";") + ";"
    if len(text) > 76:
        text = re.sub(r"\( ?", "(\n    ", text, count=1)
    while len(text.split("\n")[-1]) > 76:
        last = text.split("\n")[-1]
        cut = last.rfind(", ", 8, 76) + 1
        if not cut:
            break
        text = text[:-len(last)] + last[:cut] + "\n    " + last[cut + 1:]
    return text + ("\n    /*" + remark if remark else "")


def is_frame(declaration):
    """What is not for programs: conditions, includes, the macros of exporting."""
    return re.match(r'#(?!define)|#define \w+(_API|_H|_INLINE)\b|extern "C"|\}', declaration) is not None


def has_page(section):
    return any(not is_frame(declaration) for item in section.items for declaration in item.declarations)


def page_name(library, title):
    return library + "-" + re.sub(r"[^a-z0-9]+", "-", re.sub(r"\(.*?\)|, Annex.*", "", title).lower()).strip("-")


LONGEST_TITLE = 26  # stands left and right of "Library Functions" in a line of 80 columns


def page(name, purpose, names, body, version, also):
    purpose = purpose[0].lower() + purpose[1:] if purpose[1:2].islower() else purpose
    also = ",\n".join(f".BR {escaped(other)} (3)" for other in also)
    title = name if len(name) <= LONGEST_TITLE else name.partition("-")[0]
    return (f'.TH {escaped(title.upper())} 3 "" "moxj {version}" "Library Functions"\n.nh\n.ad l\n.SH NAME\n'
            + ",\n".join(map(escaped, names)) + f" \\- {escaped(purpose)}\n{body}.SH SEE ALSO\n{also}\n")


def section_body(section, header):
    text = f".SH SYNOPSIS\n.nf\n\\fB#include <{header}>\\fR\n"
    text += "".join(f".PP\n{escaped(shown(declaration))}\n" for item in section.items
                    for declaration in item.declarations if function_of(declaration))
    text += ".fi\n.SH DESCRIPTION\n"
    for item in section.items:
        declarations = [declaration for declaration in item.declarations if not is_frame(declaration)]
        named = item.functions()
        if named and item.comment:
            text += ".SS " + " ".join(named[:3]) + (" ..." if len(named) > 3 else "") + "\n"
            if len(named) > 3:
                text += ".PP\n" + escaped("For " + ", ".join(named) + ":") + "\n"
        text += man_text(item.comment)
        others = [shown(declaration) for declaration in declarations if not function_of(declaration)]
        if others and (item.comment or not named):
            text += lines_as_they_are("\n".join(others).split("\n"))
    return text


def pages(header, version):
    """(file name, text) of all pages of a header."""
    library = header.stem
    introduction, sections = parse(header.read_text(encoding="utf-8"))
    purpose = " ".join(introduction).partition(": ")[2].partition(". ")[0].rstrip(".")
    parts = [section for section in sections if section.title and has_page(section)]
    body = f".SH SYNOPSIS\n.nf\n\\fB#include <{header.name}>\\fR\n.fi\n.SH DESCRIPTION\n{man_text(introduction)}"
    for section in sections:
        if section in parts:
            name = page_name(library, section.title)
            text = section_body(section, header.name)
            yield f"{name}.3", page(name, section.title, [name, *section.functions()], text, version, [library])
            body += (f'.SS "{escaped(section.title)}"\n.BR {escaped(name)} (3)\n')
        elif section.title:
            body += f'.SS "{escaped(section.title)}"\n' + "".join(man_text(item.comment) for item in section.items)
        elif not parts:  # a header without sections has one page
            body = section_body(section, header.name)
        owner = name if section in parts else library
        for function in section.functions():
            yield f"{function}.3", f".so man3/{owner}.3\n"
    names = [library] + ([] if parts else [name for section in sections for name in section.functions()])
    also = {"moxj": ["moxcodec", "moxcore"], "moxcodec": ["moxj"], "moxcore": ["moxj"]}.get(library, [])
    yield f"{library}.3", page(library, purpose, names, body, version, also)


# ---- Doxygen --------------------------------------------------------------------------------------------------------


def for_doxygen(words):
    """Words with signs that mean something to Doxygen become code."""
    return re.sub(r"\S*[*<>@\\#%&~^|_]\S*[*<>@\\#%&~^|]\S*|\S*[*<>@\\#%&~^|]\S*",
                  lambda word: "`" + word[0].strip("`") + "`", words)


def doxygen_text(comment):
    text = []
    for kind, what in nodes(comment):
        if kind == "text":
            text += [for_doxygen(what), ""]
        elif kind == "bullets":
            text += [f"- {for_doxygen(words)}" for words in what] + [""]
        elif kind == "list":
            cells = [(for_doxygen(term), for_doxygen(words)) for term, words in what]
            rows = [f"<tr><td>{term}</td><td>{words}</td></tr>" for term, words in cells]
            text += ["<table>", *rows, "</table>", ""]
        else:
            text += ["@verbatim", *what, "@endverbatim", ""]
    return "\n".join(text).replace("*/", "* /")


def doxygen_declaration(declaration):
    if function_of(declaration):
        return declaration
    return re.sub(r"([,;{}\w] +)/\*(?!\*) ", r"\1/**< ", declaration)


def doxygen(header):
    introduction, sections = parse(header.read_text(encoding="utf-8"))
    library = header.stem
    out = [f"/** @file {header.name}\n{doxygen_text(introduction)}*/", f"/** @defgroup {library} {header.name} */"]
    parent, has_sections = library, any(section.title for section in sections)
    if not has_sections:
        out.append(f"/** @addtogroup {library}\n@{{ */")
    for section in sections:
        if section.title:
            name = page_name(library, section.title).replace("-", "_")
            out.append(f"/** @defgroup {name} {for_doxygen(section.title)}\n")
            out.append(f"@ingroup {library if section.is_part else parent}\n")
            parent = name if section.is_part else parent
            out += [doxygen_text(item.comment) for item in section.items if not item.declarations]
            out.append("@{ */")
        for item in section.items:
            comment = doxygen_text(item.comment)
            for declaration in item.declarations:
                documented = comment and not declaration.startswith(("#if", "#endif", "#else", "}"))
                out += [f"/** {comment}*/"] if documented else []
                out += [doxygen_declaration(declaration)]
        if section.title or not has_sections:
            out.append("/** @} */")
    return "\n".join(out) + "\n"


# ---------------------------------------------------------------------------------------------------------------------


SAMPLE = """/*
 * libx: x for y. More.
 */
#ifndef X_H
#define X_H

extern "C" {

/* ---- Things (T.81) ---- */

/*
 * About both,
 * in words.
 *   moxBad    is null,
 *             or empty
 *
 *   a  b  c
 *   1    2
 *
 * size   in bytes,
 *        or more
 *   - one
 *     of two
 *   - two
 */
MOXJ_API int moxOne(int a,
    int b);
MOXJ_API int moxTwo(void (*f)(int));

typedef struct {
  int a; /* one;
          * two */
} MoxT;

/* Alone. */

}
#endif
"""


def self_test():
    introduction, sections = parse(SAMPLE)
    assert introduction == ["libx: x for y. More."]
    things = sections[1]
    assert things.title == "Things (T.81)" and things.functions() == ["moxOne", "moxTwo"], things.functions()
    assert [len(item.declarations) for item in things.items] == [2, 1, 0, 2]
    found = list(nodes(things.items[0].comment))
    assert found == [("text", "About both, in words."), ("list", [["moxBad", "is null, or empty"]]),
                     ("as it is", ["  a  b  c", "  1    2"]), ("list", [["size", "in bytes, or more"]]),
                     ("bullets", ["one of two", "two"])], found
    assert shown("MOXC_INLINE int moxThree(int a) {\n  return a;\n}") == "int moxThree(int a);"
    assert shown("MOXJ_API int moxFour(\n    int a); /* or */") == "int moxFour( int a);\n    /* or */"
    assert for_doxygen("*pDst is a_b, not < c") == "`*pDst` is a_b, not `<` c"
    assert "/**< one;" in doxygen_declaration(things.items[1].declarations[0])


def main():
    if sys.argv[1:] == ["--self"]:
        return self_test()
    if sys.argv[1:2] == ["doxygen"] and len(sys.argv) == 3:
        sys.stdout.write(doxygen(pathlib.Path(sys.argv[2])))
    elif sys.argv[1:2] == ["names"]:
        print("\n".join(name for header in sys.argv[2:] for name, _ in pages(pathlib.Path(header), "")))
    elif sys.argv[1:2] == ["man"] and len(sys.argv) > 4:
        folder = pathlib.Path(sys.argv[2])
        folder.mkdir(parents=True, exist_ok=True)
        for header in sys.argv[4:]:
            for name, text in pages(pathlib.Path(header), sys.argv[3]):
                (folder / name).write_text(text, encoding="utf-8")
    else:
        sys.exit(__doc__)


if __name__ == "__main__":
    main()

#!/usr/bin/env python3
"""Draws the README's table of measured ratios as docs/speed.svg.
usage: plot.py [--check]          --check: whether the file is what the table gives"""

import html
import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
OUTPUT = ROOT / "docs/speed.svg"

LABEL, SCALE, BAR, GAP = 190, 56, 13, 12  # pixels: of labels, of a ratio of 1, of bars
COLOURS = {"cjpeg, djpeg": "#33658a", "OpenJPEG": "#33658a", "Grok": "#86bbd8"}


def measured(text):
    """(label, names of the others, [(low, high) of each]) of encoding and decoding, from the table of ratios."""
    rows = re.findall(r"^\| (JPEG[^|]*) \| ([^|]*) \| ([\d., /to]+) \| ([\d., /to]+) \|$", text, re.M)
    for label, others, *cells in rows:
        names = ["OpenJPEG", "Grok"] if "opj" in others else ["cjpeg, djpeg"]
        ratios = []
        for cell in cells:
            parts = cell.split(" / ") if len(names) == 2 else [cell]
            numbers = [[float(number) for number in re.findall(r"\d+\.\d+", part)] for part in parts]
            ratios.append([(min(part), max(part)) for part in numbers])
        yield re.sub(", qualities 75.*", ", qualities 75 to 95" if "to 95" in label else "", label), names, ratios


def bars(rows, which, left):
    """One panel, and its height."""
    out, y = [], 78
    for label, names, ratios in rows:
        if which == 0:
            out.append(f'<text x="{LABEL - 10}" y="{y + BAR * len(names) / 2 + 4:.0f}" text-anchor="end">'
                       f"{html.escape(label)}</text>")
        for name, (low, high) in zip(names, ratios[which]):
            look = f'y="{y}" height="{BAR - 2}" fill="{COLOURS[name]}"'
            out.append(f'<rect x="{left}" width="{low * SCALE:.0f}" {look}/>')
            if high > low:
                x, width = left + low * SCALE, (high - low) * SCALE
                out.append(f'<rect x="{x:.0f}" width="{width:.0f}" {look} opacity="0.5"/>')
            value = f"{low:.2f}" + (f" to {high:.2f}" if high > low else "")
            out.append(f'<text x="{left + high * SCALE + 4:.0f}" y="{y + 9}" font-size="10">{value}</text>')
            y += BAR
        y += GAP
    return out, y


def drawing(text):
    rows = list(measured(text))
    if len(rows) < 3:
        sys.exit("plot.py: there is no table of ratios in README.md")
    widest = [max(high for _, _, ratios in rows for _, high in ratios[which]) for which in (0, 1)]
    lefts = [LABEL, LABEL + round(widest[0] * SCALE) + 70]
    width, out = lefts[1] + round(widest[1] * SCALE) + 70, []
    for which, title in enumerate(("encoding", "decoding")):
        panel, bottom = bars(rows, which, lefts[which])
        out.append(f'<text x="{lefts[which]}" y="62" font-weight="bold">{title}</text>')
        out += panel
        one = lefts[which] + SCALE
        out.append(f'<path d="M{one} 68V{bottom - 4}" stroke="#c0392b" stroke-dasharray="4 3"/>')
        out.append(f'<text x="{one}" y="{bottom + 10}" text-anchor="middle" fill="#c0392b">moxj</text>')
    legend = [("OpenJPEG", "cjpeg and djpeg; opj_compress and opj_decompress"),
              ("Grok", "grk_compress and grk_decompress")]
    for place, (name, words) in enumerate(legend):
        x = 14 + 345 * place
        out.append(f'<rect x="{x}" y="{bottom + 22}" width="11" height="11" fill="{COLOURS[name]}"/>'
                   f'<text x="{x + 16}" y="{bottom + 32}">{words}</text>')
    height = bottom + 44
    head = (f'<svg xmlns="http://www.w3.org/2000/svg" width="{width}" height="{height}" viewBox="0 0 {width} {height}" '
            'font-family="sans-serif" font-size="12" fill="#222">')
    title = "Processor time of other programs, divided by that of moxj"
    return "\n".join([head, f"<title>{title}</title>", '<rect width="100%" height="100%" fill="#fff"/>',
                      f'<text x="14" y="28" font-size="15" font-weight="bold">{title}</text>', *out, "</svg>", ""])


def main():
    made = drawing((ROOT / "README.md").read_text(encoding="utf-8"))
    if sys.argv[1:] == ["--check"]:
        if OUTPUT.read_text(encoding="utf-8") != made:
            sys.exit("docs/speed.svg is not what the table in README.md gives: run scripts/python/plot.py")
    elif not sys.argv[1:]:
        OUTPUT.write_text(made, encoding="utf-8")
    else:
        sys.exit(__doc__)


if __name__ == "__main__":
    main()

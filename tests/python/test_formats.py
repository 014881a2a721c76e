#!/usr/bin/env python3
"""The table of metadata in docs/formats.md: what a format has a place for comes back, what it has none for is noted."""

import pathlib
import re
import unittest

import moxj
from support import *

PROFILE = pathlib.Path("/usr/share/color/icc/ghostscript/a98.icc")  # Debian: libgs-common
# An Exif structure of one tag: Software, "moxj".
EXIF = b"II*\0\x08\0\0\0\x01\0\x31\x01\x02\0\x05\0\0\0\x1a\0\0\0\0\0\0\0moxj\0"
IPTC = b"\x1c\2\x78\0\x05words"


def table():
    """For each format the kinds that its column has a place for."""
    text = (SOURCE / "docs/formats.md").read_text(encoding="utf-8").partition("## Metadata")[2]
    rows = [[cell.strip() for cell in row.split("|")[1:-1]] for row in re.findall(r"^\|.*\|$", text, re.M)]
    header = rows[0][1:]
    kinds = {"ICC profile": "icc", "comments": "comment", "others": "other"}
    places = {name: set() for name in header}
    for row in rows[2:]:
        kind = kinds.get(row[0], row[0].lower())
        if kind in {"icc", "exif", "xmp", "iptc", "comment", "other", "resolution"}:
            for name, cell in zip(header, row[1:]):
                places[name] |= {kind} if cell != "-" else set()
    return places


class Formats(PictureTest):
    @unittest.skipUnless(PROFILE.exists(), "needs Debian's libgs-common")
    def test_metadata_travel_as_the_table_says(self):
        places = table()
        self.assertEqual(set(places), {"JPEG", "PNG", "TIFF", "BMP", "JP2"})
        given = {"icc": PROFILE.read_bytes(), "exif": EXIF, "xmp": b"<x:xmpmeta xmlns:x='adobe:ns:meta/'/>"}
        blocks = [moxj.Metadata("iptc", IPTC), moxj.Metadata("comment", b"words")]
        others = {"JPEG": moxj.Metadata("other", b"words", "APP11"),
                  "JP2": moxj.Metadata("other", b"<x></x>", "xml")}
        for name, kinds in places.items():
            with self.subTest(name):
                extra = [others[name]] if "other" in kinds else []
                with warnings.catch_warnings(record=True) as caught:
                    warnings.simplefilter("always")
                    data = moxj.encode(smooth(20, 30), name.lower(), metadata=[*blocks, *extra],
                                       resolution=(300, 300), **given)
                found = {block.kind for block in moxj.metadata(data)}
                self.assertEqual(found, kinds)
                notes = " ".join(str(warning.message) for warning in caught)
                lost = {"icc", "exif", "xmp", "iptc", "comment"} - kinds
                self.assertEqual(bool(notes), bool(lost), notes)

    def test_from_format_to_format(self):
        places = table()
        for name, first in places.items():
            with warnings.catch_warnings():
                warnings.simplefilter("ignore", moxj.NoteWarning)
                data = moxj.encode(smooth(20, 30), name.lower(), exif=EXIF, resolution=(300, 300),
                                   metadata=[moxj.Metadata("iptc", IPTC), moxj.Metadata("comment", b"words")])
            for other, second in places.items():
                with self.subTest((name, other)), warnings.catch_warnings():
                    warnings.simplefilter("ignore", moxj.NoteWarning)
                    found = {block.kind for block in moxj.metadata(moxj.convert(data, other.lower()))}
                    expected = first & second & {"exif", "iptc", "comment", "resolution"}
                    self.assertEqual(found, expected)


if __name__ == "__main__":
    unittest.main()

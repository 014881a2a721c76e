#!/usr/bin/env python3
"""Pixels and metadata on their way through every format and back: depths, channels, profiles and orientations, beside
exiftool and ImageMagick."""

import itertools
import json
import os
import pathlib
import shutil
import subprocess
import sys
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "tool"))

import test_metadata as metadata
from support import GREY, GREY_ALPHA, OK, RGB, RGB_ALPHA, ToolTest, chunk, noise, parse_any_png, png

EXIFTOOL, IDENTIFY = shutil.which("exiftool"), shutil.which("identify")
KINDS = {"grey": (GREY, 1), "grey-alpha": (GREY_ALPHA, 2), "rgb": (RGB, 3), "rgba": (RGB_ALPHA, 4)}
WIDTH, HEIGHT = 21, 13

# By name: the extension, options of encoding, whether every sample comes back, whether opacity does, and the metadata
# that has no place there.
TARGETS = {"png": ("png", [], True, True, set()),
           "jp2": ("jp2", [], True, True, metadata.Matrix.lost["jp2"]),
           "lossless": ("jpg", ["--lossless"], True, False, {"resolution"}),
           "jpg": ("jpg", ["--quality", "95", "--sample", "4:4:4"], False, False, set())}


class Source:
    """A PNG with metadata of all kinds."""

    def __init__(self, bits, kind, profile, orientation):
        self.bits, self.kind, self.profile, self.orientation = bits, kind, profile, orientation
        self.name = f"{bits}-{kind}-{profile}-{orientation}"
        code, channels = KINDS[kind]
        self.picture = noise(WIDTH, HEIGHT, channels, seed=bits + channels, maxval=(1 << bits) - 1)
        xmp = metadata.XMP.replace(b"'6'", b"'%d'" % orientation)
        self.blocks = {"exif": metadata.exif_of(orientation, "<>"[orientation % 2]), "xmp": xmp,
                       "iptc": metadata.IPTC, "comment": metadata.COMMENT, "resolution": (1, 11811, 5906)}
        if profile != "none":
            self.blocks["icc"] = self.icc()
        raw = metadata.raw_profile(b"iptc", metadata.IPTC)
        chunks = [chunk(b"pHYs", b"\0\0\x2e\x23\0\0\x17\x12\1"), chunk(b"eXIf", self.blocks["exif"]),
                  chunk(b"iTXt", b"XML:com.adobe.xmp\0\0\0\0\0" + xmp),
                  chunk(b"tEXt", raw[0] + b"\0" + raw[1]), chunk(b"tEXt", b"Comment\0" + metadata.COMMENT)]
        if "icc" in self.blocks:
            chunks.insert(0, chunk(b"iCCP", b"name\0\0" + metadata.zlib.compress(self.blocks["icc"])))
        self.file = metadata.with_chunks(png(WIDTH, HEIGHT, code, bits, self.picture[3]), *chunks)

    def icc(self):
        if self.kind.startswith("grey"):
            return metadata.icc_of(b"Grey", space=b"GRAY")
        return metadata.icc_of(b"Display P3") if self.profile == "wide" else metadata.icc_of(b"sRGB", metadata.SRGB)

    def expected(self, lost, upright):
        """What is found in the output, with the resolution of the turned picture."""
        blocks = {name: block for name, block in self.blocks.items() if name not in lost}
        if upright and "resolution" in blocks and self.orientation > 4:
            blocks["resolution"] = (1, 5906, 11811)
        if upright and self.orientation != 1:
            blocks["exif"] = metadata.exif_of(1, "<>"[self.orientation % 2])
            blocks["xmp"] = metadata.XMP.replace(b"tiff:Orientation='6'", b"tiff:Orientation='1'")
        return blocks


def sources():
    """All depths, channels and profiles with two orientations each, and all orientations of one of them."""
    made, orientations = {}, itertools.cycle(range(1, 9))
    for bits, kind, profile in itertools.product((8, 16), KINDS, ("none", "srgb", "wide")):
        for orientation in next(orientations), next(orientations):
            made[bits, kind, profile, orientation] = None
    made.update({(8, "rgb", "wide", orientation): None for orientation in range(1, 9)})
    return [Source(*each) for each in made]


class RoundTrips(ToolTest):
    def setUp(self):
        super().setUp()
        self.sources = sources()
        os.mkdir(self.path("in"))
        for source in self.sources:
            self.write(f"in/{source.name}.png", source.file)

    def convert(self, folder, to, extension, *options):
        command = "decode" if extension == "png" else "encode"
        names = [f"{folder}/{name}" for name in self.files(folder)]
        self.expect(OK, command, *names, "--output-dir", to, "--format", extension, "--quiet", *options)

    def trips(self):
        """(source, target, folder of the outputs, whether they were turned upright)"""
        for target, upright in itertools.product(TARGETS, (False, True)):
            extension, options, *_ = TARGETS[target]
            folder = f"{target}-{'upright' if upright else 'as-is'}"
            self.convert("in", folder, extension, *options, *["--orient"] * upright)
            for source in self.sources:
                yield source, target, folder, upright

    def opaque(self, picture):
        width, height, channels, samples = picture
        if channels % 2:
            return picture
        return width, height, channels - 1, [v for i, v in enumerate(samples) if i % channels != channels - 1]

    def test_pixels_and_metadata_come_back(self):
        folders = set()
        for source, target, folder, upright in self.trips():
            extension, _, exact, opacity, lost = TARGETS[target]
            if folder not in folders:
                folders.add(folder)
                self.convert(folder, "back-" + folder, "png")
            with self.subTest(source=source.name, target=folder):
                there = metadata.BLOCKS_OF[extension](self.read(f"{folder}/{source.name}.{extension}"))
                back = self.read(f"back-{folder}/{source.name}.png")
                expected = source.expected(lost, upright)
                self.assertEqual(there.keys(), expected.keys())
                self.assertEqual(metadata.blocks_of_png(back), expected)
                if not exact:
                    continue
                width, height, kind, bits, samples = parse_any_png(back)
                picture = source.picture if opacity else self.opaque(source.picture)
                if upright:
                    picture = metadata.turned(picture, source.orientation)
                self.assertEqual((width, height, samples, bits), (*picture[:2], picture[3], source.bits))

    @unittest.skipUnless(EXIFTOOL, "exiftool is not installed")
    def test_exiftool_reads_everything(self):
        trips = {f"{folder}/{source.name}.{TARGETS[target][0]}": (source, target, upright)
                 for source, target, folder, upright in self.trips()}
        result = subprocess.run([EXIFTOOL, "-j", "-n", "-Error", "-Warning", "-Orientation", "-Make", "-XResolution",
                                 "-PixelsPerUnitX", "-CaptureXResolution", "-CaptureXResolutionUnit", "-Comment",
                                 "-Caption-Abstract", "-ProfileDescription", "-Format", *trips],
                                capture_output=True, cwd=self.directory)
        found = {each.pop("SourceFile"): each for each in json.loads(result.stdout)}
        self.assertEqual(found.keys(), trips.keys())
        for name, (source, target, upright) in trips.items():
            tags = found[name]
            density = (11811, 5906)[upright and source.orientation > 4]
            expected = {"Orientation": 1 if upright else source.orientation, "Make": "Maker", "Format": "image/jpeg",
                        "Caption-Abstract": "A caption .", "Comment": metadata.COMMENT.decode()}
            if "icc" in source.blocks:
                expected["ProfileDescription"] = {"GRAY": "Grey"}.get(source.icc()[16:20].decode()) or (
                    "Display P3" if source.profile == "wide" else "sRGB")
            if target == "jp2":  # exiftool does not look into codestreams
                del expected["Comment"]
            if target == "png":
                expected["PixelsPerUnitX"] = density
            elif target == "jpg":
                expected["XResolution"] = round(density * 0.0254)
            elif target == "jp2":
                scale = 10 ** tags.pop("CaptureXResolutionUnit")
                self.assertAlmostEqual(tags.pop("CaptureXResolution") * scale, density, delta=0.5)
            with self.subTest(name):
                self.assertEqual(tags, expected)

    @unittest.skipUnless(IDENTIFY, "ImageMagick is not installed")
    def test_imagemagick_reads_everything(self):
        trips = {f"{folder}/{source.name}.{TARGETS[target][0]}": (source, upright)
                 for source, target, folder, upright in self.trips() if target != "lossless"}
        pattern = "%i|%w|%h|%[EXIF:Make]|%[EXIF:Orientation]|%[profile:icc]|%[IPTC:2:120]\n"
        command = [IDENTIFY, "-quiet", "-format", pattern, *trips]
        result = subprocess.run(command, capture_output=True, cwd=self.directory)
        self.assertEqual(result.stderr, b"")
        found = dict(line.split("|", 1) for line in result.stdout.decode().splitlines())
        self.assertEqual(found.keys(), trips.keys())
        for name, (source, upright) in trips.items():
            width, height = (HEIGHT, WIDTH) if upright and source.orientation > 4 else (WIDTH, HEIGHT)
            profile = ""
            if "icc" in source.blocks:
                profile = "Grey" if source.kind.startswith("grey") else (
                    "Display P3" if source.profile == "wide" else "sRGB")
            expected = f"{width}|{height}"
            with self.subTest(name):
                fields = found[name].split("|")
                self.assertEqual("|".join(fields[:2]), expected)
                # It does not read boxes, and in version 6 no Exif data of PNG.
                if name.startswith("jpg"):
                    self.assertEqual(fields[2:4], ["Maker", str(1 if upright else source.orientation)])
                if not name.startswith("jp2"):
                    self.assertEqual(fields[4:], [profile, "A caption ."])


if __name__ == "__main__":
    unittest.main()

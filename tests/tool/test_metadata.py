"""Profiles, Exif data, XMP, IPTC, comments and resolution on their way between formats."""

import json
import re
import shutil
import struct
import subprocess
import unittest
import zlib

from support import GREY, OK, RGB, RGB_ALPHA, ToolTest, chunk, noise, parse_any_png, parse_pnm, png, png_of, pnm, smooth

EXIFTOOL = shutil.which("exiftool")
XMP_PREFIX, EXIF_PREFIX, ICC_PREFIX, IRB_PREFIX = (b"http://ns.adobe.com/xap/1.0/\0", b"Exif\0\0", b"ICC_PROFILE\0",
                                                   b"Photoshop 3.0\0")
UUIDS = {b"JpgTiffExif->JP2": "exif", bytes.fromhex("be7acfcb97a942e89c71999491e3afac"): "xmp",
         bytes.fromhex("33c7a4d2b81d4723a0baf1a3e097ad38"): "iptc"}
GEO_UUID = bytes.fromhex("b14bf8bd083d4b43a5ae8cd7d5a6ce03")
XMP = (b"<?xpacket begin='\xef\xbb\xbf' id='W5M0MpCehiHzreSzNTczkc9d'?><x:xmpmeta xmlns:x='adobe:ns:meta/'><rdf:RDF "
       b"xmlns:rdf='http://www.w3.org/1999/02/22-rdf-syntax-ns#'><rdf:Description rdf:about='' "
       b"xmlns:tiff='http://ns.adobe.com/tiff/1.0/' xmlns:dc='http://purl.org/dc/elements/1.1/' tiff:Orientation='6' "
       b"dc:format='image/jpeg'/></rdf:RDF></x:xmpmeta><?xpacket end='w'?>")
IPTC = b"\x1c\x02\x78\x00\x0bA caption .\x1c\x02\x19\x00\x04word"
COMMENT = b"a comment"


# ---- Blocks --------------------------------------------------------------------------------------------------------


def exif_of(orientation=1, order="<", wide=False, thumbnail=b""):
    """Orientation, camera and date; all values of text outside their entries."""
    texts = {0x010F: b"Maker\0", 0x0110: b"Model 7\0", 0x0132: b"2024:05:17 10:20:30\0"}
    value = struct.pack(order + "I", orientation) if wide else struct.pack(order + "HH", orientation, 0)
    entries = [(0x0112, 4 if wide else 3, 1, value)]
    at = 8 + 2 + 4 * 12 + 4
    data = b""
    for tag, text in texts.items():
        entries.append((tag, 2, len(text), struct.pack(order + "I", at + len(data))))
        data += text + b"\0" * (len(text) % 2)
    directory = struct.pack(order + "H", len(entries))
    for tag, kind, count, value in sorted(entries):
        directory += struct.pack(order + "HHI", tag, kind, count) + value
    after = at + len(data)
    tail = struct.pack(order + "I", after if thumbnail else 0)
    second = b""
    if thumbnail:
        second = struct.pack(order + "H", 2)
        second += struct.pack(order + "HHII", 0x0201, 4, 1, after + 2 + 24 + 4)
        second += struct.pack(order + "HHII", 0x0202, 4, 1, len(thumbnail)) + bytes(4) + thumbnail
    return {"<": b"II", ">": b"MM"}[order] + struct.pack(order + "HI", 42, 8) + directory + tail + data + second


def orientation_of(exif):
    order = {b"II": "<", b"MM": ">"}[exif[:2]]
    count = struct.unpack_from(order + "H", exif, 8)[0]
    for i in range(count):
        tag, kind = struct.unpack_from(order + "HH", exif, 10 + 12 * i)
        if tag == 0x0112:
            return struct.unpack_from(order + ("I" if kind == 4 else "H"), exif, 10 + 12 * i + 8)[0]
    return None


SRGB = [(0.4361, 0.2225, 0.0139), (0.3851, 0.7169, 0.0971), (0.1431, 0.0606, 0.7141)]
P3 = [(0.5151, 0.2412, -0.0011), (0.2919, 0.6922, 0.0419), (0.1572, 0.0666, 0.7841)]


def fixed(*numbers):
    return b"".join(struct.pack(">i", round(number * 65536)) for number in numbers)


def icc_of(name, colorants=P3, space=b"RGB ", kind=b"mntr", padding=0, gamma=2.2):
    description = b"desc" + bytes(4) + struct.pack(">I", len(name) + 1) + name + b"\0" + bytes(78)
    description += b"\0" * (-len(description) % 4)
    curve = b"curv" + bytes(4) + struct.pack(">IHH", 1, round(gamma * 256), 0)
    tags = {b"desc": description, b"wtpt": b"XYZ " + bytes(4) + fixed(0.9642, 1, 0.8249)}
    if space == b"RGB ":
        for channel, colorant in zip((b"r", b"g", b"b"), colorants):
            tags[channel + b"XYZ"] = b"XYZ " + bytes(4) + fixed(*colorant)
            tags[channel + b"TRC"] = curve
    elif space == b"GRAY":
        tags[b"kTRC"] = curve
    else:
        tags[b"A2B0"] = b"mft1" + bytes(44)
    if padding:
        tags[b"zzzz"] = b"text" + bytes(4) + bytes(noise(padding // 4, 4, 1, 5)[3])
    table, body, at = struct.pack(">I", len(tags)), b"", 128 + 4 + 12 * len(tags)
    for tag, data in tags.items():
        table += tag + struct.pack(">II", at + len(body), len(data))
        body += data
    pcs = b"XYZ " if space in (b"RGB ", b"GRAY") else b"Lab "
    header = struct.pack(">I4sI4s4s4s", 128 + len(table) + len(body), b"none", 0x02100000, kind, space, pcs)
    header += struct.pack(">6H", 2024, 5, 17, 0, 0, 0) + b"acsp" + bytes(28) + fixed(0.9642, 1, 0.8249)
    return header + bytes(128 - len(header)) + table + body


def irb(number, data):
    return b"8BIM" + struct.pack(">HHI", number, 0, len(data)) + data + b"\0" * (len(data) % 2)


# ---- JPEG ----------------------------------------------------------------------------------------------------------


def segment(marker, body):
    return struct.pack(">BBH", 0xFF, marker, len(body) + 2) + body


def icc_segments(profile, size=65519):
    parts = [profile[i:i + size] for i in range(0, len(profile), size)]
    return [segment(0xE2, ICC_PREFIX + bytes([i + 1, len(parts)]) + part) for i, part in enumerate(parts)]


def segments_of(jpeg):
    """(marker, body) up to the first scan."""
    found, at = [], 2
    while True:
        marker, length = struct.unpack(">xBH", jpeg[at:at + 4])
        if marker == 0xDA:
            return found
        found.append((marker, jpeg[at + 4:at + 2 + length]))
        at += 2 + length


def with_segments(jpeg, *segments, density=None):
    """Segments after JFIF; density: (unit, x, y)."""
    jfif = jpeg[2:20]
    if density:
        jfif = jfif[:11] + struct.pack(">BHH", *density) + jfif[16:]
    return jpeg[:2] + jfif + b"".join(segments) + jpeg[20:]


def blocks_of_jpeg(jpeg):
    blocks, profile, resources = {}, {}, b""
    for marker, body in segments_of(jpeg):
        if marker == 0xE0:
            unit, x, y = struct.unpack(">BHH", body[7:12])
            if (unit, x, y) != (0, 1, 1):
                blocks["resolution"] = (unit, x, y)
        elif marker == 0xE1 and body.startswith(EXIF_PREFIX):
            blocks["exif"] = body[6:]
        elif marker == 0xE1 and body.startswith(XMP_PREFIX):
            blocks["xmp"] = body[29:]
        elif marker == 0xE2 and body.startswith(ICC_PREFIX):
            profile[body[12]] = body[14:]
            assert body[13] >= body[12]
        elif marker == 0xED and body.startswith(IRB_PREFIX):
            resources += body[14:]
        elif marker == 0xFE:
            blocks["comment"] = body
        elif 0xE0 <= marker <= 0xEF and marker != 0xEE:
            blocks[f"APP{marker - 0xE0}"] = body
    if profile:
        blocks["icc"] = b"".join(profile[i] for i in sorted(profile))
    while resources:
        number, size = struct.unpack(">4xH2xI", resources[:12])
        blocks["iptc" if number == 0x0404 else f"resource {number}"] = resources[12:12 + size]
        resources = resources[12 + size + size % 2:]
    return blocks


# ---- PNG and JP2 ---------------------------------------------------------------------------------------------------


def chunks_of(data):
    at = 8
    while at < len(data):
        length, name = struct.unpack(">I4s", data[at:at + 8])
        yield name, data[at + 8:at + 8 + length]
        at += 12 + length


def with_chunks(data, *chunks):
    """After the IHDR."""
    return data[:33] + b"".join(chunks) + data[33:]


def raw_profile(kind, data):
    lines = [data[i:i + 36].hex() for i in range(0, len(data), 36)]
    return b"Raw profile type %s" % kind, b"\n%s\n%8d\n%s\n" % (kind, len(data), "\n".join(lines).encode())


def blocks_of_png(data):
    blocks = {}
    for name, body in chunks_of(data):
        if name == b"iCCP":
            blocks["icc"] = zlib.decompress(body[body.index(b"\0") + 2:])
        elif name == b"eXIf":
            blocks["exif"] = body
        elif name == b"pHYs":
            x, y, unit = struct.unpack(">IIB", body)
            blocks["resolution"] = (unit, x, y)
        elif name == b"iTXt" and body.startswith(b"XML:com.adobe.xmp\0"):
            blocks["xmp"] = body[22:]
        elif name == b"tEXt":
            key, text = body.split(b"\0", 1)
            blocks["comment" if key == b"Comment" else key.decode()] = text
        elif name == b"zTXt":
            key, text = body.split(b"\0", 1)
            text = zlib.decompress(text[1:])
            assert key == b"Raw profile type iptc" and int(text.split()[1]) * 2 == len(b"".join(text.split()[2:]))
            blocks["iptc"] = bytes.fromhex(b"".join(text.split()[2:]).decode())
    return blocks


def box(name, body):
    return struct.pack(">I", len(body) + 8) + name + body


def boxes_of(data):
    at = 0
    while at < len(data):
        length, name = struct.unpack(">I4s", data[at:at + 8])
        length = length or len(data) - at
        yield name, data[at + 8:at + length]
        at += length


def blocks_of_jp2(data):
    blocks = {}
    for name, body in boxes_of(data):
        if name == b"jp2h":
            for inner, content in boxes_of(body):
                if inner == b"colr" and content[0] != 1:
                    blocks["icc"] = content[3:]
                    assert content[0] == 2
                if inner == b"res ":
                    (kind, values), = boxes_of(content)
                    vn, vd, hn, hd, ve, he = struct.unpack(">HHHHbb", values)
                    assert kind == b"resc"
                    blocks["resolution"] = (1, round(hn / hd * 10.0 ** he, 4), round(vn / vd * 10.0 ** ve, 4))
        if name == b"uuid":
            blocks[UUIDS.get(body[:16], "uuid")] = body[16:]
        if name == b"xml ":
            blocks["xml"] = body
        if name == b"jp2c":
            at = 2
            while body[at:at + 2] != b"\xff\x90":
                length = struct.unpack(">H", body[at + 2:at + 4])[0]
                if body[at:at + 2] == b"\xff\x64":
                    blocks["comment"] = body[at + 6:at + 2 + length]
                at += 2 + length
    return blocks


def with_boxes(data, *boxes):
    """Before the codestream."""
    at = data.index(b"jp2c") - 4
    return data[:at] + b"".join(boxes) + data[at:]


def with_comment(data, registration, text):
    """At the end of the main header of a codestream."""
    at = data.index(b"\xff\x90\0\x0a")
    return data[:at] + struct.pack(">HHH", 0xFF64, len(text) + 4, registration) + text + data[at:]


BLOCKS_OF = {"jpg": blocks_of_jpeg, "png": blocks_of_png, "jp2": blocks_of_jp2}


def turned(picture, orientation):
    """As a viewer shows it."""
    width, height, channels, samples = picture
    pixel = [samples[i:i + channels] for i in range(0, len(samples), channels)]
    rows = [pixel[y * width:(y + 1) * width] for y in range(height)]
    if orientation in (2, 3, 7, 8):
        rows = [row[::-1] for row in rows]
    if orientation in (3, 4, 6, 7):
        rows = rows[::-1]
    if orientation >= 5:
        rows = [list(row) for row in zip(*rows)]
    return len(rows[0]), len(rows), channels, [value for row in rows for pixel in row for value in pixel]


def note(*texts, name="in"):
    return "".join(f"moxj: {name}: note: {text}\n" for text in texts)


class MetadataTest(ToolTest):
    def made(self, extension, picture=None, *options):
        """A file without metadata."""
        data = pnm(picture or smooth(40, 30, 3))
        if extension == "png":
            return png_of(picture or smooth(40, 30, 3))
        return self.expect(OK, "encode", "-", "-", "--format", extension, *options, stdin=data)

    def converted(self, data, extension, *options, error=""):
        self.write("in", data)
        command = "encode" if extension in ("jpg", "jp2", "j2k") else "decode"
        self.expect(OK, command, "in", "out." + extension, *options, error=error)
        return self.read("out." + extension)


class Matrix(MetadataTest):
    icc, exif = icc_of(b"Display P3"), exif_of(1, thumbnail=b"\xff\xd8\xff\xd9")
    blocks = {"icc": icc, "exif": exif, "xmp": XMP, "iptc": IPTC, "comment": COMMENT}
    lost = {"png": set(), "jp2": set(), "jpg": set()}

    def source(self, extension):
        data = self.made(extension)
        if extension == "jpg":
            return with_segments(data, segment(0xE1, EXIF_PREFIX + self.exif), segment(0xE1, XMP_PREFIX + XMP),
                                 *icc_segments(self.icc), segment(0xED, IRB_PREFIX + irb(0x0404, IPTC)),
                                 segment(0xFE, COMMENT), density=(1, 300, 150))
        if extension == "png":
            return with_chunks(data, chunk(b"iCCP", b"P3\0\0" + zlib.compress(self.icc)),
                               chunk(b"pHYs", struct.pack(">IIB", 11811, 5906, 1)), chunk(b"eXIf", self.exif),
                               chunk(b"iTXt", b"XML:com.adobe.xmp\0\0\0\0\0" + XMP),
                               chunk(b"zTXt", b"Raw profile type iptc\0\0" +
                                     zlib.compress(raw_profile(b"iptc", IPTC)[1])),
                               chunk(b"tEXt", b"Comment\0" + COMMENT))
        colour = data.index(b"colr") - 4
        resolution = box(b"res ", box(b"resc", struct.pack(">HHHHbb", 150, 254, 300, 254, 4, 4)))
        header = box(b"colr", b"\2\0\0" + self.icc) + resolution
        start = data.index(b"jp2h") - 4
        data = data[:start] + box(b"jp2h", data[start + 8:colour] + header) + data[colour + 15:]
        uuids = {name: identifier for identifier, name in UUIDS.items()}
        data = with_comment(data, 1, COMMENT)
        return with_boxes(data, *(box(b"uuid", uuids[name] + self.blocks[name]) for name in ("exif", "xmp", "iptc")))

    def test_every_kind_travels_where_there_is_a_place(self):
        names = {"iptc": "IPTC data", "comment": "comment"}
        for source in "jpg", "png", "jp2":
            data = self.source(source)
            has = set(self.blocks) - self.lost[source]
            self.assertEqual(set(BLOCKS_OF[source](data)), has | {"resolution"}, source)
            for target in "jpg", "png", "jp2":
                with self.subTest(source=source, target=target):
                    lost = has & self.lost[target]
                    error = note("metadata dropped: " + ", ".join(names[name] for name in lost)) if lost else ""
                    found = BLOCKS_OF[target](self.converted(data, target, error=error))
                    resolution = found.pop("resolution")
                    self.assertEqual(found, {name: self.blocks[name] for name in has - lost})
                    if target == "jpg":
                        self.assertEqual(resolution, (1, 300, 150))
                    else:
                        self.assertEqual(resolution[0], 1)
                        self.assertAlmostEqual(resolution[1], 11811.02, delta=0.1)
                        self.assertAlmostEqual(resolution[2], 5905.51, delta=0.5)

    def test_jpeg_segments_stand_where_readers_look_for_them(self):
        for option in [], ["--progressive"], ["--optimize"]:
            made = self.converted(self.source("jpg"), "jpg", *option)
            self.assertEqual([marker for marker, _ in segments_of(made)][:7],
                             [0xE0, 0xE1, 0xE1, 0xE2, 0xED, 0xFE, 0xDB])
        made = self.converted(self.source("jpg"), "jpg", "--lossless", error=note("metadata dropped: resolution"))
        self.assertEqual(blocks_of_jpeg(made), self.blocks)

    def test_the_picture_is_the_same(self):
        for source in "jpg", "png", "jp2":
            plain, described = self.made(source), self.source(source)
            for target in ["ppm"], ["j2k", "--strip=comment"]:
                error = note("ICC profile 'Display P3' dropped: colours will look different")
                self.assertEqual(self.converted(plain, *target), self.converted(described, *target, error=error))

    @unittest.skipUnless(EXIFTOOL, "exiftool is not installed")
    def test_exiftool_reads_them(self):
        for target in "jpg", "png", "jp2":
            self.write("made." + target, self.converted(self.source("jpg"), target))
            command = [EXIFTOOL, "-j", "-n", self.path("made." + target)]
            result = subprocess.run(command, capture_output=True, check=True)
            tags = json.loads(result.stdout)[0]
            self.assertNotIn("Error", tags, target)
            self.assertEqual((tags["Make"], tags["Model"], tags["ModifyDate"]),
                             ("Maker", "Model 7", "2024:05:17 10:20:30"))
            self.assertEqual(tags["ProfileDescription"], "Display P3")
            self.assertEqual(tags["Format"], "image/jpeg")
            self.assertEqual((tags["Caption-Abstract"], tags["Keywords"]), ("A caption .", "word"))
            if target == "jpg":
                self.assertEqual((tags["XResolution"], tags["YResolution"], tags["Comment"]),
                                 (300, 150, COMMENT.decode()))
            if target == "png":
                self.assertEqual((tags["PixelsPerUnitX"], tags["PixelsPerUnitY"], tags["Comment"]),
                                 (11811, 5906, COMMENT.decode()))
            if target == "jp2":
                density = tags["CaptureXResolution"] * 10 ** tags["CaptureXResolutionUnit"]
                self.assertAlmostEqual(density, 11811.02, delta=1)


    @unittest.skipUnless(EXIFTOOL, "exiftool is not installed")
    def test_exiftool_reads_the_comments_of_a_codestream(self):
        """Not those of a JP2 file, in which it does not look at the codestream."""
        error = note("ICC profile 'Display P3' dropped: colours will look different")
        self.write("made.j2k", self.converted(self.source("jpg"), "j2k", error=error))
        result = subprocess.run([EXIFTOOL, "-s3", "-Comment", self.path("made.j2k")], capture_output=True, check=True)
        self.assertEqual(result.stdout.decode(), COMMENT.decode() + "\n")


class Profiles(MetadataTest):
    def jpeg(self, profile, picture=None, **options):
        return with_segments(self.made("jpg", picture), *icc_segments(profile, **options))

    def test_in_many_parts(self):
        profile = icc_of(b"Large", padding=200000)
        data = self.jpeg(profile, size=30000)
        made = self.converted(data, "jpg")
        self.assertEqual(blocks_of_jpeg(made)["icc"], profile)
        self.assertEqual(sum(marker == 0xE2 for marker, _ in segments_of(made)), 4)
        self.assertEqual(blocks_of_png(self.converted(data, "png"))["icc"], profile)
        self.assertEqual(blocks_of_jp2(self.converted(data, "jp2"))["icc"], profile)

    def test_whose_parts_do_not_fit_are_dropped(self):
        profile = icc_of(b"Display P3", padding=500)
        first, second, third, *_ = icc_segments(profile, 300)
        parts = icc_segments(profile, 300)
        plain = self.made("jpg")
        swapped = with_segments(plain, *parts[::-1])
        self.assertEqual(blocks_of_jpeg(self.converted(swapped, "jpg"))["icc"], profile)
        wrong = first[:17] + b"\7" + first[18:]
        for name, given in {"missing": parts[1:], "twice": [first] + parts, "count": [wrong] + parts[1:],
                            "empty": [segment(0xE2, ICC_PREFIX)], "zero": [segment(0xE2, ICC_PREFIX + b"\0\1x")],
                            "lost end": [first]}.items():
            with self.subTest(name):
                made = self.converted(with_segments(plain, *given), "jpg",
                                      error=note("ICC profile dropped: its parts do not fit together"))
                self.assertEqual(made, self.converted(plain, "jpg"))
        damaged = self.jpeg(b"no profile")
        self.converted(damaged, "png", error=note("ICC profile dropped: it is damaged"))
        damaged = self.jpeg(struct.pack(">I", 10**9) + profile[4:])
        self.converted(damaged, "jp2", error=note("ICC profile dropped: it is damaged"))

    def test_that_are_not_srgb_are_missed(self):
        lost = note("ICC profile 'Display P3' dropped: colours will look different")
        self.converted(self.jpeg(icc_of(b"Display P3")), "ppm", error=lost)
        self.converted(self.jpeg(icc_of(b"Display P3")), "jpg", "--strip=icc", error=lost)
        self.converted(self.jpeg(icc_of(b"Any name", SRGB)), "ppm")
        self.converted(self.jpeg(icc_of(b"Any name", SRGB)), "jpg", "--strip=icc")
        self.converted(self.jpeg(icc_of(b"sRGB", SRGB, gamma=1.0)), "ppm",
                       error=note("ICC profile 'sRGB' dropped: colours will look different"))

    def test_of_another_colour_model_are_dropped(self):
        error = note("ICC profile 'Display P3' dropped: it describes RGB, which the output is not")
        made = self.converted(self.jpeg(icc_of(b"Display P3")), "jpg", "--grayscale", error=error)
        self.assertEqual(blocks_of_jpeg(made), {})
        grey = icc_of(b"Dot gain", space=b"GRAY")
        made = self.converted(self.jpeg(grey, smooth(20, 20, 1)), "png")
        self.assertEqual(blocks_of_png(made)["icc"], grey)
        error = note("ICC profile 'Dot gain' dropped: it describes grey, which the output is not")
        self.converted(self.jpeg(grey), "png", error=error)
        error = note("ICC profile 'Inks' dropped: it describes CMYK, which the output is not")
        self.converted(self.jpeg(icc_of(b"Inks", space=b"CMYK", kind=b"prtr")), "jp2", error=error)

    def test_that_jp2_has_no_place_for(self):
        tables = icc_of(b"Tables", kind=b"spac")
        error = note("ICC profile 'Tables' dropped: colours will look different")
        self.converted(self.jpeg(tables), "jp2", error=error)


class Orientation(MetadataTest):
    def jpeg(self, orientation, picture, *options, **exif):
        return with_segments(self.made("jpg", picture, *options),
                             segment(0xE1, EXIF_PREFIX + exif_of(orientation, **exif)),
                             segment(0xE1, XMP_PREFIX + XMP.replace(b"'6'", b"'%d'" % orientation)),
                             density=(2, 100, 50))

    def test_pixels_are_turned(self):
        for size in (37, 23), (64, 200), (1, 9):
            for orientation in range(1, 9):
                with self.subTest(size=size, orientation=orientation):
                    picture = smooth(*size, 3 - 2 * (orientation % 2))
                    data = self.jpeg(orientation, picture, order="<>"[orientation % 2], wide=orientation in (4, 5, 7))
                    plain = parse_pnm(self.converted(self.made("jpg", picture), "pnm"))
                    made = self.converted(data, "png", "--orient")
                    width, height, kind, bits, samples = parse_any_png(made)
                    self.assertEqual((width, height, 1 if kind == GREY else 3, samples), turned(plain, orientation))
                    blocks = blocks_of_png(made)
                    self.assertEqual(orientation_of(blocks["exif"]), 1)
                    self.assertIn(b"tiff:Orientation='1'", blocks["xmp"])
                    swapped = (5000, 10000) if orientation >= 5 else (10000, 5000)
                    self.assertEqual(blocks["resolution"], (1, *swapped))
                    self.assertEqual(parse_pnm(self.converted(data, "pnm", "--orient")), turned(plain, orientation))

    def test_the_coded_picture_is_turned_too(self):
        picture = noise(31, 17, 3)
        data = png_of(picture)
        for orientation in range(2, 9):
            turned_png = with_chunks(data, chunk(b"eXIf", exif_of(orientation, ">")))
            for extension in "jp2", "jpg":
                with self.subTest(orientation=orientation, extension=extension):
                    made = self.converted(turned_png, extension, "--orient")
                    blocks = BLOCKS_OF[extension](made)
                    self.assertEqual(orientation_of(blocks["exif"]), 1)
                    plain = self.made(extension, turned(picture, orientation))
                    self.assertEqual(self.converted(made, "ppm"), self.converted(plain, "ppm"))

    def test_deep_and_transparent_pictures(self):
        for kind, channels in (RGB_ALPHA, 4), (RGB, 3), (GREY, 1):
            values = noise(13, 7, channels, maxval=65535)
            data = with_chunks(png(13, 7, kind, 16, values[3]), chunk(b"eXIf", exif_of(6)))
            width, height, found, bits, samples = parse_any_png(self.converted(data, "png", "--orient"))
            self.assertEqual((found, bits), (kind, 16))
            self.assertEqual((width, height, channels, samples), turned(values, 6))

    def test_subsampled_components(self):
        picture = (9, 5, 1, noise(9, 5, 1)[3])
        planes = [b"PG ML + 8 9 5\n" + bytes(picture[3])]
        self.write("in.pgx", planes[0])
        self.expect(OK, "encode", "in.pgx", "in.jp2")
        data = with_boxes(self.read("in.jp2"), box(b"uuid", b"JpgTiffExif->JP2" + exif_of(8)))
        self.assertEqual(parse_pnm(self.converted(data, "pgm", "--orient")), turned(picture, 8))
        self.write("in.jp2", data)
        self.expect(OK, "decode", "in.jp2", "out.pgx", "--orient", "--components")
        self.assertTrue(self.read("out_0.pgx").endswith(bytes(turned(picture, 8)[3])))

    def test_what_is_not_turned_is_noted(self):
        data = self.jpeg(6, smooth(20, 10, 3))
        text = "the picture is turned by its Exif orientation 6; the option orient turns its pixels"
        lost = "the Exif orientation 6 is lost: the picture is turned; the option orient turns its pixels"
        for extension in "jpg", "png", "jp2":
            made = self.converted(data, extension, error=note(text))
            self.assertEqual(orientation_of(BLOCKS_OF[extension](made)["exif"]), 6)
        self.converted(data, "ppm", error=note(lost))
        self.converted(data, "jpg", "--strip", error=note(lost))
        self.converted(data, "jpg", "--strip", "--orient")
        self.write("in.jpg", data)
        self.assertIn(b"SSIM", self.expect(OK, "compare", "in.jpg", "in.jpg"))

    def test_memory_is_limited(self):
        data = self.jpeg(6, smooth(600, 400, 3))
        self.write("in", data)
        self.expect(OK, "decode", "in", "out.ppm", "--orient", "--max-memory", "1200k")
        error = re.compile("bytes of memory are needed")
        self.expect(4, "decode", "in", "out.ppm", "--orient", "--max-memory", "500k", error=error)
        self.expect(OK, "decode", "in", "out.ppm", "--max-memory", "500k", error=re.compile("orientation 6 is lost"))


    def test_coefficients_are_turned_without_loss(self):
        for orientation in range(1, 9):
            data = self.jpeg(orientation, smooth(64, 48, 3), "--sample", "4:4:4")
            self.write("in.jpg", data)
            plain = parse_pnm(self.converted(self.made("jpg", smooth(64, 48, 3), "--sample", "4:4:4"), "ppm"))
            self.expect(OK, "transcode", "in.jpg", "out.jpg", "--orient")
            made = self.read("out.jpg")
            blocks = blocks_of_jpeg(made)
            self.assertEqual(orientation_of(blocks["exif"]), 1)
            self.assertIn(b"tiff:Orientation='1'", blocks["xmp"])
            self.assertEqual(blocks["resolution"], (2, 50, 100) if orientation >= 5 else (2, 100, 50))
            *shape, samples = parse_pnm(self.converted(made, "ppm"))
            *expected_shape, expected = turned(plain, orientation)
            self.assertEqual(shape, expected_shape)
            # The inverse DCT rounds rows and columns differently: by 1 in Y, Cb and Cr.
            self.assertLessEqual(max(abs(a - b) for a, b in zip(samples, expected)), 3)
        self.expect(1, "transcode", "in.jpg", "out.jpg", "--orient", "--flip", "h", error=re.compile("be combined"))
        self.write("in.jpg", self.jpeg(6, smooth(20, 20, 3)))
        self.expect(2, "transcode", "in.jpg", "out.jpg", "--orient", "--perfect", error=re.compile("MCU"))


class Exif(MetadataTest):
    def test_damaged_data_do_no_harm(self):
        good = exif_of(6, thumbnail=b"x" * 9)
        plain = self.made("jpg")
        cases = [good[:n] for n in range(0, len(good), 7)]
        for at in range(2, len(good), 3):
            for byte in 0, 255:
                cases.append(good[:at] + bytes([byte]) * 3 + good[at + 3:])
        for order in "<>":
            mark = {"<": b"II", ">": b"MM"}[order]
            cases.append(mark + struct.pack(order + "HI", 42, 0xFFFFFFFF))
            cases.append(mark + struct.pack(order + "HIH", 42, 8, 65535) + bytes(100))
            cases.append(mark + struct.pack(order + "HI", 42, 8) + struct.pack(order + "HHHII", 1, 0x8769, 4, 1, 8))
        for case in cases:
            self.write("in", with_segments(plain, segment(0xE1, EXIF_PREFIX + case)))
            for arguments in (["info", "in"], ["decode", "in", "out.ppm", "--orient"]):
                result = self.moxj(*arguments)
                self.assertEqual(result.returncode, OK, (case, result.stderr))

    def test_that_are_none_are_dropped(self):
        data = with_segments(self.made("jpg"), segment(0xE1, EXIF_PREFIX + b"II+\0" + bytes(20)))
        made = self.converted(data, "jpg", error=note("Exif data dropped: they are damaged"))
        self.assertEqual(blocks_of_jpeg(made), {})


    def test_that_are_none_are_dropped_from_other_formats(self):
        bad = b"II+\0" + bytes(20)
        for data in (with_chunks(self.made("png"), chunk(b"eXIf", bad)),
                     with_boxes(self.made("jp2"), box(b"uuid", b"JpgTiffExif->JP2" + bad))):
            text = "Exif data dropped: they are damaged"
            self.assertEqual(blocks_of_png(self.converted(data, "png", error=note(text))), {})
            self.write("in", data)
            self.expect(OK, "info", "in", error=note(text))

    def described(self, orientation, size, thumbnail=b""):
        """With the size of the picture in all four tags, and wrong ones in the last two."""
        width, height = size
        exif = exif_of(orientation, ">", thumbnail=thumbnail)
        count = struct.unpack_from(">H", exif, 8)[0]
        # A new first directory at the end: the old entries, the size of the picture and a directory of details.
        at = len(exif)
        details = at + 2 + 12 * (count + 3) + 4
        entries = [exif[10 + 12 * i:22 + 12 * i] for i in range(count)]
        entries += [struct.pack(">HHII", 0x0100, 4, 1, width), struct.pack(">HHIHH", 0x0101, 3, 1, height, 0),
                    struct.pack(">HHII", 0x8769, 4, 1, details)]
        directory = struct.pack(">H", len(entries)) + b"".join(sorted(entries))
        directory += exif[10 + 12 * count:14 + 12 * count]
        directory += struct.pack(">HHHIHHHHIII", 2, 0xA002, 3, 1, width, 0, 0xA003, 4, 1, height, 0)
        return exif[:4] + struct.pack(">I", at) + exif[8:] + directory

    def sizes(self, exif):
        at = struct.unpack_from(">I", exif, 4)[0]
        entries = {}
        for start in at, at + 2 + 12 * struct.unpack_from(">H", exif, at)[0] + 4:
            for i in range(struct.unpack_from(">H", exif, start)[0]):
                tag, kind = struct.unpack_from(">HH", exif, start + 2 + 12 * i)
                entries[tag] = struct.unpack_from(">I" if kind == 4 else ">H", exif, start + 10 + 12 * i)[0]
        return [entries[tag] for tag in (0x0100, 0x0101, 0xA002, 0xA003)]

    def test_the_size_is_that_of_the_picture(self):
        for orientation in range(1, 9):
            exif = self.described(orientation, (64, 48))
            data = with_segments(self.made("jpg", smooth(64, 48, 3), "--sample", "4:4:4"),
                                 segment(0xE1, EXIF_PREFIX + exif))
            shown = [48, 64] * 2 if orientation > 4 else [64, 48] * 2
            for extension in "jpg", "png", "jp2":
                made = BLOCKS_OF[extension](self.converted(data, extension, "--orient"))["exif"]
                self.assertEqual(self.sizes(made), shown)
            self.write("in.jpg", data)
            for arguments, size in ((["--orient"], shown), ([], [64, 48] * 2), (["--rotate", "90"], [48, 64] * 2),
                                    (["--crop", "40x20+8+8"], [40, 20] * 2)):
                self.expect(OK, "transcode", "in.jpg", "out.jpg", *arguments)
                self.assertEqual(self.sizes(blocks_of_jpeg(self.read("out.jpg"))["exif"]), size, arguments)
        stale = self.described(1, (9, 9))
        data = with_chunks(self.made("png", smooth(31, 20, 3)), chunk(b"eXIf", stale))
        self.assertEqual(self.sizes(blocks_of_jpeg(self.converted(data, "jpg"))["exif"]), [31, 20] * 2)

    def test_the_thumbnail_of_a_picture_that_is_turned_is_dropped(self):
        thumbnail = self.made("jpg", smooth(16, 12, 3))
        exif = self.described(6, (64, 48), thumbnail)
        data = with_segments(self.made("jpg", smooth(64, 48, 3)), segment(0xE1, EXIF_PREFIX + exif))
        self.write("in.jpg", data)
        self.assertIn(f"thumbnail     16 x 12 pixels, {len(thumbnail)} bytes",
                      self.expect(OK, "info", "in.jpg").decode())
        text = note("Exif thumbnail dropped: it is not turned")
        made = self.converted(data, "jpg", "--orient", error=text)
        self.write("made.jpg", made)
        self.assertNotIn(b"thumbnail", self.expect(OK, "info", "made.jpg"))
        self.expect(OK, "transcode", "in.jpg", "out.jpg", "--orient", error=text.replace(": in:", ": in.jpg:"))
        self.assertNotIn(b"thumbnail", self.expect(OK, "info", "out.jpg"))
        for arguments in ["--rotate", "90"], ["--strip=xmp"]:
            self.expect(OK, "transcode", "in.jpg", "out.jpg", *arguments)
            self.assertIn(b"16 x 12", self.expect(OK, "info", "out.jpg"))
        self.converted(data, "jpg", "--orient", "--strip=exif")


class MultiPicture(MetadataTest):
    """The index of further pictures in a file says where they are."""

    def made_file(self, order, count=2):
        first = self.made("jpg", smooth(64, 48, 3))
        others = [self.made("jpg", noise(24 + 8 * i, 16, 3, i)) for i in range(count)]
        mark = {"<": b"II", ">": b"MM"}[order]
        size = 8 + 2 + 3 * 12 + 4 + 16 * (count + 1)
        index = 20 + 4 + 4  # in the file: SOI, JFIF, marker and length, prefix
        picture = len(first) + 4 + 4 + size
        body = mark + struct.pack(order + "HI", 42, 8) + struct.pack(order + "H", 3)
        body += struct.pack(order + "HHI4s", 0xB000, 7, 4, b"0100")
        body += struct.pack(order + "HHII", 0xB001, 4, 1, count + 1)
        body += struct.pack(order + "HHII", 0xB002, 7, 16 * (count + 1), 50) + bytes(4)
        at = picture
        body += struct.pack(order + "IIIHH", 0x030000, picture, 0, 0, 0)
        for other in others:
            body += struct.pack(order + "IIIHH", 0, len(other), at - index, 0, 0)
            at += len(other)
        return with_segments(first, segment(0xE2, b"MPF\0" + body)) + b"".join(others), others

    def pictures(self, data, order):
        """The pictures by the index, the first included."""
        at = data.index(b"MPF\0") + 4
        count = struct.unpack_from(order + "I", data, at + 10 + 12 + 8)[0]
        for i in range(count):
            size, offset = struct.unpack_from(order + "II", data, at + 50 + 16 * i + 4)
            start = at + offset if offset else 0
            yield data[start:start + size]

    def test_offsets_stay_right(self):
        for order in "<>":
            data, others = self.made_file(order)
            self.write("in.jpg", data)
            self.assertEqual(list(self.pictures(data, order))[1:], others)
            for options in [], ["--progressive"], ["--rotate", "180"], ["--strip=icc"], ["--restart", "1"]:
                self.expect(OK, "transcode", "in.jpg", "out.jpg", *options)
                made = self.read("out.jpg")
                first, *found = self.pictures(made, order)
                self.assertEqual(found, others, options)
                self.assertEqual(first, made[:len(made) - sum(map(len, others))])
                self.assertTrue(first.endswith(b"\xff\xd9"))
            self.expect(OK, "transcode", "in.jpg", "out.jpg", "--strip=other")
            self.assertNotIn(b"MPF", self.read("out.jpg"))

    @unittest.skipUnless(EXIFTOOL, "exiftool is not installed")
    def test_exiftool_finds_them(self):
        data, others = self.made_file(">", 1)
        self.write("in.jpg", data)
        self.expect(OK, "transcode", "in.jpg", "out.jpg", "--progressive")
        result = subprocess.run([EXIFTOOL, "-b", "-MPImage2", self.path("out.jpg")], capture_output=True, check=True)
        self.assertEqual(result.stdout, others[0])

    def test_damaged_ones_do_no_harm(self):
        data, others = self.made_file(">")
        start = data.index(b"MPF\0") + 4
        for at in range(start, start + 98):
            for byte in 0, 1, 255:
                self.write("in.jpg", data[:at] + bytes([byte]) + data[at + 1:])
                self.expect(OK, "transcode", "in.jpg", "out.jpg")
                made = self.read("out.jpg")
                self.assertTrue(made.endswith(b"".join(others)))

    def test_memory_is_charged(self):
        """The first picture is kept until its size is known."""
        data, others = self.made_file(">")
        index = data.index(b"MPF\0")
        self.assertGreater(self.needed(data), self.needed(data[:index - 4] + data[index + 102:]))

    def needed(self, data):
        """The smallest limit in bytes that suffices."""
        self.write("in.jpg", data)
        low, high = 1, 100000
        while low < high:
            middle = (low + high) // 2
            result = self.moxj("transcode", "in.jpg", "out.jpg", "--max-memory", str(middle))
            low, high = (low, middle) if result.returncode == OK else (middle + 1, high)
        return low


class Jpeg(MetadataTest):
    def test_image_resources(self):
        path = irb(0x07D0, b"a path")
        plain = self.made("jpg")
        whole = irb(0x0404, IPTC) + path
        for at in 0, 5, 30:
            parts = [whole[:at], whole[at:]] if at else [whole]
            data = with_segments(plain, *(segment(0xED, IRB_PREFIX + part) for part in parts))
            self.assertEqual(blocks_of_jpeg(self.converted(data, "jpg")), {"iptc": IPTC, "resource 2000": b"a path"})
        large = IPTC * 3000
        data = with_segments(plain, *(segment(0xED, IRB_PREFIX + irb(0x0404, large)[i:i + 60000])
                                      for i in range(0, len(large) + 12, 60000)))
        self.assertEqual(blocks_of_jpeg(self.converted(data, "jpg")), {"iptc": large})
        for end in range(1, len(irb(0x0404, IPTC)) - 1, 3):
            data = with_segments(plain, segment(0xED, IRB_PREFIX + path + irb(0x0404, IPTC)[:end]))
            error = "" if end < 4 else note("image resources dropped: they are damaged")
            self.assertEqual(blocks_of_jpeg(self.converted(data, "jpg", error=error)), {"resource 2000": b"a path"})
        data = with_segments(plain, segment(0xED, IRB_PREFIX + b"8BIM\4\4\0\0\xff\xff\xff\xff" + IPTC))
        self.converted(data, "jpg", error=note("image resources dropped: they are damaged"))

    def test_other_segments(self):
        plain = self.made("jpg")
        extended = b"http://ns.adobe.com/xmp/extension/\0" + bytes(40)
        index = segment(0xE2, b"MPF\0" + bytes(30))
        data = with_segments(plain, segment(0xE1, extended), segment(0xEB, b"JP" + bytes(9)), index)
        made = self.converted(data, "jpg", error=note("metadata dropped: index of further pictures"))
        self.assertEqual(blocks_of_jpeg(made), {"APP1": extended, "APP11": b"JP" + bytes(9)})
        error = note("metadata dropped: APP1 segment, APP11 segment, index of further pictures")
        self.assertEqual(blocks_of_png(self.converted(data, "png", error=error)), {})

    def test_density(self):
        plain = self.made("jpg")
        for density in (1, 300, 300), (2, 118, 59), (1, 72, 72), (1, 1, 65535), (0, 4, 3):
            data = with_segments(plain, density=density)
            self.assertEqual(blocks_of_jpeg(self.converted(data, "jpg")), {"resolution": density})
            if density[0]:
                back = self.converted(self.converted(data, "jp2"), "jpg")
                self.assertEqual(blocks_of_jpeg(back), {"resolution": density})
                back = self.converted(self.converted(data, "png"), "jpg")
                if density[1] > 1:
                    self.assertEqual(blocks_of_jpeg(back), {"resolution": density})
        self.assertEqual(blocks_of_png(self.converted(with_segments(plain, density=(0, 4, 3)), "png")),
                         {"resolution": (0, 4, 3)})
        self.converted(with_segments(plain, density=(0, 4, 3)), "jp2", error=note("metadata dropped: pixel ratio"))
        for density in (0, 1, 1), (0, 7, 7), (1, 0, 300), (3, 4, 5):
            self.assertEqual(self.converted(with_segments(plain, density=density), "jpg"),
                             self.converted(plain, "jpg"))

    def test_bytes_after_the_end(self):
        plain = self.made("jpg")
        for option in [], ["--progressive"]:
            file = self.made("jpg", None, *option)
            for tail in b"x", plain, bytes(50) + b"\1":
                count = f"{len(tail)} byte" + "s" * (len(tail) > 1)
                self.converted(file + tail, "png", error=note(f"{count} after the end of the picture dropped"))
                self.write("in.jpg", file + tail)
                self.assertIn(count, self.expect(OK, "info", "in.jpg").decode())
                self.expect(OK, "transcode", "in.jpg", "out.jpg")
                self.assertTrue(self.read("out.jpg").endswith(b"\xff\xd9" + tail))
                self.expect(OK, "transcode", "in.jpg", "out.jpg", "--strip")
                self.assertFalse(self.read("out.jpg").endswith(tail))
            self.converted(file + bytes(9), "png")

    def test_stripping_when_transcoding(self):
        data = Matrix.source(self, "jpg")
        self.write("in.jpg", data)
        everything = blocks_of_jpeg(data)
        for kinds in "icc", "exif", "xmp", "iptc", "comment", "resolution", "exif,xmp,comment", "other":
            self.expect(OK, "transcode", "in.jpg", "out.jpg", "--strip=" + kinds)
            left = {kind: block for kind, block in everything.items() if kind not in kinds.split(",")}
            self.assertEqual(blocks_of_jpeg(self.read("out.jpg")), left)
        self.expect(OK, "transcode", "in.jpg", "out.jpg", "--strip")
        self.assertEqual(blocks_of_jpeg(self.read("out.jpg")), {"resolution": (1, 300, 150)})

    icc, exif, blocks = Matrix.icc, Matrix.exif, Matrix.blocks

    def test_stripping_when_converting(self):
        data = Matrix.source(self, "jpg")
        everything = blocks_of_jpeg(data)
        for kinds in "exif", "xmp", "iptc", "comment", "resolution", "xmp,iptc":
            left = {kind: block for kind, block in everything.items() if kind not in kinds.split(",")}
            self.assertEqual(blocks_of_jpeg(self.converted(data, "jpg", "--strip=" + kinds)), left)
        lost = note("ICC profile 'Display P3' dropped: colours will look different")
        for option in "--strip", "--strip=all":
            made = self.converted(data, "jpg", option, error=lost)
            self.assertEqual(made, self.converted(self.made("jpg"), "jpg"))
        error = re.compile("'exif,colour' is not all or a comma-separated list of icc, ")
        self.expect(1, "encode", "in", "out.jpg", "--strip=exif,colour", error=error)


class Png(MetadataTest):
    def test_texts(self):
        data = with_chunks(self.made("png"), chunk(b"tEXt", b"Title\0caf\xe9"),
                           chunk(b"zTXt", b"Author\0\0" + zlib.compress(b"me")),
                           chunk(b"iTXt", b"Comment\0\0\0en\0\0" + "Größe Ω".encode()))
        found = blocks_of_png(self.converted(data, "png"))
        self.assertEqual((found["Title"], found["Author"]), (b"caf\xe9", b"me"))
        self.assertIn("Größe Ω".encode(), self.converted(data, "png"))
        comments = [body for marker, body in segments_of(self.converted(data, "jpg")) if marker == 0xFE]
        self.assertEqual(comments, ["Title: café".encode(), b"Author: me", "Größe Ω".encode()])

    def test_chunks_after_the_picture(self):
        data = self.made("png")
        late = data[:-12] + chunk(b"eXIf", exif_of(3)) + chunk(b"tEXt", b"Comment\0late") + data[-12:]
        found = blocks_of_png(self.converted(late, "png", "--orient"))
        self.assertEqual((orientation_of(found["exif"]), found["comment"]), (1, b"late"))

        compressed = (chunk(b"zTXt", b"Author\0\0" + zlib.compress(b"me")) +
                      chunk(b"iTXt", b"Title\0\1\0\0\0" + zlib.compress("Größe".encode())) +
                      chunk(b"zTXt", b"Bad\0\0" + b"no stream"))
        found = blocks_of_png(self.converted(data[:-12] + compressed + data[-12:], "png"))
        self.assertEqual((found["Author"], found["Title"], "Bad" in found), (b"me", "Größe".encode("latin-1"), False))

    def test_chunks_after_the_picture_of_a_stream(self):
        data = self.made("png")
        text = "metadata after the picture dropped: in a stream it comes too late"
        for late in chunk(b"eXIf", exif_of(3)), chunk(b"tEXt", b"Comment\0late"):
            made = self.expect(OK, "decode", "-", "-", "--format", "png", stdin=data[:-12] + late + data[-12:],
                               error=note(text, name="standard input"))
            self.assertEqual(blocks_of_png(made), {})
        self.expect(OK, "decode", "-", "-", stdin=data)

    def test_raw_profiles(self):
        """Exif data, XMP and IPTC data as text, which other programs write."""
        exif = exif_of(1)
        resources = irb(0x0404, IPTC) + irb(0x07D0, b"a path")
        for kind, body, expected in ((b"iptc", IPTC, {"iptc": IPTC}), (b"iptc", resources, {"iptc": IPTC}),
                                     (b"8bim", resources, {"iptc": IPTC}),
                                     (b"exif", EXIF_PREFIX + exif, {"exif": exif}),
                                     (b"APP1", EXIF_PREFIX + exif, {"exif": exif}),
                                     (b"APP1", XMP_PREFIX + XMP, {"xmp": XMP}), (b"xmp", XMP, {"xmp": XMP})):
            key, text = raw_profile(kind, body)
            for made in chunk(b"tEXt", key + b"\0" + text), chunk(b"zTXt", key + b"\0\0" + zlib.compress(text)):
                found = blocks_of_jpeg(self.converted(with_chunks(self.made("png"), made), "jpg"))
                self.assertEqual(found, expected, kind)
        key, text = raw_profile(b"iptc", IPTC)  # exiftool's name has a space
        made = chunk(b"tEXt", key + b"\0" + text.replace(b"\niptc\n", b"\nIPTC profile\n"))
        self.assertEqual(blocks_of_jpeg(self.converted(with_chunks(self.made("png"), made), "jpg")), {"iptc": IPTC})
        for bad in text[:-3] + b"\n", text.replace(b"1c", b"1g"), text.replace(b" 25\n", b" 26\n"), b"\niptc\n", b"":
            data = with_chunks(self.made("png"), chunk(b"tEXt", key + b"\0" + bad))
            result = self.moxj("encode", "-", "-", stdin=data)
            self.assertEqual(result.returncode, OK)
            self.assertNotIn("iptc", blocks_of_jpeg(result.stdout))
            self.assertRegex(result.stderr, "metadata dropped: ")

    def test_damaged_profiles_are_dropped(self):
        damaged = [b"P3\0\0" + zlib.compress(icc_of(b"P3"))[:-9], b"P3\0\0" + zlib.compress(b"x" * 200), b"P3\0\0",
                   b"\0\0" + zlib.compress(icc_of(b"P3"))]
        for body in damaged:
            data = with_chunks(self.made("png"), chunk(b"iCCP", body))
            made = self.converted(data, "png", error=note("ICC profile dropped: it is damaged"))
            self.assertEqual(blocks_of_png(made), {})

    def test_decompressed_texts_are_limited(self):
        bomb = chunk(b"zTXt", b"Comment\0\0" + zlib.compress(bytes(100) * 10**6, 9))
        data = with_chunks(self.made("png"), *[bomb] * 40)
        self.write("in", data)
        result = self.moxj("decode", "in", "out.ppm", "--max-memory", "20M")
        self.assertEqual(result.returncode, OK, result.stderr)

    def test_gamma_is_noted(self):
        data = with_chunks(self.made("png"), chunk(b"gAMA", struct.pack(">I", 100000)))
        text = "the gamma of the file is not applied: the brightness will look different"
        self.converted(data, "ppm", error=note(text))
        self.converted(with_chunks(self.made("png"), chunk(b"gAMA", struct.pack(">I", 45455))), "ppm")
        self.write("in.png", data)
        self.assertIn(b"gamma 1", self.expect(OK, "info", "in.png"))


class Jp2(MetadataTest):
    def test_other_boxes(self):
        geo = box(b"uuid", GEO_UUID + b"II*\0" + bytes(30))
        data = with_boxes(self.made("jp2"), geo, box(b"xml ", b"<a/>"), box(b"uuid", bytes(16)))
        made = self.converted(data, "jp2")
        self.assertEqual([name for name, _ in boxes_of(made)][3:6], [b"uuid", b"xml ", b"uuid"])
        self.assertIn(geo, made)
        self.converted(data, "jpg", error=note("metadata dropped: GeoJP2 box, XML box, uuid box"))
        self.converted(data, "ppm")

    def test_comments(self):
        """Text, registered as Latin-1 or not, but no binary data; with the keyword of PNG before it."""
        for extension in "jp2", "j2k":
            plain = self.made(extension)
            for registration, text, expected in ((1, b"caf\xe9", "café".encode()), (0, "Größe Ω".encode(), None),
                                                 (1, b"two\nlines", None), (0, b"\0\1\2", b""), (7, b"text", b"")):
                made = self.converted(with_comment(plain, registration, text), "jpg")
                found = blocks_of_jpeg(made).get("comment", b"")
                self.assertEqual(found, text if expected is None else expected)
            data = with_chunks(self.made("png"), chunk(b"tEXt", b"Title\0caf\xe9"))
            made = self.converted(data, extension)
            self.assertIn(b"\xff\x64\0\x10\0\0" + "Title: café".encode(), made)
        long = with_segments(self.made("jpg"), segment(0xFE, b"x" * 65533))
        self.converted(long, "jp2", error=note("metadata dropped: comment"))

    def test_boxes_after_the_codestream(self):
        data = self.made("jp2")
        at = data.index(b"jp2c") - 4
        data = data[:at] + box(b"jp2c", data[at + 8:]) + box(b"uuid", b"JpgTiffExif->JP2" + b"Exif\0\0" + exif_of(1))
        self.assertEqual(blocks_of_jpeg(self.converted(data, "jpg")), {"exif": exif_of(1)})

    def test_a_requested_size_is_that_of_the_picture(self):
        picture = noise(64, 64, 3)
        plain = self.made("jp2", picture, "--ratio", "10")
        data = with_chunks(png_of(picture), chunk(b"iTXt", b"XML:com.adobe.xmp\0\0\0\0\0" + XMP * 20),
                           chunk(b"eXIf", exif_of(1)))
        made = self.converted(data, "jp2", "--ratio", "10")
        self.assertGreater(len(made), len(plain))
        self.assertEqual(self.converted(made, "ppm"), self.converted(plain, "ppm"))

    def test_colour_of_a_profile(self):
        data = self.made("jp2", smooth(16, 16, 1))
        at = data.index(b"colr") - 4
        profile = icc_of(b"Grey", space=b"GRAY")
        start = data.index(b"jp2h") - 4
        data = data[:start] + box(b"jp2h", data[start + 8:at] + box(b"colr", b"\3\0\0" + profile)) + data[at + 15:]
        self.assertEqual(blocks_of_png(self.converted(data, "png")), {"icc": profile})


class Info(MetadataTest):
    icc, exif = Matrix.icc, exif_of(6, ">", thumbnail=b"12345")
    blocks = {**Matrix.blocks, "exif": exif}

    def test_the_date_is_that_of_the_exposure(self):
        """Not that of the last change."""
        changed, taken = b"2024:05:17 10:20:30\0", b"2023:01:02 03:04:05\0"
        first = struct.pack("<H", 2) + struct.pack("<HHII", 0x0132, 2, 20, 56) + \
            struct.pack("<HHII", 0x8769, 4, 1, 38) + bytes(4)
        details = struct.pack("<H", 1) + struct.pack("<HHII", 0x9003, 2, 20, 76) + bytes(4)
        exif = b"II*\0\x08\0\0\0" + first + details + changed + taken
        self.write("in.png", with_chunks(png_of(smooth(4, 4, 3)), chunk(b"eXIf", exif)))
        self.assertIn("date          2023:01:02 03:04:05\n", self.expect(OK, "info", "in.png").decode())

    def test_facts(self):
        for extension in "jpg", "png", "jp2":
            self.write("in", Matrix.source(self, extension))
            text = self.expect(OK, "info", "in").decode()
            for line in ("profile       Display P3, RGB, ", "orientation   6, to be turned by 90 degrees clockwise",
                         "camera        Maker Model 7", "date          2024:05:17 10:20:30",
                         "thumbnail     damaged, 5 bytes",
                         f"XMP           {len(XMP)} bytes"):
                self.assertIn(line, text, extension)
            self.assertRegex(text, r"density       (300|299\.999) x 150(\.012)? dpi")
            facts = json.loads(self.expect(OK, "info", "in", "--json"))["metadata"]
            self.assertEqual(facts["icc"]["description"], "Display P3")
            self.assertFalse(facts["icc"]["srgb"])
            self.assertEqual({name: facts["exif"][name] for name in ("orientation", "make", "model", "thumbnailBytes")},
                             {"orientation": 6, "make": "Maker", "model": "Model 7", "thumbnailBytes": 5})
            self.assertAlmostEqual(facts["resolution"]["horizontal"], 300, delta=0.01)

    def test_thumbnails_of_jfif(self):
        plain = self.made("jpg")
        jfif = plain[6:20]
        extension = b"JFXX\0"
        for body, detail in ((jfif[:12] + b"\2\3" + bytes(18), "JFIF, thumbnail of 2 x 3 pixels"),
                             (jfif, "JFIF"), (jfif[:12], "JFIF"),
                             (extension + b"\x10" + plain, "JFXX, thumbnail coded as JPEG"),
                             (extension + b"\x13\4\5" + bytes(60), "JFXX, thumbnail of 4 x 5 pixels"),
                             (extension + b"\x11\6\7", "JFXX, thumbnail of 6 x 7 pixels"),
                             (extension + b"\x12\6\7", "JFXX"), (extension, "JFXX")):
            self.write("in", plain[:2] + segment(0xE0, body) + plain[20:])
            segments = json.loads(self.expect(OK, "info", "in", "--json"))["segments"]
            self.assertEqual(segments[1]["detail"], detail)

    def test_nothing_is_said_without_metadata(self):
        for extension in "jpg", "png", "jp2":
            self.write("in", self.made(extension))
            self.assertNotIn("metadata", json.loads(self.expect(OK, "info", "in", "--json")))


if __name__ == "__main__":
    unittest.main()

"""The little of DICOM that carries JPEG data to dcmdjpeg and from dcmcjpeg: the only peers at hand with 12-bit DCT."""

import struct

EXPLICIT = "1.2.840.10008.1.2.1"
EXTENDED, PROGRESSIVE = "1.2.840.10008.1.2.4.51", "1.2.840.10008.1.2.4.55"
SECONDARY_CAPTURE = "1.2.840.10008.5.1.4.1.1.7"
LONG = ("OB", "OW", "SQ", "UN")


def element(group, number, kind, value):
    if isinstance(value, int):
        value = struct.pack("<H", value)
    if isinstance(value, str):
        value = value.encode() + (b"\0" if kind == "UI" else b" ") * (len(value) % 2)
    head = struct.pack("<HH", group, number) + kind.encode()
    if kind in LONG:
        return head + b"\0\0" + struct.pack("<I", len(value)) + value
    return head + struct.pack("<H", len(value)) + value


def file(width, height, channels, bits, pixels, syntax=EXPLICIT, colour=None):
    """`pixels` are 16-bit samples in little-endian order, or a JPEG file if the transfer syntax is one of JPEG."""
    meta = (element(2, 1, "OB", b"\0\1") + element(2, 2, "UI", SECONDARY_CAPTURE) + element(2, 3, "UI", "1.2.3") +
            element(2, 0x10, "UI", syntax) + element(2, 0x12, "UI", "1.2.3.4"))
    body = element(8, 0x16, "UI", SECONDARY_CAPTURE) + element(8, 0x18, "UI", "1.2.3")
    body += element(0x20, 0xD, "UI", "1.2.3.5") + element(0x20, 0xE, "UI", "1.2.3.6")
    body += element(0x28, 2, "US", channels)
    body += element(0x28, 4, "CS", colour or ("MONOCHROME2" if channels == 1 else "RGB"))
    if channels == 3:
        body += element(0x28, 6, "US", 0)
    body += element(0x28, 0x10, "US", height) + element(0x28, 0x11, "US", width)
    body += element(0x28, 0x100, "US", 16) + element(0x28, 0x101, "US", bits) + element(0x28, 0x102, "US", bits - 1)
    body += element(0x28, 0x103, "US", 0)
    if syntax == EXPLICIT:
        body += element(0x7FE0, 0x10, "OW", pixels)
    else:
        pixels += b"\0" * (len(pixels) % 2)
        item = struct.pack("<HHI", 0xFFFE, 0xE000, 0)
        body += struct.pack("<HH", 0x7FE0, 0x10) + b"OB\0\0\xff\xff\xff\xff" + item
        body += struct.pack("<HHI", 0xFFFE, 0xE000, len(pixels)) + pixels + struct.pack("<HHI", 0xFFFE, 0xE0DD, 0)
    return bytes(128) + b"DICM" + element(2, 0, "UL", struct.pack("<I", len(meta))) + meta + body


def pixel_data(data):
    """The value of the last element: samples in little-endian order, or the JPEG file in the fragments."""
    at = data.rindex(struct.pack("<HH", 0x7FE0, 0x10))
    length = struct.unpack("<I", data[at + 8:at + 12])[0]
    at += 12
    if length != 0xFFFFFFFF:
        return data[at:at + length]
    fragments = []
    while True:
        group, number, length = struct.unpack("<HHI", data[at:at + 8])
        if (group, number) == (0xFFFE, 0xE0DD):
            return b"".join(fragments[1:])
        fragments.append(data[at + 8:at + 8 + length])
        at += 8 + length

"""Takes codestreams and JP2 files apart and puts them together in other ways: what encoders rarely or never write."""

import struct

SOC, CAP, SIZ, COD, COC, TLM, PLM, PLT, QCD, QCC, RGN, POC, PPM, PPT, CRG, COM = (
    0xFF4F, 0xFF50, 0xFF51, 0xFF52, 0xFF53, 0xFF55, 0xFF57, 0xFF58, 0xFF5C, 0xFF5D, 0xFF5E, 0xFF5F, 0xFF60, 0xFF61,
    0xFF63, 0xFF64)
SOT, SOP, EPH, SOD, EOC = 0xFF90, 0xFF91, 0xFF92, 0xFF93, 0xFFD9


def is_bare(marker):
    return 0xFF30 <= marker <= 0xFF3F


def segment(marker, body=b""):
    return struct.pack(">H", marker) + (b"" if is_bare(marker) else struct.pack(">H", len(body) + 2) + body)


class Part:
    """A tile-part. `length` replaces the right one in SOT."""

    def __init__(self, tile, number, of, header, data):
        self.tile, self.number, self.of, self.header, self.data, self.length = tile, number, of, header, data, None

    def bytes(self):
        header = b"".join(segment(*one) for one in self.header)
        length = 12 + len(header) + 2 + len(self.data) if self.length is None else self.length
        return segment(SOT, struct.pack(">HIBB", self.tile, length, self.number, self.of)) + header + b"\xFF\x93" + \
            self.data


class Codestream:
    """header and Part.header are lists of (marker, body)."""

    def __init__(self, data):
        assert data[:2] == b"\xFF\x4F"
        self.header, self.parts, self.end = [], [], b"\xFF\xD9"
        at = 2
        while data[at:at + 2] != b"\xFF\x90":
            at = self.take(data, at, self.header)
        while data[at:at + 2] == b"\xFF\x90":
            start, header = at, []
            tile, length, number, of = struct.unpack(">HIBB", data[at + 4:at + 12])
            at += 12
            while data[at:at + 2] != b"\xFF\x93":
                at = self.take(data, at, header)
            end = start + length if length else len(data) - 2
            self.parts.append(Part(tile, number, of, header, data[at + 2:end]))
            at = end
        assert data[at:] == b"\xFF\xD9", at

    @staticmethod
    def take(data, at, header):
        marker, length = struct.unpack(">HH", data[at:at + 4])
        header.append((marker, data[at + 4:at + 2 + length]))
        return at + 2 + length

    def bytes(self):
        header = b"".join(segment(*one) for one in self.header)
        return b"\xFF\x4F" + header + b"".join(part.bytes() for part in self.parts) + self.end

    def body(self, marker):
        return next(body for found, body in self.header if found == marker)

    def replace(self, marker, body):
        self.header = [(found, body if found == marker else old) for found, old in self.header]

    def insert(self, marker, body=b"", at=None):
        """At the end of the main header, or as its segment number `at`."""
        self.header.insert(len(self.header) if at is None else at, (marker, body))


def packets(data):
    """The headers, with their EPH markers, and the bodies of packets that have SOP and EPH markers. No packet contains
    such bytes anywhere else."""
    found = []
    for one in data.split(b"\xFF\x91\x00\x04")[1:]:
        one = one[2:]  # the number
        end = one.index(b"\xFF\x92") + 2
        found.append((one[:end], one[end:]))
    return found


def with_packed_headers(stream, in_main_header, largest, numbered_by_tile=False):
    """Moves the packet headers of a stream with SOP and EPH markers to PPM or PPT segments of at most `largest`
    bytes. The SOP markers are left out. PPT segments count those of their tile-part, or of the tile."""
    packed, numbers = b"", {}
    for part in stream.parts:
        found = packets(part.data)
        headers = b"".join(header for header, _ in found)
        part.data = b"".join(body for _, body in found)
        if in_main_header:
            packed += struct.pack(">I", len(headers)) + headers
        else:
            first = numbers.get(part.tile, 0) if numbered_by_tile else 0
            part.header += pieces(PPT, headers, largest, first)
            numbers[part.tile] = first + len(part.header)
    if in_main_header:
        stream.header += pieces(PPM, packed, largest)
    style = stream.body(COD)
    stream.replace(COD, bytes([style[0] & ~2]) + style[1:])
    return stream


def pieces(marker, data, largest, first=0):
    return [(marker, bytes([i]) + data[at:at + largest]) for i, at in enumerate(range(0, len(data), largest), first)]


def merged(streams, sampling=None):
    """One stream of components that are coded each in its own way: of streams of one component and one tile, in the
    progression order CPRL and with as many layers."""
    first = streams[0]
    siz = first.body(SIZ)
    sizes = b"".join(one.body(SIZ)[36:37] + bytes(sampling[i] if sampling else (1, 1))
                     for i, one in enumerate(streams))
    first.replace(SIZ, siz[:34] + struct.pack(">H", len(streams)) + sizes)
    for i, one in enumerate(streams[1:], 1):
        style = one.body(COD)
        assert style[1] == 4 and style[2:4] == first.body(COD)[2:4]
        first.insert(COC, bytes([i, style[0] & 1]) + style[5:])
        first.insert(QCC, bytes([i]) + one.body(QCD))
        for marker, body in one.header:
            if marker == RGN:
                first.insert(RGN, bytes([i]) + body[1:])
        first.parts[0].data += one.parts[0].data
    return first


# ---- JP2 ---------------------------------------------------------------------------------------------------------


def box(kind, body, length=None, extended=False):
    """`length` replaces the right one."""
    if extended:
        return struct.pack(">I4sQ", 1, kind, len(body) + 16 if length is None else length) + body
    return struct.pack(">I4s", len(body) + 8 if length is None else length, kind) + body


SIGNATURE = box(b"jP  ", b"\r\n\x87\n")
FILE_TYPE = box(b"ftyp", b"jp2 \0\0\0\0jp2 ")


def jp2(codestream, *header, before=SIGNATURE + FILE_TYPE, after=b"", length=None):
    """`header` are the boxes in jp2h."""
    return before + box(b"jp2h", b"".join(header)) + box(b"jp2c", codestream, length) + after


def ihdr(width, height, components, bits=8):
    return box(b"ihdr", struct.pack(">IIHBBBB", height, width, components, bits - 1, 7, 0, 0))


def colr(space=16, method=1, body=None):
    return box(b"colr", bytes([method, 0, 0]) + (struct.pack(">I", space) if body is None else body))


def pclr(columns, depths):
    """`columns` are lists of values, `depths` of (bits, signed)."""
    data = struct.pack(">HB", len(columns[0]), len(columns)) + bytes(bits - 1 | signed << 7 for bits, signed in depths)
    for values in zip(*columns):
        for value, (bits, _) in zip(values, depths):
            size = (bits + 7) // 8
            data += (value & ((1 << 8 * size) - 1)).to_bytes(size, "big")
    return box(b"pclr", data)


def cmap(*entries):
    """(component, type, column): type 1 by the palette, 0 directly"""
    return box(b"cmap", b"".join(struct.pack(">HBB", *entry) for entry in entries))


def cdef(*channels):
    """(number, kind, association)"""
    return box(b"cdef", struct.pack(">H", len(channels)) + b"".join(struct.pack(">HHH", *one) for one in channels))

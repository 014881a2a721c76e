"""Writes small files of kinds that no encoder writes, for the fuzzer of JPEG 2000.

usage: fuzz_seeds.py CODESTREAM DIRECTORY     a codestream of three components of 8 bits, with several tile-parts"""

import pathlib
import struct
import sys

import codestreams as cs


def seeds(data):
    stream = cs.Codestream(data)
    stream.insert(0xFF30, at=1)
    stream.insert(0xFF6F, b"unknown")
    for part in stream.parts:
        part.header.append((0xFF3F, b""))
    yield "markers.j2k", stream.bytes()
    stream = cs.Codestream(data)
    stream.parts[0].length, stream.parts[-1].of, stream.end = 20, 9, b""
    yield "lengths.j2k", stream.bytes()
    stream = cs.Codestream(data)
    siz = stream.body(cs.SIZ)
    grid = [2 * value for value in struct.unpack(">8I", siz[2:34])]
    stream.replace(cs.SIZ, siz[:2] + struct.pack(">8I", *grid) + siz[34:36] + b"\7\2\2" * 3)
    yield "sampling.j2k", stream.bytes()
    size = struct.unpack(">II", siz[2:10])
    palette = cs.pclr([[1, 2, 250], [-3, 9, 100]], [(8, 0), (12, 1)])
    mapping, order = cs.cmap((0, 1, 0), (1, 1, 1), (2, 0, 0)), cs.cdef((0, 0, 2), (1, 0, 1), (2, 1, 0))
    yield "boxes.jp2", cs.jp2(data, cs.ihdr(*size, 3), cs.colr(method=4, body=b""), cs.colr(), palette, mapping, order)
    # Colour spaces by number, 14 with ranges and illuminant; premultiplied opacity; a length of 8 bytes.
    for space in (0, 1, 3, 4, 9, 11, 12, 13, 14, 17, 18, 20, 21, 24, 99):
        yield f"colour{space}.jp2", cs.jp2(data, cs.ihdr(*size, 3), cs.colr(space))
    lab = struct.pack(">8I", 14, 100, 0, 170, 128, 200, 96, 0x43540000 + 6500)
    yield "lab.jp2", cs.jp2(data, cs.ihdr(*size, 3), cs.colr(body=lab))
    opacity = cs.cdef((0, 0, 1), (1, 0, 2), (2, 2, 0))
    yield "premultiplied.jp2", cs.jp2(data, cs.ihdr(*size, 3), cs.colr(17), opacity)
    yield "long.jp2", cs.jp2(data, cs.ihdr(*size, 3), cs.colr(), after=cs.box(b"uuid", bytes(20), extended=True))
    yield "unmapped.jp2", cs.jp2(data, cs.ihdr(*size, 3), cs.colr(), palette)
    yield "palette.jp2", cs.jp2(data, cs.ihdr(*size, 3), cs.colr(), palette, before=cs.FILE_TYPE, length=0)


if __name__ == "__main__":
    for name, seed in seeds(pathlib.Path(sys.argv[1]).read_bytes()):
        pathlib.Path(sys.argv[2], name).write_bytes(seed)

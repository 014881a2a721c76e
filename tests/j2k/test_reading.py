"""Every kind of codestream and JP2 file that the standard allows and encoders rarely write, beside the peers where they
read it; and the violations that can be read all the same."""

import json
import random
import re
import struct
import unittest

import codestreams as cs
import peers
import pictures  # tests/jpeg
import support


# ---- The 5/3 transform, in integers without a limit ----------------------------------------------------------------


def lifted(line, signs):
    """Samples from interleaved coefficients (signs -1, 1), or the other way round (1, -1)."""
    def around(i):
        return line[i - 1 if i > 0 else 1] + line[i + 1 if i + 1 < len(line) else len(line) - 2]

    steps = [(0, lambda i: signs[0] * ((around(i) + 2) >> 2)), (1, lambda i: signs[1] * (around(i) >> 1))]
    if len(line) > 1:
        for start, change in steps if signs[0] < 0 else reversed(steps):
            for i in range(start, len(line), 2):
                line[i] += change(i)
    return line


def each_level(plane, width, height, sizes, row, column):
    """Applies functions to the rows and columns of each level, rows first if they are given first."""
    for w, h in sizes:
        for change in row, column:
            if change.__name__.startswith("rows"):
                for y in range(h):
                    plane[y * width:y * width + w] = change(plane[y * width:y * width + w])
            else:
                for x in range(w):
                    plane[x:h * width:width] = change(plane[x:h * width:width])
    return plane


def rows_forward(line):
    line = lifted(list(line), (1, -1))
    return line[::2] + line[1::2]


def rows_inverse(line):
    low = (len(line) + 1) // 2
    mixed = [0] * len(line)
    mixed[::2], mixed[1::2] = line[:low], line[low:]
    return lifted(mixed, (-1, 1))


def columns_forward(line):
    return rows_forward(line)


def columns_inverse(line):
    return rows_inverse(line)


def sizes_of(width, height, levels):
    sizes = []
    for _ in range(levels):
        sizes.append((width, height))
        width, height = (width + 1) // 2, (height + 1) // 2
    return sizes


def forward(samples, width, height, levels):
    return each_level(list(samples), width, height, sizes_of(width, height, levels), columns_forward, rows_forward)


def inverse(coefficients, width, height, levels):
    return each_level(list(coefficients), width, height, sizes_of(width, height, levels)[::-1], rows_inverse,
                      columns_inverse)


class ReadingTest(peers.PeerTest):
    def stream(self, *options, size=(61, 47), channels=3, peer="opj", seed=1):
        """A codestream of a peer, taken apart."""
        kind = "pgm" if channels == 1 else "ppm"
        self.write("in." + kind, support.pnm(pictures.generated(*size, channels, seed)))
        self.peer_encode(peer, "in." + kind, "in.j2k", *options)
        return cs.Codestream(self.read("in.j2k"))

    def planes_of(self, data, name="x.j2k", *options):
        self.write(name, data)
        return self.moxj_planes(name, *options)

    def check(self, data, expected, name="x.j2k", by=peers.PEERS, bound=0):
        """The tool reads what is expected, and so do the peers."""
        self.assertEqual(self.planes_of(data, name), expected)
        for peer in by:
            self.assertLessEqual(peers.greatest_difference(expected, self.peer_planes(peer, name)), bound, peer)

    def noted(self, data, expected, text, name="x.j2k"):
        """Read rightly, with a note."""
        self.write(name, data)
        self.expect(support.OK, "decode", name, f"m-{name}.pgx", "--components", error=f"moxj: {name}: note: {text}\n")
        self.assertEqual(self.planes(f"m-{name}"), expected)

    def warned(self, data, text, name="x.j2k"):
        """Read in part."""
        self.write(name, data)
        self.expect(support.INCOMPLETE, "decode", name, f"m-{name}.pgx", "--components",
                    error=f"moxj: {name}: warning: {text}\n")
        return self.planes(f"m-{name}")

    # ---- Markers --------------------------------------------------------------------------------------------------

    def test_reserved_markers_and_unknown_segments(self):
        options = ["-n", "3", "-t", "32,32", "-TP", "R"]
        stream = self.stream(*options)
        expected = self.planes_of(stream.bytes())
        for marker in range(0xFF30, 0xFF40):
            stream.insert(marker, at=1)
            stream.insert(marker)
        for part in stream.parts:
            part.header += [(0xFF30, b""), (0xFF3F, b"")]
        self.check(stream.bytes(), expected, by=[])  # the peers lose their way at a marker without a segment
        stream = self.stream(*options)
        stream.insert(0xFF6F, b"unknown!", at=1)
        stream.insert(cs.CRG, bytes(12))
        self.check(stream.bytes(), expected)
        for part in stream.parts:
            part.header += [(0xFF6F, b"unknown!"), (0xFF65, b""), (cs.COM, b"\0\1text")]
        stream.insert(0xFF30, at=2)
        self.check(stream.bytes(), expected, by=[])
        info = json.loads(self.expect(support.OK, "info", "--json", "x.j2k"))
        self.assertEqual([s["name"] for s in info["segments"]][:4], ["SOC", "SIZ", "unknown", "reserved"])
        self.assertEqual([s["length"] for s in info["segments"]][2:4], [4 + len(b"unknown!"), 2])
        stream.insert(0xFF6F, b"unknown!", at=0)
        self.check(stream.bytes(), expected, by=[])

    def test_markers_that_take_memory(self):
        stream = self.stream()
        stream.header += [(0xFF30, b"")] * 65537
        self.write("x.j2k", stream.bytes())
        self.expect(support.REFUSED, "decode", "x.j2k", "x.ppm",
                    error="moxj: x.j2k: more than 65536 markers without segments\n")
        data = cs.jp2(self.stream().bytes(), cs.colr(), cs.pclr([[1]], [(8, 0)]), cs.cmap(*[(0, 1, 0)] * 16385))
        self.write("x.jp2", data)
        self.expect(support.REFUSED, "decode", "x.jp2", "x.ppm",
                    error="moxj: x.jp2: a cmap box with more than 16384 channels\n")

    def test_headers_that_do_not_begin_with_siz(self):
        error = "moxj: x.j2k: the main header does not begin with SIZ\n"
        for change in (lambda s: s.header.insert(0, s.header.pop(1)), lambda s: s.header.append(s.header[0]),
                       lambda s: s.header.pop(0)):
            stream = self.stream()
            change(stream)
            self.write("x.j2k", stream.bytes())
            self.expect(support.REFUSED, "decode", "x.j2k", "x.ppm", error=error)

    def test_lists_of_lengths(self):
        for options in (["-PLT"], ["-TLM"], ["-PLT", "-TLM", "-SOP", "-EPH"]):
            same = ["-n", "3", "-t", "40,24", "-r", "10,1"]
            stream = self.stream("-TP", "L", *same, *options)
            data = stream.bytes()
            self.check(data, self.planes_of(self.stream(*same).bytes()))
        stream.insert(cs.PLM, b"\0\2\1\1")
        self.check(stream.bytes(), self.planes_of(stream.bytes()), by=[])

    def test_packed_packet_headers(self):
        """PPM and PPT, also in pieces that end anywhere."""
        options = ["-n", "3", "-SOP", "-EPH", "-t", "40,30", "-r", "8,1", "-TP", "R"]
        expected = self.planes_of(self.stream(*options).bytes())
        # OpenJPEG reads PPM only if no number in it is divided, Grok does not.
        for in_main_header, largest, by_tile, by in ((True, 60000, False, ["opj"]), (True, 13, False, []),
                                                     (False, 60000, True, peers.PEERS), (False, 13, True, ["opj"]),
                                                     (False, 60000, False, []), (False, 13, False, [])):
            stream = cs.with_packed_headers(self.stream(*options), in_main_header, largest, by_tile)
            self.check(stream.bytes(), expected, by=by)

    # ---- Tile-parts -----------------------------------------------------------------------------------------------

    def test_tile_parts_in_any_order_of_tiles(self):
        for options in (["-TP", "R"], ["-TP", "L", "-r", "20,5,1"], ["-TP", "C", "-p", "CPRL"]):
            stream = self.stream("-n", "3", "-t", "32,32", *options)
            expected = self.planes_of(stream.bytes())
            stream.parts.sort(key=lambda part: (part.number, -part.tile))
            self.check(stream.bytes(), expected)

    def test_tile_parts_that_are_not_in_order(self):
        stream = self.stream("-TP", "R")
        expected = self.planes_of(stream.bytes())
        stream.parts.reverse()
        self.check(stream.bytes(), expected, by=[])

    def test_wrong_counts_of_tile_parts(self):
        stream = self.stream("-TP", "R")
        expected, count = self.planes_of(stream.bytes()), len(stream.parts)
        self.assertGreater(count, 2)
        for of in 1, count + 1, 255:
            for part in stream.parts:
                part.of = of
            self.noted(stream.bytes(), expected, f"tile 0 has {count} of {of} tile-parts")
        for part in stream.parts:
            part.of, part.number = 0, 0
        self.noted(stream.bytes(), expected, "tile 0 has tile-parts with wrong numbers")

    def test_wrong_lengths_of_tile_parts(self):
        for number in 0, 2, -1:
            stream = self.stream("-n", "3", "-TP", "R", "-t", "40,40")
            expected = self.planes_of(stream.bytes())
            part = stream.parts[number]
            right = len(part.bytes())
            for length in 1, 12, 14, right - 5, right + 5, right + 100000, 0xFFFFFFFF:
                part.length = length
                self.noted(stream.bytes(), expected, f"the length of a tile-part of tile {part.tile} is wrong")
        part.length = 0
        self.check(stream.bytes(), expected)
        stream.end = b""
        self.noted(stream.bytes(), expected, "the file ends without an EOC marker")

    def test_lost_headers_of_tile_parts(self):
        """Without its marker, a tile-part cannot be told from the data before it."""
        stream = self.stream("-n", "3", "-TP", "R", "-t", "40,40")
        data = stream.bytes()
        second = len(data) - 2 - sum(len(part.bytes()) for part in stream.parts[1:])
        self.assertEqual(data[second:second + 2], b"\xFF\x90")
        self.warned_like(data[:second] + b"\0\0" + data[second + 2:],
                         r"\Amoxj: x\.j2k: note: the length of a tile-part of tile 0 is wrong\n"
                         r"moxj: x\.j2k: warning: tile 0 ")

    def warned_like(self, data, pattern):
        self.write("x.j2k", data)
        self.expect(support.INCOMPLETE, "decode", "x.j2k", "m-x.j2k.pgx", "--components", error=re.compile(pattern))

    def test_tile_parts_of_no_tile(self):
        stream = self.stream("-t", "40,40")
        expected = self.planes_of(stream.bytes())
        stream.parts.insert(1, cs.Part(9999, 0, 1, [], b"data"))
        self.noted(stream.bytes(), expected, "tile-parts of tiles that do not exist")

    def test_tiles_without_samples(self):
        """Tiles of one sample become those of a component with every fourth sample, in tiles of 3 x 3, some of which
        have none."""
        stream = self.stream("-n", "1", "-t", "1,1", size=(5, 4), channels=1)
        expected = self.planes_of(stream.bytes())
        siz = stream.body(cs.SIZ)
        stream.replace(cs.SIZ, siz[:2] + struct.pack(">8I", 17, 13, 0, 0, 3, 3, 0, 0) + siz[34:36] + b"\7\4\4")
        for part in stream.parts:
            part.tile = part.tile // 5 * 4 // 3 * 6 + part.tile % 5 * 4 // 3
        self.assertNotIn(3, [part.tile for part in stream.parts])
        self.check(stream.bytes(), expected, by=[])
        stream.parts.pop()
        self.warned_like(stream.bytes(), r"\Amoxj: x\.j2k: warning: tile \d+ is missing\n\Z")

    def test_a_missing_eoc(self):
        stream = self.stream()
        expected = self.planes_of(stream.bytes())
        stream.end = b""
        self.noted(stream.bytes(), expected, "the file ends without an EOC marker")
        stream.end = b"\xFF\xD9 and more"
        self.check(stream.bytes(), expected)

    # ---- Components -----------------------------------------------------------------------------------------------

    def component(self, number, *options, size=(61, 47)):
        return self.stream("-p", "CPRL", *options, size=size, channels=1, seed=number)

    def test_components_each_coded_in_its_own_way(self):
        """Wavelets, levels, code-blocks, modes, precincts, quantisation and regions of interest by component."""
        ways = [["-n", "4", "-c", "[32,32]"], ["-I", "-n", "6", "-b", "16,32"], ["-n", "1", "-M", "41"],
                ["-n", "3", "-ROI", "c=0,U=7", "-M", "4"], ["-I", "-n", "2", "-c", "[16,16],[8,8]", "-b", "8,8"]]
        for layers in ["1"], ["30,6,1"]:
            streams = [self.component(i, *way, "-r", layers[0]) for i, way in enumerate(ways)]
            expected = [self.planes_of(one.bytes())[0] for one in streams]
            self.check(cs.merged(streams).bytes(), expected, by=["opj"], bound=1)

    def test_components_of_their_own_sampling(self):
        """Each sub-sampled in its own way: its own size, with or without being put on the grid."""
        sampling = [(1, 1), (2, 1), (2, 2), (3, 5)]
        sizes = [(-(-60 // dx), -(-45 // dy)) for dx, dy in sampling]
        streams = [self.component(i, "-n", "3", size=size) for i, size in enumerate(sizes)]
        expected = [self.planes_of(one.bytes())[0] for one in streams]
        data = cs.merged(streams, sampling).bytes()
        siz = cs.Codestream(data).body(cs.SIZ)
        size = struct.pack(">II", 60, 45)
        data = data.replace(siz, siz[:2] + size + siz[10:18] + size + siz[26:])
        self.check(data, expected, by=["opj"])
        up = self.planes_of(data, "x.j2k", "--upsample")
        for (bits, signed, width, height, samples), (dx, dy), plane in zip(up, sampling, expected):
            self.assertEqual((bits, signed, width, height), (8, False, 60, 45))
            self.assertEqual(samples, [plane[4][y // dy * plane[2] + x // dx] for y in range(45) for x in range(60)])

    def test_one_sub_sampling_for_all(self):
        """The picture has the size of its components, unless --upsample puts it on the grid. Offsets included."""
        for options in ([], ["-d", "5,3"], ["-t", "50,40"], ["-d", "4,4", "-T", "2,2", "-t", "64,64"]):
            stream = self.stream("-s", "2,3", *options)
            data = stream.bytes()
            siz = struct.unpack(">IIII", stream.body(cs.SIZ)[2:18])
            width, height = -(-siz[0] // 2) - -(-siz[2] // 2), -(-siz[1] // 3) - -(-siz[3] // 3)
            ours = self.planes_of(data)
            self.assertEqual({plane[2:4] for plane in ours}, {(width, height)})
            self.check(data, ours, by=["opj"])
            self.expect(support.OK, "decode", "x.j2k", "x.ppm")
            self.command("opj_decompress", "-i", "x.j2k", "-o", "opj.ppm")
            self.assertEqual(support.parse_pnm(self.read("x.ppm")), (width, height, 3, [
                sample for samples in zip(*(plane[4] for plane in ours)) for sample in samples]))
            self.assertEqual(support.parse_pnm(self.read("x.ppm"))[:2], (width, height))
            info = json.loads(self.expect(support.OK, "info", "--json", "x.j2k"))
            grid = siz[0] - siz[2], siz[1] - siz[3]
            self.assertEqual((info["width"], info["height"]), (width, height))
            self.assertEqual((info["gridWidth"], info["gridHeight"]), grid)
            self.expect(support.OK, "decode", "x.j2k", "up.ppm", "--upsample")
            self.assertEqual(support.parse_pnm(self.read("up.ppm"))[:2], grid)
            self.assertEqual({plane[2:4] for plane in self.planes_of(data, "x.j2k", "--upsample")}, {grid})
            reduced = self.planes_of(data, "x.j2k", "--reduce", "2")
            self.assertEqual(peers.greatest_difference(reduced, self.peer_planes("opj", "x.j2k", "-r", "2")), 0)

    def test_a_transform_of_components_that_differ(self):
        """It is left out, with a warning."""
        self.write("in.raw", bytes(support.noise(60, 40, 2)[3]) + bytes(support.noise(30, 20, 2)[3]))
        self.peer_encode("opj", "in.raw", "in.j2k", "-F", "60,40,4,8,u@1x1:2x2:2x2:1x1", "-mct", "0")
        stream = cs.Codestream(self.read("in.j2k"))
        expected = self.planes_of(stream.bytes())
        style = bytearray(stream.body(cs.COD))
        style[4] = 1
        stream.replace(cs.COD, bytes(style))
        text = "tile 0 has a component transform of components that differ"
        self.assertEqual(self.warned(stream.bytes(), text), expected)
        streams = [self.component(i, *way) for i, way in enumerate(([], ["-I"], []))]
        expected = [self.planes_of(one.bytes())[0] for one in streams]
        stream = cs.merged(streams)
        style = bytearray(stream.body(cs.COD))
        style[4] = 1
        stream.replace(cs.COD, bytes(style))
        self.assertEqual(self.warned(stream.bytes(), text, "y.j2k"), expected)

    def test_a_transform_of_fewer_than_three_components(self):
        stream = self.stream(channels=1)
        expected = self.planes_of(stream.bytes())
        style = bytearray(stream.body(cs.COD))
        style[4] = 1
        stream.replace(cs.COD, bytes(style))
        self.noted(stream.bytes(), expected, "a component transform of 1 components, left out")

    def test_many_components(self):
        """300 have numbers of two bytes in their segments."""
        width, height, count = 7, 5, 300
        samples = support.noise(width, height, count)[3]
        self.write("in.raw", bytes(samples))
        self.peer_encode("opj", "in.raw", "in.j2k", "-F", f"{width},{height},{count},8,u", "-n", "2", "-mct", "0")
        stream = cs.Codestream(self.read("in.j2k"))
        size = width * height
        expected = [(8, False, width, height, samples[c * size:c * size + size]) for c in range(count)]
        self.check_numbered(stream.bytes(), expected)
        style, steps = stream.body(cs.COD), stream.body(cs.QCD)
        for number in 0, 258, 299:
            stream.insert(cs.COC, struct.pack(">HB", number, style[0] & 1) + style[5:])
            stream.insert(cs.QCC, struct.pack(">H", number) + steps)
            stream.insert(cs.RGN, struct.pack(">HBB", number, 0, 0))
        # Without those of their own, the components would be coded otherwise.
        stream.replace(cs.QCD, bytes([steps[0] ^ 0x20]) + steps[1:])
        other = [stream.header.index((cs.QCC, struct.pack(">H", n) + steps)) for n in (0, 258, 299)]
        self.assertTrue(other)
        ours = self.numbered(stream.bytes())
        for number in 0, 258, 299:
            self.assertEqual(ours[number], expected[number])
        self.expect(support.OK, "decode", "x.j2k", "x.raw")
        self.assertEqual(len(self.read("x.raw")), size * count)

    def test_too_many_tiles_of_too_many_components(self):
        """A small file that would cost much time."""
        count, side = 16384, 255
        siz = struct.pack(">HIIIIIIIIH", 0, side, side, 0, 0, 1, 1, 0, 0, count)
        header = cs.segment(cs.SIZ, siz + b"\7\1\1" + bytes([7, side, side]) * (count - 1))
        header += cs.segment(cs.COD, b"\0\0\0\1\0\40\4\4\0\1") + cs.segment(cs.QCD, b"\x40" + b"\x40" * 97)
        parts = b"".join(cs.Part(tile, 0, 1, [], b"\0" * 40).bytes() for tile in range(side * side))
        self.write("x.j2k", b"\xFF\x4F" + header + parts + b"\xFF\xD9")
        self.expect(support.LIMIT, "decode", "x.j2k", "x.raw", error="moxj: x.j2k: 65025 tiles of 16384 components are "
                    "more than 1048576 tile-components\n")

    def numbered(self, data):
        self.write("x.j2k", data)
        self.moxj("decode", "x.j2k", "n.pgx", "--components")
        return [peers.parse_pgx(self.read(f"n_{i}.pgx")) for i in range(300)]

    def check_numbered(self, data, expected):
        self.assertEqual(self.numbered(data), expected)

    # ---- Coding parameters ----------------------------------------------------------------------------------------

    def test_every_number_of_levels(self):
        """The peers read more than 30 only where the packets are not ordered by position."""
        picture = pictures.generated(45, 38, 3, 5)
        self.write("in.ppm", support.pnm(picture))
        original = [(8, False, 45, 38, list(picture[3][c::3])) for c in range(3)]
        for levels in (0, 1, 7, 15, 31, 32):
            for order in "LRCP", "RPCL", "PCRL":
                self.expect(support.OK, "encode", "in.ppm", "in.j2k", "--levels", str(levels), "--progression", order)
                self.check(self.read("in.j2k"), original, by=peers.PEERS if levels < 31 or order == "LRCP" else [])
            self.expect(support.OK, "encode", "in.ppm", "in.j2k", "--levels", str(levels), "--bpp", "6")
            data = self.read("in.j2k")
            self.check(data, self.planes_of(data), bound=1)

    def test_derived_quantisation(self):
        """Only the step of the lowest band is given. The picture is another one, for the peers too."""
        for levels in 0, 1, 5:
            stream = self.stream("-I", "-n", str(levels + 1), "-r", "3")
            steps = stream.body(cs.QCD)
            stream.replace(cs.QCD, bytes([steps[0] & 0xE0 | 1]) + steps[1:3])
            data = stream.bytes()
            ours = self.planes_of(data)
            for peer in peers.PEERS:
                theirs = self.peer_planes(peer, "x.j2k")
                self.assertLessEqual(peers.greatest_difference(ours, theirs), 1, (levels, peer))

    def test_deep_samples(self):
        """Streams of 8 bits that say they have more: each coefficient is scaled up, as far as 31 bit-planes allow. The
        samples are those of the 5/3 transform in integers without a limit."""
        values = support.noise(45, 38, 1, 4)[3]
        self.write("in.pgm", support.pnm((45, 38, 1, values)))
        for levels in 0, 1, 3:
            self.peer_encode("opj", "in.pgm", "in.j2k", "-n", levels + 1)
            data = self.read("in.j2k")
            coefficients = forward([value - 128 for value in values], 45, 38, levels)
            for bits, shift in ((16, 0), (20, 4), (24, 15), (26, 18), (27, 19), (28, 19), (31, 20), (31, 0)):
                for signed in False, True:
                    stream = cs.Codestream(data)
                    siz, steps = stream.body(cs.SIZ), stream.body(cs.QCD)
                    stream.replace(cs.SIZ, siz[:36] + bytes([bits - 1 | signed << 7]) + siz[37:])
                    # Exponents that are larger by the shift.
                    stream.replace(cs.QCD, steps[:1] + bytes(step + 8 * shift for step in steps[1:]))
                    half = 1 << shift >> 1
                    scaled = [((abs(c) << shift) + half) * (1 if c > 0 else -1) if c else 0 for c in coefficients]
                    low, offset = -(1 << bits - 1), 0 if signed else 1 << bits - 1
                    expected = [min(max(value, low), -low - 1) + offset for value in inverse(scaled, 45, 38, levels)]
                    self.write("x.j2k", stream.bytes())
                    self.expect(support.OK, "decode", "x.j2k", "x.pgx")
                    self.assertEqual(peers.parse_pgx(self.read("x.pgx")), (bits, signed, 45, 38, expected),
                                     (levels, bits, shift))

    def test_deep_samples_with_loss(self):
        """Of 17 to 20 bits, as close to the original as OpenJPEG, which made the files."""
        for bits in 17, 18, 20:
            values = [value << bits - 8 | value for value in pictures.generated(120, 90, 1, bits)[3]]
            self.write("in.pgx", peers.pgx(bits, False, 120, 90, values))
            self.peer_encode("opj", "in.pgx", f"{bits}.j2k", "-I", "-r", "2")
            ours, = self.moxj_planes(f"{bits}.j2k")
            theirs, = self.peer_planes("opj", f"{bits}.j2k")
            error, other = (sum((a - b)**2 for a, b in zip(one[4], values)) for one in (ours, theirs))
            self.assertLess(error, 1.001 * other, bits)
            self.assertLess(peers.greatest_difference([ours], [theirs]), 1 << bits - 14, bits)

    def test_depths_that_are_refused(self):
        stream = self.stream(channels=1)
        siz = stream.body(cs.SIZ)
        stream.replace(cs.SIZ, siz[:36] + bytes([31]) + siz[37:])
        self.write("x.j2k", stream.bytes())
        self.expect(support.REFUSED, "decode", "x.j2k", "x.pgx",
                    error="moxj: x.j2k: samples of 32 bits are not supported\n")
        stream = self.stream("-I", channels=1)
        stream.replace(cs.SIZ, siz[:36] + bytes([24]) + siz[37:])
        self.write("x.j2k", stream.bytes())
        self.expect(support.REFUSED, "decode", "x.j2k", "x.pgx",
                    error="moxj: x.j2k: samples of 25 bits with the 9/7 wavelet are not supported\n")
        stream = self.stream(channels=1)
        stream.insert(cs.RGN, b"\0\0\x25")
        self.warned(stream.bytes(), "tile 0 has code-blocks of more than 31 bit-planes, which are not supported")

    def test_too_few_steps(self):
        stream = self.stream("-n", "4")
        steps = stream.body(cs.QCD)
        stream.replace(cs.QCD, steps[:-1])
        self.warned_like(stream.bytes(), r"\Amoxj: x\.j2k: warning: tile 0 has fewer quantiser steps than bands")

    def test_offsets(self):
        """Of picture and tiles on the grid, with precincts and all orders."""
        for order in "LRCP", "RLCP", "RPCL", "PCRL", "CPRL":
            for image, tiles in (("1,1", "0,0"), ("17,9", "15,3"), ("31,31", "31,0"), ("100,64", "64,64")):
                stream = self.stream("-p", order, "-d", image, "-T", tiles, "-t", "37,41", "-n", "3",
                                     "-c", "[16,32],[32,8]", "-b", "16,16", "-SOP")
                self.check(stream.bytes(), self.planes_of(self.stream().bytes()), by=["opj"])

    def test_small_tiles_of_sub_sampled_components(self):
        """Tiles, offsets, samplings, orders and reduced resolutions drawn at random, where OpenJPEG can write and read
        the file."""
        source, compared = random.Random(7), 0
        for number in range(60):
            width, height, levels = source.randint(4, 20), source.randint(4, 20), source.randint(0, 3)
            sampling = [source.choice([(1, 1), (2, 2), (2, 1), (1, 2), (4, 1)]) for _ in range(source.randint(1, 4))]
            tile = source.choice([None, (3, 3), (5, 4), (7, 7)])
            offset = source.choice([(0, 0), (1, 8), (5, 3), (2, 2)])
            reduce, lossy = source.randint(0, levels), source.random() < 0.3
            self.write("in.raw", source.randbytes(sum(-(-width // dx) * -(-height // dy) for dx, dy in sampling)))
            options = ["-F", f"{width},{height},{len(sampling)},8,u@" + ":".join("%dx%d" % one for one in sampling),
                       "-n", levels + 1, "-mct", 0, "-d", "%d,%d" % offset, *(["-I"] if lossy else []),
                       "-p", source.choice(["LRCP", "RLCP", "RPCL", "PCRL", "CPRL"])]
            if tile:
                first = [source.randint(max(0, at - size + 1), at) for at, size in zip(offset, tile)]
                options += ["-t", "%d,%d" % tile, "-T", "%d,%d" % tuple(first)]
            name = f"small{number}.j2k"
            try:
                self.peer_encode("opj", "in.raw", name, *options)
                theirs = self.peer_planes("opj", name, "-r", reduce)
            except AssertionError:
                continue
            ours = self.moxj_planes(name, "--reduce", str(reduce))
            self.assertLessEqual(peers.greatest_difference(ours, theirs), lossy, options)
            compared += 1
        self.assertGreater(compared, 20)

    def test_changes_of_progression_in_tiles(self):
        """POC in the header of a tile, for all tiles or one, in one segment or several."""
        poc = "T1=0,0,1,2,3,RLCP/T1=2,0,1,4,3,CPRL"
        stream = self.stream("-n", "4", "-POC", poc)
        expected = self.planes_of(stream.bytes())
        header = stream.parts[0].header
        (_, body), = [one for one in header if one[0] == cs.POC]
        self.check(stream.bytes(), expected)
        first, second = stream.parts
        first.header, second.header = [(cs.POC, body[:7])], [(cs.POC, body[7:])]
        self.check(stream.bytes(), expected)
        first.header, second.header = header, []
        header[:] = [(cs.POC, body[:7]), (cs.POC, body[7:])]
        self.check(stream.bytes(), expected, by=[])
        header.clear()
        stream.insert(cs.POC, body)
        self.check(stream.bytes(), expected)
        header.append((cs.POC, body))
        stream.replace(cs.POC, body[7:])  # that of the tile counts
        self.check(stream.bytes(), expected, by=[])

    def test_parameters_of_tiles(self):
        """Each tile in another way: the headers of tiles of other streams."""
        ways = [["-n", "3"], ["-n", "5", "-b", "16,16", "-p", "RPCL"], ["-I", "-r", "4"], ["-n", "1", "-M", "63"]]
        streams = [self.stream("-t", "32,32", *way, size=(64, 64)) for way in ways]
        expected = [self.planes_of(one.bytes()) for one in streams]
        mixed = cs.Codestream(streams[0].bytes())
        for tile, one in enumerate(streams):
            mixed.parts[tile] = one.parts[tile]
            mixed.parts[tile].header = [(cs.COD, one.body(cs.COD)), (cs.QCD, one.body(cs.QCD))]
        planes = []
        for c in range(3):
            of_tile = [expected[y // 32 * 2 + x // 32][c][4][y * 64 + x] for y in range(64) for x in range(64)]
            planes.append((8, False, 64, 64, of_tile))
        self.check(mixed.bytes(), planes, bound=1)

    def test_what_counts_for_a_component_of_a_tile(self):
        """COC and QCC of the tile, then its COD and QCD, then COC and QCC of the main header."""
        stream = self.stream("-n", "3", "-t", "50,40")
        expected = self.planes_of(stream.bytes())
        style, steps = stream.body(cs.COD), stream.body(cs.QCD)
        stream.insert(cs.COC, bytes([1, 0, 5]) + style[6:])
        stream.insert(cs.QCC, bytes([1, steps[0] ^ 0x20]) + steps[1:] + steps[1:7])
        for header in ([(cs.COC, bytes([1, 0]) + style[5:]), (cs.QCC, bytes([1]) + steps)],
                       [(cs.COD, style), (cs.QCD, steps)]):
            for part in stream.parts:
                part.header = header
            self.check(stream.bytes(), expected)

    # ---- High throughput ------------------------------------------------------------------------------------------

    def test_high_throughput_is_described(self):
        self.write("in.ppm", support.pnm(pictures.generated(61, 47, 3, 1)))
        self.peer_encode("grk", "in.ppm", "in.j2k", "-M", "64")
        self.expect(support.REFUSED, "decode", "in.j2k", "x.ppm",
                    error="moxj: in.j2k: high-throughput block coding (ISO/IEC 15444-15) is not supported\n")
        text = self.expect(support.OK, "info", "in.j2k").decode()
        self.assertIn("modes         high-throughput (not decoded)\n", text)
        info = json.loads(self.expect(support.OK, "info", "--json", "in.j2k"))
        self.assertEqual((info["width"], info["height"], info["modes"]), (61, 47, "high-throughput"))
        self.assertIn("CAP", [one["name"] for one in info["segments"]])

    # ---- JP2 ------------------------------------------------------------------------------------------------------

    def boxed(self, *header, planes=3, **options):
        stream = self.stream(channels=planes) if planes in (1, 3) else None
        return cs.jp2(stream.bytes(), cs.ihdr(61, 47, planes), *header, **options)

    def test_boxes_of_any_form(self):
        expected = self.planes_of(self.stream().bytes())
        stream = self.read("x.j2k")
        header = [cs.ihdr(61, 47, 3), cs.colr()]
        start = cs.SIGNATURE + cs.FILE_TYPE
        inner = cs.box(b"jp2h", b"".join(header))
        files = {
            "as usual": cs.jp2(stream, *header),
            "last box up to the end": cs.jp2(stream, *header, length=0),
            "long lengths": start + cs.box(b"jp2h", b"".join(header), extended=True) +
                            cs.box(b"jp2c", stream, extended=True),
            "unknown boxes": start + cs.box(b"abcd", b"x" * 99) + inner + cs.box(b"\0\1\2\3", b"") +
                             cs.box(b"jp2c", stream) + cs.box(b"free", b""),
            "unknown boxes in the header": cs.jp2(stream, header[0], cs.box(b"what", b"ever"), header[1]),
            "codestream first": start + cs.box(b"jp2c", stream) + inner,
            "without a signature": cs.FILE_TYPE + inner + cs.box(b"jp2c", stream),
            "with the signature of a draft": cs.box(b"jP\x1a\x1a", b"\r\n\x87\n") + cs.FILE_TYPE + inner +
                                             cs.box(b"jp2c", stream),
            "without a header": start + cs.box(b"jp2c", stream),
            "JPX": cs.SIGNATURE + cs.box(b"ftyp", b"jpx \0\0\0\0jp2 jpx ") + inner + cs.box(b"jp2c", stream),
            "a length beyond the file": cs.jp2(stream, *header, length=1 << 30),
        }
        for name, data in files.items():
            with self.subTest(name):
                self.assertEqual(self.planes_of(data, "x.jp2"), expected)
                self.expect(support.OK, "decode", "x.jp2", "x.ppm")
                self.assertEqual(json.loads(self.expect(support.OK, "info", "--json", "x.jp2"))["boxed"], True)
        self.noted(cs.jp2(stream, *header, after=cs.box(b"jp2c", stream)), expected,
                   "the first of 2 codestreams is used", "x.jp2")
        self.write("x.jp2", start + inner + cs.box(b"ftbl", b""))
        self.expect(support.REFUSED, "decode", "x.jp2", "x.ppm",
                    error="moxj: x.jp2: codestreams in fragments (ISO/IEC 15444-2) are not supported\n")

    def test_several_colour_boxes(self):
        """The first that a reader of JP2 knows."""
        stream = self.stream(channels=1).bytes()
        for boxes, name in (([cs.colr(17), cs.colr(16)], "grey"),
                            ([cs.colr(method=4, body=bytes(16)), cs.colr(17)], "grey"),
                            ([cs.colr(method=5, body=bytes(7)), cs.colr(17)], "grey"),
                            ([cs.colr(method=9, body=b"")], None)):
            self.write("x.jp2", cs.jp2(stream, cs.ihdr(61, 47, 1), *boxes))
            self.assertEqual(json.loads(self.expect(support.OK, "info", "--json", "x.jp2"))["colour"], name)
            self.expect(support.OK, "decode", "x.jp2", "x.pgm")

    def indices(self, count, bits):
        values = [value % count for value in support.noise(20, 10, 1, 3, (1 << bits) - 1)[3]]
        self.write("in.pgx", peers.pgx(bits, False, 20, 10, values))
        self.expect(support.OK, "encode", "in.pgx", "in.j2k")
        return values, self.read("in.j2k")

    def test_palettes(self):
        """Of 1 to 1024 entries, 1 to 16 bits, some columns of several; as the peers apply them."""
        for count, bits, depths in ((1, 8, [(8, 0)] * 3), (256, 8, [(8, 0)] * 3), (1024, 10, [(16, 0)] * 3),
                                    (2, 1, [(1, 0)]), (300, 9, [(12, 0)]), (4, 8, [(5, 0)] * 3)):
            values, stream = self.indices(count, bits)
            columns = [[(i * 37 + c * 11) % (1 << depth) for i in range(count)] for c, (depth, _) in enumerate(depths)]
            header = [cs.ihdr(20, 10, 1), cs.colr(16 if len(depths) == 3 else 17), cs.pclr(columns, depths)]
            header.append(cs.cmap(*((0, 1, c) for c in range(len(depths)))))
            self.write("x.jp2", cs.jp2(stream, *header))
            depth = depths[0][0]
            kind = "ppm" if len(depths) == 3 else "pgm"
            self.expect(support.OK, "decode", "x.jp2", "x." + kind)
            expected = [columns[c][value] for value in values for c in range(len(depths))]
            self.assertEqual(support.parse_deep_pnm(self.read("x." + kind)),
                             ((20, 10, len(depths), expected), (1 << depth) - 1))
            self.command("opj_decompress", "-i", "x.jp2", "-o", f"opj{count}.pgx")
            self.assertEqual([plane[4] for plane in self.planes(f"opj{count}")],
                             [expected[c::len(depths)] for c in range(len(depths))])

    def test_palettes_with_signed_values_and_direct_components(self):
        values, stream = self.indices(4, 8)
        columns = [[-5, 3, -128, 127], [1, 2, 3, 1 << 23]]
        header = [cs.ihdr(20, 10, 1), cs.colr(17), cs.pclr(columns, [(8, 1), (24, 0)])]
        self.write("x.jp2", cs.jp2(stream, *header, cs.cmap((0, 1, 0), (0, 0, 0), (0, 1, 1))))
        self.expect(support.OK, "decode", "x.jp2", "x.rawl", error=re.compile("note: the colour space grey "))
        data = self.read("x.rawl")
        self.assertEqual(list(struct.unpack("200b", data[:200])), [columns[0][value] for value in values])
        self.assertEqual(list(data[200:400]), values)
        self.assertEqual(list(struct.unpack("<200I", data[400:])), [columns[1][value] for value in values])
        self.write("x.jp2", cs.jp2(stream, *header, cs.cmap((1, 1, 0))))
        self.expect(support.REFUSED, "decode", "x.jp2", "x.pgm",
                    error="moxj: x.jp2: the component mapping does not fit the palette\n")

    def test_a_palette_without_a_mapping(self):
        """Of one component it can only be meant for that; of several it is left out, which is no right picture."""
        values, stream = self.indices(4, 8)
        columns = [[10, 250, 0, 90], [20, 1, 255, 80], [30, 2, 0, 70]]
        palette = cs.pclr(columns, [(8, 0)] * 3)
        self.write("x.jp2", cs.jp2(stream, cs.ihdr(20, 10, 1), cs.colr(), palette))
        self.expect(support.OK, "decode", "x.jp2", "x.ppm", error="moxj: x.jp2: note: the palette has no component "
                    "mapping: its columns are used in their order\n")
        self.assertEqual(support.parse_pnm(self.read("x.ppm"))[3],
                         [columns[c][value] for value in values for c in range(3)])
        self.write("x.jp2", self.boxed(cs.colr(), palette))
        self.expect(support.INCOMPLETE, "decode", "x.jp2", "x.ppm",
                    error="moxj: x.jp2: warning: the palette has no component mapping\n")

    def test_definitions_of_channels(self):
        """Orders of colours, opacity anywhere, channels without a definition or a meaning."""
        samples = support.noise(6, 5, 5)[3]
        planes = [samples[c * 30:c * 30 + 30] for c in range(5)]
        for count, channels, expected, opacity in (
            (3, [(0, 0, 3), (1, 0, 2), (2, 0, 1)], [2, 1, 0], False),
            (4, [(0, 1, 0), (1, 0, 1), (2, 0, 2), (3, 0, 3)], [1, 2, 3, 0], True),
            (4, [(3, 1, 0)], [0, 1, 2, 3], True),
            (4, [(0, 0, 2), (1, 0, 1), (2, 0, 3), (3, 65535, 65535)], [1, 0, 2, 3], False),
            (5, [(0, 1, 0), (1, 65535, 65535), (2, 0, 3), (3, 0, 2), (4, 0, 1)], [4, 3, 2, 1, 0], True),
            (5, [(0, 0, 1), (1, 0, 2), (2, 0, 3), (3, 1, 1), (4, 1, 0)], [0, 1, 2, 3, 4], True),
            (2, [(0, 1, 1), (1, 0, 1)], [1, 0], True),
            (3, [(0, 0, 1), (0, 0, 2), (9, 0, 3), (1, 0, 65535), (2, 0, 0)], [0, 1, 2], False),
        ):
            self.write("in.raw", bytes(sample for plane in planes[:count] for sample in plane))
            self.peer_encode("opj", "in.raw", "in.j2k", "-F", f"6,5,{count},8,u", "-n", "1", "-mct", "0")
            space = cs.colr(16 if count > 2 else 17)
            self.write("x.jp2", cs.jp2(self.read("in.j2k"), cs.ihdr(6, 5, count), space, cs.cdef(*channels)))
            self.expect(support.OK, "decode", "x.jp2", "x.raw")
            self.assertEqual(list(self.read("x.raw")), [v for c in expected for v in planes[c]], channels)
            self.expect(support.OK, "decode", "x.jp2", "x.png", "--quiet")
            kind = support.parse_any_png(self.read("x.png"))[2]
            self.assertEqual(kind in (support.RGB_ALPHA, support.GREY_ALPHA), opacity or count in (4, 5), channels)

    def test_premultiplied_opacity(self):
        """Colours are divided by the opacity, unless the output says that they are not."""
        samples = support.noise(6, 5, 4)[3]
        planes = [samples[c * 30:c * 30 + 30] for c in range(4)]
        planes[3][:3] = [0, 1, 255]
        self.write("in.raw", bytes(sample for plane in planes for sample in plane))
        self.peer_encode("opj", "in.raw", "in.j2k", "-F", "6,5,4,8,u", "-n", "1", "-mct", "0")
        channels = cs.cdef((0, 0, 1), (1, 0, 2), (2, 0, 3), (3, 2, 0))
        self.write("x.jp2", cs.jp2(self.read("in.j2k"), cs.ihdr(6, 5, 4), cs.colr(16), channels))
        expected = []
        for *colours, opacity in zip(*planes):
            expected += [min((c * 255 + opacity // 2) // opacity, 255) if opacity else 0 for c in colours] + [opacity]
        for name in "x.pam", "x.png":
            self.expect(support.OK, "decode", "x.jp2", name)
            self.expect(support.OK, "decode", name, "same.pam")
            self.assertEqual(list(self.read("same.pam").split(b"ENDHDR\n", 1)[1]), expected)
        self.expect(support.OK, "encode", "x.jp2", "y.jp2")
        self.assertIn(channels, self.read("y.jp2"))
        self.expect(support.OK, "decode", "y.jp2", "y.raw")
        self.assertEqual(self.read("y.raw"), self.read("in.raw"))

    # ---- Raw ------------------------------------------------------------------------------------------------------

    def test_raw_files(self):
        """As grk_decompress writes them, in both byte orders."""
        for bits, signed in ((8, False), (5, False), (12, False), (16, False), (8, True), (11, True)):
            lowest = -(1 << bits - 1) if signed else 0
            values = [value + lowest for value in support.noise(31, 23, 1, bits, (1 << bits) - 1)[3]]
            self.write("in.pgx", peers.pgx(bits, signed, 31, 23, values))
            self.expect(support.OK, "encode", "in.pgx", "in.j2k")
            for extension in "raw", "rawl":
                self.expect(support.OK, "decode", "in.j2k", "ours." + extension)
                size, order = 1 if bits <= 8 else 2, "big" if extension == "raw" else "little"
                expected = b"".join(value.to_bytes(size, order, signed=signed) for value in values)
                self.assertEqual(self.read("ours." + extension), expected, (bits, signed))
                if not signed:
                    self.command("grk_decompress", "-i", "in.j2k", "-o", "grk." + extension)
                    self.assertEqual(self.read("grk." + extension), expected, bits)
        self.write("in.ppm", support.pnm(pictures.generated(31, 23, 3, 1)))
        self.expect(support.OK, "encode", "in.ppm", "in.jp2")
        self.expect(support.OK, "decode", "in.jp2", "out", "--format", "raw")
        samples = support.pnm(pictures.generated(31, 23, 3, 1)).split(b"\n", 3)[3]
        self.assertEqual(self.read("out"), samples[::3] + samples[1::3] + samples[2::3])
        self.expect(support.OK, "decode", "in.jp2", "out.rawl", "--components")
        self.assertEqual(self.read("out_1.rawl"), samples[1::3])


if __name__ == "__main__":
    unittest.main()

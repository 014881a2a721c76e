"""What the writer's options put into a file: markers, lengths and tile-parts are where they belong, layers have what
they were asked for, and the peers decode what the tool decodes."""

import math
import random
import struct
import unittest

import peers
import support

SOC, SIZ, COD, TLM, PLT, QCD, QCC, RGN, COM, SOT, SOP, EPH, SOD, EOC = (
    0xFF4F, 0xFF51, 0xFF52, 0xFF55, 0xFF58, 0xFF5C, 0xFF5D, 0xFF5E, 0xFF64, 0xFF90, 0xFF91, 0xFF92, 0xFF93, 0xFFD9)


class TilePart:
    def __init__(self, data, at):
        _, _, self.tile, self.length, self.number, self.of = struct.unpack_from(">HHHIBB", data, at)
        end = at + self.length
        at += 12
        self.lengths = []
        while (marker := struct.unpack_from(">H", data, at)[0]) != SOD:
            size = struct.unpack_from(">H", data, at + 2)[0]
            assert marker == PLT and data[at + 4] == self.segments(), hex(marker)
            self.take(data[at + 5:at + 2 + size])
            at += 2 + size
        self.packets = data[at + 2:end]

    def segments(self):
        return self.lengths.count(None)

    def take(self, numbers):
        """The lengths of a PLT segment, after a None."""
        self.lengths.append(None)
        value = 0
        for byte in numbers:
            value = value << 7 | byte & 127
            if byte < 128:
                self.lengths.append(value)
                value = 0

    def packet_lengths(self):
        return [length for length in self.lengths if length is not None]


class Stream:
    """A codestream: (marker, body) of its main header, and its tile-parts."""

    def __init__(self, data):
        assert data[:2] == b"\xff\x4f"
        self.header, self.parts, at = [], [], 2
        while (marker := struct.unpack_from(">H", data, at)[0]) not in (SOT, EOC):
            size = struct.unpack_from(">H", data, at + 2)[0]
            self.header.append((marker, data[at + 4:at + 2 + size]))
            at += 2 + size
        while struct.unpack_from(">H", data, at)[0] == SOT:
            self.parts.append(TilePart(data, at))
            at += self.parts[-1].length
        assert data[at:] == b"\xff\xd9"

    def bodies(self, marker):
        return [body for found, body in self.header if found == marker]


def photograph(width, height, channels, seed=1, maxval=255):
    """Edges, gradients and textures with some noise."""
    source = random.Random(seed)
    blobs = [(source.uniform(0, width), source.uniform(0, height), source.uniform(4, 40),
              [source.uniform(-0.5, 0.5) for _ in range(3)]) for _ in range(24)]
    values = []
    for y in range(height):
        for x in range(width):
            shades = [0.4 + 0.2 * x / width, 0.5, 0.6 - 0.3 * y / height]
            for bx, by, radius, colour in blobs:
                distance = math.hypot(x - bx, y - by)
                if distance < radius:
                    shades = [shade + 0.5 * part for shade, part in zip(shades, colour)]
            texture = 0.06 * math.sin(x * 0.9) * math.sin(y * 0.7) + source.gauss(0, 0.01)
            values += [min(maxval, max(0, round((shade + texture) * maxval))) for shade in shades[:channels]]
    return width, height, channels, values


def psnr(original, planes):
    """Of all samples together, of 8 bits."""
    channels = original[2]
    squares = [sum((a - b) ** 2 for a, b in zip(plane[4], original[3][c::channels])) for c, plane in enumerate(planes)]
    mean = sum(squares) / len(original[3])
    return 10 * math.log10(255 * 255 / mean) if mean else math.inf


def combinations():
    """Sets of options, chosen at random but always the same."""
    source = random.Random(5)
    for number in range(40):
        options = ["--levels", source.choice("0 1 3 5".split()), "--block", source.choice("4x4 32x16 64x64".split()),
                   "--progression", source.choice("LRCP RLCP RPCL PCRL CPRL".split())]
        levels = int(options[1])
        precincts = source.choice(["", "32,32", "64,16,32,8" if levels else "64,16"])
        options += ["--precincts", precincts] if precincts else []
        tile = source.choice(["", "40x64"])
        options += ["--tile", tile] if tile else []
        options += [option for option in ("--sop", "--eph", "--plt", "--tlm") if source.random() < 0.5]
        options += source.choice([[], ["--roi", "20,10,30,25"]])
        parts = source.choice(["", "R", "L", "C"])
        layers = source.choice([1, 3])
        # A change at every packet makes too many tile-parts.
        positional = options[5] in ("RPCL", "PCRL", "CPRL") and parts == "L" and layers > 1
        positional |= options[5] == "PCRL" or options[5] == "RPCL" and parts == "C"
        options += ["--tile-parts", parts] if parts and not (precincts and positional) else []
        lossless = source.random() < 0.5
        if not lossless:
            options += ["--ratio", "6,3,2" if layers == 3 else "2"]
        elif layers == 3:
            options += source.choice([["--layers", "3"], ["--ratio", "6,3,1"], ["--psnr", "25,35,lossless"]])
            if "--roi" in options and "--psnr" in options:
                options = options[:-2]
        yield number, lossless, source.choice([1, 3]), source.choice(["j2k", "jp2"]), options


class WritingTest(peers.PeerTest):
    def stream(self, *options, source="in.ppm", name="out.j2k"):
        self.expect(support.OK, "encode", source, name, "--quiet", *options)
        return Stream(self.read(name))

    def check_combination(self, item):
        number, lossless, channels, extension, options = item
        original = photograph(97, 75, channels, number)
        source, name = self.write(f"c{number}.{'ppm' if channels == 3 else 'pgm'}", support.pnm(original)), \
            f"c{number}.{extension}"
        self.expect(support.OK, "encode", source, name, "--quiet", *options)
        ours = self.moxj_planes(name)
        if lossless:
            self.assertEqual([plane[4] for plane in ours], [original[3][c::channels] for c in range(channels)])
        for peer in peers.PEERS:
            self.assertLessEqual(peers.greatest_difference(ours, self.peer_planes(peer, name)), 0 if lossless else 1,
                                 (peer, options))

    def test_combinations(self):
        self.in_parallel(self.check_combination, combinations())

    def test_packet_markers(self):
        self.write("in.ppm", support.pnm(photograph(80, 60, 3)))
        # The layers do not depend on the size of headers.
        layers = ["--tile", "64x60", "--psnr", "30,lossless"]
        plain = self.stream(*layers)
        for markers in (["--sop"], ["--eph"], ["--sop", "--eph"]):
            marked = self.stream(*layers, "--plt", *markers)
            self.assertEqual(marked.bodies(COD)[0][0], 2 * ("--sop" in markers) + 4 * ("--eph" in markers))
            self.assertEqual(marked.bodies(COD)[0][1:], plain.bodies(COD)[0][1:])
            for part, bare in zip(marked.parts, plain.parts):
                packets, at = [], 0
                for length in part.packet_lengths():
                    packets.append(part.packets[at:at + length])
                    at += length
                self.assertEqual(at, len(part.packets))
                self.assertEqual(len(packets), 2 * 6 * 3)
                for number, packet in enumerate(packets):
                    if "--sop" in markers:
                        self.assertEqual(packet[:6], struct.pack(">HHH", SOP, 4, number))
                    self.assertEqual(packet.count(b"\xff\x92"), int("--eph" in markers))
                if markers == ["--sop"]:
                    self.assertEqual(b"".join(packet[6:] for packet in packets), bare.packets)
                if markers == ["--eph"]:
                    self.assertEqual(b"".join(packet.replace(b"\xff\x92", b"") for packet in packets), bare.packets)

    def test_tile_part_lengths(self):
        self.write("in.ppm", support.pnm(photograph(80, 60, 3)))
        layers = ["--tile", "64x60", "--psnr", "30,lossless"]
        plain = self.stream(*layers)
        for parts, count in ([], 1), (["--tile-parts", "R"], 12), (["--tile-parts", "L"], 2), (
                ["--tile-parts", "C"], 36):
            found = self.stream(*layers, "--tlm", *parts)
            body = found.bodies(TLM)[0]
            self.assertEqual(body[:2], b"\x00\x60")
            entries = [struct.unpack_from(">HI", body, at) for at in range(2, len(body), 6)]
            self.assertEqual(entries, [(part.tile, part.length) for part in found.parts])
            places = [(part.tile, part.number, part.of) for part in found.parts]
            self.assertEqual(places, [(tile, number, count) for tile in range(2) for number in range(count)])
            for tile in range(2):
                joined = b"".join(part.packets for part in found.parts if part.tile == tile)
                self.assertEqual(joined, plain.parts[tile].packets)

    def test_many_tile_parts(self):
        """More entries than one TLM segment holds, more packets than one PLT segment, more tile-parts than allowed."""
        self.write("in.ppm", support.pnm(support.smooth(220, 220, 3)))
        found = self.stream("--tile", "2x4", "--levels", "0", "--tile-parts", "C", "--tlm")
        self.assertEqual([len(body) for body in found.bodies(TLM)][:2], [2 + 6 * 10921, 2 + 6 * (110 * 55 * 3 - 10921)])
        self.assertEqual([body[0] for body in found.bodies(TLM)][:2], [0, 1])
        entries = [struct.unpack_from(">HI", body, at) for body in found.bodies(TLM) for at in range(2, len(body), 6)]
        self.assertEqual(entries, [(part.tile, part.length) for part in found.parts])
        found = self.stream("--precincts", "4,4", "--block", "4x4", "--layers", "20", "--plt")
        self.assertGreater(found.parts[0].segments(), 1)
        self.assertEqual(sum(found.parts[0].packet_lengths()), len(found.parts[0].packets))
        self.expect(support.REFUSED, "encode", "in.ppm", "no.j2k", "--precincts", "4,4", "--progression", "PCRL",
                    "--tile-parts", "R", error="moxj: in.ppm: --tile-parts makes more than 255 tile-parts of a tile in "
                    "this progression\n")

    def test_precincts(self):
        self.write("in.ppm", support.pnm(support.smooth(80, 60, 3)))
        body = self.stream("--precincts", "64,32,16,16").bodies(COD)[0]
        self.assertEqual(body[0], 1)
        # From the lowest resolution up; halves of the last size, but not below 4.
        self.assertEqual(list(body[10:]), [0x22, 0x22, 0x22, 0x33, 0x44, 0x56])

    def test_sizes_of_layers(self):
        original = photograph(120, 90, 3)
        self.write("in.ppm", support.pnm(original))
        samples, pixels = 120 * 90 * 3, 120 * 90
        for options, sizes in ((["--ratio", "40,20,10"], [samples / 40, samples / 20, samples / 10]),
                               (["--bpp", "0.5,1.5"], [pixels * 0.5 / 8, pixels * 1.5 / 8]),
                               (["--ratio", "40,20,1"], [samples / 40, samples / 20])):
            found = self.stream(*options, "--plt")
            packets, layers = found.parts[0].packet_lengths(), len(options[1].split(","))
            each = len(packets) // layers
            for layer, size in enumerate(sizes):
                taken = sum(packets[:each * (layer + 1)])
                self.assertLessEqual(taken, size)
                self.assertGreater(taken, 0.75 * size)  # the rest is headers, and PLT of all layers
            if len(sizes) == layers:
                self.assertLessEqual(len(self.read("out.j2k")), sizes[-1])
        self.assertEqual([plane[4] for plane in self.moxj_planes("out.j2k")], [original[3][c::3] for c in range(3)])

    def test_psnr(self):
        """At most 0.1 dB below what was asked for, and at most 0.5 above."""
        for channels in 1, 3:
            original = photograph(160, 120, channels, channels)
            source = self.write(f"p{channels}.{'ppm' if channels == 3 else 'pgm'}", support.pnm(original))
            for wanted in 25, 30, 35, 40, 45, 50:
                name = f"p{channels}-{wanted}.j2k"
                self.expect(support.OK, "encode", source, name, "--psnr", str(wanted))
                for planes in self.moxj_planes(name), self.peer_planes("opj", name):
                    found = psnr(original, planes)
                    self.assertGreaterEqual(found, wanted - 0.1)
                    self.assertLessEqual(found, wanted + 0.5)

    def test_psnr_of_layers(self):
        original = photograph(160, 120, 3)
        self.write("in.ppm", support.pnm(original))
        for last in "44", "0":
            self.stream("--psnr", "30,37," + last)
            for layer, wanted in enumerate((30, 37, 44 if last == "44" else math.inf)):
                found = psnr(original, self.moxj_planes("out.j2k", "--layers", str(layer + 1)))
                self.assertGreaterEqual(found, wanted - 0.1)
                self.assertLessEqual(found, wanted + 0.5)

    def test_psnr_out_of_reach(self):
        original = photograph(60, 40, 3)
        self.write("in.ppm", support.pnm(original))
        self.expect(support.OK, "encode", "in.ppm", "far.j2k", "--psnr", "150",
                    error="moxj: in.ppm: note: the 9/7 wavelet does not reach the requested PSNR: written without "
                    "loss\n")
        self.expect(support.OK, "encode", "in.ppm", "exact.j2k", "--lossless")
        self.assertEqual(self.read("far.j2k"), self.read("exact.j2k"))

    def test_region_of_interest(self):
        """At a low rate the region is better than the rest, and better than without the option."""
        original = photograph(160, 120, 3)
        self.write("in.ppm", support.pnm(original))
        x, y, width, height = 50, 30, 40, 35

        def errors(planes):
            inside, outside = [], []
            for c, plane in enumerate(planes):
                for at, (a, b) in enumerate(zip(plane[4], original[3][c::3])):
                    is_in = x <= at % 160 < x + width and y <= at // 160 < y + height
                    (inside if is_in else outside).append((a - b) ** 2)
            return sum(inside) / len(inside), sum(outside) / len(outside)

        self.stream("--ratio", "20")
        plain = errors(self.moxj_planes("out.j2k"))
        found = self.stream("--ratio", "20", "--roi", f"{x},{y},{width},{height}")
        self.assertEqual(len(found.bodies(RGN)), 3)
        for planes in self.moxj_planes("out.j2k"), *(self.peer_planes(peer, "out.j2k") for peer in peers.PEERS):
            inside, outside = errors(planes)
            self.assertLess(8 * inside, plain[0])
            self.assertLess(8 * inside, outside)
        # The region alone: what is left for the rest of the first layer is nothing.
        self.stream("--ratio", "30,1", "--roi", f"{x},{y},{width},{height}")
        inside, outside = errors(self.moxj_planes("out.j2k", "--layers", "1"))
        self.assertLess(8 * inside, outside)
        self.assertEqual(errors(self.moxj_planes("out.j2k")), (0, 0))

    def test_visual(self):
        original = photograph(160, 120, 3)
        self.write("in.ppm", support.pnm(original))
        self.stream("--ratio", "15")
        plain = self.read("out.j2k")
        self.stream("--ratio", "15", "--visual")
        seen = self.read("out.j2k")
        self.assertNotEqual(plain, seen)
        self.assertLessEqual(len(seen), 160 * 120 * 3 / 15)
        ours = self.moxj_planes("out.j2k")
        self.assertLessEqual(peers.greatest_difference(ours, self.peer_planes("opj", "out.j2k")), 1)

    def test_comments(self):
        self.write("in.ppm", support.pnm(support.smooth(40, 30, 3)))
        plain = self.stream()
        self.assertEqual(plain.bodies(COM), [])
        self.assertEqual(self.stream("--comment", "from the archive").bodies(COM), [b"\x00\x01from the archive"])
        self.assertEqual(self.stream("--comment", "Ärger").bodies(COM), [b"\x00\x00" + "Ärger".encode()])
        self.expect(support.OK, "encode", "in.ppm", "out.jpg", "--comment", "from the archive")
        self.assertIn(b"\xff\xfe\x00\x12from the archive", self.read("out.jpg"))
        self.expect(support.REFUSED, "encode", "in.ppm", "out.j2k", "--comment", "x" * 65532,
                    error="moxj: in.ppm: --comment is longer than 65531 bytes\n")

    def test_refused(self):
        self.write("in.ppm", support.pnm(support.smooth(40, 30, 3)))
        self.write("deep.ppm", support.pnm(support.noise(40, 30, 3, maxval=4095), 4095))

        def refused(status, error, *options, source="in.ppm"):
            self.expect(status, "encode", source, "no.j2k", *options, error=error)

        usage = " (see moxj encode --help)\n"
        for options, text in (
                (["--psnr", "40", "--lossless"], "moxj: --lossless cannot be combined with --psnr"),
                (["--psnr", "40", "--ratio", "3"], "moxj: --ratio and --psnr cannot be combined"),
                (["--psnr", "0"], "moxj: --psnr: '0' is not a number from 1 to 200"),
                (["--psnr", "30,x"], "moxj: --psnr: '30,x' is not a list of numbers from 1 to 200"),
                (["--psnr", "30,,40"], "moxj: --psnr: '30,,40' is not a list of numbers from 1 to 200"),
                (["--precincts", "64"], "moxj: --precincts: '64' has a width without a height"),
                (["--precincts", "64,48"],
                 "moxj: --precincts: '64,48' is not W,H or a list of them with powers of two from 4 to 32768"),
                (["--roi", "1,2,3"], "moxj: --roi: '1,2,3' is not X,Y,W,H with whole numbers"),
                (["--roi", "1,2,3,0"], "moxj: --roi: '1,2,3,0' is not X,Y,W,H with whole numbers"),
                (["--tile-parts", "T"], "moxj: --tile-parts: 'T' is not R, L or C"),
                (["--comment", ""], "moxj: --comment: '' is not a text")):
            refused(support.USAGE, text + usage, *options)
        for options, text in (
                (["--ratio", "10,20"], "--ratio of a layer must be less than that of the one before"),
                (["--psnr", "40,30"], "--psnr of a layer must be more than that of the one before"),
                (["--ratio", "20,10", "--layers", "3"], "--layers and the number of values for them differ"),
                (["--psnr", "40", "--visual"], "--psnr and visual cannot be combined"),
                (["--visual"], "--visual has no effect on one layer without loss"),
                (["--roi", "40,0,5,5"], "--roi lies outside the picture"),
                (["--psnr", "40", "--roi", "1,1,5,5"], "--psnr and roi cannot be combined"),
                (["--precincts", "64,64,32,32", "--levels", "0"],
                 "--precincts are more than the resolutions, which are 1")):
            refused(support.REFUSED, f"moxj: in.ppm: {text}\n", *options)
        refused(support.REFUSED, "moxj: deep.ppm: --roi without loss needs samples of fewer bits than 12\n", "--roi",
                "1,1,5,5", source="deep.ppm")
        for option in (["--psnr", "40"], ["--sop"], ["--tile-parts", "R"], ["--roi", "1,1,5,5"], ["--visual"]):
            self.expect(support.USAGE, "encode", "in.ppm", "no.jpg", *option,
                        error=f"moxj: {option[0]} is not for JPEG files\n")


if __name__ == "__main__":
    unittest.main()

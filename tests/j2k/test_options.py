"""Pairs of options: the peers decode files of the tool, and the tool decodes files of the peers. Each list has every
pair of values of any two of its columns. In the rows of files by the peers, both peers can decode their own files, and
one those of the other. (With most combinations of offsets, tile-parts and precinct lists they cannot.)"""

import itertools
import random
import unittest

import peers
import support

# size levels block tile progression layers modes samples coding file
WRITTEN = """
37x29 1 4x4 64x128 RPCL 1 bypass,reset,termall,causal,pterm,segsym rgb5 lossless j2k
64x64 8 32x16 32x32 RLCP 2 reset,causal,segsym rgb16 bpp jp2
3x128 2 4x256 40x64 LRCP 7 none rgba8 lossless jp2
1x1 5 64x64 - CPRL 7 bypass,termall greya8 bpp j2k
128x97 0 1024x4 - PCRL 2 reset,causal,segsym greya16 lossless j2k
3x128 5 1024x4 32x32 PCRL 1 bypass,reset,termall,causal,pterm,segsym grey8 bpp jp2
128x97 0 4x256 64x128 CPRL 1 none rgba16 bpp jp2
1x1 8 32x16 40x64 RLCP 1 bypass,termall grey12 lossless j2k
37x29 2 4x4 - RPCL 2 bypass,termall grey16 bpp jp2
64x64 0 64x64 32x32 RPCL 7 none rgb8 lossless j2k
1x1 1 64x64 40x64 LRCP 2 bypass,reset,termall,causal,pterm,segsym greya16 bpp jp2
64x64 2 1024x4 64x128 LRCP 1 bypass,termall grey1 bpp j2k
128x97 5 4x4 40x64 RPCL 7 reset,causal,segsym grey1 lossless jp2
3x128 8 32x16 64x128 CPRL 7 bypass,reset,termall,causal,pterm,segsym grey16 lossless j2k
64x64 1 4x256 - RLCP 7 bypass,reset,termall,causal,pterm,segsym rgba16 lossless j2k
37x29 8 1024x4 40x64 PCRL 7 none rgb5 bpp jp2
1x1 5 4x256 64x128 PCRL 2 reset,causal,segsym rgb8 bpp jp2
37x29 1 64x64 32x32 CPRL 1 reset,causal,segsym rgba8 bpp j2k
3x128 0 4x4 - RLCP 2 none grey12 bpp jp2
37x29 5 32x16 - LRCP 1 none rgb16 lossless j2k
128x97 2 32x16 32x32 RLCP 2 bypass,reset,termall,causal,pterm,segsym greya8 lossless jp2
64x64 2 4x4 40x64 CPRL 2 reset,causal,segsym grey8 lossless j2k
1x1 0 4x256 32x32 LRCP 2 bypass,termall rgb5 lossless jp2
128x97 1 64x64 64x128 PCRL 7 bypass,termall rgb16 bpp jp2
1x1 8 4x256 - RPCL 7 none grey8 lossless jp2
1x1 8 4x4 32x32 LRCP 2 reset,causal,segsym rgba16 bpp jp2
3x128 1 1024x4 64x128 RPCL 1 none greya8 bpp j2k
37x29 0 32x16 64x128 RLCP 2 bypass,reset,termall,causal,pterm,segsym rgba8 lossless jp2
1x1 0 1024x4 40x64 RLCP 1 reset,causal,segsym grey16 bpp j2k
3x128 8 64x64 32x32 RLCP 2 none grey1 lossless j2k
64x64 2 64x64 64x128 PCRL 7 bypass,reset,termall,causal,pterm,segsym grey12 bpp jp2
128x97 8 1024x4 40x64 LRCP 1 bypass,reset,termall,causal,pterm,segsym rgb8 lossless jp2
64x64 5 4x4 64x128 RLCP 1 none greya16 lossless jp2
3x128 2 32x16 32x32 RPCL 7 bypass,termall greya16 lossless j2k
37x29 1 32x16 - PCRL 1 bypass,reset,termall,causal,pterm,segsym grey1 lossless jp2
1x1 2 1024x4 40x64 CPRL 2 bypass,reset,termall,causal,pterm,segsym rgb16 bpp j2k
37x29 0 4x256 40x64 PCRL 7 reset,causal,segsym greya8 bpp jp2
64x64 8 4x4 - PCRL 7 bypass,termall rgba8 bpp jp2
3x128 2 32x16 - CPRL 1 reset,causal,segsym rgb5 bpp j2k
37x29 5 4x256 32x32 RPCL 1 reset,causal,segsym grey12 bpp jp2
37x29 2 4x4 - CPRL 7 bypass,termall rgb8 bpp jp2
37x29 0 32x16 64x128 RLCP 2 bypass,termall grey8 bpp jp2
128x97 1 64x64 32x32 PCRL 7 none grey16 bpp j2k
37x29 5 64x64 40x64 PCRL 1 bypass,termall rgba16 bpp j2k
1x1 0 4x256 40x64 CPRL 1 bypass,reset,termall,causal,pterm,segsym grey1 lossless jp2
128x97 1 1024x4 32x32 CPRL 7 none grey12 lossless jp2
64x64 5 4x256 32x32 LRCP 2 none grey16 bpp jp2
3x128 1 32x16 32x32 RLCP 7 reset,causal,segsym rgb8 lossless jp2
128x97 1 64x64 64x128 LRCP 7 none grey8 bpp jp2
3x128 2 32x16 64x128 RPCL 7 bypass,termall rgba16 lossless j2k
128x97 5 1024x4 40x64 RPCL 1 none rgba8 bpp j2k
3x128 0 4x4 40x64 RPCL 2 bypass,reset,termall,causal,pterm,segsym rgb16 bpp j2k
128x97 5 64x64 64x128 RLCP 2 reset,causal,segsym rgb5 lossless jp2
37x29 8 4x256 32x32 CPRL 1 bypass,termall greya16 lossless jp2
64x64 8 4x4 - LRCP 2 reset,causal,segsym greya8 bpp j2k
64x64 5 4x256 64x128 RPCL 1 bypass,termall rgb16 bpp j2k
64x64 8 1024x4 - CPRL 2 none rgb5 lossless jp2
1x1 2 32x16 32x32 LRCP 2 reset,causal,segsym grey12 lossless jp2
1x1 1 4x4 64x128 LRCP 7 bypass,reset,termall,causal,pterm,segsym rgba8 bpp j2k
3x128 2 1024x4 64x128 RPCL 1 bypass,reset,termall,causal,pterm,segsym rgba16 lossless jp2
"""

# size levels block tile progression layers precincts markers tile-parts samples coding offset file
READ = """
37x29 0 64x64 64x128 RLCP 1 - - - grey12 lossy 17,1 j2k
64x64 2 32x16 - CPRL 3 32x32 sop,eph C grey12 lossless - jp2
5x128 1 4x4 - RPCL 3 64x16,32x32 eph L grey5 lossy 3,5 j2k
128x97 2 4x4 40x64 PCRL 1 64x16,32x32 - R grey8 lossless 3,5 jp2
5x128 1 32x16 40x64 LRCP 1 32x32 sop - rgb12 lossless 17,1 j2k
128x97 0 64x64 64x128 LRCP 3 - eph L grey16 lossless - jp2
64x64 2 4x4 40x64 CPRL 1 - eph C rgb8 lossy 17,1 j2k
64x64 0 64x64 64x128 RPCL 3 32x32 sop R rgb12 lossy 3,5 jp2
37x29 0 32x16 - PCRL 3 64x16,32x32 sop,eph - grey8 lossy - j2k
5x128 1 32x16 64x128 RLCP 3 32x32 - L rgb8 lossless - jp2
37x29 2 64x64 40x64 RPCL 1 - sop,eph L grey5 lossy 17,1 jp2
37x29 1 4x4 64x128 CPRL 1 64x16,32x32 sop C grey16 lossy 3,5 j2k
128x97 1 64x64 - PCRL 1 - - C rgb12 lossy 17,1 j2k
5x128 2 32x16 - RLCP 3 - eph R grey16 lossy 3,5 j2k
128x97 0 4x4 - LRCP 1 32x32 sop,eph - rgb8 lossy 3,5 jp2
5x128 0 4x4 40x64 RLCP 1 64x16,32x32 sop C grey12 lossless - jp2
64x64 2 64x64 64x128 LRCP 1 64x16,32x32 - - grey5 lossy 17,1 j2k
5x128 0 64x64 64x128 CPRL 3 32x32 eph - grey8 lossless 17,1 jp2
128x97 0 32x16 40x64 RPCL 3 32x32 - - grey16 lossless 17,1 j2k
37x29 1 32x16 40x64 LRCP 1 32x32 eph R grey12 lossless 3,5 j2k
128x97 0 4x4 64x128 RLCP 3 64x16,32x32 sop,eph R rgb12 lossy - j2k
64x64 0 32x16 64x128 PCRL 3 32x32 eph L grey5 lossy 3,5 j2k
37x29 2 64x64 40x64 CPRL 1 64x16,32x32 - R rgb8 lossless 17,1 j2k
128x97 0 4x4 64x128 CPRL 1 - sop C grey5 lossy 17,1 jp2
64x64 1 64x64 64x128 RPCL 3 - eph C grey8 lossless - j2k
37x29 2 4x4 64x128 CPRL 3 - eph L rgb12 lossless 17,1 j2k
64x64 0 4x4 64x128 RLCP 1 - sop L grey8 lossy 3,5 j2k
5x128 2 32x16 - PCRL 1 64x16,32x32 sop - rgb8 lossless 3,5 jp2
5x128 0 64x64 64x128 LRCP 1 64x16,32x32 sop,eph C grey8 lossy - j2k
128x97 2 64x64 64x128 PCRL 3 - eph L grey12 lossless 3,5 j2k
64x64 2 4x4 64x128 PCRL 1 64x16,32x32 sop,eph - grey16 lossless 17,1 jp2
37x29 1 64x64 40x64 RPCL 1 64x16,32x32 - C grey12 lossless 17,1 jp2
5x128 0 4x4 64x128 RLCP 1 32x32 eph R grey5 lossy 3,5 j2k
64x64 2 32x16 - RPCL 3 - - C rgb8 lossy - jp2
37x29 1 32x16 - LRCP 1 - sop,eph - grey5 lossless - j2k
"""

KINDS = {"grey": support.GREY, "greya": support.GREY_ALPHA, "rgb": support.RGB, "rgba": support.RGB_ALPHA}


def rows(text):
    return [line.split() for line in text.split("\n") if line]


def samples_of(name):
    """("rgb", 12) of rgb12"""
    kind = name.rstrip("0123456789")
    return kind, int(name[len(kind):])


def picture(size, name, seed):
    """A picture of waves with noise: its file, the extension, and its planes."""
    width, height = map(int, size.split("x"))
    kind, bits = samples_of(name)
    channels = support.CHANNELS[KINDS[kind]]
    source, maxval = random.Random(seed), (1 << bits) - 1
    values = []
    for y in range(height):
        for x in range(width):
            for c in range(channels):
                wave = (x * (3 + c) + y * (5 - c)) % 97 / 96
                values.append(min(maxval, max(0, round(wave * maxval * 0.8 + source.uniform(-0.1, 0.3) * maxval))))
    planes = [(bits, False, width, height, values[c::channels]) for c in range(channels)]
    if kind in ("greya", "rgba"):
        return support.png(width, height, KINDS[kind], bits, values), "png", planes
    return support.pnm((width, height, channels, values), maxval), "pgm" if channels == 1 else "ppm", planes


def size_for(planes, tile, levels, layers):
    """Bits per pixel: half the size of the samples, and room for the headers of all packets."""
    bits, _, width, height, _ = planes[0]
    tile_width, tile_height = map(int, tile.split("x")) if tile != "-" else (width, height)
    tiles = -(-width // tile_width) * -(-height // tile_height)
    headers = 300 + tiles * (14 + 2 * (levels + 1) * layers * len(planes))
    return bits * len(planes) / 2 + 8 * headers / (width * height)


def max_difference(coding, samples):
    """Between two decoders. At 16 bits the peers themselves are off by some levels: see test_sixteen_bits."""
    return 0 if coding == "lossless" else 8 if samples_of(samples)[1] == 16 else 1


class OptionsTest(peers.PeerTest):
    def test_the_lists_have_every_pair(self):
        for table in (rows(WRITTEN), rows(READ)):
            for a, b in itertools.combinations(range(len(table[0])), 2):
                found = {(row[a], row[b]) for row in table}
                missing = [pair for pair in itertools.product({row[a] for row in table}, {row[b] for row in table})
                           if pair not in found]
                self.assertEqual(missing, [], (a, b))
        self.assertLessEqual(len(rows(WRITTEN)) + 2 * len(rows(READ)), 150)

    def check_written(self, item):
        number, (size, levels, block, tile, order, layers, modes, samples, coding, extension) = item
        data, kind, original = picture(size, samples, number)
        source, name = self.write(f"w{number}.{kind}", data), f"w{number}.{extension}"
        options = ["--levels", levels, "--block", block, "--progression", order, "--layers", layers]
        options += ["--tile", tile] if tile != "-" else []
        options += ["--modes", modes] if modes != "none" else []
        if coding == "bpp":
            options += ["--bpp", str(size_for(original, tile, int(levels), int(layers)))]
        # The room for headers makes some of the smallest pictures lossless, with a note.
        self.expect(support.OK, "encode", source, name, "--quiet", *options)
        ours = self.moxj_planes(name)
        if coding == "lossless":
            self.assertEqual(ours, original)
        for peer in peers.PEERS:
            self.assertLessEqual(
                peers.greatest_difference(ours, self.peer_planes(peer, name)), max_difference(coding, samples), peer
            )

    def test_written(self):
        self.in_parallel(self.check_written, enumerate(rows(WRITTEN)))

    def test_sixteen_bits(self):
        """With enough bits to make the quantisation error negligible, the tool decodes to within 1 level of the
        samples. The peers agree with each other but are off by more than 1 level: so the difference that
        max_difference() allows is due to their inverse 9/7 transforms."""
        data, kind, original = picture("128x97", "grey16", 1)
        source = self.write(f"fine.{kind}", data)
        self.peer_encode("grk", source, "fine.j2k", "-I")
        self.assertLessEqual(peers.greatest_difference(self.moxj_planes("fine.j2k"), original), 1)
        decoded = [self.peer_planes(peer, "fine.j2k") for peer in peers.PEERS]
        self.assertLessEqual(peers.greatest_difference(*decoded), 1)
        self.assertGreater(peers.greatest_difference(decoded[0], original), 1)

    def read_options(self, peer, row):
        size, levels, block, tile, order, layers, precincts, markers, parts, samples, coding, offset, _ = row
        opj = peer == "opj"
        options = ["-n", str(int(levels) + 1), "-b", block.replace("x", ","), "-p", order]
        last = "1" if coding == "lossless" else "3"
        options += ["-r", last if layers == "1" else "20,8," + last]
        options += ["-I"] if coding == "lossy" else []
        options += ["-t", tile.replace("x", ",")] if tile != "-" else []
        options += (
            ["-c", ",".join("[%s]" % one.replace("x", ",") for one in precincts.split(","))] if precincts != "-" else []
        )
        options += ["-SOP" if opj else "-S"] if "sop" in markers else []
        options += ["-EPH" if opj else "-E"] if "eph" in markers else []
        options += ["-TP" if opj else "-u", parts] if parts != "-" else []
        options += ["-d", offset] if offset != "-" else []
        return options

    def check_read(self, item):
        number, row = item
        data, kind, original = picture(row[0], row[9], number)
        source = self.write(f"r{number}.{kind}", data)
        for peer in peers.PEERS:
            name = f"r{number}{peer}.{row[-1]}"
            self.peer_encode(peer, source, name, *self.read_options(peer, row))
            ours = self.moxj_planes(name)
            if row[10] == "lossless":
                first = 1 if row[9] == "grey5" else 0  # a peer calls samples of 5 bits 8 bits deep
                self.assertEqual([plane[first:] for plane in ours], [plane[first:] for plane in original])
            self.assertLessEqual(
                peers.greatest_difference(ours, self.peer_planes(peer, name)), max_difference(row[10], row[9]), peer
            )

    def test_read(self):
        self.in_parallel(self.check_read, enumerate(rows(READ)))


if __name__ == "__main__":
    unittest.main()

"""Regions and tiles of files that opj_compress writes, with precincts, offsets of picture and tiles, and sub-sampled
components: the cut of the whole picture, and what opj_decompress gives."""

import random
import unittest

import peers
import support

SIZE = 150, 110
# Options of opj_compress; the samples; the offset of the picture.
FILES = {
    "precincts": (["-c", "[64,64],[32,32]", "-b", "16,16"], "1x1:1x1:1x1", (0, 0)),
    "small": (["-c", "[16,16]", "-b", "4,4", "-p", "PCRL", "-SOP", "-EPH"], "1x1:1x1:1x1", (0, 0)),
    "tiles": (["-t", "64,48", "-TP", "R", "-p", "RPCL"], "1x1:1x1:1x1", (0, 0)),
    "offset": (["-d", "17,5", "-c", "[32,32]", "-b", "16,16", "-p", "CPRL"], "1x1:1x1:1x1", (17, 5)),
    "offsets": (["-d", "17,5", "-T", "3,2", "-t", "64,48", "-p", "RLCP"], "1x1:1x1:1x1", (17, 5)),
    "sampled": (["-c", "[64,64]", "-b", "16,16", "-mct", "0"], "1x1:2x2:2x2", (0, 0)),
    "sampled tiles": (["-t", "50,36", "-mct", "0"], "1x1:2x1:2x1", (0, 0)),
    "irreversible": (["-I", "-c", "[64,64],[32,32]", "-b", "16,16"], "1x1:1x1:1x1", (0, 0)),
    "irreversible tiles": (["-I", "-t", "64,48", "-d", "17,5"], "1x1:1x1:1x1", (17, 5)),
}


def ceil_shift(value, bits):
    return -(-value >> bits)


class RegionsTest(peers.PeerTest):
    def make(self, name, options=None, sampling=None):
        if options is None:
            options, sampling, _ = FILES[name]
        width, height = SIZE
        samples = b""
        source = random.Random(name)
        for factors in sampling.split(":"):
            dx, dy = map(int, factors.split("x"))
            samples += bytes((x * 5 + y * 3) % 200 + source.randint(0, 40)
                             for y in range(-(-height // dy)) for x in range(-(-width // dx)))
        self.write("in.raw", samples)
        file = name.replace(" ", "-") + ".j2k"
        self.peer_encode("opj", "in.raw", file, "-F", f"{width},{height},3,8,u@{sampling}", "-n", "4", *options)
        return file

    def regions(self, name):
        source = random.Random(name)
        for _ in range(4):
            x, y = source.randrange(SIZE[0] - 40), source.randrange(SIZE[1] - 40)
            yield x, y, source.randint(32, SIZE[0] - x), source.randint(32, SIZE[1] - y)

    def check_cuts(self, name):
        file = self.make(name)
        _, sampling, offset = FILES[name]
        factors = [tuple(map(int, one.split("x"))) for one in sampling.split(":")]
        for reduce in 0, 1, 3:
            whole = self.moxj_planes(file, "--reduce", str(reduce))
            for x, y, width, height in self.regions(name):
                text = f"{x},{y},{width},{height}"
                part = self.moxj_planes(file, "--reduce", str(reduce), "--region", text)
                for (dx, dy), all_, cut in zip(factors, whole, part):
                    def bounds(first, last, start, by):
                        ends = [ceil_shift(-(-at // by), reduce) for at in (start, start + first, start + last)]
                        return ends[1] - ends[0], ends[2] - ends[0]
                    left, right = bounds(x, x + width, offset[0], dx)
                    top, bottom = bounds(y, y + height, offset[1], dy)
                    rows = [all_[4][row * all_[2]:(row + 1) * all_[2]][left:right] for row in range(top, bottom)]
                    self.assertEqual(cut[2:], (right - left, bottom - top, sum(rows, [])), (name, reduce, text))
                if "sampled" in name:
                    continue  # opj_decompress takes these for YCbCr, and converts them
                area = (offset[0] + x, offset[1] + y, offset[0] + x + width, offset[1] + y + height)
                peer = self.peer_planes("opj", file, "-r", reduce, "-d", ",".join(map(str, area)))
                bound = "irreversible" in name
                self.assertLessEqual(peers.greatest_difference(part, peer), bound, (name, reduce, text))

    def test_cuts_and_the_same_as_opj_decompress(self):
        for name in FILES:
            with self.subTest(name):
                self.check_cuts(name)

    def test_up_sampled(self):
        for name in "sampled", "sampled tiles":
            file = self.make(name)
            for reduce in 0, 1:
                decode = ["decode", file, "-", "--format", "ppm", "--reduce", str(reduce)]
                width, _, _, samples = support.parse_pnm(self.expect(support.OK, *decode))
                for x, y, wide, high in self.regions(name):
                    part = support.parse_pnm(self.expect(support.OK, *decode, "--region", f"{x},{y},{wide},{high}"))
                    left, right, top, bottom = (ceil_shift(at, reduce) for at in (x, x + wide, y, y + high))
                    rows = [samples[3 * (row * width + left):3 * (row * width + right)] for row in range(top, bottom)]
                    self.assertEqual(part, (right - left, bottom - top, 3, sum(rows, [])), (name, reduce))

    def test_components_that_are_sub_sampled_alike(self):
        """The region counts pixels of the picture, which has the size of its components."""
        file = self.make("alike", ["-t", "50,36", "-d", "6,10"], "2x2:2x2:2x2")
        for reduce in 0, 1:
            decode = ["decode", file, "-", "--format", "ppm", "--reduce", str(reduce)]
            width, height, _, samples = support.parse_pnm(self.expect(support.OK, *decode))
            # The components begin at column 3 and row 5 of their grid.
            self.assertEqual(width, ceil_shift(78, reduce) - ceil_shift(3, reduce))
            self.assertEqual(height, ceil_shift(60, reduce) - ceil_shift(5, reduce))
            part = support.parse_pnm(self.expect(support.OK, *decode, "--region", "13,21,40,30"))
            left, right = (ceil_shift(at + 3, reduce) - ceil_shift(3, reduce) for at in (13, 53))
            top, bottom = (ceil_shift(at + 5, reduce) - ceil_shift(5, reduce) for at in (21, 51))
            rows = [samples[3 * (row * width + left):3 * (row * width + right)] for row in range(top, bottom)]
            self.assertEqual(part, (right - left, bottom - top, 3, sum(rows, [])), reduce)

    def test_tiles(self):
        for name in "tiles", "offsets", "irreversible tiles":
            file = self.make(name)
            for reduce in 0, 1:
                for tile in 0, 3, 4:
                    ours = self.moxj_planes(file, "--reduce", str(reduce), "--tile", str(tile))
                    peer = self.peer_planes("opj", file, "-r", reduce, "-t", tile)
                    self.assertLessEqual(peers.greatest_difference(ours, peer), "irreversible" in name, (name, tile))


if __name__ == "__main__":
    unittest.main()

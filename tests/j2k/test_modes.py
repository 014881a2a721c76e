"""Every set of code-block modes, encoded by the tool and decoded by the peers, and vice versa."""

import random
import unittest

import peers
import support

WIDTH, HEIGHT = 37, 29
NAMES = ["bypass", "reset", "termall", "causal", "pterm", "segsym"]  # in the order of their bits


def names_of(modes):
    return ",".join(name for bit, name in enumerate(NAMES) if modes >> bit & 1)


def picture():
    """Enough noise for bit-planes with raw coding passes."""
    source = random.Random(7)
    width, height, channels, samples = support.smooth(WIDTH, HEIGHT, 3)
    return width, height, channels, [min(255, max(0, value + source.randint(-40, 40))) for value in samples]


class ModesTest(peers.PeerTest):
    def setUp(self):
        super().setUp()
        self.picture = picture()
        self.write("in.ppm", support.pnm(self.picture))
        self.original = [(8, False, WIDTH, HEIGHT, self.picture[3][c::3]) for c in range(3)]

    def check_written(self, modes, options, bound):
        name = f"w{modes}{'l' if options else ''}.j2k"
        mode_options = ["--modes", names_of(modes)] if modes else []
        self.expect(support.OK, "encode", "in.ppm", name, "--levels", "3", *mode_options, *options)
        ours = self.moxj_planes(name)
        if not options:
            self.assertEqual(ours, self.original)
        for peer in peers.PEERS:
            self.assertLessEqual(peers.greatest_difference(ours, self.peer_planes(peer, name)), bound, peer)

    def check_read(self, modes, options, bound):
        for peer in peers.PEERS:
            name = f"r{modes}{'l' if options else ''}{peer}.j2k"
            self.peer_encode(peer, "in.ppm", name, "-n", "4", "-M", modes, *options)
            ours = self.moxj_planes(name)
            if not options:
                self.assertEqual(ours, self.original)
            self.assertLessEqual(peers.greatest_difference(ours, self.peer_planes(peer, name)), bound, peer)

    def test_written_lossless(self):
        self.in_parallel(lambda modes: self.check_written(modes, [], 0), range(64))

    def test_written_lossy(self):
        self.in_parallel(lambda modes: self.check_written(modes, ["--bpp", "9"], 1), range(64))

    def test_read_lossless(self):
        self.in_parallel(lambda modes: self.check_read(modes, [], 0), range(64))

    def test_read_lossy(self):
        self.in_parallel(lambda modes: self.check_read(modes, ["-I", "-r", "3"], 1), range(64))


if __name__ == "__main__":
    unittest.main()

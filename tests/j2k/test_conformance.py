"""scripts/conformance, on folders that are made here."""

import os
import pathlib
import re
import subprocess
import unittest

import peers
import pictures  # tests/jpeg
import support

SCRIPT = pathlib.Path(__file__).resolve().parent.parent.parent / "scripts/conformance"
PASSED, MISSED, NOTHING = range(3)


class ConformanceTest(peers.PeerTest):
    def setUp(self):
        super().setUp()
        self.folder = pathlib.Path(self.path("set"))
        for name in "codestreams", "references/class0", "references/class1", "jp2":
            (self.folder / name).mkdir(parents=True)

    def judge(self, status, folder=None):
        """Its lines about components, as lists of words, and its standard error."""
        result = subprocess.run([SCRIPT, folder or self.folder], stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                                timeout=300, env={**os.environ, "MOXJ": os.path.abspath(support.MOXJ)})
        text, errors = result.stdout.decode(), result.stderr.decode()
        self.assertEqual(result.returncode, status, text + errors)
        return [line.split() for line in text.splitlines() if re.search(r" (passed|MISSED)$", line)], text, errors

    def stream(self, name, *options, size=(70, 50), channels=3):
        source = "in.ppm" if channels == 3 else "in.pgm"
        self.write(source, support.pnm(pictures.generated(*size, channels, 1)))
        self.peer_encode("opj", source, f"set/codestreams/{name}.j2k", *options)

    def reference(self, name, stream, number, *options, change=None):
        """The decoding of a component by a peer."""
        directory = "class0" if name.startswith("c0") else "class1"
        self.command("grk_decompress", "-i", f"set/codestreams/{stream}.j2k", "-o", "ref.pgx", *options)
        bits, signed, width, height, samples = self.planes("ref")[number]
        if change is not None:
            samples[change] ^= 1
        self.write(f"set/references/{directory}/{name}.pgx", peers.pgx(bits, signed, width, height, samples))

    def test_a_set_that_passes(self):
        self.stream("p0_01", "-SOP", "-EPH", channels=1)
        self.reference("c1p0_01_0", "p0_01", 0)
        self.reference("c0p0_01", "p0_01", 0)
        self.stream("p0_04", "-I", "-r", "8")
        self.reference("c0p0_04", "p0_04", 0, "-r", "3")
        for number in range(3):
            self.reference(f"c1p0_04_{number}", "p0_04", number)
        self.stream("p0_03", "-t", "32,32", channels=1)
        self.reference("c0p0_03r0", "p0_03", 0)
        self.reference("c0p0_03r1", "p0_03", 0, "-r", "1")
        self.write("in.ppm", support.pnm(pictures.generated(40, 30, 3, 1)))
        self.expect(support.OK, "encode", "in.ppm", "set/jp2/file1.jp2")
        self.write("set/jp2/file1.ppm", self.read("in.ppm"))
        self.write("set/jp2/alone.jp2", self.read("set/jp2/file1.jp2"))
        rows, text, _ = self.judge(PASSED)
        self.assertEqual(len(rows), 11)
        self.assertIn(["codestreams/p0_04.j2k", "0", "c0", "r3"], [row[:4] for row in rows])
        self.assertIn(["codestreams/p0_03.j2k", "0", "c0", "r1", "0", "0.000"], [row[:6] for row in rows])
        limits = [row for row in rows if row[:3] == ["codestreams/p0_04.j2k", "2", "c1"]]
        self.assertEqual(limits[0][5:7], ["6,", "1.070"])
        self.assertIn("11 components passed, 0 missed\nnot judged, no reference: jp2/alone.jp2\n", text)

    def test_signed_samples_of_few_bits(self):
        """Their bytes may be extended by their signs or by zeros."""
        values = [value - 8 for value in support.noise(20, 10, 1, 1, 15)[3]]
        self.write("in.pgx", peers.pgx(4, True, 20, 10, values))
        self.expect(support.OK, "encode", "in.pgx", "set/codestreams/p0_15.j2k")
        self.write("set/references/class1/c1p0_15_0.pgx", self.read("in.pgx"))
        self.judge(PASSED)
        self.write("set/references/class1/c1p0_15_0.pgx", b"PG LM-4 20 10\n" + bytes(value & 15 for value in values))
        self.judge(PASSED)

    def test_sets_that_do_not_pass(self):
        """A sample that differs, a component that is missing, a size that is another, a file that cannot be read."""
        self.stream("p0_01", channels=1)
        self.reference("c1p0_01_0", "p0_01", 0)
        self.judge(PASSED)
        self.reference("c1p0_01_0", "p0_01", 0, change=7)
        rows, text, _ = self.judge(MISSED)
        self.assertEqual(rows[0][1:4], ["0", "c1", "1"])
        self.assertIn("0 components passed, 1 missed", text)
        self.reference("c1p0_01_0", "p0_01", 0)
        self.write("set/references/class1/c1p0_01_1.pgx", self.read("set/references/class1/c1p0_01_0.pgx"))
        self.assertIn("no such component", self.judge(MISSED)[1])
        os.remove(self.folder / "references/class1/c1p0_01_1.pgx")
        self.write("set/references/class1/c1p0_01_0.pgx", peers.pgx(8, False, 9, 9, [0] * 81))
        self.assertIn("70 x 50 instead of 9 x 9", self.judge(MISSED)[1])
        self.write("set/references/class1/c1p0_01_0.pgx", b"PG")
        self.assertIn("not a PGX file", self.judge(MISSED)[1])
        self.reference("c1p0_01_0", "p0_01", 0)
        self.write("set/codestreams/p0_01.j2k", self.read("set/codestreams/p0_01.j2k")[:40])
        self.assertIn("MISSED", self.judge(MISSED)[1])

    def test_beside_peers(self):
        """Without limits, the best peer is the measure: a sample that all decode otherwise than the reference is no
        fault."""
        self.stream("other", channels=1)
        self.reference("other_0", "other", 0)
        rows, _, _ = self.judge(PASSED)
        self.assertEqual(rows[0][3:6], ["0", "0.000", "opj_decompress"])
        self.reference("other_0", "other", 0, change=5)
        rows, _, _ = self.judge(PASSED)
        self.assertEqual(rows[0][3], "1")
        self.assertEqual(rows[0][6], rows[0][4])

    def test_nothing_to_judge(self):
        self.assertIn("no codestream or JP2 file", self.judge(NOTHING)[2])
        self.assertIn("no such folder", self.judge(NOTHING, self.path("missing"))[2])
        self.stream("p0_01")
        self.assertIn("no reference of any of 1 streams", self.judge(NOTHING)[2])


if __name__ == "__main__":
    unittest.main()

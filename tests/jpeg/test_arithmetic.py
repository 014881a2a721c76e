"""Arithmetic-coded files of cjpeg and jpegtran: the same coefficients as their Huffman-coded twins."""

import random
import re
import unittest

import coefficient_files as cf
import pictures
import support
from test_interop import InteropTest, raw_pnm
from test_progressive import SCRIPTS


class ArithmeticTest(InteropTest):
    def jpegtran(self, data, *options):
        return self.tool("jpegtran", *options, stdin=data)[0]

    def recoded(self, files):
        """Each file as the tool writes its coefficients."""
        directory = self.path("recoded")
        for name, data in files.items():
            self.write(name + ".jpg", data)
        self.expect(support.OK, "transcode", *(name + ".jpg" for name in files), "--output-dir", directory, "--quiet",
                    "--optimize")
        return {name: self.read(f"recoded/{name}.jpg") for name in files}

    def assert_same_coefficients(self, files):
        """As the Huffman-coded files that jpegtran makes of them."""
        twins = self.recoded({name: self.jpegtran(data) for name, data in files.items()})
        for name, data in self.recoded(files).items():
            self.assertEqual(data, twins[name], name)


class ReadTest(ArithmeticTest):
    def files(self):
        colour = support.pnm(pictures.generated(61, 43, 3, 1))
        grey = support.pnm(pictures.generated(61, 43, 1, 2))
        files = {}
        for kind in ((), ("-progressive",)):
            options = ("-arithmetic", *kind)
            name = "p" * len(kind)
            for sampling in ("1x1", "2x1", "2x2", "1x2", "4x1", "1x1,2x2,1x1"):
                for restart in ("0", "1", "5", "1B"):
                    files[f"{name}s{sampling}-{restart}"] = self.cjpeg(colour, *options, "-sample", sampling,
                                                                       "-restart", restart)
            for quality in (1, 20, 60, 95, 100):
                files[f"{name}q{quality}"] = self.cjpeg(colour, *options, "-quality", quality)
                files[f"{name}g{quality}"] = self.cjpeg(grey, *options, "-quality", quality, "-restart", quality % 3)
            files[name + "rgb"] = self.cjpeg(colour, *options, "-rgb", "-quality", 90)
            for width in range(1, 35, 3):
                picture = support.pnm(pictures.generated(width, width * 23 % 41, 3, width))
                files[f"{name}w{width}"] = self.cjpeg(picture, *options, "-quality", 85)
        for name, script in SCRIPTS.items():
            self.write("script", script.encode())
            for sampling in ("1x1", "2x2"):
                files[f"{name}-{sampling}"] = self.cjpeg(colour, "-arithmetic", "-scans", "script", "-quality", 90,
                                                         "-sample", sampling)
        for value in (0, 128, 255):
            flat = support.pnm((90, 70, 3, bytes([value]) * (90 * 70 * 3)))
            files[f"flat{value}"] = self.cjpeg(flat, "-arithmetic")
            files[f"pflat{value}"] = self.cjpeg(flat, "-arithmetic", "-progressive", "-restart", "3")
        noise = support.pnm(support.noise(64, 64, 3))
        files["noise"] = self.cjpeg(noise, "-arithmetic", "-quality", 100)
        files["pnoise"] = self.cjpeg(noise, "-arithmetic", "-quality", 100, "-progressive")
        return files

    def test_the_coefficients(self):
        self.assert_same_coefficients(self.files())

    def test_the_pixels_of_djpeg(self):
        self.assert_close({name: data for name, data in self.files().items()
                           if name[0] != "n" and not name.startswith("unfinished")})

    def test_the_pixels_of_huffman_twins(self):
        files = self.files()
        decoded = self.decode_all(files | {name + "-twin": self.jpegtran(data) for name, data in files.items()})
        for name in files:
            self.assertEqual(decoded[name], decoded[name + "-twin"], name)

    def test_what_jpegtran_makes_of_all_sorts_of_components(self):
        for process in ((), ("-progressive",)):
            for components in ([(1, 1, 1)], [(1, 2, 2), (2, 1, 1), (3, 1, 2), (4, 1, 1)], [(1, 1, 1), (2, 1, 2)]):
                huffman = cf.jpeg((75, 41), [cf.Component(*c) for c in components], restart=3)
                self.assert_same_coefficients({"x": self.jpegtran(huffman, "-arithmetic", *process)})

    def test_conditioning(self):
        """Other values in DAC segments give other coefficients, most of them nonsense, but the same as those of
        jpegtran."""
        original = self.cjpeg(support.pnm(pictures.generated(61, 43, 3, 5)), "-arithmetic", "-quality", 80)
        tried = set()
        for lower in (0, 1, 3, 7, 15):
            for upper in (0, 1, 2, 8, 15):
                for split in (1, 5, 6, 40, 63):
                    if lower > upper:
                        continue
                    body = bytes([0x00, upper << 4 | lower, 0x01, upper << 4 | lower, 0x10, split, 0x11, split])
                    file = original[:2] + cf.segment(0xCC, body) + original[2:]
                    self.write("x.jpg", file)
                    result = self.moxj("transcode", "x.jpg", "ours.jpg", "--optimize")
                    theirs, warnings = self.tool("jpegtran", "-optimize", stdin=file)
                    if warnings or result.returncode != support.OK:
                        continue
                    tried.add((lower, upper, split))
                    self.write("y.jpg", theirs)
                    self.assertEqual(self.read("ours.jpg"),
                                     self.expect(support.OK, "transcode", "y.jpg", "-", "--optimize"))
        self.assertGreater(len(tried), 10)

    def test_a_wrong_conditioning_is_refused(self):
        original = self.cjpeg(support.pnm(pictures.generated(30, 20, 1, 5)), "-arithmetic")
        for body, cause in ((b"\x00\x12", "has bounds of differences in the wrong order"),
                            (b"\x10\x00", "has an invalid coefficient number 0"),
                            (b"\x10\x40", "has an invalid coefficient number 64"),
                            (b"\x20\x10", "has an invalid table selector 32"),
                            (b"\x04\x10", "has an invalid table selector 4"), (b"\0", "is too short")):
            self.write("x.jpg", original[:2] + cf.segment(0xCC, body) + original[2:])
            self.expect(support.REFUSED, "decode", "x.jpg", "x.ppm",
                        error=f"moxj: x.jpg: the DAC segment {cause}\n")


class DamageTest(ArithmeticTest):
    def originals(self):
        picture = support.pnm(pictures.generated(67, 45, 3, 7))
        for options in ((), ("-progressive",), ("-restart", "3B"), ("-progressive", "-restart", "1")):
            yield self.cjpeg(picture, "-arithmetic", "-quality", 85, *options)

    def test_cut_files(self):
        for original in self.originals():
            begin = re.search(rb"\xff\xda", original).start() + 20
            for length in range(begin + 10, len(original) - 4, 61):
                self.write("x.jpg", original[:length])
                result = self.moxj("decode", "x.jpg", "x.ppm")
                self.assertIn(result.returncode, (support.INCOMPLETE, support.REFUSED), length)
                if length > begin + 200:
                    self.assertEqual(result.returncode, support.INCOMPLETE, length)

    def test_the_rows_before_the_cut_are_right(self):
        original = next(iter(self.originals()))
        self.write("x.jpg", original)
        whole = raw_pnm(self.expect(support.OK, "decode", "x.jpg", "-"))
        self.write("x.jpg", original[:len(original) * 3 // 4])
        warning = re.compile(r"warning: the file ends within the picture \(in MCU row \d of 3\)")
        part = raw_pnm(self.expect(support.INCOMPLETE, "decode", "x.jpg", "-", error=warning))
        self.assertEqual(part[3][:67 * 3 * 8], whole[3][:67 * 3 * 8])
        self.assertNotEqual(part[3], whole[3])

    def test_no_end_marker(self):
        for original in self.originals():
            self.write("x.jpg", original)
            whole = self.expect(support.OK, "decode", "x.jpg", "-")
            self.write("x.jpg", original[:-2])
            result = self.moxj("decode", "x.jpg", "-")
            self.assertEqual((result.returncode, result.stderr, result.stdout),
                             (support.OK, "moxj: x.jpg: note: the file has no EOI marker\n", whole))

    def test_damaged_files(self):
        source = random.Random(5)
        statuses = []
        for number, original in enumerate(list(self.originals()) * 25):
            damaged = bytearray(original)
            for _ in range(1 + number % 5):
                damaged[source.randrange(20, len(damaged))] ^= 1 << source.randrange(8)
            self.write("x.jpg", bytes(damaged))
            result = self.moxj("decode", "x.jpg", "x.ppm", "--max-pixels", "1000000")
            self.assertIn(result.returncode, (support.OK, support.REFUSED, support.INCOMPLETE, support.LIMIT))
            self.assertLessEqual(result.stderr.count("\n"), 2, result.stderr)
            statuses.append(result.returncode)
        self.assertGreater(statuses.count(support.INCOMPLETE), 20)

    def test_a_lost_restart_interval(self):
        """Decoding resumes at the next restart marker."""
        original = self.cjpeg(support.pnm(pictures.generated(67, 45, 3, 7)), "-arithmetic", "-restart", "1")
        self.write("x.jpg", original)
        whole = raw_pnm(self.expect(support.OK, "decode", "x.jpg", "-", "--nosmooth"))
        second, third = (match.start() for match in re.finditer(rb"\xff[\xd0\xd1]", original))
        self.write("x.jpg", original[:second] + original[third:])
        part = raw_pnm(self.expect(support.INCOMPLETE, "decode", "x.jpg", "-", "--nosmooth",
                                   error=re.compile("restart marker out of sequence")))
        row = 67 * 3
        self.assertEqual(part[3][:16 * row], whole[3][:16 * row])
        self.assertEqual(part[3][32 * row:], whole[3][32 * row:])


if __name__ == "__main__":
    unittest.main()

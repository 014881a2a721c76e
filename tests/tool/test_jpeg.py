"""encode, decode and info on JPEG files: the effect of options, exit statuses, batches, streams and threads."""

import json
import os
import re
import unittest

from support import *

PICTURE = smooth(70, 45, 3)


def segments(file):
    """(marker, offset, length without the marker) of all segments up to the data of the scan."""
    at = 2
    found = [(0xD8, 0, 0)]
    while True:
        assert file[at] == 0xFF
        marker, length = file[at + 1], struct.unpack(">H", file[at + 2:at + 4])[0]
        found.append((marker, at, length))
        at += 2 + length
        if marker == 0xDA:
            return found


def body(file, marker):
    """The bodies of all segments of a kind, in order."""
    return b"".join(file[at + 4:at + 2 + length] for m, at, length in segments(file) if m == marker)


def frame(file):
    """(precision, height, width, [(identifier, sampling factors, table)])"""
    data = body(file, 0xC0)
    return *struct.unpack(">BHH", data[:5]), [tuple(data[6 + 3 * i:9 + 3 * i]) for i in range(data[5])]


class JpegTest(ToolTest):
    def setUp(self):
        super().setUp()
        self.write("in.ppm", pnm(PICTURE))

    def encoded(self, *options, source="in.ppm"):
        return self.expect(OK, "encode", source, "-", *options)

    def psnr(self, a, b):
        return json.loads(self.expect(OK, "compare", a, b, "--json"))["all"]["psnr"]


class Encoding(JpegTest):
    def test_the_sampling(self):
        for options, factors in (
            ([], 0x22),
            (["--sample", "4:2:0"], 0x22),
            (["--sample=4:2:2"], 0x21),
            (["--sample", "4:4:4"], 0x11),
        ):
            self.assertEqual(frame(self.encoded(*options)), (8, 45, 70, [(1, factors, 0), (2, 0x11, 1), (3, 0x11, 1)]))

    def test_grey(self):
        self.write("grey.pgm", pnm(smooth(70, 45, 1)))
        for file in (
            self.encoded("--grayscale"),
            self.encoded(source="grey.pgm"),
            self.encoded("--sample", "4:2:2", source="grey.pgm"),
        ):
            self.assertEqual(frame(file), (8, 45, 70, [(1, 0x11, 0)]))

    def test_the_quality(self):
        tables = {quality: body(self.encoded("--quality", quality), 0xDB) for quality in ("1", "50", "75", "100")}
        self.assertEqual(tables["75"], body(self.encoded(), 0xDB))
        # DC and the first AC steps: the tables of T.81 Annex K unscaled; all 255; all 1.
        self.assertEqual(list(tables["50"][:6]), [0, 16, 11, 12, 14, 12])
        self.assertEqual(set(tables["100"][1:65]), {1})
        self.assertEqual(max(tables["1"][1:65]), 255)
        sizes = [len(self.encoded("--quality", str(quality))) for quality in (1, 10, 50, 75, 90, 100)]
        self.assertEqual(sizes, sorted(set(sizes)))

    def test_restarts(self):
        mcus_wide = {"4:2:0": 5, "4:4:4": 9}
        for sampling, wide in mcus_wide.items():
            for text, interval in (
                ("0", None),
                ("0B", None),
                ("1", 1),
                ("7", 7),
                ("1B", wide),
                ("3B", 3 * wide),
                ("65535", 65535),
            ):
                file = self.encoded("--restart", text, "--sample", sampling)
                self.assertEqual(body(file, 0xDD), b"" if interval is None else struct.pack(">H", interval))
                mcus = wide * -(-45 // {"4:2:0": 16, "4:4:4": 8}[sampling])
                scan = file[segments(file)[-1][1]:]
                restarts = len(re.findall(rb"\xff[\xd0-\xd7]", scan))
                self.assertEqual(restarts, (mcus - 1) // interval if interval else 0)
        self.expect(LIMIT, "encode", "in.ppm", "x.jpg", "--restart", "65535B",
                    error=re.compile(r"\Amoxj: in\.ppm: [^\n]*restart[^\n]*\n\Z"))

    def test_sizes_beyond_jpeg(self):
        for width, height in (65536, 1), (1, 65536):
            self.write("large.pgm", b"P5 %d %d 255\n" % (width, height) + bytes(65536))
            self.expect(
                LIMIT, "encode", "large.pgm", "x.jpg", error=re.compile(r"\Amoxj: large\.pgm: [^\n]*65535[^\n]*\n\Z")
            )
        self.assertNotIn("x.jpg", self.files())
        self.write("largest.pgm", b"P5 65535 1 255\n" + bytes(65535))
        self.assertEqual(frame(self.encoded(source="largest.pgm"))[:3], (8, 1, 65535))

    def test_an_incomplete_picture(self):
        self.write("short.ppm", pnm(PICTURE)[:5000])
        self.expect(INCOMPLETE, "encode", "short.ppm", "out.jpg",
                    error="moxj: short.ppm: warning: the file ends after 23 of 45 rows\n")
        self.assertEqual(frame(self.read("out.jpg"))[:3], (8, 45, 70))

    def test_of_every_kind_of_picture(self):
        """The same samples give the same file, whatever the input format. Notes go to standard error."""
        expected = self.encoded()
        self.write("a.png", png_of(PICTURE))
        self.write("b.png", png_of(PICTURE, interlaced=True))
        self.write("c.ppm", pnm(PICTURE, plain=True))
        for name in "a.png", "b.png", "c.ppm":
            self.assertEqual(self.encoded(source=name), expected)
        self.write("d.png", png(70, 45, RGB, 16, [value * 257 for value in PICTURE[3]]))
        self.assertEqual(
            self.expect(OK, "encode", "d.png", "-", error="moxj: d.png: note: samples of 16 bits reduced to 8\n"),
            expected,
        )

    def test_a_jpeg_is_a_picture_too(self):
        self.write("one.jpg", self.encoded("--quality", "95"))
        two = self.encoded("--quality", "20", source="one.jpg")
        self.assertLess(len(two), len(self.read("one.jpg")))
        self.expect(OK, "encode", "one.jpg", "one.jpg", "--quality", "20")
        self.assertEqual(self.read("one.jpg"), two)

    def test_names_of_the_format(self):
        expected = self.encoded()
        for name in "a.jpg", "a.JPEG", "a.jpe", "a.jfif":
            self.expect(OK, "encode", "in.ppm", name)
            self.assertEqual(self.read(name), expected)
        for name in "a.png", "a":
            self.expect(OK, "encode", "in.ppm", name, "--format", "jpg")
            self.assertEqual(self.read(name), expected)

    def test_threads_change_nothing(self):
        self.write("wide.ppm", pnm(smooth(500, 300, 3)))
        for sampling in "4:4:4", "4:2:0":
            expected = self.encoded("--sample", sampling, "--threads", "1", source="wide.ppm")
            for threads in "2", "3", "16":
                self.assertEqual(self.encoded("--sample", sampling, "--threads", threads, source="wide.ppm"), expected)
            environment = {**os.environ, "MOX_NUM_THREADS": "4"}
            self.assertEqual(
                self.expect(OK, "encode", "wide.ppm", "-", "--sample", sampling, env=environment), expected
            )
            self.write("wide.jpg", expected)
            pictures = {
                self.expect(OK, "decode", "wide.jpg", "-", "--threads", threads) for threads in ("1", "2", "3", "16")
            }
            self.assertEqual(len(pictures), 1)


class Decoding(JpegTest):
    def test_there_and_back(self):
        for sampling, bound in ("4:4:4", 40), ("4:2:2", 34), ("4:2:0", 32):
            self.expect(OK, "encode", "in.ppm", "x.jpg", "--quality", "95", "--sample", sampling)
            for name in "x.png", "x.ppm", "x.pnm":
                self.expect(OK, "decode", "x.jpg", name)
                self.assertGreater(self.psnr("in.ppm", name), bound)
            self.assertEqual(parse_png(self.read("x.png")), parse_pnm(self.read("x.ppm")))
            self.assertEqual(self.psnr("x.jpg", "x.png"), None)

    def test_grey(self):
        self.write("x.jpg", self.encoded("--grayscale"))
        grey = parse_pnm(self.expect(OK, "decode", "x.jpg", "-"))
        self.assertEqual(grey[:3], (70, 45, 1))
        colour = parse_pnm(self.expect(OK, "decode", "x.jpg", "-", "--format", "ppm"))
        self.assertEqual(colour[3], [value for value in grey[3] for _ in range(3)])

    def test_nosmooth(self):
        self.write("x.jpg", self.encoded())
        self.assertNotEqual(
            self.expect(OK, "decode", "x.jpg", "-", "--nosmooth"), self.expect(OK, "decode", "x.jpg", "-")
        )

    def test_cut_short(self):
        file = self.encoded("--restart", "1B")
        begin = sum(segments(file)[-1][1:]) + 2
        for length in range(begin + 150, len(file) - 2, 97):
            self.write("x.jpg", file[:length])
            self.expect(
                INCOMPLETE, "decode", "x.jpg", "x.ppm", error=re.compile(r"\Amoxj: x\.jpg: warning: [^\n]+\n\Z")
            )
            self.assertEqual(parse_pnm(self.read("x.ppm"))[:3], (70, 45, 3))
            os.remove(self.path("x.ppm"))
        for length in 4, 100, begin:
            self.write("x.jpg", file[:length])
            self.expect(REFUSED, "decode", "x.jpg", "x.ppm", error=re.compile(r"\Amoxj: x\.jpg: (?!warning)[^\n]+\n\Z"))
        self.assertEqual(self.files(), ["in.ppm", "x.jpg"])

    def test_rows_before_the_damage_are_as_they_were(self):
        file = bytearray(self.encoded("--restart", "1B"))
        whole = parse_pnm(self.expect(OK, "decode", "-", "-", stdin=bytes(file)))
        second = [match.start() for match in re.finditer(rb"\xff[\xd0-\xd7]", file)][1]
        self.write("x.jpg", file[:second + 20])
        self.expect(INCOMPLETE, "decode", "x.jpg", "x.ppm", error=re.compile("warning"))
        self.assertEqual(parse_pnm(self.read("x.ppm"))[3][:70 * 3 * 30], whole[3][:70 * 3 * 30])

    def test_limits_before_memory(self):
        file = bytearray(self.encoded())
        at = file.index(b"\xff\xc0") + 5
        file[at:at + 4] = b"\xff\xff\xff\xff"
        self.write("x.jpg", file)
        self.expect(LIMIT, "decode", "x.jpg", "x.ppm",
                    error="moxj: x.jpg: 65535 x 65535 pixels are more than the limit of 268435456 (--max-pixels)\n")
        self.write("y.jpg", self.encoded())
        self.expect(LIMIT, "decode", "y.jpg", "y.ppm", "--max-pixels", "3149",
                    error="moxj: y.jpg: 70 x 45 pixels are more than the limit of 3149 (--max-pixels)\n")
        self.expect(OK, "decode", "y.jpg", "y.ppm", "--max-pixels", "3150")

    def test_unsupported_processes_by_name(self):
        file = bytearray(self.encoded())
        at = file.index(b"\xff\xc0") + 1
        for marker, process, refusal in ((0xCB, "lossless, arithmetic coding", "arithmetic-coded lossless"),
                                         (0xC5, "hierarchical, differential sequential",
                                          "hierarchical, differential sequential")):
            file[at] = marker
            self.write("x.jpg", file)
            self.expect(REFUSED, "decode", "x.jpg", "x.ppm",
                        error="moxj: x.jpg: %s JPEG is not supported\n" % refusal)
            information = json.loads(self.expect(OK, "info", "x.jpg", "--json"))
            self.assertFalse(information["supported"])
            self.assertEqual(information["process"], process)
        file[at], file[at + 3] = 0xC1, 10
        self.write("x.jpg", file)
        self.expect(
            REFUSED,
            "decode",
            "x.jpg",
            "x.ppm",
            error=re.compile(r"\Amoxj: x\.jpg: [^\n]*10 bits[^\n]* not supported\n\Z"),
        )

    def test_standard_streams(self):
        file = self.expect(OK, "encode", "-", "-", stdin=pnm(PICTURE))
        self.assertEqual(file, self.encoded())
        self.write("x.jpg", file)
        self.assertEqual(self.expect(OK, "decode", "-", "-", stdin=file), self.expect(OK, "decode", "x.jpg", "-"))


class Batches(JpegTest):
    def test_there_and_back(self):
        names = []
        for i in range(9):
            picture = smooth(30 + i, 20, 1 + i % 2 * 2)
            names.append(self.write("p%d.p%sm" % (i, "gp"[i % 2]), pnm(picture)))
        self.expect(OK, "encode", *names, "--output-dir", "jpegs", "--jobs", "4", "--quality", "90")
        self.assertEqual(self.files("jpegs"), ["p%d.jpg" % i for i in range(9)])
        coded = ["jpegs/" + name for name in self.files("jpegs")]
        self.expect(OK, "decode", *coded, "--output-dir", "pngs", "--format", "png", "--jobs", "2")
        for i, name in enumerate(names):
            self.assertEqual(self.read("jpegs/p%d.jpg" % i), self.encoded("--quality", "90", source=name))
            self.assertGreater(self.psnr(name, "pngs/p%d.png" % i), 30)

    def test_statuses(self):
        good = self.encoded()
        self.write("good.jpg", good)
        self.write("cut.jpg", good[:-200])
        self.write("bad.jpg", good[:50])
        for names, status in (["good", "cut"], INCOMPLETE), (["good", "cut", "bad"], REFUSED), (["good"], OK):
            result = self.moxj("decode", *(name + ".jpg" for name in names), "--output-dir", "out")
            self.assertEqual(result.returncode, status)
            self.assertEqual(len(result.stderr.splitlines()), len(names) - 1)


class Info(JpegTest):
    def test_as_json(self):
        file = self.encoded("--quality", "83", "--restart", "2B", "--sample", "4:2:2")
        self.write("x.jpg", file)
        info = json.loads(self.expect(OK, "info", "x.jpg", "--json"))
        self.assertEqual(
            {
                key: info[key]
                for key in (
                    "format",
                    "process",
                    "supported",
                    "bytes",
                    "width",
                    "height",
                    "bits",
                    "colour",
                    "sampling",
                    "quality",
                    "qualityExact",
                    "restartInterval",
                    "complete",
                )
            },
            {
                "format": "JPEG",
                "process": "baseline",
                "supported": True,
                "bytes": len(file),
                "width": 70,
                "height": 45,
                "bits": 8,
                "colour": "YCbCr",
                "sampling": "4:2:2",
                "quality": 83,
                "qualityExact": True,
                "restartInterval": 10,
                "complete": True,
            },
        )
        self.assertEqual(
            [(s["marker"], s["offset"], s["length"]) for s in info["segments"][:-1]],
            [(marker, at, length + 2) for marker, at, length in segments(file)],
        )
        self.assertEqual(info["segments"][-1]["marker"], 0xD9)
        tables = body(file, 0xDB)
        # Along the diagonals, downwards on odd ones.
        zigzag = sorted(range(64), key=lambda i: (i // 8 + i % 8, i // 8 if (i // 8 + i % 8) % 2 else i % 8))
        for table in info["quantTables"]:
            coded = tables[65 * table["index"] + 1:65 * table["index"] + 65]
            self.assertEqual([table["steps"][i] for i in zigzag], list(coded))
        self.assertEqual(
            [(c["id"], c["horizontal"] * 16 + c["vertical"], c["quantTable"]) for c in info["components"]],
            frame(file)[3],
        )
        data = segments(file)[-1]
        scan = info["scans"][0]
        self.assertEqual(
            (scan["dataOffset"], scan["dataLength"]), (data[1] + 2 + data[2], len(file) - 2 - data[1] - 2 - data[2])
        )

    def test_as_text(self):
        self.write("x.jpg", self.encoded())
        text = self.expect(OK, "info", "x.jpg").decode()
        for words in "JPEG, baseline", "70 x 45 pixels", "YCbCr 4:2:0", "SOF0", "DHT":
            self.assertIn(words, text)
        self.assertNotRegex(text, r" \n")

    def test_texts_from_the_file_cannot_spoil_the_terminal(self):
        file = self.encoded()
        comment = b"\x1b[2J\xff\x00\nnext"
        self.write("x.jpg", file[:2] + b"\xff\xfe" + struct.pack(">H", len(comment) + 2) + comment + file[2:])
        text = self.expect(OK, "info", "x.jpg")
        self.assertNotIn(b"\x1b", text)
        self.assertIn("COM", {s["name"] for s in json.loads(self.expect(OK, "info", "x.jpg", "--json"))["segments"]})

    def test_cut_short(self):
        self.write("x.jpg", self.encoded()[:-100])
        result = self.moxj("info", "x.jpg", "--json")
        self.assertEqual(result.returncode, INCOMPLETE)
        self.assertRegex(result.stderr, r"\Amoxj: x\.jpg: warning: [^\n]+\n\Z")
        self.assertFalse(json.loads(result.stdout)["complete"])


if __name__ == "__main__":
    unittest.main()

"""Progressive files, scans and tables of all kinds, compared with cjpeg, djpeg and jpegtran."""

import pathlib
import re
import struct
import unittest

import coefficient_files as cf
import pictures
import support
from test_interop import InteropTest, raw_pnm

# Scans that no default script has: narrow bands, bits refined one by one, components in any order.
SCRIPTS = {
    "spectral": "0 1 2: 0-0, 0, 0; 0: 1-2, 0, 0; 0: 3-9, 0, 0; 0: 10-63, 0, 0; 2: 1-63, 0, 0; 1: 1-63, 0, 0;",
    "bits": "0 1 2: 0-0, 0, 3; 0: 1-63, 0, 3; 1: 1-63, 0, 3; 2: 1-63, 0, 3; 0 1 2: 0-0, 3, 2; 0: 1-63, 3, 2;"
    " 1: 1-63, 3, 2; 2: 1-63, 3, 2; 0: 1-63, 2, 1; 1: 1-63, 2, 1; 2: 1-63, 2, 1; 0 1 2: 0-0, 2, 1; 0 1 2: 0-0, 1, 0;"
    " 0: 1-63, 1, 0; 1: 1-63, 1, 0; 2: 1-63, 1, 0;",
    "single": "2: 0-0, 0, 1; 0: 0-0, 0, 1; 1: 0-0, 0, 0; 0: 0-0, 1, 0; 0: 1-63, 0, 1; 2: 0-0, 1, 0; 0: 1-20, 1, 0;"
              " 1: 1-63, 0, 0; 0: 21-63, 1, 0; 2: 1-63, 0, 0;",
    "unfinished": "0 1 2: 0-0, 0, 1; 0: 1-63, 0, 2; 1: 1-5, 0, 1;",
    "sequential": "0; 2; 1;",
}


class ProgressiveTest(InteropTest):
    def sequential(self, file, *options):
        return self.tool("jpegtran", *options, stdin=file)[0]

    def assert_same_pixels(self, files, twins):
        """Each file gives exactly the pixels of its counterpart."""
        decoded = self.decode_all(files | {name + "-twin": data for name, data in twins.items()})
        for name in files:
            self.assertEqual(decoded[name], decoded[name + "-twin"], name)


class ReadTest(ProgressiveTest):
    def files(self):
        """Progressive files of cjpeg: samplings, qualities, restarts, sizes, scripts, grey."""
        colour = support.pnm(pictures.generated(61, 43, 3, 1))
        grey = support.pnm(pictures.generated(61, 43, 1, 2))
        files = {}
        for sampling in ("1x1", "2x1", "2x2", "1x2", "4x1", "1x1,2x2,1x1"):
            for restart in ("0", "1", "5", "1B"):
                files[f"s{sampling}-{restart}"] = self.cjpeg(
                    colour, "-progressive", "-sample", sampling, "-restart", restart
                )
        for quality in (1, 20, 60, 95, 100):
            files[f"q{quality}"] = self.cjpeg(colour, "-progressive", "-quality", quality)
            files[f"g{quality}"] = self.cjpeg(grey, "-progressive", "-quality", quality, "-restart", quality % 3)
        for name, script in SCRIPTS.items():
            self.write("script", script.encode())
            for sampling in ("1x1", "2x2"):
                files[f"{name}-{sampling}"] = self.cjpeg(
                    colour, "-scans", "script", "-quality", 90, "-sample", sampling
                )
        files["rgb"] = self.cjpeg(colour, "-progressive", "-rgb", "-quality", 90)
        for width in range(1, 35, 3):
            picture = support.pnm(pictures.generated(width, width * 23 % 41, 3, width))
            files[f"w{width}"] = self.cjpeg(picture, "-progressive", "-quality", 85)
        return files

    def test_the_pixels_of_their_sequential_twins(self):
        files = self.files()
        self.assert_same_pixels(files, {name: self.sequential(data) for name, data in files.items()})

    def test_what_jpegtran_makes_of_sequential_files(self):
        picture = support.pnm(pictures.generated(75, 53, 3, 4))
        twins, files = {}, {}
        for number, options in enumerate(
            (["-progressive"], ["-optimize"], ["-progressive", "-restart", "2"], ["-optimize", "-restart", "1B"])
        ):
            for sampling in ("1x1", "2x1", "2x2"):
                name = f"{number}-{sampling}"
                twins[name] = self.cjpeg(picture, "-sample", sampling, "-quality", 92)
                files[name] = self.sequential(twins[name], *options)
        self.assert_same_pixels(files, twins)

    def test_cut_short(self):
        """A file truncated between scans gives a complete picture of lower quality."""
        file = self.cjpeg(support.pnm(pictures.generated(75, 53, 3, 4)), "-progressive")
        whole = self.decode_all({"whole": file})["whole"]
        scans = [match.start() for match in re.finditer(rb"\xff\xda", file)]
        self.assertEqual(len(scans), 10)
        errors = []
        for length in [scan + 80 for scan in scans] + [len(file) - 2]:
            self.write("x.jpg", file[:length])
            expected = support.INCOMPLETE if length < len(file) - 2 else support.OK
            words = "warning" if expected else "note: the file has no EOI marker"
            picture = self.expect(
                expected, "decode", "x.jpg", "-", error=re.compile(r"\Amoxj: x\.jpg: %s[^\n]*\n\Z" % words)
            )
            errors.append(sum((a - b) ** 2 for a, b in zip(raw_pnm(picture)[3], whole[3])))
        self.assertEqual(errors, sorted(errors, reverse=True))
        self.assertEqual(errors[-1], 0)
        between = re.compile(r"warning: the file ends before its last scan\n\Z")
        self.write("x.jpg", file[:scans[4]] + b"\xff\xd8"[:0])
        self.expect(support.INCOMPLETE, "decode", "x.jpg", "-", error=between)
        # With an EOI marker the encoder has omitted the rest on purpose.
        self.write("x.jpg", file[:scans[4]] + b"\xff\xd9")
        self.expect(support.OK, "decode", "x.jpg", "-")
        self.write("x.jpg", file[:scans[0]])
        self.expect(support.REFUSED, "decode", "x.jpg", "-", error=re.compile("before all components"))

    def test_cut_at_any_byte(self):
        """Data that ends with the file gives the same picture as data that ends with an EOI marker."""
        self.write("script", b"0: 0-0, 0, 1; 0: 1-63, 0, 0; 0: 0-0, 1, 0;")
        file = self.cjpeg(support.pnm(pictures.generated(8, 40, 1, 4)), "-scans", "script")
        first = file.index(b"\xff\xda") + 10
        for length in range(first, len(file) - 2):
            if file[length - 1] == 0xFF:
                continue
            shown = []
            for end in b"", b"\xff\xd9":
                self.write("x.jpg", file[:length] + end)
                result = self.moxj("decode", "x.jpg", "-")
                row = re.search("in MCU row ([0-9]+) of", result.stderr)
                shown.append((result.stdout, row and row[1]))
            self.assertEqual(shown[0], shown[1], length)

    def test_the_number_of_scans_is_limited(self):
        self.write("x.jpg", self.cjpeg(support.pnm(pictures.generated(40, 40, 3, 4)), "-progressive"))
        self.expect(support.OK, "decode", "x.jpg", "-", "--max-scans", "10")
        self.expect(support.LIMIT, "decode", "x.jpg", "x.ppm", "--max-scans", "9",
                    error="moxj: x.jpg: more than the limit of 9 scans (--max-scans)\n")
        # 501 scans exceed the default limit: refinements without end.
        file = self.read("x.jpg")
        last = [match.start() for match in re.finditer(rb"\xff\xda", file)][-1]
        self.write("y.jpg", file[:-2] + file[last:-2] * 490 + b"\xff\xd9")
        self.expect(
            support.INCOMPLETE, "decode", "y.jpg", "-", error="moxj: y.jpg: warning: scan 11 is out of sequence\n"
        )
        self.write("y.jpg", file[:-2] + file[last:-2] * 491 + b"\xff\xd9")
        self.expect(
            support.LIMIT, "decode", "y.jpg", "-", error="moxj: y.jpg: more than the limit of 500 scans (--max-scans)\n"
        )

    def test_the_number_of_blocks_is_limited(self):
        """Refinements of a few bytes, each of which visits 65536 blocks."""
        limit = "--max-pixels", str(1 << 22)
        flat = b"P5\n2048 2048\n255\n" + bytes([90]) * (1 << 22)
        for options, count in ([], 64), (["-arithmetic"], 10):
            file = self.cjpeg(flat, "-progressive", *options)
            scans = [match.start() for match in re.finditer(rb"\xff\xda", file)] + [len(file) - 2]
            self.assertEqual(len(scans), 7)
            self.write("x.jpg", file)
            self.expect(support.OK, "decode", "x.jpg", "-", *limit)
            last = file[scans[-2]:scans[-1]]
            self.write("x.jpg", file[:-2] + last * (count - 6) + b"\xff\xd9")
            self.expect(support.INCOMPLETE, "decode", "x.jpg", "-", *limit,
                        error="moxj: x.jpg: warning: scan 7 is out of sequence\n")
            self.write("x.jpg", file[:-2] + last * (count - 5) + b"\xff\xd9")
            for command, output in ("decode", "x.pgm"), ("transcode", "y.jpg"):
                self.expect(support.LIMIT, command, "x.jpg", output, *limit,
                            error=f"moxj: x.jpg: {count + 1} scans have more than the limit of 4194304 blocks "
                            "(--max-pixels)\n")
                self.assertFalse(pathlib.Path(self.path(output)).exists())
            # Rows and coefficients that are not needed do not count.
            self.expect(support.INCOMPLETE, "decode", "x.jpg", "-", "--region", "0,0,2048,1024", *limit,
                        error=re.compile("out of sequence"))
            self.expect(support.INCOMPLETE, "decode", "x.jpg", "-", "--reduce", "3", *limit,
                        error=re.compile("out of sequence"))

    def test_the_number_of_pixels_is_limited(self):
        file = bytearray(self.cjpeg(support.pnm(pictures.generated(40, 40, 3, 4)), "-progressive"))
        at = file.index(b"\xff\xc2") + 5
        file[at:at + 4] = b"\xff\xff\xff\xff"
        self.write("x.jpg", file)
        self.expect(support.LIMIT, "decode", "x.jpg", "-", error=re.compile("--max-pixels"))

    def test_scans_that_make_no_sense(self):
        file = self.cjpeg(support.pnm(pictures.generated(40, 40, 3, 4)), "-progressive")
        scans = [match.start() for match in re.finditer(rb"\xff\xda", file)]

        def with_parameters(scan, *values):
            start = scans[scan]
            end = start + 2 + struct.unpack(">H", file[start + 2:start + 4])[0]
            return file[:end - 3] + bytes(values) + file[end:]

        band = "an invalid band of coefficients"
        for values, fault in (((5, 3, 0), band), ((0, 5, 0), band), ((1, 64, 0), band),
                              ((1, 63, 14), "an invalid point transform"),
                              ((1, 63, 0x31), "a refinement of more than one bit")):
            self.write("x.jpg", with_parameters(1, *values))
            self.expect(support.INCOMPLETE, "decode", "x.jpg", "-",
                        error="moxj: x.jpg: warning: scan 2 has %s\n" % fault)
        self.write("x.jpg", with_parameters(0, 1, 63, 0))
        self.expect(support.REFUSED, "decode", "x.jpg", "-",
                    error=re.compile("scan 1 has AC coefficients of more than one component"))
        self.write("x.jpg", with_parameters(5, 1, 63, 0x10))
        self.expect(support.INCOMPLETE, "decode", "x.jpg", "-", error=re.compile("scan 6 is out of sequence"))

    def test_info(self):
        self.write("x.jpg", self.cjpeg(support.pnm(pictures.generated(40, 40, 3, 4)), "-progressive"))
        text = self.expect(support.OK, "info", "x.jpg").decode()
        self.assertIn("JPEG, progressive\n", text)
        self.assertIn("coefficients 1 to 5, bits 0 to 2", text)
        self.assertEqual(text.count("\nscan "), 10)


OPTIONS = [
    [],
    ["--sample", "4:4:4"],
    ["--sample", "4:2:2", "--quality", "95"],
    ["--restart", "3"],
    ["--restart", "2B", "--quality", "30"],
    ["--quality", "99"],
]


class WriteTest(ProgressiveTest):
    def sources(self):
        for width, height, channels in ((61, 43, 3), (75, 53, 1), (16, 16, 3), (1, 1, 3), (9, 33, 3)):
            yield self.write(f"{width}x{height}.pnm", support.pnm(pictures.generated(width, height, channels, width)))

    def encoded(self, source, *options):
        self.expect(support.OK, "encode", source, "x.jpg", *options)
        return self.read("x.jpg")

    def transcoded(self, file, *options):
        self.write("in.jpg", file)
        self.expect(support.OK, "transcode", "in.jpg", "out.jpg", *options)
        return self.read("out.jpg")

    def assert_pixels(self, file, expected, name):
        self.write("y.jpg", file)
        self.assertEqual(self.djpeg("y.jpg"), expected, name)

    def peer(self, file, *options):
        return self.tool("jpegtran", *options, stdin=file)[0]

    def test_other_scans_of_the_same_coefficients(self):
        """djpeg decodes all outputs to the same pixels without a warning, and none is larger than that of jpegtran."""
        for source in self.sources():
            for options in OPTIONS:
                sequential = self.encoded(source, *options)
                pixels = self.djpeg("x.jpg")
                restart = (
                    {"3": ["-restart", "3B"], "2B": ["-restart", "2"]}.get(options[1], [])
                    if "--restart" in options
                    else []
                )
                same = ["--restart", options[1]] if restart else []
                for form in "progressive", "optimize":
                    name = (source, options, form)
                    file = self.encoded(source, "--" + form, *options)
                    self.assert_pixels(file, pixels, name)
                    self.assertLessEqual(len(file), len(self.peer(sequential, "-" + form, *restart)), name)
                    self.assertEqual(self.transcoded(sequential, "--" + form, *same), file, name)
                    back = self.transcoded(file, "--sequential", *same)
                    self.assert_pixels(back, pixels, name)
                    self.assertEqual(self.peer(back), self.peer(sequential), name)
                self.assertIn(b"\xff\xc2", self.transcoded(self.encoded(source, "--progressive")))

    def test_scripts(self):
        source = next(self.sources())
        self.encoded(source, "--quality", "90")
        pixels = self.djpeg("x.jpg")
        for name, script in SCRIPTS.items():
            self.write("script", script.encode())
            file = self.encoded(source, "--scans", "script", "--quality", "90", "--optimize")
            peer = self.cjpeg(self.read(source), "-scans", "script", "-quality", 90, "-optimize")
            self.assertEqual(len(re.findall(rb"\xff\xda", file)), script.count(";"), name)
            self.write("peer.jpg", peer)
            if name != "unfinished":
                self.assert_pixels(file, pixels, name)
                self.assertEqual(
                    self.transcoded(self.encoded(source, "--quality", "90"), "--scans", "script"), file, name
                )
            self.assertLessEqual(len(self.transcoded(peer, "--scans", "script", "--optimize")), len(peer), name)

    def test_bad_scripts_name_file_and_line(self):
        for script, line, words in (
            (b"# only\n# comments", 2, "no scans"),
            (b"0;\n1 2;;", 2, "a component is not a whole number"),
            (b"0 1 2: 0-0, 0 1", 1, None),
            (b"0 1 2\n: 0-x, 0, 1;", 2, "the last coefficient is not a whole number"),
            (b"0 1 2: 0-0, 0, 0 7;", 1, "must end with ';'"),
            (b"0 1 2: 0-0, 0, 300;", 1, "the lowest bit is not a whole number"),
            (b"0: 0-0, 0, 0;\n0 1: 1-5, 0, 0;", 2, "AC coefficients of more than one component"),
            (b"0 1 2: 0-0,0,0;\n\n0: 5-1,0,0;", 3, "invalid band"),
            (b"0 1 2: 0-0,0,14;", 1, "invalid point transform"),
            (b"0 1 2: 0-0,0,2;\n0 1 2: 0-0,2,0;", 2, "refinement of more than one bit"),
            (b"0: 1-63,0,0;\n0 1 2: 0-0,0,0;", 1, "does not continue"),
            (b"0;\n0;", 2, "does not continue"),
            (b"0 1 2: 0-0,0,0;\n0: 1-63,1,0;", 2, "does not continue"),
            (b"0;\n2;", 2, "component 1 is in no scan"),
            (b"1 0;\n2;", 1, "ascending order"),
            (b"0 0;", 1, "ascending order"),
            (b"4;", 1, "components are 0 to 3"),
            (b"0 1;", 1, "component 2 of the picture is in no scan"),
            (b"0 1 2;\n3;", 2, "no component 3 in a picture of 3"),
        ):
            self.write("script.txt", script)
            expected = r"\Amoxj: (61x43\.pnm: )?script\.txt: line %d: [^\n]*%s[^\n]*\n\Z" % (
                line,
                words and re.escape(words),
            )
            source = next(self.sources())
            if words:
                self.expect(
                    support.REFUSED, "encode", source, "x.jpg", "--scans", "script.txt", error=re.compile(expected)
                )
            else:
                self.expect(support.OK, "encode", source, "x.jpg", "--scans", "script.txt")
        self.expect(
            support.REFUSED,
            "encode",
            source,
            "x.jpg",
            "--scans",
            "missing",
            error=re.compile(r"\Amoxj: missing: [^\n]+\n\Z"),
        )

    def test_segments(self):
        """APPn and COM segments are kept in order; --strip keeps only those that define the colours."""
        extra = (b"\xff\xe1\0\x06Exif" + b"\xff\xfe\0\x07hello" +
                 b"\xff\xee\0\x0eAdobe\0\x64\0\0\0\0\0" + b"\xff\xef\0\x03x")
        file = self.encoded(next(self.sources()))
        file = file[:20] + extra + file[20:]
        kept = self.transcoded(file, "--progressive")
        self.assertEqual(kept[:20 + len(extra)], file[:20 + len(extra)])
        stripped = self.transcoded(file, "--progressive", "--strip")
        self.assertEqual(len(kept) - len(stripped), len(extra) - 16)
        self.assertNotIn(b"hello", stripped)
        self.assertIn(b"Adobe", stripped)

    def test_large_coefficients(self):
        """Magnitudes of 11 bits, which the library's statistics of first AC scans do not count, and larger ones."""
        block = [0] * 64
        block[0], block[3], block[20] = 40, 1500, -1024  # 16 zeros between them
        file = large_block_file(block)
        self.write("x.jpg", file)
        expected = self.djpeg("x.jpg")
        self.write("script", b"0: 0-0,0,0; 0: 1-63,0,0;")
        progressive = self.transcoded(file, "--scans", "script")
        self.assert_pixels(progressive, expected, "progressive")
        self.assertEqual(self.transcoded(progressive, "--optimize"), self.transcoded(file, "--optimize"))
        self.write("in.jpg", file)
        self.expect(support.REFUSED, "transcode", "in.jpg", "y.jpg", "--sequential",
                    error=re.compile("Annex K tables have no code"))
        self.write("in.jpg", large_block_file([0, 2500] + [0] * 62))
        self.expect(
            support.REFUSED,
            "transcode",
            "in.jpg",
            "y.jpg",
            "--scans",
            "script",
            error=re.compile("too large for this kind of scan"),
        )

    def test_coefficients_of_16_bits(self):
        """A point transform of 13 bits gives -32768, which no process can code."""
        self.write("script", b"0: 0-0,0,0; 0: 1-63,0,0;")
        file = bytearray(self.cjpeg(support.pnm(pictures.generated(16, 16, 1, 4)), "-scans", "script", "-quality", 90))
        at = file.rindex(b"\xff\xda") + 9
        self.assertEqual(file[at], 0)
        file[at] = 13
        self.write("in.jpg", file)
        self.expect(support.OK, "decode", "in.jpg", "x.pgm")
        for process in "--optimize", "--progressive", "--sequential":
            self.expect(support.REFUSED, "transcode", "in.jpg", "x.jpg", process,
                        error="moxj: in.jpg: a coefficient is too large to be coded\n")

    def test_incomplete_files(self):
        file = self.encoded(next(self.sources()), "--progressive")
        self.write("in.jpg", file[: len(file) // 2])
        self.expect(
            support.INCOMPLETE,
            "transcode",
            "in.jpg",
            "out.jpg",
            error=re.compile(r"\Amoxj: in\.jpg: warning: [^\n]+\n\Z"),
        )
        pixels = self.djpeg("out.jpg")
        self.expect(support.INCOMPLETE, "decode", "in.jpg", "a.pnm", error=re.compile("warning"))
        self.expect(support.OK, "decode", "out.jpg", "b.pnm")
        self.assertEqual(self.read("a.pnm"), self.read("b.pnm"))
        self.assertEqual(pixels[:2], (61, 43))

    def test_usage(self):
        for options, words in ((["--progressive", "--sequential"], "--progressive and --sequential cannot be combined"),
                               (["--scans", "s", "--progressive"], "--scans and --progressive cannot be combined"),
                               (["--scans", "s", "--sequential"], "--scans and --sequential cannot be combined"),
                               (["--scans="], "--scans: '' is not a file name"),
                               (["--quality", "3"], "unknown option '--quality'")):
            self.expect(support.USAGE, "transcode", "a.jpg", "b.jpg", *options, error=re.compile(words))
        self.expect(support.USAGE, "transcode", "a.jpg", "b.png",
                    error="moxj: b.png: 'moxj transcode' writes JPEG files\n")
        self.expect(support.REFUSED, "transcode", next(self.sources()), "b.jpg",
                    error="moxj: 61x43.pnm: not a JPEG file\n")

    def test_batches(self):
        for name in "a", "b":
            self.write(name + ".jpg", self.encoded(next(self.sources()), "--quality", {"a": "20", "b": "80"}[name]))
        self.expect(support.OK, "transcode", "a.jpg", "b.jpg", "--output-dir", "out", "--progressive")
        for name in "a", "b":
            self.assertEqual(self.read(f"out/{name}.jpg"), self.transcoded(self.read(name + ".jpg"), "--progressive"))


def large_block_file(block):
    """A grey picture of one block, given in zig-zag order, with 8-bit codes for the symbols it needs."""
    bits, symbols, run = cf.Bits(), [0x00, 0xF0], 0
    dc = list(range(12))
    for value in block[1:]:
        if value:
            symbols.append(run % 16 << 4 | abs(value).bit_length())
        run = 0 if value else run + 1
    category = abs(block[0]).bit_length()
    bits.put(dc.index(category), 8)
    bits.magnitude(block[0], category)
    run = 0
    for value in block[1:]:
        if value:
            category = abs(value).bit_length()
            for _ in range(run // 16):
                bits.put(symbols.index(0xF0), 8)
            bits.put(symbols.index(run % 16 << 4 | category), 8)
            bits.magnitude(value, category)
        run = 0 if value else run + 1
    bits.put(0, 8)
    file = b"\xff\xd8" + cf.JFIF + cf.segment(0xDB, b"\0" + b"\1" * 64)
    file += cf.segment(0xC0, b"\x08\0\x08\0\x08\x01\x01\x11\0")
    for table, listed in ((0x00, dc), (0x10, symbols)):
        file += cf.segment(0xC4, bytes([table] + [0] * 7 + [len(listed)] + [0] * 8 + listed))
    return file + cf.segment(0xDA, b"\x01\x01\0\0\x3f\0") + bits.bytes() + b"\xff\xd9"


if __name__ == "__main__":
    unittest.main()

"""Pictures in and out: every kind of PNG, PPM and PGM that is read or written, and everything that is refused."""

import os
import re
import resource
import unittest

from support import *


def expanded(width, height, bits, values):
    return scaled((width, height, 1, values), (1 << bits) - 1)


class Reading(ToolTest):
    def decoded(self, data, note=""):
        """The picture that the tool makes of a file."""
        self.write("in", data)
        return parse_pnm(self.expect(OK, "decode", "in", "-", error=note and "moxj: in: note: %s\n" % note))

    def test_raw_pnm(self):
        for channels in 1, 3:
            for size in (1, 1), (3, 2), (17, 5), (100, 41):
                picture = noise(*size, channels)
                self.assertEqual(self.decoded(pnm(picture)), picture)

    def test_plain_pnm(self):
        for channels in 1, 3:
            picture = noise(13, 7, channels)
            self.assertEqual(self.decoded(pnm(picture, plain=True)), picture)

    def test_every_maximum_value(self):
        """PNM keeps it, PNG has samples of 8 or 16 bits."""
        for plain in False, True:
            for maxval in 1, 2, 15, 63, 100, 254, 255, 256, 1000, 4095, 32767, 65535:
                picture = noise(16, 5, 3, maxval, maxval)
                self.write("in", pnm(picture, maxval, plain))
                self.assertEqual(parse_deep_pnm(self.expect(OK, "decode", "in", "-")), (picture, maxval))
                self.expect(OK, "decode", "in", "out.png")
                if maxval < 256:
                    self.assertEqual(parse_png(self.read("out.png")), scaled(picture, maxval), maxval)
                else:
                    self.assertEqual(parse_any_png(self.read("out.png"))[3:], (16, scaled(picture, maxval, 65535)[3]))

    def test_samples_are_reduced_to_8_bits_with_a_note(self):
        """For JPEG, which then is that of the reduced samples."""
        for plain in False, True:
            for maxval, bits in (256, 9), (1000, 10), (4095, 12), (32767, 15), (65535, 16):
                picture = noise(16, 5, 3, maxval, maxval)
                self.write("in", pnm(picture, maxval, plain))
                self.write("reduced", pnm(scaled(picture, maxval)))
                self.assertEqual(self.expect(OK, "encode", "in", "-",
                                             error="moxj: in: note: samples of %d bits reduced to 8\n" % bits),
                                 self.expect(OK, "encode", "reduced", "-"))

    def test_comments_and_blanks_in_headers(self):
        picture = noise(4, 3, 1)
        samples = bytes(picture[3])
        for header in (b"P5 4 3 255 ", b"P5\n# one\n# two\n4 #three\n3\n255\n", b"P5\t\r\n 4\n\n3\v255\f",
                       b"P5#tight\n4 3\n#x\n255#after\n", b"P5 0004 0003 0255\n"):
            self.assertEqual(self.decoded(header + samples), picture, header)

    def test_raw_samples_that_look_like_blanks_or_comments(self):
        for first in b" \n\r#":
            picture = (2, 2, 1, [first, 10, 35, 32])
            self.assertEqual(self.decoded(pnm(picture)), picture)

    def test_only_the_first_picture_of_a_file_is_read(self):
        picture = noise(4, 3, 1)
        self.assertEqual(self.decoded(pnm(picture) * 2), picture)

    def test_png_of_every_kind_and_depth(self):
        for interlaced in False, True:
            for width, height in (1, 1), (9, 4), (33, 17):
                for bits in 1, 2, 4, 8, 16:
                    maxval = (1 << bits) - 1
                    grey = noise(width, height, 1, bits, maxval)
                    pictures = [(GREY, grey)]
                    if bits >= 8:
                        pictures.append((RGB, noise(width, height, 3, bits, maxval)))
                    for kind, picture in pictures:
                        file = png(width, height, kind, bits, picture[3], interlaced=interlaced)
                        if bits == 16:
                            self.write("in", file)
                            self.assertEqual(parse_deep_pnm(self.expect(OK, "decode", "in", "-")), (picture, maxval))
                        else:
                            self.assertEqual(self.decoded(file), scaled(picture, maxval))
                    if bits <= 8:
                        palette = [(i * 7 % 256, i * 31 % 256, 255 - i) for i in range(maxval + 1)]
                        file = png(width, height, PALETTE, bits, grey[3], palette=palette, interlaced=interlaced)
                        self.assertEqual(self.decoded(file),
                                         (width, height, 3, [v for index in grey[3] for v in palette[index]]))

    def test_transparency_is_dropped_with_a_note(self):
        for interlaced in False, True:
            for kind, channels in (GREY_ALPHA, 1), (RGB_ALPHA, 3):
                values = noise(6, 5, channels + 1)[3]
                kept = [v for i, v in enumerate(values) if i % (channels + 1) < channels]
                self.assertEqual(
                    self.decoded(png(6, 5, kind, 8, values, interlaced=interlaced), "transparency dropped"),
                    (6, 5, channels, kept),
                )
        grey = noise(6, 5, 1, maxval=3)
        self.assertEqual(self.decoded(png(6, 5, GREY, 2, grey[3], transparency=b"\0\1"), "transparency dropped"),
                         scaled(grey, 3))
        rgb = noise(6, 5, 3)
        self.assertEqual(
            self.decoded(png(6, 5, RGB, 8, rgb[3], transparency=b"\0\1\0\2\0\3"), "transparency dropped"), rgb
        )
        palette = [(1, 2, 3), (40, 50, 60), (7, 8, 9), (200, 100, 0)]
        self.assertEqual(
            self.decoded(
                png(6, 5, PALETTE, 2, grey[3], palette=palette, transparency=b"\0\x80"), "transparency dropped"
            ),
            (6, 5, 3, [v for index in grey[3] for v in palette[index]]),
        )

    def test_both_notes_and_quiet(self):
        values = noise(6, 5, 4, maxval=65535)
        self.write("in", png(6, 5, RGB_ALPHA, 16, values[3]))
        self.expect(OK, "encode", "in", "-", error="moxj: in: note: samples of 16 bits reduced to 8\n"
                    "moxj: in: note: transparency dropped\n")
        self.expect(OK, "encode", "--quiet", "in", "-")

    def test_png_in_many_pieces(self):
        picture = noise(40, 30, 3)
        for pieces in 1, 2, 7, 500:
            self.assertEqual(self.decoded(png_of(picture, pieces=pieces)), picture)

    def test_the_content_and_not_the_name_tells_the_format(self):
        picture = noise(5, 5, 3)
        self.write("in.jpg", png_of(picture))
        self.assertEqual(parse_pnm(self.expect(OK, "decode", "in.jpg", "-")), picture)


class Writing(ToolTest):
    def converted(self, picture, output, *options, error=""):
        self.write("in", pnm(picture))
        self.expect(OK, "decode", "in", output, *options, error=error)
        return self.read(output)

    def test_png(self):
        for channels in 1, 3:
            for size in (1, 1), (7, 3), (64, 33):
                for picture in noise(*size, channels), smooth(*size, channels):
                    self.assertEqual(parse_png(self.converted(picture, "out.png")), picture)

    def test_ppm_pgm_and_pnm(self):
        grey, rgb = noise(9, 4, 1), noise(9, 4, 3)
        self.assertEqual(self.converted(grey, "out.pgm"), pnm(grey))
        self.assertEqual(self.converted(grey, "out.pnm"), pnm(grey))
        self.assertEqual(self.converted(rgb, "out.ppm"), pnm(rgb))
        self.assertEqual(self.converted(rgb, "out.pnm"), pnm(rgb))
        tripled = (9, 4, 3, [value for value in grey[3] for _ in range(3)])
        self.assertEqual(self.converted(grey, "out.ppm"), pnm(tripled))

    def test_colour_becomes_luminance_in_a_pgm(self):
        picture = (4, 1, 3, [255, 255, 255, 255, 0, 0, 0, 255, 0, 0, 0, 255])
        file = self.converted(picture, "out.pgm", error="moxj: in: note: colour dropped\n")
        self.assertEqual(parse_pnm(file), (4, 1, 1, [255, 76, 150, 29]))

    def test_names_and_formats(self):
        picture = noise(3, 3, 3)
        self.assertEqual(parse_png(self.converted(picture, "OUT.PNG")), picture)
        self.assertEqual(parse_png(self.converted(picture, "out", "--format", "png")), picture)
        self.assertEqual(parse_png(self.converted(picture, "out.ppm", "--format", "PNG")), picture)
        self.assertEqual(parse_png(self.converted(picture, "a.b/../c.png".replace("/../", "_"))), picture)

    def test_standard_streams(self):
        picture = noise(30, 20, 3)
        self.assertEqual(self.expect(OK, "decode", "-", "-", stdin=png_of(picture)), pnm(picture))
        self.assertEqual(parse_png(self.expect(OK, "decode", "-", "-", "--format", "png", stdin=pnm(picture))), picture)
        self.write("in", png_of(picture))
        with open(self.path("in"), "rb") as file:
            result = subprocess.run([MOXJ, "decode", "-", "-"], stdin=file, stdout=subprocess.PIPE, check=True)
        self.assertEqual(result.stdout, pnm(picture))

    def test_a_file_that_is_already_partly_read(self):
        picture = noise(30, 20, 3)
        self.write("in", b"12345" + pnm(picture))
        with open(self.path("in"), "rb", buffering=0) as file:
            file.read(5)
            result = subprocess.run([MOXJ, "decode", "-", "-"], stdin=file, stdout=subprocess.PIPE, check=True)
        self.assertEqual(result.stdout, pnm(picture))

    def test_large_standard_input(self):
        picture = (1500, 1000, 3, bytes(range(250)) * 18000)
        file = b"P6\n1500 1000\n255\n" + picture[3]
        self.assertEqual(self.expect(OK, "decode", "-", "-", stdin=file), file)


class Refused(ToolTest):
    def refused(self, data, cause, status=REFUSED):
        self.write("in", data)
        self.expect(status, "decode", "in", "out.png", error="moxj: in: %s\n" % cause)
        self.assertEqual(self.files(), ["in"])
        # The same through a pipe.
        self.expect(status, "decode", "-", "out.png", stdin=data, error="moxj: standard input: %s\n" % cause)
        self.assertEqual(self.files(), ["in"])

    def test_no_picture(self):
        self.refused(b"", "the file is empty")
        for data in (b"P", b"GIF", b"BMxx", b"RIFFxxxxWAVE", b"P8 1 1 255 x", b"PX", b"\0" * 100000,
                     b"\x89PXG\r\n\x1a\n"):
            self.refused(data, UNRECOGNISED)

    def test_known_formats_that_are_not_supported(self):
        for data, name in ((b"GIF89a", "GIF"), (b"GIF87a" + bytes(99), "GIF"),
                           (b"RIFF\x24\0\0\0WEBPVP8 ", "WebP")):
            self.refused(data, name + " files are not supported")

    def test_pnm_headers(self):
        for data in b"P5\n", b"P5\n3", b"P5\n3 3", b"P5\n3 3 # 255":
            self.refused(data, "the file ends in its header")
        for data in b"P5 -1 1 255 x", b"P5 1 x 255 y", b"P5 1 1.5 255 ":
            self.refused(data, "the header has something that is not a number")
        self.refused(b"P5 0 1 255 ", "the picture has no pixels")
        self.refused(b"P6 1 0 255 ", "the picture has no pixels")
        for maxval in 0, 65536, 99999999999999999999999:
            self.refused(b"P5 1 1 %d\nxxxx" % maxval, "the maximum value is not between 1 and 65535")
        self.refused(b"P5 2 2 255", "the file ends after its header")
        self.refused(b"P5 2 2 255\n", "the file ends after its header")
        self.refused(b"P2 2 2 255\nx", "no samples follow the header")

    def test_png_headers(self):
        file = png_of(noise(20, 20, 3))
        self.refused(file[:4] + b"xxxx" + file[8:], "PNG file corrupted by ASCII conversion")
        for length in 3, 8, 16, 30, 40:
            self.refused(file[:length], "the file ends early")
        self.refused(file[:20] + b"\xff" + file[21:], "IHDR: CRC error")

    def test_declared_sizes_beyond_the_limit(self):
        """Refused before memory is allocated: none of these would fit into the address space."""
        cases = {"16385 x 16384": b"P6 16385 16384 255\nxxx", "99999 x 99999": b"P2 99999 99999 65535\n1 2",
                 "18446744073709551615 x 1": b"P5 %d 1 255\nxxx" % 10**50,
                 "4294967296 x 4294967296": b"P5 4294967296 4294967296 255\nxxx",
                 "2147483647 x 2147483647": png(1, 1, RGB, 8, [1, 2, 3])}
        header = struct.pack(">IIBBBBB", 2**31 - 1, 2**31 - 1, 8, 2, 0, 0, 0)
        file = cases["2147483647 x 2147483647"]
        cases["2147483647 x 2147483647"] = SIGNATURE + chunk(b"IHDR", header) + file[33:]
        for size, data in cases.items():
            self.refused(data, "%s pixels are more than the limit of 268435456 (--max-pixels)" % size, LIMIT)

    def test_max_pixels(self):
        for data in pnm(noise(10, 10, 3)), png_of(noise(10, 10, 3)):
            self.write("in", data)
            self.expect(OK, "decode", "in", "out.png", "--max-pixels", "100")
            self.expect(LIMIT, "decode", "in", "out2.png", "--max-pixels", "99",
                        error="moxj: in: 10 x 10 pixels are more than the limit of 99 (--max-pixels)\n")
        self.assertEqual(self.files(), ["in", "out.png"])

    @unittest.skipIf(os.environ.get("SANITIZERS"), "sanitizers need more address space than there is memory")
    def test_a_picture_too_large_for_the_memory_at_hand(self):
        self.write("in", b"P6 16384 16384 255\n" + bytes(1000))
        def small():
            resource.setrlimit(resource.RLIMIT_AS, (500 << 20, 500 << 20))
        self.expect(LIMIT, "encode", "in", "out.jp2", "--max-memory", "100G", preexec_fn=small,
                    error="moxj: in: not enough memory for 16384 x 16384 pixels\n")
        self.assertEqual(self.files(), ["in"])

    def test_endless_input_that_is_no_picture(self):
        self.expect(REFUSED, "decode", "/dev/zero", "out.png",
                    error="moxj: /dev/zero: " + UNRECOGNISED + "\n")

    def test_inputs_that_cannot_be_read(self):
        self.expect(
            REFUSED, "decode", "none", "out.png", error="moxj: none: cannot be read: No such file or directory\n"
        )
        self.expect(REFUSED, "decode", ".", "out.png", error="moxj: .: cannot be read: Is a directory\n")

    def test_names_are_shown_on_one_line(self):
        self.expect(REFUSED, "decode", "a\nb\x1b[2J", "out.png",
                    error="moxj: a\\x0Ab\\x1B[2J: cannot be read: No such file or directory\n")


class Incomplete(ToolTest):
    def incomplete(self, data, cause):
        self.write("in", data)
        self.expect(INCOMPLETE, "decode", "in", "out.ppm", error="moxj: in: warning: %s\n" % cause)
        return parse_deep_pnm(self.read("out.ppm"))[0]

    def test_raw_pnm_cut_short(self):
        width, height, channels, samples = noise(10, 8, 3)
        file = pnm((width, height, channels, samples))
        header = len(file) - len(samples)
        for kept in 1, 29, 30, 31, 100, 239:
            picture = self.incomplete(file[:header + kept], "the file ends after %d of 8 rows" % (kept // 30))
            self.assertEqual(picture[3], samples[:kept] + [0] * (240 - kept))

    def test_16_bit_pnm_cut_inside_a_sample(self):
        picture = noise(10, 8, 3, maxval=65535)
        self.write("in", pnm(picture, 65535)[:-1])
        self.expect(INCOMPLETE, "decode", "in", "out.ppm",
                    error="moxj: in: warning: the file ends after 7 of 8 rows\n")
        self.assertEqual(parse_deep_pnm(self.read("out.ppm"))[0][3], picture[3][:-1] + [0])

    def test_plain_pnm_cut_or_damaged(self):
        self.assertEqual(self.incomplete(b"P3 1 3 255 1 2 3 4", "the file ends after 1 of 3 rows")[3],
                         [1, 2, 3, 4, 0, 0, 0, 0, 0])
        not_a_number = "the file has something that is not a number after 1 of 2 rows"
        self.assertEqual(self.incomplete(b"P3 1 2 255 1 2 3 4 x 5", not_a_number)[3], [1, 2, 3, 4, 0, 0])

    def test_samples_above_the_maximum_count_as_the_maximum(self):
        cause = "samples above the maximum value in the header"
        self.assertEqual(self.incomplete(b"P3 1 1 100 50 100 101", cause)[3], [50, 100, 100])
        self.assertEqual(self.incomplete(b"P6 1 1 100\n\x32\x64\xff", cause)[3], [50, 100, 100])
        self.assertEqual(self.incomplete(b"P3 1 1 255 1 2 99999999999999999999999", cause)[3], [1, 2, 255])

    def test_png_cut_short_keeps_every_row_that_the_bytes_hold(self):
        width, height, channels, samples = picture = noise(30, 20, 3)
        file = png_of(picture, level=0)
        begin = file.index(b"IDAT") + 4 + 2 + 5
        for rows in 1, 2, 10, 19:
            decoded = self.incomplete(file[:begin + rows * 91 + 5], "the file ends early, after %d of 20 rows" % rows)
            kept = rows * width * channels
            self.assertEqual(decoded[3][:kept], samples[:kept])
            self.assertEqual(set(decoded[3][kept:]), {0})

    def test_png_without_its_end(self):
        picture = noise(30, 20, 3)
        file = png_of(picture)
        for missing in 1, 12, 13:
            decoded = self.incomplete(file[:-missing], "the file ends early, after 20 of 20 rows")
            self.assertEqual(decoded, picture)

    def test_png_with_too_few_rows(self):
        """Every part of the file is whole."""
        width, height, channels, samples = noise(30, 20, 3)
        file = png_of((width, height, channels, samples))
        short = png_of((width, 7, channels, samples[:7 * 90]))
        decoded = self.incomplete(file[:33] + short[33:], "the picture's data ends early, after 7 of 20 rows")
        self.assertEqual(decoded[3], samples[:7 * 90] + [0] * (13 * 90))
        self.write("none", file[:33] + chunk(b"IDAT", zlib.compress(b"")) + chunk(b"IEND", b""))
        self.expect(REFUSED, "decode", "none", "x.ppm", error="moxj: none: the picture's data ends early\n")

    def test_png_with_damaged_data(self):
        picture = noise(30, 20, 3)
        file = bytearray(png_of(picture, level=0))
        at = file.index(b"IDAT") + 4 + 2 + 5 + 91 * 10 + 40
        file[at] ^= 1
        decoded = self.incomplete(bytes(file), "IDAT: CRC error, after 19 of 20 rows")
        # The checksum of the compressed data fails with the last row, which is not to be had then.
        kept = 19 * 30 * 3
        self.assertEqual(sum(a != b for a, b in zip(decoded[3][:kept], picture[3])), 1)
        self.assertEqual(set(decoded[3][kept:]), {0})

    def test_interlaced_png_cut_short_shows_the_coarse_picture(self):
        picture = (32, 32, 1, [100 + x + y for y in range(32) for x in range(32)])
        file = png_of(picture, interlaced=True, level=0)
        begin = file.index(b"IDAT") + 4 + 2 + 5
        # Pass 1 has 4 rows of 4 samples, passes 2 and 3 as many bytes and twice those; then the file ends in pass 5.
        self.write("in", file[: begin + 20 + 20 + 36 + 72 + 17 * 4])
        self.expect(
            INCOMPLETE,
            "decode",
            "in",
            "out.ppm",
            error=re.compile(r"moxj: in: warning: the file ends early, after \d+ of 32 rows of pass 5 of 7\n\Z"),
        )
        decoded = parse_pnm(self.read("out.ppm"))
        self.assertLessEqual(max(abs(a - b) for a, b in zip(decoded[3][::3], picture[3])), 8)

    def test_every_length_of_a_png(self):
        """Never another status than refused (too little) or incomplete."""
        file = png_of(smooth(12, 9, 3), pieces=3)
        for length in range(3, len(file)):
            self.write("in", file[:length])
            result = self.moxj("decode", "in", "-")
            self.assertIn(result.returncode, (REFUSED, INCOMPLETE), length)
            self.assertEqual(result.stderr.count("\n"), 1)
            self.assertEqual(result.stdout != b"", result.returncode == INCOMPLETE)

    def test_flipped_bits(self):
        """Damage anywhere gives a picture, a partial picture or a refusal."""
        statuses = set()
        source = random.Random(7)
        for file in (
            png_of(smooth(12, 9, 3), pieces=2),
            png_of(smooth(12, 9, 1), interlaced=True),
            pnm(smooth(5, 4, 3), plain=True),
        ):
            for _ in range(150):
                data = bytearray(file)
                for _ in range(source.randint(1, 4)):
                    data[source.randrange(len(data))] ^= 1 << source.randrange(8)
                self.write("in", data)
                result = self.moxj("decode", "in", "-", "--quiet", "--max-pixels", "100000")
                self.assertIn(result.returncode, (OK, REFUSED, INCOMPLETE), data)
                self.assertEqual(result.stderr.count("\n"), int(result.returncode != OK), result.stderr)
                statuses.add(result.returncode)
        self.assertEqual(statuses, {OK, REFUSED, INCOMPLETE})


if __name__ == "__main__":
    unittest.main()

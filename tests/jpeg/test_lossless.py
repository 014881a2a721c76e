"""Lossless JPEG: exact round trips, interoperability with ffmpeg, samples of 2 to 16 bits."""

import random
import re
import struct
import unittest

import coefficient_files as cf
import pictures
import support
from test_interop import InteropTest, raw_pnm


def wave(width, height, channels, bits, seed=1, low=0):
    """A smooth picture with noise; the `low` lowest bits are 0."""
    source = random.Random(seed)
    maxval = (1 << bits) - 1
    samples = [
        (maxval * (3 * x + 2 * y + 20 * c) // (3 * width + 2 * height + 60) + source.randint(0, maxval >> 3))
        & maxval >> low << low
        for y in range(height)
        for x in range(width)
        for c in range(channels)
    ]
    return width, height, channels, samples


def pnm(picture, bits):
    return support.pnm(picture, (1 << bits) - 1)


def frame_header(file):
    """Precision, height, width, components."""
    at = file.index(b"\xff\xc3")
    return struct.unpack(">BHHB", file[at + 4:at + 10])


class LosslessTest(InteropTest):
    def round_trip(self, data, *options):
        self.write("in.pnm", data)
        self.expect(support.OK, "encode", "in.pnm", "x.jpg", *options)
        self.expect(support.OK, "decode", "x.jpg", "out.pnm")
        self.assertEqual(self.read("out.pnm"), data, options)
        return self.read("x.jpg")

    def ffmpeg(self, *arguments):
        return self.tool("ffmpeg", "-hide_banner", "-loglevel", "error", "-y", *arguments)[0]


class Exact(LosslessTest):
    def test_every_precision(self):
        for bits in range(2, 17):
            for channels in 1, 3:
                data = pnm(wave(23, 17, channels, bits), bits)
                self.assertEqual(frame_header(self.round_trip(data, "--lossless")), (bits, 17, 23, channels))

    def test_every_predictor_and_point_transform(self):
        for bits in 2, 8, 12, 15, 16:
            for predictor in range(1, 8):
                for point in {0, 1, bits // 2, bits - 1}:
                    picture = wave(19, 13, 3, bits, predictor, point)
                    if bits - point == 16 and predictor > 4:
                        picture = *picture[:3], [value // 2 for value in picture[3]]
                    file = self.round_trip(pnm(picture, bits), f"--lossless={predictor},{point}")
                    at = file.index(b"\xff\xda")
                    self.assertEqual(file[at + 11:at + 14], bytes([predictor, 0, point]))

    def test_point_transforms_leave_out_bits(self):
        self.write("in.pgm", pnm(wave(19, 13, 1, 10), 10))
        self.expect(support.OK, "encode", "in.pgm", "x.jpg", "--lossless", "4,3")
        self.expect(support.OK, "decode", "x.jpg", "out.pgm")
        width, height, channels, samples = wave(19, 13, 1, 10)
        self.assertEqual(
            self.read("out.pgm"), pnm((width, height, channels, [value >> 3 << 3 for value in samples]), 10)
        )

    def test_restarts(self):
        for restart, wide in ("1B", 1), ("3B", 3), ("46", 2), ("0", 0):
            for predictor in "", "=2", "=7":
                file = self.round_trip(pnm(wave(23, 17, 3, 12), 12), "--lossless" + predictor, "--restart", restart)
                markers = len(re.findall(rb"\xff[\xd0-\xd7]", file[file.index(b"\xff\xda"):]))
                self.assertEqual(markers, -(-17 // wide) - 1 if wide else 0)

    def test_every_size(self):
        for width in range(1, 20):
            self.round_trip(pnm(wave(width, 20 - width, 1 + width % 2 * 2, 8), 8), "--lossless")

    def test_extremes(self):
        for bits in 8, 16:
            maxval = (1 << bits) - 1
            for pattern in [0, maxval], [maxval // 2 + 1, 0], [maxval], [0], [0, 0, maxval]:
                samples = (pattern * 200)[:121]
                for predictor in "", "=1", "=4":
                    self.round_trip(pnm((11, 11, 1, samples), bits), "--lossless" + predictor)

    def test_the_best_predictor_is_chosen(self):
        self.write("in.pnm", pnm(wave(60, 40, 3, 8), 8))
        sizes = [len(self.expect(support.OK, "encode", "in.pnm", "-", f"--lossless={p}")) for p in range(1, 8)]
        self.assertEqual(len(self.expect(support.OK, "encode", "in.pnm", "-", "--lossless")), min(sizes))

    def test_png_of_16_bits(self):
        for kind, channels in (support.GREY, 1), (support.RGB, 3):
            picture = wave(23, 17, channels, 16)
            self.write("in.png", support.png(23, 17, kind, 16, picture[3]))
            self.expect(support.OK, "encode", "in.png", "x.jpg", "--lossless")
            self.expect(support.OK, "decode", "x.jpg", "out.png")
            self.expect(support.OK, "decode", "x.jpg", "out.pnm")
            self.assertEqual(self.read("out.pnm"), pnm(picture, 16))
            self.expect(support.OK, "encode", "out.png", "y.jpg", "--lossless")
            self.assertEqual(self.read("y.jpg"), self.read("x.jpg"))

    def test_inks(self):
        """The inks of a CMYK file survive a lossless file exactly."""
        four = [cf.Component(i, 1, 1) for i in range(4)]
        for transform in 0, 2:
            self.write("in.jpg", cf.jpeg((21, 15), four, segments=cf.adobe(transform)))
            self.expect(support.OK, "encode", "in.jpg", "x.jpg", "--lossless")
            self.assertEqual(frame_header(self.read("x.jpg")), (8, 15, 21, 4))
            for name in "in", "x":
                self.expect(support.OK, "decode", name + ".jpg", name + ".pgm", "--components")
                note = "inks converted to RGB by a simple formula: the colours are approximate"
                self.expect(support.OK, "decode", name + ".jpg", name + ".ppm",
                            error=f"moxj: {name}.jpg: note: {note}\n")
            for ink in range(4):
                self.assertEqual(self.read(f"x_{ink}.pgm"), self.read(f"in_{ink}.pgm"))
            self.assertEqual(self.read("x.ppm"), self.read("in.ppm"))

    def test_samples_above_32767(self):
        """Predictors 5 to 7 are never written for them, but read as T.81 defines them, with unsigned samples."""
        picture = wave(31, 23, 1, 16)
        self.assertGreater(max(picture[3]), 32767)
        self.write("in.pgm", pnm(picture, 16))
        for predictor in "567":
            self.expect(support.REFUSED, "encode", "in.pgm", "x.jpg", "--lossless", predictor,
                        error="moxj: in.pgm: predictor %s: decoders disagree on it for samples above 32767\n"
                              % predictor)
            file = lossless_file(picture, 16, int(predictor))
            self.write("y.jpg", file)
            self.expect(support.OK, "decode", "y.jpg", "out.pgm")
            self.assertEqual(self.read("out.pgm"), pnm(picture, 16), predictor)
        chosen = self.round_trip(pnm(picture, 16), "--lossless")
        self.assertLess(chosen[chosen.index(b"\xff\xda") + 7], 5)


class Bits:
    def __init__(self):
        self.text = []

    def put(self, value, count):
        if count:
            self.text.append(format(value & (1 << count) - 1, f"0{count}b"))

    def bytes(self):
        text = "".join(self.text)
        text += "1" * (-len(text) % 8)
        return bytes(int(text[i:i + 8], 2) for i in range(0, len(text), 8)).replace(b"\xff", b"\xff\0")


def lossless_file(picture, precision, predictor):
    """A grey file with 5-bit codes, by the rules of T.81 Annex H for unsigned samples."""
    width, height, _, samples = picture
    bits = Bits()
    for y in range(height):
        for x in range(width):
            a, b, c = (
                samples[(y - dy) * width + x - dx] if x >= dx and y >= dy else 0 for dx, dy in ((1, 0), (0, 1), (1, 1))
            )
            if y == 0:
                predicted = a if x else 1 << precision - 1
            elif x == 0:
                predicted = b
            else:
                predicted = [a, b, c, a + b - c, a + (b - c >> 1), b + (a - c >> 1), a + b >> 1][predictor - 1]
            difference = (samples[y * width + x] - predicted + 32767) % 65536 - 32767
            category = abs(difference).bit_length()
            bits.put(category, 5)
            if category < 16:
                bits.put(difference if difference > 0 else difference - 1, category)
    table = bytes([0] + [0] * 4 + [17] + [0] * 11 + list(range(17)))
    header = struct.pack(">BHHB", precision, height, width, 1) + b"\x01\x11\0"
    return (b"\xff\xd8" + b"".join(bytes([0xFF, code]) + struct.pack(">H", len(body) + 2) + body for code, body in
                                 ((0xC3, header), (0xC4, table), (0xDA, bytes([1, 1, 0, predictor, 0, 0])))) +
            bits.bytes() + b"\xff\xd9")


class Other(LosslessTest):
    def test_info(self):
        self.write("in.pgm", pnm(wave(23, 17, 1, 12), 12))
        self.expect(support.OK, "encode", "in.pgm", "x.jpg", "--lossless", "6,2")
        text = self.expect(support.OK, "info", "x.jpg").decode()
        for words in "JPEG, lossless\n", "23 x 17 pixels, 12 bits per sample", "predictor 6, point transform 2":
            self.assertIn(words, text)
        self.assertNotIn("quality", text)

    def test_compare_sees_every_bit(self):
        self.write("in.pgm", pnm(wave(23, 17, 1, 12), 12))
        for options, words in ([], b"equal"), (["1,1"], b"max 1 "):
            self.expect(support.OK, "encode", "in.pgm", "x.jpg", "--lossless", *options)
            self.assertIn(words, self.expect(support.OK, "compare", "in.pgm", "x.jpg"))

    def test_cut_short(self):
        for restart in [], ["--restart", "2B"]:
            picture = wave(23, 17, 3, 8)
            self.write("in.ppm", pnm(picture, 8))
            self.expect(support.OK, "encode", "in.ppm", "x.jpg", "--lossless", *restart)
            file = self.read("x.jpg")
            begin = file.index(b"\xff\xda") + 14
            last = -1
            for length in range(begin + 30, len(file) - 2, 60):
                self.write("y.jpg", file[:length])
                self.expect(
                    support.INCOMPLETE,
                    "decode",
                    "y.jpg",
                    "y.ppm",
                    error=re.compile(r"\Amoxj: y\.jpg: warning: [^\n]+\n\Z"),
                )
                samples = raw_pnm(self.read("y.ppm"))[3]
                equal = next((i for i, (a, b) in enumerate(zip(samples, picture[3])) if a != b), len(samples))
                self.assertGreater(equal, last)
                last = equal
            self.write("y.jpg", file[:begin])
            self.expect(support.REFUSED, "decode", "y.jpg", "y.ppm", error=re.compile(r"\Amoxj: y\.jpg: [^\n]+\n\Z"))

    def test_damage_ends_at_the_next_restart(self):
        picture = wave(23, 17, 1, 8)
        self.write("in.pgm", pnm(picture, 8))
        self.expect(support.OK, "encode", "in.pgm", "x.jpg", "--lossless", "--restart", "4B")
        file = self.read("x.jpg")
        first = re.search(rb"\xff\xd0", file).start()
        self.write("y.jpg", file[:first - 40] + file[first:])
        self.expect(support.INCOMPLETE, "decode", "y.jpg", "y.pgm", error=re.compile("warning: data is missing"))
        samples = raw_pnm(self.read("y.pgm"))[3]
        self.assertEqual(list(samples[4 * 23:]), picture[3][4 * 23:])
        self.assertNotEqual(list(samples[:4 * 23]), picture[3][:4 * 23])

    def test_options(self):
        self.write("in.pgm", pnm(wave(23, 17, 1, 8), 8))
        for options, words in ((["--lossless=8"], "not a predictor"), (["--lossless=0"], "not a predictor"),
                               (["--lossless", "1,16"], "not a predictor"), (["--lossless=1,"], "not a predictor"),
                               (["--lossless", "--quality", "9"], "--quality is not for lossless"),
                               (["--progressive", "--lossless"], "--progressive is not for lossless"),
                               (["--lossless", "--optimize"], "not for lossless")):
            self.expect(support.USAGE, "encode", "in.pgm", "x.jpg", *options,
                        error=re.compile(r"\Amoxj: [^\n]*%s[^\n]*\n\Z" % words))
        self.expect(support.USAGE, "encode", "in.pgm", "x.jp2", "--lossless=3",
                    error=re.compile("not for JPEG 2000 files"))
        self.expect(support.LIMIT, "encode", "in.pgm", "x.jpg", "--lossless", "--restart", "24",
                    error=re.compile("whole rows, of 23\n"))
        self.expect(support.REFUSED, "encode", "in.pgm", "x.jpg", "--lossless=1,8",
                    error=re.compile("leaves nothing of 8 bits"))
        self.expect(support.OK, "encode", "in.pgm", "x.jpg", "--lossless")
        self.expect(
            support.REFUSED, "transcode", "x.jpg", "y.jpg", error="moxj: x.jpg: a lossless JPEG has no coefficients\n"
        )
        self.expect(support.LIMIT, "decode", "x.jpg", "y.pgm", "--max-pixels", "390", error=re.compile("--max-pixels"))


class Ffmpeg(LosslessTest):
    def test_reads_what_we_write(self):
        """8-bit grey and RGB (ffmpeg's formats gray and bgr24), with every predictor."""
        for channels, form in (1, "gray"), (3, "rgb24"):
            picture = wave(34, 26, channels, 8)
            self.write("in.pnm", pnm(picture, 8))
            for predictor in [""] + [f"={p}" for p in range(1, 8)]:
                for restart in [], ["--restart", "4B"]:
                    self.expect(support.OK, "encode", "in.pnm", "x.jpg", "--lossless" + predictor, *restart)
                    raw = self.ffmpeg("-i", "x.jpg", "-f", "rawvideo", "-pix_fmt", form, "-")
                    self.assertEqual(list(raw), picture[3], (channels, predictor, restart))

    def test_we_read_what_it_writes(self):
        """Its YCbCr formats, compared by planes. The RGB output is within rounding of the conversion of the planes."""
        self.write("in.ppm", support.pnm(pictures.generated(34, 26, 3, 1)))
        for form, across, down in ("yuvj444p", 1, 1), ("yuvj422p", 2, 1), ("yuvj420p", 2, 2):
            for predictor in "1", "2", "3":
                self.ffmpeg("-i", "in.ppm", "-pix_fmt", form, "-c:v", "ljpeg", "-pred", predictor, "x.jpg")
                raw = self.ffmpeg("-i", "x.jpg", "-f", "rawvideo", "-pix_fmt", form, "-")
                planes, at = [], 0
                for dx, dy in (1, 1), (across, down), (across, down):
                    wide, high = -(-34 // dx), -(-26 // dy)
                    planes.append((raw[at:at + wide * high], wide, dx, dy))
                    at += wide * high
                self.assertEqual(at, len(raw))
                samples = raw_pnm(self.expect(support.OK, "decode", "x.jpg", "-", "--nosmooth"))[3]
                worst = 0
                for i in range(34 * 26):
                    y, cb, cr = (plane[i // 34 // dy * wide + i % 34 // dx] for plane, wide, dx, dy in planes)
                    exact = (
                        y + 1.402 * (cr - 128),
                        y - 0.344136 * (cb - 128) - 0.714136 * (cr - 128),
                        y + 1.772 * (cb - 128),
                    )
                    worst = max(
                        [worst] + [abs(min(255, max(0, e)) - s) for e, s in zip(exact, samples[3 * i : 3 * i + 3])]
                    )
                self.assertLess(worst, 1.01, (form, predictor))


if __name__ == "__main__":
    unittest.main()

"""What becomes of depths other than 8 bits, of opacity and of maximum values on the way from format to format."""

import json
import math
import re
import unittest

from support import *

COLOURS = {1: GREY, 2: GREY_ALPHA, 3: RGB, 4: RGB_ALPHA}


def deep_png(picture, **options):
    """A 16-bit file with as many channels as the picture."""
    width, height, channels, samples = picture
    return png(width, height, COLOURS[channels], 16, samples, **options)


def luminance(samples, maxval):
    """Of RGB samples, rounded."""
    return [round(0.299 * samples[i] + 0.587 * samples[i + 1] + 0.114 * samples[i + 2])
            for i in range(0, len(samples), 3)]


def note(text, name="in"):
    return f"moxj: {name}: note: {text}\n"


class DepthTest(ToolTest):
    def converted(self, command, data, output, *options, error=""):
        self.write("in", data)
        self.expect(OK, command, "in", output, *options, error=error)
        return self.read(output)


class BetweenPlainFormats(DepthTest):
    def test_png_keeps_depth_and_opacity(self):
        for channels, kind in COLOURS.items():
            for bits in 8, 16:
                for interlaced in False, True:
                    samples = noise(13, 7, channels, maxval=(1 << bits) - 1)[3]
                    file = png(13, 7, kind, bits, samples, interlaced=interlaced)
                    self.assertEqual(parse_any_png(self.converted("decode", file, "out.png")),
                                     (13, 7, kind, bits, samples))

    def test_transparent_colours_become_opacity(self):
        palette = [(1, 2, 3), (40, 50, 60), (7, 8, 9), (200, 100, 0)]
        indices = noise(6, 5, 1, maxval=3)[3]
        file = png(6, 5, PALETTE, 2, indices, palette=palette, transparency=b"\0\x80")
        opacity = [0, 128, 255, 255]
        self.assertEqual(parse_any_png(self.converted("decode", file, "out.png"))[2:],
                         (RGB_ALPHA, 8, [v for i in indices for v in (*palette[i], opacity[i])]))

    def test_pnm_keeps_its_maximum_value(self):
        for channels in 1, 3:
            for maxval in 100, 1000, 4095, 65535:
                picture = noise(9, 5, channels, maxval=maxval)
                for plain in False, True:
                    file = self.converted("decode", pnm(picture, maxval, plain), "out.pnm")
                    self.assertEqual(parse_deep_pnm(file), (picture, maxval))

    def test_pnm_in_a_png_has_the_full_range(self):
        picture = noise(9, 5, 3, maxval=1000)
        file = parse_any_png(self.converted("decode", pnm(picture, 1000), "out.png"))
        self.assertEqual(file[:4], (9, 5, RGB, 16))
        self.assertEqual(file[4], scaled(picture, 1000, 65535)[3])

    def test_png_in_a_pnm(self):
        picture = noise(9, 5, 3, maxval=65535)
        self.assertEqual(parse_deep_pnm(self.converted("decode", deep_png(picture), "out.pnm")), (picture, 65535))
        rgba = noise(9, 5, 4, maxval=65535)[3]
        file = self.converted("decode", deep_png((9, 5, 4, rgba)), "out.pnm", error=note("transparency dropped"))
        self.assertEqual(parse_deep_pnm(file)[0][3], [v for i, v in enumerate(rgba) if i % 4 < 3])

    def test_deep_colour_becomes_luminance_in_a_pgm(self):
        """And not red."""
        picture = noise(9, 5, 3, maxval=65535)
        self.write("in.png", deep_png(picture))
        self.expect(OK, "encode", "in.png", "in.jp2")
        self.expect(OK, "encode", "in.png", "in.jpg", "--lossless")
        for name in "in.png", "in.jp2", "in.jpg":
            self.expect(OK, "decode", name, "out.pgm", error=note("colour dropped", name))
            (width, height, channels, samples), maxval = parse_deep_pnm(self.read("out.pgm"))
            self.assertEqual((width, height, channels, maxval), (9, 5, 1, 65535))
            for found, wanted in zip(samples, luminance(picture[3], 65535)):
                self.assertLessEqual(abs(found - wanted), 1, name)

    def test_opacity_beside_colour_in_a_pgm(self):
        """Of JPEG 2000 too: the luminance, without the opacity."""
        for bits in 8, 16:
            rgba = noise(9, 5, 4, maxval=(1 << bits) - 1)[3]
            self.write("in.png", png(9, 5, RGB_ALPHA, bits, rgba))
            self.expect(OK, "encode", "in.png", "in.jp2")
            rgb = [v for i, v in enumerate(rgba) if i % 4 < 3]
            for name in "in.png", "in.jp2":
                self.expect(OK, "decode", name, "out.pgm",
                            error=note("transparency dropped", name) + note("colour dropped", name))
                samples = parse_deep_pnm(self.read("out.pgm"))[0][3]
                for found, wanted in zip(samples, luminance(rgb, (1 << bits) - 1)):
                    self.assertLessEqual(abs(found - wanted), 1, name)


class IntoCodedFormats(DepthTest):
    def test_maximum_values_that_are_no_power_of_two(self):
        """They are scaled, so that white stays white."""
        picture = noise(9, 5, 3, maxval=100)
        for options in ("--format", "jp2"), ("--format", "jpg", "--lossless"):
            file = self.converted("encode", pnm(picture, 100), "coded", *options,
                                  error=note("samples scaled from 0..100 to 0..127"))
            self.write("coded", file)
            self.expect(OK, "decode", "coded", "out.ppm")
            (_, _, _, samples), maxval = parse_deep_pnm(self.read("out.ppm"))
            self.assertEqual(maxval, 127)
            self.assertEqual(samples, scaled(picture, 100, 127)[3])

    def test_full_ranges_stay(self):
        for maxval in 127, 255, 1023, 65535:
            picture = noise(9, 5, 3, maxval=maxval)
            for options in ("--format", "j2k"), ("--format", "jpg", "--lossless"):
                self.converted("encode", pnm(picture, maxval), "coded", *options)
                self.expect(OK, "decode", "coded", "out.ppm")
                self.assertEqual(parse_deep_pnm(self.read("out.ppm")), (picture, maxval))

    def test_baseline_has_8_bits(self):
        picture = smooth(16, 16, 3)
        deep = picture[:3] + ([v * 257 for v in picture[3]],)
        plain = self.converted("encode", pnm(picture), "a.jpg")
        reduced = note("samples of 16 bits reduced to 8")
        for file in pnm(deep, 65535), deep_png(deep):
            self.assertEqual(self.converted("encode", file, "b.jpg", error=reduced), plain)


class CutShort(DepthTest):
    """A deep file that ends early shows as much of the picture as one of 8 bits, in every format."""

    def cut(self, picture, part, **options):
        file = deep_png(picture, **options)
        return file[:int(len(file) * part)]

    def rows(self, command, output, *options):
        error = re.compile(r"\Amoxj: in: warning: the file ends early, after (\d+) of 32 rows[^\n]*\n\Z")
        self.expect(INCOMPLETE, command, "in", output, *options, error=error)

    def test_rows(self):
        picture = smooth(32, 32, 3)
        picture = picture[:3] + ([v * 257 for v in picture[3]],)
        for channels in 3, 4:
            samples = [v for i in range(32 * 32) for v in (*picture[3][3 * i:3 * i + 3], 65535)[:channels]]
            self.write("in", self.cut((32, 32, channels, samples), 0.5, level=0))
            kept = []
            for command, name in ("decode", "out.png"), ("encode", "out.jp2"):
                self.rows(command, name)
            self.expect(OK, "decode", "out.jp2", "back.png")
            for name in "out.png", "back.png":
                found = parse_any_png(self.read(name))[4]
                kept.append(sum(a == b for a, b in zip(found, samples)) / len(samples))
            self.assertGreater(min(kept), 0.45)
            self.assertEqual(kept[0], kept[1])

    def test_interlaced(self):
        """The coarse picture fills what is missing."""
        samples = [(100 + x + y) * 257 for y in range(32) for x in range(32)]
        self.write("in", self.cut((32, 32, 1, samples), 0.4, level=0, interlaced=True))
        for command, name in ("decode", "out.png"), ("encode", "out.jp2"):
            self.rows(command, name)
        self.expect(OK, "decode", "out.jp2", "back.png")
        for name in "out.png", "back.png":
            found = parse_any_png(self.read(name))[4]
            self.assertLessEqual(max(abs(a - b) for a, b in zip(found, samples)), 8 * 257, name)


class Compare(DepthTest):
    def compare(self, a, b, error=""):
        self.write("a", a)
        self.write("b", b)
        return json.loads(self.expect(OK, "compare", "a", "b", "--json", error=error))

    def test_low_bits_count(self):
        a = (16, 16, 1, [10000] * 256)
        b = (16, 16, 1, [10000, 10040] * 128)
        for make in (lambda p: pnm(p, 65535)), deep_png:
            got = self.compare(make(a), make(b))
            self.assertEqual((got["bits"], got["all"]["max"], got["all"]["mse"]), (16, 40, 800))
            self.assertAlmostEqual(got["all"]["psnr"], 10 * math.log10(65535 ** 2 / 800))
            self.assertRegex(self.expect(OK, "compare", "a", "b"), rb"\Agrey   PSNR 67\.30 dB   max 40   SSIM [01]\.")

    def test_8_bits_are_not_named(self):
        self.assertNotIn("bits", self.compare(pnm(noise(5, 5, 1)), pnm(noise(5, 5, 1))))

    def test_the_larger_depth_of_both(self):
        picture = noise(16, 16, 3)
        deep = picture[:3] + ([v * 257 for v in picture[3]],)
        got = self.compare(pnm(picture), deep_png(deep))
        self.assertEqual((got["bits"], got["all"]["psnr"]), (16, None))
        deep[3][0] ^= 1
        got = self.compare(deep_png(deep), pnm(picture))
        self.assertEqual([got["channels"][name]["max"] for name in ("red", "green", "blue")], [1, 0, 0])

    def test_exactness_of_16_bit_coding(self):
        picture = noise(40, 30, 1, maxval=65535)
        self.write("in.png", deep_png(picture))
        for name, *options in ("x.jp2",), ("x.jpg", "--lossless"), ("lossy.jp2", "--ratio", "4"):
            self.expect(OK, "encode", "in.png", name, *options)
            equal = b"PSNR equal" in self.expect(OK, "compare", "in.png", name)
            self.assertEqual(equal, name[0] == "x", name)

    def test_opacity_counts(self):
        rgba = noise(12, 12, 4)[3]
        other = [v // 2 if i % 4 == 3 else v for i, v in enumerate(rgba)]
        got = self.compare(png(12, 12, RGB_ALPHA, 8, rgba), png(12, 12, RGB_ALPHA, 8, other))
        self.assertEqual(list(got["channels"]), ["red", "green", "blue", "opacity"])
        self.assertEqual(got["channels"]["red"]["psnr"], None)
        self.assertGreater(got["channels"]["opacity"]["max"], 50)
        text = self.expect(OK, "compare", "a", "b").decode().splitlines()
        self.assertEqual([line.split()[0] for line in text], ["red", "green", "blue", "opacity", "all"])
        self.assertEqual({line.index("PSNR") for line in text}, {8})

    def pam(self, channels, kind, samples, size=(12, 12)):
        header = "P7\nWIDTH %d\nHEIGHT %d\nDEPTH %d\nMAXVAL 255\n%sENDHDR\n"
        kind = f"TUPLTYPE {kind}\n" if kind else ""
        return (header % (*size, channels, kind)).encode() + bytes(samples)

    def test_inks(self):
        """Beside inks as they are, beside colours as RGB, with a note."""
        rich, black = self.pam(4, "CMYK", [255, 255, 255, 0] * 144), self.pam(4, "CMYK", [0, 0, 0, 255] * 144)
        got = self.compare(rich, black)
        self.assertEqual({name: facts["max"] for name, facts in got["channels"].items()},
                         {"cyan": 255, "magenta": 255, "yellow": 255, "black": 255})
        inks = noise(12, 12, 4)[3]
        opaque = [value for i in range(144) for value in (*inks[4 * i:4 * i + 4], 255 - (i == 7))]
        for a, b in ((self.pam(4, "CMYK", inks), self.pam(5, "CMYK_ALPHA", opaque)),
                     (self.pam(5, "CMYK_ALPHA", opaque), self.pam(4, "CMYK", inks))):
            self.assertEqual({name: facts["max"] for name, facts in self.compare(a, b)["channels"].items()},
                             {"cyan": 0, "magenta": 0, "yellow": 0, "black": 0, "opacity": 1})
        # Those of JPEG files are inverted in the file.
        self.write("in.pam", self.pam(4, "CMYK", inks))
        self.expect(OK, "encode", "in.pam", "in.jpg", "--lossless")
        self.assertIsNone(self.compare(self.read("in.pam"), self.read("in.jpg"))["all"]["psnr"])
        formula = "inks converted to RGB by a simple formula: the colours are approximate"
        self.expect(OK, "decode", "in.pam", "in.ppm", "--quiet")
        for name, pair in ("a", ("in.pam", "in.ppm")), ("b", ("in.ppm", "in.pam")):
            got = self.compare(*map(self.read, pair), error=note(formula, name))
            self.assertEqual((list(got["channels"]), got["all"]["max"]), (["red", "green", "blue"], 0))

    def test_planes_that_colours_do_not_explain(self):
        samples = noise(12, 12, 5)[3]
        other = samples[:-1] + [samples[-1] ^ 4]
        got = self.compare(self.pam(5, "", samples), self.pam(5, "", other))
        self.assertEqual([facts["max"] for facts in got["channels"].values()], [0, 0, 0, 0, 4])
        self.assertEqual(list(got["channels"])[4], "plane 4")
        self.write("five", self.pam(5, "", samples))
        self.write("rgba", self.pam(4, "RGB_ALPHA", samples[:576]))
        self.write("inks", self.pam(5, "CMYK_ALPHA", samples))
        self.write("small", self.pam(5, "", samples[:5], size=(1, 1)))
        for a, b, cause in (("five", "rgba", "4 components, but five has 5"),
                            ("rgba", "five", "5 components, but rgba has 4"),
                            ("five", "inks", "opacity, which the first picture does not have"),
                            ("inks", "five", "no opacity, which the first picture has"),
                            ("five", "small", "1 x 1 pixels, but five has 12 x 12")):
            self.expect(REFUSED, "compare", a, b, error=f"moxj: {b}: {cause}\n")

    def test_without_opacity_is_opaque(self):
        rgb = noise(12, 12, 3)
        opaque = [v for i in range(144) for v in (*rgb[3][3 * i:3 * i + 3], 255)]
        self.assertIsNone(self.compare(pnm(rgb), png(12, 12, RGB_ALPHA, 8, opaque))["all"]["psnr"])
        clear = [0 if i % 4 == 3 else v for i, v in enumerate(opaque)]
        got = self.compare(png(12, 12, RGB_ALPHA, 8, clear), png_of(rgb))
        self.assertEqual(got["channels"]["opacity"]["max"], 255)


if __name__ == "__main__":
    unittest.main()

"""--srgb against what profiles and colour spaces mean, computed here, and against lcms2's own program; what is noted or
refused without it; inks in and out."""

import os
import random
import re
import shutil
import struct
import subprocess
import unittest
import zlib

import colours
from support import (GREY, GREY_ALPHA, INCOMPLETE, LIMIT, OK, REFUSED, RGB, RGB_ALPHA, USAGE, ToolTest, chunk,
                     parse_any_png, parse_pnm, png, pnm)

FORMULA = "inks converted to RGB by a simple formula: the colours are approximate"
INSTALLED_CMYK = "/usr/share/color/icc/ghostscript/default_cmyk.icc"
SANITIZED = os.environ.get("SANITIZERS", "OFF") not in ("", "OFF")


def note(file, *texts):
    return "".join(f"moxj: {file}: note: {text}\n" for text in texts)


# ---- Files ---------------------------------------------------------------------------------------------------------


def with_chunks(data, *chunks):
    """After the IHDR."""
    return data[:33] + b"".join(chunks) + data[33:]


def iccp(profile):
    return chunk(b"iCCP", b"name\0\0" + zlib.compress(profile))


def chunks_of(data):
    found, at = {}, 8
    while at < len(data):
        length, name = struct.unpack(">I4s", data[at:at + 8])
        found[name] = data[at + 8:at + 8 + length]
        at += 12 + length
    return found


def colours_of(count, bits, channels=3, seed=1):
    """Samples: corners of the cube, neutrals, then noise."""
    top = (1 << bits) - 1
    source = random.Random(seed)
    samples = []
    for i in range(count):
        if i < 1 << channels:
            pixel = [top * (i >> c & 1) for c in range(channels)]
        elif i < 40:
            pixel = [top * (i - 8) // 32] * channels
        else:
            pixel = [source.randint(0, top) for _ in range(channels)]
        samples += pixel
    return samples


def box(name, body):
    return struct.pack(">I", len(body) + 8) + name + body


def with_colr(jp2, *bodies):
    """A JP2 file with other colr boxes."""
    at = jp2.index(b"colr") - 4
    size = struct.unpack(">I", jp2[at:at + 4])[0]
    made = jp2[:at] + b"".join(box(b"colr", body) for body in bodies) + jp2[at + size:]
    header = made.index(b"jp2h") - 4
    old = struct.unpack(">I", made[header:header + 4])[0]
    return made[:header] + struct.pack(">I", old + len(made) - len(jp2)) + made[header + 4:]


def enumerated(space, *parameters):
    return b"\1\0\0" + struct.pack(f">{1 + len(parameters)}I", space, *parameters)


def segment(marker, body):
    return struct.pack(">BBH", 0xFF, marker, len(body) + 2) + body


def with_profile(jpeg, profile):
    """After the first segment."""
    parts = [profile[i:i + 60000] for i in range(0, len(profile), 60000)]
    segments = b"".join(segment(0xE2, b"ICC_PROFILE\0" + bytes([i + 1, len(parts)]) + part)
                        for i, part in enumerate(parts))
    return jpeg[:2] + segments + jpeg[2:]


def segments_of(jpeg):
    found, at = [], 2
    while True:
        marker, length = struct.unpack(">xBH", jpeg[at:at + 4])
        found.append((marker, jpeg[at + 4:at + 2 + length]))
        if marker == 0xDA:
            return found
        at += 2 + length


class ColourTest(ToolTest):
    def converted(self, data, source, target, *options, status=OK, error=""):
        """The bytes of the output; source and target are extensions."""
        command = "encode" if target in ("jpg", "jp2", "j2k") else "decode"
        self.write("in." + source, data)
        self.expect(status, command, "in." + source, "out." + target, *options, error=error)
        return self.read("out." + target)

    def assert_near(self, found, expected, top, tolerance, label=""):
        """Lists of samples; expected from 0 to 1."""
        self.assertEqual(len(found), len(expected), label)
        for i, (value, wanted) in enumerate(zip(found, expected)):
            wanted = min(max(wanted, 0.0), 1.0) * top
            self.assertLessEqual(abs(value - wanted), tolerance + 0.5, (label, i, value, wanted))

    def expected_rgb(self, samples, top, colorants, light, channels=3):
        wanted = []
        for i in range(0, len(samples), channels):
            wanted += colours.srgb_of_rgb([value / top for value in samples[i:i + 3]], colorants, light)
        return wanted


RGB_PROFILES = {
    "P3": (colours.P3, colours.gamma_curve(2.2), colours.power(round(2.2 * 256) / 256)),
    "P3 with sRGB's curve": (colours.P3, colours.table_curve(colours.srgb_light, 4096), colours.srgb_light),
    "wide": (colours.WIDE, colours.gamma_curve(563 / 256), colours.power(563 / 256)),
    "very wide": (colours.ROMM, colours.gamma_curve(1.8), colours.power(round(1.8 * 256) / 256)),
    "linear": (colours.quantised(colours.SRGB), b"curv" + bytes(8), colours.power(1)),
    "parametric": (colours.P3, colours.srgb_parametric(), colours.srgb_light),
}


class ProfileTest(ColourTest):
    def test_matrix_profiles_in_every_format_and_depth(self):
        size = 40, 10
        for name, (colorants, curve, light) in RGB_PROFILES.items():
            version = 0x04200000 if curve.startswith(b"para") else 0x02100000
            profile = colours.rgb_profile(name.encode(), colorants, curve, version=version)
            for bits in (8, 16):
                top = (1 << bits) - 1
                samples = colours_of(400, bits)
                wanted = self.expected_rgb(samples, top, colorants, light)
                data = with_chunks(png(*size, RGB, bits, samples), iccp(profile))
                jp2 = self.converted(data, "png", "jp2")
                self.assertIn(profile, jp2)
                lossless = self.converted(data, "png", "jpg", "--lossless")
                self.assertIn(profile, lossless)
                for source, file in (("png", data), ("jp2", jp2), ("jpg", lossless)):
                    label = (name, bits, source)
                    made = self.converted(file, source, "png", "--srgb")
                    self.assertEqual(parse_any_png(made)[:4], (*size, RGB, bits), label)
                    self.assert_near(parse_any_png(made)[4], wanted, top, 0.1 if bits == 8 else 12, label)
                    self.assertNotIn(b"iCCP", chunks_of(made), label)
                    self.assertIn(b"sRGB", chunks_of(made), label)

    def test_outputs_carry_no_profile(self):
        profile = colours.rgb_profile(b"P3", *RGB_PROFILES["P3"][:2])
        samples = colours_of(400, 8)
        data = with_chunks(png(40, 10, RGB, 8, samples), iccp(profile))
        plain = parse_any_png(self.converted(data, "png", "png", "--srgb"))[4]
        for target, options in (("jp2", ()), ("jpg", ("--lossless",)), ("ppm", ())):
            made = self.converted(data, "png", target, "--srgb", *options)
            self.assertNotIn(b"acsp", made)
            if target == "ppm":
                self.assertEqual(parse_pnm(made)[3], plain)
            else:
                self.assertEqual(parse_any_png(self.converted(made, target, "png"))[4], plain)

    def test_coded_jpeg(self):
        """The pixels of a JPEG file, converted, are those of the file without the conversion, converted here."""
        colorants, curve, light = RGB_PROFILES["P3"]
        profile = colours.rgb_profile(b"P3", colorants, curve)
        plain = self.converted(png(40, 30, RGB, 8, colours_of(1200, 8)), "png", "jpg", "--quality", "95")
        for options in ((), ("--nosmooth",), ("--fast-mcu",)):
            pixels = parse_pnm(self.converted(plain, "jpg", "ppm", *options))[3]
            made = parse_pnm(self.converted(with_profile(plain, profile), "jpg", "ppm", "--srgb", *options))[3]
            self.assert_near(made, self.expected_rgb(pixels, 255, colorants, light), 255, 0.1)

    def test_opacity_is_kept(self):
        colorants, curve, light = RGB_PROFILES["P3"]
        profile = colours.rgb_profile(b"P3", colorants, curve)
        for bits in (8, 16):
            top = (1 << bits) - 1
            samples = colours_of(400, bits, 4)
            made = self.converted(with_chunks(png(40, 10, RGB_ALPHA, bits, samples), iccp(profile)), "png", "png",
                                  "--srgb")
            found = parse_any_png(made)
            self.assertEqual(found[2], RGB_ALPHA)
            self.assertEqual(found[4][3::4], samples[3::4])
            rgb = [value for i, value in enumerate(found[4]) if i % 4 != 3]
            self.assert_near(rgb, self.expected_rgb(samples, top, colorants, light, 4), top, 0.1 if bits == 8 else 4)

    def test_grey(self):
        profile = colours.grey_profile(b"grey", colours.gamma_curve(1.8))
        light = colours.power(round(1.8 * 256) / 256)
        for bits in (8, 16):
            top = (1 << bits) - 1
            for kind, channels in ((GREY, 1), (GREY_ALPHA, 2)):
                samples = [top * i // 399 for i in range(400) for _ in range(channels)]
                data = with_chunks(png(40, 10, kind, bits, samples), iccp(profile))
                found = parse_any_png(self.converted(data, "png", "png", "--srgb"))
                self.assertEqual(found[:4], (40, 10, kind, bits))
                wanted = [colours.srgb_code(light(value / top)) for value in samples[::channels]]
                self.assert_near(found[4][::channels], wanted, top, 0.1 if bits == 8 else 2)
                if channels == 2:
                    self.assertEqual(found[4][1::2], samples[1::2])

    def test_depths_between_8_and_16(self):
        """A JP2 file of 12 bits keeps them; one of 5 bits gets 8."""
        colorants, curve, light = RGB_PROFILES["wide"]
        profile = colours.rgb_profile(b"wide", colorants, curve)
        for bits, made_bits in ((12, 12), (10, 10), (5, 8)):
            top, made_top = (1 << bits) - 1, (1 << made_bits) - 1
            samples = colours_of(400, bits)
            data = b"P6 40 10 %d\n" % top + b"".join(struct.pack(">H" if bits > 8 else "B", v) for v in samples)
            jp2 = self.converted(data, "ppm", "jp2")
            jp2 = with_colr(jp2, b"\2\0\0" + profile)
            made = self.converted(jp2, "jp2", "jp2", "--srgb")
            self.write("made.jp2", made)
            self.expect(OK, "decode", "made.jp2", "made.ppm")
            magic, size, maxval, body = self.read("made.ppm").split(b"\n", 3)
            self.assertEqual(int(maxval), made_top)
            found = list(body) if made_top < 256 else list(struct.unpack(f">{len(body) // 2}H", body))
            self.assert_near(found, self.expected_rgb(samples, top, colorants, light), made_top, 0.1, bits)

    def test_srgb_profiles_change_nothing(self):
        samples = colours_of(400, 8)
        for curve in (colours.table_curve(colours.srgb_light, 1024), colours.srgb_parametric()):
            profile = colours.rgb_profile(b"sRGB", colours.SRGB, curve, version=0x04200000)
            made = self.converted(with_chunks(png(40, 10, RGB, 8, samples), iccp(profile)), "png", "png", "--srgb")
            self.assertEqual(parse_any_png(made)[4], samples)
        made = self.converted(png(40, 10, RGB, 8, samples), "png", "png", "--srgb")
        self.assertEqual(parse_any_png(made)[4], samples)

    def test_against_transicc(self):
        """All profiles, one pixel each way, by lcms2's own program."""
        program = shutil.which("transicc")
        if not program:
            self.skipTest("transicc is not installed")
        for name, (colorants, curve, _) in RGB_PROFILES.items():
            version = 0x04200000 if curve.startswith(b"para") else 0x02100000
            self.write("p.icc", colours.rgb_profile(name.encode(), colorants, curve, version=version))
            samples = colours_of(100, 8)
            lines = "".join("%d %d %d\n" % tuple(samples[i:i + 3]) for i in range(0, 300, 3))
            run = subprocess.run([program, "-ip.icc", "-o*sRGB", "-t1", "-b", "-n"], input=lines, cwd=self.directory,
                                 capture_output=True, text=True, timeout=60, check=True)
            wanted = [float(word) / 255 for word in run.stdout.split()]
            made = self.converted(with_chunks(png(10, 10, RGB, 8, samples), iccp(self.read("p.icc"))), "png", "png",
                                  "--srgb")
            self.assert_near(parse_any_png(made)[4], wanted, 255, 1, name)

    def test_threads_give_the_same(self):
        profile = colours.rgb_profile(b"P3", *RGB_PROFILES["P3"][:2])
        data = with_chunks(png(301, 207, RGB, 16, colours_of(301 * 207, 16)), iccp(profile))
        jp2 = self.converted(data, "png", "jp2")
        made = {self.converted(jp2, "jp2", "png", "--srgb", "--threads", count) for count in ("1", "2", "5")}
        self.assertEqual(len(made), 1)
        self.assertEqual(made, {self.converted(data, "png", "png", "--srgb")})

    def test_of_a_region(self):
        """Whether the reader cuts or the rows are cut after it, it is the cut of the whole."""
        width, height, (x, y, w, h) = 90, 70, (13, 21, 40, 30)
        profile = colours.rgb_profile(b"P3", *RGB_PROFILES["P3"][:2])
        data = with_chunks(png(width, height, RGB, 8, colours_of(width * height, 8)), iccp(profile))
        for source in "png", "jpg", "jp2", "tif":
            file = data if source == "png" else self.converted(data, "png", source)
            for options in (), ("--reduce", "1"):
                if options and source not in ("jpg", "jp2"):
                    continue
                whole = parse_any_png(self.converted(file, source, "png", "--srgb", *options))
                part = parse_any_png(self.converted(file, source, "png", "--srgb", *options,
                                                    "--region", f"{x},{y},{w},{h}"))
                left, top, right, bottom = (-(-at // (2 if options else 1)) for at in (x, y, x + w, y + h))
                rows = [whole[4][row * whole[0] * 3:][left * 3:right * 3] for row in range(top, bottom)]
                self.assertEqual(part[:2], (right - left, bottom - top), (source, options))
                self.assertEqual(part[4], sum(rows, []), (source, options))


class DamagedProfileTest(ColourTest):
    def test_dropped_with_a_note(self):
        samples = colours_of(100, 8)
        good = colours.rgb_profile(b"P3", *RGB_PROFILES["P3"][:2])
        plain = self.converted(png(10, 10, RGB, 8, samples), "png", "jp2")
        cases = {
            "ICC profile dropped: it is damaged": [b"", good[:100], b"x" * 200, good[:36] + b"nope" + good[40:]],
            "ICC profile 'P3' dropped: it cannot be used": [
                good[:12] + b"link" + good[16:], good[:20] + b"RGB " + good[24:],
                good[:20] + b"\xACYZ " + good[24:], good.replace(b"gTRC", b"xTRC")],
            "ICC profile dropped: it describes grey, which the picture is not": [
                colours.grey_profile(b"", colours.gamma_curve(2))],
        }
        for text, profiles in cases.items():
            for profile in profiles:
                made = self.converted(with_colr(plain, b"\3\0\0" + profile), "jp2", "png", "--srgb",
                                      error=note("in.jp2", text))
                self.assertEqual(parse_any_png(made)[4], samples)

    def test_claims_are_bounded(self):
        """Tables of any size, chains of any length, tags anywhere: an answer in time, and never a crash."""
        cmyk = colours.cmyk_profile(b"inks")
        grid = cmyk.index(b"mft2") + 10
        inks = self.inks_jp2()
        hostile = [cmyk[:grid] + bytes([points]) + cmyk[grid + 1:] for points in (0, 1, 255)]
        at = cmyk.index(b"mft2")
        hostile += [cmyk[:at + 48] + struct.pack(">HH", entries, other) + cmyk[at + 52:]
                    for entries, other in ((0, 2), (65535, 2), (2, 65535), (4096, 4096))]
        # A chain of many steps, for which readers would give up the table.
        element = b"matf" + bytes(4) + struct.pack(">HH", 3, 3) + bytes(48)
        steps = 20000
        chain = b"mpet" + bytes(4) + struct.pack(">HHI", 4, 3, steps) + 8 * steps * b"\1" + element
        hostile.append(cmyk.replace(b"cprt", b"D2B0"))
        hostile.append(colours.profile({b"A2B0": cmyk[at:], b"D2B0": chain, b"D2B1": chain}, b"CMYK", kind=b"prtr",
                                       connection=b"Lab "))
        for i, profile in enumerate(hostile):
            with self.subTest(case=i):
                file = with_colr(inks, enumerated(12), b"\3\0\0" + profile)
                self.write("in.jp2", file)
                result = self.moxj("decode", "in.jp2", "out.png", "--srgb")
                self.assertIn(result.returncode, (OK, REFUSED, LIMIT), result.stderr)

    def test_mutations(self):
        """Random damage of profiles of every kind."""
        source = random.Random(7)
        inks = self.inks_jp2()
        plain = self.converted(png(10, 10, RGB, 8, colours_of(100, 8)), "png", "jp2")
        rgb = colours.rgb_profile(b"P3", colours.P3, colours.table_curve(colours.srgb_light, 64))
        for i in range(20 if SANITIZED else 60):
            good = rgb if i % 2 else colours.cmyk_profile(b"inks", 2, wide=i % 4 == 0)
            profile = bytearray(good)
            for _ in range(source.choice((1, 2, 5, 30))):
                profile[source.randrange(len(profile))] = source.choice((0, 1, 127, 255, source.randrange(256)))
            if i % 5 == 0:
                del profile[source.randrange(100, len(profile)):]
            bodies = [b"\3\0\0" + bytes(profile)]
            file = with_colr(plain, *bodies) if i % 2 else with_colr(inks, enumerated(12), *bodies)
            self.write("in.jp2", file)
            result = self.moxj("decode", "in.jp2", "out.png", "--srgb")
            self.assertIn(result.returncode, (OK, REFUSED, LIMIT), (i, result.stderr))

    def test_memory_limit(self):
        profile = colours.cmyk_profile(b"inks", 15)
        file = with_colr(self.inks_jp2(), enumerated(12), b"\3\0\0" + profile)
        self.write("in.jp2", file)
        self.expect(LIMIT, "decode", "in.jp2", "out.png", "--srgb", "--max-memory", "600k",
                    error=re.compile("bytes of memory are needed"))
        self.expect(OK, "decode", "in.jp2", "out.png", "--max-memory", "600k", error=re.compile("dropped"))

    def inks_jp2(self):
        samples = colours_of(100, 8, 4)
        planes = with_colr(self.converted(png(10, 10, RGB_ALPHA, 8, samples), "png", "jp2"), enumerated(12))
        return without_cdef(planes)


def without_cdef(jp2):
    at = jp2.index(b"cdef") - 4
    size = struct.unpack(">I", jp2[at:at + 4])[0]
    header = jp2.index(b"jp2h") - 4
    old = struct.unpack(">I", jp2[header:header + 4])[0]
    return jp2[:header] + struct.pack(">I", old - size) + jp2[header + 4:at] + jp2[at + size:]


class LibraryTest(ColourTest):
    def test_missing_library(self):
        """One line, and only where something has to be converted."""
        os.mkdir(self.path("lib"))
        self.write("lib/liblcms2.so.2", b"no library")
        environment = dict(os.environ, LD_LIBRARY_PATH=self.path("lib"))
        samples = colours_of(100, 8)
        self.write("plain.png", png(10, 10, RGB, 8, samples))
        self.write("p3.png", with_chunks(self.read("plain.png"),
                                         iccp(colours.rgb_profile(b"P3", *RGB_PROFILES["P3"][:2]))))
        self.expect(OK, "decode", "plain.png", "out.ppm", "--srgb", env=environment)
        self.expect(OK, "decode", "p3.png", "out.png", env=environment)
        self.expect(REFUSED, "decode", "p3.png", "other.ppm", "--srgb", env=environment,
                    error="moxj: p3.png: the colours cannot be converted to sRGB: the library liblcms2.so.2 cannot be "
                    "loaded\n")
        self.assertNotIn("other.ppm", self.files())

    def test_components_of_unknown_meaning(self):
        samples = b"P7\nWIDTH 3\nHEIGHT 2\nDEPTH 5\nMAXVAL 255\nENDHDR\n" + bytes(range(30))
        self.write("in.pam", samples)
        self.expect(OK, "decode", "in.pam", "out.pam", "--srgb",
                    error="moxj: in.pam: note: components of unknown meaning are not converted to sRGB\n")
        self.assertEqual(self.read("out.pam"), samples)
        # The components of a codestream are taken for RGB.
        self.write("rgb.ppm", b"P6\n3 2\n255\n" + bytes(range(18)))
        self.expect(OK, "encode", "rgb.ppm", "rgb.j2k")
        self.expect(OK, "decode", "rgb.j2k", "out.ppm", "--srgb")
        self.assertEqual(self.read("out.ppm"), self.read("rgb.ppm"))

    def test_not_with_components(self):
        self.write("in.png", png(10, 10, RGB, 8, colours_of(100, 8)))
        self.expect(USAGE, "decode", "in.png", "out.pgm", "--srgb", "--components",
                    error="moxj: --srgb and --components cannot be combined\n")


class PngTest(ColourTest):
    def gama(self, value):
        return chunk(b"gAMA", struct.pack(">I", round(value * 100000)))

    def chrm(self, white, primaries):
        numbers = [value for point in (white, *primaries) for value in point]
        return chunk(b"cHRM", struct.pack(">8I", *(round(value * 100000) for value in numbers)))

    def test_gamma(self):
        text = "the gamma of the file is not applied: the brightness will look different"
        for bits in (8, 16):
            top = (1 << bits) - 1
            samples = colours_of(400, bits)
            data = with_chunks(png(40, 10, RGB, bits, samples), self.gama(1 / 1.8))
            self.assertEqual(parse_any_png(self.converted(data, "png", "png", error=note("in.png", text)))[4], samples)
            made = parse_any_png(self.converted(data, "png", "png", "--srgb"))[4]
            wanted = [colours.srgb_code((value / top) ** (1 / 0.55556)) for value in samples]
            self.assert_near(made, wanted, top, 0.1 if bits == 8 else 4)
            grey = [top * i // 399 for i in range(400)]
            data = with_chunks(png(40, 10, GREY, bits, grey), self.gama(1.0))
            made = parse_any_png(self.converted(data, "png", "png", "--srgb"))[4]
            self.assert_near(made, [colours.srgb_code(value / top) for value in grey], top, 0.1 if bits == 8 else 2)

    def test_primaries(self):
        text = "the primaries of the file are not applied: colours will look different"
        samples = colours_of(400, 8)
        data = with_chunks(png(40, 10, RGB, 8, samples), self.gama(0.45455),
                           self.chrm(colours.D65, colours.P3_PRIMARIES))
        self.assertEqual(parse_any_png(self.converted(data, "png", "png", error=note("in.png", text)))[4], samples)
        made = parse_any_png(self.converted(data, "png", "png", "--srgb"))[4]
        colorants = colours.colorants_of(colours.D65, colours.P3_PRIMARIES)
        self.assert_near(made, self.expected_rgb(samples, 255, colorants, colours.srgb_light), 255, 0.1)

    def test_nothing_to_do(self):
        samples = colours_of(400, 8)
        srgb_primaries = ((0.64, 0.33), (0.30, 0.60), (0.15, 0.06))
        impossible = ((0.3, 0.3), (0.3, 0.3), (0.3, 0.3))
        for chunks in ((self.gama(0.45455),), (chunk(b"sRGB", b"\0"), self.gama(0.45455)),
                       (self.gama(0.45455), self.chrm(colours.D65, srgb_primaries)),
                       (chunk(b"cICP", bytes((1, 13, 0, 1))), self.gama(0.7)),
                       (self.chrm(colours.D65, impossible),)):
            data = with_chunks(png(40, 10, RGB, 8, samples), *chunks)
            self.assertEqual(parse_any_png(self.converted(data, "png", "png", "--srgb"))[4], samples)

    def test_coding_independent_code_points(self):
        samples = colours_of(400, 8)
        bt2020 = ((0.708, 0.292), (0.170, 0.797), (0.131, 0.046))
        for codes, primaries, light in (((12, 13, 0, 1), colours.P3_PRIMARIES, colours.srgb_light),
                                        ((9, 14, 0, 1), bt2020, colours.bt709_light),
                                        ((9, 8, 0, 1), bt2020, colours.power(1)),
                                        ((1, 4, 0, 1), None, colours.power(2.2))):
            data = with_chunks(png(40, 10, RGB, 8, samples), chunk(b"cICP", bytes(codes)))
            text = "the colour space of the file (cICP %d/%d) is not applied: colours will look different" % codes[:2]
            self.converted(data, "png", "png", error=note("in.png", text))
            made = parse_any_png(self.converted(data, "png", "png", "--srgb"))[4]
            colorants = colours.colorants_of(colours.D65, primaries) if primaries else colours.SRGB
            self.assert_near(made, self.expected_rgb(samples, 255, colorants, light), 255, 0.1, codes)
        for codes in ((9, 16, 0, 1), (9, 18, 0, 1), (12, 13, 1, 1), (12, 13, 0, 0), (77, 13, 0, 1)):
            data = with_chunks(png(40, 10, RGB, 8, samples), chunk(b"cICP", bytes(codes)))
            text = "the colour space of the file (cICP %d/%d) is not applied: colours will look different" % codes[:2]
            made = self.converted(data, "png", "png", "--srgb", error=note("in.png", text))
            self.assertEqual(parse_any_png(made)[4], samples)


class Jp2SpaceTest(ColourTest):
    """Colour spaces of JP2 files by number."""

    def file_of(self, samples, bits, colr, channels=3):
        kind = {1: GREY, 3: RGB, 4: RGB_ALPHA}[channels]
        deep = bits > 8
        values = samples if not deep or bits == 16 else None
        if values is None:
            data = b"P6 40 10 %d\n" % ((1 << bits) - 1) + struct.pack(f">{len(samples)}H", *samples)
            made = self.converted(data, "ppm", "jp2")
        else:
            made = self.converted(png(40, 10, kind, bits, values), "png", "jp2")
        return with_colr(without_cdef(made) if channels == 4 else made, colr)

    def srgb(self, file):
        return parse_any_png(self.converted(file, "jp2", "png", "--srgb"))

    def refused(self, file, name, hint="; the option srgb converts it"):
        for target, as_what in (("png", "RGB"), ("ppm", "RGB"), ("jp2", "RGB"), ("jpg", "RGB")):
            self.write("in.jp2", file)
            command = "encode" if target in ("jpg", "jp2") else "decode"
            self.expect(REFUSED, command, "in.jp2", "no." + target,
                        error=f"moxj: in.jp2: {name} cannot be written as {as_what}{hint}\n")
            self.assertNotIn("no." + target, self.files())

    def test_lab(self):
        half = 1 << 15
        parameters = (100, 0, 170, half, 200, 3 << 13, 0x00443530)
        for bits in (8, 16):
            top, scale = (1 << bits) - 1, 1 << bits
            samples = colours_of(400, bits)
            default = [(100, 0), (170, scale / 2), (200, scale / 4 + scale / 8)]
            given = [(100, 0), (255, scale // 2), (255, scale // 2)]
            cases = [(enumerated(14), default, colours.D50)]
            for code, white in ((0x00443530, colours.D50), (0x00443635, colours.white_of(0.3127, 0.3290)),
                                (0x00005341, colours.white_of(0.44757, 0.40745))):
                flat = [number for pair in given for number in pair]
                cases.append((enumerated(14, *flat, code), given, white))
            for colr, scales, white in cases:
                file = self.file_of(samples, bits, colr)
                self.refused(file, "CIELab")
                found = self.srgb(file)
                self.assertEqual(found[2:4], (RGB, bits))
                wanted = []
                for i in range(0, len(samples), 3):
                    lab = [rng * (value - offset) / top for value, (rng, offset) in zip(samples[i:i + 3], scales)]
                    wanted += colours.srgb_of_lab(lab, white)
                self.assert_near(found[4], wanted, top, 0.1 if bits == 8 else 4, (bits, white))
        self.refused(self.file_of(samples, 16, enumerated(14, *parameters[:6], 0x12345678)), "CIELab", "")

    def test_e_srgb(self):
        for bits in (10, 12, 16):
            top = (1 << bits) - 1
            offset, unit = 2 ** (bits - 2) + 2 ** (bits - 3), 255 * 2 ** (bits - 9)
            samples = colours_of(400, bits)
            file = self.file_of(samples, bits, enumerated(20))
            self.refused(file, "e-sRGB")
            found = self.srgb(file)
            wanted = [(value - offset) / unit for value in samples]
            self.assert_near(found[4], wanted, 65535, 1.1 * 65535 / top, bits)

    def test_video_ranges(self):
        for space, name, red, blue in ((1, "YCbCr 1", 0.2126, 0.0722), (4, "YCbCr 3", 0.299, 0.114)):
            samples = colours_of(400, 8)
            file = self.file_of(samples, 8, enumerated(space))
            self.refused(file, name)
            green, wanted = 1 - red - blue, []
            for i in range(0, len(samples), 3):
                y, cb, cr = (samples[i] - 16) / 219, (samples[i + 1] - 128) / 224, (samples[i + 2] - 128) / 224
                r, b = y + 2 * (1 - red) * cr, y + 2 * (1 - blue) * cb
                wanted += [r, (y - red * r - blue * b) / green, b]
            self.assert_near(self.srgb(file)[4], wanted, 255, 0.01, name)

    def test_romm(self):
        samples = colours_of(400, 16)
        file = self.file_of(samples, 16, enumerated(21))
        text = "the colour space ROMM-RGB is not applied: colours will look different"
        self.assertEqual(parse_any_png(self.converted(file, "jp2", "png", error=note("in.jp2", text)))[4], samples)
        romm = colours.colorants_of((0.3457, 0.3585), colours.ROMM_PRIMARIES)

        def light(x):
            return x / 16 if x < 1 / 32 else x ** 1.8

        self.assert_near(self.srgb(file)[4], self.expected_rgb(samples, 65535, romm, light), 65535, 4)

    def test_full_range_ycc(self):
        for space in (3, 18):
            samples = colours_of(400, 8)
            wanted = []
            for i in range(0, len(samples), 3):
                y, cb, cr = samples[i], samples[i + 1] - 128, samples[i + 2] - 128
                wanted += [(y + 1.402 * cr) / 255, (y - 0.344136 * cb - 0.714136 * cr) / 255, (y + 1.772 * cb) / 255]
            file = self.file_of(samples, 8, enumerated(space))
            self.assert_near(self.srgb(file)[4], wanted, 255, 0.01)
            self.assertEqual(self.srgb(file)[4], parse_any_png(self.converted(file, "jp2", "png"))[4])

    def test_inks_by_number(self):
        samples = colours_of(400, 8, 4)
        def dimmed(pixel, inverted):
            c, m, y, k = [255 - value for value in pixel]
            return [(v * k + 127) // 255 for v in (c, m, y)]
        wanted = [value for i in range(0, 1600, 4) for value in dimmed(samples[i:i + 4], False)]
        file = self.file_of(samples, 8, enumerated(12), 4)
        for options in ((), ("--srgb",)):
            made = self.converted(file, "jp2", "png", *options, error=note("in.jp2", FORMULA))
            self.assertEqual(parse_any_png(made)[4], wanted)
        # CMY
        rgb = colours_of(400, 8)
        file = self.file_of(rgb, 8, enumerated(11))
        for options in ((), ("--srgb",)):
            made = self.converted(file, "jp2", "png", *options, error=note("in.jp2", FORMULA))
            self.assertEqual(parse_any_png(made)[4], [255 - value for value in rgb])
        # YCCK: red is the inverse of cyan.
        wanted = []
        for i in range(0, 1600, 4):
            y, cb, cr, k = samples[i], samples[i + 1] - 128, samples[i + 2] - 128, 255 - samples[i + 3]
            for value in (y + 1.402 * cr, y - 0.344136 * cb - 0.714136 * cr, y + 1.772 * cb):
                wanted.append((int(min(max(value, 0.0), 255.0) + 0.5) * k + 127) // 255)
        file = self.file_of(samples, 8, enumerated(13), 4)
        made = self.converted(file, "jp2", "png", error=note("in.jp2", FORMULA))
        self.assertEqual(parse_any_png(made)[4], wanted)

    def test_bilevel(self):
        self.write("in.pbm", pnm((8, 1, 1, [0, 1] * 4), maxval=1))
        self.expect(OK, "encode", "in.pbm", "in.jp2", "--format", "jp2")
        plain = self.read("in.jp2")
        for space, white in ((0, 0), (15, 1), (17, 1)):
            made = parse_any_png(self.converted(with_colr(plain, enumerated(space)), "jp2", "png"))[4]
            self.assertEqual(made, [255 * (value == white) for value in [0, 1] * 4])

    def test_spaces_that_cannot_be_shown(self):
        samples = colours_of(400, 8)
        for space, name in ((9, "PhotoYCC"), (19, "CIEJab"), (22, "YPbPr(1125/60)"), (24, "e-sYCC")):
            file = self.file_of(samples, 8, enumerated(space))
            self.refused(file, name, "")
            self.write("in.jp2", file)
            self.expect(REFUSED, "decode", "in.jp2", "no.png", "--srgb",
                        error=f"moxj: in.jp2: {name} cannot be written as RGB\n")
            self.expect(OK, "decode", "in.jp2", "c.pgm", "--components")

    def test_spaces_that_do_not_fit(self):
        samples = colours_of(400, 8)
        cases = {12: "the colour space CMYK does not fit the components: they are taken as RGB",
                 99: "the colour space 99 is not known: it is taken as RGB",
                 17: "the colour space grey does not fit the components: they are taken as RGB"}
        for space, text in cases.items():
            file = self.file_of(samples, 8, enumerated(space))
            for options in ((), ("--srgb",)):
                made = self.converted(file, "jp2", "png", *options, error=note("in.jp2", text))
                self.assertEqual(parse_any_png(made)[4], samples)


class InkTest(ColourTest):
    """CMYK between JP2 and JPEG files, and to sRGB."""

    def inks_jp2(self, width=40, height=30, samples=None):
        samples = samples or colours_of(width * height, 8, 4)
        data = self.converted(png(width, height, RGB_ALPHA, 8, samples), "png", "jp2")
        return with_colr(without_cdef(data), enumerated(12)), samples

    def components(self, data, extension, *options):
        """The planes of a file."""
        self.write("parts." + extension, data)
        self.expect(OK, "decode", "parts." + extension, "parts.pgm", "--components", *options)
        return [parse_pnm(self.read(f"parts_{i}.pgm"))[3] for i in range(4)]

    def smooth_inks(self, width, height):
        return [value for y in range(height) for x in range(width)
                for value in (x * 255 // width, y * 255 // height, (x + y) * 127 // (width + height), 200 * x * y //
                              (width * height))]

    def test_jpeg_of_inks(self):
        """Inks become YCCK or CMYK with an Adobe segment, inverted, and come back nearly the same."""
        for width, height in ((48, 32), (37, 21), (1, 1), (17, 9)):
            jp2, samples = self.inks_jp2(width, height, self.smooth_inks(width, height))
            for options, transform, factors in (
                    (("--cmyk",), 0, (0x11, 0x11, 0x11, 0x11)),
                    (("--sample", "4:4:4"), 2, (0x11, 0x11, 0x11, 0x11)),
                    (("--sample", "4:2:2"), 2, (0x21, 0x11, 0x11, 0x21)), ((), 2, (0x22, 0x11, 0x11, 0x22)),
                    (("--progressive",), 2, (0x22, 0x11, 0x11, 0x22)), (("--optimize",), 2, (0x22, 0x11, 0x11, 0x22)),
                    (("--restart", "1B"), 2, (0x22, 0x11, 0x11, 0x22)),
                    (("--fast-mcu",), 2, (0x22, 0x11, 0x11, 0x22)),
                    (("--fast-mcu", "--sample", "4:4:4"), 2, (0x11, 0x11, 0x11, 0x11)),
                    (("--fast-mcu", "--sample", "4:2:2"), 2, (0x21, 0x11, 0x11, 0x21)),
                    (("--cmyk", "--progressive"), 0, (0x11, 0x11, 0x11, 0x11)),
                    (("--cmyk", "--restart", "2"), 0, (0x11, 0x11, 0x11, 0x11))):
                with self.subTest(size=(width, height), options=options):
                    jpeg = self.converted(jp2, "jp2", "jpg", "--quality", "100", *options)
                    segments = dict(segments_of(jpeg))
                    self.assertEqual(segments[0xEE], b"Adobe\0d\0\0\0\0" + bytes([transform]))
                    self.assertNotIn(0xE0, segments)
                    frame = segments[0xC2 if "--progressive" in options else 0xC0]
                    self.assertEqual(tuple(frame[7 + 3 * i] for i in range(4)), factors)
                    found = self.components(jpeg, "jpg")
                    # The picture is smooth, so that sub-sampled chroma differs a little only.
                    tolerance = 3 if factors[0] == 0x11 else 24
                    for plane in range(4):
                        limit = 3 if plane == 3 else tolerance
                        for value, ink in zip(found[plane], samples[plane::4]):
                            self.assertLessEqual(abs(255 - value - ink), limit)

    def test_djpeg_reads_inks(self):
        program = shutil.which("djpeg")
        if not program:
            self.skipTest("djpeg is not installed")
        jp2, _ = self.inks_jp2(48, 32, self.smooth_inks(48, 32))
        for options in (("--cmyk",), ("--sample", "4:4:4"), ("--progressive",), ("--optimize", "--cmyk"), ()):
            jpeg = self.converted(jp2, "jp2", "jpg", "--quality", "95", *options)
            ours = parse_pnm(self.converted(jpeg, "jpg", "ppm", "--nosmooth", error=note("in.jpg", FORMULA)))
            run = subprocess.run([program, "-nosmooth", "-dct", "int", "-pnm"], input=jpeg, capture_output=True,
                                 timeout=60)
            if run.returncode:
                self.skipTest(run.stderr.decode())
            theirs = parse_pnm(run.stdout)
            self.assertEqual(ours[:3], theirs[:3])
            self.assertLessEqual(max(abs(a - b) for a, b in zip(ours[3], theirs[3])), 3, options)

    def test_jp2_of_inks(self):
        """A CMYK JPEG file becomes JP2 of inks, which is the same picture, and back without loss."""
        jp2, samples = self.inks_jp2()
        jpeg = self.converted(jp2, "jp2", "jpg", "--lossless")
        planes = self.components(jpeg, "jpg")
        for i in range(4):
            self.assertEqual(planes[i], [255 - value for value in samples[i::4]])
        back = self.converted(jpeg, "jpg", "jp2")
        self.assertIn(b"\1\0\0\0\0\0\x0c", back)
        self.assertIn(b"ftypjpx ", back)
        planes = self.components(back, "jp2")
        for i in range(4):
            self.assertEqual(planes[i], samples[i::4])

    def test_inks_of_pam(self):
        """PAM keeps inks both ways; a JPEG file of them is the one of the same inks in JP2."""
        jp2, samples = self.inks_jp2()
        pam = b"P7\nWIDTH 40\nHEIGHT 30\nDEPTH 4\nMAXVAL 255\nTUPLTYPE CMYK\nENDHDR\n" + bytes(samples)
        self.assertEqual(self.converted(jp2, "jp2", "pam"), pam)
        for options in ((), ("--cmyk",), ("--progressive",), ("--fast-mcu",)):
            jpeg = self.converted(pam, "pam", "jpg", *options)
            self.assertEqual(jpeg, self.converted(jp2, "jp2", "jpg", *options))
            planes = self.components(jpeg, "jpg")
            inks = self.converted(jpeg, "jpg", "pam")[-4800:]
            for i in range(4):
                self.assertEqual(list(inks[i::4]), [255 - value for value in planes[i]])
        self.assertEqual(self.converted(self.converted(pam, "pam", "jp2"), "jp2", "pam"), pam)
        self.assertEqual(self.converted(self.converted(pam, "pam", "tif"), "tif", "pam"), pam)
        for target in "jpg", "jp2":
            self.assertEqual(self.converted(self.converted(pam, "pam", "tif"), "tif", target),
                             self.converted(pam, "pam", target))

    def test_inks_become_rgb_with_srgb(self):
        """Also where the output would hold inks."""
        jp2, _ = self.inks_jp2()
        png = self.converted(jp2, "jp2", "png", error=note("in.jp2", FORMULA))
        pam = self.converted(jp2, "jp2", "pam", "--srgb", error=note("in.jp2", FORMULA))
        self.assertIn(b"TUPLTYPE RGB\n", pam)
        self.assertEqual(list(pam[-3600:]), parse_any_png(png)[4])

    def test_profiles_of_inks_travel(self):
        profile = colours.cmyk_profile(b"inks")
        jp2, _ = self.inks_jp2()
        jp2 = with_colr(jp2, enumerated(12), b"\3\0\0" + profile)
        jpeg = self.converted(jp2, "jp2", "jpg", "--cmyk")
        self.assertEqual([body[14:] for marker, body in segments_of(jpeg) if marker == 0xE2], [profile])
        self.assertIn(b"\3\0\0" + profile, self.converted(jpeg, "jpg", "jp2"))

    def test_density_is_dropped(self):
        jp2, _ = self.inks_jp2()
        body = struct.pack(">HHHHbb", 11811, 1, 11811, 1, 0, 0)
        resolution = box(b"res ", box(b"resc", body))
        at, header = jp2.index(b"colr") - 4, jp2.index(b"jp2h") - 4
        size = struct.unpack(">I", jp2[header:header + 4])[0] + len(resolution)
        jp2 = jp2[:header] + struct.pack(">I", size) + jp2[header + 4:at] + resolution + jp2[at:]
        self.converted(jp2, "jp2", "jpg", error=note("in.jp2", "metadata dropped: resolution"))
        self.converted(jp2, "jp2", "jpg", "--srgb", error=note("in.jp2", FORMULA))

    def test_cmyk_is_for_inks(self):
        self.write("in.png", png(10, 10, RGB, 8, colours_of(100, 8)))
        self.expect(REFUSED, "encode", "in.png", "out.jpg", "--cmyk",
                    error="moxj: in.png: --cmyk is for pictures of inks\n")
        self.write("inks.jp2", self.inks_jp2()[0])
        self.expect(REFUSED, "encode", "inks.jp2", "out.jpg", "--cmyk", "--sample", "4:4:4",
                    error="moxj: inks.jp2: --sample is not for inks as they are: they all have the same size\n")
        self.expect(REFUSED, "encode", "inks.jp2", "out.jpg", "--cmyk", "--fast-mcu",
                    error="moxj: inks.jp2: --fast-mcu is not for inks as they are\n")
        self.expect(USAGE, "encode", "inks.jp2", "out.jp2", "--cmyk", error="moxj: --cmyk is not for JPEG 2000 files\n")

    def test_grey_of_inks(self):
        jp2, _ = self.inks_jp2()
        jpeg = self.converted(jp2, "jp2", "jpg", "--grayscale", error=note("in.jp2", FORMULA))
        self.assertEqual(dict(segments_of(jpeg))[0xC0][5], 1)

    def test_table_profiles(self):
        """Lab that is linear in the inks, so that the expected colour does not depend on the interpolation."""
        samples = colours_of(1200, 8, 4)
        jp2, _ = self.inks_jp2(samples=samples)
        for wide, points, bits in ((True, 2, 8), (True, 9, 8), (False, 3, 8)):
            profile = colours.cmyk_profile(b"inks", points, wide)
            wanted = []
            for i in range(0, len(samples), 4):
                wanted += colours.srgb_of_lab(colours.ink_lab([value / 255 for value in samples[i:i + 4]]))
            file = with_colr(jp2, enumerated(12), b"\3\0\0" + profile)
            tolerance = 2 if wide else 4
            made = parse_any_png(self.converted(file, "jp2", "png", "--srgb"))
            self.assert_near(made[4], wanted, 255, tolerance, (wide, points))
            lossless = self.converted(file, "jp2", "jpg", "--lossless")
            made = parse_any_png(self.converted(lossless, "jpg", "png", "--srgb"))
            self.assert_near(made[4], wanted, 255, tolerance, (wide, points))
            # As YCCK, from the pixels that the file has.
            ycck = self.converted(file, "jp2", "jpg", "--quality", "95")
            inks = self.components(ycck, "jpg", "--quiet")
            wanted = []
            for pixel in zip(*inks):
                wanted += colours.srgb_of_lab(colours.ink_lab([1 - value / 255 for value in pixel]))
            made = parse_any_png(self.converted(ycck, "jpg", "png", "--srgb"))
            self.assert_near(made[4], wanted, 255, tolerance, (wide, points))

    def test_installed_profile_against_transicc(self):
        program = shutil.which("transicc")
        if not program or not os.path.exists(INSTALLED_CMYK):
            self.skipTest("transicc or a profile of inks is not installed")
        samples = colours_of(1200, 8, 4)
        jp2, _ = self.inks_jp2(samples=samples)
        with open(INSTALLED_CMYK, "rb") as file:
            jp2 = with_colr(jp2, enumerated(12), b"\3\0\0" + file.read())
        lines = "".join("%.6f %.6f %.6f %.6f\n" % tuple(value / 2.55 for value in samples[i:i + 4])
                        for i in range(0, len(samples), 4))
        run = subprocess.run([program, "-i" + INSTALLED_CMYK, "-o*sRGB", "-t1", "-b", "-n"], input=lines,
                             capture_output=True, text=True, timeout=60, check=True)
        wanted = [float(word) / 255 for word in run.stdout.split()]
        made = parse_any_png(self.converted(jp2, "jp2", "png", "--srgb"))[4]
        self.assert_near(made, wanted, 255, 0.6)

    def test_transcode_keeps_inks(self):
        jp2, _ = self.inks_jp2()
        for options in ((), ("--cmyk",)):
            jpeg = self.converted(jp2, "jp2", "jpg", *options)
            self.write("a.jpg", jpeg)
            self.expect(OK, "transcode", "a.jpg", "b.jpg", "--progressive")
            self.assertEqual(self.components(jpeg, "jpg"), self.components(self.read("b.jpg"), "jpg"))


if __name__ == "__main__":
    unittest.main()

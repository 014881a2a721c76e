"""Files as they exist: bytes before the picture, several pictures in a file, components without a known meaning."""

import json
import re
import unittest

import coefficient_files as cf
import pictures
import support
from test_interop import InteropTest, raw_pnm

# The smallest beginning of a picture that looks right: a SOI marker and an APP0 segment, but then no marker.
FALSE_START = b"\xff\xd8\xff\xe0\0\x04ab" + b"no marker"


def noted(name, text):
    return f"moxj: {name}: note: {text}\n"


class FileTest(InteropTest):
    def setUp(self):
        super().setUp()
        self.picture = support.pnm(pictures.generated(37, 29, 3, 1))
        self.write("in.ppm", self.picture)
        self.plain = self.expect(support.OK, "encode", "in.ppm", "-")
        self.write("plain.jpg", self.plain)

    def info(self, data, error=""):
        self.write("info.jpg", data)
        return json.loads(self.expect(support.OK, "info", "info.jpg", "--json", error=error))


class BytesBefore(FileTest):
    def test_they_are_passed_over_with_a_note(self):
        expected = self.expect(support.OK, "decode", "plain.jpg", "-")
        transcoded = self.expect(support.OK, "transcode", "plain.jpg", "-")
        for garbage in (b"\0", b"\xff", b"HTTP/1.1 200 OK\r\n\r\n", bytes(range(256)) * 16, bytes(65536),
                        b"x" + FALSE_START * 3, b"x" + b"\xff\xd8" * 9, b"x" + b"\xff\xd8\xff" * 400):
            count = len(garbage)
            note = f"{count} byte{'s' * (count != 1)} before the picture passed over"
            self.write("x.jpg", garbage + self.plain)
            self.assertEqual(self.expect(support.OK, "decode", "x.jpg", "-", error=noted("x.jpg", note)), expected)
            self.assertEqual(self.expect(support.OK, "decode", "-", "-", stdin=garbage + self.plain,
                                         error=noted("standard input", note)), expected)
            self.assertEqual(self.expect(support.OK, "transcode", "x.jpg", "-", error=noted("x.jpg", note)),
                             transcoded)

    def test_not_too_many(self):
        """Nor too many that could be a beginning: each costs time."""
        for garbage in (bytes(65537), b"x" + b"\xff\xd8\xff" * 500):
            self.write("x.jpg", garbage + self.plain)
            for command in (["decode", "x.jpg", "x.ppm"], ["transcode", "x.jpg", "y.jpg"], ["info", "x.jpg"]):
                self.expect(support.REFUSED, *command, error=f"moxj: x.jpg: {support.UNRECOGNISED}\n")

    def test_long_segments_before_the_frame_header(self):
        """A profile of several segments: the frame header is not among the bytes that recognition reads."""
        profile = b"".join(cf.segment(0xE2, b"APP2" + bytes([i]) * 60000) for i in range(3))
        data = b"garbage" + self.plain[:2] + profile + self.plain[2:]
        self.write("x.jpg", data)
        self.assertEqual(self.expect(support.OK, "decode", "x.jpg", "-", "--quiet"),
                         self.expect(support.OK, "decode", "plain.jpg", "-"))

    def test_info_counts_them(self):
        info = self.info(b"garbage" + self.plain, error=noted("info.jpg", "7 bytes before the picture passed over"))
        self.assertEqual(info["bytesBefore"], 7)
        plain = self.info(self.plain)
        self.assertNotIn("bytesBefore", plain)
        self.assertEqual([s["offset"] - 7 for s in info["segments"]], [s["offset"] for s in plain["segments"]])
        self.write("x.jpg", b"x" + self.plain)
        self.assertIn("before the start 1 byte\n", self.moxj("info", "x.jpg").stdout.decode())

    def test_other_formats_are_not_searched(self):
        """Their JPEG pictures are thumbnails, pages or covers."""
        for beginning in (b"%PDF-1.4\n", b"II*\0\x08\0\0\0", b"MM\0*\0\0\0\x08", b"GIF89a", b"8BPS\0\1", b"ID3\3\0",
                          b"PK\3\4", b"\0\0\0\x18ftypheic", b"RIFF\0\0\0\0WEBP", b"FUJIFILMCCD-RAW ", b"\x7fELF"):
            self.write("x.jpg", beginning + bytes(100) + self.plain)
            result = self.moxj("decode", "x.jpg", "x.ppm")
            self.assertEqual(result.returncode, support.REFUSED, beginning)

    def test_a_picture_that_begins_with_soi_is_taken_as_it_is(self):
        """Damage is reported, and no later picture is taken instead."""
        self.write("x.jpg", b"\xff\xd8\xff\x02" + bytes(20) + self.plain)
        self.expect(support.REFUSED, "decode", "x.jpg", "x.ppm", error="moxj: x.jpg: unknown marker 0x02\n")


class SeveralPictures(FileTest):
    def setUp(self):
        super().setUp()
        self.parts = [self.cjpeg(support.pnm(pictures.generated(20 + 3 * i, 11, channels, i)), *options)
                      for i, (channels, options) in enumerate(((3, ()), (1, ("-progressive",)), (3, ("-restart", 1))))]
        self.joined = self.parts[0] + bytes(9) + self.parts[1] + self.parts[2] + b"end"
        self.write("joined.jpg", self.joined)

    def test_each_by_its_number(self):
        for number, part in enumerate(self.parts, 1):
            self.write("part.jpg", part)
            for command in ("decode", "transcode", "encode"):
                self.assertEqual(self.expect(support.OK, command, "joined.jpg", "-", "--picture", str(number)),
                                 self.expect(support.OK, command, "part.jpg", "-"))

    def test_the_first_is_the_default(self):
        self.write("part.jpg", self.parts[0])
        rest = len(self.joined) - len(self.parts[0])
        self.assertEqual(
            self.expect(support.OK, "decode", "joined.jpg", "-",
                        error=noted("joined.jpg", f"{rest} bytes after the end of the picture dropped")),
            self.expect(support.OK, "decode", "part.jpg", "-"))
        self.assertEqual(self.expect(support.OK, "transcode", "joined.jpg", "-"),
                         self.expect(support.OK, "transcode", "part.jpg", "-") + self.joined[-rest:])

    def test_a_number_that_is_not_there(self):
        for number in ("4", "2147483647"):
            self.expect(support.REFUSED, "decode", "joined.jpg", "x.ppm", "--picture", number,
                        error=f"moxj: joined.jpg: --picture is {number}, but the file has 3 pictures\n")
        self.expect(support.REFUSED, "transcode", "plain.jpg", "x.jpg", "--picture", "2",
                    error="moxj: plain.jpg: --picture is 2, but the file has one picture\n")
        self.expect(support.USAGE, "decode", "joined.jpg", "x.ppm", "--picture", "0", error=re.compile("--picture"))

    def test_only_of_jpeg(self):
        self.expect(support.REFUSED, "encode", "in.ppm", "x.jpg", "--picture", "1",
                    error="moxj: in.ppm: --picture is not for PPM/PGM files\n")

    def test_info_counts_them(self):
        self.assertEqual(self.info(self.joined)["pictures"], 3)
        self.assertNotIn("pictures", self.info(self.plain))
        cut = self.info(self.parts[0] + self.parts[1][:-2])
        self.assertEqual(cut["pictures"], 2)

    def test_a_gap_that_is_too_long(self):
        self.assertNotIn("pictures", self.info(self.plain + bytes(65537) + self.plain))
        self.assertEqual(self.info(self.plain + bytes(65536) + self.plain)["pictures"], 2)


class Components(FileTest):
    def test_two_components(self):
        note = "two components of unknown meaning, the first is used as grey"
        for factors in ((1, 1), (2, 1), (1, 2)):
            two = [cf.Component(1, *factors), cf.Component(7, 1, 1)]
            one = [cf.Component(1, 1, 1)]
            self.write("two.jpg", cf.jpeg((35, 22), two))
            grey = self.expect(support.OK, "decode", "two.jpg", "-", error=noted("two.jpg", note))
            self.expect(support.OK, "decode", "two.jpg", "out.pgm", "--components")
            self.assertEqual(self.read("out_0.pgm"), grey)
            self.write("djpeg.jpg", self.only_component(two, 1))
            self.assertEqual(raw_pnm(self.read("out_1.pgm"))[:3], (35, 22, 1))
            if factors == (1, 1):
                expected = self.djpeg("djpeg.jpg")
                self.assertLessEqual(max(abs(a - b) for a, b in zip(raw_pnm(self.read("out_1.pgm"))[3], expected[3])),
                                     1)
            self.assertEqual(raw_pnm(grey)[:3], (35, 22, len(one)))

    def only_component(self, components, index):
        """The file in scans of their own, without all but one of them."""
        data = cf.jpeg((35, 22), components, [[index]])
        at = data.index(b"\xff\xc0")
        frame = data[at:at + 10 + 3 * len(components)]
        alone = frame[:3] + bytes([11]) + frame[4:9] + b"\1" + frame[10 + 3 * index:13 + 3 * index]
        return data.replace(frame, alone)

    def test_transcoding_keeps_two_components(self):
        self.write("two.jpg", cf.jpeg((35, 22), [cf.Component(1, 1, 1), cf.Component(7, 1, 1)]))
        self.write("again.jpg", self.expect(support.OK, "transcode", "two.jpg", "-", "--progressive"))
        for name in ("two", "again"):
            self.expect(support.OK, "decode", name + ".jpg", name + ".pgm", "--components")
        for index in (0, 1):
            self.assertEqual(self.read(f"two_{index}.pgm"), self.read(f"again_{index}.pgm"))


class Rgb(FileTest):
    def test_the_file(self):
        """The same headers as cjpeg's, and a picture that is as good."""
        for options in ([], ["--quality", "90"], ["--progressive"], ["--optimize", "--restart", "2"]):
            ours = self.expect(support.OK, "encode", "in.ppm", "-", "--rgb", *options)
            theirs = self.cjpeg(self.picture, "-rgb", *[o.replace("--", "-", 1) for o in options])
            frame = slice(theirs.index(b"\xff\xc2" if "--progressive" in options else b"\xff\xc0"), None)
            self.assertIn(theirs[frame][:19], ours)
            self.assertIn(cf.adobe(0), ours)
            self.assertNotIn(b"JFIF", ours)
            self.assertLess(len(ours), 1.01 * len(theirs))
            self.write("ours.jpg", ours)
            self.write("theirs.jpg", theirs)
            self.assertEqual(self.info(ours)["colour"], "RGB")
            samples = raw_pnm(self.picture)[3]
            error = [sum((a - b) ** 2 for a, b in zip(self.djpeg(name)[3], samples))
                     for name in ("ours.jpg", "theirs.jpg")]
            self.assertLess(error[0], 1.02 * error[1])
            expected = self.djpeg("ours.jpg")[3]
            decoded = raw_pnm(self.expect(support.OK, "decode", "ours.jpg", "-"))[3]
            self.assertLessEqual(max(abs(a - b) for a, b in zip(decoded, expected)), 1)

    def test_greys_become_rgb(self):
        self.write("grey.pgm", support.pnm(pictures.generated(37, 29, 1, 1)))
        self.write("grey.jpg", self.expect(support.OK, "encode", "grey.pgm", "-", "--rgb"))
        self.assertEqual(self.info(self.read("grey.jpg"))["colour"], "RGB")

    def test_what_it_does_not_go_with(self):
        self.expect(support.REFUSED, "encode", "in.ppm", "x.jpg", "--rgb", "--grayscale",
                    error="moxj: in.ppm: --rgb and grayscale cannot be combined\n")
        self.expect(support.REFUSED, "encode", "in.ppm", "x.jpg", "--rgb", "--fast-mcu",
                    error="moxj: in.ppm: --fast-mcu is not for files of RGB\n")
        self.expect(support.REFUSED, "encode", "in.ppm", "x.jpg", "--rgb", "--sample", "4:2:0",
                    error="moxj: in.ppm: --sample is for chrominance, which RGB does not have; give sampling factors\n")
        self.expect(support.USAGE, "encode", "in.ppm", "x.jpg", "--rgb", "--lossless",
                    error=re.compile("--rgb is not for lossless files"))
        self.expect(support.USAGE, "encode", "in.ppm", "x.jp2", "--rgb", error=re.compile("--rgb"))


if __name__ == "__main__":
    unittest.main()

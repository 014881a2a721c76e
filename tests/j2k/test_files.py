"""Whole files: requested sizes, quality compared with opj_compress, independence of threads, truncated files, depths
and kinds of pictures, and JP2 boxes."""

import json
import random
import re
import struct
import unittest

import peers
import pictures  # tests/jpeg
import support


def box(kind, body):
    return struct.pack(">I4s", len(body) + 8, kind) + body


class FilesTest(peers.PeerTest):
    def photographs(self):
        directory, names = pictures.photographs()
        return {name: (directory / f"{name}.ppm").read_bytes() for name in names}

    def psnr(self, a, b):
        return json.loads(self.expect(support.OK, "compare", a, b, "--json"))["all"]["psnr"]

    def size_of(self, name):
        return len(self.read(name))

    def test_sizes_are_kept(self):
        """From 0.1 bits per pixel to 90 % of the lossless size."""
        for name, data in self.photographs().items():
            self.write("in.ppm", data)
            width, height = map(int, data.split(b"\n")[1].split())
            self.expect(support.OK, "encode", "in.ppm", "whole.j2k")
            highest = 0.9 * 8 * self.size_of("whole.j2k") / (width * height)
            for bits in (0.1, 0.25, 1, 3, highest):
                for options in ([], ["--layers", "4", "--levels", "3"], ["--tile", "200x300"], ["--block", "16x16"]):
                    self.expect(support.OK, "encode", "in.ppm", "out.j2k", "--bpp", f"{bits:.4f}", *options)
                    wanted = float(f"{bits:.4f}") * width * height / 8
                    self.assertLessEqual(self.size_of("out.j2k"), wanted, (name, bits, options))
                    if width * height >= 250000 or bits >= 0.25:
                        self.assertGreaterEqual(self.size_of("out.j2k"), 0.99 * wanted - 1, (name, bits, options))

    def test_ratio(self):
        self.write("in.ppm", support.pnm(support.noise(100, 80, 3)))
        self.expect(support.OK, "encode", "in.ppm", "out.jp2", "--ratio", "4")
        self.assertLessEqual(self.size_of("out.jp2"), 100 * 80 * 3 / 4)
        self.expect(support.LIMIT, "encode", "in.ppm", "out.jp2", "--ratio", "1000",
                    error="moxj: in.ppm: 24 bytes are too few for the headers\n")

    def test_as_good_as_opj_compress(self):
        """At the same size at most 0.05 dB worse, and better on average."""
        differences = []
        for name, data in self.photographs().items():
            self.write("in.ppm", data)
            width, height = map(int, data.split(b"\n")[1].split())
            for ratio in (6, 10, 20, 40, 80):
                self.peer_encode("opj", "in.ppm", "peer.j2k", "-I", "-r", ratio)
                self.command("opj_decompress", "-i", "peer.j2k", "-o", "peer.ppm")
                bits = 8 * self.size_of("peer.j2k") / (width * height)
                self.expect(support.OK, "encode", "in.ppm", "ours.j2k", "--bpp", repr(bits + 1e-9))
                self.assertLessEqual(self.size_of("ours.j2k"), self.size_of("peer.j2k"))
                differences.append(self.psnr("in.ppm", "ours.j2k") - self.psnr("in.ppm", "peer.ppm"))
        self.assertGreater(min(differences), -0.05, differences)
        self.assertGreater(sum(differences), 0, differences)

    def test_the_same_for_any_number_of_threads(self):
        self.write("in.ppm", support.pnm(pictures.generated(150, 110, 3, 1)))
        for options in ([], ["--ratio", "7", "--layers", "3"], ["--tile", "64x48", "--bpp", "2"]):
            files, planes = set(), []
            for threads in "1", "2", "5":
                self.expect(support.OK, "encode", "in.ppm", "out.jp2", "--threads", threads, *options)
                files.add(self.read("out.jp2"))
                planes.append(self.moxj_planes("out.jp2", "--threads", threads))
            self.assertEqual(len(files), 1, options)
            self.assertEqual(planes[0], planes[1])
            self.assertEqual(planes[0], planes[2])

    def test_fewer_resolutions_and_layers(self):
        """Skipped resolution levels, as with the peers."""
        self.write("in.ppm", support.pnm(pictures.generated(101, 67, 3, 2)))
        for options in ([], ["--bpp", "4"], ["--tile", "40x64"]):
            self.expect(support.OK, "encode", "in.ppm", "out.j2k", "--layers", "3", "--levels", "4", *options)
            for reduce in "1", "2", "4":
                ours = self.moxj_planes("out.j2k", "--reduce", reduce)
                self.assertLessEqual(peers.greatest_difference(ours, self.peer_planes("opj", "out.j2k", "-r", reduce)),
                                     int("--bpp" in options), (options, reduce))
            for layers in "1", "2":
                ours = self.moxj_planes("out.j2k", "--layers", layers)
                self.assertLessEqual(peers.greatest_difference(ours, self.peer_planes("opj", "out.j2k", "-l", layers)),
                                     int("--bpp" in options), (options, layers))
            self.expect(support.REFUSED, "decode", "out.j2k", "out.ppm", "--reduce", "5",
                        error="moxj: out.j2k: --reduce 5: the picture has 4 levels\n")

    def test_regions_of_interest_and_changes_of_progression(self):
        self.write("in.ppm", support.pnm(pictures.generated(90, 70, 3, 3)))
        poc = "T1=0,0,1,2,3,RLCP/T1=2,0,1,4,3,CPRL"
        for number, (options, bound) in enumerate(((["-ROI", "c=0,U=9"], 0), (["-ROI", "c=1,U=12", "-I", "-r", "5"], 1),
                                                  (["-n", "4", "-POC", poc], 0), (["-PLT", "-TLM", "-TP", "R"], 0))):
            self.peer_encode("opj", "in.ppm", f"{number}.j2k", *options)
            ours = self.moxj_planes(f"{number}.j2k")
            self.assertLessEqual(
                peers.greatest_difference(ours, self.peer_planes("opj", f"{number}.j2k")), bound, options
            )

    def test_components_of_different_sizes(self):
        """Four components, which opj_decompress does not convert; it would treat three as YCbCr."""
        samples = bytes(support.noise(60, 40, 2)[3]) + bytes(support.noise(30, 20, 2)[3])
        self.write("in.raw", samples)
        for number, options in enumerate(([], ["-I", "-r", "3"])):
            self.peer_encode(
                "opj", "in.raw", f"{number}.j2k", "-F", "60,40,4,8,u@1x1:2x2:2x2:1x1", "-mct", "0", *options
            )
            ours = self.moxj_planes(f"{number}.j2k")
            self.assertEqual([one[2:4] for one in ours], [(60, 40), (30, 20), (30, 20), (60, 40)])
            self.assertLessEqual(peers.greatest_difference(ours, self.peer_planes("opj", f"{number}.j2k")), number)
            self.expect(support.OK, "decode", f"{number}.j2k", "out.ppm", "--quiet")
            self.assertEqual(support.parse_pnm(self.read("out.ppm"))[:3], (60, 40, 3))
            # Written again, with their sizes or, where an offset leaves other ones, with the largest for all.
            self.expect(support.OK, "encode", f"{number}.j2k", f"again{number}.j2k")
            self.assertEqual(self.moxj_planes(f"again{number}.j2k"), ours)
        self.peer_encode("opj", "in.raw", "offset.j2k", "-F", "59,39,4,8,u@1x1:2x2:2x2:1x1", "-mct", "0", "-d", "1,1")
        self.expect(support.OK, "encode", "offset.j2k", "again.j2k")
        self.assertEqual({one[2:4] for one in self.moxj_planes("again.j2k")}, {(59, 39)})

    def test_samples_that_leave_no_room_for_a_transform(self):
        """28 to 31 bits, with all extremes: no wavelet and no component transform."""
        random_ = random.Random(5)
        for bits in range(28, 32):
            for signed in (False, True):
                low, high = (-(1 << bits - 1), (1 << bits - 1) - 1) if signed else (0, (1 << bits) - 1)
                values = [random_.choice((low, high, random_.randint(low, high))) for _ in range(70 * 9)]
                self.write("in.pgx", peers.pgx(bits, signed, 70, 9, values))
                self.expect(support.REFUSED, "encode", "in.pgx", "no.j2k",
                            error="moxj: in.pgx: --levels must be 0 for samples of more than 27 bits\n")
                for options in ((), ("--layers", "3"), ("--modes", "bypass"), ("--tile", "32x32")):
                    self.expect(support.OK, "encode", "in.pgx", "out.j2k", "--levels", "0", *options)
                    self.expect(support.OK, "decode", "out.j2k", "out.pgx")
                    self.assertEqual(peers.parse_pgx(self.read("out.pgx")), (bits, signed, 70, 9, values))
                if bits < 31:  # it takes 30 magnitude bits, and the lowest sample of 31 bits has 31
                    self.assertEqual(self.peer_planes("opj", "out.j2k"), [(bits, signed, 70, 9, values)])

    def test_every_depth_through_pgx_and_pnm(self):
        for bits in range(1, 17):
            maxval = (1 << bits) - 1
            for signed in False, True:
                lowest = -(1 << (bits - 1)) if signed else 0
                values = [value + lowest for value in support.noise(31, 23, 1, bits, maxval)[3]]
                data = peers.pgx(bits, signed, 31, 23, values)
                self.write("in.pgx", data)
                self.expect(support.OK, "encode", "in.pgx", "out.j2k")
                self.expect(support.OK, "decode", "out.j2k", "out.pgx")
                self.assertEqual(peers.parse_pgx(self.read("out.pgx")), (bits, signed, 31, 23, values))
            picture = support.pnm(support.noise(31, 23, 3, bits, maxval), maxval)
            self.write("in.ppm", picture)
            self.expect(support.OK, "encode", "in.ppm", "out.jp2")
            self.expect(support.OK, "decode", "out.jp2", "out.ppm")
            self.assertEqual(self.read("out.ppm"), picture)

    def test_png_with_opacity_and_16_bits(self):
        for kind in support.GREY, support.RGB, support.GREY_ALPHA, support.RGB_ALPHA:
            for bits in 8, 16:
                channels = support.CHANNELS[kind]
                values = support.noise(21, 13, channels, kind + 1, (1 << bits) - 1)[3]
                self.write("in.png", support.png(21, 13, kind, bits, values))
                name = f"{kind}-{bits}.jp2"
                self.expect(support.OK, "encode", "in.png", name)
                planes = [(bits, False, 21, 13, values[c::channels]) for c in range(channels)]
                self.assertEqual(self.moxj_planes(name), planes)
                self.expect(support.OK, "decode", name, "again.png")
                self.expect(support.OK, "encode", "again.png", "again.jp2")
                self.assertEqual(self.read("again.jp2"), self.read(name))

    def test_palette_and_channel_order(self):
        values = [value % 4 for value in support.noise(20, 10, 1)[3]]
        self.write("in.pgm", support.pnm((20, 10, 1, values)))
        self.expect(support.OK, "encode", "in.pgm", "in.j2k")
        colours = [(10, 20, 30), (250, 1, 2), (0, 255, 0), (90, 80, 70)]
        palette = struct.pack(">HB3B", 4, 3, 7, 7, 7) + bytes(v for colour in colours for v in colour)
        mapping = b"".join(struct.pack(">HBB", 0, 1, column) for column in range(3))
        order = struct.pack(">H", 3) + b"".join(struct.pack(">HHH", i, 0, (3, 1, 2)[i]) for i in range(3))
        header = box(b"ihdr", struct.pack(">IIHBBBB", 10, 20, 1, 7, 7, 0, 0)) + box(
            b"colr", struct.pack(">BBBI", 1, 0, 0, 16)
        )
        header += box(b"pclr", palette) + box(b"cmap", mapping)
        for channels, expected in ((b"", colours), (box(b"cdef", order), [(c[1], c[2], c[0]) for c in colours])):
            data = box(b"jP  ", b"\r\n\x87\n") + box(b"ftyp", b"jp2 \0\0\0\0jp2 ") + box(b"jp2h", header + channels)
            self.write("in.jp2", data + box(b"jp2c", self.read("in.j2k")))
            self.expect(support.OK, "decode", "in.jp2", "out.ppm")
            samples = [sample for value in values for sample in expected[value]]
            self.assertEqual(support.parse_pnm(self.read("out.ppm")), (20, 10, 3, samples))

    def test_colour_spaces_have_names(self):
        self.write("in.pgm", support.pnm(support.noise(20, 10, 1)))
        self.expect(support.OK, "encode", "in.pgm", "in.jp2", "--levels", "1")
        file = self.read("in.jp2")
        at = file.index(b"colr") + 4 + 3  # method, precedence, approximation
        for number, name, line in ((17, "grey", "colour        grey"), (16, "sRGB", "colour        sRGB"),
                                   (12, "colour space 12 (CMYK)", "colour space  12 (CMYK)"),
                                   (14, "colour space 14 (CIELab)", "colour space  14 (CIELab)"),
                                   (99, "colour space 99", "colour space  99")):
            self.write("other.jp2", file[:at] + struct.pack(">I", number) + file[at + 4:])
            self.assertEqual(json.loads(self.expect(support.OK, "info", "--json", "other.jp2"))["colour"], name)
            text = self.expect(support.OK, "info", "other.jp2").decode()
            for expected in (line, "size          20 x 10 pixels, 1 component, %d bytes" % len(file),
                             "tiles         1 of 20 x 10, 1 tile-part", "wavelet       5/3, 1 level",
                             "progression   LRCP, 1 layer"):
                self.assertIn(expected + "\n", text)

    def test_truncated_files(self):
        self.write("in.ppm", support.pnm(pictures.generated(90, 70, 3, 4)))
        self.expect(support.OK, "encode", "in.ppm", "whole.j2k", "--layers", "4")
        whole = self.read("whole.j2k")
        self.write("cut.j2k", whole[:len(whole) // 2])
        self.expect(support.INCOMPLETE, "decode", "cut.j2k", "out.ppm",
                    error="moxj: cut.j2k: warning: the file ends in a tile-part, tile 0 ends in a packet\n")
        self.assertGreater(self.psnr("in.ppm", "out.ppm"), 20)
        self.write("cut.j2k", whole[:60])
        self.expect(
            support.REFUSED, "decode", "cut.j2k", "none.ppm", error="moxj: cut.j2k: the file ends in its main header\n"
        )
        self.assertNotIn("none.ppm", self.files())

    def test_limits_and_wrong_use(self):
        self.write("in.ppm", support.pnm(support.noise(64, 64, 3)))
        self.expect(support.OK, "encode", "in.ppm", "out.jp2")
        self.expect(support.LIMIT, "decode", "out.jp2", "out.ppm", "--max-memory", "20000",
                    error=re.compile(r"\Amoxj: out\.jp2: at least \d+ bytes of memory are needed, the limit is 20000 "
                                     r"\(--max-memory\)\n\Z"))
        self.expect(support.LIMIT, "decode", "out.jp2", "out.ppm", "--max-pixels", "4095",
                    error="moxj: out.jp2: 64 x 64 pixels are more than the limit of 4095 (--max-pixels)\n")
        self.expect(support.REFUSED, "decode", "out.jp2", "out.pgx",
                    error="moxj: out.jp2: 3 components: a PGX file has one; --components writes one file for each\n")
        self.expect(support.USAGE, "encode", "in.ppm", "out.jp2", "--quality", "50",
                    error="moxj: --quality is not for JPEG 2000 files\n")
        self.expect(support.USAGE, "encode", "in.ppm", "out.jpg", "--levels", "3",
                    error="moxj: --levels is not for JPEG files\n")
        for option, value in (("--block", "3x4"), ("--block", "128x64"), ("--tile", "0x5"), ("--modes", "lazy"),
                              ("--progression", "LCRP"), ("--bpp", "0"), ("--ratio", "0.5"), ("--levels", "33")):
            self.assertEqual(self.moxj("encode", "in.ppm", "out.jp2", option, value).returncode, support.USAGE, option)

    def test_info(self):
        self.write("in.ppm", support.pnm(support.noise(64, 50, 3)))
        self.expect(support.OK, "encode", "in.ppm", "out.jp2", "--tile", "32x32", "--levels", "2", "--layers", "3",
                    "--progression", "RPCL", "--modes", "bypass,segsym", "--bpp", "9", "--block", "32x16")
        text = self.expect(support.OK, "info", "out.jp2").decode()
        for line in (
            "format        JPEG 2000, JP2",
            "tiles         4 of 32 x 32, 4 tile-parts",
            "wavelet       9/7, 2 levels",
            "transform     ICT",
            "code-blocks   32 x 16",
            "modes         bypass, segsym",
            "progression   RPCL, 3 layers",
            "component     2   1x1  8 bits, unsigned",
        ):
            self.assertIn(line + "\n", text)
        info = json.loads(self.expect(support.OK, "info", "--json", "out.jp2"))
        self.assertEqual(
            (info["width"], info["height"], info["tiles"], info["levels"], info["layers"], info["complete"]),
            (64, 50, 4, 2, 3, True),
        )
        self.assertEqual([s["name"] for s in info["segments"]], ["SOC", "SIZ", "COD", "QCD"] + ["SOT"] * 4)
        self.assertEqual(sum(b["length"] for b in info["boxes"] if b["type"] in ("jP  ", "ftyp", "jp2h", "jp2c")),
                         info["bytes"])


if __name__ == "__main__":
    unittest.main()

"""Runs the codecs of OpenJPEG and Grok for comparison with the tool."""

import concurrent.futures
import os
import pathlib
import subprocess

import support  # tests/tool

PEERS = ["opj", "grk"]


def bytes_of(bits):
    return 4 if bits > 16 else 2 if bits > 8 else 1


def parse_pgx(data):
    """(bits, signed, width, height, samples)"""
    header, raster = data.split(b"\n", 1)
    words = header.replace(b"+", b" + ").replace(b"-", b" - ").split()
    order, sign, bits, width, height = words[1], words[2], *map(int, words[3:6])
    size = bytes_of(bits)
    assert len(raster) >= width * height * size, header
    samples = []
    for i in range(width * height):
        value = int.from_bytes(raster[i * size:(i + 1) * size], "big" if order == b"ML" else "little")
        samples.append(value - (1 << 8 * size) if sign == b"-" and value >> (8 * size - 1) else value)
    return bits, sign == b"-", width, height, samples


def pgx(bits, signed, width, height, samples):
    size = bytes_of(bits)
    raster = b"".join((value & ((1 << 8 * size) - 1)).to_bytes(size, "big") for value in samples)
    return b"PG ML %s %d %d %d\n" % (b"-" if signed else b"+", bits, width, height) + raster


def greatest_difference(a, b):
    """The greatest difference over all components; None if they differ in more than their samples."""
    if [one[:4] for one in a] != [one[:4] for one in b]:
        return None
    return max(abs(p - q) for one, other in zip(a, b) for p, q in zip(one[4], other[4]))


class PeerTest(support.ToolTest):
    def command(self, *words):
        result = subprocess.run(
            list(map(str, words)), cwd=self.directory, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=60
        )
        self.assertEqual(result.returncode, 0, (words, result.stdout))

    def planes(self, stem):
        """All components of a decoded picture, from the decoder's PGX files."""
        found = sorted(pathlib.Path(self.directory).glob(stem + "_*.pgx"))
        return [parse_pgx(path.read_bytes()) for path in found or [pathlib.Path(self.path(stem + ".pgx"))]]

    def moxj_planes(self, name, *options):
        self.expect(support.OK, "decode", name, f"m-{name}.pgx", "--components", *options)
        return self.planes(f"m-{name}")

    def peer_planes(self, peer, name, *options):
        self.command(f"{peer}_decompress", "-i", name, "-o", f"{peer}-{name}.pgx", *options)
        return self.planes(f"{peer}-{name}")

    def peer_encode(self, peer, picture, name, *options):
        self.command(f"{peer}_compress", "-i", picture, "-o", name, *options)

    def in_parallel(self, function, items):
        """Runs each check in a subtest."""
        with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
            for item, future in [(item, pool.submit(function, item)) for item in items]:
                with self.subTest(item):
                    future.result()

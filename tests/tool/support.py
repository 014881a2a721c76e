"""Runs the tool; makes and parses pictures independently of it."""

import os
import random
import shutil
import struct
import subprocess
import tempfile
import unittest
import zlib

MOXJ = os.environ["MOXJ"]
SHORT = "MOX_TEST_SHORT" in os.environ  # fewer of many similar cases

OK, USAGE, REFUSED, INCOMPLETE, LIMIT, OUTPUT = range(6)
PLAIN = "png, ppm, pgm, pnm, pam, pbm, pgx, bmp, tif, raw or rawl"
UNRECOGNISED = "unrecognised format (not JPEG, JPEG 2000, PNG, PPM, PGM, PAM, PBM, PGX, BMP or TIFF)"


class ToolTest(unittest.TestCase):
    """A test whose working directory is a new, empty directory."""

    maxDiff = 2000

    def setUp(self):
        self.directory = tempfile.mkdtemp(prefix="tool-test-")
        self.addCleanup(self.remove_directory)

    def remove_directory(self):
        for path, _, _ in os.walk(self.directory):
            os.chmod(path, 0o700)
        shutil.rmtree(self.directory)

    def path(self, name):
        return os.path.join(self.directory, name)

    def write(self, name, data):
        with open(self.path(name), "wb") as file:
            file.write(data)
        return name

    def read(self, name):
        with open(self.path(name), "rb") as file:
            return file.read()

    def files(self, directory="."):
        return sorted(os.listdir(self.path(directory)))

    def moxj(self, *arguments, stdin=b"", stdout=subprocess.PIPE, **options):
        """Runs the tool. The result has returncode, stdout and stderr (as text)."""
        result = subprocess.run([MOXJ, *arguments], cwd=self.directory, input=stdin, stdout=stdout,
                                stderr=subprocess.PIPE, timeout=60, **options)
        result.stderr = result.stderr.decode()
        return result

    def expect(self, status, *arguments, error="", **options):
        """Runs the tool and checks its exit status and its standard error. `error` is the exact text, or a regular
        expression to be found in it. Returns standard output."""
        result = self.moxj(*arguments, **options)
        if isinstance(error, str):
            self.assertEqual((result.returncode, result.stderr), (status, error), arguments)
        else:
            self.assertEqual(result.returncode, status, (arguments, result.stderr))
            self.assertRegex(result.stderr, error)
        return result.stdout


# ---- Pictures: (width, height, channels, samples) ----------------------------------------------------------------


def noise(width, height, channels, seed=1, maxval=255):
    source = random.Random(seed)
    return width, height, channels, [source.randint(0, maxval) for _ in range(width * height * channels)]


def smooth(width, height, channels):
    samples = []
    for y in range(height):
        for x in range(width):
            samples += [(x * 3 + y * 2) % 256 // 2 + 40, 200 - (x + y) % 100, 60 + (x * y // 8) % 90][:channels]
    return width, height, channels, samples


def scaled(picture, maxval, to=255):
    """Samples up to `to` from samples up to `maxval`, rounded."""
    width, height, channels, samples = picture
    return width, height, channels, [(value * to * 2 + maxval) // (2 * maxval) for value in samples]


def pack(value, maxval):
    return struct.pack(">H", value) if maxval > 255 else bytes([value])


def pnm(picture, maxval=255, plain=False, comment=b"", separator=b"\n"):
    width, height, channels, samples = picture
    kind = (2 if plain else 5) + (channels == 3)
    header = b"P%d%s%s%d %d\n%d" % (kind, separator, comment, width, height, maxval)
    if plain:
        return header + b"\n" + b"".join(b"%d%s" % (v, b"\n" if i % 7 == 6 else b" ") for i, v in enumerate(samples))
    return header + separator[:1] + b"".join(pack(value, maxval) for value in samples)


def parse_pnm(data):
    """A raw 8-bit file as the tool writes it: P5 or P6, the size, 255 and the samples, nothing else."""
    magic, size, maxval, samples = data.split(b"\n", 3)
    width, height = map(int, size.split())
    channels = {b"P5": 1, b"P6": 3}[magic]
    assert maxval == b"255" and len(samples) == width * height * channels, (size, maxval, len(samples))
    return width, height, channels, list(samples)


def parse_deep_pnm(data):
    """(picture, maximum value) of a raw file as the tool writes it."""
    magic, size, maxval, samples = data.split(b"\n", 3)
    width, height = map(int, size.split())
    channels, maxval = {b"P5": 1, b"P6": 3}[magic], int(maxval)
    count = width * height * channels
    assert len(samples) == count * (1 + (maxval > 255)), (size, maxval, len(samples))
    values = list(samples) if maxval < 256 else list(struct.unpack(">%dH" % count, samples))
    return (width, height, channels, values), maxval


# ---- PNG ---------------------------------------------------------------------------------------------------------

GREY, RGB, PALETTE, GREY_ALPHA, RGB_ALPHA = 0, 2, 3, 4, 6
CHANNELS = {GREY: 1, RGB: 3, PALETTE: 1, GREY_ALPHA: 2, RGB_ALPHA: 4}
ADAM7 = [(0, 0, 8, 8), (4, 0, 8, 8), (0, 4, 4, 8), (2, 0, 4, 4), (0, 2, 2, 4), (1, 0, 2, 2), (0, 1, 1, 2)]
SIGNATURE = b"\x89PNG\r\n\x1a\n"


def chunk(name, data):
    return struct.pack(">I", len(data)) + name + data + struct.pack(">I", zlib.crc32(name + data))


def png_rows(values, width, height, channels, bits):
    """The rows of a pass, each with a filter byte of 0 (none)."""
    rows = b""
    for y in range(height):
        row = values[y * width * channels:(y + 1) * width * channels]
        if bits == 16:
            data = b"".join(struct.pack(">H", value) for value in row)
        else:
            text = "".join(format(value, "0%db" % bits) for value in row)
            text += "0" * (-len(text) % 8)
            data = bytes(int(text[i:i + 8], 2) for i in range(0, len(text), 8))
        rows += b"\0" + data
    return rows


def png(width, height, kind, bits, values, palette=None, transparency=None, interlaced=False, level=6, pieces=1):
    """`pieces` is the number of IDAT chunks."""
    channels = CHANNELS[kind]
    if interlaced:
        data = b""
        for x0, y0, dx, dy in ADAM7:
            xs, ys = range(x0, width, dx), range(y0, height, dy)
            if xs and ys:
                part = [values[(y * width + x) * channels + c] for y in ys for x in xs for c in range(channels)]
                data += png_rows(part, len(xs), len(ys), channels, bits)
    else:
        data = png_rows(values, width, height, channels, bits)
    file = SIGNATURE + chunk(b"IHDR", struct.pack(">IIBBBBB", width, height, bits, kind, 0, 0, int(interlaced)))
    if palette:
        file += chunk(b"PLTE", bytes(value for colour in palette for value in colour))
    if transparency is not None:
        file += chunk(b"tRNS", transparency)
    data = zlib.compress(data, level)
    size = -(-len(data) // pieces)
    for start in range(0, len(data), size):
        file += chunk(b"IDAT", data[start:start + size])
    return file + chunk(b"IEND", b"")


def png_of(picture, **options):
    width, height, channels, samples = picture
    return png(width, height, RGB if channels == 3 else GREY, 8, samples, **options)


def unfilter(kind, row, above, distance):
    for i in range(len(row)):
        left = row[i - distance] if i >= distance else 0
        up = above[i]
        corner = above[i - distance] if i >= distance else 0
        if kind == 4:
            estimate = left + up - corner
            row[i] += min((left, up, corner), key=lambda candidate: abs(estimate - candidate))
        else:
            row[i] += [0, left, up, (left + up) // 2][kind]
        row[i] &= 255


def parse_any_png(data):
    """(width, height, kind, bits, samples) of a non-interlaced file of 8 or 16 bits without a palette; checks every
    CRC."""
    assert data[:8] == SIGNATURE
    at, compressed, header = 8, b"", None
    while at < len(data):
        length, name = struct.unpack(">I4s", data[at:at + 8])
        body = data[at + 8:at + 8 + length]
        assert chunk(name, body) == data[at:at + 12 + length], name
        if name == b"IHDR":
            header = struct.unpack(">IIBBBBB", body)
        if name == b"IDAT":
            compressed += body
        at += 12 + length
    assert name == b"IEND"
    width, height, bits, kind, _, _, interlace = header
    assert bits in (8, 16) and kind != PALETTE and interlace == 0
    rows = zlib.decompress(compressed)
    pixel = CHANNELS[kind] * bits // 8
    step = width * pixel
    assert len(rows) == (step + 1) * height
    samples, above = [], [0] * step
    for y in range(height):
        start = y * (step + 1)
        row = list(rows[start + 1:start + 1 + step])
        unfilter(rows[start], row, above, pixel)
        samples += row if bits == 8 else [row[i] << 8 | row[i + 1] for i in range(0, step, 2)]
        above = row
    return width, height, kind, bits, samples


def parse_png(data):
    """The picture in a non-interlaced 8-bit grey or RGB file."""
    width, height, kind, bits, samples = parse_any_png(data)
    assert bits == 8 and kind in (GREY, RGB)
    return width, height, CHANNELS[kind], samples

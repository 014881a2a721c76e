"""Photographs for tests, from a Debian package; generated pictures if it is not available."""

import math
import os
import pathlib
import random
import subprocess
import sys
import tempfile

import support  # tests/tool

NAMES = ["astronaut", "coffee"]


def generated(width, height, channels, seed):
    """Waves, an edge and noise, with frequencies that depend on the seed."""
    source = random.Random(seed)
    waves = [source.uniform(0.02, 0.6) for _ in range(6)]
    edge = source.uniform(0.3, 0.7) * width
    samples = bytearray()
    for y in range(height):
        for x in range(width):
            for c in range(channels):
                value = 128 + 80 * math.sin(waves[c] * x + waves[c + 3] * y + c) + (30 if x > edge else -30)
                samples.append(min(255, max(0, int(value + source.randint(-12, 12)))))
    return width, height, channels, bytes(samples)


def fetch(directory):
    with tempfile.TemporaryDirectory() as scratch:
        quiet = {
            "cwd": scratch,
            "check": True,
            "stdout": subprocess.DEVNULL,
            "stderr": subprocess.DEVNULL,
            "timeout": 120,
        }
        subprocess.run(["apt-get", "download", "-qq", "python3-skimage"], **quiet)
        subprocess.run(["dpkg", "-x", next(pathlib.Path(scratch).glob("*.deb")), scratch], **quiet)
        for name in NAMES:
            found = next(pathlib.Path(scratch).glob(f"usr/lib/python3/dist-packages/skimage/data/{name}.png"))
            (directory / f"{name}.ppm").write_bytes(support.pnm(support.parse_png(found.read_bytes())))


def photographs():
    """The directory of the PPM files, which is kept for later runs, and their names."""
    directory = pathlib.Path(os.environ.get("TEST_PICTURES", tempfile.gettempdir())) / "moxj-test-pictures"
    directory.mkdir(parents=True, exist_ok=True)
    try:
        if not all((directory / f"{name}.ppm").exists() for name in NAMES):
            fetch(directory)
        return directory, NAMES
    except (subprocess.SubprocessError, OSError, StopIteration):
        print("The photographs cannot be had: using a generated picture", file=sys.stderr)
        (directory / "generated.ppm").write_bytes(support.pnm(generated(480, 360, 3, 1)))
        return directory, ["generated"]

"""Pictures for tests: photographs, which scripts/photos fetches before the run, and generated ones."""

import math
import os
import pathlib
import random
import unittest

import support  # tests/tool

NAMES = ["astronaut", "coffee"]
PHOTOGRAPHS = pathlib.Path(__file__).resolve().parent.parent.parent / "build/photographs"


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


def photographs():
    """The directory of the PPM files, and their names; a test that asks for what scripts/photos could not fetch is
    skipped."""
    for name in NAMES:
        picture, source = PHOTOGRAPHS / f"{name}.ppm", PHOTOGRAPHS / f"{name}.png"
        if not source.exists():
            raise unittest.SkipTest(f"{source} is missing: scripts/photos fetches it")
        if not picture.exists():
            part = picture.with_suffix(f".{os.getpid()}")  # others may be doing the same
            part.write_bytes(support.pnm(support.parse_png(source.read_bytes())))
            part.replace(picture)
    return PHOTOGRAPHS, NAMES

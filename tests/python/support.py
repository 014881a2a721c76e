"""Pictures for the tests of the Python package."""

import contextlib
import importlib.util
import pathlib
import tempfile
import unittest
import warnings

import numpy

SOURCE = pathlib.Path(__file__).resolve().parent.parent.parent


def noise(shape, dtype="u1", seed=1, bits=None):
    """Samples of all values that a type, or its lowest bits, can have."""
    dtype = numpy.dtype(dtype)
    random = numpy.random.default_rng(seed)
    if dtype == bool:
        return random.integers(0, 2, shape).astype(bool)
    info = numpy.iinfo(dtype)
    low, high = (info.min, info.max) if bits is None else (0, (1 << bits) - 1)
    return random.integers(low, high, shape, dtype.newbyteorder("="), endpoint=True).astype(dtype)


def smooth(height, width, channels=3):
    """Slopes with some texture: what lossy coding keeps."""
    y, x = numpy.mgrid[:height, :width]
    planes = [(x * 2 + y) % 200 // 2 + 50, 220 - (x + y * 3) % 160 // 2, 60 + (x + y) % 120][:channels]
    array = numpy.stack(planes, axis=-1).astype(numpy.uint8)
    return array if channels > 1 else array[..., 0]


def psnr(a, b):
    error = numpy.mean((a.astype(float) - b) ** 2)
    return numpy.inf if error == 0 else 10 * numpy.log10(255 ** 2 / error)


def needs(*modules):
    """Skips a test where a module is missing, with the name of Debian's package."""
    missing = [module for module in modules if importlib.util.find_spec(module) is None]
    return unittest.skipIf(missing, "needs Debian's " + ", ".join("python3-" + name for name in missing))


class PictureTest(unittest.TestCase):
    """A test with a directory for its files."""

    maxDiff = 5000

    def setUp(self):
        self.directory = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory(prefix="moxj-test-")))
        # A warning that a test does not expect is a failure.
        self.enterContext(warnings.catch_warnings())
        warnings.simplefilter("error")

    def assertSame(self, got, expected, note=None):
        self.assertEqual((got.shape, got.dtype), (expected.shape, expected.dtype), note)
        self.assertTrue(numpy.array_equal(got, expected), note)

    @contextlib.contextmanager
    def raises(self, kind, text="", **attributes):
        """Expects an exception of exactly this class, with a text in it and with attributes."""
        with self.assertRaises(kind) as caught:
            yield
        self.assertIs(type(caught.exception), kind)
        self.assertIn(text, str(caught.exception))
        for name, value in attributes.items():
            self.assertEqual(getattr(caught.exception, name), value, name)

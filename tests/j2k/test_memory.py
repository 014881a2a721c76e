"""Pictures that are much larger than the memory for them: --max-memory is kept, and the process stays near it."""

import os
import random
import subprocess
import sys
import unittest

import support

MIB = 1 << 20
WIDTH, HEIGHT = 3000, 2000
PROCESS = 20 * MIB  # the program itself, its libraries, and what an allocator keeps


# Prints the peak memory of a program. A process counts what it was before it became a program: a small one starts it.
LAUNCHER = """
import os, sys
process = os.spawnv(os.P_NOWAIT, sys.argv[1], sys.argv[1:])
status, usage = os.wait4(process, 0)[1:]
print(usage.ru_maxrss * 1024)
sys.exit(os.waitstatus_to_exitcode(status))
"""


def rows(seed):
    """Some rows of waves, steps and noise, of which a picture is made."""
    source = random.Random(seed)
    made = []
    for k in range(48):
        noise = bytes(source.randrange(16) for _ in range(997))
        made.append(bytes((x * (2 + k % 5) // 9 + 40 * c + noise[x % 997]) & 255 if x // (150 + k) % 3 else 5 * k
                          for x in range(WIDTH) for c in range(3)))
    return made


@unittest.skipIf(os.environ.get("SANITIZERS"), "sanitizers take memory of their own")
class MemoryTest(support.ToolTest):
    def setUp(self):
        super().setUp()
        kinds = rows(1)
        with open(self.path("in.ppm"), "wb") as file:
            file.write(b"P6\n%d %d\n255\n" % (WIDTH, HEIGHT))
            for y in range(HEIGHT):
                file.write(kinds[(y // 3 * 7 + y % 5) % 48] if y // 300 % 2 else kinds[y // 40 % 16])

    def run_within(self, limit, *arguments):
        """Runs the tool with a memory limit and checks what the process takes."""
        words = [support.MOXJ, *arguments, "--quiet", "--threads", "2", "--max-memory", str(limit)]
        process = subprocess.run([sys.executable, "-S", "-c", LAUNCHER, *words], cwd=self.directory,
                                 capture_output=True, text=True)
        self.assertEqual((process.returncode, process.stderr), (0, ""), arguments)
        self.assertLess(int(process.stdout), limit + PROCESS, arguments)

    def test_writing(self):
        """The samples take 18 MB, and four times as much as coefficients."""
        for name, limit, *options in (("tiles", 12, "--tile", "256x256"), ("rate", 24, "--ratio", "20"),
                                      ("tile-rate", 16, "--ratio", "20", "--tile", "512x256"),
                                      ("one", 24, "--lossless"), ("layers", 24, "--ratio", "30,10,lossless")):
            with self.subTest(name):
                self.run_within(limit * MIB, "encode", "in.ppm", f"{name}.jp2", *options)
                self.expect(support.OK, "encode", "in.ppm", "whole.jp2", "--quiet", *options)
                if name in ("tiles", "one", "layers"):
                    self.assertEqual(self.read(f"{name}.jp2"), self.read("whole.jp2"))
                else:
                    size = os.path.getsize(self.path(f"{name}.jp2"))
                    self.assertLessEqual(size, WIDTH * HEIGHT * 3 / 20)
                    self.assertGreater(size, WIDTH * HEIGHT * 3 / 20 * 0.95)

    def test_reading(self):
        """Band by band, whether in one tile or in many; what of the mapped file is in memory is dropped after each."""
        for name, limit, *options in (("one", 32, "--ratio", "8"), ("tiles", 16, "--tile", "256x256")):
            with self.subTest(name):
                self.expect(support.OK, "encode", "in.ppm", f"{name}.jp2", "--quiet", *options)
                self.run_within(limit * MIB, "decode", f"{name}.jp2", f"{name}.ppm")
                self.expect(support.OK, "decode", f"{name}.jp2", "whole.ppm", "--quiet")
                self.assertEqual(self.read(f"{name}.ppm"), self.read("whole.ppm"))
                if name == "tiles":
                    self.assertEqual(self.read("whole.ppm"), self.read("in.ppm"))


if __name__ == "__main__":
    unittest.main()

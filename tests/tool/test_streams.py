"""Pictures go through in strips: little memory, whatever their size, and output before the end of the work."""

import os
import select
import signal
import subprocess
import sys
import threading
import time
import unittest

from support import *

WIDTH, HEIGHT = 6000, 5000
LIMIT_BYTES = 24 << 20

# Runs a program and prints its peak memory, in KiB. What the parent of a process had when it started it counts as the
# memory of that process, so the parent must be small.
MEASURE = """import resource, subprocess, sys
status = subprocess.call(sys.argv[1:])
print(resource.getrusage(resource.RUSAGE_CHILDREN).ru_maxrss, file=sys.stderr)
sys.exit(status)"""


class Large(ToolTest):
    """A photograph-like picture of 30 megapixels in all formats that go through in strips."""

    @classmethod
    def setUpClass(cls):
        folder = tempfile.mkdtemp(prefix="tool-test-")
        cls.addClassCleanup(shutil.rmtree, folder)
        cls.ppm, cls.png, cls.jpg = (os.path.join(folder, "large." + name) for name in ("ppm", "png", "jpg"))
        grain = random.Random(3).randbytes(3 * WIDTH)
        row = bytes(x // 40 % 192 + grain[x] % 16 for x in range(3 * WIDTH))
        shifts = [3 * (y * 7 % WIDTH) for y in range(HEIGHT)]
        with open(cls.ppm, "wb") as file:
            file.write(b"P6\n%d %d\n255\n" % (WIDTH, HEIGHT))
            file.writelines(row[shift:] + row[:shift] for shift in shifts)
        compressor = zlib.compressobj(1)
        data = b"".join(compressor.compress(b"\0" + row[shift:] + row[:shift]) for shift in shifts)
        with open(cls.png, "wb") as file:
            file.write(SIGNATURE + chunk(b"IHDR", struct.pack(">IIBBBBB", WIDTH, HEIGHT, 8, RGB, 0, 0, 0)))
            file.write(chunk(b"IDAT", data + compressor.flush()) + chunk(b"IEND", b""))
        subprocess.run([MOXJ, "encode", cls.ppm, cls.jpg], check=True)


@unittest.skipIf(os.environ.get("SANITIZERS"), "sanitizers take memory of their own")
class Memory(Large):
    def peak(self, *arguments, stdin=None):
        """Bytes; the output of the tool is thrown away. With `stdin` its input is that file, through a pipe."""
        cat = subprocess.Popen(["cat", stdin], stdout=subprocess.PIPE) if stdin else None
        sink = subprocess.Popen(["cat"], stdin=subprocess.PIPE, stdout=subprocess.DEVNULL)
        result = subprocess.run([sys.executable, "-I", "-S", "-c", MEASURE, MOXJ, *arguments], cwd=self.directory,
                                stdin=cat and cat.stdout, stdout=sink.stdin, stderr=subprocess.PIPE, timeout=300)
        if cat:
            cat.stdout.close()
            self.assertEqual(cat.wait(), 0)
        sink.stdin.close()
        sink.wait()
        self.assertEqual(result.returncode, OK, result.stderr)
        return int(result.stderr) << 10

    def test_from_file_to_file(self):
        for command, source, output in (("encode", self.png, "x.jpg"), ("decode", self.jpg, "x.png"),
                                        ("encode", self.ppm, "x.jpg"), ("decode", self.jpg, "x.ppm")):
            with self.subTest(source=source, output=output):
                self.assertLess(self.peak(command, source, output), LIMIT_BYTES)

    def test_through_pipes(self):
        for command, source, name in (("encode", self.ppm, "jpg"), ("encode", self.png, "jpg"),
                                      ("decode", self.jpg, "ppm"), ("decode", self.png, "pgm")):
            with self.subTest(source=source, output=name):
                self.assertLess(self.peak(command, "-", "-", "--format", name, "--quiet", stdin=source), LIMIT_BYTES)

    def test_a_progressive_file_takes_its_coefficients_alone(self):
        """2 bytes each, 1.5 of them for a pixel, and not the picture."""
        subprocess.run([MOXJ, "transcode", self.jpg, self.path("p.jpg"), "--progressive"], check=True)
        self.assertLess(self.peak("decode", "p.jpg", "x.ppm"), 3 * WIDTH * HEIGHT + LIMIT_BYTES)


@unittest.skipIf(os.environ.get("SANITIZERS"), "sanitizers take memory of their own")
class BaselineMemory(Memory):
    """108 megapixels from and to PPM, with one thread and two. Not in other ways: Memory has these."""

    SIZE = 12000, 9000
    LIMIT = 16 << 20

    @classmethod
    def setUpClass(cls):
        folder = tempfile.mkdtemp(prefix="tool-test-")
        cls.addClassCleanup(shutil.rmtree, folder)
        cls.ppm, cls.jpg = os.path.join(folder, "huge.ppm"), os.path.join(folder, "huge.jpg")
        width, height = cls.SIZE
        grain = random.Random(5).randbytes(3 * width)
        row = bytes(x // 40 % 128 + grain[x] % 128 for x in range(3 * width))  # 40 MB of JPEG
        with open(cls.ppm, "wb") as file:
            file.write(b"P6\n%d %d\n255\n" % (width, height))
            file.writelines(row[shift:] + row[:shift] for shift in (3 * (y * 7 % width) for y in range(height)))
        subprocess.run([MOXJ, "encode", cls.ppm, cls.jpg], check=True)

    def test_from_file_to_file(self):
        for threads in "1", "2":
            for command, source, output in ("encode", self.ppm, "x.jpg"), ("decode", self.jpg, "x.ppm"):
                with self.subTest(command=command, threads=threads):
                    self.assertLess(self.peak(command, source, output, "--threads", threads), self.LIMIT)

    test_through_pipes = test_a_progressive_file_takes_its_coefficients_alone = None


class Streaming(Large):
    def cpu(self, process):
        """Seconds."""
        with open(f"/proc/{process.pid}/stat") as stat:
            fields = stat.read().rpartition(")")[2].split()
        return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")

    def test_the_first_rows_come_before_the_last_are_decoded(self):
        """The pipe is full soon, so that the tool waits for its reader."""
        for source, name in (self.jpg, "ppm"), (self.png, "ppm"):
            process = subprocess.Popen([MOXJ, "decode", source, "-", "--format", name], stdout=subprocess.PIPE)
            first = process.stdout.read(1)
            before = -1
            while (now := self.cpu(process)) != before:
                before = now
                time.sleep(0.1)
            size = len(first) + sum(len(piece) for piece in iter(lambda: process.stdout.read(1 << 20), b""))
            process.stdout.close()
            _, status, usage = os.wait4(process.pid, 0)
            process.returncode = status
            self.assertEqual(status, 0)
            self.assertGreater(size, 1 << 20)
            self.assertLess(before, (usage.ru_utime + usage.ru_stime) / 2, (source, name))

    def test_an_encoder_does_not_wait_for_the_end_of_its_input(self):
        for name in "ppm", "png":
            with open(getattr(self, name), "rb") as file:
                half = file.read(os.path.getsize(file.name) // 2)
            process = subprocess.Popen([MOXJ, "encode", "-", "-"], stdin=subprocess.PIPE, stdout=subprocess.PIPE)
            writer = threading.Thread(target=process.stdin.write, args=(half,))
            writer.start()
            output = process.stdout.fileno()
            self.assertEqual(select.select([output], [], [], 30)[0], [output], name)
            self.assertEqual(os.read(output, 1 << 16)[:2], b"\xff\xd8")
            while writer.is_alive():
                if select.select([output], [], [], 0.1)[0]:
                    os.read(output, 1 << 16)
            writer.join()
            process.kill()
            process.wait()
            process.stdin.close()
            process.stdout.close()

    def test_a_reader_that_has_enough(self):
        for arguments in (("decode", self.jpg, "-"), ("encode", self.ppm, "-"), ("decode", self.png, "-")):
            process = subprocess.Popen([MOXJ, *arguments], stdout=subprocess.PIPE, stderr=subprocess.PIPE)
            self.assertEqual(len(process.stdout.read(10)), 10)
            process.stdout.close()
            self.assertEqual(process.stderr.read(), b"")
            process.stderr.close()
            self.assertEqual(process.wait(), -signal.SIGPIPE)


if __name__ == "__main__":
    unittest.main()

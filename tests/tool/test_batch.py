"""Batches of files, and progress on a terminal."""

import fcntl
import os
import pty
import re
import signal
import struct
import subprocess
import termios
import threading
import time
import unittest

from support import *


class Batches(ToolTest):
    def setUp(self):
        super().setUp()
        os.mkdir(self.path("in"))
        self.pictures = {}
        for i in range(7):
            self.pictures["p%d" % i] = picture = noise(20 + i, 10, 1 + 2 * (i % 2), i)
            self.write("in/p%d.png" % i, png_of(picture))
        self.inputs = ["in/p%d.png" % i for i in range(7)]

    def test_every_input_gets_its_output(self):
        for jobs in [], ["--jobs", "1"], ["--jobs", "3"], ["--jobs", "256"]:
            out = "out" + "".join(jobs)
            self.expect(OK, "decode", *self.inputs, "--output-dir", out, *jobs)
            self.assertEqual(self.files(out), ["p%d.pnm" % i for i in range(7)])
            for name, picture in self.pictures.items():
                self.assertEqual(self.read(out + "/" + name + ".pnm"), pnm(picture))

    def test_format_gives_the_extension(self):
        for name in "png", "ppm", "pgm", "pnm":
            self.expect(OK, "decode", "--quiet", *self.inputs, "--output-dir", name, "--format", name)
            self.assertEqual(self.files(name), ["p%d.%s" % (i, name) for i in range(7)])

    def test_names(self):
        for name in "two.dots.png", ".hidden", ".hid.png", "none", "slash":
            self.write("in/" + name, png_of(noise(2, 2, 1)))
        inputs = ["in/two.dots.png", "in/.hidden", "in/.hid.png", "in//none", "./in/slash"]
        self.expect(OK, "decode", *inputs, "--output-dir", "out/")
        self.assertEqual(self.files("out"), [".hid.pnm", ".hidden.pnm", "none.pnm", "slash.pnm", "two.dots.pnm"])

    def test_one_input_and_the_working_directory(self):
        self.expect(OK, "decode", "in/p0.png", "--output-dir", ".")
        self.assertEqual(self.read("p0.pnm"), pnm(self.pictures["p0"]))

    def test_the_directory_is_created(self):
        self.expect(OK, "decode", "in/p0.png", "--output-dir", "a/b/c")
        self.assertEqual(self.files("a/b/c"), ["p0.pnm"])

    def test_a_directory_that_cannot_be_created(self):
        self.expect(OUTPUT, "decode", "in/p0.png", "--output-dir", "in/p1.png/x",
                    error="moxj: in/p1.png/x: cannot be created: Not a directory\n")

    def test_one_line_for_each_failing_file_and_the_others_are_done(self):
        self.write("in/bad.png", b"GIF")
        self.write("in/large.ppm", pnm(noise(50, 50, 1)))
        self.write("in/short.pgm", pnm(noise(5, 5, 1))[:-1])
        lines = {"bad": "moxj: in/bad.png: " + UNRECOGNISED,
                 "none": "moxj: in/none: cannot be read: No such file or directory",
                 "large": "moxj: in/large.ppm: 50 x 50 pixels are more than the limit of 2000 (--max-pixels)",
                 "short": "moxj: in/short.pgm: warning: the file ends after 4 of 5 rows"}
        names = {"bad": "in/bad.png", "none": "in/none", "large": "in/large.ppm", "short": "in/short.pgm"}
        for order, status in ((["short", "large", "bad", "none"], LIMIT), (["none", "short", "large"], REFUSED),
                              (["bad", "large"], REFUSED), (["large", "bad"], LIMIT), (["short"], INCOMPLETE)):
            for jobs in "1", "4":
                inputs = self.inputs[:3] + [names[name] for name in order] + self.inputs[3:]
                result = self.moxj("decode", *inputs, "--output-dir", "out", "--jobs", jobs, "--max-pixels", "2000")
                self.assertEqual(result.returncode, status)
                self.assertEqual(sorted(result.stderr.splitlines()), sorted(lines[name] for name in order))
                wanted = ["p%d.pnm" % i for i in range(7)] + (["short.pnm"] if "short" in order else [])
                self.assertEqual(self.files("out"), wanted)
                for name in self.files("out"):
                    os.remove(self.path("out/" + name))

    def test_an_output_that_cannot_be_written(self):
        os.makedirs(self.path("out/p3.pnm"))
        self.expect(OUTPUT, "decode", *self.inputs, "--output-dir", "out",
                    error="moxj: out/p3.pnm: cannot be written: it is a directory\n")
        self.assertEqual(self.files("out"), ["p%d.pnm" % i for i in range(7)])

    def test_equal_outputs_are_refused_before_any_work(self):
        os.mkdir(self.path("other"))
        for a, b in (
            ("in/p0.png", "other/p0.png"),
            ("in/p0.png", "in/p0.ppm"),
            ("in/p0.png", "in/p0.png"),
            ("in/p0.png", "in//p0"),
        ):
            self.expect(
                USAGE,
                "decode",
                "in/p1.png",
                a,
                "in/p2.png",
                b,
                "--output-dir",
                "out",
                error="moxj: %s and %s would both become out/p0.pnm\n" % (a, b),
            )
            self.assertEqual(self.files(), ["in", "other"])

    def test_wrong_use(self):
        for arguments, error in (((*self.inputs,), "more than one input needs --output-dir"),
                                 (("in/p0.png",), "no output given: add a file name, - or --output-dir DIR"),
                                 (("in/p0.png", "x.ppm", "--jobs", "2"), "--jobs needs --output-dir"),
                                 (("-", "--output-dir", "out"), "standard input cannot be part of a batch"),
                                 (("in/", "--output-dir", "out"), "'in/' is not a file name"),
                                 (("in/p0.png", "--output-dir", ""), "--output-dir needs a directory name")):
            self.expect(USAGE, "decode", *arguments, error="moxj: %s\n" % error)
        self.assertEqual(self.files(), ["in"])

    def test_no_more_threads_than_asked_for(self):
        """Counts the threads while every worker waits for data from a named pipe."""
        names = ["pipe%d" % i for i in range(6)]
        for name in names:
            os.mkfifo(self.path(name))
        for jobs, threads in (1, 1), (3, 3), (100, 6):
            process = subprocess.Popen(
                [MOXJ, "decode", *names, "--output-dir", "out", "--jobs", str(jobs)], cwd=self.directory
            )
            deadline = time.monotonic() + 10
            count = 0
            while count < threads and time.monotonic() < deadline:
                count = len(os.listdir("/proc/%d/task" % process.pid))
                time.sleep(0.01)
            time.sleep(0.05)
            self.assertEqual(len(os.listdir("/proc/%d/task" % process.pid)), threads)
            for name in names:
                self.write(name, pnm(noise(3, 3, 1)))
            self.assertEqual(process.wait(), OK)

    def test_an_interrupted_batch_leaves_no_temporary_files(self):
        large = b"P6 3000 3000 255\n" + bytes(27000000)
        names = ["large%d.ppm" % i for i in range(6)]
        for name in names:
            self.write(name, large)
        for delay in 0.0, 0.01, 0.02, 0.03, 0.05:
            process = subprocess.Popen(
                [MOXJ, "decode", *names, "--output-dir", "out", "--jobs", "3"], cwd=self.directory
            )
            time.sleep(delay)
            process.send_signal(signal.SIGTERM)
            self.assertIn(process.wait(), (-signal.SIGTERM, OK))
            for name in self.files("out") if os.path.exists(self.path("out")) else []:
                self.assertRegex(name, r"\Alarge\d\.pnm\Z")
                self.assertEqual(len(self.read("out/" + name)), len(large))


class OnTerminal(ToolTest):
    """Progress is shown only on a terminal."""

    def run_on_terminal(self, *arguments, columns=80):
        try:
            master, slave = pty.openpty()
        except OSError as missing:
            self.skipTest(f"no terminal: {missing}")  # a container without /dev/pts
        fcntl.ioctl(slave, termios.TIOCSWINSZ, struct.pack("HHHH", 24, columns, 0, 0))
        process = subprocess.Popen([MOXJ, *arguments], cwd=self.directory, stdout=subprocess.DEVNULL, stderr=slave)
        os.close(slave)
        output = b""
        while True:
            try:
                data = os.read(master, 4096)
            except OSError:
                break
            if not data:
                break
            output += data
        os.close(master)
        process.wait()
        return output.decode().replace("\r\n", "\n")

    def screen(self, output):
        """The final contents of the screen, line by line."""
        lines = []
        for line in output.split("\n"):
            cells = []
            for part in line.split("\r"):
                cells[:len(part)] = part
            lines.append("".join(cells).rstrip())
        return lines

    def slow_inputs(self):
        names = []
        for i in range(4):
            names.append(self.write("s%d.ppm" % i, b"P3 600 600 255\n" + b"1 " * 1080000))
        names.insert(1, self.write("bad", b"GIF"))
        return names

    def test_a_batch(self):
        output = self.run_on_terminal(
            "decode", *self.slow_inputs(), "--output-dir", "out", "--jobs", "1", "--format", "png"
        )
        self.assertRegex(output, r"\r[1-4] of 5 files")
        self.assertEqual(self.screen(output), ["moxj: bad: " + UNRECOGNISED, ""])

    def test_quiet(self):
        output = self.run_on_terminal("decode", *self.slow_inputs(), "--output-dir", "out", "--quiet")
        self.assertEqual(output, "moxj: bad: " + UNRECOGNISED + "\n")

    def test_not_a_terminal(self):
        self.expect(REFUSED, "decode", *self.slow_inputs(), "--output-dir", "out",
                    error="moxj: bad: " + UNRECOGNISED + "\n")

    def test_a_single_file_that_takes_long(self):
        """The picture is made larger until it does, so that this works on any machine."""
        for side in 2400, 4800, 7200:
            name = "n" * 60 + ".ppm"
            self.write(name, b"P6 %d %d 255\n" % (side, side) + random.Random(1).randbytes(side * side * 3))
            os.link(self.path(name), self.path("in.ppm"))
            output = self.run_on_terminal("decode", "in.ppm", "out.png")
            if re.search(r"\rin\.ppm: \d+ %", output):
                break
            os.remove(self.path("in.ppm"))
        self.assertRegex(output, r"\rin\.ppm: \d+ %")
        self.assertEqual(self.screen(output), [""])
        output = self.run_on_terminal("decode", name, "out.png", columns=40)
        self.assertEqual({len(part) for part in output.split("\r") if part.strip()}, {39})

    def percentages(self, name, *arguments):
        output = self.run_on_terminal(*arguments, "--threads", "1")
        found = re.findall(r"\r%s: (\d+) %%" % re.escape(name), output)
        return {int(text) for text in found} - {0, 100}

    def test_steps_that_are_one_piece(self):
        """Untiled JPEG 2000, comparing, and writing a PNG of a picture that was decoded as a whole: several percentages
        between the ends are seen, unless the machine is so fast, or the process stopped so long before its work, that
        nothing is drawn meanwhile. Then a larger picture is tried."""
        for arguments, name in ((("encode", "in.ppm", "out.jp2"), "in.ppm"),
                                (("decode", "in.jp2", "out.ppm"), "in.jp2"),
                                (("decode", "in.jpg", "out.png"), "in.jpg"),
                                (("compare", "in.ppm", "other.ppm"), "compare")):
            for side in 1500, 3000, 6000:
                self.write("in.ppm", b"P6 %d %d 255\n" % (side, side) + random.Random(1).randbytes(side * side * 3))
                if name == "compare":
                    self.write("other.ppm",
                               b"P6 %d %d 255\n" % (side, side) + random.Random(2).randbytes(side * side * 3))
                if name in ("in.jp2", "in.jpg"):
                    self.expect(OK, "encode", "in.ppm", name, *["--lossless=1"] * (name == "in.jpg"))
                percentages = self.percentages(name, *arguments)
                if len(percentages) > 2:
                    break
            self.assertGreater(len(percentages), 2, arguments)

    def test_a_single_file_that_is_quick(self):
        """Times the run too: on a busy machine even a small picture may take long, and then progress is correct."""
        self.write("in.ppm", pnm(noise(20, 20, 3)))
        for _ in range(10):
            begin = time.monotonic()
            output = self.run_on_terminal("decode", "in.ppm", "out.png")
            if time.monotonic() - begin < 0.45:
                return self.assertEqual(output, "")
        self.fail("a picture of 20 x 20 pixels takes half a second")


if __name__ == "__main__":
    unittest.main()

#!/usr/bin/env python3
"""The interpreter lock is released while the library works, and one call's threads and signals are its own."""

import os
import signal
import subprocess
import sys
import threading
import time
import unittest

import moxj
import numpy
from support import *


class Lock(PictureTest):
    def test_python_goes_on_while_pictures_are_decoded(self):
        """Two threads decode; a third one runs Python all the time. If a call kept the lock, the third would stand
        still for as long as the call, whatever the interpreter's switch interval."""
        file = moxj.encode(noise((1500, 1500, 3)), "j2k")
        spans, longest, going = [], [0.0], threading.Event()
        going.set()

        def count():
            last = time.perf_counter()
            while going.is_set():
                now = time.perf_counter()
                longest[0] = max(longest[0], now - last)
                last = now

        def decode():
            begin = time.perf_counter()
            moxj.decode(file)
            spans.append((begin, time.perf_counter()))

        counter = threading.Thread(target=count)
        decoders = [threading.Thread(target=decode) for _ in range(2)]
        for thread in [counter, *decoders]:
            thread.start()
        for thread in decoders:
            thread.join()
        going.clear()
        counter.join()
        (a, b), (c, d) = spans
        self.assertLess(max(a, c), min(b, d), "they ran side by side")
        self.assertLess(longest[0], min(b - a, d - c) / 2)

    def test_many_threads_share_nothing(self):
        arrays = [noise((40, 50, 3), seed=seed) for seed in range(8)]
        failed = []

        def work(array):
            for name in "png", "jp2", "jpg":
                if not numpy.array_equal(moxj.decode(moxj.encode(array, name, lossless=name == "jpg")), array):
                    failed.append(name)
            try:
                moxj.decode(b"nonsense")
                failed.append("no error")
            except moxj.NotThisFormat:
                pass

        threads = [threading.Thread(target=work, args=(array,)) for array in arrays for _ in range(3)]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        self.assertEqual(failed, [])

    def test_the_result_does_not_depend_on_threads(self):
        array = noise((300, 200, 3))
        files = {moxj.encode(array, "jp2", threads=threads) for threads in (1, 2, 5)}
        self.assertEqual(len(files), 1)
        self.assertSame(moxj.decode(files.pop(), threads=4), array)

    def test_progress_in_the_calling_thread(self):
        file, seen = moxj.encode(noise((200, 200, 3)), "jp2"), set()
        moxj.decode(file, threads=4, progress=lambda done, total: seen.add(threading.get_ident()))
        self.assertEqual(seen, {threading.get_ident()})


class References(PictureTest):
    def test_nothing_is_kept(self):
        """Buffers, files and callbacks are let go, after success and after failure."""
        good = bytearray(moxj.encode(noise((40, 50, 3)), "jp2"))
        bad = good[:60]

        def progress(done, total):
            pass

        def stop(done, total):
            raise KeyError

        array, out = noise((40, 50, 3)), numpy.zeros((40, 50, 3), "u1")
        kept = [array, out, progress, stop]
        before = [sys.getrefcount(each) for each in kept]
        for _ in range(20):
            moxj.decode(good, out=out, progress=progress)
            moxj.encode(array, "jp2", progress=progress)
            for failing in lambda: moxj.decode(bad), lambda: moxj.decode(good, progress=stop), \
                    lambda: moxj.encode(array, "jp2", progress=stop), lambda: moxj.decode(good, out=out[1:]):
                with self.assertRaises((moxj.Error, KeyError)):
                    failing()
        self.assertEqual([sys.getrefcount(each) for each in kept], before)
        good.append(0)  # BufferError, if a call still held it
        bad.append(0)


class Interrupts(PictureTest):
    def test_ctrl_c_ends_a_call_without_progress(self):
        """A picture that takes seconds; the signal comes in the middle of the call."""
        program = ("import moxj, numpy, sys\n"
                   "array = numpy.random.default_rng(1).integers(0, 256, (4000, 4000, 3), numpy.uint8)\n"
                   "print('begin', flush=True)\n"
                   "try:\n"
                   "    moxj.encode(array, 'jp2')\n"
                   "    print('not interrupted')\n"
                   "except KeyboardInterrupt:\n"
                   "    print('interrupted')\n")
        with subprocess.Popen([sys.executable, "-B", "-c", program], stdout=subprocess.PIPE, text=True) as child:
            self.assertEqual(child.stdout.readline(), "begin\n")
            time.sleep(0.2)
            os.kill(child.pid, signal.SIGINT)
            sent = time.monotonic()
            self.assertEqual(child.stdout.read(), "interrupted\n")
        self.assertLess(time.monotonic() - sent, 5)


if __name__ == "__main__":
    unittest.main()

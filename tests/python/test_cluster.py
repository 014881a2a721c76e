#!/usr/bin/env python3
"""examples/cluster.py: the same bytes as one process makes, whatever happens to workers, and no work done twice."""

import importlib.util
import json
import os
import pathlib
import re
import signal
import subprocess
import sys
import time
import unittest

import moxj
import numpy
from support import *

PROGRAM = SOURCE / "examples" / "cluster.py"


def program():
    """The program as a module, whose jobs run without a cluster."""
    spec = importlib.util.spec_from_file_location("cluster", PROGRAM)
    module = importlib.util.module_from_spec(spec)
    with warnings.catch_warnings():
        warnings.simplefilter("ignore")  # those of the packages
        spec.loader.exec_module(module)
    return module


def files_in(directory):
    """All files but the records, with their bytes."""
    return {str(path.relative_to(directory)): path.read_bytes() for path in sorted(directory.rglob("*"))
            if path.is_file() and ".recode" not in path.parts}


def workers_of(process):
    """The worker processes: what multiprocessing has started for the program, but its helpers."""
    found = []
    for entry in pathlib.Path("/proc").iterdir():
        if entry.name.isdigit():
            try:
                parent = (entry / "stat").read_text().rpartition(")")[2].split()[1]
                if int(parent) == process.pid and b"spawn_main" in (entry / "cmdline").read_bytes():
                    found.append(int(entry.name))
            except OSError:
                continue
    return found


@needs("dask", "distributed")
class Folders(PictureTest):
    def setUp(self):
        super().setUp()
        self.source, self.output = self.directory / "in", self.directory / "out"
        (self.source / "more").mkdir(parents=True)

    def fill(self, count, size):
        for i in range(count):
            moxj.encode(noise((size, size, 3), seed=i), to=self.source / ("more" if i % 3 else "") / f"p{i:02}.ppm")

    def start(self, *arguments):
        return subprocess.Popen([sys.executable, "-B", str(PROGRAM), str(self.source), str(self.output), *arguments],
                                stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)

    def finish(self, process, status):
        out, error = process.communicate(timeout=120)
        self.assertEqual(process.returncode, status, out + error)
        return out, error

    def in_one_process(self, output, **options):
        job = program().Folder(self.source, output, {"format": "jp2", "reading": {}, "writing": {}, **options})
        job.prepare()
        (output / ".recode" / "tmp").mkdir(parents=True, exist_ok=True)
        return {name: what for name, what, *_ in map(job.run, job.names())}

    def test_a_killed_worker_and_a_bad_file(self):
        self.fill(24, 500)
        (self.source / "bad.png").write_bytes(b"nonsense")
        with self.start("--workers", "2") as process:
            while len(list(self.output.rglob("*.jp2"))) < 3:
                self.assertIsNone(process.poll(), "it ended early")
                time.sleep(0.02)
            victims = workers_of(process)
            self.assertEqual(len(victims), 2)
            os.kill(victims[0], signal.SIGKILL)
            self.assertLess(len(list(self.output.rglob("*.jp2"))), 24, "it was too late to kill a worker")
            out, error = self.finish(process, 3)
        self.assertRegex(error, r"^failed: bad\.png: NotThisFormat: unrecognised format[^\n]*\n$")
        # What the killed worker had finished without reporting it is skipped when it is tried again.
        self.assertRegex(out, r"^[0-9]+ done, [0-9]+ skipped, 1 failed in [0-9.]+ s "
                              r"\([0-9.]+ files/s, [0-9.]+ MB/s, [0-9.]+ megapixels/s\)\n$")
        done, skipped = map(int, re.match(r"(\d+) done, (\d+)", out).groups())
        self.assertEqual(done + skipped, 24)
        self.assertLessEqual(skipped, 4)
        self.assertFalse((self.output / ".recode" / "tmp").exists())

        whole = self.directory / "whole"
        self.assertEqual(self.in_one_process(whole)["bad.png"], "failed")
        self.assertEqual(files_in(self.output), files_in(whole))
        self.assertEqual(len(files_in(whole)), 24)

    def test_only_what_has_changed_is_done_again(self):
        self.fill(6, 40)
        names = ["p00.ppm", "p03.ppm", "more/p01.ppm", "more/p02.ppm", "more/p04.ppm", "more/p05.ppm"]
        self.assertEqual(self.in_one_process(self.output), dict.fromkeys(names, "done"))
        before = files_in(self.output)
        self.assertEqual(self.in_one_process(self.output), dict.fromkeys(names, "skipped"))
        (self.output / "p00.ppm.jp2").unlink()
        (self.output / "p03.ppm.jp2").write_bytes(b"damaged")
        (self.output / ".recode" / "more" / "p01.ppm.json").write_text("{")
        moxj.encode(noise((30, 30)), to=self.source / "more" / "p02.ppm")
        os.utime(self.source / "more" / "p04.ppm")  # a new time, the same content
        again = self.in_one_process(self.output)
        self.assertEqual({name for name, what in again.items() if what == "done"},
                         {"p00.ppm", "p03.ppm", "more/p01.ppm", "more/p02.ppm"})
        after = files_in(self.output)
        self.assertEqual({name for name in after if after[name] != before[name]}, {"more/p02.ppm.jp2"})
        self.assertEqual(set(self.in_one_process(self.output, writing={"ratio": 5}).values()), {"done"})
        record = json.loads((self.output / ".recode" / "p00.ppm.json").read_text())
        self.assertEqual(sorted(record), ["input", "options", "output"])

    def test_an_output_below_the_input(self):
        self.fill(3, 20)
        self.output = self.source / "out"
        names = {"p00.ppm", "more/p01.ppm", "more/p02.ppm"}
        for _ in range(2):
            self.assertEqual(set(self.in_one_process(self.output)), names)

    def test_wrong_command_lines(self):
        for arguments, text in ([str(self.directory / "none"), "x"], "is not a folder"), \
                ([str(self.source)], "output"), \
                ([str(self.source), "x", "--option", "quality"], "name=value"):
            done = subprocess.run([sys.executable, "-B", str(PROGRAM), *arguments], capture_output=True, text=True,
                                  cwd=self.directory, timeout=60)
            self.assertEqual(done.returncode, 2)
            self.assertIn(text, done.stderr)


@needs("dask", "distributed", "numcodecs", "zarr")
class Arrays(PictureTest):
    def test_on_a_given_scheduler(self):
        """An array in the folder of another run: a second one has nothing to do, a lost chunk comes back."""
        with warnings.catch_warnings():
            warnings.simplefilter("ignore")
            import distributed
            import zarr
        array = noise((3, 100, 120), "u2", bits=12)
        source, output = self.directory / "a.zarr", self.directory / "b.zarr"
        zarr.array(array, chunks=(2, 64, 64), store=str(source), fill_value=5).attrs["unit"] = "counts"
        with warnings.catch_warnings():
            warnings.simplefilter("ignore")
            cluster = distributed.LocalCluster(n_workers=1, threads_per_worker=2, processes=False, protocol="tcp://",
                                               host="127.0.0.1", dashboard_address=None, silence_logs=50)
        with cluster:
            def run():
                done = subprocess.run([sys.executable, "-B", str(PROGRAM), str(source), str(output), "--scheduler",
                                       cluster.scheduler_address, "--option", "levels=3", "--chunks", "1,64,64"],
                                      capture_output=True, text=True, timeout=60)
                self.assertEqual((done.returncode, done.stderr), (0, ""))
                return re.match(r"(\d+) done, (\d+) skipped, (\d+) failed .* chunks/s", done.stdout).groups()

            self.assertEqual(run(), ("12", "0", "0"))
            new = zarr.open(str(output), mode="r")
            self.assertSame(new[:], array)
            self.assertEqual((new.chunks, new.fill_value, new.attrs["unit"]), ((1, 64, 64), 5, "counts"))
            self.assertEqual((new.compressor.codec_id, new.compressor.levels), ("moxj_jpeg2000", 3))
            before = files_in(output)
            (output / "1.0.1").unlink()
            self.assertEqual(run(), ("1", "11", "0"))
            self.assertEqual(files_in(output), before)


if __name__ == "__main__":
    unittest.main()

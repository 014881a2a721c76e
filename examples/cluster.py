#!/usr/bin/env python3
"""Re-codes a folder of pictures, or a Zarr array, on Dask distributed.

    cluster.py INPUT OUTPUT [--scheduler ADDRESS | --workers N] [--format jp2] [--option quality=90 ...]

INPUT is a folder: every picture in it, in any format that moxj reads, is written below OUTPUT in the chosen format. Or
it is a Zarr array (a folder with a file .zarray): OUTPUT becomes an array of the same shape whose chunks are coded by a
codec of moxj.numcodecs (--format jpeg2000, jpeg_lossless or jpeg). The workers need moxj and the same file system.

A run that was interrupted goes on where it stopped: for each output, OUTPUT/.recode has a record with the SHA-256 of
the input, of the options and of the output, and what still fits its record is skipped. Outputs and records get their
name when they are complete. What a worker was doing when it died is done again by another one. A file that cannot be
re-coded is reported and does not stop the others.

Exit status: 0 all is done; 2 wrong command line; 3 some failed, their names are in the list at the end.
"""

import argparse
import contextlib
import fcntl
import functools
import hashlib
import itertools
import json
import logging
import os
import pathlib
import shutil
import sys
import tempfile
import time

import distributed

RECORDS = ".recode"
TEMPORARY = "tmp"  # below RECORDS: what workers leave if they die is removed with it
TASKS_PER_THREAD = 3  # in the hands of the scheduler: enough to keep the workers busy, few enough for any folder

def refuse(text):
    print("cluster.py:", text, file=sys.stderr)
    sys.exit(2)


# ---- One task, on a worker ------------------------------------------------------------------------------------------


def sha256(data):
    return hashlib.sha256(data).hexdigest()


def write_whole(output, path, data):
    """Writes a file that is there when it is complete."""
    temporary = output / RECORDS / TEMPORARY / f"{os.getpid()}-{time.monotonic_ns()}"
    temporary.write_bytes(data)
    path.parent.mkdir(parents=True, exist_ok=True)
    os.replace(temporary, path)


def read_if_there(path):
    try:
        return path.read_bytes()
    except FileNotFoundError:
        return None


class Job:
    """Re-codes items, each by its name. A subclass says where things are and how one is coded."""

    UNIT = "files"

    def __init__(self, source, output, options):
        self.source, self.output, self.options = pathlib.Path(source), pathlib.Path(output), options

    def fingerprint(self):
        import moxj
        return sha256(json.dumps([type(self).__name__, self.options, moxj.__version__], sort_keys=True).encode())

    def record_of(self, name):
        return self.output / RECORDS / (name + ".json")

    def run(self, name):
        """Re-codes one item: (name, what became of it, input bytes, pixels, text)."""
        try:
            data = self.read(name)
            wanted = {"input": sha256(data), "options": self.fingerprint()}
            if self.is_done(name, wanted):
                return name, "skipped", 0, 0, ""
            output, pixels = self.code(name, data)
            write_whole(self.output, self.output_of(name), output)
            record = json.dumps({**wanted, "output": sha256(output)}).encode()
            write_whole(self.output, self.record_of(name), record)
            return name, "done", len(data), pixels, ""
        except Exception as error:  # one bad file does not stop the others
            return name, "failed", 0, 0, f"{type(error).__name__}: {error}"

    def is_done(self, name, wanted):
        record, output = read_if_there(self.record_of(name)), read_if_there(self.output_of(name))
        if record is None or output is None:
            return False
        with contextlib.suppress(ValueError):
            return json.loads(record) == {**wanted, "output": sha256(output)}
        return False


class Folder(Job):
    """The pictures in a folder and the folders in it. `options`: format, reading, writing."""

    def prepare(self):
        self.output.mkdir(parents=True, exist_ok=True)

    def names(self):
        for directory, folders, files in os.walk(self.source):
            here = pathlib.Path(directory)
            folders[:] = sorted(name for name in folders if not name.startswith(".")
                                and not (here / name).samefile(self.output))
            yield from (str((here / name).relative_to(self.source)) for name in sorted(files)
                        if not name.startswith("."))

    def read(self, name):
        return (self.source / name).read_bytes()

    def output_of(self, name):
        # The whole name stays: a.png and a.jpg are two outputs.
        return self.output / f"{name}.{self.options['format']}"

    def code(self, name, data):
        import warnings

        import moxj
        with warnings.catch_warnings():
            warnings.simplefilter("ignore", moxj.NoteWarning)
            warnings.simplefilter("error", moxj.IncompleteWarning)
            output = moxj.convert(data, self.options["format"], reading=self.options["reading"],
                                  **self.options["writing"])
        facts = moxj.info(output)
        return output, facts["width"] * facts["height"]


class Chunks(Job):
    """The chunks of a Zarr array. `options`: the configuration of the codec, the shape of chunks or None."""

    UNIT = "chunks"

    def prepare(self):
        import moxj.numcodecs
        import numcodecs
        import zarr
        array = zarr.open(str(self.source), mode="r")
        codec = numcodecs.get_codec(self.options["codec"])
        same = {"shape": array.shape, "dtype": array.dtype, "chunks": tuple(self.options["chunks"] or array.chunks),
                "fill_value": array.fill_value, "order": array.order}
        if (self.output / ".zarray").exists():
            there = zarr.open(str(self.output), mode="r")
            if there.compressor != codec or any(getattr(there, name) != value for name, value in same.items()):
                refuse(f"{self.output} is another array, or has another codec")
        else:
            made = zarr.open(str(self.output), mode="w-", compressor=codec, dimension_separator=".", **same)
            made.attrs.update(array.attrs.asdict())

    _opened = None  # both arrays, for the life of this copy

    @property
    def _arrays(self):
        import moxj.numcodecs
        import zarr
        if not self._opened:
            self._opened = zarr.open(str(self.source), mode="r"), zarr.open(str(self.output), mode="r")
        return self._opened

    def __getstate__(self):
        return {**vars(self), "_opened": None}

    def names(self):
        grid = self._arrays[1].cdata_shape
        return (".".join(map(str, place)) for place in itertools.product(*map(range, grid)))

    def _region(self, name):
        return tuple(slice(int(place) * size, (int(place) + 1) * size)
                     for place, size in zip(name.split("."), self._arrays[1].chunks))

    def read(self, name):
        return self._arrays[0][self._region(name)].tobytes()

    def output_of(self, name):
        return self.output / name

    def code(self, name, data):
        import numpy
        old, new = self._arrays
        region = self._region(name)
        inside = [range(*part.indices(length)) for part, length in zip(region, new.shape)]
        # A chunk at the edge is stored whole.
        chunk = numpy.full(new.chunks, 0 if new.fill_value is None else new.fill_value, new.dtype, order=new.order)
        values = numpy.frombuffer(data, old.dtype).reshape([len(part) for part in inside])
        chunk[tuple(slice(len(part)) for part in inside)] = values
        return new.compressor.encode(chunk), values.size


# ---- The run, where the program was started -------------------------------------------------------------------------


class Progress:
    """Counts what became of the items; one line of it on a terminal."""

    def __init__(self, total, unit, quiet):
        self.counts = {"done": 0, "skipped": 0, "failed": 0}
        self.total, self.unit, self.bytes, self.pixels, self.failures = total, unit, 0, 0, []
        self.begin, self.shown = time.monotonic(), 0
        self.line = sys.stderr.isatty() and not quiet

    def add(self, name, what, size, pixels, text):
        self.counts[what] += 1
        self.bytes += size
        self.pixels += pixels
        if what == "failed":
            self.failures.append((name, text))
        if self.line and (time.monotonic() - self.shown > 0.1 or sum(self.counts.values()) == self.total):
            self.shown = time.monotonic()
            print(f"\r\033[K{sum(self.counts.values())} of {self.total}: {self.summary()}", end="", file=sys.stderr,
                  flush=True)

    def summary(self):
        seconds = max(time.monotonic() - self.begin, 1e-9)
        done = self.counts["done"]
        return (f"{done} done, {self.counts['skipped']} skipped, {self.counts['failed']} failed in {seconds:.1f} s "
                f"({done / seconds:.1f} {self.unit}/s, {self.bytes / seconds / 1e6:.1f} MB/s, "
                f"{self.pixels / seconds / 1e6:.1f} megapixels/s)")

    def end(self):
        if self.line:
            print(file=sys.stderr)
        for name, text in sorted(self.failures):
            print(f"failed: {name}: {text}", file=sys.stderr)
        print(self.summary())


def run(client, job, names, progress):
    """Gives the names to the workers, a few for each at a time, and counts what comes back."""
    names = iter(names)
    threads = max(sum(client.nthreads().values()), 1)
    submit = functools.partial(client.submit, job.run, pure=False)
    first = {submit(name): name for name in itertools.islice(names, threads * TASKS_PER_THREAD)}
    waiting = distributed.as_completed(first)
    open_names = {future.key: name for future, name in first.items()}
    for future in waiting:
        name = open_names.pop(future.key)
        if future.status == "finished":
            progress.add(*future.result())
        else:  # it took too many workers with it
            progress.add(name, "failed", 0, 0, str(future.exception()))
        future.release()
        for name in itertools.islice(names, 1):
            future = submit(name)
            open_names[future.key] = name
            waiting.add(future)


@contextlib.contextmanager
def alone_in(output):
    """Keeps other runs away from an output, and removes what they left unfinished."""
    records = output / RECORDS
    records.mkdir(parents=True, exist_ok=True)
    with open(records / "lock", "w", encoding="utf-8") as lock:
        try:
            fcntl.flock(lock, fcntl.LOCK_EX | fcntl.LOCK_NB)
        except BlockingIOError:
            refuse(f"another run writes to {output}")
        shutil.rmtree(records / TEMPORARY, ignore_errors=True)
        (records / TEMPORARY).mkdir()
        try:
            yield
        finally:
            shutil.rmtree(records / TEMPORARY, ignore_errors=True)


@contextlib.contextmanager
def connected(given):
    """A client of the given scheduler, or of a new cluster on this machine."""
    with contextlib.ExitStack() as stack:
        address = given.scheduler
        if not address:
            directory = stack.enter_context(tempfile.TemporaryDirectory())
            address = stack.enter_context(distributed.LocalCluster(
                n_workers=given.workers, threads_per_worker=1, processes=True, dashboard_address=None,
                silence_logs=logging.CRITICAL, local_directory=directory))
        try:
            client = stack.enter_context(distributed.Client(address, timeout=10))
        except OSError as error:
            refuse(f"the scheduler {address} cannot be reached: {error}")
        yield client


def option(text):
    """name=value, where the value is a number, true, false or a word."""
    name, separator, value = text.partition("=")
    if not separator:
        raise argparse.ArgumentTypeError(f"{text} is not name=value")
    with contextlib.suppress(ValueError):
        value = json.loads(value)
    return name, value


def command_line():
    parser = argparse.ArgumentParser(description=__doc__.partition("\n\n")[0], epilog=__doc__.partition("\n\n")[2],
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("input", type=pathlib.Path)
    parser.add_argument("output", type=pathlib.Path)
    parser.add_argument("--scheduler", metavar="ADDRESS", help="of a running cluster, such as tcp://host:8786")
    parser.add_argument("--workers", type=int, default=os.cpu_count(), metavar="N",
                        help="processes of a cluster on this machine (one per processor)")
    parser.add_argument("--format", help="of a folder's pictures: jp2 (default), jpg, png ...; of a Zarr array: "
                                         "jpeg2000 (default), jpeg_lossless, jpeg")
    parser.add_argument("--option", type=option, action="append", default=[], metavar="NAME=VALUE",
                        help="of moxj.encode() or of the codec, such as quality=90 or ratio=10")
    parser.add_argument("--reading", type=option, action="append", default=[], metavar="NAME=VALUE",
                        help="of moxj.decode(), such as reduce=1; not for Zarr")
    parser.add_argument("--chunks", metavar="N,N...", help="the shape of the new chunks (that of the old ones)")
    parser.add_argument("--quiet", action="store_true", help="no line of progress")
    return parser.parse_args()


def job_for(given):
    if (given.input / ".zarray").exists():
        chunks = [int(size) for size in given.chunks.split(",")] if given.chunks else None
        codec = {"id": "moxj_" + (given.format or "jpeg2000"), **dict(given.option)}
        return Chunks(given.input.resolve(), given.output.resolve(), {"codec": codec, "chunks": chunks})
    if not given.input.is_dir():
        refuse(f"{given.input} is not a folder")
    return Folder(given.input.resolve(), given.output.resolve(),
                  {"format": given.format or "jp2", "reading": dict(given.reading), "writing": dict(given.option)})


def main():
    given = command_line()
    job = job_for(given)
    job.prepare()
    with alone_in(job.output):
        names = list(job.names())
        with connected(given) as client:
            progress = Progress(len(names), job.UNIT, given.quiet)
            run(client, job, names, progress)
            progress.end()
    return 3 if progress.failures else 0


if __name__ == "__main__":
    sys.exit(main())

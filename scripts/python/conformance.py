"""Judges the decoder by codestreams and reference decodings as ISO/IEC 15444-4 has them.

usage: scripts/conformance DIR

DIR is searched with all its folders for
  codestreams   p0_01.j2k ... p1_07.j2k, and any other .j2k, .j2c, .jpc, .jp2, .jpx or .jph file
  references    of class 0: c0p0_01.pgx, or c0p0_03r1.pgx at a reduced resolution: the first component
                of class 1: c1p0_01_0.pgx, c1p0_01_1.pgx ...: each component at full resolution
                of others: NAME_0.pgx or NAME.pgx for NAME.j2k
                of JP2 files: jp2_1.tif for file1.jp2, or the name of the file with .tif, .ppm or .pgm
The resolution of a reference of class 0 follows from its size.

A component passes if its largest difference and its mean square error are within the limits of class 1, where the table
below has them. Otherwise its mean square error must be no larger, to three decimals as in the standard, than that of
the best of opj_decompress, grk_decompress and ffmpeg, as far as they are installed and read the file.

The decoder is $MOXJ; without it, the one of build/release, which is built.

exit status: 0 all passed, 1 a component missed, 2 nothing to judge or wrong use"""

import array
import collections
import concurrent.futures
import json
import operator
import os
import pathlib
import re
import shutil
import struct
import subprocess
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
STREAMS = {".j2k", ".j2c", ".jpc", ".jp2", ".jpx", ".jph"}
TIMEOUT = 300  # seconds for one run of a decoder
MAX_REDUCTION = 32

# The limits of class 1: (largest difference, mean square error) for each component.
EXACT = (0, 0)
LIMITS = {
    "p0_04": [(5, 0.776), (4, 0.626), (6, 1.070)],
    "p0_05": [(2, 0.302), (2, 0.307), (2, 0.269), EXACT],
    "p0_06": [(635, 11287), (403, 6124), (378, 3968), EXACT],
    "p1_02": [(5, 0.765), (4, 0.616), (6, 1.051)],
    "p1_03": [(2, 0.3), (2, 0.210), (1, 0.200), EXACT],
    "p1_04": [(624, 3080)],
    "p1_05": [(40, 8.458), (40, 9.716), (40, 10.154)],
    "p1_06": [(2, 0.6), (2, 0.6), (2, 0.6)],
    **{f"p0_{n:02}": [EXACT] * 4 for n in (1, 2, 3, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16)},
    **{f"p1_{n:02}": [EXACT] * 4 for n in (1, 7)},
}


class Unread(Exception):
    """A file that is none of its kind, or of a kind that is not read here."""


class Plane(collections.namedtuple("Plane", "width height samples")):
    """Samples as integers, row by row."""

    @property
    def size(self):
        return self.width, self.height


# ---- Files of samples ------------------------------------------------------------------------------------------------


def numbers(data, size, big, signed=False):
    """An array of integers of 1, 2 or 4 bytes."""
    values = array.array({1: "bB", 2: "hH", 4: "iI"}[size][not signed])
    values.frombytes(data)
    if size > 1 and big != (sys.byteorder == "big"):
        values.byteswap()
    return values


def read_pgx(data):
    found = re.match(rb"PG[ \t]+(ML|LM)[ \t]*([+-]?)[ \t]*(\d+)[ \t]+(\d+)[ \t]+(\d+)[ \t]*\r?\n", data)
    if not found:
        raise Unread("not a PGX file")
    order, sign, bits, width, height = found[1], found[2], *map(int, found.groups()[2:])
    size = 4 if bits > 16 else 2 if bits > 8 else 1
    raster = data[found.end():found.end() + width * height * size]
    if len(raster) < width * height * size:
        raise Unread("a PGX file that is cut off")
    samples = numbers(raster, size, order == b"ML", sign == b"-")
    if bits < 8 * size:  # the other bits may be anything
        mask, half = (1 << bits) - 1, 1 << bits - 1 if sign == b"-" else 0
        samples = array.array("q", (((value & mask) ^ half) - half for value in samples))
    return [Plane(width, height, samples)]


def read_pnm(data):
    found = re.match(rb"P([56])\s+(?:#[^\n]*\n\s*)*(\d+)\s+(\d+)\s+(\d+)\s", data)
    if not found:
        raise Unread("not a PPM or PGM file")
    channels = 3 if found[1] == b"6" else 1
    width, height, maxval = map(int, found.groups()[1:])
    size = 2 if maxval > 255 else 1
    samples = numbers(data[found.end():found.end() + width * height * channels * size], size, True)
    return [Plane(width, height, samples[c::channels]) for c in range(channels)]


def read_tiff(data):
    """Uncompressed strips of 8 or 16 bits."""
    order = {b"II*\0": "<", b"MM\0*": ">"}.get(data[:4])
    if order is None:
        raise Unread("not a TIFF file")
    tags = {}
    at, = struct.unpack(order + "I", data[4:8])
    count, = struct.unpack(order + "H", data[at:at + 2])
    for entry in range(at + 2, at + 2 + 12 * count, 12):
        tag, kind, number = struct.unpack(order + "HHI", data[entry:entry + 8])
        letter = {1: "B", 3: "H", 4: "I"}.get(kind)
        if letter is None:
            continue
        size = number * struct.calcsize(letter)
        place = entry + 8 if size <= 4 else struct.unpack(order + "I", data[entry + 8:entry + 12])[0]
        tags[tag] = struct.unpack(f"{order}{number}{letter}", data[place:place + size])
    width, height, channels = tags[256][0], tags[257][0], tags.get(277, (1, ))[0]
    bits = tags.get(258, (1, ))
    if tags.get(259, (1, ))[0] != 1 or 322 in tags or len(set(bits)) != 1 or bits[0] not in (8, 16):
        raise Unread("a TIFF file with compression, tiles or other depths than 8 and 16 bits")
    raster = b"".join(data[place:place + size] for place, size in zip(tags[273], tags[279]))
    samples = numbers(raster, bits[0] // 8, order == ">")
    if tags.get(284, (1, ))[0] == 2:
        size = width * height
        return [Plane(width, height, samples[c * size:c * size + size]) for c in range(channels)]
    return [Plane(width, height, samples[c::channels]) for c in range(channels)]


def read_picture(path):
    reader = {".pgx": read_pgx, ".tif": read_tiff, ".tiff": read_tiff}.get(path.suffix.lower(), read_pnm)
    try:
        return reader(path.read_bytes())
    except (struct.error, KeyError, ValueError, OSError) as error:
        raise Unread(f"{path.name} cannot be read: {error}") from error


# ---- Decoders --------------------------------------------------------------------------------------------------------


def run(directory, *words):
    """The files that a decoder has written, in the order of their numbers; nothing if it failed."""
    try:
        result = subprocess.run(list(map(str, words)), cwd=directory, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                                timeout=TIMEOUT)
    except subprocess.TimeoutExpired:
        return [], "takes too long"
    number = re.compile(r"_(\d+)\.\w+$")
    files = sorted(pathlib.Path(directory).iterdir(),
                   key=lambda path: int(found[1]) if (found := number.search(path.name)) else 0)
    text = result.stdout.decode(errors="replace").strip().splitlines()
    return ([] if result.returncode else files), (text[-1] if text else f"status {result.returncode}")


def by_moxj(directory, stream, reduction, picture):
    if picture:
        return run(directory, moxj(), "decode", stream, f"out{picture}", "--quiet")
    return run(directory, moxj(), "decode", stream, "out.pgx", "--components", "--quiet",
               *(["--reduce", reduction] if reduction else []))


def by_peer(program):
    return lambda directory, stream, reduction, picture: run(
        directory, program, "-i", stream, "-o", f"out{picture or '.pgx'}", *(["-r", reduction] if reduction else []))


def by_ffmpeg(directory, stream, reduction, picture):
    """Only pictures: it has no file format for components."""
    if not picture and components_of(stream) != 1:
        return [], "not read as components"
    return run(directory, "ffmpeg", "-v", "error", "-lowres", reduction, "-i", stream, "-frames:v", 1,
               f"out{picture or '.pgm'}")


def components_of(stream):
    result = subprocess.run([moxj(), "info", "--json", stream], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
    return len(json.loads(result.stdout)["components"]) if result.returncode == 0 else 0


PEERS = {"opj_decompress": by_peer("opj_decompress"), "grk_decompress": by_peer("grk_decompress"), "ffmpeg": by_ffmpeg}


def moxj():
    return os.environ.get("MOXJ") or ROOT / "build/release/bin/moxj"


def build():
    if os.environ.get("MOXJ"):
        return
    for words in (["cmake", "--preset", "release", "-DMOXJ_BUILD_TESTS=OFF"],
                  ["cmake", "--build", "build/release", "--target", "moxj", "-j", str(os.cpu_count())]):
        subprocess.run(words, cwd=ROOT, check=True, stdout=subprocess.DEVNULL)


def decoded(decoder, stream, reduction=0, picture=""):
    """The planes, or why there are none. `picture` is the extension of a picture, instead of components."""
    with tempfile.TemporaryDirectory() as directory:
        files, text = decoder(directory, stream.resolve(), reduction, picture)
        try:
            return [plane for path in files for plane in read_picture(path)] or text
        except Unread as error:
            return str(error)


# ---- Judging ---------------------------------------------------------------------------------------------------------


def difference(a, b):
    """The largest difference and the mean square error; nothing if the sizes differ."""
    if a is None or a.size != b.size or len(a.samples) != len(b.samples):
        return None
    differences = list(map(operator.sub, a.samples, b.samples))
    return max(map(abs, differences)), sum(map(operator.mul, differences, differences)) / len(differences)


class Reference(collections.namedtuple("Reference", "path name component limit picture")):
    """A file with the samples of a component of a stream, or (component None) with a whole picture."""


def references_of(stream, files):
    """Those of a stream, nearest first where several have the same name."""
    stem, found = stream.stem.lower(), []
    numbered = re.fullmatch(r"file(\d+)", stem)
    for path in files:
        name, suffix = path.stem.lower(), path.suffix.lower()
        if suffix == ".pgx":
            match = re.fullmatch(rf"(?:c([01]))?{re.escape(stem)}(?:[-_]?r\d+)?(?:[-_](\d+))?", name)
            if match:
                component = int(match[2] or 0)
                limits = LIMITS.get(stem, []) if match[1] == "1" else []
                limit = limits[component] if component < len(limits) else None
                found.append(Reference(path, f"c{match[1]}" if match[1] else "-", component, limit, ""))
        elif suffix in (".tif", ".tiff", ".ppm", ".pgm"):
            if name == stem or numbered and name == f"jp2_{numbered[1]}":
                found.append(Reference(path, "-", None, None, suffix))
    return sorted(found, key=lambda one: (one.path.parent != stream.parent, str(one.path)))


def plane_of(planes, number):
    return planes[number] if isinstance(planes, list) and number < len(planes) else None


class Judge:
    """Decodes each stream once at each resolution, by each decoder."""

    def __init__(self, stream, peers):
        self.stream, self.peers, self.known = stream, peers, {}

    def planes(self, name, reduction, picture=""):
        key = name, reduction, picture
        if key not in self.known:
            decoder = by_moxj if name == "moxj" else PEERS[name]
            self.known[key] = decoded(decoder, self.stream, reduction, picture)
        return self.known[key]

    def reduction_of(self, plane, component):
        """The first at which the component has the size of its reference."""
        for reduction in range(MAX_REDUCTION + 1):
            planes = self.planes("moxj", reduction)
            own = plane_of(planes, component)
            if own is None or own.size == plane.size:
                return reduction if own else 0
            if own.width * own.height == 1:
                break
        return 0

    def rows(self, reference):
        """(component, peak, error, limit, passed) for each component of a reference."""
        try:
            wanted = read_picture(reference.path)
        except Unread as error:
            yield "", None, None, str(error), False
            return
        if reference.picture:
            picture = ".ppm" if len(wanted) >= 3 else ".pgm"
            for number, plane in enumerate(wanted[:3]):
                yield self.row(f"{number}", plane, number, None, 0, picture)
            return
        plane, number = wanted[0], reference.component
        reduction = self.reduction_of(plane, number)
        name = f"{number} {reference.name}" + (f" r{reduction}" if reduction else "")
        yield self.row(name, plane, number, reference.limit, reduction, "")

    def row(self, name, plane, number, limit, reduction, picture):
        planes = self.planes("moxj", reduction, picture)
        own = plane_of(planes, number)
        ours = difference(own, plane)
        if ours is None:
            why = planes if isinstance(planes, str) else "no such component" if own is None else \
                f"{own.width} x {own.height} instead of {plane.width} x {plane.height}"
            return name, None, None, why, False
        if limit:
            return name, *ours, f"{limit[0]}, {limit[1]:.3f}", ours[0] <= limit[0] and ours[1] <= limit[1]
        errors = {}
        for peer in self.peers:
            theirs = difference(plane_of(self.planes(peer, reduction, picture), number), plane)
            if theirs:
                errors[peer] = round(theirs[1], 3)
        if not errors:
            return name, *ours, "no peer reads it", ours[0] == 0
        best = min(errors, key=errors.get)
        return name, *ours, f"{best} {errors[best]:.3f}", round(ours[1], 3) <= errors[best]


def judged(stream, files, peers):
    judge = Judge(stream, peers)
    return [row for reference in references_of(stream, files) for row in judge.rows(reference)]


def main(arguments):
    if len(arguments) != 1 or arguments[0].startswith("-"):
        print(__doc__, file=sys.stdout if {"-h", "--help"} & set(arguments) else sys.stderr)
        return 0 if {"-h", "--help"} & set(arguments) else 2
    root = pathlib.Path(arguments[0])
    files = sorted(path for path in root.rglob("*") if path.is_file()) if root.is_dir() else []
    streams = [path for path in files if path.suffix.lower() in STREAMS]
    if not streams:
        print(f"conformance: {root}: " + ("no codestream or JP2 file" if root.is_dir() else "no such folder"),
              file=sys.stderr)
        return 2
    with_references = [path for path in streams if references_of(path, files)]
    if not with_references:
        print(f"conformance: {root}: no reference of any of {len(streams)} streams", file=sys.stderr)
        return 2
    build()
    peers = [name for name in PEERS if shutil.which(name)]
    for name in PEERS.keys() - peers:
        print(f"{name} is not installed", file=sys.stderr)
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        results = pool.map(lambda stream: judged(stream, files, peers), with_references)
        return report(root, streams, with_references, results)


def report(root, streams, with_references, results):
    width = max(len(str(path.relative_to(root))) for path in with_references)
    print(f"{'file':{width}}  component      peak  mean square  {'limit, or best of the others':30}  verdict")
    passed = missed = 0
    for stream, rows in zip(with_references, results):
        for name, peak, error, limit, good in rows:
            figures = f"{peak:8}  {error:11.3f}" if peak is not None else f"{'-':>8}  {'-':>11}"
            print(f"{str(stream.relative_to(root)):{width}}  {name:9}  {figures}  {limit:30}  "
                  f"{'passed' if good else 'MISSED'}", flush=True)
            passed, missed = passed + good, missed + (not good)
    print(f"{passed} components passed, {missed} missed")
    for stream in streams:
        if stream not in with_references:
            print(f"not judged, no reference: {stream.relative_to(root)}")
    return 1 if missed else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))

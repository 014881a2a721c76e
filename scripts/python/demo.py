"""Compares moxj with cjpeg, djpeg and opj_compress on photographs: builds, encodes and decodes at several qualities,
samplings and sizes, prints the results and writes demo-output/index.html.

usage: scripts/demo [--runs N]     N interleaved runs for each time, 11 by default"""

import argparse
import json
import os
import pathlib
import shutil
import statistics
import subprocess
import sys
import tempfile
import time

import numpy
from PIL import Image

import demo_2000
import demo_page

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
BUILD = ROOT / "build/demo"
MOXJ = BUILD / "bin/moxj"
PHOTOS = ROOT / "build/photographs"
WORK = BUILD / "files"
OUTPUT = ROOT / "demo-output"

# Left upper corner of the part that the page enlarges.
CROPS = {"astronaut": (176, 60), "chelsea": (150, 66), "coffee": (300, 110), "camera": (196, 70)}
CROP_SIZE = 96
QUALITIES = [25, 50, 75, 90, 95]
SAMPLINGS = {"4:4:4": "1x1", "4:2:2": "2x1", "4:2:0": "2x2"}  # as moxj and as cjpeg call them
TIMED_QUALITIES = [75, 95]


def run(*command, **options):
    return subprocess.run([str(part) for part in command], check=True, text=True, **options)


# ---- What is needed --------------------------------------------------------------------------------------------------


def prepare():
    print("Building moxj", flush=True)
    log = ROOT / "build/demo.log"
    log.parent.mkdir(exist_ok=True)
    with log.open("w") as output:
        try:
            run(
                "cmake",
                "--preset",
                "release",
                "-B",
                BUILD,
                "-DMOXJ_BUILD_TESTS=OFF",
                cwd=ROOT,
                stdout=output,
                stderr=output,
            )
            run("cmake", "--build", BUILD, "-j", os.cpu_count(), "--target", "moxj", stdout=output, stderr=output)
        except subprocess.CalledProcessError:
            sys.exit(log.read_text()[-3000:] + f"\nThe build failed; the whole log is {log}")
    for directory in (PHOTOS, WORK):
        directory.mkdir(parents=True, exist_ok=True)
    shutil.rmtree(OUTPUT, ignore_errors=True)
    OUTPUT.mkdir()


def generate_picture():
    """A substitute if there are no photographs: a sky, hills with noise, and edges."""
    noise = numpy.random.default_rng(1)
    y, x = numpy.mgrid[0:600, 0:800]
    sky = numpy.stack([110 + y / 6, 150 + y / 8, 230 - y / 10], axis=2)
    hills = y > 330 + 60 * numpy.sin(x / 90) + 25 * numpy.sin(x / 23)
    grass = numpy.stack([60 + y / 20, 120 - y / 15, 40 + x / 40], axis=2) + noise.normal(0, 14, (600, 800, 1))
    sun = (x - 620) ** 2 + (y - 110) ** 2 < 60 ** 2
    picture = numpy.where(hills[..., None], grass, sky)
    picture[sun] = (255, 236, 150)
    Image.fromarray(picture.clip(0, 255).astype("uint8")).save(PHOTOS / "generated.png")


def pictures():
    """The pictures' names, and whether they are photographs."""
    run(ROOT / "scripts/photos")
    if all((PHOTOS / f"{name}.png").exists() for name in CROPS):
        return list(CROPS), True
    generate_picture()
    return ["generated"], False


# ---- What it does ----------------------------------------------------------------------------------------------------


def is_grey(picture):
    return picture.mode == "L"


def codecs(source, quality, sampling, directory, stem):
    """For each codec: its name, its JPEG file, its decoded picture, and the commands that make them. Pictures are
    decoded to PNM; both codecs write a grey one as PGM (djpeg under any name)."""
    ours, theirs = directory / f"{stem}-moxj.jpg", directory / f"{stem}-cjpeg.jpg"
    sample = [] if sampling == "grey" else ["--sample", sampling]
    their_sample = [] if sampling == "grey" else ["-sample", SAMPLINGS[sampling]]
    return [
        ("moxj", ours, ours.with_suffix(".pnm"),
         [MOXJ, "encode", source, ours, "--quality", quality, *sample, "--threads", 1, "--quiet"],
         [MOXJ, "decode", ours, ours.with_suffix(".pnm"), "--threads", 1, "--quiet"]),
        ("libjpeg-turbo", theirs, theirs.with_suffix(".pnm"),
         ["cjpeg", "-quality", quality, *their_sample, "-outfile", theirs, source],
         ["djpeg", "-outfile", theirs.with_suffix(".pnm"), theirs]),
    ]


def trials(name):
    """Sizes and errors of both codecs for every quality and sampling of a picture."""
    source = WORK / f"{name}.ppm"
    with Image.open(PHOTOS / f"{name}.png") as picture:
        picture.save(source)
        pixels, samplings = picture.width * picture.height, ["grey"] if is_grey(picture) else list(SAMPLINGS)
    results = []
    for sampling in samplings:
        for quality in QUALITIES:
            trial = {"picture": name, "sampling": sampling, "quality": quality}
            stem = f"{name}-{sampling}-{quality}"
            for codec, coded, decoded, encode, decode in codecs(source, quality, sampling, WORK, stem):
                run(*encode)
                run(*decode)
                found = json.loads(run(MOXJ, "compare", source, decoded, "--json", capture_output=True).stdout)["all"]
                size = coded.stat().st_size
                trial[codec] = {"bytes": size, "bpp": 8 * size / pixels, "psnr": found["psnr"], "ssim": found["ssim"]}
            results.append(trial)
    return results


def seconds(command):
    """The elapsed time and the processor time of a command."""
    start = time.perf_counter()
    child = os.posix_spawnp(str(command[0]), [str(part) for part in command], os.environ)
    _, status, usage = os.wait4(child, 0)
    elapsed = time.perf_counter() - start
    if status != 0:
        sys.exit(f"{' '.join(map(str, command))} failed")
    return elapsed, usage.ru_utime + usage.ru_stime


def speed(name, quality, runs, directory):
    """Runs both codecs alternately; the median time of each, and the median ratio of adjacent runs."""
    source = WORK / f"{name}.ppm"
    with Image.open(source) as picture:
        megapixels, sampling = picture.width * picture.height / 1e6, "grey" if is_grey(picture) else "4:2:0"
    result = {"picture": name, "megapixels": megapixels, "quality": quality}
    ours, theirs = codecs(source, quality, sampling, directory, name)
    for action, step in (("encode", 3), ("decode", 4)):
        pairs = [(seconds(ours[step]), seconds(theirs[step])) for _ in range(runs + 1)][
            1:
        ]  # without the first, cold one
        result[action] = {
            "moxj": megapixels / statistics.median(mine[0] for mine, _ in pairs),
            "libjpeg-turbo": megapixels / statistics.median(other[0] for _, other in pairs),
            "ratio": statistics.median(other[0] / mine[0] for mine, other in pairs),
            "processor": statistics.median(other[1] / mine[1] for mine, other in pairs),
        }
    return result


def make_mosaic(names):
    """The pictures repeated to 4096 x 3072: so large that the start of a program hardly matters."""
    mosaic = Image.new("RGB", (4096, 3072))
    x = y = row = 0
    while y < mosaic.height:
        for name in names:
            with Image.open(PHOTOS / f"{name}.png") as picture:
                mosaic.paste(picture, (x, y))
                x, row = x + picture.width, max(row, picture.height)
            if x >= mosaic.width:
                x, y, row = 0, y + row, 0
    mosaic.save(WORK / "mosaic.ppm")


# ---- What it shows ---------------------------------------------------------------------------------------------------


def print_trials(results):
    print(f"\n{'':29}{'moxj':>12}{'':25}{'libjpeg-turbo':>12}")
    print(f"{'picture':12}{'sampling':10}{'quality':>7}" + f"{'bytes':>12}{'bits/px':>9}{'PSNR':>8}{'SSIM':>8}" * 2)
    for t in results:
        print(
            f"{t['picture']:12}{t['sampling']:10}{t['quality']:7}"
            + "".join(
                f"{c['bytes']:12}{c['bpp']:9.3f}{c['psnr'] or float('inf'):8.2f}{c['ssim']:8.4f}"
                for c in (t["moxj"], t["libjpeg-turbo"])
            )
        )


def print_speeds(results, runs):
    print(f"\nMegapixels per second, one thread, whole programs from file to file: medians of {runs} interleaved runs")
    print(f"{'':19}" + "".join(f"{action:>8}:{'moxj':>5}{peer:>8}{'ratio':>7}{'(CPU)':>8}" for action, peer in
                               (("encode", "cjpeg"), ("decode", "djpeg"))))
    for s in results:
        print(
            f"{s['picture']:12}{s['quality']:7}"
            + "".join(
                f"{a['moxj']:14.1f}{a['libjpeg-turbo']:8.1f}{a['ratio']:7.2f}{a['processor']:8.2f}"
                for a in (s["encode"], s["decode"])
            )
        )


def main():
    parser = argparse.ArgumentParser(prog="scripts/demo", description=__doc__.split("\n\n")[0])
    parser.add_argument("--runs", type=int, default=11, metavar="N", help="interleaved runs for each time (11)")
    runs = parser.parse_args().runs
    prepare()
    names, photographs = pictures()
    print(f"Encoding and decoding {', '.join(names)}", flush=True)
    results = [trial for name in names for trial in trials(name)]
    print_trials(results)
    results_2000 = [trial for name in names for trial in demo_2000.trials(MOXJ, WORK, name, results)]
    demo_2000.print_trials(results_2000)
    print("\nMeasuring speed", flush=True)
    make_mosaic(names)
    # In memory if possible, because disks are not what is compared.
    with tempfile.TemporaryDirectory(dir="/dev/shm" if os.access("/dev/shm", os.W_OK) else None) as directory:
        speeds = [speed(name, quality, runs, pathlib.Path(directory))
                  for quality in TIMED_QUALITIES for name in [*names, "mosaic"]]
    print_speeds(speeds, runs)
    demo_page.write(
        OUTPUT,
        {
            "names": names,
            "photographs": photographs,
            "photographs_directory": PHOTOS,
            "files": WORK,
            "trials": results,
            "trials_2000": results_2000,
            "speeds": speeds,
            "runs": runs,
            "crops": CROPS,
            "crop": CROP_SIZE,
        },
    )
    (OUTPUT / "figures.json").write_text(
        json.dumps({"pictures": results, "jpeg2000": results_2000, "speeds": speeds}, indent=1) + "\n"
    )
    print(f"\nThe pictures and all figures: {OUTPUT.relative_to(ROOT)}/index.html")


if __name__ == "__main__":
    main()

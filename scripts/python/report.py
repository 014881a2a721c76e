"""Writes one page on how good and how fast the coders are: size against PSNR and SSIM, crops side by side, functions on
each instruction set, files beside other programs, threads. Everything is in the page: build/report/index.html.

usage: scripts/report [OPTIONS]
  --moxj PROGRAM   default build/release/bin/moxj
  --output DIR     default build/report
  --picture PPM    one of your own instead of the photographs of scripts/photos
  --seconds S      for the functions; default 60
  --quick          few points and short measurements: to try it

PSNR and SSIM are ffmpeg's (filters psnr and ssim), and djpeg and opj_decompress decode the files: nothing is judged by
our own code.
"""

import argparse
import base64
import hashlib
import html
import io
import json
import os
import pathlib
import platform
import re
import shutil
import subprocess
import sys
import tempfile
import time

import matplotlib
from PIL import Image

matplotlib.use("svg")
matplotlib.rcParams.update({"svg.hashsalt": "moxj", "font.size": 9, "axes.grid": True, "axes.axisbelow": True,
                            "grid.alpha": 0.3})
from matplotlib import pyplot  # noqa: E402

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
QUALITIES, RATIOS = [10, 20, 30, 45, 60, 75, 85, 92], [160, 80, 48, 32, 20, 12, 8]
SHOWN_BITS = 0.5  # per pixel, of the crops
CROP, ZOOM = 184, 2
TICKS = [0.1, 0.2, 0.5, 1, 2, 5]  # bits per pixel

# name, colour, line, kind, command for a step of quality or a ratio
CODERS = [
    ("moxj JPEG sequential", "#1f77b4", ":", "jpg", lambda m, s, d, x: [m, "encode", s, d, "--quality", x]),
    ("moxj JPEG optimised", "#1f77b4", "--", "jpg",
     lambda m, s, d, x: [m, "encode", s, d, "--quality", x, "--optimize"]),
    ("moxj JPEG progressive", "#1f77b4", "-", "jpg",
     lambda m, s, d, x: [m, "encode", s, d, "--quality", x, "--progressive"]),
    ("cjpeg sequential", "#ff7f0e", ":", "jpg", lambda m, s, d, x: ["cjpeg", "-quality", x, "-outfile", d, s]),
    ("cjpeg optimised", "#ff7f0e", "--", "jpg",
     lambda m, s, d, x: ["cjpeg", "-quality", x, "-optimize", "-outfile", d, s]),
    ("cjpeg progressive", "#ff7f0e", "-", "jpg",
     lambda m, s, d, x: ["cjpeg", "-quality", x, "-progressive", "-outfile", d, s]),
    ("moxj JPEG 2000", "#2ca02c", "-", "j2k", lambda m, s, d, x: [m, "encode", s, d, "--ratio", x]),
    ("opj_compress", "#d62728", "-", "j2k", lambda m, s, d, x: ["opj_compress", "-i", s, "-o", d, "-I", "-r", x]),
    ("grk_compress", "#9467bd", "-", "j2k", lambda m, s, d, x: ["grk_compress", "-i", s, "-o", d, "-I", "-r", x]),
]


def run(command):
    done = subprocess.run([str(word) for word in command], capture_output=True, text=True)
    if done.returncode != 0:
        sys.exit(f"{' '.join(map(str, command))} failed:\n{done.stdout}{done.stderr}")
    return done.stdout


def metrics(a, b):
    """PSNR in dB and SSIM, over red, green and blue."""
    graph = "[0:v]format=gbrp,split[a][b];[1:v]format=gbrp,split[c][d];[a][c]ssim[x];[b][d]psnr[y]"
    done = subprocess.run(["ffmpeg", "-hide_banner", "-i", a, "-i", b, "-lavfi", graph, "-map", "[x]", "-map", "[y]",
                           "-f", "null", "-"], capture_output=True, text=True)
    psnr, ssim = re.search(r"PSNR .*average:([\d.]+|inf)", done.stderr), re.search(r"SSIM .*All:([\d.]+)", done.stderr)
    if done.returncode != 0 or not psnr or not ssim:
        sys.exit(f"ffmpeg failed: {done.stderr}")
    return float(psnr[1]), float(ssim[1])


class Trials:
    """All codings of one picture."""

    def __init__(self, moxj, source, work, quick):
        self.source, self.work, self.known = source, work, {}
        with Image.open(source) as picture:
            self.width, self.height = picture.size
        steps = {"jpg": QUALITIES[2::3] if quick else QUALITIES, "j2k": RATIOS[1::3] if quick else RATIOS}
        self.of = {}
        for name, _, _, kind, command in CODERS:
            if shutil.which(command(moxj, "", "", "1")[0]):
                self.of[name] = sorted(self.trial(kind, command, moxj, str(step)) for step in steps[kind])

    def trial(self, kind, command, moxj, step):
        """(bits per pixel, PSNR, SSIM, decoded picture)"""
        coded = self.work / f"coded.{kind}"
        run(command(moxj, self.source, coded, step))
        bits = 8 * coded.stat().st_size / (self.width * self.height)
        plain = self.work / "decoded.ppm"
        run(["djpeg", "-outfile", plain, coded] if kind == "jpg" else ["opj_decompress", "-i", coded, "-o", plain])
        digest = hashlib.sha256(plain.read_bytes()).hexdigest()
        if digest not in self.known:
            kept = self.work / f"{digest}.ppm"
            shutil.move(plain, kept)
            self.known[digest] = *metrics(self.source, kept), kept
        return bits, *self.known[digest]


def svg(figure):
    text = io.StringIO()
    figure.savefig(text, format="svg", bbox_inches="tight")
    pyplot.close(figure)
    return text.getvalue().partition("<svg")[1] + text.getvalue().partition("<svg")[2]


def curves(trials):
    """Our curves are thin, above thick ones of the peers: where they are equal, both are seen."""
    figure, axes = pyplot.subplots(1, 2, figsize=(12, 4.2))
    for name, colour, line, *_ in CODERS:
        if name in trials.of:
            ours = name.startswith("moxj")
            for axis, column in zip(axes, (1, 2)):
                axis.plot([t[0] for t in trials.of[name]], [t[column] for t in trials.of[name]], line, color=colour,
                          label=name, marker=".", markersize=4 if ours else 6, linewidth=1.2 if ours else 3,
                          alpha=1 if ours else 0.5, zorder=3 if ours else 2)
    sizes = [trial[0] for of_coder in trials.of.values() for trial in of_coder]
    for axis, label in zip(axes, ("PSNR, dB", "SSIM")):
        axis.set(xlabel="bits per pixel", ylabel=label, xscale="log")
        axis.set_xticks([tick for tick in TICKS if min(sizes) / 1.5 < tick < max(sizes) * 1.5])
        axis.set_xticks([], minor=True)
        axis.xaxis.set_major_formatter("{x:g}")
    axes[1].legend(fontsize=8, loc="center left", bbox_to_anchor=(1.02, 0.5))
    return svg(figure)


def crops(trials):
    """Of each coder the coding nearest to the shown size; the middle of the picture, enlarged."""
    side = min(CROP, trials.width, trials.height)
    left, top = (trials.width - side) // 2, (trials.height - side) // 2
    figures = []

    def show(path, caption):
        with Image.open(path) as picture:
            part = picture.crop((left, top, left + side, top + side)).resize((side * ZOOM,) * 2, Image.NEAREST)
        data = io.BytesIO()
        part.save(data, "PNG")
        figures.append(f'<figure><img alt="{html.escape(caption)}" width="{side * ZOOM}" src="data:image/png;base64,'
                       f'{base64.b64encode(data.getvalue()).decode()}"><figcaption>{html.escape(caption)}</figcaption>'
                       "</figure>")

    show(trials.source, "the picture itself")
    for name in ("moxj JPEG progressive", "cjpeg progressive", "moxj JPEG 2000", "opj_compress", "grk_compress"):
        if name in trials.of:
            bits, psnr, ssim, path = min(trials.of[name], key=lambda t: abs(t[0] - SHOWN_BITS))
            show(path, f"{name}: {bits:.2f} bits per pixel, {psnr:.1f} dB, SSIM {ssim:.3f}")
    return f'<div class="crops">{"".join(figures)}</div>'


def table(head, rows):
    cells = "".join(f"<th>{html.escape(h)}</th>" for h in head)
    body = "".join("<tr>" + "".join(f"<td>{html.escape(str(c))}</td>" for c in row) + "</tr>" for row in rows)
    return f"<table><thead><tr>{cells}</tr></thead><tbody>{body}</tbody></table>"


def functions(measured):
    targets = measured["targets"]
    rows, best = measured["results"], targets[-1]
    names = [f"{row['family']}: {row['name']}" for row in rows]
    figure, axis = pyplot.subplots(figsize=(11, 0.2 * len(rows) + 1))
    axis.barh(names, [row["nanoseconds"]["scalar"] / row["nanoseconds"][best] for row in rows], color="#1f77b4")
    axis.invert_yaxis()
    axis.margins(y=0.01)
    axis.grid(visible=False, axis="y")
    axis.set(xlabel=f"times as fast on {best} as on scalar")
    return svg(figure) + table(
        ["function", "item", *(f"{t}, ns" for t in targets), "GB/s", "times memcpy"],
        [[name, row["unit"], *(f"{row['nanoseconds'][t]:.3f}" for t in targets),
          f"{row['bytes'] / row['nanoseconds'][best]:.1f}", f"{row['nanoseconds'][best] / row['copy']:.1f}"]
         for name, row in zip(names, rows)])


def files(results):
    return table(["form", "moxj, ms", "peer", "ms", "peer / moxj"], [
        [r["form"], f"{r['moxj'] * 1e3:.1f}", r["peer_name"], f"{r['peer'] * 1e3:.1f}", f"{r['ratio']:.2f}"]
        for r in results])


def scaling(moxj, source, seconds, threads):
    """Decoding and encoding of one picture, with more and more threads."""
    counts = sorted({1, *(n for n in (2, 4, 8, 16, 32, 64) if n <= threads), threads})
    measured = [json.loads(run([moxj, "bench", source, "--json", "--quiet", "--seconds", seconds / len(counts),
                                "--threads", n, "--target", best_target(moxj)])) for n in counts]
    times = [[next(iter(row["nanoseconds"].values())) for row in m["results"]] for m in measured]
    names = [row["name"].removesuffix(f" {source}") for row in measured[0]["results"]]
    return table(["threads", *names], [
        [n, *(f"{first / now:.2f} times" for first, now in zip(times[0], row))] for n, row in zip(counts, times)])


def best_target(moxj):
    return json.loads(run([moxj, "--version", "--json"]))["targets"]["here"][-1]


def processor():
    try:
        names = re.findall(r"^model name\s*: (.*)$", pathlib.Path("/proc/cpuinfo").read_text(), re.M)
    except OSError:
        names = []
    return names[0] if names else platform.machine()


def sources(arguments, work):
    """(name, PPM) of each picture."""
    if arguments.picture:
        return [(arguments.picture.stem, arguments.picture)]
    run([ROOT / "scripts/photos"])
    found = []
    for path in sorted((ROOT / "build/photographs").glob("*.png")):
        with Image.open(path) as picture:
            if picture.mode in ("RGB", "RGBA"):
                picture.convert("RGB").save(work / f"{path.stem}.ppm")
                found.append((path.stem, work / f"{path.stem}.ppm"))
    if not found:
        sys.exit("report: no photographs; --picture names one of your own")
    return found


STYLE = """body { font: 15px/1.5 sans-serif; max-width: 1150px; margin: 2em auto; padding: 0 1em; color: #222 }
svg { max-width: 100%; height: auto } table { border-collapse: collapse; font-size: 13px; margin: 1em 0 }
td, th { padding: 2px 10px; border-bottom: 1px solid #ddd; text-align: right }
td:first-child, th:first-child { text-align: left } figure { margin: 0 } figcaption { font-size: 12px }
.crops { display: grid; grid-template-columns: repeat(auto-fill, 368px); gap: 12px }"""


def page(arguments, work):
    pictures = sources(arguments, work)
    moxj, quick = arguments.moxj, arguments.quick
    parts = ["<h2>Size and quality</h2><p>JPEG with 4:2:0; JPEG 2000 with the 9/7 wavelet. Sequential, optimised and "
             "progressive files of one program hold the same picture. PSNR and SSIM by ffmpeg.</p>"]
    for name, source in pictures:
        trials = Trials(moxj, source, work, quick)
        parts += [f"<h3>{html.escape(name)}, {trials.width} x {trials.height}</h3>", curves(trials), crops(trials)]
    bench = [moxj, "bench", "--json", "--quiet", "--seconds", arguments.seconds]
    parts += ["<h2>Functions</h2><p>Nanoseconds per item on one thread, <code>moxj bench</code>. The roof is memcpy of "
              "as many bytes as the function reads and writes.</p>",
              functions(json.loads(run([*bench, "--family", "dct,shift"] if quick else bench)))]
    speeds = work / "speeds.json"
    compare = [ROOT / "scripts/compare-speed", "--moxj", moxj, "--json", speeds]
    run([*compare, "--runs", "1", "--picture", pictures[0][1]] if quick else compare)
    parts += ["<h2>Files</h2><p>Whole programs with one thread, <code>scripts/compare-speed</code>: processor time of "
              "interleaved runs, medians. Peer / moxj above 1: moxj is faster.</p>",
              files(json.loads(speeds.read_text()))]
    threads = len(os.sched_getaffinity(0))
    parts += [f"<h2>Threads</h2><p>Elapsed time of one thread over that of several, from memory to memory: "
              f"{html.escape(pictures[0][0])}.</p>",
              scaling(moxj, str(pictures[0][1]), arguments.seconds / 4, threads)]
    version = run([moxj, "--version"])
    trial = "<p><b>Made by --quick: few points, and times too short to judge by.</b></p>" if quick else ""
    return f"""<!DOCTYPE html>
<html lang="en"><head><meta charset="utf-8"><title>moxj: quality and speed</title><style>{STYLE}</style></head><body>
<h1>moxj: quality and speed</h1>
<p>{html.escape(processor())}, {threads} processors; {time.strftime("%d %B %Y")}</p><pre>{html.escape(version)}</pre>
{trial}
{"".join(parts)}</body></html>
"""


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--moxj", default=str(ROOT / "build/release/bin/moxj"))
    parser.add_argument("--output", type=pathlib.Path, default=ROOT / "build/report")
    parser.add_argument("--picture", type=pathlib.Path)
    parser.add_argument("--seconds", type=float)
    parser.add_argument("--quick", action="store_true")
    arguments = parser.parse_args()
    arguments.seconds = arguments.seconds or (0.1 if arguments.quick else 60)
    if not shutil.which(arguments.moxj):
        sys.exit(f"report: there is no {arguments.moxj}; cmake --preset release && cmake --build build/release "
                 "makes it, --moxj names another one")
    missing = [name for name in ("cjpeg", "djpeg", "opj_decompress", "ffmpeg") if not shutil.which(name)]
    if missing:
        sys.exit(f"report: {', '.join(missing)} not found; scripts/install-deps report installs them")
    with tempfile.TemporaryDirectory() as work:
        text = page(arguments, pathlib.Path(work))
    arguments.output.mkdir(parents=True, exist_ok=True)
    (arguments.output / "index.html").write_text(text)
    print(f"{arguments.output / 'index.html'}")


if __name__ == "__main__":
    main()

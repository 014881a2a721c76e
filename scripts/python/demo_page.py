"""Writes the page of scripts/demo: pictures, enlarged details, charts and tables."""

import html
import pathlib
import platform
import re
import shutil
import string
import time

import matplotlib
from PIL import Image

import demo_2000

matplotlib.use("svg")
matplotlib.rcParams["svg.hashsalt"] = "moxj"
from matplotlib import pyplot

HERE = pathlib.Path(__file__).resolve().parent
OURS, THEIRS = "moxj", "libjpeg-turbo"
COLOURS = {"4:4:4": "#3274a1", "4:2:2": "#e1812c", "4:2:0": "#3a923a", "grey": "#3274a1"}
SHOWN_QUALITY = 75
ZOOMED_QUALITIES = [25, 75, 95]
INK = "#808080"  # reads on a light and on a dark page


def write(output, demo):
    """`demo` holds the names of the pictures, their directories, the trials and the speeds; see scripts/demo."""
    page = string.Template((HERE / "demo_page.html").read_text())
    sections = [picture_section(output, demo, name) for name in demo["names"]]
    for name in demo["names"]:
        chosen = [t for t in demo["trials_2000"] if t["picture"] == name]
        sections.append(
            demo_2000.section(output, demo["files"], name, chosen, demo["crops"].get(name, (0, 0)), demo["crop"])
        )
    speed_chart(output / "speed.svg", demo["speeds"])
    (output / "index.html").write_text(page.substitute(
        pictures="\n".join(sections), speeds=speed_table(demo["speeds"]), runs=demo["runs"],
        source=SOURCES[demo["photographs"]], machine=html.escape(processor()), date=time.strftime("%d %B %Y")))


SOURCES = {True: "The photographs are those of Debian's python3-skimage.",
           False: "No photographs could be had on this machine: the picture is a generated one."}


def processor():
    found = re.search(r"model name\s*: (.*)", pathlib.Path("/proc/cpuinfo").read_text())
    return found[1] if found else platform.machine()


def shown_sampling(trials):
    return "grey" if trials[0]["sampling"] == "grey" else "4:2:0"


# ---- Pictures --------------------------------------------------------------------------------------------------------


def picture_section(output, demo, name):
    trials = [t for t in demo["trials"] if t["picture"] == name]
    sampling = shown_sampling(trials)
    original = demo["photographs_directory"] / f"{name}.png"
    shutil.copy(original, output)
    with Image.open(original) as picture:
        size, left_upper = picture.size, demo["crops"].get(name, (0, 0))
    shown = next(t for t in trials if t["sampling"] == sampling and t["quality"] == SHOWN_QUALITY)
    shutil.copy(demo["files"] / f"{name}-{sampling}-{SHOWN_QUALITY}-moxj.jpg", output / f"{name}.jpg")
    chart(output / f"{name}.svg", trials)
    return SECTION.substitute(
        name=name, title=name.capitalize(), width=size[0], height=size[1], png_bytes=f"{original.stat().st_size:,}",
        sampling=sampling_name(sampling), quality=SHOWN_QUALITY, jpeg=figures(shown[OURS]),
        zooms="\n".join(zooms(output, demo, name, trials, left_upper)), rows="\n".join(map(row, trials)))


def zooms(output, demo, name, trials, left_upper):
    """An enlarged detail of the picture: the original, the result of moxj, and that of the peer."""
    sampling = shown_sampling(trials)
    yield zoom(
        output,
        demo["photographs_directory"] / f"{name}.png",
        f"{name}-original.png",
        left_upper,
        demo["crop"],
        "original",
    )
    for t in trials:
        if t["sampling"] != sampling or t["quality"] not in ZOOMED_QUALITIES:
            continue
        for codec, suffix in ((OURS, "moxj"), (THEIRS, "cjpeg")):
            if codec == OURS or t["quality"] == SHOWN_QUALITY:
                yield zoom(output, demo["files"] / f"{name}-{sampling}-{t['quality']}-{suffix}.pnm",
                           f"{name}-{t['quality']}-{suffix}.png", left_upper, demo["crop"],
                           f"{codec}, quality {t['quality']}<br>{t[codec]['bytes']:,} bytes")


def zoom(output, source, target, left_upper, size, caption):
    x, y = left_upper
    with Image.open(source) as picture:
        picture.crop((x, y, x + size, y + size)).save(output / target)
    return f'<figure><img class="zoom" src="{target}" alt=""><figcaption>{caption}</figcaption></figure>'


def sampling_name(sampling):
    return "greyscale" if sampling == "grey" else f"sampled {sampling}"


def decibel(psnr):
    return "equal" if psnr is None else f"{psnr:.2f}"


def figures(result):
    return f"{result['bytes']:,} bytes, {result['bpp']:.2f} bits per pixel, {decibel(result['psnr'])} dB"


def row(trial):
    cells = "".join(f"<td>{r['bytes']:,}<td>{r['bpp']:.3f}<td>{decibel(r['psnr'])}<td>{r['ssim']:.4f}"
                    for r in (trial[OURS], trial[THEIRS]))
    return f"<tr><th>{trial['sampling']}<td>{trial['quality']}{cells}"


SECTION = string.Template("""
<section>
<h2>$title</h2>
<div class="pair">
<figure><img src="$name.png" width="$width" height="$height" alt="$title, the original">
<figcaption>The original, $width × $height, $png_bytes bytes as PNG</figcaption></figure>
<figure><img src="$name.jpg" width="$width" height="$height" alt="$title, as JPEG">
<figcaption>By moxj, quality $quality, $sampling: $jpeg</figcaption></figure>
</div>
<div class="zooms">
$zooms
</div>
<img class="chart" src="$name.svg" alt="PSNR against bits per pixel">
<details><summary>All figures</summary>
<table>
<thead><tr><th rowspan="2">Sampling<th rowspan="2">Quality<th colspan="4">moxj<th colspan="4">libjpeg-turbo
<tr><th>bytes<th>bits/pixel<th>PSNR<th>SSIM<th>bytes<th>bits/pixel<th>PSNR<th>SSIM</thead>
<tbody>
$rows
</tbody>
</table>
</details>
</section>""")


# ---- Charts ----------------------------------------------------------------------------------------------------------


def axes(width, height, columns=1):
    figure, found = pyplot.subplots(1, columns, figsize=(width, height), squeeze=False, layout="constrained")
    for one in found[0]:
        one.tick_params(colors=INK)
        one.grid(color=INK, alpha=0.25, linewidth=0.6)
        one.set_axisbelow(True)
        for side, spine in one.spines.items():
            spine.set_visible(side in ("left", "bottom"))
            spine.set_color(INK)
    return figure, found[0]


def save(figure, legend, path):
    for text in legend.get_texts():
        text.set_color(INK)
    figure.savefig(path, transparent=True)
    pyplot.close(figure)


def chart(path, trials):
    figure, (plot,) = axes(7.6, 3.4)
    for sampling in dict.fromkeys(t["sampling"] for t in trials):
        chosen = [t for t in trials if t["sampling"] == sampling]
        for codec, style in ((OURS, {"marker": "o", "markersize": 5}),
                             (THEIRS, {"marker": "x", "markersize": 7, "linestyle": "--", "color": INK})):
            plot.plot([t[codec]["bpp"] for t in chosen], [t[codec]["psnr"] for t in chosen], linewidth=1.4,
                      label=f"{codec}, {sampling}" if codec == OURS else None, **({"color": COLOURS[sampling]} | style))
    plot.plot([], [], color=INK, linestyle="--", marker="x", markersize=7, linewidth=1.4, label="libjpeg-turbo")
    plot.set_xlabel("bits per pixel", color=INK)
    plot.set_ylabel("PSNR, dB", color=INK)
    save(figure, plot.legend(frameon=False, loc="lower right"), path)


def speed_chart(path, speeds):
    chosen = [s for s in speeds if s["quality"] == SHOWN_QUALITY]
    figure, plots = axes(10, 0.9 + 0.55 * len(chosen), 2)
    for plot, action in zip(plots, ("encode", "decode")):
        for codec, offset, colour in ((OURS, -0.18, "#3274a1"), (THEIRS, 0.18, "#b0b0b0")):
            bars = plot.barh(
                [i + offset for i in range(len(chosen))],
                [s[action][codec] for s in chosen],
                0.34,
                color=colour,
                label=codec,
            )
            plot.bar_label(bars, fmt="%.0f", padding=3, color=INK, fontsize=8)
        plot.set_yticks(range(len(chosen)), [s["picture"] for s in chosen], color=INK)
        plot.invert_yaxis()
        plot.grid(axis="y", visible=False)
        plot.set_xlabel(f"{action}, megapixels per second", color=INK)
    figure.get_layout_engine().set(rect=(0, 0, 1, 0.93))
    save(figure, figure.legend(*plots[0].get_legend_handles_labels(), frameon=False, loc="upper center", ncols=2), path)


def speed_table(speeds):
    return "\n".join(
        f"<tr><th>{s['picture']}<td>{s['megapixels']:.2f}<td>{s['quality']}"
        + "".join(
            f"<td>{a[OURS]:.1f}<td>{a[THEIRS]:.1f}<td>{a['ratio']:.2f}<td>{a['processor']:.2f}"
            for a in (s["encode"], s["decode"])
        )
        for s in speeds
    )

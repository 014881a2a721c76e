"""The JPEG 2000 part of scripts/demo: compares with opj_compress, losslessly and at the sizes of three JPEG files."""

import html
import json
import string
import subprocess

from PIL import Image

QUALITIES = [25, 75, 95]  # of the JPEG files whose sizes are taken
MOXJ_2000, PEER_2000 = "moxj", "OpenJPEG"


def run(*command, **options):
    return subprocess.run([str(part) for part in command], check=True, text=True, **options)


def quiet(*command):
    run(*command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)


def measured(moxj, source, coded, decoded, pixels):
    found = json.loads(run(moxj, "compare", source, decoded, "--json", capture_output=True).stdout)["all"]
    size = coded.stat().st_size
    return {"bytes": size, "bpp": 8 * size / pixels, "psnr": found["psnr"], "ssim": found["ssim"]}


def trial(moxj, work, name, stem, size):
    """Both codecs at a given size, or lossless."""
    source = work / f"{name}.ppm"
    with Image.open(source) as picture:
        pixels, raw = picture.width * picture.height, picture.width * picture.height * len(picture.getbands())
    ours, theirs = work / f"{stem}-moxj.jp2", work / f"{stem}-opj.jp2"
    our_size = ["--bpp", repr(8 * size / pixels + 1e-9)] if size else ["--lossless"]
    their_size = ["-I", "-r", repr(raw / size)] if size else []
    quiet(moxj, "encode", source, ours, *our_size, "--quiet")
    quiet(moxj, "decode", ours, ours.with_suffix(".ppm"), "--quiet")
    quiet("opj_compress", "-i", source, "-o", theirs, *their_size)
    # The same decoder for both, because only the encoders are compared.
    quiet(moxj, "decode", theirs, theirs.with_suffix(".ppm"), "--quiet")
    return {MOXJ_2000: measured(moxj, source, ours, ours.with_suffix(".ppm"), pixels),
            PEER_2000: measured(moxj, source, theirs, theirs.with_suffix(".ppm"), pixels)}


def trials(moxj, work, name, jpeg_trials):
    """Lossless first."""
    found = [
        {"picture": name, "rate": "lossless", "jpeg": None} | trial(moxj, work, name, f"{name}-2000-lossless", None)
    ]
    of_picture = [t for t in jpeg_trials if t["picture"] == name and t["sampling"] in ("grey", "4:2:0")]
    for t in of_picture:
        if t["quality"] in QUALITIES:
            found.append({"picture": name, "rate": f"JPEG's {t['quality']}", "quality": t["quality"],
                          "sampling": t["sampling"], "jpeg": t["moxj"]} |
                         trial(moxj, work, name, f"{name}-2000-{t['quality']}", t["moxj"]["bytes"]))
    return found


def decibel(result):
    return "-" if result is None else "equal" if result["psnr"] is None else f"{result['psnr']:.2f}"


def print_trials(results):
    print(f"\nJPEG 2000 at the sizes of JPEG files\n{'picture':12}{'size of':12}{'JPEG':>10}{'PSNR':>8}"
          + "".join(f"{codec:>12}{'PSNR':>8}{'SSIM':>8}" for codec in (MOXJ_2000, PEER_2000)))
    for t in results:
        jpeg = t["jpeg"]
        print(f"{t['picture']:12}{t['rate']:12}{jpeg['bytes'] if jpeg else '-':>10}{decibel(jpeg):>8}"
              + "".join(f"{t[c]['bytes']:12}{decibel(t[c]):>8}{t[c]['ssim']:8.4f}" for c in (MOXJ_2000, PEER_2000)))


def section(output, work, name, results, left_upper, crop):
    """The same detail of the picture as JPEG and as JPEG 2000, and a table."""
    zooms, rows = [], []
    x, y = left_upper

    def zoom(source, target, caption):
        with Image.open(source) as picture:
            picture.crop((x, y, x + crop, y + crop)).save(output / target)
        zooms.append(f'<figure><img class="zoom" src="{target}" alt=""><figcaption>{caption}</figcaption></figure>')

    for t in results:
        if t["jpeg"]:
            zoom(work / f"{name}-{t['sampling']}-{t['quality']}-moxj.pnm", f"{name}-2000-{t['quality']}-jpeg.png",
                 f"JPEG, {t['jpeg']['bytes']:,} bytes<br>{decibel(t['jpeg'])} dB")
            zoom(work / f"{name}-2000-{t['quality']}-moxj.ppm", f"{name}-2000-{t['quality']}-moxj.png",
                 f"JPEG 2000, {t[MOXJ_2000]['bytes']:,} bytes<br>{decibel(t[MOXJ_2000])} dB")
        jpeg = f"<td>{t['jpeg']['bytes']:,}<td>{decibel(t['jpeg'])}" if t["jpeg"] else "<td>-<td>-"
        rows.append(f"<tr><th>{html.escape(t['rate'])}{jpeg}" + "".join(
            f"<td>{t[c]['bytes']:,}<td>{decibel(t[c])}<td>{t[c]['ssim']:.4f}" for c in (MOXJ_2000, PEER_2000)))
    return SECTION.substitute(title=name.capitalize(), zooms="\n".join(zooms), rows="\n".join(rows))


SECTION = string.Template("""
<section>
<h2>$title as JPEG 2000</h2>
<p>By <code>moxj</code> at the sizes of three of the JPEG files above, and lossless; <code>opj_compress</code> of
OpenJPEG at the same sizes beside it. Both are decoded by <code>moxj</code>.</p>
<div class="zooms six">
$zooms
</div>
<table>
<thead><tr><th rowspan="2">Size of<th colspan="2">JPEG<th colspan="3">JPEG 2000, moxj<th colspan="3">JPEG 2000, OpenJPEG
<tr><th>bytes<th>PSNR<th>bytes<th>PSNR<th>SSIM<th>bytes<th>PSNR<th>SSIM</thead>
<tbody>
$rows
</tbody>
</table>
</section>""")

"""Times every kernel on every target that this machine supports: nanoseconds per item, and the speed-up of each target
over the scalar definition. Medians of repetitions in random order, CPU time of one thread.

With --peers: exported functions beside the public interfaces of libjpeg-turbo that do the same, on the targets that the
machine supports; peer's time over ours. What these interfaces add to their kernels is in the ratio.

usage: scripts/bench [REGULAR EXPRESSION of kernel names] [options of Google Benchmark]
       scripts/bench --peers [PPM]"""

import collections
import json
import os
import pathlib
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
BUILD = ROOT / "build" / "bench"
RESULTS = BUILD / "kernels.json"


PEER_TARGETS = ["avx512", "avx2", "sse2"]


def build(target="all"):
    quiet = {"check": True, "stdout": subprocess.DEVNULL, "cwd": ROOT}
    subprocess.run(["cmake", "--preset", "release", "-B", BUILD, "-DMOXJ_BUILD_BENCH=ON", "-DMOXJ_BUILD_TESTS=OFF",
                    "-DMOXJ_BUILD_CODEC=OFF", "-DMOXJ_BUILD_TOOL=OFF"], **quiet)
    subprocess.run(["cmake", "--build", BUILD, "--target", target, "-j", str(os.cpu_count())], **quiet)


def measure(arguments):
    options = ["--benchmark_repetitions=7", "--benchmark_min_time=0.02", "--benchmark_enable_random_interleaving=true",
               "--benchmark_report_aggregates_only=true", f"--benchmark_out={RESULTS}", "--benchmark_out_format=json"]
    filters = [f"--benchmark_filter={a}" if not a.startswith("--") else a for a in arguments]
    run = subprocess.run([BUILD / "bin/kernel_bench", *options, *filters], capture_output=True, text=True)
    if run.returncode != 0:
        sys.exit(run.stderr)
    text = RESULTS.read_text()
    if not text:
        sys.exit("no kernel has such a name")
    return json.loads(text)


def report(results):
    medians = [run for run in results["benchmarks"] if run.get("aggregate_name") == "median"]
    medians.sort(key=lambda run: run["family_index"])  # the random order put back to the order of registration
    nanoseconds = collections.defaultdict(dict)  # kernel -> target -> time per item
    for run in medians:
        kernel, target = run["run_name"].split("/")[:2]
        nanoseconds[kernel, run["label"]][target] = 1e9 / run["items_per_second"]
    targets = list(dict.fromkeys(target for times in nanoseconds.values() for target in times))
    width = max(len(kernel) for kernel, _ in nanoseconds)
    print("Nanoseconds per item, and times the speed of the scalar definition")
    print(f"{'kernel':{width}}  {'item':8}" + "".join(f"{t:>17}" for t in targets))
    for (kernel, item), times in nanoseconds.items():
        print(f"{kernel:{width}}  {item:8}" + "".join(cell(times, target) for target in targets))
    print(f"Every figure: {RESULTS.relative_to(ROOT)}")


def cell(times, target):
    if target not in times:
        return f"{'':17}"
    ratio = f"x{times['scalar'] / times[target]:.1f}" if "scalar" in times and target != "scalar" else ""
    return f"{times[target]:11.3f}{ratio:>6}"


def mosaic():
    """Four photographs as one picture."""
    from PIL import Image

    subprocess.run([ROOT / "scripts/photos"], check=True)
    names = sorted((ROOT / "build/photographs").glob("*.png"))
    if not names:
        sys.exit("bench: no photographs; name a PPM picture")
    whole = Image.new("RGB", (1920, 1088))
    for index in range(20):
        with Image.open(names[index % len(names)]) as part:
            whole.paste(part.convert("RGB").resize((384, 272)), (index % 5 * 384, index // 5 * 272))
    whole.save(BUILD / "mosaic.ppm")
    return BUILD / "mosaic.ppm"


def compare(picture):
    with_target = {}
    flags = pathlib.Path("/proc/cpuinfo").read_text()
    targets = [t for t in PEER_TARGETS if t.replace("avx512", "avx512_vbmi2") in flags]
    for target in targets:
        run = subprocess.run([BUILD / "bin/peer_bench", picture], capture_output=True, text=True,
                             env=os.environ | {"MOXJ_TARGET": target})
        if run.returncode != 0:
            sys.exit(run.stderr)
        with_target[target] = [line.split("|") for line in run.stdout.splitlines()]
    print("Nanoseconds per item, and how many times as long the peer takes")
    print(f"{'':40}  {'item':6}" + "".join(f"{t:>17}" for t in targets))
    for rows in zip(*with_target.values()):
        cells = [f"{float(ours):11.3f}{ratio:>6}" if check == "ok" else f"{check:>17}"
                 for _, _, ours, _, ratio, check in rows]
        print(f"{rows[0][0]:40}  {rows[0][1]:6}" + "".join(cells))


if __name__ == "__main__":
    if {"-h", "--help"} & set(sys.argv):
        sys.exit(__doc__)
    if sys.argv[1:2] == ["--peers"]:
        build("peer_bench")
        compare(sys.argv[2] if len(sys.argv) > 2 else mosaic())
    else:
        build()
        report(measure(sys.argv[1:]))

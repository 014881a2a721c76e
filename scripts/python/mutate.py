"""Shows that the tests detect mistakes: applies each small change of scripts/mutations.toml separately to a copy of
the sources, builds, runs the suite, and demands that it fails.

usage: scripts/mutate [--check] [--target TARGET] [TEXT...]
  TEXT             only mutations whose family, kind or file contains one of the texts
  --check          only look whether every mutation still fits the sources
  --target TARGET  with the kernels of this target beside the scalar definition, and only mutants of the library;
                   default avx2, sse2 or neon, and for code that a single target has, that one"""

import os
import pathlib
import re
import subprocess
import sys
import time
import tomllib

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
TREE = ROOT / "build/mutate/tree"
BUILDS = ROOT / "build/mutate"
NOT_SOURCES = {".git", "demo-output", "__pycache__"}  # and build directories
KINDS = ["constant", "tail", "shift", "order"]
# What is built and run for a mutant of the library and of the tool, most likely detectors first.
LIBRARY_STEPS = [
    ("target_test", "^target-"),
    ("kernel_test", "^kernels$"),
    ("function_test", "^functions"),
    ("golden_test", "^golden$"),
    ("all", "."),
]
J2K_STEPS = [("all", "^(j2k|codec|tool)")]
JPEG_STEPS = [("all", "^(pictures|jpeg|codec|tool|damage)")]
LEFT_OUT = "^(mutations|install)$"  # the one would notice every mutant, the other none
TIMEOUT = 300  # seconds for one test: a mutant may never end


def places(find):
    """The places where the sources match a text. White space does not matter, because a formatter may change it."""
    return re.compile(r"\s*".join(map(re.escape, re.findall(r"\w+|\S", find))))


def load(texts):
    mutations = tomllib.loads((ROOT / "scripts/mutations.toml").read_text())["mutation"]
    errors = []
    kinds = {}
    for m in mutations:
        kinds.setdefault(m["family"], set()).add(m["kind"])
        source = ROOT / m["file"]
        count = len(places(m["find"]).findall(source.read_text())) if source.exists() else 0
        if count != 1:
            errors.append(f"{m['family']}, {m['kind']}: {count} places in {m['file']} read {m['find']!r}")
    for family, found in kinds.items():
        errors += [f"{family} has no mutation of kind {kind!r}" for kind in KINDS if kind not in found]
        errors += [f"{family}: no such kind as {kind!r}" for kind in found if kind not in KINDS]
    if errors:
        sys.exit("\n".join(errors))
    chosen = [m for m in mutations if not texts or any(t in f"{m['family']} {m['kind']} {m['file']}" for t in texts)]
    return sorted(chosen, key=lambda m: m["file"])  # what a restored file costs to build again is paid less often


def copy_sources():
    """Copies only files that differ, so that the time stamps of the others stay and the next build is small."""
    names = set()
    for directory, folders, files in os.walk(ROOT):
        folders[:] = [f for f in folders if f not in NOT_SOURCES and not f.startswith("build")]
        names.update(os.path.relpath(os.path.join(directory, name), ROOT) for name in files)
    for old in TREE.rglob("*"):
        if old.is_file() and str(old.relative_to(TREE)) not in names:
            old.unlink()
    for name in names:
        content, target = (ROOT / name).read_bytes(), TREE / name
        if not target.exists() or target.read_bytes() != content:
            target.parent.mkdir(parents=True, exist_ok=True)
            target.write_bytes(content)
            target.chmod((ROOT / name).stat().st_mode)


def runs_here(target):
    flags = {"sse41": "sse4_1", "avx512": "avx512_vbmi2"}.get(target, target)
    machine = os.uname().machine
    if target == "neon" or machine == "aarch64":
        return (target == "neon") == (machine == "aarch64")
    return re.search(rf"\b{flags}\b", pathlib.Path("/proc/cpuinfo").read_text()) is not None


def usual_target():
    return next(target for target in ("neon", "avx2", "sse2") if runs_here(target))


def run(*command):
    environment = os.environ | {"CCACHE_DIR": str(BUILDS / "ccache"), "CTEST_PARALLEL_LEVEL": str(os.cpu_count()),
                                "GTEST_FAIL_FAST": "1"}
    done = subprocess.run(command, env=environment, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                          errors="replace", stdin=subprocess.DEVNULL)
    return done.returncode == 0, done.stdout


def configure(target):
    have_ccache = run("sh", "-c", "command -v ccache")[0]
    ok, output = run(
        "cmake",
        "-S",
        TREE,
        "--preset",
        "release",
        "-B",
        BUILDS / target,
        f"-DMOXJ_TARGETS=scalar;{target}",
        "-DCMAKE_CXX_FLAGS_RELEASE=-O1",
        f"-DCMAKE_CXX_COMPILER_LAUNCHER={'ccache' if have_ccache else ''}",
    )
    if not ok:
        sys.exit(output)


def steps_for(file):
    if not file.startswith("codec/"):
        return LIBRARY_STEPS
    return J2K_STEPS if file.startswith("codec/j2k/") else JPEG_STEPS


def caught_by(steps, build):
    """The test that fails, or a static assertion, and the step in which it was run; two times None if all tests pass. A
    mutant that does not build for another reason is an error."""
    for step in steps:
        target, tests = step
        ok, output = run("cmake", "--build", build, "-j", str(os.cpu_count()), "--target", target)
        if not ok:
            if "static assertion failed" in output:
                return "a static assertion", None
            sys.exit(f"The mutant does not compile:\n{output[-3000:]}")
        test = ["ctest", "--test-dir", build, "--stop-on-failure", "--timeout", str(TIMEOUT), "--output-on-failure"]
        ok, output = run(*test, "-R", tests, "-E", LEFT_OUT, "--no-tests=error")
        # Only a repeated failure counts: a flaky test proves nothing.
        if not ok and not run(*test, "--rerun-failed")[0]:
            named = re.search(r"\[  FAILED  \] (\S+)", output) or re.search(r"Test +#\d+: (\S+) .*\*\*\*", output)
            return named[1].rstrip(","), step
    return None, None


def arguments():
    """Texts, the target that is asked for or None, and whether only to check."""
    words = sys.argv[1:]
    if {"-h", "--help"} & set(words):
        sys.exit(__doc__)
    target = None
    if "--target" in words:
        at = words.index("--target")
        if at + 1 == len(words) or not runs_here(words[at + 1]):
            sys.exit("--target needs a target that runs here")
        target = words[at + 1]
        del words[at : at + 2]
    return [word for word in words if word != "--check"], target, "--check" in words


def with_targets(mutations, wanted):
    """The target of each; without those of other targets than the wanted one, and of targets that do not run here."""
    usual = wanted or usual_target()
    chosen = [(m.get("target", usual), m) for m in mutations if not wanted or m["file"].startswith("src/")]
    left_out = [m for target, m in chosen if not runs_here(target) or (wanted and target != wanted)]
    if left_out:
        print(f"{len(left_out)} mutations of other targets are left out")
    return sorted(((t, m) for t, m in chosen if m not in left_out), key=lambda pair: pair[0])


def main():
    texts, wanted, check = arguments()
    mutations = load(texts)
    if check:
        return print(f"{len(mutations)} mutations fit the sources")
    start = time.monotonic()
    copy_sources()
    survivors = count = 0
    configured = None
    print(f"{'family':20} {'kind':9} {'target':7} {'file':28} {'s':>4}  caught by")
    for name, m in with_targets(mutations, wanted):
        build = BUILDS / name
        if name != configured:
            configure(name)
            configured = name
            sound = {None}  # the steps whose tests pass without a mutation
        began = time.monotonic()
        target = TREE / m["file"]
        original = target.read_text()
        target.write_text(places(m["find"]).sub(lambda _: m["replace"], original))
        try:
            catcher, step = caught_by(steps_for(m["file"]), build)
        finally:
            target.write_text(original)
        if step not in sound:
            if failing := caught_by([step], build)[0]:
                sys.exit(f"Without any mutation {failing} fails")
            sound.add(step)
        count += 1
        survivors += catcher is None
        print(
            f"{m['family']:20} {m['kind']:9} {name:7} {m['file']:28} {time.monotonic() - began:4.0f}  "
            f"{catcher or 'NOTHING'}",
            flush=True,
        )
    print(f"{count - survivors} of {count} mutants caught in {(time.monotonic() - start) / 60:.0f} min")
    sys.exit(1 if survivors else 0)


if __name__ == "__main__":
    main()

"""Prints the coverage that llvm-cov has exported, one line for each folder.

usage: coverage.py SUMMARY.json [--files]     --files: also each file below the goal of its folder"""

import json
import os
import pathlib
import sys

GOALS = {"src/kernels": 95, "codec/jpeg": 90, "codec/j2k": 90, "codec/pictures": 90, "codec/formats": None,
         "codec/base": None, "codec/api": None}


def share(counts):
    return 100 * counts["covered"] / counts["count"] if counts["count"] else 100


def total(files, kind):
    return {key: sum(file["summary"][kind][key] for file in files) for key in ("count", "covered")}


def main(summary, files):
    root = pathlib.Path(__file__).resolve().parents[2]
    data = json.loads(pathlib.Path(summary).read_text())["data"][0]["files"]
    folders = {name: [] for name in GOALS}
    for file in data:
        relative = os.path.relpath(root / "build/coverage" / file["filename"], root)
        for name in folders:
            if relative.startswith(name + "/"):
                folders[name].append({"name": relative, "summary": file["summary"]})
    print(f"{'folder':32} {'lines':>7} {'branches':>9} {'goal':>5}")
    for name, found in folders.items():
        goal = GOALS[name]
        branches = total(found, "branches")
        print(f"{name:32} {share(total(found, 'lines')):6.1f} % {share(branches):7.1f} % "
              f"{f'{goal} %' if goal else '':>5}   {branches['covered']} of {branches['count']}")
        if not files:
            continue
        for file in sorted(found, key=lambda file: share(file["summary"]["branches"])):
            counts = file["summary"]["branches"]
            if share(counts) < (goal or 90):
                print(f"  {file['name']:30} {share(file['summary']['lines']):6.1f} % {share(counts):7.1f} %"
                      f"         {counts['covered']} of {counts['count']}")


if __name__ == "__main__":
    main(sys.argv[1], sys.argv[2:] == ["--files"])

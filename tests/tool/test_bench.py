#!/usr/bin/env python3
"""bench: its table, JSON, comparison and files. No figure is judged: only that there is one."""

import json
import re
import unittest

from support import *

FAILED = 7
FAMILIES = ["colour", "shift", "sampling", "mcu", "dct", "quantisation", "huffman", "progressive", "lossless",
            "components", "wavelet", "code-block"]
QUICK = ["--seconds", "0.01"]


class Bench(ToolTest):
    def measured(self, *arguments):
        return json.loads(self.expect(OK, "bench", "--json", *QUICK, *arguments))

    def test_every_family_on_every_target(self):
        here = json.loads(self.expect(OK, "--version", "--json"))["targets"]["here"]
        found = self.measured()
        self.assertEqual((found["targets"], found["threads"]), (here, 1))
        self.assertEqual(list(dict.fromkeys(row["family"] for row in found["results"])), FAMILIES)
        for row in found["results"]:
            self.assertEqual(list(row["nanoseconds"]), here)
            self.assertTrue(all(time > 0 for time in row["nanoseconds"].values()), row)
            self.assertGreater(min(row["copy"], row["bytes"]), 0)

    def test_table(self):
        lines = self.expect(OK, "bench", *QUICK, "--family", "dct,shift", "--target", "scalar").decode().splitlines()
        self.assertEqual(lines[1].split(), ["item", "scalar", "GB/s", "x", "copy"])
        self.assertEqual([line.split(":")[0] for line in lines[2:]], ["shift", "shift", "dct", "dct"])
        for line in lines[2:]:
            self.assertRegex(line, r" sample +\d+\.\d{3} +\d+\.\d +\d+\.\d\Z")

    def test_threads(self):
        found = self.measured("--family", "dct", "--target", "scalar", "--threads", "2")
        self.assertEqual((found["threads"], len(found["results"])), (2, 2))

    def test_compare(self):
        arguments = ["--family", "huffman", "--target", "scalar"]
        before = self.measured(*arguments)

        def compared(factor, status, *more):
            old = json.loads(json.dumps(before))
            for row in old["results"]:
                row["nanoseconds"]["scalar"] *= factor
            self.write("old.json", json.dumps(old).encode())
            return self.expect(status, "bench", *QUICK, *arguments, "--compare", "old.json", *more).decode()

        self.assertRegex(compared(1e-3, FAILED),
                         r"slower: huffman: encode on scalar: \d+\.\d{3} -> \d+\.\d{3} ns \(\+\d+ %\)\n")
        self.assertIn("nothing is slower by more than 10 %\n", compared(1e3, OK))
        self.assertIn("nothing is slower by more than 99999 %\n", compared(0.1, OK, "--threshold", "99999"))

    def test_comparisons_that_make_no_sense(self):
        self.write("old.json", b'{"threads": 2, "targets": ["scalar"], "results": []}')
        arguments = ["bench", *QUICK, "--family", "dct", "--target", "scalar", "--compare", "old.json"]
        self.expect(REFUSED, *arguments, error="moxj: old.json: is of --threads 2, not 1\n")
        self.expect(REFUSED, *arguments, "--threads", "2", error=re.compile("have nothing in common"))
        self.write("old.json", b"[]")
        self.expect(REFUSED, *arguments, error="moxj: old.json: is no measurement of moxj bench --json\n")
        self.expect(REFUSED, *arguments[:-1], "none.json", error="moxj: none.json: cannot be read\n")

    def test_files(self):
        self.write("in.ppm", b"P6 40 30 255\n" + bytes(range(256)) * 14 + bytes(16))
        self.expect(OK, "encode", "in.ppm", "in.jpg")
        found = self.measured("in.ppm", "in.jpg", "--target", "scalar", "--threads", "2")
        self.assertEqual([row["name"] for row in found["results"]], [
            f"{work} {name}" for name in ("in.ppm", "in.jpg") for work in ("decode", "encode jpg", "encode jp2")])
        self.assertEqual({(row["family"], row["unit"]) for row in found["results"]}, {("file", "sample")})
        both = self.measured("in.ppm", "--family", "shift", "--target", "scalar")
        self.assertEqual([row["family"] for row in both["results"]], ["shift", "shift", "file", "file", "file"])

    def test_files_that_cannot_be_read(self):
        self.write("in.txt", b"no picture")
        self.expect(REFUSED, "bench", "none.jpg", error="moxj: none.jpg: cannot be read\n")
        self.expect(REFUSED, "bench", "in.txt", error=re.compile(r"\Amoxj: in\.txt: unrecognised format"))

    def test_misuse(self):
        self.expect(USAGE, "bench", "--family", "dwt", error=re.compile("'dwt' is none of colour, shift, "))
        self.expect(USAGE, "bench", "--seconds", "0", error=re.compile("is not a number from 0.01 to 86400"))
        self.expect(USAGE, "bench", "--threshold", "x", error=re.compile("is not a number from 0 to 100000"))


if __name__ == "__main__":
    unittest.main()

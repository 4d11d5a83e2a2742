#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Runs an example program: all of them must print examples/expected_output.txt, save the deck with one line changed,
and name the reason when there is no deck.

usage: run_example.py EXAMPLES_FOLDER OBSTOOL PROGRAM...
"""
import subprocess
import sys
import tempfile
from pathlib import Path

examples, obstool, program = Path(sys.argv[1]), sys.argv[2], sys.argv[3:]


def run(command, status):
    result = subprocess.run(command, capture_output=True, encoding="latin-1", timeout=60, check=False)
    if result.returncode != status:
        sys.exit(f"{command}: status {result.returncode}, not {status}\n{result.stdout}{result.stderr}")
    return result


with tempfile.TemporaryDirectory() as folder:
    saved, unchanged = Path(folder) / "saved.csv", Path(folder) / "unchanged.csv"
    output = run([*program, examples / "deck.txt", saved], 0).stdout
    if output != (examples / "expected_output.txt").read_text():
        sys.exit(f"not the expected output:\n{output}")
    run([obstool, "convert", examples / "deck.txt", "--to", "csv", "-o", unchanged], 1)  # the deck has bad lines
    lines, before = saved.read_bytes().splitlines(), unchanged.read_bytes().splitlines()
    changed = [new for new, old in zip(lines, before) if new != old]
    if len(lines) != len(before) or len(changed) != 1 or b",2369.988," not in changed[0]:
        sys.exit(f"{len(lines)} lines saved instead of {len(before)}; changed: {changed}")
    if "nowhere.txt: No such file or directory" not in run([*program, "nowhere.txt", saved], 1).stderr:
        sys.exit("a missing deck is not named")

#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Holds the column tables of docs/formats/b3.md and eci.md against the constants of Obs/CardLayouts/B3.h and Eci.h.

A row `| 24-29 | 6 | ... | decimals | `kName` |` must show the columns of its constant (or of the record field that a
signed field fills) and, where one has them, its decimals; every constant with columns must have a row; and rows
of one table must follow one another without a gap.

usage: check_b3_page.py FORMATS_FOLDER CARDLAYOUTS_FOLDER
"""
import re
import sys
from pathlib import Path

pages, folder = Path(sys.argv[1]), Path(sys.argv[2])
page = (pages / "b3.md").read_text() + (pages / "eci.md").read_text()
code = (folder / "B3.h").read_text() + (folder / "Eci.h").read_text()

IN_TEXT_ONLY = {"kDateMicroseconds"}
constants = {}  # name to its columns, one pair for each layout that has a constant of the name
for name, first, last in re.findall(r"Columns (k\w+)\{(\d+), (\d+)\}", code):
    constants.setdefault(name, set()).add((int(first), int(last)))
for i, (first, last) in enumerate(re.findall(r"\{(\d+), (\d+)\}", re.search(r"kSensorPosition\{\{(.*?)\};", code)[1])):
    constants[f"kSensorPosition[{i}]"] = {(int(first), int(last))}
decimals = {name: int(n) for name, n in re.findall(r"int (k\w+)Decimals = (\d+)", code)}
for where, first, last, n, field in re.findall(r"\{(?:(k\w+)|\{(\d+), (\d+)\}), (\d+), k\w+, &ObsRecord::(\w+)\}", code):
    decimals[where or field] = int(n)
    if not where:
        constants[field] = {(int(first), int(last))}

faults, named, end = [], set(), 0
for line in page.splitlines():
    row = re.match(r"\| (\d+)-(\d+) \| (\d+) \|.*?\|.*?\| *(\d*) *\| *(?:`(.*)`)? *\|$", line)
    if not row:
        end = 0 if not line.startswith("|") else end
        continue
    first, last, width = (int(row[i]) for i in (1, 2, 3))
    name = row[5]
    named.add(name)
    if width != last - first + 1 or (end and first not in (end + 1, end - width + 1)):
        faults.append(f"width or place: {line}")
    if name in constants and (first, last) not in constants[name]:
        faults.append(f"{name} has columns {constants[name]}: {line}")
    if row[4] and name in decimals and str(decimals[name]) != row[4]:
        faults.append(f"{name} has {decimals[name]} decimals: {line}")
    end = last

faults += [f"{name} has no row" for name in sorted(set(constants) - named - IN_TEXT_ONLY)]
print("\n".join(faults) or f"{len(named)} named fields agree")
sys.exit(bool(faults) or len(named) < 30)

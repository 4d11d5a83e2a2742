#!/usr/bin/env python3
"""Holds the column tables of docs/formats/b3.md against the constants of Obs/CardLayouts/B3.h and Eci.h.

Every constant must have a row and every named row a constant, with the same columns, decimals and types; and each
table must cover its card from the first column to the last without a gap.

usage: check_b3_page.py PAGE CARDLAYOUTS_FOLDER
"""
import re
import sys
from pathlib import Path

# Constants that the page speaks of in its text only.
IN_TEXT_ONLY = {("b3e", "kDateMicroseconds")}

faults = []


def numbers(text):
    """'1-4, 8' or '1, 2' as a set of numbers."""
    found = set()
    for part in re.findall(r"\d+(?:-\d+)?", text):
        first, _, last = part.partition("-")
        found |= set(range(int(first), int(last or first) + 1))
    return found


class Constants:
    """What the headers say, by namespace: columns by name; decimals and types where there are some."""

    def __init__(self, folder):
        sets = dict(re.findall(r"ObsTypeSet (k\w+)\{([\d, ]*)\}", (folder.parent / "ObsTypes/TypeSets.h").read_text()))
        self.columns, self.decimals, self.types, self.size = {}, {}, {}, {}
        for header in ("B3.h", "Eci.h"):
            text = re.sub(r"//.*", "", (folder / header).read_text())
            for space, body in re.findall(r"namespace obs::(\w+) \{(.*?)\}  ", text + "  ", flags=re.S):
                self.read(space, body, {**sets, **dict(re.findall(r"ObsTypeSet (k\w+)\{([\d, ]*)\}", body))})

    def read(self, space, body, sets):
        for name, first, last in re.findall(r"constexpr Columns (k\w+)\{(\d+), (\d+)\}", body):
            self.columns[space, name] = (int(first), int(last))
        for name, list_ in re.findall(r"constexpr std::array<Columns, \d+> (k\w+)\{\{(.*?)\}\};", body):
            for i, (first, last) in enumerate(re.findall(r"\{(\d+), (\d+)\}", list_)):
                self.columns[space, f"{name}[{i}]"] = (int(first), int(last))
        for name, value in re.findall(r"constexpr int (k\w+)Decimals = (\d+);", body):
            self.decimals[space, name] = int(value)
        common = re.search(r"constexpr int kDecimals = (\d+);", body)
        if common:
            for name in ("kDeclination", "kRaSeconds"):
                self.decimals[space, name] = int(common.group(1))
        self.size[space] = int((re.search(r"kCardColumns = (\d+);", body) or [0, 90])[1])
        table = re.search(r"std::array<SignedField.*?\{\{(.*?)\}\};", body, flags=re.S)
        for where, decimals, types, field in re.findall(
                r"\{(k\w+|\{\d+, \d+\}), (\d+), (\w+), &ObsRecord::(\w+)\}", table.group(1) if table else ""):
            name = where if where.startswith("k") else field
            if where.startswith("{"):
                self.columns[space, name] = tuple(sorted(numbers(where)))
            self.decimals[space, name] = int(decimals)
            self.types[space, name] = numbers(sets[types])
        if table and len(re.findall("&ObsRecord::", body)) != len(re.findall("&ObsRecord::", table.group(1))):
            sys.exit("a signed field was not understood")
        if "kRangeReadTypes" in sets:
            self.types[space, "kRangeMantissa"] = self.types[space, "kRangeExponent"] = numbers(sets["kRangeReadTypes"])
        if space == "b3":
            self.types[space, "kAzimuth"] = numbers(sets["kAzElTypes"]) | numbers(sets["kRaDecTypes"])
            self.types[space, "kEquinoxInd"] = numbers(sets["kRaDecTypes"])
            for i in range(3):
                self.types[space, f"kSensorPosition[{i}]"] = numbers(sets["kSensorPositionTypes"])
                self.decimals[space, f"kSensorPosition[{i}]"] = self.decimals[space, "kSensorPosition"]


def tables(page):
    """The column tables: lists of (first, last, width, types, decimals, name)."""
    for block in re.findall(r"^\| columns \|.*\n\|[-|]+\|\n((?:\|.*\n)+)", page, flags=re.M):
        rows = []
        for line in block.splitlines():
            columns, width, _, types, decimals, name = [cell.strip() for cell in line.strip("|").split(" |")]
            first, last = columns.split("-")
            rows.append((int(first), int(last), int(width), types, decimals, name.strip("`")))
        yield rows


def check_cover(title, rows, first, last):
    next_ = first
    for row in sorted(set(row[:3] for row in rows)):
        if row[0] != next_ or row[2] != row[1] - row[0] + 1:
            faults.append(f"{title}: columns {row[0]}-{row[1]}, width {row[2]}, do not follow column {next_ - 1}")
        next_ = row[1] + 1
    if next_ != last + 1:
        faults.append(f"{title}: ends with column {next_ - 1}, not {last}")


def check_rows(space, rows, constants, seen):
    types_seen = {}
    for first, last, _, types, decimals, name in rows:
        if not name or name == "kMark":
            continue
        key = (space, name) if (space, name) in constants.columns else ("b3", name)
        where = f"{space} {name}"
        seen.add(key)
        if constants.columns.get(key) != (first, last):
            faults.append(f"{where}: the page says columns {first}-{last}, the code {constants.columns.get(key)}")
            continue
        if decimals and constants.decimals.get(key) != int(decimals):
            faults.append(f"{where}: the page says {decimals} decimals, the code {constants.decimals.get(key)}")
        types_seen.setdefault(key, set()).update(numbers(types))
    for key, types in types_seen.items():
        if space == "b3" and key in constants.types and types != constants.types[key]:
            faults.append(f"{key[1]}: the page says types {sorted(types)}, the code {sorted(constants.types[key])}")


def main():
    page, folder = Path(sys.argv[1]), Path(sys.argv[2])
    constants = Constants(folder)
    found = list(tables(page.read_text()))
    if len(found) != 5:
        sys.exit(f"{page}: {len(found)} column tables, expected 5")
    expected = [("b3", "B3", 1, constants.size["b3"]), ("b3", "sensor position", 47, 73),
                ("b3e", "B3E", 1, constants.size["b3"]), ("eci", "V", 1, constants.size["eci"]),
                ("eci", "P", 1, constants.size["b3"])]
    seen = set(IN_TEXT_ONLY)
    for rows, (space, title, first, last) in zip(found, expected):
        check_cover(title, rows, first, last)
        check_rows(space, rows, constants, seen)
    faults.extend(f"{key}: has no row on the page" for key in sorted(set(constants.columns) - seen))
    print("\n".join(faults) if faults else f"{len(constants.columns)} fields agree")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())

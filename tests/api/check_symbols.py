#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Holds three lists of the exported functions together: the header's declarations, the reviewed list, and what
the built library defines.

usage: check_symbols.py HEADER LIST LIBRARY NM
"""
import subprocess
import sys
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parents[2] / "tools"))
import api_header  # noqa: E402  # found through the line above


def defined(library, nm):
    lines = subprocess.run([nm, "-D", "--defined-only", str(library)], check=True, capture_output=True, text=True)
    # The sanitizers' own marks begin with two underscores, which are reserved to the compiler.
    return [name for name in (line.split()[-1] for line in lines.stdout.splitlines()) if not name.startswith("__")]


def main():
    header, reviewed, library = map(Path, sys.argv[1:4])
    lists = {
        str(header): [function.name for function in api_header.read(header).functions()],
        str(reviewed): reviewed.read_text().split(),
        str(library): defined(library, sys.argv[4]),
    }
    faults = []
    for place, names in lists.items():
        if len(set(names)) != len(names):
            faults.append(f"{place}: a name occurs twice")
    for name in sorted(set().union(*lists.values())):
        faults += [f"{place}: no {name}, which another list has" for place in lists if name not in lists[place]]
    if lists[str(reviewed)] != sorted(lists[str(reviewed)]):
        faults.append(f"{reviewed}: not in order")
    print("\n".join(faults) if faults else f"{len(lists[str(reviewed)])} exported functions")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())

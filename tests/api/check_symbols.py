#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Holds the exported functions that the header declares against what the built library defines. That none of them is lost
from both is the business of tests/DllExports/FailuresTest.cpp, which calls each of them.

usage: check_symbols.py HEADER LIBRARY NM
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


header, library, nm = Path(sys.argv[1]), Path(sys.argv[2]), sys.argv[3]
declared = sorted(function.name for function in api_header.read(header).functions())
faults = [f"declared twice: {name}" for name, next_name in zip(declared, declared[1:]) if name == next_name]
faults += [f"in one of header and library alone: {name}" for name in sorted(set(declared) ^ set(defined(library, nm)))]
print("\n".join(faults) or f"{len(declared)} exported functions")
sys.exit(bool(faults))

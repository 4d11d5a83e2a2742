#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""What the built files show: the sibling libraries export what their headers declare, each function once, and nothing
else; unless they were built otherwise, all files are hardened as Debian hardens its packages.

usage: check_binaries.py NM READELF hardened|plain FILE...    the command and all libraries
"""
import re
import subprocess
import sys
from collections import Counter
from pathlib import Path

top = Path(__file__).resolve().parents[2]
nm, readelf, hardened, files = sys.argv[1], sys.argv[2], sys.argv[3] == "hardened", [Path(name) for name in sys.argv[4:]]
faults = []


def output(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def exported(library):
    """Names without arguments, that of a class for its constructors; the sanitizers' own begin with two underscores."""
    lines = output(nm, "-DC", "--defined-only", library).splitlines()
    names = [re.split(r"[(\[]", line.split(maxsplit=2)[2])[0] for line in lines]
    return [re.sub(r"::(\w+)::~?\1$", r"::\1", name) for name in names if not name.startswith("__")]


headers = "\n".join(path.read_text() for path in top.glob("siblings/include/*.h"))
headers = re.sub(r"//[^\n]*|/\*.*?\*/|#define[^\n]*", "", headers, flags=re.S)
functions = re.findall(r"\bFAMILY_API\s+(?!\()[^;({]*?(\w+)\(", headers)
declared = {f"family::{name}" for name in functions + re.findall(r"class FAMILY_API (\w+)", headers)}
declared |= set(re.findall(r"\bOBS_FAMILY_API\s+[^;({]*?(\w+)\(", headers))
found = Counter(name for file in files if re.match(r"libObs\w+\.so", file.name) for name in set(exported(file)))
faults += [f"exported and not declared: {name}" for name in sorted(found.keys() - declared)]
faults += [f"declared and exported {found[name]} times: {name}" for name in sorted(declared) if found[name] != 1]

marks = {"relro": r"GNU_RELRO", "immediate binding": r"\bNOW\b", "position independence": r"\bDYN\b",
         "stack protector": r"\b__stack_chk_fail", "fortified calls": r"\b__\w+_chk@"}
without_buffers = re.compile(r"libObs(Constants|Time|Coords|Sensors|Services)\.")  # too few to ask for the last two
for file in files if hardened else []:
    shown = output(readelf, "-lhdW", file) + output(nm, "-D", "--undefined-only", file)
    asked = list(marks)[:3 if without_buffers.match(file.name) else None]
    faults += [f"{file.name}: no {name}" for name in asked if not re.search(marks[name], shown)]
print("\n".join(faults) or f"{len(declared)} names of {len(files)} files")
sys.exit(bool(faults))

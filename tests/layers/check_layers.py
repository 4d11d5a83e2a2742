#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Which folder may include from which. With a compiler, also that every header compiles alone.

usage: check_layers.py [COMPILER]
"""
import os
import re
import subprocess
import sys
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

top = Path(__file__).resolve().parents[2]
BASE = "siblings/include"
INSIDE = f"{BASE} Obs/ObsTypes Obs/CardLayouts Obs/ObsTree Obs/ObsStates Obs/ObsCardReading"
ALLOWED = {  # beside itself; a folder stands for those inside it
    BASE: "",
    "siblings/services": BASE,
    "siblings/time": BASE,
    "siblings/constants": BASE,
    "siblings/coords": f"{BASE} siblings/services/SettingsFile.h",
    "siblings/sensors": f"{BASE} siblings/services/SettingsFile.h",
    "Obs/ObsTypes": BASE,
    "Obs/ObsTree": f"{BASE} Obs/ObsTypes Obs/ObsStates/Angles.h Obs/ObsStates/Equinox.h Obs/CardLayouts/Refusal.h",
    "Obs/ObsStates": f"{BASE} Obs/ObsTypes Obs/CardLayouts/Refusal.h",
    "Obs/CardLayouts": f"{BASE} Obs/ObsTypes",
    "Obs/ObsCardReading": INSIDE,
    "Obs/FormatObs": INSIDE,
    "DllExports/Obs/ObsDllVarsUtils": f"{INSIDE} Obs/FormatObs",
    "DllExports/Obs/Columns": f"{INSIDE} DllExports/Obs/ObsDllExports/ObsArrow.h",
    "DllExports/Obs/ObsDllExports": f"{INSIDE} Obs/FormatObs DllExports/Obs/ObsDllVarsUtils DllExports/Obs/Columns",
    "cli": f"{BASE}/ObsFamily.h DllExports/Obs/ObsDllExports/ObsDllExports.h",
    "python/obslib/native": "",  # the installed headers, as any other caller
}
faults, headers, count = [], [], 0


def within(path, folder):
    return path == folder or path.startswith(folder + "/")


for first in ("siblings", "Obs", "DllExports", "cli", "python"):
    for file in sorted(top.glob(f"{first}/**/*.[hc]*")):
        name = str(file.relative_to(top))
        headers += [file] if file.suffix == ".h" and first != "python" else []  # those need the headers of pip's build
        room = next((folder for folder in ALLOWED if within(name, folder)), None)
        if file.suffix in (".h", ".cpp") and room is None:
            faults.append(f"{name} lies in no folder of the table")
        elif room:
            included = [path for path in re.findall(r'#include "([^"]+/[^"]+)"', file.read_text())]
            count += len(included)
            faults += [f"{name} may not include {path}" for path in included
                       if not any(within(path, folder) for folder in [room, *ALLOWED[room].split()])]


def alone(header):
    command = [sys.argv[1], "-std=c++20", "-fsyntax-only", "-Werror", "-x", "c++", "-I", str(top), "-include", str(header),
               os.devnull]
    result = subprocess.run(command, capture_output=True, text=True)
    return [f"{header.relative_to(top)} does not compile alone:\n{result.stderr}"] if result.returncode else []


if len(sys.argv) > 1:
    with ThreadPoolExecutor(os.cpu_count()) as pool:
        faults += sum(pool.map(alone, headers), [])
    count += len(headers)
print("\n".join(faults) or f"{count} includes and headers")
sys.exit(bool(faults) or count < 300)

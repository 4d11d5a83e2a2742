#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Every source begins with the line that names its licence, after "#!" where it has that.

usage: spdx.py [--check]    adds the missing lines; --check: names the files and fails
"""
import subprocess
import sys
from pathlib import Path

TOP = Path(__file__).resolve().parents[1]
LINE = "SPDX-License-Identifier: Apache-2.0"
FORMS = {"// {}": (".cpp", ".h"), "/* {} */": (".c", ".map"), "# {}": (".py", ".sh", ".cmake", ".in"), "! {}": (".f90",)}
PUBLIC_C = ("ObsDllExports.h", "ObsArrow.h", "ObsFamily.h")


def form(path):
    """How the language comments, None for what is not a source: texts, pages, data."""
    if path.name in PUBLIC_C:
        return "/* {} */"
    if path.name == "CMakeLists.txt" or path.name in ("run", "test"):
        return "# {}"
    return next((form for form, endings in FORMS.items() if path.suffix and path.suffix in endings), None)


def sources():
    try:
        listed = subprocess.run(["git", "-C", TOP, "ls-files", "-z"], capture_output=True, check=True, text=True).stdout
        files = [TOP / name for name in listed.split("\0")]
    except (OSError, subprocess.CalledProcessError):  # no repository
        files = [path for path in TOP.rglob("*") if path.relative_to(TOP).parts[0] != "build"]
    return [path for path in files if path.is_file() and form(path)]


def main():
    missing, found = [], sources()
    for path in found:
        lines = path.read_text().splitlines(keepends=True)
        place = 1 if lines and lines[0].startswith("#!") else 0
        line = form(path).format(LINE) + "\n"
        if line not in lines[place:place + 1]:
            missing.append(str(path.relative_to(TOP)))
            if "--check" not in sys.argv:
                path.write_text("".join([*lines[:place], line, *lines[place:]]))
    print("\n".join(missing) or f"{len(found)} sources")
    return bool(missing) and "--check" in sys.argv or not found


if __name__ == "__main__":
    sys.exit(main())

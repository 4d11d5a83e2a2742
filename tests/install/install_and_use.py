#!/usr/bin/env python3
"""Installs the build, moves the installed tree, and there builds and runs the README's example twice: found by
CMake and by pkg-config. So the headers, the two descriptions, the libraries' search paths and the README hold
together."""
import argparse
import os
import re
import subprocess
import sys
import tempfile
from pathlib import Path

DECK = [  # not in order of time; the last one is damaged
    "U0000534524163123456789450000 1800000                                     1",
    "U9000177724163010203004200000 0100000         +01234567-06543210+00000001 8",
    "B3E damaged",
]
LISTED = ["U90001777", "U00005345"]


def run(command, **options):
    result = subprocess.run(command, text=True, capture_output=True, **options)
    if result.returncode != 0:
        sys.exit(f"{' '.join(map(str, command))}: status {result.returncode}\n{result.stdout}{result.stderr}")
    return result.stdout


def code_block(readme, language):
    return re.search(rf"^```{language}\n(.*?)^```", readme.read_text(), flags=re.S | re.M).group(1)


def build_with_cmake(options, readme, prefix, folder):
    (folder / "CMakeLists.txt").write_text(code_block(readme, "cmake"))
    run([options.cmake, "-S", folder, "-B", folder / "build", f"-DCMAKE_PREFIX_PATH={prefix}",
         f"-DCMAKE_C_COMPILER={options.compiler}", f"-DCMAKE_C_FLAGS={' '.join(options.flags)}"])
    run([options.cmake, "--build", folder / "build"])
    return folder / "build" / "cards"


def build_with_pkg_config(options, prefix, folder):
    found = {**os.environ, "PKG_CONFIG_PATH": str(prefix / options.libdir / "pkgconfig")}
    needed = run(["pkg-config", "--cflags", "--libs", "obs"], env=found).split()
    run([options.compiler, "-std=c11", *options.flags, folder / "cards.c", "-o", folder / "cards", *needed,
         f"-Wl,-rpath,{prefix / options.libdir}"])
    return folder / "cards"


def check(name, program, deck):
    cards = run([program, deck]).splitlines()
    if [card[:9] for card in cards] != LISTED:
        sys.exit(f"{name}: the example printed {cards}, expected cards beginning {LISTED}")


def main():
    parser = argparse.ArgumentParser()
    for option in ("cmake", "compiler", "sanitize", "libdir"):
        parser.add_argument(f"--{option}", required=True)
    for option in ("build", "readme"):
        parser.add_argument(f"--{option}", required=True, type=Path)
    options = parser.parse_args()
    # A caller of a library with sanitizers must bring their run-time support.
    options.flags = [f"-fsanitize={options.sanitize}"] if options.sanitize else []

    with tempfile.TemporaryDirectory() as temporary:
        folder = Path(temporary)
        run([options.cmake, "--install", options.build, "--prefix", folder / "first place"])
        prefix = (folder / "first place").rename(folder / "moved")
        (folder / "cards.c").write_text(code_block(options.readme, "c"))
        deck = folder / "deck.txt"
        deck.write_text("\n".join(DECK))
        check("CMake", build_with_cmake(options, options.readme, prefix, folder), deck)
        check("pkg-config", build_with_pkg_config(options, prefix, folder), deck)
        if (prefix / "bin" / "obstool").exists():
            # Stations that the number table lacks: the shipped list is found in the moved tree.
            ranges = next(prefix.glob("share/doc/*/examples/laser_ranging/crd2_all_fields.frd"))
            run([prefix / "bin" / "obstool", "list", ranges])


if __name__ == "__main__":
    main()

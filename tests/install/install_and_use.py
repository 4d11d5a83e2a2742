#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Installs the build, moves the installed tree, and there builds and runs the README's example: found by CMake and by
pkg-config. So the headers, the two descriptions, the libraries' search paths and the README hold together. With --source
the example also takes Obs into its own build."""
import argparse
import os
import re
import shutil
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


def configure(options, folder, description, *settings):
    (folder / "CMakeLists.txt").write_text(description)
    run([options.cmake, "-G", options.generator, "-S", folder, "-B", folder / "build",
         f"-DCMAKE_C_COMPILER={options.compiler}", f"-DCMAKE_C_FLAGS={' '.join(options.flags)}", *settings])
    return folder / "build"


def build_with_cmake(options, prefix, folder):
    build = configure(options, folder, code_block(options.readme, "cmake"), f"-DCMAKE_PREFIX_PATH={prefix}")
    run([options.cmake, "--build", build])
    return build / "cards"


def build_within(options, folder):
    """One library is compiled as part of the caller's build; the other ones are taken from the build at hand, which saves
    a minute. Nothing of Obs may get into the caller's own installation."""
    description = re.sub("find_package.*", f"enable_language(CXX)\nadd_subdirectory({options.source} obs)",
                         code_block(options.readme, "cmake"))
    build = configure(options, folder, description)
    run([options.cmake, "--install", build, "--prefix", folder / "of the caller"])
    if (folder / "of the caller").exists():
        sys.exit(f"installed with the caller: {list((folder / 'of the caller').rglob('*'))}")
    run(["ninja", "-C", build, "ObsTime", "CMakeFiles/cards.dir/cards.c.o"])
    for library in (options.build / "lib").glob("lib*"):
        if "ObsTime" not in library.name:
            shutil.copy2(library, build / "obs/lib", follow_symlinks=False)
    run(["sh", "-c", run(["ninja", "-C", build, "-t", "commands", "cards"]).splitlines()[-1]], cwd=build)
    return build / "cards"


def build_with_pkg_config(options, prefix, folder):
    found = {**os.environ, "PKG_CONFIG_PATH": str(prefix / options.libdir / "pkgconfig")}
    needed = run(["pkg-config", "--cflags", "--libs", "obs"], env=found).split()
    run([options.compiler, "-std=c11", *options.flags, folder / "cards.c", "-o", folder / "cards", *needed,
         f"-Wl,-rpath,{prefix / options.libdir}"])
    return folder / "cards"


def check(name, program, deck):
    result = subprocess.run([program, deck], text=True, capture_output=True)
    if result.returncode != 1 or "1 bad lines" not in result.stderr:
        sys.exit(f"{name}: the example's status is {result.returncode}: {result.stderr}")
    missing = subprocess.run([program, "nowhere.txt"], text=True, capture_output=True)
    if missing.returncode != 1 or "No such file" not in missing.stderr:
        sys.exit(f"{name}: a missing deck is not named: {missing.stderr}")
    cards = result.stdout.splitlines()
    if [card[:9] for card in cards] != LISTED:
        sys.exit(f"{name}: the example printed {cards}, expected cards beginning {LISTED}")


def main():
    parser = argparse.ArgumentParser()
    for option in ("cmake", "generator", "compiler", "sanitize", "libdir"):
        parser.add_argument(f"--{option}", required=True)
    for option in ("build", "readme"):
        parser.add_argument(f"--{option}", required=True, type=Path)
    parser.add_argument("--source", type=Path)
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
        check("CMake", build_with_cmake(options, prefix, folder), deck)
        check("pkg-config", build_with_pkg_config(options, prefix, folder), deck)
        if options.source:
            (folder / "within").mkdir()
            shutil.copy(folder / "cards.c", folder / "within")
            check("add_subdirectory", build_within(options, folder / "within"), deck)
        if (prefix / "bin" / "obstool").exists():
            # Stations that the number table lacks: the shipped list is found in the moved tree.
            ranges = next(prefix.glob("share/doc/*/examples/laser_ranging/crd2_all_fields.frd"))
            run([prefix / "bin" / "obstool", "list", ranges])


if __name__ == "__main__":
    main()

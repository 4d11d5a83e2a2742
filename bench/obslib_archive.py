#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""How fast archives are built, by the bytes of decks and the number of workers. Needs obslib[archive].

usage: obslib_archive.py MAKE_DECK FOLDER [--bytes N,N,...] [--workers N,N,...]

MAKE_DECK is the program of that name. The decks are B3 cards of one year in eight files; each size is built once with
each number of workers. Seconds are given for each phase, for all with the start and end of the processes, and
of the processors, which other work on the machine changes little.
--bytes 2e6,2e7,2e8,2e9 adds a third power of ten to the two of the default.
"""
import argparse
import resource
import shutil
import subprocess
import time
from pathlib import Path

from obslib import archive

CARD_BYTES = 81
FILES = 8


def decks(make_deck, folder, size):
    """A year in order of time, in eight files."""
    deck = folder / "deck.b3"
    with open(deck, "wb") as file:
        subprocess.run([make_deck, "--n", str(size // CARD_BYTES), "--dups", "0.01"], stdout=file, check=True)
    paths = [folder / f"{number}.b3" for number in range(FILES)]
    with open(deck, "rb") as lines:
        for path in paths:
            with open(path, "wb") as file:
                file.writelines(lines.readlines(deck.stat().st_size // FILES + 1))
    deck.unlink()
    return paths


def measure(paths, out, workers):
    shutil.rmtree(out, ignore_errors=True)
    begun = {}

    def note(progress):
        begun.setdefault(progress.phase, progress.seconds)

    start, before = time.perf_counter(), processor_s()
    result = archive.build(paths, out, workers=workers, progress=note)
    whole = time.perf_counter() - start
    seconds = {"scan": begun["map"] - begun["scan"], "map": begun["reduce"] - begun["map"],
               "reduce": begun["commit"] - begun["reduce"]}
    return result, whole, processor_s() - before, seconds


def processor_s():
    """Of the processes that are over, workers among them."""
    used = resource.getrusage(resource.RUSAGE_CHILDREN)
    return used.ru_utime + used.ru_stime


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("make_deck")
    parser.add_argument("folder", type=Path)
    parser.add_argument("--bytes", default="2e6,2e7,2e8")
    parser.add_argument("--workers", default="1,2")
    options = parser.parse_args()
    options.folder.mkdir(parents=True, exist_ok=True)
    head = ("bytes of decks", "observations", "workers", "scan s", "map s", "reduce s", "all s", "processor s",
            "MB/s without start", "bytes of archive")
    print("|".join(("", *head, "")), "|".join(("", *["---"] * len(head), "")), sep="\n")
    for size in (int(float(one)) for one in options.bytes.split(",")):
        paths = decks(options.make_deck, options.folder, size)
        read = sum(path.stat().st_size for path in paths)
        for workers in map(int, options.workers.split(",")):
            result, whole, busy, seconds = measure(paths, options.folder / "archive", workers)
            times = [f"{one:.1f}" for one in (*seconds.values(), whole, busy)]
            row = (read, result.manifest.counts["loaded"], workers, *times, f"{read / sum(seconds.values()) / 1e6:.2f}",
                   result.manifest.bytes())
            print("|".join(("", *map(str, row), "")), flush=True)
        for path in paths:
            path.unlink()
    shutil.rmtree(options.folder / "archive")


if __name__ == "__main__":
    main()

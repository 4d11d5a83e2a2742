#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""From many decks to an archive, on two workers of which one is killed; then one satellite, one week.

run: pip install 'obslib[archive]'; python3 archive_two_workers.py [FOLDER]
"""
import os
import signal
import sys
import tempfile
from pathlib import Path

import numpy as np
import pyarrow
from distributed import Client, LocalCluster

import obslib
from obslib import archive

WEEK = "sat=25544 time=2024-02-05:2024-02-11"


def write_decks(folder: Path) -> None:
    """A deck of B3 cards for each week of a quarter: forty satellites as three radars see them."""
    draw = np.random.default_rng(1)
    satellites = np.append(draw.integers(10_000, 60_000, 39), 25544)
    folder.mkdir(parents=True)
    for week in range(13):
        ds50 = 27028 + 7 * week + np.sort(draw.uniform(0, 7, 4000))  # days since 1950; 27028 is 2024-01-01
        obslib.store.clear()
        obslib.from_dataframe(pyarrow.table({
            "ds50": ds50, "sat_num": draw.choice(satellites, 4000), "sen_num": draw.choice([344, 345, 399], 4000),
            "type": ["3"] * 4000, "elevation": draw.uniform(5, 85, 4000), "azimuth": draw.uniform(0, 360, 4000),
            "range_km": draw.uniform(400, 2000, 4000), "range_rate_km_s": draw.uniform(-7, 7, 4000)}))
        obslib.save(folder / f"week{week:02}.b3", "b3")


def main(folder: Path) -> None:
    write_decks(folder / "decks")
    with LocalCluster(n_workers=2, threads_per_worker=1, dashboard_address=None) as cluster, Client(cluster) as client:
        victims = list(client.run(os.getpid).values())[:1]

        def watch(progress: archive.Progress) -> None:
            if progress.phase == "map" and victims:
                os.kill(victims.pop(), signal.SIGKILL)
                print("killed one of two workers")

        built = archive.build(folder / "decks", folder / "archive", scheduler=cluster.scheduler_address,
                              piece_bytes=500_000, progress=watch)
    print(f"{built.decks_read} decks, {built.manifest.counts['loaded']} observations")

    found = archive.open(folder / "archive").select(WEEK)
    frame = found.to_pandas()
    print(f"{len(frame)} observations of {WEEK}, from {found.reading.files} of {found.reading.files_of} files")
    obslib.store.clear()
    obslib.load(str(folder / "decks/*.b3"))
    print(f"{len(obslib.store.select(WEEK))} in one load of all decks")


if __name__ == "__main__":  # the processes of LocalCluster read this file again
    with tempfile.TemporaryDirectory() as scratch:
        main(Path(sys.argv[1] if len(sys.argv) > 1 else scratch) / "two_workers")

#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Columns out of the store and in, against reading the same cards with pandas and polars. Needs obslib, pandas, polars.

usage: obslib_columns.py [OBSERVATIONS]    best of three, seconds
"""
import os
import sys
import tempfile
from time import perf_counter

import numpy as np
import pandas
import polars

import obslib

COUNT = int(sys.argv[1]) if len(sys.argv) > 1 else 200_000
CARD = {"sat_num": (1, 6), "sen_num": (6, 9), "year": (9, 11), "day": (11, 14), "ms": (14, 23), "elevation": (23, 29),
        "azimuth": (30, 37), "range_km": (38, 45)}
NAMES = ("sat_num", "sen_num", "time", "elevation", "azimuth", "range_km")


def made_up():
    draw = np.random.default_rng(7)
    return pandas.DataFrame({
        "ds50": 27029 + np.sort(draw.integers(0, 30 * 86400_000, COUNT)) / 86400_000,
        "sat_num": draw.integers(1, 50000, COUNT), "sen_num": draw.integers(1, 999, COUNT), "type": ["2"] * COUNT,
        "elevation": draw.uniform(0, 90, COUNT), "azimuth": draw.uniform(0, 360, COUNT),
        "range_km": draw.uniform(300, 40000, COUNT)})


def best(work, before=lambda: None):
    times = []
    for _ in range(3):
        before()
        start = perf_counter()
        work()
        times.append(perf_counter() - start)
    return min(times)


def by_polars(path):
    lines = polars.read_csv(path, has_header=False, new_columns=["card"], separator="\x01", quote_char=None)
    return lines.select(polars.col("card").str.slice(a, b - a).alias(name) for name, (a, b) in CARD.items())


frame = made_up()
obslib.from_dataframe(frame)
with tempfile.TemporaryDirectory() as folder:
    cards = os.path.join(folder, "cards.b3")
    obslib.save(cards, "b3")
    every = polars.DataFrame(obslib.store)
    clear = obslib.store.clear
    rows = {
        "load the cards": best(lambda: obslib.load(cards), clear),
        "six columns to NumPy": best(lambda: obslib.store.columns(*NAMES)),
        "all columns to NumPy": best(obslib.store.columns),
        "six columns to pandas": best(lambda: obslib.store.to_pandas(*NAMES)),
        "all columns to polars": best(lambda: polars.DataFrame(obslib.store)),
        "seven columns in, from pandas": best(lambda: obslib.from_dataframe(frame), clear),
        "all columns in, from polars": best(lambda: obslib.from_dataframe(every), clear),
        "the cards by pandas.read_fwf, eight texts": best(
            lambda: pandas.read_fwf(cards, colspecs=list(CARD.values()), names=list(CARD), dtype=str)),
        "the cards by polars, eight texts": best(lambda: by_polars(cards)),
    }
for name, seconds in rows.items():
    print(f"{name:45}{seconds:8.3f} s{seconds / COUNT * 1e9:8.0f} ns an observation")

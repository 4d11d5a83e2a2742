# SPDX-License-Identifier: Apache-2.0
"""Pictures on matplotlib. Each function draws into `axes` or makes some, and returns them. Needs obslib[plot]."""
from __future__ import annotations

from typing import Any

import numpy as np

from ._extras import needed
from ._store import Observations, store

CELLS = 360  # of a direction in a picture; more observations than that are counted in cells
FEW = 5000   # points that are drawn one by one


def sky(observations: Observations | None = None, *, axes: Any = None) -> Any:
    """Where in the sky observations were, azimuth round the rim and the zenith in the middle; many of them as counts in
    cells of two degrees of elevation and azimuth."""
    pyplot = needed("matplotlib.pyplot", "plot")
    where = (store if observations is None else observations).columns("azimuth", "elevation")
    seen = np.isfinite(where["azimuth"]) & np.isfinite(where["elevation"]) & (where["elevation"] >= 0)
    azimuth, elevation = np.radians(where["azimuth"][seen]), where["elevation"][seen]
    axes = axes if axes is not None else pyplot.figure().add_subplot(projection="polar")
    axes.set_theta_zero_location("N")
    axes.set_theta_direction(-1)
    if len(azimuth) <= FEW:
        axes.plot(azimuth, 90 - elevation, ".", markersize=2)
    else:
        edges = np.linspace(0, 2 * np.pi, CELLS // 2 + 1), np.linspace(0, 90, 46)
        counts, *_ = np.histogram2d(azimuth % (2 * np.pi), 90 - elevation, edges)
        mesh = axes.pcolormesh(*edges, np.ma.masked_equal(counts.T, 0), norm="log")
        axes.figure.colorbar(mesh, ax=axes, label="observations")
    axes.set_rlim(0, 90)
    axes.set_rgrids([30, 60, 90], ["60°", "30°", "0°"])
    axes.set_title(f"{len(azimuth)} observations")
    return axes


def coverage(observations: Observations | None = None, *, axes: Any = None) -> Any:
    """How many passes each sensor has of each satellite; those with most, where there are too many for a picture."""
    pyplot = needed("matplotlib.pyplot", "plot")
    passes = (store if observations is None else observations).passes()
    axes = axes if axes is not None else pyplot.figure().add_subplot()
    axes.set_title(f"{len(passes['sat_num'])} passes")
    if not len(passes["sat_num"]):
        return axes
    satellites, sat_rows = most(passes["sat_num"])
    sensors, sen_rows = most(passes["sen_num"])
    shown = (sat_rows >= 0) & (sen_rows >= 0)
    counts = np.zeros((len(sensors), len(satellites)))
    np.add.at(counts, (sen_rows[shown], sat_rows[shown]), 1)
    image = axes.imshow(np.ma.masked_equal(counts, 0), aspect="auto", interpolation="nearest")
    axes.figure.colorbar(image, ax=axes, label="passes")
    axes.set_xticks(range(len(satellites)), satellites, rotation=90, fontsize="small")
    axes.set_yticks(range(len(sensors)), sensors, fontsize="small")
    axes.set_xlabel("satellite")
    axes.set_ylabel("sensor")
    return axes


def most(numbers: Any, room: int = 60) -> tuple[Any, Any]:
    """The numbers that occur most, ascending, and the place of each element among them (-1: it is none)."""
    found, counts = np.unique(numbers, return_counts=True)
    kept = np.sort(found[np.argsort(-counts, kind="stable")[:room]])
    places = np.searchsorted(kept, numbers) if len(kept) else np.zeros(0, int)
    return kept, np.where(np.isin(numbers, kept), places, -1)

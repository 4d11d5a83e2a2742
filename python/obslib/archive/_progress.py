# SPDX-License-Identifier: Apache-2.0
"""How far a build has come, and how long the rest will take."""
from __future__ import annotations

import sys
import time
from collections.abc import Callable
from dataclasses import dataclass

# What a byte of input costs in each phase, in parts of all.
COSTS = {"scan": 0.1, "map": 0.55, "reduce": 0.35}
SHOWN_EACH_S = 0.5


@dataclass(frozen=True, slots=True)
class Progress:
    """What a build has done: the phase ("scan", "map", "reduce" or "commit"), its tasks, the part of all (0 to 1), and
    the seconds since the begin and about left (None: not known yet)."""

    phase: str
    tasks_done: int
    tasks: int
    part: float
    seconds: float
    seconds_left: float | None

    def __str__(self) -> str:
        left = "" if self.seconds_left is None else f", {clock(self.seconds_left)} left"
        return f"{self.phase} {self.tasks_done}/{self.tasks}, {100 * self.part:.0f} % after {clock(self.seconds)}{left}"


Told = Callable[[Progress], object]


def clock(seconds: float) -> str:
    minutes, rest = divmod(round(seconds), 60)
    return f"{minutes // 60}:{minutes % 60:02}:{rest:02}" if minutes >= 60 else f"{minutes}:{rest:02}"


def show(progress: Progress) -> None:
    """On standard error: a line that is written over where that is a terminal."""
    end = "\n" if not sys.stderr.isatty() or progress.phase == "commit" else ""
    begin = "\r\x1b[K" if sys.stderr.isatty() else ""
    sys.stderr.write(f"{begin}archive: {progress}{end}")
    sys.stderr.flush()


class Account:
    """Counts the tasks of a build and tells of them, twice a second at most and at the end of each phase."""

    def __init__(self, told: Told | None) -> None:
        self._told = told
        self._start = self._shown = time.monotonic()
        self._phase = ""
        self._before = self._done = self._all = 0.0
        self._tasks_done = self._tasks = 0

    def begin(self, phase: str, weights: float, tasks: int) -> None:
        """A phase of that many tasks, whose weights have this sum."""
        self._before += COSTS.get(self._phase, 0.0)
        self._phase, self._done, self._all = phase, 0.0, weights
        self._tasks_done, self._tasks = 0, tasks
        self._tell(True)

    def done(self, weight: float) -> None:
        self._done += weight
        self._tasks_done += 1
        self._tell(self._tasks_done == self._tasks)

    def _tell(self, at_once: bool) -> None:
        now = time.monotonic()
        if self._told is None or (not at_once and now - self._shown < SHOWN_EACH_S):
            return
        self._shown = now
        inside = self._done / self._all if self._all else float(self._tasks_done >= self._tasks)
        part = min(1.0, self._before + COSTS.get(self._phase, 0.0) * inside)
        seconds = now - self._start
        left = seconds * (1 - part) / part if part > 0.01 else None
        self._told(Progress(self._phase, self._tasks_done, self._tasks, part, seconds, left))

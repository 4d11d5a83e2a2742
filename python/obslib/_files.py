# SPDX-License-Identifier: Apache-2.0
"""Loading and saving files, and taking in frames."""
from __future__ import annotations

import glob
import os
from collections.abc import Callable, Iterable
from dataclasses import dataclass, field, fields
from typing import Any

import numpy as np

from . import _family, _native
from ._errors import unpadded
from ._packed import unpacked
from ._store import store
from ._table import Table, html

Path = str | os.PathLike[str] | bytes
KINDS = {2: "bad", 4: "zeroed", 5: "passed over", 7: "note", 8: "keyword", 9: "include left out", 10: "selection",
         11: "unknown sensor", 12: "broken off"}
FORMATS = {"b3": 0, "tty": 1, "csv": 2, "rf": 3, "crd": 4, "crd-full-rate": 5}
SAVE_KINDS = {1: "left out", 2: "unreadable", 3: "sensor", 4: "type", 5: "position", 6: "site", 7: "exponent"}


@dataclass(slots=True)
class LoadResult:
    """What the lines of a load were (the counts of ObsGetLoadLines), and the table of those worth a word: bad, zeroed
    and passed-over lines, and keyword lines that could not be obeyed."""

    loaded: int = 0
    duplicate: int = 0
    bad: int = 0
    left_out: int = 0  # loaded, but not what `select` asks for, and removed again
    lines: int = 0
    observations: int = 0
    comments: int = 0
    keywords: int = 0
    laser: int = 0
    passed_over: int = 0
    zeroed: int = 0
    includes_left_out: int = 0
    table: Table = field(default_factory=lambda: Table(("kind", "file", "line", "reason"), ()))

    def _add(self, counts: dict[str, int], rows: list[tuple[Any, ...]]) -> None:
        for name, count in counts.items():
            setattr(self, name, getattr(self, name) + count)
        told = [(KINDS.get(kind, str(kind)), *place, unpadded(reason)) for kind, *place, reason in rows]
        self.table = Table(self.table.names, [*self.table, *told])

    def _repr_html_(self) -> str:
        counts = [(one.name.replace("_", " "), getattr(self, one.name)) for one in fields(self) if one.name != "table"]
        return html(("count of", ""), [row for row in counts if row[1]]) + self.table._repr_html_()


@dataclass(frozen=True, slots=True)
class SaveResult:
    """How many observations a save wrote, left out and altered, and the table of which and why."""

    written: int
    left_out: int
    altered: int
    table: Table


@dataclass(frozen=True, slots=True)
class AddResult:
    """How many rows of a frame were added, were there already, and were refused."""

    rows: int
    added: int
    duplicates: int
    refused: int


def expanded(paths: Path | Iterable[Path]) -> list[Path]:
    """The files that are meant; a text that names none is a pattern."""
    if isinstance(paths, (str, bytes, os.PathLike)):
        paths = [paths]
    found: list[Path] = []
    for path in paths:
        if not isinstance(path, (str, bytes, os.PathLike)):
            raise TypeError(f"a path is a str, bytes or os.PathLike, not {type(path).__name__}")
        if isinstance(path, str) and not os.path.lexists(path) and glob.has_magic(path):
            matches = sorted(glob.glob(path, recursive=True))
            if not matches:
                raise FileNotFoundError(2, "no file matches", path)
            found += matches
        else:
            found.append(path)
    return found


def thread_count(threads: int | None) -> int:
    """As the library wants it: 0 for all cores."""
    given = threads if threads is not None else os.environ.get("OBS_THREADS") or 0
    try:
        number = int(given)
    except ValueError:
        raise ValueError(f"OBS_THREADS is a number of threads, not {given!r}") from None
    if not (0 if threads is None else 1) <= number <= 256:
        raise ValueError(f"threads is 1 to 256, not {given}")
    return number


def load(paths: Path | Iterable[Path], *, group: int = 0, select: str | None = None, year: int | None = None,
         threads: int | None = None, progress: Callable[[int, int], object] | None = None) -> LoadResult:
    """Loads files into the store: paths, patterns, or bytes with the lines themselves. Files packed with gzip or (with
    the package zstandard) zstd are unpacked on the way; one that is cut off or damaged is refused.

    Each begins without a year (unless `year` gives that of TTY cards), with field keys and without selection; what its
    keyword lines set ends with it. `group` is the number of their group; `select` keeps what meets the criteria.
    `threads` is the most that may be used: those of the environment's OBS_THREADS, or of all cores, unless given; what
    is loaded is the same with any number. `progress(done, total)` is called at most ten times a second, with bytes of
    each file; an exception in it, and Ctrl-C, end the load, and what this file had stored is removed again.
    """
    _native.set_threads(thread_count(threads))
    if year is not None and not 1900 <= year <= 2999:
        raise ValueError(f"the year of TTY cards is 1900 to 2999, not {year}")
    if select is not None:
        store.select(select)  # refused before anything is loaded
    result = LoadResult()
    _family.warn_of_copies()
    for path in expanded(paths):
        before = len(store)
        if isinstance(path, bytes):
            # Files that the lines name are not read: the text is beside none.
            counts, rows = _native.load_text(b"<bytes>", path, group, year or 0, False, progress)
        else:
            with unpacked(path) as text:
                name = os.fsencode(path)
                if text is None:
                    counts, rows = _native.load_file(name, group, year or 0, True, progress)
                else:
                    counts, rows = _native.load_text(name, text, group, year or 0, True, progress)
        if select is not None:
            new = store.keys("insertion")[before:]
            unwanted = new[~np.isin(new, store.select(select).keys())]
            store.remove(unwanted)
            counts["left_out"] = len(unwanted)
        result._add(counts, rows)
    return result


def save(path: str | os.PathLike[str], format: str = "csv", *, append: bool = False,
         group: int | None = None, threads: int | None = None) -> SaveResult:
    """Writes all observations, or a group's, as "b3", "tty", "csv", "rf", "crd" or "crd-full-rate". The file is
    complete and on the disk when this returns; OSError otherwise, and the old one is still there. `threads` as in
    `load`."""
    _native.set_threads(thread_count(threads))
    if format not in FORMATS:
        raise ValueError(f"there is no format {format!r}; they are {', '.join(FORMATS)}")
    written, left_out, altered, rows = _native.save_file(os.fsencode(path), FORMATS[format], append, group)
    table = Table(("key", "kind", "reason"), [(key, SAVE_KINDS.get(kind, str(kind)), why) for key, kind, why in rows])
    return SaveResult(written, left_out, altered, table)


def from_dataframe(frame: Any, *, naive: str | None = None, group: int = 0) -> AddResult:
    """Adds the rows of a frame to the store: of pandas, polars, pyarrow, or whatever hands out an Arrow stream
    (`__arrow_c_stream__`). Columns are named as those of the store, any subset of them. Times without a zone are
    refused unless `naive="UTC"`. `group` is that of rows without one."""
    if naive not in (None, "UTC"):
        raise ValueError(f"naive is None or 'UTC', not {naive!r}")
    if not hasattr(frame, "__arrow_c_stream__"):
        raise TypeError(f"{type(frame).__name__} hands out no Arrow stream (__arrow_c_stream__)")
    *counts, _ = _native.import_stream(frame.__arrow_c_stream__(), naive == "UTC", group, 0)
    return AddResult(*counts)

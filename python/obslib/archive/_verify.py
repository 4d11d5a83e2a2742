# SPDX-License-Identifier: Apache-2.0
"""Whether the files of an archive are those that its manifest names, and hold what it says."""
from __future__ import annotations

import hashlib
import os
from collections import Counter
from collections.abc import Callable, Iterator
from dataclasses import dataclass
from pathlib import Path
from typing import Any

import numpy as np

from .._extras import needed
from .._table import Table, html
from ._manifest import NAME, ArchiveError, Manifest, Output
from ._parts import EDGE_DAYS, day_number, opened

STAGE_PREFIXES = ("_", "build.lock", ".build.lock")  # of a build that is under way or was broken off
ORDER = ("sat_num", "sen_num", "ds50")


@dataclass(frozen=True, slots=True)
class Verification:
    """How many files, rows and bytes were looked at, and the table of what is wrong. It is true when nothing is."""

    files: int
    rows: int
    bytes: int
    faults: Table

    def __bool__(self) -> bool:
        return not self.faults

    def __str__(self) -> str:
        found = f"{len(self.faults)} faults" if self.faults else "all as the manifest says"
        return f"{self.files} files, {self.rows} rows, {self.bytes} bytes: {found}"

    def _repr_html_(self) -> str:
        return self.faults._repr_html_() if self.faults else html(("",), [(str(self),)])


def verify(folder: Path, manifest: Manifest, progress: Callable[[int, int], object] | None) -> Verification:
    faults: list[tuple[str, str]] = []
    rows = size = 0
    whole = manifest.bytes()
    for one in manifest.outputs:
        faults += [(one.path, fault) for fault in file_faults(folder, one)]
        rows, size = rows + one.rows, size + one.bytes
        if progress is not None:
            progress(size, whole)
    if manifest.lines:
        fault = content_fault(folder / manifest.lines["path"], manifest.lines["bytes"], manifest.lines["sha256"])
        faults += [(manifest.lines["path"], fault)] if fault else []
    faults += [(name, "it is not in the manifest") for name in strays(folder, manifest)]
    days = [one.day for one in manifest.outputs]
    faults += [(NAME, f"the day {day} has {count} files") for day, count in sorted(Counter(days).items()) if count > 1]
    return Verification(len(manifest.outputs), rows, size, Table(("file", "fault"), faults))


def content_fault(path: Path, size: int, sha256: str) -> str | None:
    try:
        with open(path, "rb") as file:
            found = os.fstat(file.fileno()).st_size
            if found != size:
                return f"it has {found} bytes, not {size}"
            return None if hashlib.file_digest(file, "sha256").hexdigest() == sha256 else "its bytes are others"
    except OSError as failure:
        return f"it cannot be read: {failure.strerror}"


def file_faults(folder: Path, output: Output) -> Iterator[str]:
    """What is wrong with a file. One with other bytes is not looked into: of some damages the reader dies."""
    path = folder / output.path
    fault = content_fault(path, output.bytes, output.sha256)
    if fault:
        yield fault
        return
    arrow = needed("pyarrow", "archive")
    try:
        file = opened(str(path))
        if file.metadata.num_rows != output.rows:
            yield f"it has {file.metadata.num_rows} rows, not {output.rows}"
        yield from row_faults(file.read(list(ORDER)), output.day)
    except ArchiveError as damaged:
        yield str(damaged).removeprefix(f"{path} is damaged: ")
    except (arrow.ArrowException, OSError) as damaged:
        yield str(damaged)


def row_faults(table: Any, day: str) -> Iterator[str]:
    columns = [table[name].to_numpy() for name in ORDER]
    since = columns[2] - day_number(day)
    outside = int(((since < -EDGE_DAYS) | (since > 1 + EDGE_DAYS)).sum())
    if outside:
        yield f"{outside} rows are of another day"
    alike = np.ones(max(len(table) - 1, 0), bool)
    for column in columns:
        step = np.diff(column)
        # Times to the microsecond are what rows are sorted by.
        if (alike & (step < (-EDGE_DAYS if column is columns[2] else 0))).any():
            yield "its rows are not in the order of satellite, sensor and time"
            return
        alike &= step == 0


def strays(folder: Path, manifest: Manifest) -> Iterator[str]:
    """Files that a reader of the folder would take for a part of the archive, or that a build left half-written."""
    known = {one.path for one in manifest.outputs}
    for place, folders, names in os.walk(folder):
        if Path(place) == folder:
            folders[:] = [one for one in folders if not one.startswith(STAGE_PREFIXES)]
            names = [one for one in names if one != NAME and not one.startswith(STAGE_PREFIXES)]
        folders.sort()
        for name in sorted(names):
            path = Path(place, name).relative_to(folder).as_posix()
            if path not in known:
                yield path

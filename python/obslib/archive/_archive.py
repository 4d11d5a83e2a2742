# SPDX-License-Identifier: Apache-2.0
"""An archive as its readers see it: what its manifest said when it was opened."""
from __future__ import annotations

import os
from collections.abc import Callable, Iterable
from dataclasses import asdict, dataclass
from pathlib import Path
from typing import Any

from .._files import FORMATS
from .._table import html
from . import _verify
from ._decks import DeckResult, convert
from ._manifest import SCHEMA, Manifest, read_manifest
from ._map import settings_of_process
from ._schema import schema
from ._selection import ArchiveSelection
from ._target import written
from ._verify import Verification

Told = Callable[[int, int], object]


@dataclass(frozen=True, slots=True)
class Info:
    """What an archive holds and what it was made of: `bytes` of its files, `input_bytes` and `lines` of the decks, the
    first and last day (None: it is empty), and the counts of a load of all of them."""

    path: str
    library: str
    schema: int
    rows: int
    files: int
    bytes: int
    first_day: str | None
    last_day: str | None
    inputs: int
    input_bytes: int
    lines: int
    options: dict[str, Any]
    counts: dict[str, int]

    def __str__(self) -> str:
        facts = asdict(self)
        facts |= facts.pop("options") | facts.pop("counts")
        rows = [(name.replace("_", " "), value) for name, value in facts.items()]
        width = max(len(name) for name, _ in rows)
        return "\n".join(f"{name:{width}}  {'' if value is None else value}".rstrip() for name, value in rows)

    def _repr_html_(self) -> str:
        return html(("", ""), [line.split("  ", 1) for line in str(self).splitlines()])


class Archive:
    """An archive that was opened. Files that a build adds afterwards are seen when it is opened again."""

    def __init__(self, path: str | os.PathLike[str]) -> None:
        self.path = os.fspath(path)
        self._manifest = read_manifest(path)

    @property
    def manifest(self) -> Manifest:
        """What the archive was made of and what it holds."""
        return self._manifest

    @property
    def schema(self) -> Any:
        """All columns, as a pyarrow.Schema: those of the library, and `line`, `file`, `deck` (its number) and `place`
        (where in the order of a load)."""
        return schema()

    def __len__(self) -> int:
        return self._manifest.rows()

    def select(self, criteria: str = "", columns: Iterable[str] | None = None) -> ArchiveSelection:
        """The observations that meet a text of criteria, such as "sat=25544 time=2024-01-01:2024-01-07", as
        `Store.select` of a load of all would find them. Files of other days, and row groups with other satellites,
        sensors, times, types or classes are not read. ValueError says where a text is at fault."""
        return ArchiveSelection(self.path, self._manifest, criteria, columns)

    def convert(self, to: str, out: str | os.PathLike[str], *, select: str = "",
                progress: Told | None = None) -> DeckResult:
        """Writes a deck as "b3", "tty", "csv", "rf", "crd" or "crd-full-rate", day by day, each in the order of
        `obslib.save`. The file is complete when this returns; after a failure the old one is still there. `progress` is
        called with the number of days done and of all. TTY decks hold observations of one year. A pipe or device is
        written to."""
        if to not in FORMATS:
            raise ValueError(f"there is no format {to!r}; they are {', '.join(FORMATS)}")
        parts = self.select(select).parts()
        with written(out, self.path) as target:
            return convert(parts, select, to, target.absolute(), settings_of_process(), progress)

    def verify(self, progress: Told | None = None) -> Verification:
        """Compares all files with the manifest: their bytes, checksums, rows, columns, days and order; and names files
        that are not in it. `progress` is called with bytes done and of all."""
        return _verify.verify(Path(self.path), self._manifest, progress)

    def info(self) -> Info:
        """What the archive holds, by its manifest alone."""
        found, days = self._manifest, sorted(one.day for one in self._manifest.outputs)
        return Info(self.path, found.version, SCHEMA, found.rows(), len(days), found.bytes(), days[0] if days else None,
                    days[-1] if days else None, len(found.inputs), sum(one.size for one in found.inputs),
                    sum(one.lines for one in found.inputs), found.options, found.counts)

    def __repr__(self) -> str:
        return f"<archive {self.path}: {len(self)} observations in {len(self._manifest.outputs)} files>"


def open(path: str | os.PathLike[str]) -> Archive:
    """Opens an archive for reading. ArchiveError says why a folder is none, or that it is for another version."""
    return Archive(path)

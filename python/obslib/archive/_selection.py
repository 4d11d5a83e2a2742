# SPDX-License-Identifier: Apache-2.0
"""What is selected of an archive: nothing is read before it is asked for."""
from __future__ import annotations

from collections.abc import Iterable, Iterator
from dataclasses import dataclass
from functools import cached_property
from typing import Any

from .. import _native
from .._family import sensors
from .._extras import needed
from ._manifest import Manifest
from ._map import settings_of_process
from ._parts import Part, columns_to_read, day_may_meet, part_of, rows
from ._schema import schema, to_frame


@dataclass(frozen=True, slots=True)
class Reading:
    """What of an archive is read: `files` out of `files_of`, and of their `bytes_of` bytes the `bytes` of the columns
    and row groups, and of the footers that tell which."""

    files: int
    files_of: int
    bytes: int
    bytes_of: int

    def __str__(self) -> str:
        return f"{self.files} of {self.files_of} files, {self.bytes} of {self.bytes_of} bytes"


class ArchiveSelection:
    """Observations of an archive, in the order of day, satellite, sensor and time. Each use reads the files again."""

    def __init__(self, folder: str, manifest: Manifest, criteria: str, columns: Iterable[str] | None) -> None:
        _native.selection_columns(criteria)  # refused before anything is read
        self._folder, self._manifest, self._criteria = folder, manifest, criteria
        self.columns: list[str] = schema().names if columns is None else list(columns)
        for name in self.columns:
            if name not in schema().names:
                raise ValueError(f"an archive has no column {name!r}; they are {', '.join(schema().names)}")
        if len(set(self.columns)) < len(self.columns) or not self.columns:
            raise ValueError("columns are one or more, each of them once")

    @cached_property
    def _plan(self) -> tuple[list[Part], Reading]:
        """The parts to read: by the days of files, and by the statistics in the footers of those that remain."""
        read = columns_to_read(self._criteria, self.columns)
        outputs = [one for one in self._manifest.outputs if day_may_meet(self._criteria, one.day)]
        found = [part_of(self._folder, one, self._criteria, read) for one in outputs]
        parts = [part for part, _ in found if part.groups]
        size = sum(part.bytes for part in parts) + sum(footer for _, footer in found)
        return parts, Reading(len(parts), len(self._manifest.outputs), size, self._manifest.bytes())

    @property
    def reading(self) -> Reading:
        """How much of the archive it takes to read; what is known from the footers of files."""
        return self._plan[1]

    def parts(self) -> list[Part]:
        """The parts of files that are read."""
        return self._plan[0]

    @property
    def schema(self) -> Any:
        """The columns as a pyarrow.Schema."""
        return needed("pyarrow", "archive").schema([schema().field(name) for name in self.columns])

    def batches(self) -> Iterator[Any]:
        """The observations in record batches of pyarrow, none of them empty."""
        for part in self.parts():
            yield from rows(part, self._criteria, self.columns)

    def __arrow_c_stream__(self, requested_schema: object = None) -> Any:
        """An Arrow stream, which reads as it is read: pyarrow.table(selection), polars.DataFrame(selection), ..."""
        self.parts()  # what is wrong with a file is said by an ArchiveError as long as no stream is in between
        reader = needed("pyarrow", "archive").RecordBatchReader.from_batches(self.schema, self.batches())
        return reader.__arrow_c_stream__(requested_schema)

    def to_pandas(self) -> Any:
        """A pandas DataFrame. Texts are categories; whole numbers that can be null are reals."""
        return to_frame(needed("pyarrow", "archive").Table.from_batches(list(self.batches()), self.schema))

    def to_dask(self) -> Any:
        """A Dask DataFrame with a partition for each file, which workers read when it is computed."""
        frames = needed("dask.dataframe", "archive")
        unknown = needed("dask.dataframe.utils", "archive").clear_known_categories
        none = to_frame(self.schema.empty_table())
        parts: list[Part | None] = [*self.parts()] or [None]
        known = settings_of_process() if "'" in self._criteria or '"' in self._criteria else ()  # names of sensors
        return frames.from_map(frame_of, parts, meta=unknown(none), criteria=self._criteria, columns=self.columns,
                               known=known, enforce_metadata=False)

    def __repr__(self) -> str:
        return f"<observations of {self._folder} with {self._criteria!r}>" if self._criteria.strip() else \
            f"<observations of {self._folder}>"


def frame_of(part: Part | None, criteria: str, columns: list[str], known: Iterable[tuple[Any, ...]]) -> Any:
    """A partition, by a worker; the one without a part has no rows."""
    for one in known:
        sensors.add(*one)
    arrow = needed("pyarrow", "archive")
    wanted = arrow.schema([schema().field(name) for name in columns])
    return to_frame(arrow.Table.from_batches([] if part is None else list(rows(part, criteria, columns)), wanted))

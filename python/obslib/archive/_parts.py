# SPDX-License-Identifier: Apache-2.0
"""Which parts of an archive's files can hold what a text of criteria asks for, and their rows that meet it."""
from __future__ import annotations

import datetime
import math
from collections.abc import Iterator
from dataclasses import dataclass
from typing import Any

from .. import _native
from .._extras import needed
from .._store import BATCH_ROWS
from ._manifest import ArchiveError, Output
from ._schema import fitted, parquet_file, schema, values_of

DAY_0 = datetime.date(1949, 12, 31)  # of the days since 1950
EDGE_DAYS = 2e-6 / 86400             # a time that close to midnight may be in the file of either day
REALS, TEXTS = ("ds50", "sat_num", "sen_num"), ("type", "sec_class")
FOOTER_BYTES = 8                     # its length and the mark, after the metadata


@dataclass(frozen=True, slots=True)
class Part:
    """Row groups of a file, all that a worker needs to know to read them; and how many bytes that takes."""

    path: str
    groups: tuple[int, ...]
    bytes: int


def day_number(day: str) -> int:
    """A date in days since 1950."""
    return (datetime.date.fromisoformat(day) - DAY_0).days


def day_may_meet(criteria: str, day: str) -> bool:
    """Whether any observation of a day can meet the criteria."""
    number = day_number(day)
    reals = [number - EDGE_DAYS, number + 1 + EDGE_DAYS, *(-math.inf, math.inf) * (len(REALS) - 1)]
    return _native.may_meet(criteria, reals, ["", ""] * len(TEXTS))


def group_may_meet(criteria: str, group: Any, places: dict[str, int]) -> bool:
    """Whether any row of a row group can, by its statistics."""
    reals: list[float] = []
    texts: list[str] = []
    for name in (*REALS, *TEXTS):
        known = group.column(places[name]).statistics
        known = known if known is not None and known.has_min_max else None
        if name in REALS:
            reals += (known.min, known.max) if known else (-math.inf, math.inf)
        else:
            texts += (str(known.min), str(known.max)) if known else ("", "")
    return _native.may_meet(criteria, reals, texts)


def opened(path: str) -> Any:
    """The file, its columns being those of an archive; ArchiveError says what is wrong with it."""
    try:
        file = parquet_file(path)
        strange = schema_fault(file.schema_arrow)
    except FileNotFoundError:
        raise ArchiveError(f"{path} is in the manifest and not there; has the archive been built anew?") from None
    except UnicodeDecodeError as fault:
        raise ArchiveError(f"{path} is damaged: {fault}") from None
    if strange:
        raise ArchiveError(f"{path} is damaged: {strange}")
    return file


def schema_fault(found: Any) -> str | None:
    """What makes a file's columns others than those of an archive."""
    for wanted, one in zip(schema(), found):
        if (wanted.name, values_of(wanted.type)) != (one.name, values_of(one.type)):
            return f"its column {one.name} ({one.type}) should be {wanted.name} ({wanted.type})"
    if len(found) != len(schema()):
        return f"it has {len(found)} columns, not {len(schema())}"
    return None


def part_of(folder: str, output: Output, criteria: str, columns: list[str]) -> tuple[Part, int]:
    """What is to be read of a file, and the bytes of its footer."""
    path = f"{folder}/{output.path}"
    file = opened(path)
    meta = file.metadata
    if meta.num_rows != output.rows:
        raise ArchiveError(f"{path} is damaged: it has {meta.num_rows} rows, not {output.rows}")
    leaves = [meta.schema.column(leaf).path.partition(".")[0] for leaf in range(meta.num_columns)]
    places = {name: leaf for leaf, name in enumerate(leaves)}
    groups = [number for number in range(meta.num_row_groups)
              if group_may_meet(criteria, meta.row_group(number), places)]
    read = [leaf for leaf, name in enumerate(leaves) if name in columns]
    size = sum(meta.row_group(number).column(leaf).total_compressed_size for number in groups for leaf in read)
    return Part(path, tuple(groups), size), meta.serialized_size + FOOTER_BYTES


def columns_to_read(criteria: str, columns: list[str]) -> list[str]:
    asked = {*columns, *_native.selection_columns(criteria)}
    return [name for name in schema().names if name in asked]


def rows(part: Part, criteria: str, columns: list[str]) -> Iterator[Any]:
    """The rows of a part that meet the criteria, in batches."""
    arrow = needed("pyarrow", "archive")
    asked = _native.selection_columns(criteria)
    batches = opened(part.path).iter_batches(BATCH_ROWS, row_groups=list(part.groups),
                                             columns=columns_to_read(criteria, columns))
    try:
        for batch in batches:
            if asked:
                stream = arrow.Table.from_batches([batch.select(asked)]).__arrow_c_stream__()
                batch = batch.filter(arrow.array(_native.select_rows(stream, criteria, batch.num_rows).view(bool)))
            if batch.num_rows:
                yield fitted(batch, columns)
    except (arrow.ArrowException, OSError, ValueError) as fault:
        raise ArchiveError(f"{part.path} is damaged: {fault}") from None

# SPDX-License-Identifier: Apache-2.0
"""The rows of a day, in the order of a load, through an empty store: duplicates and new keys are the library's own."""
from __future__ import annotations

import hashlib
import json
import os
from collections.abc import Mapping
from dataclasses import asdict, dataclass
from pathlib import Path
from typing import Any

import numpy as np
from numpy.typing import NDArray

from .. import _native
from .._extras import needed
from .._store import store
from ._manifest import ArchiveError, Output, replacing
from ._map import DAY_US, EDGE_US, Settings, day_number, lock, prepare
from ._schema import parquet_file, schema
from ._text import name_of

ROW_GROUP = 65536


@dataclass(frozen=True, slots=True)
class Day:
    """What a task needs to know: the files with rows of a day, in the order of the decks, those with rows about its
    midnights, and by the number of a deck the criteria of its SELOB line."""

    day: str
    files: tuple[str, ...]
    before: tuple[str, ...]
    after: tuple[str, ...]
    criteria: Mapping[int, str]

    def name(self, settings: Settings) -> str:
        files = [[os.path.basename(one) for one in each] for each in (self.files, self.before, self.after)]
        return name_of(settings.identity, self.day, json.dumps([files, sorted(self.criteria.items())]))


@dataclass(slots=True)
class Reduced:
    """A file of the archive, and what became of the rows of its day."""

    output: Output | None
    duplicate: int
    left_out: int


def reduce(day: Day, settings: Settings) -> Reduced:
    """A task: writes the file of a day. What it finds done it does not do again."""
    name = day.name(settings)
    account = Path(settings.stage, "reduce", f"{name}.json")
    path = f"day={day.day}/{name}.parquet"
    try:
        done = json.loads(account.read_bytes())
        if done["output"] is None or Path(settings.out, path).stat().st_size == done["output"]["bytes"]:
            return Reduced(Output(**done["output"]) if done["output"] else None, done["duplicate"], done["left_out"])
    except FileNotFoundError:
        pass
    prepare(settings)
    table, own = gathered(day)
    with lock:
        keys = through_store(table, day.criteria)
    accepted = keys > 0
    result = Reduced(None, int((own & (keys == 0)).sum()), int((own & (keys < 0)).sum()))
    if (own & accepted).any():
        result.output = write(table, keys, np.flatnonzero(own & accepted), day.day, path, settings)
    with replacing(account) as file:
        file.write(json.dumps(asdict(result)).encode())
    return result


def gathered(day: Day) -> tuple[Any, NDArray[np.bool_]]:
    """The rows in the order of a load, and which of them are of the day itself."""
    arrow = needed("pyarrow", "archive")
    compute = needed("pyarrow.compute", "archive")
    tables = [parquet_file(one).read(use_threads=False) for one in day.files]
    mine = sum(one.num_rows for one in tables)
    midnight = day_number(day.day) * DAY_US
    for files, begin in ((day.before, midnight - EDGE_US), (day.after, midnight + DAY_US)):
        for one in files:
            found = parquet_file(one).read(use_threads=False)
            since = compute.subtract(found["time"].cast(arrow.int64()), begin)
            tables.append(found.filter(compute.and_(compute.greater_equal(since, 0), compute.less(since, EDGE_US))))
    table = arrow.concat_tables([schema().empty_table(), *tables], promote_options="permissive")
    table = table.unify_dictionaries().combine_chunks()
    order = np.lexsort([table[name].to_numpy() for name in ("line", "place", "deck")])
    own = order < mine
    return (table.take(order) if (np.diff(order) != 1).any() else table), own


def through_store(table: Any, criteria: Mapping[int, str]) -> NDArray[np.int64]:
    """The key of each row; 0 for a duplicate, -1 for one that the criteria of its deck leave out."""
    if len(store):
        raise ArchiveError(f"the store of a worker has {len(store)} observations; a build needs it empty")
    keys = np.empty(table.num_rows, np.int64)
    decks = table["deck"].to_numpy()
    chosen = [deck for deck in criteria if deck in decks]
    ends = {int(np.searchsorted(decks, deck, side)) for deck in chosen for side in ("left", "right")}
    begins = sorted(ends | {0, len(decks)})
    try:
        for begin, end in zip(begins, begins[1:]):
            *_, refused, keys[begin:end] = _native.import_stream(
                table.slice(begin, end - begin).drop_columns(["deck", "place"]).__arrow_c_stream__(), False, 0,
                end - begin)
            if refused:
                raise ArchiveError(f"{refused} rows of the stage do not make an observation")
            if int(decks[begin]) in criteria:
                leave_out(keys[begin:end], criteria[int(decks[begin])])
    finally:
        store.clear()
    return keys


def leave_out(keys: NDArray[np.int64], criteria: str) -> None:
    """Removes the observations just stored that do not meet the criteria, as a load with them does."""
    stored = keys > 0
    unwanted = stored & ~np.isin(keys, store.select(criteria).keys())
    store.remove(keys[unwanted])
    keys[unwanted] = -1


def write(table: Any, keys: NDArray[np.int64], rows: NDArray[np.int64], day: str, path: str,
          settings: Settings) -> Output:
    arrow, parquet = needed("pyarrow", "archive"), needed("pyarrow.parquet", "archive")
    table = table.set_column(table.column_names.index("key"), "key", arrow.array(keys)).take(rows)
    by = ("sat_num", "sen_num", "time", "deck", "place", "line")
    order = np.lexsort([table[name].cast(arrow.int64()).to_numpy() for name in reversed(by)])
    target = Path(settings.out, path)
    target.parent.mkdir(exist_ok=True)
    places = [table.column_names.index(name) for name in by[:3]]
    with replacing(target) as file:
        parquet.write_table(table.take(order), file, compression="zstd", row_group_size=ROW_GROUP,
                            sorting_columns=[parquet.SortingColumn(place) for place in places])
    with open(target, "rb") as written:
        digest = hashlib.file_digest(written, "sha256").hexdigest()
    return Output(path, day, table.num_rows, target.stat().st_size, digest)

# SPDX-License-Identifier: Apache-2.0
"""The columns of an archive: the library's, and where an observation comes from."""
from __future__ import annotations

import os
from functools import cache
from typing import Any

from .. import _columns, _native
from .._extras import needed
from ._manifest import ArchiveError

NEVER_NULL = {"key", "sat_num", "sen_num", "indicator1", "indicator2", "alt_sat1", "alt_sat2", "line", "deck", "place"}


class Stream:
    """Hands out a stream once, as a frame would."""

    def __init__(self, capsule: Any) -> None:
        self._capsule = capsule

    def __arrow_c_stream__(self, requested_schema: object = None) -> Any:
        return self._capsule


@cache
def schema() -> Any:
    """The schema that every file of an archive has."""
    arrow = needed("pyarrow", "archive")
    capsule, _ = _native.read_stream(b"", 0, None, [*_columns.units(), "line"], 1)
    own = arrow.RecordBatchReader.from_stream(Stream(capsule)).schema
    text = arrow.dictionary(arrow.int32(), arrow.utf8())
    places = (("file", text), ("deck", arrow.int32()), ("place", arrow.int64()))
    return arrow.schema([*own, *(arrow.field(*one) for one in places)])


def parquet_file(path: str | os.PathLike[str]) -> Any:
    """A Parquet file, whatever its name; ArchiveError says what is wrong with it."""
    arrow, parquet = needed("pyarrow", "archive"), needed("pyarrow.parquet", "archive")
    try:
        return parquet.ParquetFile(arrow.memory_map(os.fsencode(path)))  # as text a name would have to be UTF-8
    except FileNotFoundError:
        raise FileNotFoundError(2, "No such file or directory", os.fspath(path)) from None
    except (OSError, ValueError) as fault:
        raise ArchiveError(f"{os.fspath(path)} is damaged: {fault}") from None


def values_of(kind: Any) -> Any:
    """A type as readers of any version see it: some widen the indices of dictionaries."""
    return kind.value_type if needed("pyarrow", "archive").types.is_dictionary(kind) else kind


def fitted(batch: Any, columns: list[str]) -> Any:
    """These columns of a batch with the types of the schema."""
    arrow = needed("pyarrow", "archive")
    wanted = [schema().field(name) for name in columns]
    found = [batch[name] if batch[name].type == one.type else arrow.DictionaryArray.from_arrays(
        batch[name].indices.cast(one.type.index_type), batch[name].dictionary) for name, one in zip(columns, wanted)]
    return arrow.RecordBatch.from_arrays(found, schema=arrow.schema(wanted))


def to_frame(table: Any) -> Any:
    """A pandas DataFrame. Whole numbers that can be null are reals in any case, so that all parts of a frame agree."""
    arrow = needed("pyarrow", "archive")
    for place, one in enumerate(table.schema):
        if arrow.types.is_integer(one.type) and one.name not in NEVER_NULL:
            table = table.set_column(place, one.name, table[one.name].cast(arrow.float64(), safe=False))
    frames = needed("pandas", None)

    def kept(kind: Any) -> Any:  # Dask would make texts of arrays that are objects
        return frames.ArrowDtype(kind) if arrow.types.is_list(kind) else None

    return table.unify_dictionaries().to_pandas(types_mapper=kept)

# SPDX-License-Identifier: Apache-2.0
"""The columns of an archive: the library's, and where an observation comes from."""
from __future__ import annotations

from functools import cache
from typing import Any

from .. import _columns, _native
from .._extras import needed

FROM_WHERE = ("line", "file", "deck", "place")
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
    places = [("file", arrow.dictionary(arrow.int32(), arrow.utf8())), ("deck", arrow.int32()), ("place", arrow.int64())]
    return arrow.schema([*own, *(arrow.field(*one) for one in places)])


def to_frame(table: Any) -> Any:
    """A pandas DataFrame. Whole numbers that can be null are reals in any case, so that all parts of a frame agree."""
    arrow = needed("pyarrow", "archive")
    for place, one in enumerate(table.schema):
        if arrow.types.is_integer(one.type) and one.name not in NEVER_NULL:
            table = table.set_column(place, one.name, table[one.name].cast(arrow.float64(), safe=False))
    return table.unify_dictionaries().to_pandas()

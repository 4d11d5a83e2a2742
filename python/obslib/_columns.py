# SPDX-License-Identifier: Apache-2.0
"""The library's columns as NumPy arrays, and records made of their rows."""
from __future__ import annotations

from collections.abc import Iterator, Mapping
from datetime import datetime, timedelta, timezone
from functools import cache
from typing import Any

import numpy as np
from numpy.typing import NDArray

from . import _native

DTYPES = {"c": "i1", "C": "u1", "s": "i2", "S": "u2", "i": "i4", "I": "u4", "l": "i8", "L": "u8", "f": "f4", "g": "f8"}
EPOCH = datetime(1970, 1, 1, tzinfo=timezone.utc)


def valid(column: Mapping[str, Any]) -> NDArray[np.bool_] | None:
    """Which rows have a value; None: all."""
    if column.get("valid") is None:
        return None
    bits = np.unpackbits(column["valid"], bitorder="little").view(bool)
    return bits[column["offset"]:column["offset"] + column["length"]]


def texts(column: Mapping[str, Any]) -> NDArray[Any]:
    ends = column["values"].view("i4") if column["length"] else np.zeros(1, "i4")
    ends = ends[column.get("offset", 0):][:column["length"] + 1]
    content = bytes(column["text"]) if column["length"] and column["text"] is not None else b""
    return np.array([content[a:b].decode() for a, b in zip(ends, ends[1:])], dtype=np.str_)


def to_numpy(column: Mapping[str, Any]) -> NDArray[Any]:
    """A column: NaN, NaT or an empty text for null. Whole numbers become reals where one is null, lists an array of
    arrays."""
    form, length = column["format"], column["length"]
    there = valid(column)
    if "dictionary" in column or form == "u":
        if "dictionary" in column:
            words = texts(column["dictionary"])
            places = plain(column) if there is None else np.where(there, plain(column), len(words))
            found: NDArray[Any] = np.append(words, "")[places]
        else:
            found = texts(column)
            if there is not None:
                found = np.where(there, found, "")
        return found
    if form.startswith("+"):
        return lists(column, there)
    values = plain(column)
    if form.startswith("ts"):
        values = values.view("M8[us]")
        absent: Any = np.datetime64("NaT")
    else:
        if there is not None and values.dtype.kind in "iu":
            values = values.astype("f8")
        absent = np.nan
    if there is None or not length:
        return values
    if not there.any():  # columns without a value share their memory
        return np.full(length, absent, values.dtype)
    values[~there] = absent  # the memory is this column's own
    return values


def plain(column: Mapping[str, Any]) -> NDArray[Any]:
    dtype = DTYPES.get(column["format"], "i8")
    if not column["length"]:
        return np.empty(0, dtype)
    found: NDArray[Any] = column["values"].view(dtype)[column["offset"]:column["offset"] + column["length"]]
    return found


def lists(column: Mapping[str, Any], there: NDArray[np.bool_] | None) -> NDArray[Any]:
    found = np.empty(column["length"], object)
    if column["length"]:
        ends = column["values"].view("i4")[column["offset"]:]
        items = to_numpy(column["items"])
        for row in range(column["length"]) if there is None else np.flatnonzero(there):
            found[row] = items[ends[row]:ends[row + 1]]
    return found


def arrays(stream: Any) -> dict[str, NDArray[Any]]:
    return {name: to_numpy(column) for name, column in _native.take_apart(stream).items()}


@cache
def units() -> dict[str, str]:
    """The unit of each column, in the order of the columns; blank where there is none."""
    parts = _native.take_apart(_native.export_stream(np.empty(0, "i8"), 9, [], 0))
    return {name: column["metadata"].get("unit", "") for name, column in parts.items()}


class Record:
    """One observation: the values of a row by the names of its columns, None where there is none; `time` in UTC.
    `Record.units()` has the unit of each."""

    __slots__ = ("_values",)
    _values: dict[str, Any]

    def __init__(self, values: Mapping[str, Any]) -> None:
        object.__setattr__(self, "_values", dict(values))

    def __getattr__(self, name: str) -> Any:
        try:
            return object.__getattribute__(self, "_values")[name]
        except KeyError:
            raise AttributeError(f"an observation has no {name}") from None

    def __setattr__(self, name: str, value: Any) -> None:
        raise AttributeError("a record is a copy; change the observation in the store")

    def __dir__(self) -> list[str]:
        return [*super().__dir__(), *self._values]

    def __iter__(self) -> Iterator[tuple[str, Any]]:
        return iter(self._values.items())

    def __eq__(self, other: object) -> bool:
        return isinstance(other, Record) and self._values == other._values

    def __hash__(self) -> int:
        return hash((self._values.get("key"), self._values.get("ds50")))

    def __reduce__(self) -> tuple[Any, ...]:
        return Record, (self._values,)

    def __repr__(self) -> str:
        return "Record(" + ", ".join(f"{name}={value!r}" for name, value in self if value is not None) + ")"

    def _repr_html_(self) -> str:
        from ._table import html
        return html(("field", "value", "unit"), [(name, value, self.units().get(name, ""))
                                                 for name, value in self if value is not None])

    @staticmethod
    def units() -> dict[str, str]:
        """The unit of each field; blank where there is none."""
        return dict(units())


def row_values(column: Mapping[str, Any]) -> list[Any]:
    """The values of a column as Python's own, None for null."""
    present = valid(column)
    if column["format"].startswith("ts"):
        found: list[Any] = [EPOCH + timedelta(microseconds=value) for value in plain(column).tolist()]
    elif column["format"].startswith("+"):
        found = [None if value is None else tuple(value.tolist()) for value in lists(column, present)]
    elif "dictionary" in column or column["format"] == "u":
        found = to_numpy(column).tolist()
    else:
        found = plain(column).tolist()
    return found if present is None else [value if there else None for value, there in zip(found, present)]


def records(stream: Any) -> list[Record]:
    parts = _native.take_apart(stream)
    names = list(parts)
    return [Record(dict(zip(names, row))) for row in zip(*(row_values(column) for column in parts.values()))]

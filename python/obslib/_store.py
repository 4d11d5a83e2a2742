# SPDX-License-Identifier: Apache-2.0
"""The store of the process, and what is selected of it."""
from __future__ import annotations

from collections.abc import Iterable, Iterator
from typing import Any

import numpy as np
from numpy.typing import ArrayLike, NDArray

from . import _columns, _native
from ._table import html

ORDERS = {"key": 9, "time": -1, "time, elevation": -2, "satellite": -10, "sensor": -4, "sensor, time": -5,
          "insertion": -8}
BATCH_ROWS = 65536
WHOLE = 2**31 - 1  # rows of a batch that takes all
# Where the states array has what; the bit of its mask is the place in this list.
STATES = (("time", 1, 1), ("sat_pos", 2, 3), ("sat_vel", 5, 3), ("sat_pos_j2000", 8, 3), ("sat_vel_j2000", 11, 3),
          ("sen_pos", 14, 3), ("sen_vel", 17, 3), ("sat_lat_lon_height", 20, 3), ("sen_lat_lon_height", 23, 3),
          ("az_el", 26, 2), ("range_km", 28, 1), ("range_rate_km_s", 29, 1), ("ra_dec", 30, 2))
LINES = {"b3": 0, "tty": 1, "csv": 2}
# ObsPass of the header.
PASS = np.dtype([("sat_num", "i4"), ("sen_num", "i4"), ("observations", "i4"), ("reserved", "i4"), ("first_ds50", "f8"),
                 ("last_ds50", "f8")])
EPOCH = np.datetime64("1949-12-31", "us")  # day 0 of the days since 1950
Order = str | int


def order_number(order: Order) -> int:
    """The library's number of an order: a name, or that number (negative ascends, positive descends)."""
    if isinstance(order, str):
        if order not in ORDERS:
            raise ValueError(f"there is no order {order!r}; names are {', '.join(map(repr, ORDERS))}")
        return ORDERS[order]
    if isinstance(order, bool) or not -10 <= int(order) <= 10:
        raise ValueError(f"there is no order {order!r}; numbers are -10 to 10")
    return int(order)


def key_array(keys: ArrayLike | Observations) -> NDArray[np.int64]:
    """Keys as the library takes them; reals are refused, since they carry 53 bits only."""
    if isinstance(keys, Observations):
        return keys.keys()
    found = np.asarray(keys)
    if found.size == 0:
        return np.empty(0, np.int64)
    if found.dtype.kind not in "iu" or found.ndim != 1:
        raise TypeError(f"keys are whole numbers in one dimension, not {found.dtype} in {found.ndim}")
    if found.dtype.kind == "u" and found.max() > np.iinfo(np.int64).max:
        raise ValueError("a key is above 2^63-1")
    return np.ascontiguousarray(found, np.int64)


def stored_lines(keys: NDArray[np.int64], to: str) -> list[str]:
    if to not in LINES:
        raise ValueError(f"lines are b3, tty or csv, not {to!r}")
    return list(_native.stored_lines(keys, LINES[to]))


class Observations:
    """Observations of the store, all or a part: the calls that both have."""

    def keys(self, order: Order = "key") -> NDArray[np.int64]:
        """The keys in an order: "key", "time", "satellite", "sensor", ... or a number as ObsGetLoaded has it."""
        raise NotImplementedError

    def _export(self, columns: Iterable[str], order: Order | None, batch_rows: int) -> Any:
        raise NotImplementedError

    def _some(self) -> NDArray[np.int64] | None:
        """The keys where it is not all."""
        raise NotImplementedError

    def __len__(self) -> int:
        raise NotImplementedError

    def columns(self, *names: str, order: Order | None = None) -> dict[str, NDArray[Any]]:
        """NumPy arrays of these columns, of all without a name: copied out of the store once, not again. Null is NaN
        (NaT, an empty text). Whole numbers become reals where one of them is null."""
        return _columns.arrays(self._export(names, order, WHOLE))

    def records(self, *names: str, order: Order | None = None) -> list[_columns.Record]:
        """The observations one by one, as objects with named fields."""
        return _columns.records(self._export(names, order, WHOLE))

    def __arrow_c_stream__(self, requested_schema: object = None) -> Any:
        """All columns as an Arrow stream, for whatever takes one: pyarrow.table(store), polars.DataFrame(store), ..."""
        return self._export((), None, BATCH_ROWS)

    def to_pandas(self, *names: str, order: Order | None = None) -> Any:
        """A pandas DataFrame of these columns; `type` and `sec_class` are categories."""
        from ._extras import needed
        pandas = needed("pandas", None)
        frame = pandas.DataFrame(self.columns(*names, order=order), copy=False)
        if "time" in frame:
            frame["time"] = frame["time"].dt.tz_localize("UTC")
        for name in {"type", "sec_class"} & set(frame):
            frame[name] = frame[name].astype("category")
        return frame

    def lines(self, to: str = "csv", order: Order = "key") -> list[str]:
        """Their lines as "b3", "tty" or "csv"."""
        return stored_lines(self.keys(order), to)

    def states(self, time: float = 0.0, order: Order = "key") -> dict[str, NDArray[np.float64]]:
        """Where satellites and sensors are, in the order of the keys: positions in km (of date, "_j2000"), velocities
        in km/s, latitude, longitude and height, azimuth and elevation, ... as ObsGetStates tells; NaN what an
        observation does not determine. `time` is in days since 1950 UTC, 0 that of each observation."""
        rows = _native.states(self.keys(order), time)
        mask = rows[:, 0].astype(np.int64)
        found = {}
        for bit, (name, first, width) in enumerate(STATES):
            part = rows[:, first:first + width].copy()
            part[(mask >> bit & 1) == 0] = np.nan
            found[name] = part[:, 0] if width == 1 else part
        return found

    def passes(self) -> dict[str, NDArray[Any]]:
        """Runs of observations of a satellite by a sensor, by satellite, sensor and time; a gap of more than ten
        minutes and five median steps ends one. Columns sat_num, sen_num, observations, and first and last as times,
        with _ds50 in days since 1950 UTC."""
        rows = np.frombuffer(_native.passes(self._some()), PASS)
        found: dict[str, NDArray[Any]] = {name: rows[name].copy() for name in PASS.names or () if name != "reserved"}
        for name in ("first", "last"):
            found[name] = EPOCH + np.round(found[name + "_ds50"] * 86400e6).astype("m8[us]")
        return found

    def _repr_html_(self) -> str:
        shown = ("key", "time", "sat_num", "sen_num", "type")
        some = _native.export_stream(self.keys()[:10], 9, list(shown), WHOLE)
        rows = [[value for _, value in record] for record in _columns.records(some)]
        return html(shown, rows, f"{len(self)} observations")

    def __repr__(self) -> str:
        return f"<{len(self)} observations>"


class Selection(Observations):
    """The observations that met a text of criteria when it was asked for. Their keys stay as they were then."""

    def __init__(self, keys: NDArray[np.int64]) -> None:
        self._keys = keys

    def __len__(self) -> int:
        return len(self._keys)

    def keys(self, order: Order = "key") -> NDArray[np.int64]:
        if order_number(order) == ORDERS["key"]:
            return self._keys
        ranked = _native.keys(order_number(order), None)
        return ranked[np.isin(ranked, self._keys)]

    def _export(self, columns: Iterable[str], order: Order | None, batch_rows: int) -> Any:
        return _native.export_stream(self.keys(order or "key"), 9, list(columns), batch_rows)

    def _some(self) -> NDArray[np.int64] | None:
        return self._keys

    def remove(self) -> None:
        """Removes them from the store."""
        _native.remove(self._keys)
        self._keys = np.empty(0, np.int64)


class Store(Observations):
    """All observations of this process; there is one, `obslib.store`."""

    def __len__(self) -> int:
        return int(_native.count())

    def __bool__(self) -> bool:
        return True

    def __contains__(self, key: object) -> bool:
        return isinstance(key, (int, np.integer)) and -2**63 <= int(key) < 2**63 and _native.contains(int(key))

    def __iter__(self) -> Iterator[int]:
        return iter(self.keys().tolist())

    def __getitem__(self, key: int) -> _columns.Record:
        """The observation with this key."""
        from ._errors import KeyUnknown
        if key not in self:
            raise KeyUnknown(f"no stored observation has the key {key}")
        return _columns.records(_native.export_stream(key_array([key]), 9, [], WHOLE))[0]

    def keys(self, order: Order = "key", group: int | None = None) -> NDArray[np.int64]:
        return _native.keys(order_number(order), group)

    def _export(self, columns: Iterable[str], order: Order | None, batch_rows: int) -> Any:
        return _native.export_stream(None, order_number(order or "key"), list(columns), batch_rows)

    def _some(self) -> NDArray[np.int64] | None:
        return None

    def select(self, criteria: str) -> Selection:
        """What meets a text of criteria, such as "sat=5,25544 el>10"; ValueError says where a text is at fault."""
        return Selection(_native.select(criteria, ORDERS["key"]))

    def of(self, keys: ArrayLike) -> Selection:
        """The observations with these keys; its calls raise KeyUnknown where one of them is not stored."""
        return Selection(key_array(keys))

    def remove(self, keys: ArrayLike | Observations | int) -> None:
        """Removes the observations with these keys. KeyUnknown when one is not there or occurs twice; the others are
        removed all the same."""
        _native.remove(key_array(np.array([keys]) if isinstance(keys, (int, np.integer)) else keys))

    def remove_group(self, group: int) -> None:
        """Removes the observations of a group."""
        _native.remove_group(group)

    def clear(self) -> None:
        """Removes all."""
        _native.clear()

    def keep_origins(self, wanted: bool = True) -> None:
        """Whether loads from now on keep the file and line of each observation, for the criteria `file` and `line` and
        the columns of these names; at first they do not. What is stored now has none."""
        _native.keep_origins(wanted)

    def groups(self) -> dict[int, int]:
        """The numbers of the groups, and how many observations each has; 0 is that of all without one."""
        numbers, counts = np.unique(self.columns("group")["group"], return_counts=True)
        return {int(number): int(count) for number, count in zip(numbers, counts)}


store = Store()

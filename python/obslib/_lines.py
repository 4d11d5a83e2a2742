# SPDX-License-Identifier: Apache-2.0
"""Lines of text into records and into other formats, without the store."""
from __future__ import annotations

from . import _columns, _native
from ._errors import BadLine
from ._store import LINES, WHOLE

BAD = (2, 5)  # bad, passed over


def as_bytes(text: str | bytes) -> bytes:
    return text.encode() if isinstance(text, str) else text


def parse(text: str | bytes, *, year: int | None = None) -> list[_columns.Record]:
    """The observations of one or more lines, as a load would make them; nothing is stored. `year` is that of TTY cards.
    BadLine for the first line that is none."""
    stream, reports = _native.read_stream(as_bytes(text), year or 0, None, [], WHOLE)
    for kind, line, reason in reports:
        if kind in BAD:
            raise BadLine(reason if kind == BAD[0] else f"not an observation: {reason}", line)
    return _columns.records(stream)


def convert(text: str | bytes, to: str = "csv", *, year: int | None = None, sat_num: int | None = None) -> list[str]:
    """The lines of a text as "b3", "tty" or "csv"; angles stay in the equinox that a line states. `sat_num` is a new
    satellite number for all. BadLine for the first line that does not give one."""
    if to not in LINES:
        raise ValueError(f"lines are b3, tty or csv, not {to!r}")
    if sat_num is not None and not 1 <= sat_num <= 339999:
        raise ValueError(f"a satellite number is 1 to 339999, not {sat_num}")
    values = _native.lines_to_arrays(as_bytes(text), year or 0)
    if sat_num is not None:
        values[:, 1] = sat_num
    return list(_native.array_to_lines(values, LINES[to]))

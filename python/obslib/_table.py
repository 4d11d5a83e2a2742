# SPDX-License-Identifier: Apache-2.0
"""Small tables that show themselves, in a terminal and in a notebook."""
from __future__ import annotations

from collections.abc import Iterable, Sequence
from html import escape
from typing import Any

SHOWN = 20


def text_of(value: Any) -> str:
    if value is None:
        return ""
    return f"{value:.9g}" if isinstance(value, float) else str(value)


def html(head: Sequence[str], rows: Iterable[Sequence[Any]], note: str = "") -> str:
    """A table for a notebook."""
    lines = ["<table><thead><tr>", *(f"<th>{escape(name)}</th>" for name in head), "</tr></thead><tbody>"]
    for row in rows:
        lines.append("<tr>" + "".join(f"<td>{escape(text_of(value))}</td>" for value in row) + "</tr>")
    return "".join([*lines, "</tbody></table>", f"<p>{escape(note)}</p>" if note else ""])


class Table(Sequence[tuple[Any, ...]]):
    """Rows under named columns: a sequence of tuples, and `column(name)`."""

    def __init__(self, names: Sequence[str], rows: Sequence[tuple[Any, ...]]) -> None:
        self.names, self._rows = tuple(names), list(rows)

    def __len__(self) -> int:
        return len(self._rows)

    def __getitem__(self, index: Any) -> Any:
        return self._rows[index]

    def column(self, name: str) -> list[Any]:
        place = self.names.index(name)
        return [row[place] for row in self._rows]

    def to_pandas(self) -> Any:
        from ._extras import needed
        return needed("pandas", None).DataFrame(self._rows, columns=list(self.names))

    def __repr__(self) -> str:
        shown = [self.names, *([text_of(value) for value in row] for row in self._rows[:SHOWN])]
        widths = [max(len(row[i]) for row in shown) for i in range(len(self.names))]
        lines = ["  ".join(value.ljust(width) for value, width in zip(row, widths)).rstrip() for row in shown]
        return "\n".join(lines + ([f"... {len(self)} rows"] if len(self) > SHOWN else []))

    def _repr_html_(self) -> str:
        return html(self.names, self._rows[:SHOWN], f"{len(self)} rows" if len(self) > SHOWN else "")

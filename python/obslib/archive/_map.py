# SPDX-License-Identifier: Apache-2.0
"""Parts of decks into rows by day, below the folder of the stage. The store is not touched.

The name of what a task writes is a hash of all that it depends on: who does it again writes the same name.
"""
from __future__ import annotations

import json
import threading
from dataclasses import asdict, dataclass, field
from pathlib import Path
from typing import Any

import numpy as np

from .. import _native
from .._errors import unpadded
from .._extras import needed
from .._files import KINDS
from .._family import sensors
from ._manifest import replacing
from ._scan import KEYWORD, NOTE, Row
from ._schema import Stream, schema
from ._text import Part, name_of, text_of, told_name

BATCH_ROWS = 2**31 - 1
BAD, PASSED_OVER = 2, 5
COUNTED = ("observations", "comments", "keywords", "laser", "passed_over", "zeroed")
DAY_US = 86400 * 10**6
EDGE_US = 2  # of a midnight: rows that may be the same as one of the day beside it
NO_KEY = "No satellite number, or a number or time that makes no key."
NOT_FOLLOWED = "An archive has field keys: this line is not followed."
lock = threading.Lock()  # what belongs to the process: its sensors and its store
prepared = ""


@dataclass(frozen=True, slots=True)
class Settings:
    """What all tasks of a build share; `identity` is a hash of what the rows depend on."""

    stage: str
    out: str
    identity: str

    def sensor_file(self) -> Path:
        """What every process reads once; with each task it would go through the scheduler a million times."""
        return Path(self.stage, f"sensors-{self.identity}.json")


@dataclass(slots=True)
class Mapped:
    """What a task read: its rows of each day, the counts of its lines, and the keyword lines that act later."""

    name: str
    days: dict[str, dict[str, Any]] = field(default_factory=dict)  # day: rows, and whether some are at its begin or end
    counts: dict[str, int] = field(default_factory=dict)
    keywords: list[tuple[int, int, str, int, str]] = field(default_factory=list)  # deck, place, file, line, text
    told: int = 0  # rows of the file of lines


def settings_of_process() -> list[tuple[int, str, float, float, float]]:
    """The sensors of this process; RF sites without a place are known everywhere."""
    every = [sensors[number] for number in sensors]
    return [(one.number, one.description, one.latitude_deg, one.longitude_deg, one.height_m) for one in every
            if one.latitude_deg or one.longitude_deg or one.height_m]


def prepare(settings: Settings) -> None:
    """Gives this process the sensors of the one that builds."""
    global prepared
    with lock:
        if prepared != settings.identity:
            known = json.loads(settings.sensor_file().read_bytes())
            sensors.clear()
            for one in known:
                sensors.add(*one)
            prepared = settings.identity


def group_name(parts: list[Part], settings: Settings) -> str:
    return name_of(settings.identity, *(one.identity() for one in parts))


def read(parts: list[Part], settings: Settings) -> Mapped:
    """A task: what it finds done it does not do again."""
    name = group_name(parts, settings)
    account = Path(settings.stage, "map", f"{name}.json")
    try:
        return Mapped(**json.loads(account.read_bytes()))
    except FileNotFoundError:
        pass
    prepare(settings)
    mapped = Mapped(name, counts=dict.fromkeys((*COUNTED, "bad"), 0))
    told: list[Row] = []
    tables = [rows_of(part, mapped, told) for part in parts]
    arrow = needed("pyarrow", "archive")
    write_days(arrow.concat_tables(tables, promote_options="default"), mapped, settings)
    mapped.told = len(told)
    if told:
        with replacing(Path(settings.stage, "lines", f"{name}.json")) as file:
            file.writelines(json.dumps(row).encode() + b"\n" for row in told)
    with replacing(account) as file:
        file.write(json.dumps(asdict(mapped)).encode())
    return mapped


def columns() -> list[str]:
    """Those that a text gives: all but where it is from."""
    return [name for name in schema().names if name not in ("file", "deck", "place")]


def rows_of(part: Part, mapped: Mapped, told: list[Row]) -> Any:
    """The rows of a part, with where they are from; what else there is to say of its lines goes to the others."""
    arrow = needed("pyarrow", "archive")
    stream, counts, reports = _native.read_piece(text_of(part), part.state, part.is_last, columns(), BATCH_ROWS)
    table = arrow.table(Stream(stream))
    for count in COUNTED:
        mapped.counts[count] += counts[count]
    tell(part, reports, mapped, told)
    keyless = ~table["key"].is_valid().to_numpy() if table["key"].null_count else np.zeros(table.num_rows, bool)
    if keyless.any():  # after a line for address keys
        lines = table["line"].to_numpy()[keyless].tolist()
        mapped.counts["bad"] += len(lines)
        told += [(part.deck, part.place(line), "bad", told_name(part.path), line, NO_KEY) for line in lines]
        table = table.filter(arrow.array(~keyless))
    rows = table.num_rows
    if rows:
        table = table.select([name for name in table.column_names if table[name].null_count < rows])
    places = np.full(rows, part.place(0)) + (0 if part.at_line else table["line"].to_numpy())
    file = arrow.DictionaryArray.from_arrays(np.zeros(rows, "i4"), arrow.array([told_name(part.path)]))
    for name, values in (("file", file), ("deck", arrow.array(np.full(rows, part.deck, "i4"))),
                         ("place", arrow.array(places, arrow.int64()))):
        table = table.append_column(name, values)
    return table


def tell(part: Part, reports: list[tuple[int, int, int, str]], mapped: Mapped, told: list[Row]) -> None:
    """What is bad, zeroed or passed over, and the keyword lines that act on the rows of a deck."""
    file, last_keyword = told_name(part.path), 0
    for kind, line, _, said in reports:
        place = part.place(line)
        if kind == KEYWORD:
            last_keyword = line
            if not part.is_first_pass() and said[:5].upper() in ("SELOB", "VM_DM"):
                mapped.keywords.append((part.deck, place, file, line, said))
        elif kind == NOTE:
            # Of lines in the deck itself the scan has told.
            if line and line == last_keyword and part.at_line:
                told.append((part.deck, place, "keyword", file, line, unpadded(said)))
        else:
            mapped.counts["bad"] += kind == BAD
            reason = f"ReadOnlyObs: Not an observation: {said}" if kind == PASSED_OVER else said
            told.append((part.deck, place, KINDS.get(kind, str(kind)), file, line, unpadded(reason)))


def write_days(table: Any, mapped: Mapped, settings: Settings) -> None:
    if not table.num_rows:
        return
    arrow, parquet = needed("pyarrow", "archive"), needed("pyarrow.parquet", "archive")
    table = table.unify_dictionaries()
    times = table["time"].cast(arrow.int64()).to_numpy()
    days = times // DAY_US
    order = np.argsort(days, kind="stable")
    if (np.diff(order) != 1).any():
        table, times, days = table.take(order), times[order], days[order]
    begins = [0, *(np.flatnonzero(np.diff(days)) + 1).tolist(), len(days)]
    for begin, end in zip(begins, begins[1:]):
        day = day_text(int(days[begin]))
        since = times[begin:end] - days[begin] * DAY_US
        with replacing(stage_file(settings, day, mapped.name)) as file:
            parquet.write_table(table.slice(begin, end - begin), file, compression="lz4", write_statistics=False)
        mapped.days[day] = {"rows": end - begin, "begin": bool((since < EDGE_US).any()),
                            "end": bool((since >= DAY_US - EDGE_US).any())}


def stage_file(settings: Settings, day: str, name: str) -> Path:
    folder = Path(settings.stage, f"day={day}")
    folder.mkdir(exist_ok=True)
    return folder / f"{name}.parquet"


def day_text(day: int) -> str:
    return str(np.datetime64(day, "D"))


def day_number(day: str) -> int:
    return int(np.datetime64(day, "D").astype("i8"))

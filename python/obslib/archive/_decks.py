# SPDX-License-Identifier: Apache-2.0
"""Observations of an archive back into a deck, by a process of its own: the store of the caller is not touched."""
from __future__ import annotations

import json
import subprocess
import sys
from collections.abc import Callable, Iterator
from dataclasses import asdict, dataclass
from pathlib import Path
from typing import Any

from .._extras import needed
from ._manifest import ArchiveError
from ._parts import Part, rows
from ._schema import schema

COMMAND = "import sys; sys.path[:] = {!r}; from obslib.archive import _decks; _decks.main()"
COUNTS = ("rows", "written", "left_out", "altered")


@dataclass(frozen=True, slots=True)
class DeckResult:
    """How many rows of the archive a deck was made of, and how many of them a save wrote, left out and altered."""

    rows: int
    written: int
    left_out: int
    altered: int


def convert(parts: list[Part], criteria: str, to: str, target: Path, sensors: Any,
            progress: Callable[[int, int], object] | None) -> DeckResult:
    """Writes a deck, file by file of the archive."""
    job = {"parts": [asdict(one) for one in parts], "criteria": criteria, "to": to, "target": str(target),
           "first": first_line(parts) if to == "tty" else "", "sensors": sensors}
    counts = dict.fromkeys(COUNTS, 0)
    for done, told in enumerate(run(job), 1):
        for name in COUNTS:
            counts[name] += told[name]
        if progress is not None:
            progress(done, len(parts))
    return DeckResult(**counts)


def first_line(parts: list[Part]) -> str:
    """What TTY cards need to be read again: they carry no year, and a deck has one."""
    years = sorted({Path(one.path).parent.name[4:8] for one in parts})  # day=YYYY-MM-DD
    if len(years) > 1:
        raise ValueError(f"TTY cards carry no year, and these observations are from {years[0]} to {years[-1]}: convert "
                         f"one year at a time, as by select=\"year={years[0]}\"")
    return f"TTY_YEAR {years[0]}\n" if years else ""


def run(job: dict[str, Any]) -> Iterator[dict[str, int]]:
    """What the process tells after each file. It reads no script of the caller's, which needs no `__main__` guard."""
    command = [sys.executable, "-c", COMMAND.format(sys.path)]
    with subprocess.Popen(command, stdin=subprocess.PIPE, stdout=subprocess.PIPE) as process:
        assert process.stdin and process.stdout
        try:
            process.stdin.write(json.dumps(job).encode())
            process.stdin.close()
            for line in process.stdout:
                told = json.loads(line)
                if "system" in told:
                    raise OSError(*told["system"])
                if "failure" in told:
                    raise ArchiveError(told["failure"])
                yield told
        except BaseException:
            process.kill()
            raise
    if process.returncode:
        raise ArchiveError(f"the process that wrote the deck ended with status {process.returncode}")


def main() -> None:
    """That process."""
    job = json.load(sys.stdin)
    try:
        for told in work(job):
            print(json.dumps(told), flush=True)
    except OSError as failure:
        print(json.dumps({"system": (failure.errno, failure.strerror, failure.filename)}), flush=True)
    except ValueError as failure:
        print(json.dumps({"failure": str(failure)}), flush=True)


def work(job: dict[str, Any]) -> Iterator[dict[str, int]]:
    from .. import from_dataframe, save, sensors, store
    table_of = needed("pyarrow", "archive").Table.from_batches
    for one in job["sensors"]:
        sensors.add(*one)
    target = Path(job["target"])
    target.write_text(job["first"])
    columns = [name for name in schema().names if name not in ("deck", "place")]
    for given in job["parts"]:
        part = Part(given["path"], tuple(given["groups"]), given["bytes"])
        total = 0
        for batch in rows(part, job["criteria"], columns):
            added = from_dataframe(table_of([batch]))
            total += added.rows
            if added.added < added.rows:
                raise ArchiveError(f"{part.path} is damaged: {added.duplicates} of its rows are there already, and "
                                   f"{added.refused} make no observation")
        saved = save(target, job["to"], append=True)
        store.clear()
        yield {"rows": total, "written": saved.written, "left_out": saved.left_out, "altered": saved.altered}

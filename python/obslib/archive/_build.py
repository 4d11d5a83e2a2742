# SPDX-License-Identifier: Apache-2.0
"""The driver of a build: plan, scan, map, reduce, commit."""
from __future__ import annotations

import csv
import hashlib
import io
import json
import os
import shutil
from collections import defaultdict
from collections.abc import Callable, Iterable, Iterator
from dataclasses import asdict, dataclass
from pathlib import Path
from typing import Any, TypeVar

from .. import _native
from .._errors import unpadded
from .._extras import needed
from .._family import about
from .._store import ORDERS
from . import _map, _progress, _reduce, _scan
from ._cluster import client_of, each
from ._lock import Lock
from ._manifest import NAME, ArchiveError, Input, Manifest, Output, read_manifest, replacing, write_manifest
from ._map import DAY_US, EDGE_US, Mapped, Settings, day_number, day_text
from ._plan import Deck, plan
from ._progress import Account, Told
from ._reduce import Day, Reduced
from ._scan import Row, Scanned
from ._schema import parquet_file
from ._text import Part, name_of

STAGE = "_stage"
PIECE_BYTES = 128 << 20
MOST_WORKERS = 256  # of one machine, as many as threads of a load
LINE_COLUMNS = ("kind", "file", "line", "reason", "deck")
Sized = TypeVar("Sized")


@dataclass(frozen=True, slots=True)
class BuildResult:
    """What a build did: the manifest, how many decks it read and how many the archive had, and of the latter those that
    vanished since (their observations stay)."""

    manifest: Manifest
    decks_read: int
    decks_kept: int
    vanished: tuple[str, ...]


def build(paths: Any, out: str | os.PathLike[str], *, scheduler: str | None = None, workers: int | None = None,
          year: int | None = None, select: bool = True, piece_bytes: int = PIECE_BYTES, rebuild: bool = False,
          progress: Told | bool = False) -> BuildResult:
    """Builds an archive of decks in a folder, or adds decks to it.

    Each observation is in it that one load of all files in the same order would give, each file with settings of its
    own. A build that was broken off goes on where it was; decks that the archive has are not read again.

    Parameters
    ----------
    paths
        Files, patterns, and folders with all that is below them, but for names that begin with a dot and links to
        folders.
    out
        The folder of the archive; it is made where there is none. Workers find it, and the files, under the same names.
    scheduler
        Address of a Dask scheduler. Without one, processes of this machine do the work.
    workers
        How many such processes; as many as there are processors without it.
    year
        The year of TTY cards before any TTY_YEAR line.
    select
        Whether SELOB lines leave out what they do not ask for, each of its own deck.
    piece_bytes
        About how many bytes of text a task reads.
    rebuild
        Makes the archive anew, of these files alone.
    progress
        True for a line on standard error, or a function that is given a `Progress`.

    Raises
    ------
    ArchiveError
        For what is no archive, one that another build has, files that changed, and tasks that failed. What the folder
        held before is still there.
    """
    if year is not None and not 1900 <= year <= 2999:
        raise ValueError(f"the year of TTY cards is 1900 to 2999, not {year}")
    if workers is not None and not 1 <= workers <= MOST_WORKERS:
        raise ValueError(f"workers are 1 to {MOST_WORKERS}, not {workers}")
    if piece_bytes < 1:
        raise ValueError(f"piece_bytes is 1 or more, not {piece_bytes}")
    for module in ("pyarrow.parquet", "distributed"):
        needed(module, "archive")
    options = {"year": year, "select": select}
    folder = Path(os.path.abspath(out))
    archived = manifest_of(folder, options, rebuild)
    decks, changed, vanished = plan(paths, archived.inputs if archived else ())
    for deck in decks:
        if Path(deck.path).is_relative_to(folder):
            raise ValueError(f"{deck.path} is below the folder of the archive itself")
    if changed:
        raise ArchiveError(f"{len(changed)} inputs of the archive changed since it was built; rebuild=True makes it "
                           "anew: " + ", ".join(changed[:10]) + (", ..." if len(changed) > 10 else ""))
    folder.mkdir(parents=True, exist_ok=True)
    told = _progress.show if progress is True else progress or None
    with Lock(folder) as lock:
        # What another build has committed meanwhile counts.
        if manifest_of(folder, options, rebuild) != archived:
            raise ArchiveError(f"{folder}: another build has just ended; build again to add to what it made")
        made = archived
        if decks or archived is None:
            made = Build(folder, options, archived, decks, Account(told)).run(scheduler, workers, piece_bytes, lock)
    assert made is not None
    return BuildResult(made, len(decks), len(archived.inputs) if archived else 0, tuple(vanished))


def manifest_of(folder: Path, options: dict[str, Any], rebuild: bool) -> Manifest | None:
    """What the folder has, to be added to; None: nothing, or what is to be made anew."""
    if not (folder / NAME).exists():
        strange = next((one.name for one in folder.iterdir() if not ours(one.name)), None) if folder.exists() else None
        if strange is not None:
            raise ArchiveError(f"{folder} is not an archive and not empty: it has {strange}")
        return None
    found = read_manifest(folder)
    if rebuild:
        return None
    if found.options != options:
        raise ArchiveError(f"{folder} was built with {found.options}, not {options}; rebuild=True makes it anew")
    return found


def ours(name: str) -> bool:
    return name.startswith((STAGE, "day=", "build.lock", ".build.lock", f".{NAME}", "_lines-", "._lines-"))


def packs(items: Iterable[Sized], size: Callable[[Sized], int], most: int) -> Iterator[list[Sized]]:
    """Runs of items whose sizes have at most a sum, unless one alone has more."""
    pack: list[Sized] = []
    total = 0
    for item in items:
        if pack and total + size(item) > most:
            yield pack
            pack, total = [], 0
        pack.append(item)
        total += size(item)
    if pack:
        yield pack


class Build:
    """One build, under its lock."""

    def __init__(self, folder: Path, options: dict[str, Any], archived: Manifest | None, decks: list[Deck],
                 account: Account) -> None:
        self._folder, self._options, self._archived = folder, options, archived
        self._decks, self._account = decks, account
        self._stage = folder / STAGE
        self._sensors = _map.settings_of_process()
        identity = name_of(about().version, json.dumps([options, self._sensors], sort_keys=True))
        self._settings = Settings(str(self._stage), str(folder), identity)
        self._rows: list[Row] = []

    def run(self, scheduler: str | None, workers: int | None, piece_bytes: int, lock: Lock) -> Manifest:
        with client_of(scheduler, workers) as client:
            for one in ("map", "lines", "reduce"):
                (self._stage / one).mkdir(parents=True, exist_ok=True)
            with replacing(self._settings.sensor_file()) as file:
                file.write(json.dumps(self._sensors).encode())
            scanned = self._scan(client, piece_bytes)
            groups = list(packs((part for one in scanned for part in one.parts), lambda part: part.length, piece_bytes))
            mapped = self._map(client, groups)
            criteria = self._criteria(mapped)
            reduced = self._reduce(client, groups, mapped, criteria)
        lock.hold()
        self._account.begin("commit", 0, 0)
        manifest = self._manifest(scanned, groups, mapped, criteria, reduced)
        lock.hold()
        write_manifest(self._folder, manifest)
        clean(self._folder, manifest)
        return manifest

    def _scan(self, client: Any, piece_bytes: int) -> list[Scanned]:
        tasks = list(packs(self._decks, lambda deck: deck.size, piece_bytes))
        sizes = [sum(deck.size for deck in one) for one in tasks]
        self._account.begin("scan", sum(sizes), len(tasks))
        found = dict(each(client, _scan.scan, enumerate(tasks), self._options["year"] or 0, piece_bytes,
                          told=lambda task: self._account.done(sizes[task])))
        return [one for task in range(len(tasks)) for one in found[task]]

    def _map(self, client: Any, groups: list[list[Part]]) -> list[Mapped]:
        sizes = [sum(part.length for part in one) for one in groups]
        self._account.begin("map", sum(sizes), len(groups))
        found = dict(each(client, _map.read, enumerate(groups), self._settings,
                          told=lambda task: self._account.done(sizes[task])))
        return [found[task] for task in range(len(groups))]

    def _criteria(self, mapped: list[Mapped]) -> dict[int, str]:
        """What the last good SELOB line of each deck asks for; what is to be said of such lines."""
        criteria: dict[int, str] = {}
        for deck, place, file, line, text in sorted(row for one in mapped for row in one.keywords):
            kind, reason = "keyword", _map.NOT_FOLLOWED
            if text[:5].upper() == "SELOB" and self._options["select"]:
                asked = text[5:].strip().removeprefix("=").strip()
                try:
                    _native.select(asked, ORDERS["key"])
                    criteria[deck], kind, reason = asked, "selection", text.strip()
                except ValueError as refused:
                    reason = unpadded(str(refused))
            elif text[:5].upper() == "SELOB":
                reason = "select=False: this line is not followed."
            self._rows.append((deck, place, kind, file, line, reason))
        return {deck: asked for deck, asked in criteria.items() if asked}

    def _reduce(self, client: Any, groups: list[list[Part]], mapped: list[Mapped],
                criteria: dict[int, str]) -> dict[str, Reduced]:
        tasks, rows = self._days(groups, mapped, criteria)
        self._account.begin("reduce", sum(rows), len(tasks))
        found = dict(each(client, _reduce.reduce, enumerate(tasks), self._settings,
                          told=lambda task: self._account.done(rows[task])))
        return {task.day: found[number] for number, task in enumerate(tasks)}

    def _days(self, groups: list[list[Part]], mapped: list[Mapped],
              criteria: dict[int, str]) -> tuple[list[Day], list[int]]:
        """The tasks of the days that get rows, and how many each has."""
        old = {one.day: one for one in self._archived.outputs} if self._archived else {}
        whole, begins, ends = (defaultdict[str, list[str]](list) for _ in range(3))
        rows: dict[str, int] = defaultdict(int)
        choosy: dict[str, set[int]] = defaultdict(set)
        for group, one in zip(groups, mapped):
            chosen = {part.deck for part in group if part.deck in criteria}
            for day, about_day in one.days.items():
                choosy[day] |= chosen
                file = str(_map.stage_file(self._settings, day, one.name))
                whole[day].append(file)
                rows[day] += about_day["rows"]
                for wanted, files in (("begin", begins), ("end", ends)):
                    if about_day[wanted]:
                        files[day].append(file)

        def beside(day: str, step: int) -> tuple[str, ...]:
            other = day_text(day_number(day) + step)
            files = (ends if step < 0 else begins)[other]
            return (*self._old_edge(old.get(other), step), *files)

        days = [Day(day, (*([str(self._folder / old[day].path)] if day in old else []), *whole[day]), beside(day, -1),
                    beside(day, 1), {deck: criteria[deck] for near in (-1, 0, 1)
                                     for deck in choosy[day_text(day_number(day) + near)]}) for day in sorted(whole)]
        return days, [rows[day.day] for day in days]

    def _old_edge(self, output: Output | None, step: int) -> list[str]:
        """A file of the archive, if it has rows at the midnight that it shares with the day after or before."""
        if output is None:
            return []
        path = str(self._folder / output.path)
        arrow = needed("pyarrow", "archive")
        times = parquet_file(path).read(["time"])["time"].cast(arrow.int64()).to_numpy()
        since = times - day_number(output.day) * DAY_US
        near = since >= DAY_US - EDGE_US if step < 0 else since < EDGE_US
        return [path] if near.any() else []

    # --- Commit --------------------------------------------------------------------------------

    def _manifest(self, scanned: list[Scanned], groups: list[list[Part]], mapped: list[Mapped],
                  criteria: dict[int, str], reduced: dict[str, Reduced]) -> Manifest:
        old = self._archived
        outputs = {one.day: one for one in old.outputs} if old else {}
        outputs.update({day: one.output for day, one in reduced.items() if one.output})
        kinds = ("observations", "comments", "keywords", "laser", "passed_over", "zeroed", "bad")
        counts: dict[str, int] = {name: sum(one.counts[name] for one in mapped) for name in kinds}
        counts["lines"] = sum(counts[name] for name in kinds[:5])
        counts["duplicate"] = sum(one.duplicate for one in reduced.values())
        counts["left_out"] = sum(one.left_out for one in reduced.values())
        counts["includes_left_out"] = sum(one.includes_left_out for one in scanned)
        for name, count in (old.counts if old else {}).items():
            counts[name] = counts.get(name, 0) + count
        counts["loaded"] = sum(one.rows for one in outputs.values()) + counts["left_out"]
        inputs = [Input(one.deck.path, one.deck.size, one.deck.mtime_ns, one.sha256, one.lines, {
            "compression": one.deck.compression, "includes": one.includes,
            "select": criteria.get(one.deck.number, "")}) for one in scanned]
        for one in scanned:
            self._rows += one.rows
        return Manifest(about().version, self._options, [*(old.inputs if old else []), *inputs],
                        [outputs[day] for day in sorted(outputs)], counts, self._write_lines(groups, mapped))

    def _write_lines(self, groups: list[list[Part]], mapped: list[Mapped]) -> dict[str, Any]:
        """The file of lines: what the archive had, and after it the new, in the order of a load."""
        content, rows = hashlib.sha256(), 0
        part = self._stage / "lines.csv"
        with replacing(part) as file:
            def put(text: bytes) -> None:
                content.update(text)
                file.write(text)

            if self._archived and self._archived.lines:
                with open(self._folder / self._archived.lines["path"], "rb") as former:
                    for text in iter(lambda: former.read(1 << 20), b""):
                        put(text)
                rows = self._archived.lines["rows"]
            else:
                put(line_of(LINE_COLUMNS))
            for row in self._lines_in_order(groups, mapped):
                deck, _, kind, name, line, reason = row
                put(line_of((kind, name, line, reason, deck)))
                rows += 1
        digest = content.hexdigest()
        name = f"_lines-{digest[:32]}.csv"
        os.replace(part, self._folder / name)
        return {"path": name, "rows": rows, "bytes": (self._folder / name).stat().st_size, "sha256": digest}

    def _lines_in_order(self, groups: list[list[Part]], mapped: list[Mapped]) -> Iterator[Row]:
        """Deck by deck: those of a deck are together when a group ends with a later one."""
        open_decks: dict[int, list[Row]] = defaultdict(list)
        for row in self._rows:
            open_decks[row[0]].append(row)
        for group, one in zip(groups, mapped):
            if one.told:
                with open(self._stage / "lines" / f"{one.name}.json", "rb") as file:
                    for text in file:
                        read: Any = tuple(json.loads(text))
                        open_decks[read[0]].append(read)
            for deck in sorted(number for number in open_decks if number < group[-1].deck):
                yield from sorted(open_decks.pop(deck), key=lambda row: row[1])
        for deck in sorted(open_decks):
            yield from sorted(open_decks[deck], key=lambda row: row[1])


def line_of(values: Iterable[Any]) -> bytes:
    text = io.StringIO()
    # Texts are quoted in any case: some have a carriage return, which is not quoted where lines do not end with one.
    csv.writer(text, quoting=csv.QUOTE_NONNUMERIC, lineterminator="\n").writerow(values)
    return text.getvalue().encode("utf-8", "backslashreplace")


def clean(folder: Path, manifest: Manifest) -> None:
    """Removes what no manifest names any more."""
    shutil.rmtree(folder / STAGE, ignore_errors=True)
    kept = {one.path for one in manifest.outputs} | {manifest.lines.get("path")}
    for path in [*folder.glob("day=*/*"), *folder.glob("_lines-*")]:
        if path.relative_to(folder).as_posix() not in kept:
            path.unlink(missing_ok=True)
    for day in folder.glob("day=*"):
        if not any(day.iterdir()):
            day.rmdir()

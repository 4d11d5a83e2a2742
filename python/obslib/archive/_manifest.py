# SPDX-License-Identifier: Apache-2.0
"""The list of what an archive holds. It is written last, and whoever reads the archive takes files from it alone."""
from __future__ import annotations

import datetime
import json
import os
import re
import secrets
from collections.abc import Iterator, Mapping, Sequence
from contextlib import contextmanager
from dataclasses import asdict, dataclass, field, fields
from pathlib import Path
from typing import Any, BinaryIO, TypeVar, get_type_hints

NAME = "manifest.json"
FORMAT = "obs archive"
SCHEMA = 1
PART = ".part"  # ends the names of files that are being written
OUTPUT_PATH = re.compile(r"day=(\d{4}-\d\d-\d\d)/[\w.-]+\.parquet", re.ASCII)
LINES_PATH = re.compile(r"_lines-[0-9a-f]{32}\.csv", re.ASCII)
SHA256 = re.compile(r"[0-9a-f]{64}")
Entry = TypeVar("Entry", "Input", "Output")


class ArchiveError(ValueError):
    """A folder that is no archive which this version reads, or an archive that is damaged."""


@dataclass(frozen=True, slots=True)
class Input:
    """A file that was read: as it was then, its number of lines, and the settings that it was read with."""

    path: str
    size: int
    mtime_ns: int
    sha256: str
    lines: int
    settings: dict[str, Any]


@dataclass(frozen=True, slots=True)
class Output:
    """A file of the archive: its place below the folder, `day=YYYY-MM-DD/<name>.parquet`, and its one day (UTC)."""

    path: str
    day: str
    rows: int
    bytes: int
    sha256: str


@dataclass(frozen=True, slots=True)
class Manifest:
    """What an archive was made of, by which version of the library and with which options, and what it holds. `lines`
    is the file of bad, zeroed and passed-over lines: its path, rows, bytes and sha256; empty where there is none."""

    version: str
    options: dict[str, Any]
    inputs: list[Input] = field(repr=False)  # thousands, and days as many
    outputs: list[Output] = field(repr=False)
    counts: dict[str, int]
    lines: dict[str, Any] = field(default_factory=dict)

    def rows(self) -> int:
        return sum(one.rows for one in self.outputs)

    def bytes(self) -> int:
        return sum(one.bytes for one in self.outputs)


@contextmanager
def replacing(path: str | os.PathLike[str]) -> Iterator[BinaryIO]:
    """A file to write, which takes its name when all of it is on the disk; after a failure what was there stays."""
    target = Path(path)
    part = target.with_name(f".{target.name}.{secrets.token_hex(8)}{PART}")
    try:
        with open(part, "xb") as file:
            yield file
            file.flush()
            os.fsync(file.fileno())
        os.replace(part, target)
    except BaseException as failure:
        part.unlink(missing_ok=True)
        if isinstance(failure, OSError) and failure.filename is None and failure.errno:  # a full disk
            raise OSError(failure.errno, failure.strerror, os.fspath(target)) from None
        raise
    folder = os.open(target.parent, os.O_RDONLY)
    try:
        os.fsync(folder)
    finally:
        os.close(folder)


def write_manifest(folder: str | os.PathLike[str], manifest: Manifest) -> None:
    """Puts a manifest in the place of the one that the folder has."""
    with replacing(Path(folder, NAME)) as file:
        for piece in pieces(manifest):
            file.write(piece.encode())


def pieces(manifest: Manifest) -> Iterator[str]:
    """The text with a line for each file, so that a million of them are neither one line nor one text in memory."""
    head = {"format": FORMAT, "schema": SCHEMA, "library": manifest.version, "options": manifest.options,
            "counts": manifest.counts, "lines": manifest.lines}
    yield "{\n" + "".join(f"{json.dumps(name)}: {json.dumps(value, sort_keys=True)},\n" for name, value in head.items())
    files: tuple[tuple[str, Sequence[Any], str], ...] = (("inputs", manifest.inputs, ",\n"),
                                                         ("outputs", manifest.outputs, "\n}\n"))
    for name, entries, end in files:
        yield f'"{name}": ['
        for place, entry in enumerate(entries):
            yield (",\n " if place else "\n ") + json.dumps(asdict(entry), sort_keys=True)
        yield "\n]" + end


def read_manifest(folder: str | os.PathLike[str]) -> Manifest:
    """The manifest of an archive. ArchiveError says why a folder is none, or what is wrong with its manifest; an
    OSError that it cannot be read."""
    path = Path(folder, NAME)
    try:
        text = path.read_bytes()
    except FileNotFoundError:
        if not Path(folder).is_dir():
            raise FileNotFoundError(2, "there is no such folder", os.fspath(folder)) from None
        raise ArchiveError(f"{os.fspath(folder)} is not an archive: it has no {NAME}") from None
    try:
        found = json.loads(text)
    except (ValueError, RecursionError) as fault:
        raise ArchiveError(f"{path} is damaged: {fault}") from None
    if not isinstance(found, dict) or found.get("format") != FORMAT:
        raise ArchiveError(f"{path} is not the manifest of an archive: its format is not {FORMAT!r}")
    if found.get("schema") != SCHEMA:
        raise ArchiveError(f"{path} has the schema version {found.get('schema')!r}, and this is obslib for version "
                           f"{SCHEMA}")
    try:
        return checked(found)
    except (KeyError, TypeError, ValueError) as fault:
        what = f"{fault.args[0]} is missing" if isinstance(fault, KeyError) else str(fault)
        raise ArchiveError(f"{path} is damaged: {what}") from None


def checked(found: Mapping[str, Any]) -> Manifest:
    for name, kind in (("library", str), ("options", dict), ("inputs", list), ("outputs", list), ("counts", dict)):
        if not isinstance(found[name], kind):
            raise TypeError(f"{name} is {found[name]!r:.80}")
    manifest = Manifest(found["library"], found["options"], [entry(Input, one) for one in found["inputs"]],
                        [entry(Output, one) for one in found["outputs"]], found["counts"], found.get("lines", {}))
    check(manifest.counts, dict.fromkeys(manifest.counts, int), "the counts")
    if manifest.lines:
        check(manifest.lines, LINES, "the file of lines")
        if not LINES_PATH.fullmatch(manifest.lines["path"]):
            raise ValueError(f"{manifest.lines['path']!r} is not the place of the file of lines")
    for one in manifest.outputs:
        place = OUTPUT_PATH.fullmatch(one.path)
        if not place or place[1] != one.day:
            raise ValueError(f"{one.path!r} is not the place of a file of the day {one.day!r}")
        datetime.date.fromisoformat(one.day)
    if len({one.path for one in manifest.outputs}) < len(manifest.outputs):
        raise ValueError("a file occurs twice")
    return manifest


def entry(kind: type[Entry], values: Any) -> Entry:
    """A file's line of the manifest. What a later version of the same schema adds is passed over."""
    check(values, KINDS[kind], "a file")
    if kind is Input:
        includes = values["settings"]["includes"]
        if not isinstance(includes, list):
            raise TypeError(f"the includes of a file are {includes!r:.80}")
        for one in includes:
            check(one, INCLUDE, "an include")
    return kind(**{name: values[name] for name in KINDS[kind]})


def check(values: Any, types: Mapping[str, Any], what: str) -> None:
    if not isinstance(values, dict):
        raise TypeError(f"{what} is {values!r:.80}")
    for name, wanted in types.items():
        value = values[name]
        if type(value) is not wanted or wanted is int and not (-MOST if name == "mtime_ns" else 0) <= value <= MOST:
            raise TypeError(f"{name} of {what} is {value!r:.80}")
        if name == "sha256" and not SHA256.fullmatch(value) or name == "path" and b"\0" in os.fsencode(value):
            raise ValueError(f"{name} of {what} is {value!r:.80}")


MOST = 2**63 - 1
LINES = {"path": str, "rows": int, "bytes": int, "sha256": str}
INCLUDE = {"path": str, "size": int, "mtime_ns": int}
KINDS: dict[Any, dict[str, Any]] = {
    kind: {one.name: dict if one.name == "settings" else get_type_hints(kind)[one.name] for one in fields(kind)}
    for kind in (Input, Output)}

# SPDX-License-Identifier: Apache-2.0
"""Which files a build reads: named, measured, and looked at no further than their first bytes."""
from __future__ import annotations

import glob
import os
import stat
from collections.abc import Iterable, Iterator, Mapping
from dataclasses import dataclass
from typing import Any

from .._packed import is_zstd
from ._manifest import ArchiveError, Input

Path = str | os.PathLike[str]
# By their first bytes: what is read through a decompressor, and what is no text at all.
COMPRESSED = {b"\x1f\x8b": "gzip", b"BZh": "bzip2", b"\xfd7zXZ\0": "xz"}
OTHER = {b"PK\x03\x04": "a zip file", b"PK\x05\x06": "an empty zip file",
         b"7z\xbc\xaf": "a 7z file", b"\xff\xfe": "UTF-16 text", b"\xfe\xff": "UTF-16 text", b"%PDF": "a PDF document",
         b"PAR1": "a Parquet file", b"\x7fELF": "a program"}
FIRST_BYTES = 6


@dataclass(frozen=True, slots=True)
class Deck:
    """A file to read: its number among the inputs of the archive, and how it was when the build was planned."""

    number: int
    path: str
    size: int
    mtime_ns: int
    compression: str  # "" for plain text


def files(paths: Path | Iterable[Path]) -> Iterator[str]:
    """The files that are meant, by their absolute paths: files, patterns, and folders with all that is below them, but
    for names that begin with a dot and links to folders. The files of a pattern or folder come in the order of their
    names. OSError names what cannot be read."""
    given = [paths] if isinstance(paths, (str, os.PathLike)) else list(paths)
    if not given:
        raise ValueError("no path is given")
    for path in given:
        if not isinstance(path, (str, os.PathLike)):
            raise TypeError(f"a path is a str or os.PathLike, not {type(path).__name__}")
        name = os.fsdecode(path)
        if os.path.isdir(name):
            found, lack = below(name), "the folder has no files"
        elif not os.path.lexists(name) and glob.has_magic(name):
            each = [below(one) if os.path.isdir(one) else [os.path.abspath(one)]
                    for one in sorted(glob.glob(name, recursive=True))]
            # "**" gives a folder and what is below it.
            found, lack = list(dict.fromkeys(file for some in each for file in some)), "no file matches"
        else:
            found, lack = [os.path.abspath(name) if name else name], ""
        if not found:
            raise FileNotFoundError(2, lack, name)
        yield from found


def below(folder: str) -> list[str]:
    def unreadable(failure: OSError) -> None:
        raise failure

    found: list[str] = []
    for place, folders, names in os.walk(os.path.abspath(folder), onerror=unreadable):
        folders[:] = [name for name in folders if not name.startswith(".")]
        found += [os.path.join(place, name) for name in names if not name.startswith(".")]
    return sorted(found)


def plan(paths: Path | Iterable[Path], archived: Iterable[Input] = ()) -> tuple[list[Deck], list[str], list[str]]:
    """The decks to read; and of the inputs that an archive has, those that changed since and those that vanished.

    A deck that is archived and as it was then is not read again. ValueError for a file that is named twice, be it by
    two names.
    """
    known = {one.path: one for one in archived}
    decks: list[Deck] = []
    seen: dict[tuple[int, int], str] = {}
    changed: list[str] = []
    for path in files(paths):
        found = os.stat(path)
        if not stat.S_ISREG(found.st_mode):
            raise OSError(22, "is not a file", path)
        first = seen.setdefault((found.st_dev, found.st_ino), path)
        if first is not path:
            raise ValueError(f"the same file is named twice: {path}" + (f" is {first}" if first != path else ""))
        if path not in known:
            decks.append(Deck(len(known) + len(decks), path, found.st_size, found.st_mtime_ns, compression(path)))
    vanished = []
    for path, one in known.items():
        try:
            now = os.stat(path)
        except OSError:
            vanished.append(path)
            continue
        if (now.st_size, now.st_mtime_ns) != (one.size, one.mtime_ns):
            changed.append(path)
        changed += [f"{include['path']}, which {path} names" for include in one.settings["includes"]
                    if differs(include)]
    return decks, changed, vanished


def differs(include: Mapping[str, Any]) -> bool:
    """Whether a file that a deck names is there, and another than it was."""
    try:
        now = os.stat(include["path"])
    except OSError:
        return False
    return (now.st_size, now.st_mtime_ns) != (include["size"], include["mtime_ns"])


def compression(path: str) -> str:
    """How a file is compressed; ArchiveError for one that is not text under any of these."""
    with open(path, "rb") as file:
        begin = file.read(FIRST_BYTES)
    for mark, what in OTHER.items():
        if begin.startswith(mark):
            raise ArchiveError(f"{path} is {what}, not a deck")
    if is_zstd(begin):
        return "zstd"
    return next((name for mark, name in COMPRESSED.items() if begin.startswith(mark)), "")

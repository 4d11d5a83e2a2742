# SPDX-License-Identifier: Apache-2.0
"""What has to be known of a deck before its parts are read apart from one another.

A deck without lines that act in the first pass of a load is cut where the library's rule says, while it is read
once. Any other is read once more, by the library, which tells the state at each cut; the year that it ends its
first pass with is in the state that its second begins with.
"""
from __future__ import annotations

import hashlib
import os
import stat
import zlib
from bisect import bisect_right
from dataclasses import dataclass, field
from typing import Any

from .. import _native
from ._manifest import ArchiveError
from ._plan import Deck, compression
from ._text import FIRST, FIRST_PASS_PLACE, INCLUDED, SECOND, Part, frames_of, opened, told_name, unchanged

KEYWORD, NOTE = 6, 7
PACKED = "It is packed (gzip or zstd); files that a deck names are read unpacked."  # as the library says it
LINE_LENGTH = 511  # what calls take of one
MORE_BYTES = 1 << 20  # at most, than a piece has, to find its cut in
Row = tuple[int, int, str, str, int, str]  # deck, place, kind, file, line, reason


@dataclass(slots=True)
class Scanned:
    """A deck after its scan: its hash and lines, the parts to read, and what is to be said of its keyword lines."""

    deck: Deck
    sha256: str = ""
    lines: int = 0
    parts: list[Part] = field(default_factory=list)
    includes: list[dict[str, Any]] = field(default_factory=list)
    includes_left_out: int = 0
    rows: list[Row] = field(default_factory=list)


@dataclass(slots=True)
class Source:
    """A file that is being cut: a deck, or one that a deck names."""

    deck: int
    path: str
    size: int
    mtime_ns: int
    compression: str
    at_line: int = 0
    frames: list[tuple[int, int]] = field(default_factory=lambda: [(0, 0)])

    def is_whole(self) -> bool:
        """Whether it is one piece, since reading from its middle would begin at its beginning."""
        return bool(self.compression) and len(self.frames) == 1

    def part(self, offset: int, text: bytes, is_last: bool, state: str) -> Part:
        frame = self.frames[bisect_right(self.frames, offset, key=lambda one: one[1]) - 1]
        return Part(self.deck, self.path, self.size, self.mtime_ns, self.compression, frame, offset, len(text),
                    zlib.crc32(text), is_last, state, self.at_line)


def scan(decks: list[Deck], year: int, piece_bytes: int) -> list[Scanned]:
    """A task: reads decks once or twice. ArchiveError for one that changed since the plan."""
    return [scan_deck(deck, year, piece_bytes) for deck in decks]


def scan_deck(deck: Deck, year: int, piece_bytes: int) -> Scanned:
    unchanged(deck.path, deck.size, deck.mtime_ns)
    found = Scanned(deck)
    source = Source(deck.number, deck.path, deck.size, deck.mtime_ns, deck.compression)
    if deck.compression:
        source.frames = frames_of(deck.path, deck.compression)
    keywords, faults = first_reading(source, year, piece_bytes, found)
    if keywords:
        last_year, has_sections = first_pass(deck, keywords, faults, year, piece_bytes, found)
        if has_sections:
            found.parts += cut(source, _native.first_state(year, FIRST, False), piece_bytes)[0]
        found.parts += cut(source, _native.first_state(last_year, SECOND, False), piece_bytes)[0]
    unchanged(deck.path, deck.size, deck.mtime_ns)
    return found


def first_reading(source: Source, year: int, piece_bytes: int, found: Scanned) -> tuple[
        list[tuple[int, str]], dict[int, str]]:
    """The lines that act in a first pass, and those of them that cannot be obeyed. Without any, `found` has the parts."""
    keywords: list[tuple[int, str]] = []
    faults: dict[int, str] = {}
    state = _native.first_state(year, FIRST, False)
    begin = _native.first_state(year, SECOND, False)
    digest = hashlib.sha256()
    for offset, text, is_last in blocks(source, piece_bytes):
        digest.update(text)
        part = source.part(offset, text, is_last, at(begin, found.lines, offset))
        read, reports = _native.scan_piece(text, state, is_last, 0)
        state = read["state"]
        found.lines += read["lines"]
        for kind, line, _, said in reports:
            if kind == KEYWORD:
                keywords.append((line, said.rstrip()[:LINE_LENGTH]))
            elif kind == NOTE and keywords and keywords[-1][0] == line:
                faults[line] = said
        if not keywords:
            found.parts.append(part)
    found.sha256 = digest.hexdigest() if not source.compression else hash_of(source.path)
    if keywords:
        found.parts.clear()
    return keywords, faults


def at(state: str, lines: int, offset: int) -> str:
    """A state with nothing open, at another place."""
    return state.replace("lines=0 offset=0", f"lines={lines} offset={offset}")


def blocks(source: Source, piece_bytes: int) -> Any:
    """A text in pieces of about a size, each with its offset and whether it is the last; a
    compressed one without frames is one."""
    with opened(source.path, source.compression) as file:
        text, offset, most = b"", 0, piece_bytes + min(piece_bytes, MORE_BYTES)
        wanted = most
        is_last = False
        while not is_last or text:
            if not is_last:
                more = file.read() if source.is_whole() else file.read(max(0, wanted - len(text)))
                text += more
                is_last = len(text) < wanted or source.is_whole()
            end = len(text)
            if not is_last or len(text) > most:
                end = len(text) if source.is_whole() else _native.next_cut(text, piece_bytes)
                if end == len(text) and not is_last:  # a block that is longer
                    wanted *= 2
                    continue
            wanted = most
            yield offset, text[:end], is_last and end == len(text)
            offset += end
            text = text[end:]


def first_pass(deck: Deck, keywords: list[tuple[int, str]], faults: dict[int, str], year: int, piece_bytes: int,
               found: Scanned) -> tuple[int, bool]:
    """Follows the lines of a first pass; the year after it, and whether there are laser ranges in the deck itself."""
    has_sections = False
    for line, text in keywords:
        word = text[:8].upper()
        if word.startswith("TTY_YEAR"):
            state = _native.first_state(year, FIRST, False)
            year = _native.scan_piece(os.fsencode(text) + b"\n", state, True, 0)[0]["year"]
            if line in faults:
                found.rows.append((deck.number, FIRST_PASS_PLACE + line, "keyword", told_name(deck.path), line,
                                   faults[line]))
            continue
        name = _native.named_file(os.fsencode(text), os.fsencode(deck.path))
        if name is None and word.startswith("SLROBS"):
            has_sections = True
            continue
        year = include(deck, line, os.fsdecode(name or b""), word.startswith("SLROBS"), year, piece_bytes, found)
    return year, has_sections


def include(deck: Deck, line: int, name: str, is_laser_file: bool, year: int, piece_bytes: int, found: Scanned) -> int:
    """Adds the parts of a file that a line names; the year after it."""
    path = os.path.abspath(name)
    try:
        status = os.stat(name)
        if not stat.S_ISREG(status.st_mode):  # some never end
            is_folder = stat.S_ISDIR(status.st_mode)
            raise OSError(22, "Is a directory" if is_folder else "It is not a regular file", path)
        if compression(path):
            raise ArchiveError(f"ReadExtObsFile: File {name} is not read: {PACKED}")
        source = Source(deck.number, path, status.st_size, status.st_mtime_ns, "", line)
        parts, after, digest = cut(source, _native.first_state(year, INCLUDED, is_laser_file), piece_bytes)
    except (OSError, ArchiveError) as failure:
        why = str(failure)
        if isinstance(failure, OSError):  # as the library says it
            why = f"fileopen: Cannot open file {name}: {failure.strerror}"
        found.includes_left_out += 1
        found.rows.append((deck.number, FIRST_PASS_PLACE + line, "include left out", told_name(deck.path), line, why))
        return year
    unchanged(path, status.st_size, status.st_mtime_ns)
    found.parts += parts
    found.includes.append({"path": path, "line": line, "size": status.st_size, "mtime_ns": status.st_mtime_ns,
                           "sha256": digest})
    return after


def cut(source: Source, state: str, piece_bytes: int) -> tuple[list[Part], int, str]:
    """The parts of a file, by the library's reading of it from a state on; the year after it, and its hash."""
    parts: list[Part] = []
    digest = hashlib.sha256()
    year = offset = 0
    with opened(source.path, source.compression) as file:
        text, most, is_last = b"", piece_bytes + min(piece_bytes, MORE_BYTES), False
        wanted = most
        while not is_last or text or not parts:
            if not is_last:
                text += file.read() if source.is_whole() else file.read(max(0, wanted - len(text)))
                is_last = len(text) < wanted or source.is_whole()
            cut_after = 0 if source.is_whole() or is_last and len(text) <= piece_bytes else piece_bytes
            read, _ = _native.scan_piece(text, state, is_last, cut_after)
            if not is_last and (not read["at_cut"] or not read["bytes"]):
                wanted *= 2
                continue
            wanted = most
            taken = text[:read["bytes"]] if read["bytes"] else text
            digest.update(taken)
            text = text[len(taken):]
            parts.append(source.part(offset, taken, is_last and not text, state))
            offset += len(taken)
            state, year = read["state"], read["year"]
            if is_last and not text:
                break
    return parts, year, digest.hexdigest() if not source.compression else hash_of(source.path)


def hash_of(path: str) -> str:
    with open(path, "rb") as file:
        return hashlib.file_digest(file, "sha256").hexdigest()

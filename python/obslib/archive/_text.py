# SPDX-License-Identifier: Apache-2.0
"""The text of decks, plain or compressed, and the parts of it that tasks read."""
from __future__ import annotations

import bz2
import hashlib
import io
import json
import lzma
import os
import zlib
from collections.abc import Iterator
from contextlib import contextmanager
from dataclasses import astuple, dataclass
from typing import Any, BinaryIO

from .._extras import needed
from ._manifest import ArchiveError

FIRST, SECOND, INCLUDED = 1, 2, 3  # OBS_READ_... of the header
LASER_FILE = -1
# Rows of the first pass come before all others of their deck, those of an include file at the line that names it.
FIRST_PASS_PLACE = -2**40
PACKED_BLOCK = 1 << 13  # it may unpack to 32768 times as much


@dataclass(frozen=True, slots=True)
class Part:
    """A part of a file that is read by itself, from a state: what a map task needs to know."""

    deck: int
    path: str
    size: int
    mtime_ns: int
    compression: str
    frame: tuple[int, int]  # the last one that begins before it: where, in a compressed file and in its text
    offset: int  # in the text, uncompressed
    length: int
    crc: int
    is_last: bool
    state: str
    at_line: int  # of the deck, that named this file; 0: it is the deck

    def identity(self) -> str:
        """What the name of its output is made of."""
        return json.dumps(astuple(self))

    def is_first_pass(self) -> bool:
        return " pass=1 " in self.state

    def place(self, line: int) -> int:
        """Where in the order of a load the rows of a line are; all of an include file are where it is named."""
        if self.at_line:
            return FIRST_PASS_PLACE + self.at_line
        return FIRST_PASS_PLACE + line if self.is_first_pass() else line


def name_of(*what: str) -> str:
    """The name of what is made of these, and of nothing else."""
    return hashlib.sha256("\0".join(what).encode("utf-8", "surrogateescape")).hexdigest()[:32]


def told_name(path: str) -> str:
    """A path as columns and tables have it: UTF-8, with what is none escaped."""
    return os.fsencode(path).decode("utf-8", "backslashreplace")


def unchanged(path: str, size: int, mtime_ns: int) -> None:
    """ArchiveError when a file is not as it was when the build was planned."""
    try:
        now = os.stat(path)
    except FileNotFoundError:
        raise ArchiveError(f"{path} vanished while the archive was built") from None
    if (now.st_size, now.st_mtime_ns) != (size, mtime_ns):
        raise ArchiveError(f"{path} changed while the archive was built: it has {now.st_size} bytes, not {size}"
                           if now.st_size != size else f"{path} changed while the archive was built")


class Unpacked(io.RawIOBase):
    """The text of a compressed file, to be read in order."""

    def __init__(self, file: BinaryIO, compression: str) -> None:
        self._blocks, self._text = framed(file, compression), memoryview(b"")

    def readable(self) -> bool:
        return True

    def readinto(self, buffer: Any) -> int:
        while not self._text:
            block = next(self._blocks, None)
            if block is None:
                return 0
            self._text = memoryview(block[1])
        taken = min(len(buffer), len(self._text))
        buffer[:taken], self._text = self._text[:taken], self._text[taken:]
        return taken


@contextmanager
def opened(path: str, compression: str) -> Iterator[BinaryIO]:
    """The text of a file, to be read in order. An OSError names a compressed file that is damaged."""
    with open(path, "rb") as file:
        yield io.BufferedReader(Unpacked(file, compression), 1 << 16) if compression else file


def decompressor(compression: str) -> Any:
    if compression == "zstd":
        return needed("zstandard", "packed").ZstdDecompressor().decompressobj()
    if compression == "gzip":
        return zlib.decompressobj(wbits=31)
    return bz2.BZ2Decompressor() if compression == "bzip2" else lzma.LZMADecompressor()


def framed(file: BinaryIO, compression: str) -> Iterator[tuple[int, bytes]]:
    """The text of a compressed file, from a frame on, in blocks, each with the place where its frame begins. Members of
    gzip and streams of bzip2 and xz are frames as well; after those of gzip and xz there may be zeros. OSError for what
    is damaged, ends too early, or is followed by something else."""
    begin = place = file.tell()
    frame = decompressor(compression)
    while packed := file.read(PACKED_BLOCK):
        while packed:
            if frame.eof:
                padded = len(packed)
                packed = packed.lstrip(b"\0") if compression in ("gzip", "xz") else packed
                place += padded - len(packed)
                if not packed:
                    break
                begin, frame = place, decompressor(compression)
            try:
                text = frame.decompress(packed)
            except MemoryError:
                raise
            except Exception as fault:  # each decompressor has errors of its own
                raise OSError(5, f"the {compression} data are damaged ({fault})", file.name) from None
            rest = frame.unused_data if frame.eof else b""
            place += len(packed) - len(rest)
            packed = rest
            yield begin, text
    if not frame.eof:
        raise OSError(5, f"the {compression} data end too early", file.name)


def frames_of(path: str, compression: str) -> list[tuple[int, int]]:
    """Where the frames of a compressed file begin, in it and in its text; only the first of one that is damaged, which
    whoever reads it all says better."""
    starts = [(0, 0)]
    length = 0
    try:
        with open(path, "rb") as file:
            for begin, text in framed(file, compression):
                if begin != starts[-1][0]:
                    starts.append((begin, length))
                length += len(text)
    except OSError:
        return starts[:1]
    return starts


def framed_text(part: Part) -> bytes:
    """What a part has now, read from its frame on."""
    place, at = part.frame
    blocks: list[bytes] = []
    with open(part.path, "rb") as file:
        file.seek(place)
        for _, text in framed(file, part.compression):
            blocks.append(text[max(0, part.offset - at):])
            at += len(text)
            if at >= part.offset + part.length:
                break
    return b"".join(blocks)[:part.length]


def text_of(part: Part) -> bytes:
    """The bytes of a part; ArchiveError when they are not those that the scan saw."""
    unchanged(part.path, part.size, part.mtime_ns)
    if part.compression and not (part.is_last and part.offset == 0):
        text = framed_text(part)
    else:
        with opened(part.path, part.compression) as file:
            if part.offset:
                file.seek(part.offset)
            text = file.read(part.length)
    if len(text) != part.length:
        raise ArchiveError(f"{part.path} changed while the archive was built: it ends at byte "
                           f"{part.offset + len(text)}, not {part.offset + part.length}")
    if zlib.crc32(text) != part.crc:
        raise ArchiveError(f"{part.path} changed while the archive was built: bytes {part.offset} to "
                           f"{part.offset + part.length} are others")
    return text

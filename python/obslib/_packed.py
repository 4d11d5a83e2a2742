# SPDX-License-Identifier: Apache-2.0
"""Files packed with gzip or zstd, told by their first bytes."""
from __future__ import annotations

import gzip
import mmap
import os
import shutil
import tempfile
import zlib
from contextlib import contextmanager
from typing import IO, TYPE_CHECKING

from ._extras import needed

if TYPE_CHECKING:
    from collections.abc import Iterator


def is_zstd(begin: bytes) -> bool:
    """Whether a file begins with a frame of zstd, or with one that is to be skipped, as parallel packers write."""
    return begin[:4] == b"\x28\xb5\x2f\xfd" or b"\x50" <= begin[:1] <= b"\x5f" and begin[1:4] == b"\x2a\x4d\x18"


@contextmanager
def unpacked(path: str | os.PathLike[str]) -> Iterator[mmap.mmap | bytes | None]:
    """The text of a packed file, which a temporary file holds meanwhile; None for any other.

    @raises OSError when it ends too early or is damaged.
    """
    if not os.path.isfile(path):
        yield None
        return
    with open(path, "rb") as packed, tempfile.TemporaryFile(prefix="obslib-") as text:
        mark = packed.read(4)
        packed.seek(0)
        if mark[:2] == b"\x1f\x8b":
            _gunzip(packed, text, path)
        elif is_zstd(mark):
            _unzstd(packed, text, path)
        else:
            yield None
            return
        text.flush()
        if os.fstat(text.fileno()).st_size == 0:
            yield b""
            return
        mapped = mmap.mmap(text.fileno(), 0, access=mmap.ACCESS_READ)
        try:
            yield mapped
        finally:
            mapped.close()


def _gunzip(packed: IO[bytes], text: IO[bytes], path: str | os.PathLike[str]) -> None:
    try:
        with gzip.open(packed) as source:
            shutil.copyfileobj(source, text, 1 << 20)
    except (EOFError, gzip.BadGzipFile, zlib.error) as error:
        raise OSError(5, f"the gzip data end too early or are damaged ({error})", str(path)) from None


def _unzstd(packed: IO[bytes], text: IO[bytes], path: str | os.PathLike[str]) -> None:
    zstandard = needed("zstandard", "packed")
    frame = zstandard.ZstdDecompressor().decompressobj()
    try:
        # A piece may unpack to 32768 times as much.
        while piece := packed.read(1 << 13):
            while piece:
                if frame.eof:
                    frame = zstandard.ZstdDecompressor().decompressobj()
                text.write(frame.decompress(piece))
                piece = frame.unused_data if frame.eof else b""
    except zstandard.ZstdError as error:
        raise OSError(5, f"the zstd data are damaged ({error})", str(path)) from None
    if not frame.eof:
        raise OSError(5, "the zstd data end too early", str(path))

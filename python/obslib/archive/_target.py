# SPDX-License-Identifier: Apache-2.0
"""Where readers of an archive want something written."""
from __future__ import annotations

import os
import secrets
import shutil
import tempfile
from collections.abc import Iterator
from contextlib import contextmanager
from pathlib import Path

from ._manifest import PART

Name = str | os.PathLike[str]


def is_kept_file(path: Name) -> bool:
    """Whether there is a regular file that writing would replace: not the one that standard output goes to."""
    try:
        output = os.fstat(1)
    except OSError:
        return os.path.isfile(path)
    return os.path.isfile(path) and not os.path.samestat(os.stat(path), output)


@contextmanager
def written(path: Name, archive: Name) -> Iterator[Path]:
    """A file to write, which takes the name, or the place of the file that a link leads to, when all is well; what was
    there stays after a failure. Pipes and devices are written to. ValueError for a place in the archive itself."""
    target = Path(os.path.realpath(path))
    if target.is_relative_to(os.path.realpath(archive)):
        raise ValueError(f"{os.fspath(path)} is in the folder of the archive itself")
    if target.is_dir():
        raise IsADirectoryError(21, "it is a folder", os.fspath(path))
    copied = os.path.exists(path) and not is_kept_file(path)
    part = Path(tempfile.gettempdir() if copied else target.parent, f".{target.name[:99]}.{secrets.token_hex(8)}{PART}")
    try:
        yield part
        with open(part, "rb") as content:
            if copied:
                with open(path, "wb") as file:
                    shutil.copyfileobj(content, file, 1 << 20)
            else:
                os.fsync(content.fileno())
                os.replace(part, target)
    except OSError as failure:
        if failure.filename in (None, os.fspath(part)) and failure.errno:  # as a full disk says it
            raise OSError(failure.errno, failure.strerror, os.fspath(path)) from None
        raise
    finally:
        part.unlink(missing_ok=True)

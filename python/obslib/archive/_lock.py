# SPDX-License-Identifier: Apache-2.0
"""One build of an archive at a time, by a file that says who builds and when that was last so."""
from __future__ import annotations

import json
import logging
import os
import secrets
import socket
import threading
import time
from pathlib import Path
from typing import Any

from ._manifest import ArchiveError, replacing

NAME = "build.lock"
RENEWED_S = 60.0
STALE_S = 300.0
log = logging.getLogger("obslib")


class Lock:
    """The right to build an archive, while the context lasts; it is renewed each minute by a thread.

    ArchiveError when another build has it. A lock that was not renewed for five minutes, or whose process is gone on
    this host, is taken over with a warning that says so.
    """

    def __init__(self, folder: Path) -> None:
        self._path = folder / NAME
        self._token = secrets.token_hex(16)
        self._over = threading.Event()
        self._thread = threading.Thread(target=self._renew, name="obslib-archive-lock", daemon=True)

    def __enter__(self) -> Lock:
        for _ in range(3):  # others may take a stale one at the same time
            if self._take():
                self._thread.start()
                return self
            self._remove_stale()
        raise ArchiveError(f"{self._path} was taken by another build just now")

    def __exit__(self, *_: object) -> None:
        self._over.set()
        self._thread.join()
        if self.is_held():
            self._path.unlink(missing_ok=True)

    def is_held(self) -> bool:
        """Whether nobody has taken it over, as may happen to a build that stood still for minutes."""
        return (self._read() or {}).get("token") == self._token

    def hold(self) -> None:
        """ArchiveError unless it is held."""
        if not self.is_held():
            raise ArchiveError(f"another build has taken {self._path} over; this one ends without a commit")

    def _content(self) -> bytes:
        return json.dumps({"host": socket.gethostname(), "process": os.getpid(), "begun": begun(os.getpid()),
                           "time": time.time(), "token": self._token}).encode()

    def _take(self) -> bool:
        part = self._path.with_name(f".{NAME}.{self._token}")
        part.write_bytes(self._content())
        try:
            os.link(part, self._path)  # fails where one is there, and never shows half of one
            return True
        except FileExistsError:
            return False
        finally:
            part.unlink()

    def _remove_stale(self) -> None:
        held = self._read()
        if held is None:  # given up meanwhile
            return
        why = stale(held)
        if why is None:
            raise ArchiveError(f"{self._path}: another build is under way, on {held['host']}, process "
                               f"{held['process']}, renewed {time.time() - held['time']:.0f} s ago")
        aside = self._path.with_name(f".{NAME}.{self._token}.stale")
        try:
            os.rename(self._path, aside)
        except FileNotFoundError:
            return
        if json.loads(aside.read_bytes()).get("token") != held.get("token"):
            os.link(aside, self._path)  # it was another's by then
            aside.unlink()
            raise ArchiveError(f"{self._path} was taken by another build just now")
        aside.unlink()
        log.warning("%s is taken over from process %s on %s: %s", self._path, held["process"], held["host"], why)

    def _read(self) -> dict[str, Any] | None:
        try:
            found = json.loads(self._path.read_bytes())
            return {"host": str(found["host"]), "process": int(found["process"]), "begun": found.get("begun"),
                    "time": float(found["time"]), "token": found["token"]}
        except FileNotFoundError:
            return None
        except (ValueError, KeyError, TypeError):
            raise ArchiveError(f"{self._path} is damaged; remove it when no build is under way") from None

    def _renew(self) -> None:
        while not self._over.wait(RENEWED_S):
            try:
                if not self.is_held():
                    return
                with replacing(self._path) as file:
                    file.write(self._content())
            except (OSError, ArchiveError) as failure:
                log.warning("%s cannot be renewed: %s", self._path, failure)


def stale(held: dict[str, Any]) -> str | None:
    """Why a lock is nobody's any more; None when it is somebody's."""
    age = time.time() - held["time"]
    if age > STALE_S:
        return f"it was not renewed for {age:.0f} s"
    if held["host"] == socket.gethostname() and begun(held["process"]) != held["begun"]:
        return "that process is gone"
    return None


def begun(process: int) -> str | None:
    """What tells a process from others that had or will have its number; None when there is no such process."""
    try:
        return Path(f"/proc/{process}/stat").read_text().rpartition(")")[2].split()[19]
    except FileNotFoundError:
        if Path("/proc/self/stat").exists():
            return None
    try:
        os.kill(process, 0)
    except ProcessLookupError:
        return None
    except PermissionError:
        pass
    return ""

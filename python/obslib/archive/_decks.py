# SPDX-License-Identifier: Apache-2.0
"""Files of an archive back into a deck, by a process of its own: the store of the caller is not touched."""
from __future__ import annotations

import json
import os
import subprocess
import sys
from collections.abc import Iterator
from pathlib import Path
from typing import Any

from .._family import sensors

TTY = "tty"


def write(parts: list[dict[str, Any]], criteria: str, to: str, target: str) -> Iterator[dict[str, Any]]:
    """Writes the rows of parts as a deck, part by part; yields after each what became of it. The process that does it
    reads no script of the caller's, which so needs no `__main__` guard."""
    job = {"parts": parts, "criteria": criteria, "to": to, "target": target, "sensors": known_sensors()}
    command = [sys.executable, "-m", __name__]
    with subprocess.Popen(command, stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                          env={**os.environ, "PYTHONPATH": os.pathsep.join(filter(None, sys.path))}) as process:
        assert process.stdin and process.stdout and process.stderr
        try:
            process.stdin.write(json.dumps(job).encode())
            process.stdin.close()
            for line in process.stdout:
                yield json.loads(line)
        except BaseException:
            process.kill()
            raise
        said = process.stderr.read().decode(errors="replace").strip()
    if process.returncode:
        raise OSError(f"the deck was not written: {said.splitlines()[-1] if said else process.returncode}")


def known_sensors() -> list[tuple[int, str, float, float, float]]:
    every = [sensors[number] for number in sensors]
    return [(one.number, one.description, one.latitude_deg, one.longitude_deg, one.height_m) for one in every]


def work(job: dict[str, Any]) -> Iterator[dict[str, Any]]:
    """The work of that process."""
    from .. import from_dataframe, save, store
    from ._parts import Part, rows
    from ._schema import schema

    for one in job["sensors"]:
        sensors.add(*one)
    target, columns = Path(job["target"]), [name for name in schema().names if name not in ("deck", "place")]
    year = None
    for part in [Part(one["path"], tuple(one["groups"]), 0) for one in job["parts"]]:
        told = {"rows": 0, "written": 0, "left_out": 0, "altered": 0, "duplicates": 0}
        for batch in rows(part, job["criteria"], columns):
            added = from_dataframe(batch)
            told["rows"] += added.rows
            told["duplicates"] += added.duplicates
        found = saved(target, job["to"])
        told.update(written=found.written, left_out=found.left_out, altered=found.altered)
        store.clear()
        yield told

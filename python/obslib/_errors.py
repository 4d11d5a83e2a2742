# SPDX-License-Identifier: Apache-2.0
"""The exceptions of the package; what the system refuses is an OSError with number and name."""
import re


def unpadded(reason: str) -> str:
    """A reason of the library without the blanks that fill up a line quoted in it."""
    return re.sub(r" {2,}(?=\)?\.?$)", "", reason.rstrip())


class KeyUnknown(KeyError):
    """No stored observation has the key."""

    def __str__(self) -> str:
        return str(self.args[0]) if self.args else ""  # KeyError would quote it


class BadLine(ValueError):
    """A line that does not give an observation: `file` (None for text in memory), `line` (from 1) and `reason`."""

    def __init__(self, reason: str, line: int | None = None, file: str | None = None) -> None:
        reason = unpadded(reason)
        super().__init__(reason, line, file)
        self.reason, self.line, self.file = reason, line, file

    def __str__(self) -> str:
        place = [self.file] if self.file else []
        place += [f"line {self.line}"] if self.line else []
        return ", ".join(place) + (": " if place else "") + self.reason

# SPDX-License-Identifier: Apache-2.0
"""The command obstool that the package brings with it."""
import os
import sys
from pathlib import Path
from typing import NoReturn

PATH = Path(__file__).parent / "bin" / "obstool"


def main() -> NoReturn:
    """Becomes obstool, with the arguments of this process."""
    os.execv(PATH, ["obstool", *sys.argv[1:]])

# SPDX-License-Identifier: Apache-2.0
"""Packages that are needed for some things only."""
import importlib
from typing import Any


def needed(module: str, extra: str | None) -> Any:
    """The module, or an ImportError that says what to type."""
    try:
        return importlib.import_module(module)
    except ImportError as missing:
        what = f"obslib[{extra}]" if extra else module.partition(".")[0]
        raise ImportError(f"{module} is not installed: pip install '{what}'", name=module) from missing

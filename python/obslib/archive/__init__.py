# SPDX-License-Identifier: Apache-2.0
"""Archives of observations, and Parquet files with the library's columns. Needs obslib[archive]."""
from ._archive import Archive, Info, open
from ._build import BuildResult, build
from ._decks import DeckResult
from ._manifest import ArchiveError
from ._parquet import read, write
from ._progress import Progress
from ._selection import ArchiveSelection, Reading
from ._verify import Verification

__all__ = ["Archive", "ArchiveError", "ArchiveSelection", "BuildResult", "DeckResult", "Info", "Progress", "Reading",
           "Verification", "build", "open", "read", "write"]

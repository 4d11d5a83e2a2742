# SPDX-License-Identifier: Apache-2.0
"""Archives of observations, and Parquet files with the library's columns. Needs obslib[archive]."""
from ._build import BuildResult, build
from ._manifest import ArchiveError
from ._parquet import read, write
from ._progress import Progress

__all__ = ["ArchiveError", "BuildResult", "Progress", "build", "read", "write"]

# SPDX-License-Identifier: Apache-2.0
"""Archives of observations, and Parquet files with the library's columns. Needs obslib[archive]."""
from ._parquet import read, write

__all__ = ["read", "write"]

# SPDX-License-Identifier: Apache-2.0
"""Parquet files with the library's columns."""
from __future__ import annotations

import os
from typing import Any

from .._extras import needed
from .._files import AddResult, from_dataframe
from .._store import BATCH_ROWS, Observations, store
from ._schema import parquet_file


def write(path: str | os.PathLike[str], observations: Observations | None = None) -> int:
    """Writes the store, or what is selected of it, as Parquet, batch by batch; how many rows that were."""
    parquet, arrow = needed("pyarrow.parquet", "archive"), needed("pyarrow", "archive")
    source = store if observations is None else observations
    reader = arrow.RecordBatchReader.from_stream(source)
    rows = 0
    with parquet.ParquetWriter(path, reader.schema) as writer:
        for batch in reader:
            writer.write_batch(batch, row_group_size=BATCH_ROWS)
            rows += batch.num_rows
    return rows


def read(path: str | os.PathLike[str]) -> AddResult:
    """Adds the rows of a Parquet file to the store."""
    arrow = needed("pyarrow", "archive")
    file = parquet_file(path)
    reader: Any = arrow.RecordBatchReader.from_batches(file.schema_arrow, file.iter_batches(BATCH_ROWS))
    return from_dataframe(reader)

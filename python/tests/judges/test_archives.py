# SPDX-License-Identifier: Apache-2.0
"""An archive before readers that know Parquet alone: its folder is all that they need."""
import duckdb
import polars
import pyarrow
import pytest
from archives import b3_lines, here  # noqa: F401

import obslib
from obslib import archive, store


@pytest.fixture
def folder(tmp_path, here):  # noqa: F811
    (tmp_path / "deck.b3").write_text("\n".join(b3_lines(1, 2000, 5)))
    archive.build(tmp_path / "deck.b3", tmp_path / "out")
    obslib.load(tmp_path / "deck.b3")
    return tmp_path / "out"


def test_readers_of_folders(folder):
    wanted = len(store.select("sat=5:9 time=2024-01-02:2024-01-03"))
    found = duckdb.sql(f"select * from read_parquet('{folder}/day=*/*.parquet', hive_partitioning = true)"
                       " where day between '2024-01-02' and '2024-01-03' and sat_num between 5 and 9").to_arrow_table()
    frame = polars.scan_parquet(folder / "day=*/*.parquet", hive_partitioning=True)
    days = polars.col("day").cast(polars.String).is_between(polars.lit("2024-01-02"), polars.lit("2024-01-03"))
    chosen = frame.filter(days & polars.col("sat_num").is_between(5, 9)).collect()
    assert found.num_rows == len(chosen) == wanted > 0
    assert found["range_km"].to_pylist() == pytest.approx([713.452] * wanted)
    assert set(chosen["type"].cast(polars.String)) == {"3"} and chosen["time"].dtype.time_zone == "UTC"
    assert frame.select(polars.len()).collect().item() == len(store)


def test_selections_are_streams(folder):
    selection = archive.open(folder).select("sat=5", ["sat_num", "time", "type", "file"])
    pyarrow.table(selection).validate(full=True)
    count = len(store.select("sat=5"))
    assert len(polars.DataFrame(selection)) == count
    reader = pyarrow.RecordBatchReader.from_stream(selection)
    assert duckdb.from_arrow(reader).count("*").fetchall() == [(count,)]

# SPDX-License-Identifier: Apache-2.0
"""The columns before other programs that read and write them."""
import duckdb
import nanoarrow
import pandas
import polars
import pyarrow
import pytest

import obslib


@pytest.mark.parametrize("empty", [False, True])
def test_streams_are_valid(deck, empty):
    if empty:
        deck.clear()
    table = pyarrow.table(deck)
    table.validate(full=True)
    assert len(table) == len(deck) and pyarrow.table(deck).equals(table)  # again and again
    assert table.schema.field("range_km").metadata[b"unit"] == b"km"
    assert table.schema.field("time").type == pyarrow.timestamp("us", "UTC")
    assert not [batch for batch in table.to_batches() if not len(batch)]
    for view in nanoarrow.ArrayStream(deck):
        for child in view.iter_children():
            nanoarrow.c_array(child).view()  # validates
    assert sum(map(len, nanoarrow.ArrayStream(deck))) == len(deck)


def test_stream_outlives_what_it_shows(deck):
    reader = pyarrow.RecordBatchReader.from_stream(deck)
    count = len(deck)
    deck.clear()
    assert len(reader.read_all()) == count


FRAMES = {"pandas": lambda table: table.to_pandas(types_mapper=pandas.ArrowDtype),
          "pandas, NumPy": lambda table: table.to_pandas(),
          "polars": polars.DataFrame, "pyarrow": lambda table: table, "batches": lambda table: table.to_reader(100),
          "duckdb": lambda table: duckdb.from_arrow(table).to_arrow_table()}


@pytest.mark.parametrize("name", FRAMES)
def test_frames_come_back(deck, name):
    before = pyarrow.table(deck).sort_by("key")
    frame = FRAMES[name](pyarrow.table(deck))
    deck.clear()
    result = obslib.from_dataframe(frame)
    assert result == obslib.AddResult(len(before), len(before), 0, 0)
    after = pyarrow.table(deck).sort_by("key")
    for column in before.column_names:
        if column != "key":
            assert after[column].equals(before[column]) or sorted(map(str, after[column].to_pylist())) == sorted(
                map(str, before[column].to_pylist())), column


def test_to_pandas_and_polars_agree(deck):
    ours, theirs = deck.to_pandas(order="key"), polars.DataFrame(deck)
    assert list(ours.columns) == theirs.columns
    assert str(ours["time"].dt.tz) == "UTC" and str(ours["type"].dtype) == "category"
    assert ours["range_km"].isna().sum() == theirs["range_km"].null_count() > 0
    assert ours["range_km"].sum() == pytest.approx(theirs["range_km"].sum())
    assert obslib.from_dataframe(theirs.head(0)).rows == 0


def test_parquet(deck, tmp_path):
    from obslib import archive
    records = {one.key: one for one in deck.select("not type=P,V,R").records()}
    assert archive.write(tmp_path / "a.parquet", deck.select("not type=P,V,R")) == len(records)
    deck.clear()
    assert archive.read(tmp_path / "a.parquet").added == len(records)
    assert {one.key: one for one in deck.records()} == records

# SPDX-License-Identifier: Apache-2.0
"""Columns out and in, and what stands on them: every kind of record, every kind of frame."""
import pickle
from datetime import datetime, timezone

import numpy as np
import pytest
from hypothesis import HealthCheck, given, settings
from hypothesis import strategies as st

import obslib
from obslib import store

NO_RESET = settings(max_examples=60, deadline=None, suppress_health_check=[HealthCheck.function_scoped_fixture])
REALS = st.floats(allow_nan=False, allow_infinity=False, width=64)


class Stream:
    """Hands out a stream once, as a frame would."""

    def __init__(self, capsule):
        self.capsule = capsule

    def __arrow_c_stream__(self, requested_schema=None):
        return self.capsule


def test_columns_are_what_the_library_says(deck):
    columns, keys = deck.columns(order="time"), deck.keys("time")
    assert columns["key"].tolist() == keys.tolist() and columns["key"].dtype == "i8"
    assert columns["time"].dtype == "M8[us]" and (np.diff(columns["time"]) >= np.timedelta64(0)).all()
    days = (columns["time"] - np.datetime64("1949-12-31", "us")) / np.timedelta64(1, "D")
    assert np.abs(days - columns["ds50"]).max() < 1e-6 / 86400 + 1e-11
    assert list(columns) == list(obslib.Record.units()) and len(set(map(len, columns.values()))) == 1
    angles = np.isin(columns["type"], list("123489MO"))
    assert np.isnan(columns["elevation"][columns["type"] == "5"]).all() and np.isfinite(columns["azimuth"][angles & (
        columns["type"] != "9") & (columns["type"] != "O")]).all()
    assert list(deck.columns("range_km", "key")) == ["range_km", "key"]
    alone = deck.select("type=2").columns()  # most of its columns have no value, and those of texts none either
    assert set(alone["type"]) == {"2"} and np.isnan(alone["declination"]).all() and set(alone["rf_flag1"]) == {""}
    store.clear()
    assert {name: len(column) for name, column in deck.columns().items()} == dict.fromkeys(columns, 0)
    assert columns["key"].tolist() == keys.tolist()  # they own what they show


def test_selection(deck):
    part = deck.select("type=2:3 and el>30")
    whole = deck.columns("key", "type", "elevation")
    wanted = np.isin(whole["type"], ["2", "3"]) & (whole["elevation"] > 30)
    assert part.keys().tolist() == whole["key"][wanted].tolist()
    assert len(part.records()) == len(part) == len(part.states()["az_el"]) > 0
    assert (np.diff(part.columns("time", order="time")["time"]) >= np.timedelta64(0)).all()
    part.remove()
    assert len(part) == 0 and len(deck) == len(whole["key"]) - wanted.sum()
    deck.remove(deck.keys()[::2])  # strided
    keys = deck.keys()
    keys.flags.writeable = False
    deck.remove(keys)
    assert len(deck) == 0 and deck.groups() == {}


def test_passes(deck):
    passes, columns = deck.passes(), deck.columns("sat_num", "sen_num", "time")
    assert passes["observations"].sum() == len(deck) and (passes["first"] <= passes["last"]).all()
    for row in range(0, len(passes["first"]), 50):
        inside = [(columns[name] == passes[name][row]) for name in ("sat_num", "sen_num")]
        times = columns["time"][inside[0] & inside[1]]
        tick = np.timedelta64(1, "us")
        assert ((times >= passes["first"][row] - tick) & (times <= passes["last"][row] + tick)).sum() == passes[
            "observations"][row]
    assert len(deck.select("sat=1:2 el<-80").passes()["first"]) == 0


@pytest.mark.parametrize("many", [0, 10**6])
def test_pictures(deck, many, monkeypatch):
    matplotlib = pytest.importorskip("matplotlib")
    matplotlib.use("agg")
    from obslib import plot
    monkeypatch.setattr(plot, "FEW", many)
    for axes in (plot.sky(deck), plot.coverage(deck.select("type=2"))):
        axes.figure.canvas.draw()
        assert axes.get_title().split()[0].isdigit()
    deck.clear()
    plot.sky().figure.canvas.draw(), plot.coverage().figure.canvas.draw()


def test_records(deck):
    record = deck.records(order="time")[0]
    assert record == deck[record.key] == pickle.loads(pickle.dumps(record)) and hash(record) == hash(deck[record.key])
    assert record.time == datetime(2024, 1, 1, 8, 15, 48, 492000, timezone.utc) and record.declination is None
    assert "range_km=713.452" in repr(record) and "<td>km</td>" in record._repr_html_() and "sat_num" in dir(record)
    assert f"{len(deck)} observations" in deck._repr_html_()
    for change in (lambda: setattr(record, "range_km", 1), lambda: record.nothing):
        with pytest.raises(AttributeError):
            change()


def test_states(deck):
    obslib.sensors.add(923, "SOMEWHERE", 52.0, 5.0, 100.0)
    states = deck.select("sen=923").states()
    own = deck.select("sen=923").columns("range_km", "type")
    assert np.isfinite(states["sen_pos"]).all()
    assert np.array_equal(states["range_km"], own["range_km"], equal_nan=True)
    of_date, j2000 = (np.linalg.norm(states[name], axis=1) for name in ("sat_pos", "sat_pos_j2000"))
    assert np.allclose(of_date, j2000, equal_nan=True)
    assert obslib.sensors[923] == obslib.Sensor(923, "SOMEWHERE", 52.0, 5.0, 100.0) and 924 not in obslib.sensors
    obslib.sensors.load_laser_stations()
    assert 51 in obslib.sensors
    obslib.earth_orientation.set(0.1)
    obslib.earth_orientation.set(0)


def test_export_and_import_give_the_same_records(deck):
    before, stream = deck.records(order="insertion"), Stream(deck.__arrow_c_stream__())
    deck.clear()
    assert obslib.from_dataframe(stream) == obslib.AddResult(len(before), len(before), 0, 0)
    names = [name for name in obslib.Record.units() if name != "key"]
    after = {one.key: one for one in deck.records()}
    assert [[getattr(one, name) for name in names] for one in sorted(before, key=lambda one: one.key)] == [
        [getattr(one, name) for name in names] for one in sorted(after.values(), key=lambda one: one.key)]


@NO_RESET
@given(st.lists(st.tuples(REALS, REALS, REALS, st.sampled_from("01234678MPVR"), st.integers(1, 99999),
                          st.integers(1, 999), st.integers(0, 86400 * 10**6 * 365)), min_size=1, max_size=20))
def test_frames_of_any_numbers_come_back(rows):
    arrow = pytest.importorskip("pyarrow")
    store.clear()
    ranges, azimuths, elevations, types, satellites, sensors, times = zip(*rows)
    table = arrow.table({"range_km": ranges, "azimuth": azimuths, "elevation": elevations, "type": list(types),
                         "sat_num": satellites, "sen_num": sensors,
                         "time": arrow.array(times, arrow.timestamp("us", "UTC"))})
    result = obslib.from_dataframe(table)
    assert result.refused == 0 and result.added + result.duplicates == len(rows) and result.added == len(store)
    if result.duplicates:
        return
    names = ["range_km", "azimuth", "elevation", "sat_num", "sen_num"]
    found = store.columns(*names, order="insertion")
    for name, given_values in zip(names, (ranges, azimuths, elevations, satellites, sensors)):
        kept = np.array(found[name], float)  # 0 of what a type does not measure is null
        assert np.array_equal(np.nan_to_num(kept, nan=0.0), np.array(given_values, float))


def test_frames_that_are_refused():
    arrow = pytest.importorskip("pyarrow")
    row = {"sat_num": [5], "sen_num": [7], "type": ["2"], "range_km": [1.0]}
    naive = arrow.array([10**15], arrow.timestamp("us"))
    for frame, error, words in (
            ({**row, "time": naive}, ValueError, "time"), ({**row, "ds50": [1.0], "colour": [1]}, ValueError, "colour"),
            ({**row, "ds50": [[1.0]]}, ValueError, "ds50"),
            ({**row, "sat_num": ["five"], "ds50": [1.0]}, ValueError, "sat_num")):
        with pytest.raises(error, match=words):
            obslib.from_dataframe(arrow.table(frame))
    with pytest.raises(TypeError, match="dict"):
        obslib.from_dataframe(row)
    with pytest.raises(ValueError, match="UTC"):
        obslib.from_dataframe(arrow.table(row), naive="CET")
    assert obslib.from_dataframe(arrow.table({**row, "time": naive}), naive="UTC").added == 1 == len(store)
    assert obslib.from_dataframe(arrow.table({name: arrow.array([], "f8") for name in ("ds50", "range_km")})).rows == 0

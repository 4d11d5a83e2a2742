# SPDX-License-Identifier: Apache-2.0
"""Archives as readers see them: selections, decks made of them, and what is wrong with damaged ones."""
import json
import os
import random
import shutil
import threading

import numpy as np
import pytest
from archives import DECK, b3_lines, here, in_turn, nobody, rows_of  # noqa: F401
from conftest import TOP

import obslib
from obslib import archive, store

pyarrow = pytest.importorskip("pyarrow")
LASER = TOP / "examples/laser_ranging"


@pytest.fixture(scope="module")
def source(tmp_path_factory):
    """Decks of a few days and their archive, with row groups small enough to be passed over."""
    folder = tmp_path_factory.mktemp("source")
    (folder / "more.b3").write_text("\n".join(b3_lines(1, 900, 5)))
    (folder / "laser.txt").write_text("SLROBS\n" + (LASER / "crd1_lageos1.npt").read_text())
    deck = DECK.read_text(errors="surrogateescape").splitlines(keepends=True)
    (folder / "part.txt").write_text("".join(deck[::60]), errors="surrogateescape")
    with pytest.MonkeyPatch.context() as patch:
        patch.setattr("obslib.archive._reduce.ROW_GROUP", 40)
        patch.setattr("obslib.archive._build.client_of", nobody)
        patch.setattr("obslib.archive._build.each", in_turn)
        archive.build(paths_in(folder), folder / "out")
    return folder


def paths_in(folder):
    return [folder / name for name in ("more.b3", "laser.txt", "part.txt")]


@pytest.fixture
def built(source, tmp_path):
    """A copy of it, and the same observations loaded."""
    shutil.copytree(source / "out", tmp_path / "out")
    obslib.sensors.load_laser_stations()
    store.keep_origins()
    obslib.load(paths_in(source))
    return archive.open(tmp_path / "out")


CRITERIA = ("sat=5:20", "sat=43509,7603901", "sat!=5:50", "sen=300:301", "sen!=302", 'sen="1884 Riga RIGA FIXED"',
            "type=3", "type=P,V,R", "type!=2:5", "class=U", "class!=U", "time=24002", "time<24002", "time>=2024-01-03",
            "year=2024", "year!=2024", "el>20", "el!=10", "az=350:10", "range<2000", "rate=-1:1", "ind1=0", "gid=0",
            "line=3:40", "line!=3:40", 'file="more.b3"', 'file!="part.txt"', "file='*/part.txt' line>9")


def text_of(depth):
    if depth == 0:
        return random.choice(CRITERIA)
    one, other = text_of(random.randrange(depth)), text_of(random.randrange(depth))
    return random.choice((f"{one} or {other}", f"({one}) and ({other})", f"not ({one})",
                          f"({one} or {other}) not ({one})"))


def test_selects_what_a_load_would(built):
    random.seed(3)
    few = ["ds50", "sat_num", "sen_num", "type", "range_km"]
    texts = ["", *CRITERIA, *(text_of(1 + turn % 3) for turn in range(25))]
    for text in texts:
        found, wanted = pyarrow.table(built.select(text, few)), pyarrow.table(store.select(text)).select(few)
        assert sorted(map(str, found.to_pylist())) == sorted(map(str, wanted.to_pylist())), text
    assert rows_of(pyarrow.table(built.select())) == rows_of(pyarrow.table(store))
    assert len(built) == len(store)


def test_reads_what_it_needs(built):
    whole = built.select()
    assert whole.reading.files == whole.reading.files_of == built.info().files > 5
    groups = sum(len(part.groups) for part in whole.parts())
    for text, files, part in (("time=2024-01-03", 1, 0.5), ("sat=5 time=2024-01-02:2024-01-04", 3, 0.2),
                              ("sat=999", 0, 0), ("type=9", 9, 0.3), ("sat=5:7", 9, 0.4),
                              ("(sat=5 time=24002) or (sat=6 time=24004)", 2, 0.1)):
        chosen = built.select(text)
        assert chosen.reading.files <= files and chosen.reading.bytes < whole.reading.bytes, text
        assert sum(len(one.groups) for one in chosen.parts()) <= part * groups, text
    few = built.select(columns=["range_km", "sat_num"])
    assert few.reading.bytes < whole.reading.bytes and pyarrow.table(few).column_names == ["range_km", "sat_num"]


def test_frames_agree(built):
    text = "el>20 or type=R"
    selection = built.select(text)
    table, frame = pyarrow.table(selection), selection.to_pandas()
    assert len(frame) == table.num_rows > 0 and str(frame["time"].dt.tz) == "UTC"
    assert frame["range_km"].sum() == pytest.approx(np.nansum(store.select(text).columns("range_km")["range_km"]))
    pytest.importorskip("dask.dataframe")
    for chosen in (selection, built.select("sat=999"), built.select('sen="1884 Riga RIGA FIXED"', ["sat_num", "file"])):
        ours, theirs = chosen.to_pandas(), chosen.to_dask().compute(scheduler="sync").reset_index(drop=True)
        assert list(ours.dtypes.astype(str)) == list(theirs.dtypes.astype(str))
        assert ours.astype(str).equals(theirs.astype(str))
    assert (table["line"].to_numpy() > 0).all() and set(table["file"].to_pylist()) <= {
        one.path for one in built.manifest.inputs} | {str(TOP / "examples/include.txt")}


def rewritten(manifest, **changes):
    found = json.loads(manifest.read_text())
    manifest.write_text(json.dumps({**found, **changes}))


def test_damaged_archives_are_named(built, tmp_path):
    out, first = tmp_path / "out", built.manifest.outputs[1]
    path, manifest = out / first.path, out / "manifest.json"
    kept, text = path.read_bytes(), manifest.read_text()
    assert built.verify() and "all as the manifest says" in str(built.verify())
    other = (out / built.manifest.outputs[0].path).read_bytes()
    for content, words in ((None, "not there"), (kept[:-9], "damaged"), (kept[:100], "damaged"), (other, "rows, not")):
        path.unlink() if content is None else path.write_bytes(content)
        with pytest.raises(archive.ArchiveError, match=words):
            pyarrow.table(built.select())
        assert {name for name, _ in built.verify().faults} == {first.path}
    path.write_bytes(bytes([kept[0], kept[1], kept[2], kept[3], kept[4] ^ 1]) + kept[5:])
    assert built.verify().faults[0] == (first.path, "its bytes are others")
    path.write_bytes(kept)
    (path.parent / "stray.parquet").write_bytes(kept)
    assert list(built.verify().faults) == [(f"day={first.day}/stray.parquet", "it is not in the manifest")]
    for change, words in (({"schema": 2}, "schema version 2"), ({"format": "x"}, "not the manifest"),
                          ({"outputs": 3}, "outputs is 3"), ({"counts": {"bad": "1"}}, "bad of the counts is '1'"),
                          ({"lines": {"path": "_lines.csv"}}, "rows is missing")):
        rewritten(manifest, **change)
        with pytest.raises(archive.ArchiveError, match=words):
            archive.open(out)
        manifest.write_text(text)
    manifest.write_text(text[:-200])
    for folder, words in ((out, "damaged"), (tmp_path, "no manifest.json")):
        with pytest.raises(archive.ArchiveError, match=words):
            archive.open(folder)
    with pytest.raises(FileNotFoundError, match="nowhere"):
        archive.open(tmp_path / "nowhere")


def test_refuses_what_is_asked_wrongly(built):
    for call, words in ((lambda: built.select("sat=x"), "column 5"), (lambda: built.convert("xml", "a"), "xml"),
                        (lambda: built.select(columns=["height"]), "height"),
                        (lambda: built.convert("tty", "a"), "year"),
                        (lambda: built.select(columns=["type", "type"]), "once"),
                        (lambda: built.convert("b3", "a", select="x"), "x")):
        with pytest.raises(ValueError, match=words):
            call()


def test_converts_back_into_decks(built, tmp_path):
    before, told = store.keys().tolist(), []
    result = built.convert("csv", tmp_path / "all.csv", select="not type=R", progress=lambda *at: told.append(at))
    assert store.keys().tolist() == before and told[-1][0] == told[-1][1] == len(told)
    assert result.rows == result.written == len(store.select("not type=R"))
    built.convert("tty", tmp_path / "year.tty", select="type=3 year=2024")
    with pytest.raises(OSError):
        built.convert("csv", tmp_path / "nowhere/all.csv")
    assert not [one.name for one in tmp_path.iterdir() if one.name.endswith(".part")]
    wanted = sorted(store.select("not type=R").columns("range_km")["range_km"].astype(str))
    times = len(store.select("type=3 year=2024"))
    store.clear()
    assert obslib.load(tmp_path / "all.csv").bad == 0
    assert sorted(store.columns("range_km")["range_km"].astype(str)) == wanted
    days = store.columns("ds50", order="insertion")["ds50"]
    assert (days[1:] // 1 >= days[:-1] // 1).all()
    store.clear()
    assert obslib.load(tmp_path / "year.tty").loaded == times > 0


def test_command(built, here, tmp_path, capsys):  # noqa: F811
    from obslib.archive._command import main
    out = str(tmp_path / "out")

    def told(status, *arguments):
        assert main([*arguments]) == status, capsys.readouterr()
        return capsys.readouterr()

    count = len(store.select("type=3"))
    assert json.loads(told(0, "info", out, "--json").out)["rows"] == len(store)
    assert "first day" in told(0, "info", out).out
    assert json.loads(told(0, "select", out, "type=3", "--count", "--json").out)["rows"] == count
    lines = told(0, "select", out, "type=3", "--columns", "sat_num,type,sigma").out.splitlines()
    assert len(lines) == count + 1 and lines[0] == '"sat_num","type","sigma"'
    assert "files" in told(0, "select", out, "type=3", "-o", str(tmp_path / "a.parquet")).err
    assert pyarrow.parquet.read_table(tmp_path / "a.parquet").num_rows == count
    assert "written" in told(0, "convert", out, "--to", "csv", "-o", str(tmp_path / "a.csv"), "--select", "type=3").out
    for name in ("a.csv", "a.parquet"):
        command = ("convert", out, "--to", "csv") if name == "a.csv" else ("select", out, "type=3")
        assert "--force" in told(2, *command, "-o", str(tmp_path / name)).err
    assert "itself" in told(2, "select", out, "-o", out + "/manifest.json", "--force").err
    assert "as the manifest says" in told(0, "verify", out).out
    assert "column 5" in told(2, "select", out, "sat=x").err
    assert "no manifest.json" in told(2, "info", str(tmp_path)).err
    store.clear()  # of the worker, too, which is this process
    assert "1 bad" in told(1, "build", str(tmp_path / "two"), str(bad_deck(tmp_path)), "--quiet").out
    (tmp_path / "out" / built.manifest.outputs[0].path).unlink()
    assert "cannot be read" in told(1, "verify", out).err


def test_writes_to_pipes_and_through_links(built, tmp_path):
    os.mkfifo(tmp_path / "pipe")
    (tmp_path / "link").symlink_to("deck.csv")
    got = []
    reader = threading.Thread(target=lambda: got.append((tmp_path / "pipe").read_bytes()))
    reader.start()
    for name in ("link", "pipe"):
        built.convert("csv", tmp_path / name, select="sat=5")
    reader.join(20)
    assert got == [(tmp_path / "deck.csv").read_bytes()] and got[0] and (tmp_path / "link").is_symlink()


def bad_deck(folder):
    line = b3_lines(2, 1)[0]
    (folder / "bad.txt").write_text("\n".join([line, line[:11] + "999" + line[14:]]))
    return folder / "bad.txt"

# SPDX-License-Identifier: Apache-2.0
"""Loading, saving, text; what is refused; threads, forks and messages."""
import gzip
import logging
import os
import pathlib
import re
import signal
import subprocess
import sys
import threading
import time

import pytest
import zstandard
from conftest import TOP

import obslib
from obslib import store

DECK = TOP / "examples/deck.txt"
B3 = "U4350992324001081548492260917 3321430 71345201 0544915                    3 7   4350943509"
TTY = "TTY_YEAR 2024\n"


def test_load_gives_the_account_of_every_line(deck):
    store.clear()
    result = obslib.load([DECK])
    assert result.loaded == len(store) and result.lines == sum((
        result.observations, result.comments, result.keywords, result.laser, result.passed_over))
    kinds = result.table.column("kind")
    assert [kinds.count(kind) for kind in ("bad", "zeroed", "passed over")] == [
        result.bad, result.zeroed, result.passed_over]
    assert "<td>bad</td>" in result._repr_html_()


def test_paths(tmp_path, monkeypatch):
    (tmp_path / "a1.b3").write_text(B3 + "\n")
    (tmp_path / "a[2].b3").write_text(B3.replace("24001", "24002") + "\n")
    monkeypatch.chdir(tmp_path)
    for paths, count in ((str(tmp_path / "a1.b3"), 1), (pathlib.Path("a1.b3"), 1), ("a*.b3", 2), ("a[2].b3", 1),
                         ((B3 + "\n").encode(), 1), (iter(["a1.b3", pathlib.Path("a[2].b3")]), 2)):
        store.clear()
        assert obslib.load(paths, group=4).loaded == count and store.groups() == {4: count}
    for paths, error, words in (("none*.b3", FileNotFoundError, "none"), ("none.b3", FileNotFoundError, "none.b3"),
                                ([3], TypeError, "int"), ("x" * 600, ValueError, "600 bytes"),
                                ("a ", ValueError, "blank"), ("a\0b", ValueError, "NUL"),
                                (tmp_path, OSError, "irectory")):
        with pytest.raises(error, match=words):
            obslib.load(paths)
    assert len(store) == 2


def test_packed(tmp_path, monkeypatch):
    text = f"OBSFIL in.b3\n{B3}\n".encode()
    half = zstandard.ZstdCompressor(write_checksum=True)
    packings = {"gzip": gzip.compress(text[:20]) + gzip.compress(text[20:]),
                "zstd": half.compress(text[:20]) + half.compress(text[20:])}
    (tmp_path / "in.b3").write_text(B3.replace("24001", "24002") + "\nx\n")
    for name, packed in packings.items():
        path = tmp_path / name
        path.write_bytes(packed)
        store.clear()
        result = obslib.load(path)
        assert (result.loaded, result.lines) == (2, 4), name
        assert list(result.table.column("file")) == [str(tmp_path / "in.b3")]
        for damage in (packed[:-3], packed[:25] + b"??" + packed[27:], packed + b"more"):
            path.write_bytes(damage)
            store.clear()
            with pytest.raises(OSError, match=f"{name} data"):
                obslib.load(path)
            assert len(store) == 0
    (tmp_path / "empty").write_bytes(gzip.compress(b""))
    assert obslib.load(tmp_path / "empty").lines == 0
    monkeypatch.setitem(sys.modules, "zstandard", None)
    with pytest.raises(ImportError, match=r"obslib\[packed\]"):
        obslib.load(tmp_path / "zstd")


def test_settings_end_with_their_deck(monkeypatch):
    obslib.load(DECK)
    cards = "\n".join(store.select("type=2 and sat>0").lines("tty")[:2]).encode()
    store.clear()
    assert obslib.load(TTY.encode() + cards).bad == 0
    assert obslib.load(cards).loaded == 0 and obslib.load(cards, year=2023).loaded > 0
    before = len(store)
    result = obslib.load(DECK, select="type=3 el=20:")
    assert len(store) - before == result.loaded - result.left_out and result.left_out > 0
    with pytest.raises(ValueError, match="column"):
        obslib.load(DECK, select="sat=x")
    monkeypatch.setenv("OBS_THREADS", "many")
    for option in ({"year": 12}, {"threads": 0}, {}):
        with pytest.raises(ValueError):
            obslib.load(DECK, **option)


def test_save_and_load_again(deck, tmp_path):
    keys = deck.keys().tolist()
    result = obslib.save(tmp_path / "all.csv")
    assert result.written == len(keys) and result.left_out == 0
    before = [dict(one) for one in deck.records()]
    deck.clear()
    obslib.load(tmp_path / "all.csv")
    assert deck.keys().tolist() == keys
    skipped = {"csv", "sen", "rf_"}  # a CSV line has CSV data in any case, and no RF data
    for old, new in zip(before, deck.records()):
        assert {n: v for n, v in old.items() if n[:3] not in skipped} == {n: v for n, v in new if n[:3] not in skipped}
    lost = obslib.save(tmp_path / "all.rf", "rf")
    assert lost.left_out + lost.written == len(keys) and lost.table.column("kind").count("left out") == lost.left_out
    with pytest.raises(OSError, match="none") as failure:
        obslib.save(tmp_path / "none/a.csv")
    assert failure.value.errno == 2
    with pytest.raises(ValueError, match="format"):
        obslib.save(tmp_path / "a", "xml")


def test_text_in_memory():
    record, = obslib.parse(B3)
    assert (record.sat_num, record.type, record.range_km, record.declination) == (43509, "3", 713.452, None)
    assert len(store) == 0 and record.units()["range_km"] == "km"
    csv, = obslib.convert(B3, "csv")
    assert obslib.convert(obslib.convert(csv, "b3")[0]) == [csv]
    assert obslib.convert(csv, "b3", sat_num=7)[0].startswith("U00007")
    for text, line in (("rubbish", 1), (B3 + "\nU43509", 2), ("))U   4292911773O", 1)):
        with pytest.raises(obslib.BadLine, match=f"line {line}") as failure:
            obslib.parse(text)
        assert failure.value.line == line and "  )" not in failure.value.reason
        with pytest.raises(ValueError):
            obslib.convert(text, "csv")


def test_refusals(deck):
    gone = int(deck.keys()[0])
    deck.remove(gone)
    for call, error, words in (
            (lambda: deck[gone], obslib.KeyUnknown, str(gone)), (lambda: deck.remove([gone]), KeyError, "1 of 1"),
            (lambda: deck.of([gone]).lines("b3"), KeyError, "locate"),
            (lambda: deck.of([gone]).states(), KeyError, "locate"),
            (lambda: deck.of([gone]).passes(), KeyError, "obsKey"),
            (lambda: deck.of([gone]).columns("time"), obslib.KeyUnknown, str(gone)),
            (lambda: deck.of([deck.keys()[0], gone]).records(), obslib.KeyUnknown, str(gone)),
            (lambda: deck.of([1.5]), TypeError, "whole"),
            (lambda: deck.of([[1]]), TypeError, "one dim"), (lambda: deck.keys("size"), ValueError, "order"),
            (lambda: deck.keys(11), ValueError, "order"), (lambda: deck.columns("range"), ValueError, "range"),
            (lambda: deck.select("el>" + "1" * 600), ValueError, "longer"),
            (lambda: deck.lines("xml"), ValueError, "xml"),
            (lambda: obslib.sensors[77], KeyError, "77"), (lambda: obslib.sensors.load("no.csv"), OSError, "no.csv"),
            (lambda: obslib.sensors.add(1, "x" * 25, 0, 0, 0), ValueError, "24"),
            (lambda: obslib.sensors.add(1, "x", 91, 0, 0), ValueError, "atitude"),
            (lambda: obslib.earth_orientation.set(3), ValueError, "UT1-UTC")):
        with pytest.raises(error, match=words):
            call()
    assert gone not in deck and "x" not in deck and deck


def test_progress_tells_and_cancels():
    told = []
    obslib.load(DECK, progress=lambda done, total: told.append((done, total)))
    assert told[-1][0] == told[-1][1] > 0 and told == sorted(told)
    before = store.keys().tolist()

    def stop(done, total):
        raise KeyboardInterrupt

    with pytest.raises(KeyboardInterrupt):
        obslib.load(DECK, group=3, progress=stop)
    assert store.keys().tolist() == before

    def stop_late(done, total):
        if done == total:
            raise RuntimeError(f"{len(store)} stored")

    store.clear()
    with pytest.raises(RuntimeError, match="stored"):
        obslib.load(DECK, progress=stop_late)
    assert len(store) == 0

    def nested(done, total):
        obslib.load(DECK)

    with pytest.raises(ValueError, match="under way"):
        obslib.load(DECK, group=3, progress=nested)


@pytest.fixture
def interrupts():
    """As in a terminal: what starts tests in the background may have them ignored."""
    before = signal.signal(signal.SIGINT, signal.default_int_handler)
    yield
    signal.signal(signal.SIGINT, before)


def test_ctrl_c_ends_a_load(tmp_path, interrupts):
    long = tmp_path / "long.txt"
    long.write_bytes(DECK.read_bytes() * 600)
    obslib.load(B3.encode())
    before = store.keys().tolist()
    key = threading.Timer(0.2, os.kill, (os.getpid(), signal.SIGINT))
    key.start()
    start = time.monotonic()
    with pytest.raises(KeyboardInterrupt):
        obslib.load(long)
        pytest.fail(f"the load was over after {time.monotonic() - start:.2f} s")
    assert store.keys().tolist() == before
    obslib.load(DECK)  # nothing of the broken one is in its way
    assert len(store) == 3316


def test_messages_go_to_logging(caplog):
    with caplog.at_level(logging.INFO, "obslib"):
        obslib.load((B3 + "\nrubbish\n").encode())
        store.select("el>10")
    levels = {record.levelno for record in caplog.records}
    assert logging.INFO in levels and any("Total observations" in one.message for one in caplog.records)
    assert not [one for one in caplog.records if "ObsGetSelectedByText" in one.message]


def test_threads_take_turns():
    failures = []

    def work(number):
        try:
            for _ in range(3):
                obslib.load(DECK)
                store.select("el>10").columns("time")
                obslib.save(os.devnull) if number == 9 else store.keys()
        except Exception as failure:  # noqa: BLE001  # whatever it is, it is told below
            failures.append(failure)

    threads = [threading.Thread(target=work, args=(number,)) for number in range(4)]
    [one.start() for one in threads], [one.join() for one in threads]
    alike = len(store.select("type=P,V,R"))  # any number of these may be alike
    assert not failures and alike == 12 * 810 and len(store) - alike == 3316 - 810


def test_fork_while_another_thread_loads(caplog):
    caplog.set_level(logging.INFO, "obslib")  # it writes messages to a file as well
    stop = threading.Event()

    def work():
        while not stop.is_set():
            obslib.load(DECK)
            store.clear()

    thread = threading.Thread(target=work)
    thread.start()
    try:
        for _ in range(10):
            child = os.fork()
            if child == 0:
                try:
                    store.clear()
                    status = 0 if obslib.load(B3.encode()).loaded == 1 else 1
                except (OSError, ValueError, KeyError):
                    status = 0
                finally:
                    os._exit(status)
            assert os.waitpid(child, 0)[1] == 0
    finally:
        stop.set()
        thread.join()


def run(code, **environment):
    return subprocess.run([sys.executable, "-c", code], capture_output=True, text=True,
                          env={**os.environ, **environment})


def test_installed_package_is_whole():
    """Linked against nothing that a system without the packages of the build has not, and the command runs."""
    folder = pathlib.Path(obslib.__file__).parent
    for file in [*folder.glob("**/*.so"), folder / "bin/obstool"]:
        listed = subprocess.run(["ldd", file], capture_output=True, text=True).stdout
        names = set(re.findall(r"^\s*(\S+?)\.so", listed, re.M))
        assert "not found" not in listed and not {one for one in names if re.search("erfa|fmt|spdlog", one)}, listed
        assert names <= {"linux-vdso", "libc", "libm", "libgcc_s", "libstdc++", "/lib64/ld-linux-x86-64", "libObs",
                         "libObsTime", "libObsCoords", "libObsSensors", "libObsServices", "libObsConstants"}
    command = pathlib.Path(sys.executable).parent / "obstool"
    shown = subprocess.run([command, "info", DECK], capture_output=True, text=True)
    assert shown.returncode == 1 and "3316" in shown.stdout
    about = obslib.about()
    assert about.version == (TOP / "VERSION").read_text().strip() and about.path.startswith(str(folder.resolve()))


def test_second_copy_and_missing_extra(tmp_path):
    copy = tmp_path / "libObs.so.9"
    folder = pathlib.Path(obslib.__file__).parent / "lib"
    copy.write_bytes((folder / "libObs.so").read_bytes())
    code = f"import ctypes, obslib; ctypes.CDLL({str(copy)!r}); print(obslib.about().copies)"
    shown = run(code, LD_LIBRARY_PATH=str(folder))
    assert str(copy) in shown.stdout and "two copies" in shown.stderr
    shown = run("import sys, obslib.plot; sys.modules['matplotlib.pyplot'] = None; obslib.plot.sky()")
    assert "ImportError" in shown.stderr and "pip install 'obslib[plot]'" in shown.stderr

# SPDX-License-Identifier: Apache-2.0
"""What tests of archives share: builds in this process, decks, and what an archive and a load hold."""
import contextlib
import csv
import random

import numpy as np
import pytest
from conftest import TOP

import obslib
from obslib import archive, store

DECK = TOP / "examples/deck.txt"
COUNTS = ("loaded", "duplicate", "bad", "left_out", "lines", "observations", "comments", "keywords", "laser",
          "passed_over", "zeroed", "includes_left_out")
TELLS = {"selection", "unknown sensor"}  # of these a load or an archive tells alone


@contextlib.contextmanager
def nobody(scheduler, workers):
    yield None


def in_turn(client, task, items, *rest, told):
    for item, argument in items:
        result = task(argument, *rest)
        told(item)
        yield item, result


@pytest.fixture
def here(monkeypatch):
    """Builds do their tasks in this process, whose store they leave empty."""
    monkeypatch.setattr("obslib.archive._build.client_of", nobody)
    monkeypatch.setattr("obslib.archive._build.each", in_turn)


def rows_of(table):
    """The rows of columns in an order of their own, without keys, which an archive and a load make differently."""
    names = [name for name in obslib.Record.units() if name not in ("key", "group")]
    rows = zip(*(table[name].to_pylist() for name in names))
    return sorted(map(repr, rows))


def archived(out):
    """The rows of an archive, its counts, and its lines."""
    arrow, parquet = pytest.importorskip("pyarrow"), pytest.importorskip("pyarrow.parquet")
    manifest = archive._manifest.read_manifest(out)
    tables = [parquet.read_table(out / one.path, partitioning=None) for one in manifest.outputs]
    assert [one.num_rows for one in tables] == [one.rows for one in manifest.outputs]
    with open(out / manifest.lines["path"], newline="", encoding="utf-8") as file:
        lines = [(row["kind"], row["file"], int(row["line"]), row["reason"]) for row in csv.DictReader(file)]
    rows = rows_of(arrow.concat_tables(tables)) if tables else []
    return rows, {name: manifest.counts[name] for name in COUNTS}, [one for one in lines if one[0] not in TELLS]


def loaded(paths, **options):
    """The same of one load of all files."""
    arrow = pytest.importorskip("pyarrow")
    store.clear()
    result = obslib.load([str(path) for path in paths], **options)
    rows = rows_of(arrow.table(store))
    store.clear()
    told = [(kind, file, line, reason.encode("utf-8", "backslashreplace").decode())
            for kind, file, line, reason in result.table if kind not in TELLS]
    return rows, {name: getattr(result, name) for name in COUNTS}, told


def checksums(out):
    return {one.path: one.sha256 for one in archive._manifest.read_manifest(out).outputs}


def b3_lines(seed, count, days=3):
    """Good lines of random satellites, sensors and times, some of them twice."""
    random.seed(seed)
    lines = []
    for _ in range(count):
        second = random.randrange(86400)
        lines.append(f"U{random.randrange(5, 60):05}{random.randrange(300, 304)}24{random.randrange(1, 1 + days):03}"
                     f"{second // 3600:02}{second // 60 % 60:02}{second % 60:02}000260917 3321430 71345201 0544915"
                     "                    3 7   4350943509")
    return lines + random.sample(lines, count // 10)


def random_decks(folder, seed):
    """Decks of runs of cards, years, sections and blocks of laser ranges, and files that are named, in any order."""
    draw = random.Random(seed)
    deck = DECK.read_bytes().split(b"\n")
    tty, cards = [line for line in deck[:1500] if line.startswith(b"))")], deck[700:780]
    laser = [path.read_bytes().split(b"\n")[:80] for path in sorted((TOP / "examples/laser_ranging").glob("crd*"))]

    def run(lines):
        begin = draw.randrange(len(lines))
        return lines[begin:begin + draw.randrange(20)]

    def piece():
        return draw.choice((
            lambda: [b"TTY_YEAR %d" % draw.choice((2019, 2024))], lambda: [b"SLROBS"], lambda: draw.choice(laser),
            lambda: run(draw.choice(laser)), lambda: [draw.choice((b"OBSFIL 0.inc", b"obsfil none", b"SLROBS 1.inc"))],
            lambda: [b"TTY_YEAR x", b"* comment", b"", b"H1 CRD"],
            lambda: [b"99999", b"1234567 garbage", b"7603901 12"],
            lambda: run(tty), lambda: run(cards), lambda: run(cards)))()

    def write(name, count, end):
        (folder / name).write_bytes(b"\n".join(line for _ in range(count) for line in piece()) + end)
        return folder / name

    write("0.inc", 5, b"\n"), (folder / "1.inc").write_bytes(b"\n".join(draw.choice(laser)))
    return [write(f"{number}.txt", 12, draw.choice((b"", b"\n"))) for number in range(3)]

# SPDX-License-Identifier: Apache-2.0
"""What goes wrong during a build: the archive comes out the same, or the failure is named and the former one holds."""
import json
import os
import re
import resource
import shutil
import subprocess
import sys
import time
from pathlib import Path

import pytest
from archives import archived, b3_lines, checksums, here, in_turn  # noqa: F401
from conftest import TOP

from obslib import archive
from obslib.archive import _build, _lock

pytest.importorskip("distributed")
FAULTS = Path(__file__).with_name("faults.py")
PIECE = 40000


@pytest.fixture(scope="module")
def decks(tmp_path_factory):
    """Six decks of three days, each for a task of its own."""
    folder = tmp_path_factory.mktemp("decks")
    for number in range(6):
        (folder / f"{number}.b3").write_text("\n".join([*b3_lines(number, 400), "rubbish", ""]))
    return folder


@pytest.fixture(scope="module")
def undisturbed(decks, tmp_path_factory):
    """The archive when nothing goes wrong."""
    out = tmp_path_factory.mktemp("undisturbed") / "out"
    with pytest.MonkeyPatch.context() as patch:
        here.__wrapped__(patch)
        archive.build(decks, out, piece_bytes=PIECE)
    return out


def same(out, expected):
    return checksums(out) == checksums(expected) and archived(out) == archived(expected) and not (
        out / "_stage").exists() and not (out / "build.lock").exists()


@pytest.mark.parametrize("fault", ["in map", "in reduce", "after the rename of map", "after the rename of reduce"])
def test_a_worker_is_killed(decks, undisturbed, tmp_path, monkeypatch, fault):
    monkeypatch.setenv("DASK_DISTRIBUTED__WORKER__PRELOAD", json.dumps([str(FAULTS)]))
    monkeypatch.setenv("OBS_FAULT", f"{fault},{tmp_path / 'happened'},0")
    told = []
    archive.build(decks, tmp_path / "out", workers=2, piece_bytes=PIECE, progress=told.append)
    assert (tmp_path / "happened").exists() and same(tmp_path / "out", undisturbed)
    assert [one.part for one in told] == sorted(one.part for one in told) and told[-1].part == 1
    assert {one.phase for one in told} == {"scan", "map", "reduce", "commit"} and "left" in str(told[-2])


def test_the_scheduler_is_killed(decks, undisturbed, tmp_path, monkeypatch, request):
    def command(module, *options, **environment):
        process = subprocess.Popen([sys.executable, "-m", f"distributed.cli.{module}", "--no-dashboard", *options],
                                   stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                                   env={**os.environ, **environment})
        request.addfinalizer(process.wait)
        request.addfinalizer(process.kill)
        return process

    where = tmp_path / "scheduler.json"
    scheduler = command("dask_scheduler", "--port", "0", "--scheduler-file", str(where))
    for _ in range(600):
        if where.exists():
            break
        time.sleep(0.1)
    command("dask_worker", "--scheduler-file", str(where), "--nthreads", "1", "--no-nanny", "--preload", str(FAULTS),
            OBS_FAULT=f"scheduler,{tmp_path / 'happened'},{scheduler.pid}")
    with pytest.raises(archive.ArchiveError, match="scheduler.*is gone"):
        archive.build(decks, tmp_path / "out", scheduler=json.loads(where.read_text())["address"], piece_bytes=PIECE)
    assert (tmp_path / "out/_stage").exists() and not (tmp_path / "out/manifest.json").exists()
    here.__wrapped__(monkeypatch)
    archive.build(decks, tmp_path / "out", piece_bytes=PIECE)
    assert same(tmp_path / "out", undisturbed)


def test_a_script_needs_no_guard(decks, undisturbed, tmp_path):
    script = tmp_path / "script.py"
    script.write_text("import sys\nfrom obslib import archive\nprint('once')\n"
                      f"archive.build(sys.argv[1], sys.argv[2], workers=1, piece_bytes={PIECE}, progress=True)\n")
    shown = subprocess.run([sys.executable, script, decks, tmp_path / "out"], capture_output=True, text=True)
    assert (shown.returncode, shown.stdout) == (0, "once\n"), shown.stderr
    assert "left" in shown.stderr and same(tmp_path / "out", undisturbed)


def test_the_example_answers(tmp_path):
    shown = subprocess.run([sys.executable, TOP / "examples/archive_two_workers.py", tmp_path], capture_output=True,
                           text=True)
    said = re.fullmatch(r"killed one of two workers\n13 decks, \d+ observations\n"
                        r"(\d+) observations of .*, from 7 of 91 files\n(\d+) in one load of all decks\n", shown.stdout)
    assert said and said[1] == said[2] != "0", shown.stdout + shown.stderr


@pytest.mark.usefixtures("here")
def test_a_build_goes_on_where_it_was(decks, undisturbed, tmp_path, monkeypatch):
    done = []

    def broken(client, task, items, *rest, told):
        for item, result in in_turn(client, task, items, *rest, told=told):
            done.append(task.__name__)
            if done.count("reduce") == 2:
                raise KeyboardInterrupt
            yield item, result

    monkeypatch.setattr(_build, "each", broken)
    with pytest.raises(KeyboardInterrupt):
        archive.build(decks, tmp_path / "out", piece_bytes=PIECE)
    monkeypatch.setattr(_build, "each", in_turn)
    monkeypatch.setattr("obslib.archive._map.rows_of", lambda *_: pytest.fail("a part is read twice"))
    archive.build(decks, tmp_path / "out", piece_bytes=PIECE)
    assert same(tmp_path / "out", undisturbed)


@pytest.mark.usefixtures("here")
@pytest.mark.parametrize("change", ["shorter", "other", "gone"])
def test_a_file_changes_between_scan_and_reading(decks, tmp_path, monkeypatch, change):
    deck = tmp_path / "deck.b3"
    shutil.copy(decks / "0.b3", deck)

    def after_scan(client, task, items, *rest, told):
        yield from in_turn(client, task, items, *rest, told=told)
        if task.__name__ == "scan":
            if change == "gone":
                return deck.unlink()
            status = deck.stat()
            text = deck.read_bytes()
            deck.write_bytes(text[:-50] if change == "shorter" else text[:-9] + b"otherish\n")
            os.utime(deck, ns=(status.st_atime_ns, status.st_mtime_ns))

    monkeypatch.setattr(_build, "each", after_scan)
    with pytest.raises(archive.ArchiveError, match="deck.b3 (changed|vanished)"):
        archive.build(deck, tmp_path / "out")
    assert not (tmp_path / "out/manifest.json").exists()


@pytest.mark.usefixtures("here")
@pytest.mark.parametrize("limit, where", [(6000, "_stage"), (30000, "out/day=")])
def test_a_full_disk(decks, tmp_path, limit, where):
    """A file-size limit; each day has more rows than a task reads."""
    archive.build(decks / "0.b3", tmp_path / "out")
    before = checksums(tmp_path / "out")
    former = resource.getrlimit(resource.RLIMIT_FSIZE)
    resource.setrlimit(resource.RLIMIT_FSIZE, (limit, former[1]))
    try:
        with pytest.raises(OSError, match="too large") as failure:
            archive.build(decks, tmp_path / "out", piece_bytes=PIECE)
    finally:
        resource.setrlimit(resource.RLIMIT_FSIZE, former)
    assert where in failure.value.filename and checksums(tmp_path / "out") == before
    assert all((tmp_path / "out" / one).exists() for one in before)
    archive.build(decks, tmp_path / "out", piece_bytes=PIECE)
    assert len(archive._manifest.read_manifest(tmp_path / "out").inputs) == 6


@pytest.mark.usefixtures("here")
def test_one_build_at_a_time(decks, tmp_path, caplog):
    out = tmp_path / "out"
    out.mkdir()
    with _lock.Lock(out) as lock:
        with pytest.raises(archive.ArchiveError, match=f"process {os.getpid()}"):
            archive.build(decks, out)
        held = json.loads((out / "build.lock").read_text())
        (out / "build.lock").write_text(json.dumps({**held, "token": "other"}))
        with pytest.raises(archive.ArchiveError, match="taken .* over"):
            lock.hold()
    for change, why in (({"process": 2**22 + 5}, "is gone"), ({"begun": "1"}, "is gone"),
                        ({"host": "elsewhere", "time": time.time() - 301}, "301 s")):
        (out / "build.lock").write_text(json.dumps({**held, **change}))
        with _lock.Lock(out):
            assert why in caplog.messages[-1] and "taken over" in caplog.messages[-1]
    (out / "build.lock").write_text(json.dumps({**held, "host": "elsewhere", "time": time.time() - 200}))
    with pytest.raises(archive.ArchiveError, match="elsewhere"):
        archive.build(decks, out)
    assert not (out / "manifest.json").exists()

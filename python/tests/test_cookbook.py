# SPDX-License-Identifier: Apache-2.0
"""Every task of the cookbook gives what it shows, and the example program draws its picture."""
import doctest
import re
import runpy
import shutil

import pytest
from conftest import TOP

PAGE = TOP / "docs/cookbook/python.md"
START, *TASKS = re.split(r"^## ", PAGE.read_text(), flags=re.M)


@pytest.fixture
def folder(tmp_path, monkeypatch):
    matplotlib = pytest.importorskip("matplotlib")
    matplotlib.use("agg")
    for name in ("deck.txt", "include.txt"):
        shutil.copy(TOP / "examples" / name, tmp_path)
    monkeypatch.chdir(tmp_path)
    return tmp_path


def blocks(text):
    return "".join(re.findall(r"```pycon\n(.*?)```", text, re.S))


@pytest.mark.parametrize("task", TASKS, ids=lambda task: task.split("\n")[0].replace(" ", "_"))
def test_task(task, folder):
    flags = doctest.ELLIPSIS | doctest.NORMALIZE_WHITESPACE
    one = doctest.DocTestParser().get_doctest(blocks(START) + blocks(task), {}, PAGE.name, str(PAGE), 0)
    told = []
    assert doctest.DocTestRunner(optionflags=flags).run(one, out=told.append).failed == 0, "".join(told)


def test_there_are_twenty():
    assert len(TASKS) >= 20 and all(blocks(task) for task in TASKS)


def test_example(folder, monkeypatch, capsys):
    monkeypatch.setattr("sys.argv", ["deck_to_picture.py", "deck.txt", "picture.png"])
    runpy.run_path(str(TOP / "examples/deck_to_picture.py"))
    assert "3316 observations" in capsys.readouterr().out and (folder / "picture.png").stat().st_size > 5000

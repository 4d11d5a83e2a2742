# SPDX-License-Identifier: Apache-2.0
from pathlib import Path

import pytest

import obslib

TOP = Path(__file__).resolve().parents[2]


@pytest.fixture(autouse=True)
def empty():
    obslib.store.clear()
    obslib.store.keep_origins(False)
    obslib.sensors.clear()


@pytest.fixture
def deck():
    obslib.load(TOP / "examples/deck.txt")
    return obslib.store

# SPDX-License-Identifier: Apache-2.0
"""Builds: for every set of cuts what one load gives; adding, resuming, and what is refused."""
import gzip
import random
import shutil

import pytest
from archives import DECK, archived, b3_lines, checksums, here, loaded  # noqa: F401
from conftest import TOP

import obslib
from obslib import archive

pytestmark = pytest.mark.usefixtures("here")


@pytest.mark.parametrize("cut", [3000, 30000, 1 << 27])
def test_is_what_one_load_gives(tmp_path, cut):
    obslib.sensors.load_laser_stations()
    paths = decks(tmp_path)
    random.seed(cut)
    archive.build(paths, tmp_path / "out", piece_bytes=cut + random.randrange(300))
    for found, expected in zip(archived(tmp_path / "out"), loaded(paths)):
        assert found == expected


def decks(folder):
    """One of every kind of trouble."""
    (folder / "include.txt").write_text("\n".join([*b3_lines(3, 90), "TTY_YEAR 2020", "SLROBS", "H1 CRD", "VM_DMA"]))
    deck = DECK.read_text(errors="surrogateescape").splitlines()
    tty = [line for line in deck if line.startswith("))")]
    lageos, samples = ((TOP / "examples/laser_ranging" / name).read_text() for name in (
        "crd1_lageos1.npt", "crd2_samples.crd"))
    contents = {
        "part.txt": deck[-400:],
        "late_year.txt": [*tty[:60], "rubbish", *tty[60:90], "TTY_YEAR 2023", ""],
        "two_years.txt": [*tty[:40], "TTY_YEAR 2022", *tty[40:80], "TTY_YEAR what", "TTY_YEAR 2021", *tty[80:120]],
        "naming.txt": [*b3_lines(1, 60), "OBSFIL include.txt", *b3_lines(2, 60), "OBSFIL missing.txt", *tty[:9], ""],
        "ranges.txt": ["TTY_YEAR 2019", *b3_lines(4, 40), "SLROBS", lageos, *b3_lines(5, 40), "SLROBS", samples,
                       "SLROBS ranges.frd", *tty[:5], "OBSFIL include.txt", "H1 CRD", ""],
        "again.txt": [*b3_lines(1, 90), lageos]}
    for name, lines in contents.items():
        (folder / name).write_text("\n".join(lines), errors="surrogateescape")
    shutil.copy(TOP / "examples/laser_ranging/crd1_glonass125_midnight.frd", folder / "ranges.frd")
    with gzip.open(folder / "late_year.gz", "wb") as file:
        file.write((folder / "two_years.txt").read_bytes())
    return [folder / name for name in contents]

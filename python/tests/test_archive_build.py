# SPDX-License-Identifier: Apache-2.0
"""Builds: for every set of cuts what one load gives; adding, resuming, and what is refused."""
import bz2
import gzip
import lzma
import os
import random
import shutil

import pytest
import zstandard
from archives import DECK, archived, b3_lines, checksums, here, loaded, random_decks  # noqa: F401
from conftest import TOP

import obslib
from obslib import archive
from obslib.archive import _plan, _scan

pytestmark = pytest.mark.usefixtures("here")


@pytest.mark.parametrize("cut", [30000, 1 << 27])
def test_is_what_one_load_gives(tmp_path, cut):
    obslib.sensors.load_laser_stations()
    paths = decks(tmp_path)
    random.seed(cut)
    archive.build(paths, tmp_path / "out", piece_bytes=cut + random.randrange(300))
    for found, expected in zip(archived(tmp_path / "out"), loaded(paths)):
        assert found == expected


@pytest.mark.parametrize("seed", range(5))
def test_any_deck_with_any_cuts_is_what_one_load_gives(tmp_path, seed):
    obslib.sensors.load_laser_stations()
    paths = random_decks(tmp_path, seed)
    archive.build(paths, tmp_path / "out", piece_bytes=random.Random(seed).randrange(200, 4000))
    for found, expected in zip(archived(tmp_path / "out"), loaded(paths)):
        # Where a year that cannot be read stands among the lines depends on what a load had to read twice.
        assert sorted(found) == sorted(expected) if isinstance(found, list) else found == expected


def decks(folder):
    """One of every kind of trouble."""
    (folder / "include.txt").write_text("\n".join([*b3_lines(3, 90), "TTY_YEAR 2020", "SLROBS", "H1 CRD", "VM_DMA"]))
    deck = DECK.read_text(errors="surrogateescape").splitlines()
    tty = [line for line in deck if line.startswith("))")]
    lageos, samples = ((TOP / "examples/laser_ranging" / name).read_text() for name in (
        "crd1_lageos1.npt", "crd2_samples.crd"))
    contents = {
        "part.txt": deck[-300:],
        "late_year.txt": [*tty[:30], "rubbish", *tty[30:50], "TTY_YEAR 2023", ""],
        "two_years.txt": [*tty[:20], "TTY_YEAR 2022", *tty[20:40], "TTY_YEAR what", "TTY_YEAR 2021", *tty[40:60]],
        "naming.txt": [*b3_lines(1, 60), "OBSFIL include.txt", *b3_lines(2, 60), "OBSFIL missing.txt", "OBSFIL " + "x" * 300, "OBSFIL packed.inc",
                       *tty[:9], ""],
        "ranges.txt": ["TTY_YEAR 2019", *b3_lines(4, 40), "SLROBS", lageos, *b3_lines(5, 40), "SLROBS", samples,
                       "SLROBS ranges.frd", *tty[:5], "OBSFIL include.txt", "H1 CRD", ""],
        "again.txt": [*b3_lines(1, 90), lageos]}
    for name, lines in contents.items():
        (folder / name).write_text("\n".join(lines), errors="surrogateescape")
    (folder / "packed.inc").write_bytes(gzip.compress(b"\n".join(map(str.encode, b3_lines(6, 9)))))
    shutil.copy(TOP / "examples/laser_ranging/crd1_glonass125_midnight.frd", folder / "ranges.frd")
    return [folder / name for name in contents]


def test_adds_decks(tmp_path):
    decks(tmp_path)
    first, more = [tmp_path / "naming.txt", tmp_path / "part.txt"], [tmp_path / "two_years.txt", tmp_path / "again.txt"]
    archive.build(first, tmp_path / "out")
    before = checksums(tmp_path / "out")
    result = archive.build([*first[1:], *more], tmp_path / "out", piece_bytes=4000)
    assert (result.decks_read, result.decks_kept, result.vanished) == (2, 2, ())
    for found, expected in zip(archived(tmp_path / "out"), loaded([*first, *more])):
        assert found == expected
    after = checksums(tmp_path / "out")
    assert set(before) & set(after) and {str(one.relative_to(tmp_path / "out")) for one in tmp_path.glob(
        "out/day=*/*")} == set(after)
    assert archive.build(first, tmp_path / "out").decks_read == 0 and checksums(tmp_path / "out") == after
    (tmp_path / "again.txt").unlink()
    assert archive.build(first, tmp_path / "out").vanished == (str(tmp_path / "again.txt"),)
    for name, said in (("include.txt", "include.txt, which .*naming.txt names"), ("part.txt", "part.txt")):
        with open(tmp_path / name, "a") as file:
            file.write("more\n")
        with pytest.raises(archive.ArchiveError, match=f"changed since.*{said}"):
            archive.build(first, tmp_path / "out")
    assert checksums(tmp_path / "out") == after
    archive.build(first, tmp_path / "out", rebuild=True)
    assert archived(tmp_path / "out") == loaded(first)


def test_keyword_lines(tmp_path):
    chosen, plain, handles = (tmp_path / name for name in ("chosen.b3", "plain.b3", "handles.b3"))
    chosen.write_text("\n".join(["SELOB sat=5", *b3_lines(1, 200), "SELOB nothing=5", "SELOB sat=5:20 sen=300", ""]))
    plain.write_text("\n".join(b3_lines(1, 200)))
    handles.write_text("\n".join(["VM_DMA_OBS_ON", *b3_lines(2, 20), "U00000" + b3_lines(3, 1)[0][6:-10], ""]))
    archive.build([chosen, plain], tmp_path / "out", piece_bytes=3000)
    rows, counts, _ = archived(tmp_path / "out")
    # What a deck leaves out does not make another's observations duplicates.
    assert rows == loaded([plain])[0]
    alone = archive.build(chosen, tmp_path / "alone").manifest
    text = (tmp_path / "alone" / alone.lines["path"]).read_text()
    assert "selection" in text and "nothing" in text and alone.inputs[0].settings["select"] == "sat=5:20 sen=300"
    expected = loaded([chosen], select="sat=5:20 sen=300")
    assert archived(tmp_path / "alone")[:2] == expected[:2] and 0 < expected[1]["left_out"] < 200
    archive.build([chosen], tmp_path / "all", select=False)
    assert archived(tmp_path / "all")[:2] == loaded([chosen])[:2]
    result = archive.build(handles, tmp_path / "keys").manifest
    assert result.counts["loaded"] == 20 and result.counts["bad"] == 1
    assert "not followed" in (tmp_path / "keys" / result.lines["path"]).read_text()


def test_about_midnight(tmp_path):
    """Times that are the same to the library, on both sides of the midnight of the microseconds."""
    pandas = pytest.importorskip("pandas")
    steps = [5, 3, 2, 1, 0, -1, 4, 6, -2]
    lines = []
    for step in steps:
        obslib.store.clear()
        obslib.from_dataframe(pandas.DataFrame({"ds50": [27029 - step * 2.0**-38], "sat_num": 5, "sen_num": 7,
                                                "type": "2", "range_km": 1.0, "elevation": 2.0}))
        lines += obslib.store.lines("csv")
    obslib.store.clear()
    (tmp_path / "deck.csv").write_text("\n".join(lines))
    archive.build(tmp_path / "deck.csv", tmp_path / "out")
    found, expected = archived(tmp_path / "out"), loaded([tmp_path / "deck.csv"])
    assert found == expected and 0 < found[1]["duplicate"] < len(steps) and len(checksums(tmp_path / "out")) == 2


def test_compressed_decks(tmp_path):
    text = "\n".join(b3_lines(1, 300)).encode()
    (tmp_path / "plain").write_bytes(text)
    packers = {"a.gz": gzip.compress, "b.bz2": bz2.compress, "c.xz": lzma.compress,
               "d.zst": zstandard.ZstdCompressor().compress}
    archive.build(tmp_path / "plain", tmp_path / "plain.out")
    expected = archived(tmp_path / "plain.out")[:2]
    for name, pack in packers.items():
        for frame in (7001, len(text)):  # of many frames, which end within lines, and of one
            packed = b"".join(pack(text[at:at + frame]) for at in range(0, len(text), frame))
            (tmp_path / name).write_bytes(packed)
            deck = _plan.plan([tmp_path / name])[0][0]
            assert (len(_scan.scan_deck(deck, 0, 5000).parts) > 3) == (frame < len(text))
            archive.build(tmp_path / name, tmp_path / f"{name}{frame}", piece_bytes=5000)
            assert archived(tmp_path / f"{name}{frame}")[:2] == expected
        (tmp_path / name).write_bytes(packed[:-200])
        with pytest.raises(OSError, match=f"(damaged|end too early).*{name}"):
            archive.build(tmp_path / name, tmp_path / "damaged")
        assert not (tmp_path / "damaged/manifest.json").exists()
        (tmp_path / name).write_bytes(pack(text[:7001]) + b"rubbish" + pack(text[7001:]))
        with pytest.raises(OSError, match=f"damaged.*{name}"):
            archive.build(tmp_path / name, tmp_path / "damaged")
    skipped = b"\x50\x2a\x4d\x18\x04\0\0\0abcd"  # as parallel packers write
    for name, between in (("a.gz", b"\0" * 9), ("c.xz", b"\0" * 8), ("d.zst", skipped)):
        pack = packers[name]
        (tmp_path / name).write_bytes((b"" if between[0] == 0 else between) + pack(text[:7001]) + between
                                      + pack(text[7001:]) + between)
        archive.build(tmp_path / name, tmp_path / f"{name}.padded", piece_bytes=5000)
        assert archived(tmp_path / f"{name}.padded")[:2] == expected
        assert name == "c.xz" or loaded([tmp_path / name])[:2] == expected


def test_refusals(tmp_path):
    deck, out = tmp_path / "a.b3", tmp_path / "out"
    deck.write_text("\n".join(b3_lines(1, 5)))
    (tmp_path / "link.b3").symlink_to(deck)
    (tmp_path / "dangling").symlink_to("nothing")
    (tmp_path / "packed").write_bytes(b"PK\x03\x04....")
    (tmp_path / "empty").mkdir()
    (tmp_path / "full").mkdir()
    (tmp_path / "full/letter.txt").write_text("Dear Sir")
    for paths, error, words in (
            ([deck, deck], ValueError, "named twice"), ([deck, tmp_path / "link.b3"], ValueError, "link.b3 is .*a.b3"),
            (tmp_path / "none", FileNotFoundError, "none"), (deck / "below", NotADirectoryError, "below"),
            (tmp_path / "no*", FileNotFoundError, "no file matches"), (tmp_path / "empty", FileNotFoundError, "empty"),
            (tmp_path / "dangling", FileNotFoundError, "dangling"), ("/dev/null", OSError, "not a file"),
            (tmp_path / "packed", archive.ArchiveError, "zip"), ([5], TypeError, "int"), ([], ValueError, "no path"),
            ("", FileNotFoundError, "''")):
        with pytest.raises(error, match=words):
            archive.build(paths, out)
        assert not out.exists()
    for options in ({"year": 12}, {"workers": 0}, {"piece_bytes": 0}):
        with pytest.raises(ValueError):
            archive.build(deck, out, **options)
    with pytest.raises(archive.ArchiveError, match="letter.txt"):
        archive.build(deck, tmp_path / "full")
    archive.build(deck, out)
    with pytest.raises(ValueError, match="below the folder of the archive"):
        archive.build(out / "manifest.json", out)
    with pytest.raises(archive.ArchiveError, match="2024"):
        archive.build(deck, out, year=2024)
    manifest = out / "manifest.json"
    manifest.write_text(manifest.read_text().replace('"schema": 1', '"schema": 7'))
    with pytest.raises(archive.ArchiveError, match="version 7"):
        archive.build(deck, out, rebuild=True)
    assert '"schema": 7' in manifest.read_text()


def test_patterns_and_folders(tmp_path):
    for name in ("in/2023/a", "in/2024/.a.swp", "in/2024/.git/a", "in/2024/b", "in/c"):
        (tmp_path / name).parent.mkdir(parents=True, exist_ok=True)
        (tmp_path / name).write_text("\n")
    (tmp_path / "in/empty").mkdir()
    (tmp_path / "in/2023/up").symlink_to(tmp_path / "in")
    for given, found in (("in", "2023/a 2024/b c"), ("in/20*", "2023/a 2024/b"), ("in/*", "2023/a 2024/b c"),
                         ("in/2024/**", "2024/b")):
        assert list(_plan.files(str(tmp_path / given))) == [str(tmp_path / "in" / one) for one in found.split()], given


def test_a_folder_that_cannot_be_read(tmp_path, monkeypatch):
    (tmp_path / "in/closed").mkdir(parents=True)
    (tmp_path / "in/a.b3").write_text("\n".join(b3_lines(1, 5)))

    def scandir(path, real=os.scandir):
        if str(path).endswith("closed"):
            raise PermissionError(13, "Permission denied", str(path))
        return real(path)

    monkeypatch.setattr(os, "scandir", scandir)  # whoever runs as root may read all
    with pytest.raises(PermissionError, match="closed"):
        archive.build(tmp_path / "in", tmp_path / "out")
    assert not (tmp_path / "out").exists()

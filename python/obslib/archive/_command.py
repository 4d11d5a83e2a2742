# SPDX-License-Identifier: Apache-2.0
"""The command obstool-archive. Its statuses are those of obstool: 0 all good, 1 faulty lines or files, 2 failure."""
from __future__ import annotations

import argparse
import io
import json
import os
import re
import signal
import sys
from dataclasses import asdict
from typing import Any

from .._extras import needed
from .._files import FORMATS
from . import _progress
from ._archive import open as open_archive
from ._build import build as build_archive
from ._target import is_kept_file, written

GOOD, FAULTS, FAILURE, INTERRUPTED = 0, 1, 2, 130


def main(arguments: list[str] | None = None) -> int:
    """Runs the command; its status."""
    if sys.stderr is None:
        sys.stderr = open(os.devnull, "w")
    options = parser().parse_args(arguments)
    try:
        if sys.stdout is None:
            raise OSError("standard output is closed")
        if isinstance(sys.stdout, io.TextIOWrapper):
            sys.stdout.reconfigure(errors="surrogateescape")  # names of files as they are
        status = int(options.run(options))
        sys.stdout.flush()
        return status
    except BrokenPipeError:
        os.dup2(os.open(os.devnull, os.O_WRONLY), sys.stdout.fileno())  # nobody reads on, which is no fault
        return GOOD
    except KeyboardInterrupt:
        return INTERRUPTED
    except OSError as failure:
        what = failure.strerror or str(failure)
        complain(f"{failure.filename}: {what}" if failure.filename else what)
    except (ValueError, ImportError, MemoryError) as failure:
        complain(str(failure) or type(failure).__name__)
    return FAILURE


def complain(text: str) -> None:
    print(f"obstool-archive: {re.sub('^Obs[A-Z][A-Za-z]+: ', '', text)}", file=sys.stderr)


def parser() -> argparse.ArgumentParser:
    main_parser = argparse.ArgumentParser(prog="obstool-archive",
                                          description="Archives of observations: more decks than memory holds.")
    commands = main_parser.add_subparsers(required=True, metavar="COMMAND")

    def command(name: str, run: Any, what: str) -> argparse.ArgumentParser:
        made = commands.add_parser(name, help=what, description=what)
        made.set_defaults(run=run)
        made.add_argument("archive", metavar="ARCHIVE", help="its folder")
        made.add_argument("--json", action="store_true", help="what is told, as JSON on standard output")
        return made

    def writes(made: argparse.ArgumentParser, what: str, **options: Any) -> None:
        made.add_argument("-o", "--output", metavar="FILE", help=what, **options)
        made.add_argument("--force", action="store_true", help="writes over a file that is there")

    made = command("build", build, "Builds an archive of decks, or adds decks to one.")
    made.add_argument("paths", nargs="+", metavar="PATH", help="a file, a pattern, or a folder with all below it")
    made.add_argument("--workers", type=int, metavar="N", help="processes of this machine (as many as processors)")
    made.add_argument("--scheduler", metavar="ADDRESS", help="a Dask scheduler whose workers do the work instead")
    made.add_argument("--year", type=int, help="the year of TTY cards before any TTY_YEAR line")
    made.add_argument("--ignore-selob", action="store_true", help="SELOB lines leave nothing out")
    made.add_argument("--rebuild", action="store_true", help="makes the archive anew, of these files alone")
    made.add_argument("--quiet", action="store_true", help="no progress on standard error")
    command("info", info, "Tells what an archive holds.")
    made = command("select", select, "Writes the observations that meet criteria as CSV, or into a Parquet file.")
    made.add_argument("criteria", nargs="?", default="", metavar="CRITERIA", help="such as \"sat=5 time=2024-01-01\"")
    made.add_argument("--columns", metavar="A,B,...", help="these columns (all)")
    writes(made, "a file instead of standard output; Parquet for .parquet")
    made.add_argument("--count", action="store_true", help="tells how many there are, and writes none")
    command("verify", verify, "Compares all files of an archive with its manifest.")
    made = command("convert", convert, "Writes an archive, or what is selected of it, as a deck.")
    made.add_argument("--to", required=True, choices=list(FORMATS), metavar="FORMAT", help=", ".join(FORMATS))
    writes(made, "the deck; - for standard output", required=True)
    made.add_argument("--select", default="", metavar="CRITERIA")
    return main_parser


def tell(options: argparse.Namespace, facts: dict[str, Any], text: str, file: Any = None) -> None:
    """What a command found: as JSON on standard output, or as a text there or in another file."""
    if options.json:
        print(json.dumps(facts))
    else:
        print(text, file=file or sys.stdout)


def build(options: argparse.Namespace) -> int:
    for number in (signal.SIGTERM, signal.SIGHUP):  # batch systems send these: workers and lock go as with Ctrl-C
        signal.signal(number, lambda number, _: sys.exit(128 + number))
    result = build_archive(options.paths, options.archive, scheduler=options.scheduler, workers=options.workers,
                           year=options.year, select=not options.ignore_selob, rebuild=options.rebuild,
                           progress=False if options.quiet else _progress.show)
    for path in result.vanished:
        complain(f"{path} is not there any more; what it held stays")
    counts = result.manifest.counts
    facts = {"decks_read": result.decks_read, "decks_kept": result.decks_kept, "vanished": list(result.vanished),
             "counts": counts}
    tell(options, facts, f"{result.decks_read} decks read, {result.decks_kept} were there: {counts['loaded']} "
                         f"observations, {counts['duplicate']} duplicate, {counts['bad']} bad")
    return FAULTS if counts["bad"] or result.vanished else GOOD


def info(options: argparse.Namespace) -> int:
    found = open_archive(options.archive).info()
    tell(options, asdict(found), str(found))
    return GOOD


def output_of(options: argparse.Namespace) -> str | None:
    """Where to write; None for standard output."""
    if options.output in (None, "-", "/dev/stdout"):
        if options.json:
            raise ValueError("--json needs -o FILE: standard output has the observations")
        return None
    if is_kept_file(options.output) and not options.force:
        raise FileExistsError(17, "the file is there already; --force writes over it", options.output)
    return str(options.output)


def select(options: argparse.Namespace) -> int:
    output = None if options.count else output_of(options)
    columns = [name.strip() for name in options.columns.split(",")] if options.columns is not None else None
    chosen = open_archive(options.archive).select(options.criteria, ["line"] if options.count else columns)
    reading = chosen.reading
    if options.count:
        rows = sum(batch.num_rows for batch in chosen.batches())
    elif output is None:
        rows = write_csv(chosen, sys.stdout.buffer)
        sys.stdout.buffer.flush()
    else:
        with written(output, options.archive) as target, open(target, "xb") as file:
            rows = (write_parquet if output.endswith(".parquet") else write_csv)(chosen, file)
    tell(options, {"rows": rows, **asdict(reading)}, f"{rows} observations, {reading} read",
         sys.stdout if options.count else sys.stderr)
    return GOOD


def write_parquet(chosen: Any, file: Any) -> int:
    rows = 0
    with needed("pyarrow.parquet", "archive").ParquetWriter(file, chosen.schema) as writer:
        for batch in chosen.batches():
            writer.write_batch(batch)
            rows += batch.num_rows
    return rows


def write_csv(chosen: Any, file: Any) -> int:
    csv = needed("pyarrow.csv", "archive")
    empty = plain(chosen.schema.empty_table())
    rows = 0
    csv.write_csv(empty, file)  # the heading
    for batch in chosen.batches():
        csv.write_csv(plain(needed("pyarrow", "archive").Table.from_batches([batch])), file,
                      csv.WriteOptions(include_header=False))
        rows += batch.num_rows
    return rows


def plain(table: Any) -> Any:
    """The columns as CSV has them: texts instead of dictionaries, for a list its values with blanks between."""
    arrow = needed("pyarrow", "archive")
    for place, one in enumerate(table.schema):
        column = table[one.name]
        if arrow.types.is_dictionary(one.type):
            column = column.cast(arrow.utf8())
        elif arrow.types.is_list(one.type):
            column = arrow.array([None if one is None else " ".join(map(repr, one)) for one in column.to_pylist()],
                                 arrow.utf8())
        table = table.set_column(place, one.name, column)
    return table


def verify(options: argparse.Namespace) -> int:
    found = open_archive(options.archive).verify()
    for path, fault in found.faults:
        complain(f"{path}: {fault}")
    facts = {"files": found.files, "rows": found.rows, "bytes": found.bytes, "faults": list(found.faults)}
    tell(options, facts, str(found))
    return GOOD if found else FAULTS


def convert(options: argparse.Namespace) -> int:
    output = output_of(options)
    result = open_archive(options.archive).convert(options.to, "/dev/stdout" if output is None else output,
                                                   select=options.select)
    tell(options, asdict(result), f"{result.rows} observations: {result.written} written, {result.left_out} left out, "
                                  f"{result.altered} altered", sys.stderr if output is None else sys.stdout)
    return FAULTS if result.left_out or result.altered else GOOD

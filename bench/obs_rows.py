#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""All speed targets in one run. Those against other stores in the same program are run by obs_ratios, which comes
first; the others are threads, sizes, formats, bulk calls, the command, and what one would take instead: DuckDB, polars,
pyarrow, pandas, SQLite.

Every figure comes from a process of its own; what is compared follows one another in each round, and a row is the
median of the rounds' ratios. Times are processor time unless said. A row that cannot run says why.

usage: obs_rows.py --library LIB --tools DIR [--before LIB] [--n N] [--rounds N] [--rows 4,5,...]
       obs_rows.py --library LIB --tools DIR --sizes 100000,1000000,... [--plot FILE.svg]

DIR holds make_deck, obs_ratios and obstool. LIB of --before is that of the version to compare with (rows 9, 19, 20, 21).
The readers of others need the packages of python/requirements/bench.txt; without them their rows say so.
"""
import argparse
import ctypes
import importlib
import json
import os
import resource
import statistics
import subprocess
import sys
import tempfile
import threading
import time

# What obs_ratios tells of the rows below, or here better, is left out.
RATIOS = ("1", "2", "3", "10", "12", "13", "14", "16")

# row: (measure, whether more is better, must, reach)
TARGETS = {
    "4 wall": ("one thread / two (wall)", True, 1.35, 1.8),
    "4 cpu": ("two threads / one (processor time)", False, 1.15, 1.08),
    "4 floor": ("two threads / two programs of one thread each (cpu)", False, None, None),
    "5 4M": ("per card, 4 times the deck / deck", False, 1.15, 1.06),
    "5 10M": ("per card, 10 times the deck / deck", False, 1.15, 1.06),
    "6": ("memory of an observation, bytes", False, 135, 130),
    "6 peak": ("peak above it while loading, bytes", False, 30, 21),
    "7 csv": ("load CSV / B3, per byte", False, 1.7, 1.2),
    "7 tty": ("load TTY / B3, per byte", False, 2.3, 1.6),
    "7 rf": ("load RF / B3, per byte", False, 2.2, 1.5),
    "8 duckdb": ("CSV lines: DuckDB, one thread / product", True, 1.0, 1.5),
    "8 polars": ("CSV lines: polars, one thread / product", True, 1.0, 1.5),
    "8 pyarrow": ("CSV lines: pyarrow, one thread / product", True, 1.0, 1.5),
    "9": ("laser range / B3 card of the version before", False, 2.2, 1.6),
    "9 bad": ("laser ranges, 18 % refused / clean, version before", False, 1.15, 1.05),
    "11 one": ("card by key / (look-up + card of a key just asked for)", False, 1.15, 1.05),
    "11 many": ("cards of many keys in one call / one by one", False, 0.6, 0.45),
    "15 csv": ("save CSV / B3, per byte", False, 1.8, 1.4),
    "15 tty": ("save TTY / B3, per byte", False, 1.5, 1.2),
    "15 rf": ("save RF / B3, per byte", False, 1.5, 1.3),
    "17": ("selection by one bound, ns per stored observation", False, 25, 12),
    "18": ("obstool convert / (load + save)", False, 2.5, 1.4),
    "19 info": ("obstool info / load, version before", False, 1.6, 1.2),
    "19 list": ("obstool list / load, version before", False, 4, 2.5),
    "20": ("load, 2 % repeated and 1 % bad / clean, version before", False, 1.15, 1.06),
    "21": ("single cards / load per card, version before", False, 1.8, 1.3),
    "wait": ("longest wait of a reader while 10 times as many are loaded, ms", False, 500, None),
    "pages": ("load into pages of 2 MiB / 4 KiB (processor time)", False, None, None),
    "22 info": ("obstool info / load, 10 times the deck", False, 1.5, None),
    "22 stats": ("obstool stats / load, 10 times the deck", False, 1.5, None),
    "22 validate": ("obstool validate / load, 10 times the deck", False, 1.5, None),
    "22 list": ("obstool list / load", False, 4, None),
    "states": ("states of many keys of one time, ns each", False, None, None),
}
FORMS = {"b3": 0, "tty": 1, "csv": 2, "rf": 3}


# ---- in a process of its own -------------------------------------------------------------------------------------------

class Clock:
    def __enter__(self):
        self.cpu, self.wall = time.process_time(), time.monotonic()
        return self

    def __exit__(self, *_):
        self.cpu, self.wall = time.process_time() - self.cpu, time.monotonic() - self.wall


def status(field):
    with open("/proc/self/status") as lines:
        return next(1024 * int(line.split()[1]) for line in lines if line.startswith(field + ":"))


def with_library(job):
    obs = ctypes.CDLL(job["library"])
    found = {}
    if hasattr(obs, "ObsSetThreads"):
        obs.ObsSetThreads(job.get("threads", 1))
    elif job.get("threads", 1) != 1:
        raise SystemExit("this version has one thread")
    if job.get("large_pages"):
        obs.ObsSetLargePages(1)
    before = status("RssAnon")
    if "wait" in job:
        return {"wait": longest_wait(obs, job["file"])}
    if "cards" in job:
        cards = [line.rstrip(b"\n").ljust(512) for line in open(job["cards"], "rb")][:100000]
        with Clock() as clock:
            for card in cards:
                obs.ObsLoadCard(card)
        with Clock() as overhead:  # what ctypes itself costs
            for card in cards:
                obs.ObsSetTTYYear(0)
        return {"cpu": (clock.cpu - overhead.cpu) / len(cards), "count": len(cards)}
    read = obs.ObsLoadSlrFile if job.get("laser") else obs.ObsLoadFile
    with Clock() as clock:
        read(job["file"].encode())
    count = obs.ObsGetCount()
    if count == 0:
        raise SystemExit("nothing was loaded")
    after = status("RssAnon")
    found |= {"count": count, "cpu": clock.cpu / count, "wall": clock.wall / count, "memory": (after - before) / count,
              "peak": (max(status("VmHWM") - status("RssFile") - status("RssShmem"), after) - after) / count,
              "per byte": clock.cpu / os.path.getsize(job["file"])}
    if "save" in job:
        with Clock() as clock:
            obs.ObsSaveFile(job["save"].encode(), 0, job["save_form"])
        found |= {"save": clock.cpu / count, "save per byte": clock.cpu / os.path.getsize(job["save"])}
    if job.get("calls"):
        found |= calls(obs, count)
    return found


def longest_wait(obs, file):
    """Seconds. A reader looks a key up over and over while another thread loads; ctypes lets both run."""
    loaded = threading.Event()
    nobody, longest = ctypes.c_int64(0), 0
    loading = threading.Thread(target=lambda: (obs.ObsLoadFile(file.encode()), loaded.set()))
    loading.start()
    while not loaded.is_set():
        start = time.monotonic()
        obs.SatNumFrObsKey(nobody)
        longest = max(longest, time.monotonic() - start)
        time.sleep(0.0001)  # a reader that asks now and then: it competes for a core, but not for all of it
    loading.join()
    if obs.ObsGetCount() == 0:
        raise SystemExit("nothing was loaded")
    return longest


def calls(obs, count):
    """Of 200000 keys at most, in no order."""
    keys = (ctypes.c_int64 * count)()
    obs.ObsGetLoaded(9, keys)
    some = list(keys)
    step = 7919
    chosen = [some[i * step % count] for i in range(min(count, 200000))]
    number = len(chosen)
    array = (ctypes.c_int64 * number)(*chosen)
    selected = ctypes.c_int32()
    found = {}
    obs.ObsSetSelObs(b"el=89.9:")
    with Clock() as clock:
        obs.ObsGetSelected((ctypes.c_double * 32)(), 9, ctypes.byref(selected), keys)
    obs.ObsSetSelObs(b"")
    found["selection"] = clock.cpu / count
    if not hasattr(obs, "ObsGetCards"):
        return found
    buffer, size = ctypes.create_string_buffer(1026 * number), 1026 * number
    ctypes.memset(buffer, 1, size)
    offsets, lengths, statuses = ((kind * number)() for kind in (ctypes.c_int64, ctypes.c_int32, ctypes.c_int32))
    card = ctypes.create_string_buffer(512)
    wanted = [ctypes.c_int64(key) for key in chosen]
    nothing = ctypes.c_int64(0)
    with Clock() as clock:
        for key in wanted:
            obs.ObsGetB3Card(key, card)
    single = clock.cpu
    with Clock() as clock:  # what ctypes itself costs
        for key in wanted:
            obs.ObsSetTTYYear(nothing)
    overhead = clock.cpu
    with Clock() as clock:  # ctypes takes so long that no two look-ups overlap
        for key in wanted:
            obs.SatNumFrObsKey(key)
    look_up = clock.cpu
    with Clock() as clock:
        for _ in wanted:
            obs.ObsGetB3Card(wanted[0], card)
    found["one"] = (single - overhead) / (look_up + clock.cpu - 2 * overhead)
    with Clock() as clock:
        obs.ObsGetCards(number, array, 0, buffer, ctypes.c_int64(size), offsets, lengths, statuses)
    found |= {"card": (single - overhead) / number, "cards": clock.cpu / number}
    states = (ctypes.c_double * (64 * number))()
    ctypes.memset(states, 1, ctypes.sizeof(states))
    with Clock() as clock:
        obs.ObsGetStatesMany(number, array, ctypes.c_double(0), states, statuses)
    found["states"] = clock.cpu / number
    return found


def with_reader(job):
    """Reads CSV lines, or B3 cards by columns, with a package; reading alone."""
    name, file, threads = job["reader"], job["file"], job["threads"]
    os.environ["POLARS_MAX_THREADS"] = str(threads or os.cpu_count())
    importlib.import_module({"pyarrow": "pyarrow.csv", "sqlite": "sqlite3"}.get(name.split()[0], name.split()[0]))
    with Clock() as clock:
        count = READERS[name](file, threads)
    return {"count": count, "cpu": clock.cpu / count, "wall": clock.wall / count}


def read_duckdb(file, threads):
    import duckdb
    base = duckdb.connect()
    base.execute(f"set threads to {threads or os.cpu_count()}")
    base.execute(f"create table t as select * from read_csv('{file}', header=false, auto_detect=true, all_varchar=false)")
    return base.execute("select count(*) from t").fetchone()[0]


def read_polars(file, threads):
    import polars
    return len(polars.read_csv(file, has_header=False, infer_schema_length=10000))


def read_pyarrow(file, threads):
    import pyarrow.csv
    return pyarrow.csv.read_csv(file, pyarrow.csv.ReadOptions(use_threads=threads != 1, autogenerate_column_names=True)
                                ).num_rows


def read_pandas(file, threads):
    import pandas
    return len(pandas.read_csv(file, header=None, low_memory=False))


COLUMNS = [(0, 1), (1, 6), (6, 9), (9, 14), (14, 23), (23, 29), (30, 37), (38, 45), (47, 54), (74, 75), (80, 85)]


def read_pandas_b3(file, threads):
    import pandas
    return len(pandas.read_fwf(file, colspecs=COLUMNS, header=None))


def read_duckdb_b3(file, threads):
    import duckdb
    base = duckdb.connect()
    base.execute(f"set threads to {threads or os.cpu_count()}")
    cut = ", ".join(f"substr(column0, {start + 1}, {end - start}) as c{start}" for start, end in COLUMNS)
    base.execute(f"create table t as select {cut} from read_csv('{file}', header=false, delim='\\t', quote='',"
                 " columns={'column0': 'varchar'})")
    return base.execute("select count(*) from t").fetchone()[0]


def read_polars_b3(file, threads):
    import polars
    lines = polars.read_csv(file, has_header=False, separator="\t", quote_char=None, new_columns=["line"],
                            infer_schema_length=0)
    return len(lines.select([polars.col("line").str.slice(start, end - start).alias(f"c{start}")
                             for start, end in COLUMNS]))


def read_sqlite_b3(file, threads):
    """Into a table in memory, with the text cut by columns and an index by time and satellite."""
    import sqlite3
    base = sqlite3.connect(":memory:")
    base.execute("create table t (" + ", ".join(f"c{start}" for start, _ in COLUMNS) + ")")
    with open(file) as lines:
        base.executemany(f"insert into t values ({', '.join('?' * len(COLUMNS))})",
                         ([line[start:end] for start, end in COLUMNS] for line in lines))
    base.execute("create index k on t (c9, c14, c1)")
    return base.execute("select count(*) from t").fetchone()[0]


READERS = {"duckdb": read_duckdb, "polars": read_polars, "pyarrow": read_pyarrow, "pandas": read_pandas,
           "duckdb b3": read_duckdb_b3, "polars b3": read_polars_b3, "pandas b3": read_pandas_b3,
           "sqlite b3": read_sqlite_b3}


# ---- the run -----------------------------------------------------------------------------------------------------------

class CannotRun(Exception):
    pass


def children(number, **job):
    """What processes beside each other find."""
    command = [sys.executable, __file__, "--child", json.dumps(job)]
    started = [subprocess.Popen(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
               for _ in range(number)]
    done = [(process, *process.communicate()) for process in started]
    for process, _, errors in done:
        if process.returncode != 0:
            raise CannotRun((errors.strip() or "failed").splitlines()[-1])
    return [json.loads(found) for _, found, _ in done]


def child(**job):
    return children(1, **job)[0]


def command_time(*arguments):
    before = resource.getrusage(resource.RUSAGE_CHILDREN)
    done = subprocess.run(arguments, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                          env=os.environ | {"OBS_THREADS": "1"})
    after = resource.getrusage(resource.RUSAGE_CHILDREN)
    if done.returncode not in (0, 1):
        raise CannotRun(f"{arguments[0]} {arguments[1]}: status {done.returncode}")
    return after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime


def laser_file(path, ranges, refused):
    """A session of a station; every few records one is damaged."""
    with open(path, "w") as file:
        file.write("H1 CRD  1 2021  1 27  9\nH2 GRZL 7839 34 2 4\nH3 l 7603901 1155 8820 0 1 1\n"
                   "H4 0 2004 10 3 0 0 0 na na na na na na 0 0 0 0 1 0 2 0\n")
        for i in range(ranges):
            flight = "x.25" if refused and i % 11 in (3, 8) else f"0.05{i % 10000:04}"
            file.write(f"10 {i * 0.05:.6f} {flight} std 2 2 0 0\n")
        file.write("H8\nH9\n")


class Run:
    def __init__(self, options, folder):
        self.options, self.folder = options, folder

    def deck(self, form="b3", n=None, *more):
        n = n or self.options.n
        path = os.path.join(self.folder, f"{form}-{n}{''.join(more)}.txt")
        if not os.path.exists(path):
            with open(path, "wb") as file:
                subprocess.run([os.path.join(self.options.tools, "make_deck"), "--n", str(n), "--form", form, *more],
                               stdout=file, check=True)
        return path

    def laser(self, refused):
        path = os.path.join(self.folder, f"laser-{refused}.npt")
        if not os.path.exists(path):
            laser_file(path, min(self.options.n, 1000000), refused)
        return path

    def load(self, form="b3", n=None, more=(), **job):
        return child(library=self.options.product, file=self.deck(form, n, *more), **job)

    def before(self, **job):
        if not self.options.before:
            raise CannotRun("no version before (--before)")
        return child(library=self.options.before, **job)

    def round(self, row):
        """The figure of a row, from one round."""
        kind, _, what = row.partition(" ")
        options = self.options
        if kind == "4":
            if what == "floor":
                pair = children(2, library=options.product, file=self.deck())
                return self.load(threads=2)["cpu"] / statistics.mean(one["cpu"] for one in pair)
            one, two = self.load(), self.load(threads=2)
            return one["wall"] / two["wall"] if what == "wall" else two["cpu"] / one["cpu"]
        if kind == "5":
            times = 4 if what == "4M" else 10
            return self.load(n=times * options.n)["cpu"] / self.load()["cpu"]
        if kind == "6":
            return self.load()["peak" if what else "memory"]
        if kind == "7":
            return self.load(what)["per byte"] / self.load()["per byte"]
        if kind == "8":
            other = child(reader=what, file=self.deck("csv"), threads=1)
            return other["cpu"] / self.load("csv")["cpu"]
        if kind == "9":
            clean = self.before(file=self.laser(False), laser=True)
            if what:
                dirty = child(library=options.product, file=self.laser(True), laser=True)
                return dirty["cpu"] * dirty["count"] / clean["count"] / clean["cpu"]
            now = child(library=options.product, file=self.laser(False), laser=True)
            return now["cpu"] / self.before(file=self.deck())["cpu"]
        if kind == "11":
            found = self.load(calls=True)
            if what == "one":
                return found["one"]
            return found["cards"] / found["card"]
        if kind == "15":
            save = os.path.join(self.folder, "saved.txt")
            form = self.load(what, save=save, save_form=FORMS[what])
            return form["save per byte"] / self.load(save=save, save_form=0)["save per byte"]
        if kind == "17":
            return self.load(calls=True)["selection"] * 1e9
        if kind == "18":
            found = self.load(save=os.path.join(self.folder, "saved.txt"), save_form=0)
            both = (found["cpu"] + found["save"]) * found["count"]
            return command_time(os.path.join(options.tools, "obstool"), "convert", "--force", "--to", "b3", self.deck(), "-o",
                                os.path.join(self.folder, "converted.txt")) / both
        if kind == "19":
            found = self.before(file=self.deck())
            spent = command_time(os.path.join(options.tools, "obstool"), what, self.deck())
            return spent / (found["cpu"] * found["count"])
        if kind == "22":
            deck = self.deck(n=options.n if what == "list" else 10 * options.n)
            found = child(library=options.product, file=deck)
            return command_time(os.path.join(options.tools, "obstool"), what, deck) / (found["cpu"] * found["count"])
        if kind == "20":
            dirty = self.load(more=("--dups", "0.02", "--bad", "0.01"))
            return dirty["cpu"] * dirty["count"] / options.n / self.before(file=self.deck())["cpu"]
        if kind == "21":
            single = child(library=options.product, cards=self.deck())
            return single["cpu"] / self.before(file=self.deck())["cpu"]
        if kind == "pages":
            return self.load(large_pages=True)["cpu"] / self.load()["cpu"]
        if kind == "wait":
            return self.load(n=10 * options.n, wait=True)["wait"] * 1e3
        return self.load(calls=True)["states"] * 1e9

    def ratios(self, wanted):
        """Whether a row of obs_ratios falls short."""
        rows = [row for row in RATIOS if not wanted or row in wanted]
        if not rows:
            return False
        run = subprocess.run([os.path.join(self.options.tools, "obs_ratios"), "--n", str(self.options.n), "--rounds",
                              str(self.options.rounds), "--rows", ",".join(rows)])
        if run.returncode not in (0, 3):
            print(f"rows {', '.join(rows)}: cannot run: obs_ratios ended with {run.returncode}")
        return run.returncode == 3

    def rows(self, wanted):
        missed = self.ratios(wanted)
        print(f"{'row':<12}{'measure':<56}{'must':>9}{'reach':>9}{'measured':>10}")
        for row, (measure, more_is_better, must, reach) in TARGETS.items():
            if wanted and row.split()[0] not in wanted:
                continue
            try:
                figure = statistics.median(self.round(row) for _ in range(self.options.rounds))
            except CannotRun as why:
                print(f"{row:<12}{measure:<56}cannot run: {why}", flush=True)
                continue
            sign = ">=" if more_is_better else "<="
            bars = [f"{sign} {bar:g}" if bar is not None else "" for bar in (must, reach)]
            meets = [bar is None or (figure >= bar if more_is_better else figure <= bar) for bar in (must, reach)]
            verdict = ("" if must is None else "short" if not meets[0]
                       else "reached" if reach is not None and meets[1] else "pass")
            missed += not meets[0]
            print(f"{row:<12}{measure:<56}{bars[0]:>9}{bars[1]:>9}{figure:>10.4g}  {verdict}", flush=True)
        return 3 if missed else 0

    # ---- cost against size ---------------------------------------------------------------------------------------------

    def sizes(self, counts):
        cores = os.cpu_count()
        most = {"Obs, B3": 10**9, f"Obs, B3, {cores} threads": 10**9, "pandas, B3": 10**6}  # beyond: minutes, or memory
        engines = {"Obs, B3": lambda n: self.load(n=n), f"Obs, B3, {cores} threads": lambda n: self.load(n=n, threads=0),
                   "Obs, CSV": lambda n: self.load("csv", n)}
        for reader in READERS:
            form = "b3" if reader.endswith("b3") else "csv"
            for threads in ((1,) if reader.split()[0] in ("pandas", "sqlite") else (1, 0)):
                title = f"{reader.split()[0]}, {form.upper()}" + ("" if threads == 1 else f", {cores} threads")
                engines[title] = lambda n, reader=reader, form=form, threads=threads: child(
                    reader=reader, file=self.deck(form, n), threads=threads)
        print("Wall time of a load, ns per observation:\n\n| |" + " | ".join(f"{n:,}" for n in counts) + " |")
        print("|---|" + "---|" * len(counts))
        table = {}
        for title, run in engines.items():
            cells = []
            for n in counts:
                if n > most.get(title, 10**7):
                    cells.append(None)
                    continue
                try:
                    cells.append(statistics.median(run(n)["wall"] * 1e9 for _ in range(self.options.rounds)))
                except (CannotRun, OSError) as why:
                    print(f"{title}, {n}: cannot run: {why}", file=sys.stderr)
                    cells.append(None)
            table[title] = cells
            print(f"| {title} | " + " | ".join("-" if cell is None else f"{cell:.0f}" for cell in cells) + " |", flush=True)
        return table


def plot(table, counts, file):
    import matplotlib
    matplotlib.use("svg")
    from matplotlib import pyplot
    for title, cells in table.items():
        points = [(n, cell) for n, cell in zip(counts, cells) if cell is not None]
        if points:
            pyplot.loglog(*zip(*points), marker="o", label=title, linewidth=2.5 if title.startswith("Obs") else 1)
    pyplot.xlabel("observations")
    pyplot.ylabel("wall time of a load, ns per observation")
    pyplot.legend(fontsize=7)
    pyplot.savefig(file, bbox_inches="tight")


def main():
    if sys.argv[1:2] == ["--child"]:
        job = json.loads(sys.argv[2])
        return print(json.dumps(with_reader(job) if "reader" in job else with_library(job)))
    parser = argparse.ArgumentParser(usage=__doc__)
    parser.add_argument("--library", dest="product", required=True)
    parser.add_argument("--tools", required=True)
    parser.add_argument("--before")
    parser.add_argument("--n", type=int, default=1000000)
    parser.add_argument("--rounds", type=int, default=5)
    parser.add_argument("--rows", default="")
    parser.add_argument("--sizes")
    parser.add_argument("--plot")
    parser.add_argument("--dir", help="where decks go; in memory when the system has such a place")
    options = parser.parse_args()
    place = options.dir or ("/dev/shm" if os.path.isdir("/dev/shm") else None)
    with tempfile.TemporaryDirectory(prefix="obs-rows-", dir=place) as folder:
        run = Run(options, folder)
        if not options.sizes:
            return run.rows(set(filter(None, options.rows.split(","))))
        counts = [int(n) for n in options.sizes.split(",")]
        table = run.sizes(counts)
        if options.plot:
            plot(table, counts, options.plot)


if __name__ == "__main__":
    sys.exit(main())

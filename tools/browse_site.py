#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Looks at what only a browser shows: that no page of the site has a script that fails, that its search finds, and that
a notebook shows the tables of obslib as tables.

usage: browse_site.py FOLDER    by a Python that has obslib; FOLDER has the site
"""
import re
import subprocess
import sys
import tempfile
from concurrent.futures import ThreadPoolExecutor
from functools import partial
from http.server import SimpleHTTPRequestHandler, ThreadingHTTPServer
from pathlib import Path
from threading import Thread

import obslib

TOP = Path(__file__).resolve().parents[1]
SEARCHED = "ObsLoadFile"
# Says in the title what is not laid out as a table: cells beside each other below their headings, texts as they are.
NOTEBOOK = """<!doctype html><meta charset="utf-8"><title>not run</title><body>%s<script>
const faults = [];
for (const table of document.querySelectorAll("table")) {
    const [head, ...rows] = table.rows;
    if (!rows.length) faults.push("no rows");
    for (const row of rows) for (const [i, cell] of [...row.cells].entries()) {
        const [place, above] = [cell.getBoundingClientRect(), head.cells[i].getBoundingClientRect()];
        if (place.left != above.left || place.width != above.width || place.top < above.bottom || !place.height)
            faults.push(cell.textContent + " is not below " + head.cells[i].textContent);
    }
}
document.title = [document.querySelectorAll("table").length + " tables", ...faults].join("; ");
</script>"""


class Quiet(SimpleHTTPRequestHandler):
    def log_message(self, *_):
        pass


def seen(address):
    """A page after its scripts ran, and what they complained of."""
    with tempfile.TemporaryDirectory() as profile:
        ran = subprocess.run(
            ["chromium", "--headless", "--no-sandbox", "--disable-gpu", "--no-proxy-server", "--enable-logging=stderr",
             f"--user-data-dir={profile}", "--virtual-time-budget=10000", "--dump-dom", address],
            capture_output=True, text=True, errors="replace", timeout=120)
    said = re.findall(r'CONSOLE[:(]\d+\)?\] (".*)', ran.stderr)
    return ran.stdout, said if ran.returncode == 0 else [*said, f"the browser ended with status {ran.returncode}"]


def notebook():
    obslib.load(TOP / "examples/deck.txt")
    table = obslib.load(b"rubbish\n").table
    shown = [obslib.store, obslib.store.records()[0], table, type(table)(("a", "b"), [("<i>x</i>", "1 & 2")])]
    return NOTEBOOK % "".join(one._repr_html_() for one in shown), len(shown)


folder = Path(sys.argv[1])
pages = sorted({str(page.relative_to(folder)) for page in folder.glob("**/*.html")} - {"search.html"})
text, tables = notebook()
server = ThreadingHTTPServer(("127.0.0.1", 0), partial(Quiet, directory=folder))
Thread(target=server.serve_forever, daemon=True).start()
search = f"search.html?q={SEARCHED}"
visits = {page: f"http://127.0.0.1:{server.server_port}/{page}" for page in [*pages, search]}
with tempfile.NamedTemporaryFile("w", suffix=".html") as file, ThreadPoolExecutor(2) as browsers:
    file.write(text)
    file.flush()
    visits["notebook"] = Path(file.name).as_uri()
    found = dict(zip(visits, browsers.map(seen, visits.values())))
server.shutdown()

faults = [f"{page}: {one}" for page, (_, said) in found.items() for one in said]
faults += [f"{page}: shows no heading" for page in pages if "<h1" not in found[page][0]]
results = re.findall(r'<a href="([^"]*)"', found[search][0].partition('id="search-results"')[2])
if not any(one.startswith("docs/api/functions.html") and one.endswith(f"#{SEARCHED.lower()}") for one in results):
    faults.append(f"the search does not find {SEARCHED}: {results[:5]}")
dom = found["notebook"][0]
title = re.search("<title>(.*?)</title>", dom)
if not title or title[1] != f"{tables} tables" or "<td>&lt;i&gt;x&lt;/i&gt;</td><td>1 &amp; 2</td>" not in dom:
    faults.append(f"the tables of a notebook: {title and title[1]}")
print(f"{len(visits)} pages seen", *faults, sep="\n")
sys.exit(bool(faults))

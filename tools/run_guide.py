#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Does what a page of the guide says, block after block, in a copy of the installed documents, among the examples.

A program is saved under the name in its first line, a sh block is run, and a text block must be the output of the sh
block before it. No other block is allowed, and every program must be used by a later sh block.

usage: run_guide.py PAGE PREFIX [--build BUILD] [--write]
    PREFIX: where Obs is installed; takes the place of /opt/obs in the page
    --build: for a page about the whole product, done at the top of the documents; BUILD, which stands for what
        ./run and ./test make, is installed anew
    --write: puts the outputs into the page instead of comparing; look at the difference before you commit it
"""
import os
import re
import shutil
import subprocess
import sys
import tempfile
from pathlib import Path

page, prefix, write = Path(sys.argv[1]), str(Path(sys.argv[2]).resolve()), "--write" in sys.argv
build = sys.argv[sys.argv.index("--build") + 1] if "--build" in sys.argv else None
text = page.read_text()
blocks = list(re.finditer(r"^```(\w*)\n(.*?)^```$", text, re.S | re.M))
if not blocks or 2 * len(blocks) != len(re.findall(r"^```", text, re.M)):
    sys.exit(f"{page.name}: no blocks, or one does not end")

with tempfile.TemporaryDirectory() as temporary:
    folder = shutil.copytree(f"{prefix}/share/doc/Obs", Path(temporary) / "Obs")
    if not build:
        folder /= "examples"
    else:
        prefix = f"{temporary}/installed"
        (folder / "build").mkdir()
        (folder / "build/run").symlink_to(build)
        for name in ("run", "test"):
            (folder / name).symlink_to("/bin/true")
    kept = {name: value for name, value in os.environ.items() if not name.startswith(("OBS", "XDG_"))}
    environment = dict(kept, HOME=temporary, PATH=f"{prefix}/bin:{os.environ['PATH']}", LD_LIBRARY_PATH=f"{prefix}/lib",
                       PKG_CONFIG_PATH=f"{prefix}/lib/pkgconfig", TZ="UTC")
    output, unused, written, end = None, {}, "", 0
    for block in blocks:
        kind, content = block[1], block[2].replace("/opt/obs", prefix)
        place = f"{page.name}:{text.count(chr(10), 0, block.start()) + 1}"
        if kind in ("c", "cpp", "fortran", "python", "cmake"):
            name = re.match(r"\W+([\w.]+)", content)[1]
            (folder / name).write_text(content)
            unused[name] = place
        elif kind == "sh":
            run = subprocess.run(["bash", "-ec", content], cwd=folder, env=environment, timeout=60,
                                 check=False, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, errors="replace")
            output = run.stdout.replace(prefix, "/opt/obs")
            unused = {name: where for name, where in unused.items() if name not in content}
            if run.returncode:
                sys.exit(f"{place}: status {run.returncode}\n{output}")
        elif kind == "text" and output is not None:
            output = re.sub(r" +$", "", output, flags=re.M)
            written, end = written + text[end:block.start(2)] + output, block.end(2)
            if output != block[2] and not write:
                sys.exit(f"{place}: the page shows another output than\n{output}")
            output = None
        else:
            sys.exit(f"{place}: nothing tells what this {kind or 'bare'} block is")
    if unused:
        sys.exit(f"{page.name}: never run: {unused}")
if write:
    page.write_text(written + text[end:])
print(f"{len(blocks)} blocks")

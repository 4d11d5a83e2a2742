#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Every relative link of the tree's pages leads to a file, and to a heading of it where one is named; every function
that the guide names is there.

usage: check_links.py TOP_FOLDER
"""
import re
import sys
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parents[2] / "tools"))
import api_header  # noqa: E402  # found through the line above

top = Path(sys.argv[1])
pages = [page for page in top.rglob("*.md") if page.relative_to(top).parts[0] not in ("build", "tests")]
faults, count = [], 0
for page in pages:
    for target, heading in re.findall(r"\]\((?!\w+:)([^)#]*)(?:#([^)]*))?\)", page.read_text()):
        file = page.parent / target if target else page
        count += 1
        headings = re.findall(r"^#+ (.*)", file.read_text(), re.M) if heading and file.is_file() else []
        anchors = [re.sub(r"[^\w\- ]", "", one.lower()).replace(" ", "-") for one in headings]
        if not file.exists() or heading and heading not in anchors:
            faults.append(f"{page.relative_to(top)}: {target}{'#' + heading if heading else ''}")
functions = {one.name for path in (api_header.OBS_HEADER, api_header.FAMILY_HEADER)
             for one in api_header.read(path).functions()}
for page in top.glob("docs/guide/*.md"):
    named = set(re.findall(r"\b(?:Obs|Family|SetObs|GetObs)[A-Z]\w+", page.read_text())) - {"ObsDllExports", "ObsFamily"}
    faults += [f"{page.relative_to(top)}: there is no {name}" for name in sorted(named - functions)]
print("\n".join(faults) or f"{count} links")
sys.exit(bool(faults) or count < 100)

#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Builds the site of the documents. A warning is an error: so is a link or an anchor that leads nowhere.

usage: docs_site.py PYTHON FOLDER    PYTHON has Sphinx, MyST and obslib
"""
import subprocess
import sys
from pathlib import Path

top = Path(__file__).resolve().parents[1]
python, folder = sys.argv[1:]
built = subprocess.run([python, "-m", "sphinx", "-W", "--keep-going", "-q", "-j", "auto", "-c", top / "docs/site",
                        "-d", f"{folder}.trees", top, folder])
pages = list(Path(folder).glob("**/*.html"))
print(f"{len(pages)} pages in {folder}")
sys.exit(built.returncode or len(pages) < 20)

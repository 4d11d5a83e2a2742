# SPDX-License-Identifier: Apache-2.0
"""The site of the documents: all pages of the tree as they are, and the interface of obslib from its own words."""
from pathlib import Path

top = Path(__file__).resolve().parents[2]
project, version = "Obs", (top / "VERSION").read_text().strip()
release = version
extensions = ["myst_parser", "sphinx.ext.autodoc"]
root_doc = "docs/site/index"
include_patterns = ["*.md", "docs/**.md", "examples/**.md", "data/*.md"]
exclude_patterns = ["build"]
html_theme = "furo"
html_show_copyright = False
myst_heading_anchors = 4
autodoc_typehints = "description"
autodoc_member_order = "bysource"

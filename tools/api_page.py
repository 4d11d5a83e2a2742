#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Makes what is made from the public headers, docs/api/functions.md and examples/obs_interface.f90, and from the
library, the tables in docs/formats/fields.md, array.md and columns.md."""
import argparse
import re
import sys
import textwrap
from ctypes import CDLL, CFUNCTYPE, POINTER, Structure, byref, c_char_p, c_int, c_int64, c_void_p, \
    create_string_buffer, string_at

import api_fortran
from api_header import FAMILY_HEADER, OBS_HEADER, TOP, Function, read

INTRODUCTION = """\
# The functions

All functions that applications call, with their arguments and results. This page is made from the two public headers by
`tools/api_page.py`; change the comments there, not the page. The same calls from Fortran are declared in
[obs_interface.f90](../../examples/obs_interface.f90), and [examples](../../examples/README.md) shows one program in C,
C++, Fortran and Python.

"Addition" marks a function that goes beyond the interface that Obs shares with the libraries around it. Where a
function says nothing of threads, the conventions hold.
"""


def anchor(title):
    """The name that a heading gets in a rendered page."""
    return re.sub(r"[^\w\- ]", "", title.lower()).replace(" ", "-")


def wrapped(signature):
    return "\n".join(textwrap.wrap(signature + ";", 100, subsequent_indent="    ", break_long_words=False))


def cell(text):
    return " ".join(text.split()).replace("|", "\\|")


def function_lines(function):
    yield f"### {function.name}\n\n```c\n{wrapped(function.declaration)}\n```\n"
    purpose, _, threads = function.purpose.partition("Threads: ")
    if purpose.strip():
        yield purpose.strip() + "\n"
    if function.parameters:
        yield "| argument | meaning |\n|---|---|"
        for names, direction, meaning in function.parameters:
            named = ", ".join(f"`{name}`" for name in names) + (f" ({direction})" if "out" in direction else "")
            yield f"| {named} | {cell(meaning)} |"
        yield ""
    if function.returns:
        yield "Result: " + function.returns + "\n"
    if threads:
        yield "Threads: " + threads.strip() + "\n"


def page():
    lines, index = [], []
    for path in (OBS_HEADER, FAMILY_HEADER):
        header = read(path)
        lines.append(f"# {path.name}\n\n{header.opening}\n")
        for group in header.groups:
            title = group.title[0].upper() + group.title[1:]
            links = [f"[{one.name}](#{one.name.lower()})" for one in group.members if isinstance(one, Function)]
            index.append(f"| [{title}](#{anchor(title)}) | {', '.join(links)} |")
            lines.append(f"## {title}\n")
            for member in group.members:
                if isinstance(member, Function):
                    lines += function_lines(member)
                else:
                    names = ", ".join(re.findall(r"(?:#define|typedef struct) (\w+)", member[1]))
                    lines.append(f"### {names}\n\n```c\n{member[1]}\n```\n\n{member[0]}\n")
    return "\n".join([INTRODUCTION, "| group | functions |\n|---|---|", *index, "", *lines]).rstrip() + "\n"


def rows(ask, numbers, texts, *extra):
    """A table of what a function tells of each number."""
    for number in numbers:
        buffers = [create_string_buffer(512) for _ in range(texts)]
        if ask(number, *buffers) != 0:
            sys.exit(f"the library tells nothing of number {number}")
        cells = [buffer.raw.decode().strip() for buffer in buffers] + [tell(number) for tell in extra]
        yield f"| {number} | {' | '.join(cells)} |\n"


class Schema(Structure):
    """ArrowSchema of ObsArrow.h."""


Schema._fields_ = [("format", c_char_p), ("name", c_char_p), ("metadata", c_void_p), ("flags", c_int64),
                   ("n_children", c_int64), ("children", POINTER(POINTER(Schema))), ("dictionary", POINTER(Schema)),
                   ("release", CFUNCTYPE(None, POINTER(Schema))), ("private_data", c_void_p)]


class Stream(Structure):
    """ArrowArrayStream, of which the schema alone is asked."""
    _fields_ = [("get_schema", CFUNCTYPE(c_int, c_void_p, POINTER(Schema))), ("get_next", c_void_p),
                ("get_last_error", c_void_p), ("release", CFUNCTYPE(None, c_void_p)), ("private_data", c_void_p)]


BEGINNING = b"obs1 year=0 rotate=1 troposphere=0 centre=0 keys=0 section=0 file=0 pass=0 lines=0 offset=0 laser="


FORMATS = {"i": "int32", "l": "int64", "g": "float64", "tsu:UTC": "timestamp[us, UTC]", "+l": "list of float64",
           "c": "dictionary of text, int8"}


def notes(metadata):
    """What the metadata of a schema say."""
    def number():
        nonlocal metadata
        metadata += 4
        return int.from_bytes(string_at(metadata - 4, 4), sys.byteorder)

    def text():
        nonlocal metadata
        length = number()
        metadata += length
        return string_at(metadata - length, length).decode()

    return {text(): text() for _ in range(number())} if metadata else {}


def columns(obs):
    """The rows of the table of columns, asked of a text without lines, which has them all."""
    def children(fill, *arguments):
        stream, schema = Stream(), Schema()
        if fill(*arguments, byref(stream)) != 0 or stream.get_schema(byref(stream), byref(schema)) != 0:
            sys.exit("the library gives no columns")
        made = [schema.children[i][0] for i in range(schema.n_children)]
        return [(one.name.decode(), one.format.decode(), notes(one.metadata)) for one in made]

    names = [name.encode() for name, *_ in children(obs.ObsExportArrow, 0, None, 0, None, 0, 0)] + [b"file", b"line"]
    state = create_string_buffer(1024)  # larger than an ObsReadState
    obs.ObsReadStateFromText(BEGINNING, state)
    for name, form, said in children(obs.ObsReadArrow, b"", c_int64(0), state, None,
                                     (c_char_p * len(names))(*names), len(names), 0, None, None):
        yield f"| `{name}` | {FORMATS[form]} | {said.get('unit', '')} | {said.get('types', 'all').replace(',', ', ')} |\n"


def tables(library):
    """The pages with tables of the library's, made anew."""
    obs = CDLL(library)
    obs.ObsAddFrCsv.restype = c_int64
    key = c_int64(obs.ObsAddFrCsv(b"U,5,345,2024,163,12,34,56.789" + b"," * 48))

    def settable(index):
        text = create_string_buffer(512)
        return "yes" if obs.ObsGetField(key, index, text) == 0 == obs.ObsSetField(key, index, text) else "no"

    made = {
        "fields": "| index | name | unit | form | can be set |\n|---|---|---|---|---|\n"
                  + "".join(rows(obs.ObsGetFieldInfo, range(1, 38), 3, settable)),
        "array": "| element | name | unit or meaning |\n|---|---|---|\n"
                 + "".join(rows(obs.ObsGetElementInfo, range(64), 2)),
        "columns": "| column | type | unit | measured by types |\n|---|---|---|---|\n" + "".join(columns(obs))}
    for name, table in made.items():
        path = TOP / f"docs/formats/{name}.md"
        around = re.fullmatch(r"(.*<!-- table -->\n).*(<!-- end of table -->.*)", path.read_text(), re.S)
        yield path, around[1] + table + around[2]


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--check", action="store_true", help="write nothing, fail when a file in the tree differs")
    parser.add_argument("--library", dest="built", help="libObs.so; without it the tables are left as they are")
    options = parser.parse_args()
    made = {TOP / "docs/api/functions.md": page(), TOP / "examples/obs_interface.f90": api_fortran.module()}
    made.update(tables(options.built) if options.built else [])
    stale = [path for path, text in made.items() if not path.exists() or path.read_text() != text]
    for path in stale:
        if options.check:
            print(f"{path.relative_to(TOP)} is not what headers and library say: run tools/api_page.py")
        else:
            path.write_text(made[path])
    return 1 if options.check and stale else 0


if __name__ == "__main__":
    sys.exit(main())

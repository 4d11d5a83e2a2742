# SPDX-License-Identifier: Apache-2.0
"""What the public headers declare: the one parser of the API page, the Fortran interface and the check of the
exported symbols."""
import re
import sys
from dataclasses import dataclass, field
from pathlib import Path

TOP = Path(__file__).resolve().parent.parent
OBS_HEADER = TOP / "DllExports/Obs/ObsDllExports/ObsDllExports.h"
FAMILY_HEADER = TOP / "siblings/include/ObsFamily.h"

PIECES = re.compile(r"""
    /\*\ -+\ (?P<group>[^-*\n].*?)\ -+\ \*/            # a line that opens a group
  | /\*\*(?P<comment>.*?)\*/\s*                        # a comment and what it is about
    (?:^OBS_(?:FAMILY_)?API\s(?P<declaration>.*?);|(?P<constants>(?:\#define[^\n]*\n)+)
      |(?P<structure>typedef\sstruct\s\w+\s\{.*?^\}\s\w+;))?
  | ^OBS_(?:FAMILY_)?API\s(?P<uncommented>.*?);""", re.S | re.M | re.X)


@dataclass
class Argument:
    type: str  # as in C, without the name: "const char *", "double[3]", "void (*)(int32_t, void *)"
    name: str


@dataclass
class Function:
    name: str
    declaration: str
    result: str  # type
    arguments: list[Argument]
    purpose: str = ""
    parameters: list[tuple[list[str], str, str]] = field(default_factory=list)  # names, direction, meaning
    returns: str = ""


@dataclass
class Group:
    title: str
    members: list = field(default_factory=list)  # functions, and constants and structures as (comment, definitions)


@dataclass
class Header:
    opening: str
    groups: list[Group]

    def functions(self):
        return [member for group in self.groups for member in group.members if isinstance(member, Function)]

    def structures(self):
        """Name to its fields as (type, name)."""
        made = {}
        for text in self.constants():
            for name, fields in re.findall(r"typedef struct (\w+) \{(.*?)^\}", text, re.S | re.M):
                made[name] = re.findall(r"^ *(\w+) (\w+(?:\[\d+\])?);", fields, re.M)
        return made

    def constants(self):
        return [member[1] for group in self.groups for member in group.members if isinstance(member, tuple)]


def comment_text(comment):
    """The lines of a comment without its stars; what is indented further stays so."""
    return re.sub(r"^ ?\*? {0,2}", "", comment, flags=re.M).strip()


def split_arguments(text):
    parts, depth, start = [], 0, 0
    for place, character in enumerate(text):
        depth += {"(": 1, ")": -1}.get(character, 0)
        if character == "," and depth == 0:
            parts.append(text[start:place])
            start = place + 1
    return [" ".join(part.split()) for part in parts + [text[start:]]]


def argument(text):
    if match := re.fullmatch(r"(.*\(\*)(\w+)(\).*)", text):  # a function
        return Argument(match[1] + match[3], match[2])
    match = re.fullmatch(r"(.*?)(\w+)((?:\[\w*\])*)", text)
    return Argument((match[1].strip() + match[3]), match[2])


def function(declaration, comment):
    declaration = re.sub(r"(\w)\* ?", r"\1 *", re.sub(r"\s+", " ", declaration.strip()))  # the star as C has it
    head, arguments = re.fullmatch(r"([^(]*?\w+) ?\((.*)\)", declaration).groups()
    result, name = re.fullmatch(r"(.*?)(\w+)", head).groups()
    arguments = [] if arguments == "void" else [argument(text) for text in split_arguments(arguments)]
    made = Function(name, declaration, result.strip(), arguments)
    text = comment_text(comment)
    group = re.match(r"@defgroup (\w+) (\w+)\n?", text)
    if group and set(group.groups()) != {name}:
        sys.exit(f"the comment of {group[1]} is that of {name}")
    text = text[group.end():] if group else text
    made.purpose, *tagged = re.split(r"@(?=param|return)", text)
    names = []
    for tag in tagged:
        kind, direction, rest = re.match(r"(param|return)(\[[\w,]+\])?\s*(.*)", tag, re.S).groups()
        if kind == "return":
            made.returns = re.sub(r"\n +", "\n", rest.strip())
            continue
        some, meaning = re.match(r"([\w,]+)\s*(.*)", rest, re.S).groups()
        names += some.split(",")
        if meaning.strip():  # several in a row share the meaning of the last
            made.parameters.append((names, (direction or "").strip("[]"), meaning.strip().rstrip(";")))
            names = []
    known = {one.name for one in arguments}
    for strange in {name for names, *_ in made.parameters for name in names} - known:
        sys.exit(f"{made.name}: the comment explains an argument '{strange}' that is not there")
    return made


def unexplained(function):
    """What the comment of a function says nothing about: arguments, and the result."""
    said = {name for names, *_ in function.parameters for name in names}
    missing = [f"@param {one.name}" for one in function.arguments if one.name not in said]
    return missing + (["@return"] if function.result != "void" and not function.returns else [])


def read(path):
    text = path.read_text()
    opening, groups = "", [Group("")]
    for piece in PIECES.finditer(text):
        if piece["group"]:
            groups.append(Group(piece["group"].strip()))
        elif piece["declaration"]:
            groups[-1].members.append(function(piece["declaration"], piece["comment"]))
        elif definitions := piece["constants"] or piece["structure"]:
            groups[-1].members.append((comment_text(piece["comment"]), definitions.strip()))
        elif piece["uncommented"]:
            sys.exit(f"{path.name}: no comment precedes {piece['uncommented']}")
        elif not opening:
            opening = re.sub(r"^@file\s*", "", comment_text(piece["comment"]))
    made = Header(opening, [group for group in groups if group.members])
    count = len(re.findall(r"^OBS_(?:FAMILY_)?API\b", text, re.M))
    if len(made.functions()) != count:
        sys.exit(f"{path.name}: {count} declarations, but {len(made.functions())} were understood")
    incomplete = [f"{one.name}: {', '.join(missing)}" for one in made.functions() if (missing := unexplained(one))]
    if incomplete:
        sys.exit("\n".join([f"{path.name}: comments that leave out an argument or the result:", *incomplete]))
    return made

# SPDX-License-Identifier: Apache-2.0
"""The public headers as a Fortran module of bind(c) interfaces."""
import re
import textwrap

from api_header import FAMILY_HEADER, OBS_HEADER, read

HEAD = """\
! SPDX-License-Identifier: Apache-2.0
! Obs and its family from Fortran 2003 and later: one interface for each function of ObsDllExports.h and ObsFamily.h.
! Made from these headers by tools/api_page.py; what the functions do is there and in docs/api/functions.md.
!
! Texts are character(len=512), blank-padded; a shorter variable is refused by the compiler. A key is
! integer(c_int64_t). Functions given as arguments are type(c_funptr), made by c_funloc of a bind(c) procedure.
module obs_interface
    use, intrinsic :: iso_c_binding, only: c_char, c_double, c_funptr, c_int32_t, c_int64_t, c_int8_t, c_ptr
    implicit none
    private :: c_char, c_double, c_funptr, c_int32_t, c_int64_t, c_int8_t, c_ptr

"""
KINDS = {"int32_t": "integer(c_int32_t)", "int64_t": "integer(c_int64_t)",
         "int8_t": "integer(c_int8_t)", "double": "real(c_double)",
         "char": "character(kind=c_char)"}
# A pointer to numbers that are not constant is one of them, or an array when it has one of these names.
ARRAYS = {"keys", "obsArrs", "values", "firstColumns", "lastColumns", "drops", "passes", "mask", "numbers", "buffer",
          "offsets", "lengths", "statuses", "states"}
# A constant text is one of 512 characters, unless it has one of these names.
TEXTS_OF_ANY_LENGTH = {"bytes"}


def declared(argument):
    """The declaration of an argument, and the function's own where the type tells too little."""
    if "(*)" in argument.type:
        return f"type(c_funptr), value :: {argument.name}"
    if argument.type == "void *" or argument.type.startswith("struct "):  # the address (c_loc)
        return f"type(c_ptr), value :: {argument.name}"
    if argument.type == "const char *const *":
        return f"type(c_ptr), intent(in) :: {argument.name}(*)"
    constant, base, pointer, size = re.fullmatch(r"(const )?(\w+) ?(\*?)((?:\[\w*\])?)", argument.type).groups()
    if not (pointer or size):
        return f"{KINDS[base]}, value :: {argument.name}"
    if base == "char" and pointer and constant:
        shape = "(*)" if argument.name in TEXTS_OF_ANY_LENGTH else "(512)"
    elif size:
        shape = size.replace("[", "(").replace("]", ")").replace("()", "(*)")
    else:
        shape = "(*)" if (constant and not base.startswith("Obs")) or argument.name in ARRAYS else ""
    intent = "in" if constant else "inout" if shape == "(*)" or base.startswith("Obs") else "out"
    return f"{KINDS[base]}, intent({intent}) :: {argument.name}{shape}"


def structure(name, fields):
    lines = [f"{KINDS[kind]} :: {field}".replace("[", "(").replace("]", ")") for kind, field in fields]
    return "\n        ".join([f"    type, bind(c) :: {name}", *lines]) + "\n    end type\n"


def interface(function):
    kind = "subroutine" if function.result == "void" else "function"
    names = ", ".join(argument.name for argument in function.arguments)
    result = "" if kind == "subroutine" else " result(outcome)"
    head = textwrap.wrap(f"{kind} {function.name}({names}) bind(c, name=\"{function.name}\"){result}", 100)
    lines = [" &\n    ".join(head), "    import"]
    lines += ["    " + declared(argument) for argument in function.arguments]
    if result:
        lines.append(f"    {KINDS[function.result]} :: outcome")
    return "\n".join(lines + [f"end {kind} {function.name}"])


def module():
    headers = [read(path) for path in (OBS_HEADER, FAMILY_HEADER)]
    structures = {name: fields for header in headers for name, fields in header.structures().items()}
    types = "\n" + "\n".join(structure(*one) for one in structures.items())
    KINDS.update({name: f"type({name})" for name in structures})
    constants = re.findall(r"#define (\w+) (\d+)", "\n".join(text for header in headers for text in header.constants()))
    parameters = "".join(f"    integer(c_int32_t), parameter :: {name} = {value}\n" for name, value in constants)
    interfaces = [interface(function) for header in headers for function in header.functions()]
    return HEAD + parameters + types + "\n    interface\n" \
        + "\n\n".join(textwrap.indent(text, " " * 8) for text in interfaces) \
        + "\n    end interface\nend module obs_interface\n"

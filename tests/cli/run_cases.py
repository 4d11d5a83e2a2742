# SPDX-License-Identifier: Apache-2.0
"""Runs a file of command-line cases against the built obstool.

    run_cases.py OBSTOOL DATA_FOLDER CASE_FILE

A case is a run of lines; blank lines and lines beginning with "#" separate cases:

    $ COMMAND      bash, with pipefail, in DATA_FOLDER; obstool is on the path, without any
                   configuration, and $T is a folder for output, new for each case; `configured`
                   is obstool with its configuration
    ? STATUS       exit status, 0 when left out
    > LINE         a line of standard output; others may stand before and after it
    = LINE         the same, but standard output holds the given lines and no others
    ! TEXT         text within a line of standard error, which is empty when there is none

Lines are compared with runs of blanks taken as one, and must come in the given order.
"""
import operator
import os
import subprocess
import sys
import tempfile


def read_cases(path):
    cases = []
    with open(path, encoding="utf-8") as file:
        for number, line in enumerate(file, 1):
            kind, text = line[:1], line[2:].rstrip("\n")
            if kind == "$":
                cases.append({"line": number, "command": text, "?": 0, ">": [], "=": [], "!": []})
            elif kind == "?":
                cases[-1]["?"] = int(text)
            elif kind in (">", "=", "!"):
                cases[-1][kind].append(text)
            elif line.strip() and kind != "#":
                sys.exit(f"{path}:{number}: not a line of a case: {line!r}")
    return cases


def squeezed(text):
    return [" ".join(line.split()) for line in text.splitlines()]


def missing(expected, lines, matches):
    """The first expected text that no line, after the one before it, matches."""
    rest = iter(lines)
    for text in expected:
        if not any(matches(line, " ".join(text.split())) for line in rest):
            return text
    return None


def faults(case, run):
    out, err = (stream.decode("utf-8", "replace") for stream in (run.stdout, run.stderr))
    if run.returncode != case["?"]:
        yield f"exit status {run.returncode} instead of {case['?']}"
    if case["="] and squeezed(out) != squeezed("\n".join(case["="])):
        yield "standard output differs"
    if (text := missing(case[">"], squeezed(out), operator.eq)) is not None:
        yield f"no such line of output: {text}"
    if (text := missing(case["!"], squeezed(err), operator.contains)) is not None:
        yield f"not on standard error: {text}"
    if err and not case["!"]:
        yield "standard error is not empty"


def environment(obstool, folder):
    """Without what would configure the command; `folder` has it under both names."""
    for name, options in (("obstool", "--no-config "), ("configured", "")):
        command = os.path.join(folder, name)
        with open(command, "w", encoding="utf-8") as file:
            file.write(f"#!/bin/sh\nexec '{os.path.abspath(obstool)}' {options}\"$@\"\n")
        os.chmod(command, 0o755)
    kept = {name: value for name, value in os.environ.items() if not name.startswith(("OBS", "XDG_", "NO_COLOR"))}
    return dict(kept, PATH=folder + os.pathsep + kept["PATH"], HOME=folder)


def main(obstool, data, path):
    failed = 0
    cases = read_cases(path)
    for case in cases:
        with tempfile.TemporaryDirectory() as folder, tempfile.TemporaryDirectory() as commands:
            run = subprocess.run(["bash", "-o", "pipefail", "-c", case["command"]], cwd=data, timeout=60,
                                 env=dict(environment(obstool, commands), T=folder), check=False,
                                 stdin=subprocess.DEVNULL, capture_output=True)
        found = list(faults(case, run))
        if found:
            failed += 1
            print(f"{path}:{case['line']}: {case['command']}", *found, sep="\n    ")
            print("--- output", run.stdout.decode("utf-8", "replace"), "--- errors",
                  run.stderr.decode("utf-8", "replace"), sep="\n")
    print(f"{len(cases)} cases, {failed} failed")
    return 1 if failed or not cases else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))

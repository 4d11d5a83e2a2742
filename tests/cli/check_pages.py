# SPDX-License-Identifier: Apache-2.0
"""The manual pages and completions that the command makes: complete, and in the eyes of their readers without fault.

    check_pages.py OBSTOOL SOURCES

What there is to be is taken from --help and from the sources, not from what the pages are made of. A reader that is not
installed is named and left out.
"""
import re
import shutil
import subprocess
import sys
import tempfile
from pathlib import Path

faults = []


def output(*command, **options):
    return subprocess.run(command, capture_output=True, text=True, check=False, **options)


def helped(obstool, *command):
    """Commands and options that --help shows."""
    text = output(obstool, "--no-config", *command, "--help").stdout
    commands = re.search(r"^Subcommands:\n((?:  .*\n)+)", text, re.M)
    names = re.findall(r"^  ((?:-\w,)?-(?:-[\w-]+|\w))\b", text, re.M)
    return re.findall(r"^  (\w+)", commands[1], re.M) if commands else [], [n for one in names for n in one.split(",")]


def expect(text, words, where):
    faults.extend(f"{where}: {word} is missing" for word in words if word not in text)


def judge(tool, files, *options):
    if not shutil.which(tool):
        print(f"left out: {tool} is not installed")
        return
    for file in files:
        run = output(tool, *options, file)
        if run.stdout.strip() if tool == "mandoc" else run.returncode or run.stderr:
            faults.append(f"{tool} {file.name}: {run.stdout}{run.stderr}")


def bash_words(file, *words):
    """What bash offers for the last of the words."""
    program = ('source "$1"; shift; COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); _obstool; printf "%s\\n" "${COMPREPLY[@]}"')
    return output("bash", "-c", program, "bash", str(file), "obstool", *words).stdout.split()


def check_bash(file, commands):
    for words, expected in (([""], list(commands)), (["li"], ["list"]), (["list", "--for"], ["--format"]),
                            (["list", "--format", "j"], ["jsonl"]), (["convert", "--to", "=", "c"], ["csv", "crd"]),
                            (["help", "stat"], ["stats", "statuses"]), (["--color", "a"], ["auto", "always"]),
                            (["info", "--config", "x"], [])):
        if sorted(found := bash_words(file, *words)) != sorted(expected):
            faults.append(f"bash offers {found} for {words}")
    for command, options in commands.items():
        expect(bash_words(file, command, "-"), options, f"bash, {command}")


def check_fish(file):
    if shutil.which("fish"):
        run = output("fish", "--no-config", "-c", f'source {file}; complete -C "obstool list --format "')
        expect(run.stdout, ["table", "csv", "tsv", "jsonl"], "fish")


def main(obstool, sources):
    variables = set(re.findall(r'\b(?:getenv|environment)\("([A-Z_]+)"\)',
                               "".join(file.read_text() for file in Path(sources).glob("**/*.cpp"))))
    names, common = helped(obstool)
    commands = {name: helped(obstool, name)[1] + [o for o in common if o not in ("-V", "--version")] for name in names}
    with tempfile.TemporaryDirectory() as temporary:
        folder = Path(temporary)
        output(obstool, "--no-config", "generate", temporary)
        pages = {name: (folder / f"obstool-{name}.1").read_text().replace("\\-", "-") for name in names}
        whole = (folder / "obstool.1").read_text().replace("\\-", "-")
        statuses = [rf"\fB{status}\fR" for status in (0, 1, 2, 130)]
        expect(whole, [f"\\fB{word}\\fR" for word in names + common + sorted(variables)] + statuses, "obstool.1")
        for name, page in pages.items():
            expect(page, [f"\\fB{word}\\fR" for word in commands[name]] + statuses, f"obstool-{name}.1")
            for shell, file, form in (("zsh", "_obstool", "{}"), ("fish", "obstool.fish", "{}")):
                text = (folder / file).read_text()
                expect(text, [name] + [o if shell == "zsh" else f" -{'l' if o[1] == '-' else 's'} {o.lstrip('-')}"
                                       for o in commands[name] if o not in ("-h", "--help")], f"{file}, {name}")
        check_bash(folder / "obstool.bash", commands)
        check_fish(folder / "obstool.fish")
        manuals = sorted(folder.glob("*.1"))
        judge("mandoc", manuals, "-Tlint", "-Wwarning")
        judge("bash", [folder / "obstool.bash"], "-n")
        judge("zsh", [folder / "_obstool"], "-n")
        judge("fish", [folder / "obstool.fish"], "-n")
    print(*faults or [f"{len(commands)} commands, {sum(map(len, commands.values()))} options"], sep="\n")
    return 1 if faults or not commands or not variables else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))

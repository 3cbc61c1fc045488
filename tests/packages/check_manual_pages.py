#!/usr/bin/env python3
# SPDX-License-Identifier: BSD-3-Clause
"""check_manual_pages.py PREFIX VERSION

Holds the installed manual pages to what the installed commands say of themselves: each command has a page and each page
a command, they name the same arguments, options and exit statuses, and the completion offers the same options.
"""

import re
import subprocess
import sys
from pathlib import Path

OPTION = re.compile(r"(?<![\w-])(--?[A-Za-z][\w-]*|--(?![\w-]))")
TERM = re.compile(r"^ {7}(?=\S)(.*)$", re.MULTILINE)  # what a page explains stands at its first indentation
COMPLETE = 'source "$1"; COMP_WORDS=("$2" -) COMP_CWORD=1; _tonalign "$2" - "$2"; printf "%s\\n" "${COMPREPLY[@]}"'

complaints = []


def expect_same(what, said, documented):
    if said != documented:
        complaints.append(f"{what}\n    said:       {said}\n    documented: {documented}")


def output_of(*command, stream="stdout"):
    return getattr(subprocess.run(command, capture_output=True, text=True, check=True), stream)


def page_sections(page):
    """The text below each heading, as a reader sees it; lines are too long to be broken."""
    groff = ["groff", "-man", "-Kutf8", "-Tascii", "-ww", "-rLL=600n", "-P-c", "-P-b", "-P-o", "-P-u", page]
    expect_same(f"{page.name}: warnings of groff", output_of(*groff, stream="stderr"), "")
    pieces = re.split(r"^([A-Z].*)\n", output_of(*groff), flags=re.MULTILINE)
    return dict(zip(pieces[1::2], pieces[2::2])), pieces[-1] + pieces[-2]


def words(usage):
    """Arguments and sub-commands."""
    return set(re.findall(r"[A-Za-z]\w*(?:\.\w+)*", OPTION.sub(" ", usage)))


def numbers(text):
    return sorted(map(int, re.findall(r"\b\d+\b", text)))


def check_against_help(command, sections, prefix, version):
    name = command.name
    help_text = output_of(command, "--help")
    usage, _, explanation = help_text.partition("\n\n")
    usage = re.sub(rf"^[Uu]sage:|\b{name}\b", "", usage)
    synopsis = re.sub(rf"\b{name}\b", "", sections["SYNOPSIS"])
    expect_same(f"{name}: arguments of the usage", words(usage), words(synopsis))

    explained = TERM.findall("".join(sections.get(title, "") for title in ("ARGUMENTS", "COMMANDS", "OPTIONS")))
    expect_same(f"{name}: arguments with an explanation", words(usage), set().union(*map(words, explained)))
    options = set(OPTION.findall(help_text))
    expect_same(f"{name}: options with an explanation", options, set(OPTION.findall("\n".join(explained))))
    expect_same(f"{name}: options of the synopsis", set(OPTION.findall(synopsis)) - options, set())
    completion = prefix / "share/bash-completion/completions" / name
    expect_same(f"{name}: options completed", options, set(output_of("bash", "-c", COMPLETE, "_", completion, name).split()))

    statuses = numbers(explanation.partition("Exit status:")[2])
    expect_same(f"{name}: exit statuses", statuses, numbers("\n".join(TERM.findall(sections["EXIT STATUS"]))))
    expect_same(f"{name}: version", output_of(command, "--version"), f"{name} {version}\n")


def check_against_usage_text(command, sections, prefix):
    """tonalign itself has no --help; any wrong number of arguments shows two numbered lists."""
    _, *usages = output_of(command, stream="stderr").split("*USAGE ")
    synopses = [text.split()[1:] for text in sections["SYNOPSIS"].strip().split("\n\n")]
    expect_same("tonalign: number of usages", len(usages), len(synopses))
    for number, (usage, synopsis) in enumerate(zip(usages, synopses), 1):
        said = re.findall(r"^(\([1-9]\d*\)) ?(.*?) *(?:\(.*)?$", usage, re.MULTILINE)
        explained = [tuple(term.split(" ", 1)) for term in TERM.findall(sections[f"USAGE {number}"]) if term[0] == "("]
        expect_same(f"tonalign: usage {number}", said, explained)
        expect_same(f"tonalign: synopsis {number}", [argument.replace(" ", "-") for _, argument in said], synopsis)
    readme = (prefix / "share/doc/tonalign/README.md").read_text(encoding="utf-8")
    statuses = numbers("\n".join(re.findall(r"^\| (\d+) \|", readme, re.MULTILINE)))
    expect_same("tonalign: exit statuses", statuses, numbers("\n".join(TERM.findall(sections["EXIT STATUS"]))))


def main():
    prefix, version = Path(sys.argv[1]), sys.argv[2]
    commands = sorted((prefix / "bin").iterdir())
    pages = {page.name.removesuffix(".1"): page for page in (prefix / "share/man/man1").glob("*.1")}
    if not pages:
        sys.exit("There are no manual pages: scdoc was not there when the build was configured.")
    expect_same("Commands", [command.name for command in commands], sorted(pages))
    for command in commands:
        if command.name not in pages:
            continue
        sections, footer = page_sections(pages[command.name])
        expect_same(f"{command.name}: version in the page", f"tonalign {version}" in footer, True)
        if command.name == "tonalign":
            check_against_usage_text(command, sections, prefix)
        else:
            check_against_help(command, sections, prefix, version)
    print("\n".join(complaints) or f"{len(pages)} manual pages say what their commands say")
    return 1 if complaints else 0


if __name__ == "__main__":
    sys.exit(main())

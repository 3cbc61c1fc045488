#!/usr/bin/python3
# SPDX-License-Identifier: BSD-3-Clause
"""check_manual_pages.py PREFIX VERSION: each installed command, its manual page and its completion say the same."""

import os
import re
import subprocess
import sys
from pathlib import Path

OPTION = re.compile(r"(?<![\w-])(--?[A-Za-z][\w-]*|--(?![\w-]))")
TERM = re.compile(r"^ {7}(?=\S)(.*)$", re.M)  # what a page explains stands at its first indentation
COMPLETE = 'source "$1"; COMP_WORDS=("$2" -) COMP_CWORD=1; _tonalign "$2" - "$2"; echo "${COMPREPLY[@]}"'
GROFF = "groff -man -Kutf8 -Tascii -rLL=600n -P-c -P-b -P-o -P-u".split()  # lines are too long to be broken
PREFIX, VERSION = Path(sys.argv[1]), sys.argv[2]
os.environ["PYTHONPATH"] = str(PREFIX / "lib/python3/dist-packages")


def output_of(*command):
    return subprocess.run(command, stdout=-1, stderr=subprocess.STDOUT, text=True, check=True).stdout


def numbers(text):
    return sorted(map(int, re.findall(r"\b\d+\b", text)))


def facts(name, page):
    """Pairs of what the page and what the command, or for tonalign its usage text and the README, says."""
    statuses = numbers("\n".join(TERM.findall(page["EXIT STATUS"])))
    if name == "tonalign":
        usages = output_of(PREFIX / "bin/tonalign").split("*USAGE ")[1:]
        arguments = [re.findall(r"^\([1-9]\d*\) ?(.*?) *(?:\(.*)?$", usage, re.M) for usage in usages]
        explained = [re.findall(r"^ {7}(\(.*)$", text, re.M) for title, text in page.items() if "USAGE" in title]
        yield explained, [[f"({n}) {name}" for n, name in enumerate(names, 1)] for names in arguments]
        synopses = [text.strip() for text in page["SYNOPSIS"].split("\n\n")[:2]]
        yield synopses, [" ".join(name.replace(" ", "-") for name in ("tonalign", *names)) for names in arguments]
        readme = (PREFIX / "share/doc/tonalign/README.md").read_text(encoding="utf-8")
        yield statuses, list(map(int, re.findall(r"\n\| (\d+) \|", readme)))
        return
    if name in ("tonalign-nifti", "tonalign-study"):
        commands = ([], ["match"], ["average"]) if name == "tonalign-nifti" else ([],)
        helps = [output_of(PREFIX / "bin" / name, *command, "--help") for command in commands]
        yield set(OPTION.findall(" ".join(helps))), set(OPTION.findall("\n".join(TERM.findall(page["OPTIONS"]))))
        yield statuses, numbers(helps[0].partition("Exit status:")[2])
        yield f"{name} {VERSION}\n", output_of(PREFIX / "bin" / name, "--version")
        return
    usage, _, rest = output_of(PREFIX / "bin" / name, "--help").partition("\n\n")
    usage = re.sub(rf"^[Uu]sage:|\b{name}\b", "", usage)
    options = set(OPTION.findall(f"{usage} {rest}"))
    explained = "\n".join(TERM.findall("".join(page.get(title, "") for title in ("ARGUMENTS", "COMMANDS", "OPTIONS"))))
    words = [set(re.findall(r"[A-Za-z]\w*(?:\.\w+)*", OPTION.sub(" ", text)))
             for text in (page["SYNOPSIS"].replace(name, ""), explained, usage)]  # fmt: skip
    yield words, [words[2]] * 3
    yield options | set(OPTION.findall(page["SYNOPSIS"].replace(name, ""))), set(OPTION.findall(explained))
    completion = PREFIX / "share/bash-completion/completions" / name
    yield set(output_of("bash", "-c", COMPLETE, "_", completion, name).split()), options
    yield statuses, numbers(rest.partition("Exit status:")[2])
    yield f"{name} {VERSION}\n", output_of(PREFIX / "bin" / name, "--version")


# Completion of volumes, of a target, and of numbers, as bash does it.
WORDS = """cd "$2"; touch "a scan.hdr" "a scan.img" x.hist; source "$1"; shift 2; COMP_WORDS=("$@") COMP_CWORD=$(($# - 1))
_tonalign "$1" "${@: -1}" "${@: -2:1}"; IFS='|'; echo "${COMPREPLY[*]}" """
for line, wanted in (("tonalign a", "a scan"), ("tonalign scan x", "x.hist"), ("tonalign scan scan out out2 256 1 ", "0|1")):
    completion, folder = PREFIX / "share/bash-completion/completions/tonalign", PREFIX / "share"
    found = output_of("bash", "-c", WORDS, "_", completion.resolve(), folder, *line.split(" ")).strip()
    assert found == wanted, f"{line}: {found}"

for name in {file.name.removesuffix(".1") for place in ("bin", "share/man/man1") for file in (PREFIX / place).iterdir()}:
    pieces = re.split(r"^([A-Z].*)\n", output_of(*GROFF, PREFIX / f"share/man/man1/{name}.1"), flags=re.M)
    for documented, said in facts(name, dict(zip(pieces[1::2], pieces[2::2]))):
        assert documented == said, f"{name}\n    said:       {said}\n    documented: {documented}"

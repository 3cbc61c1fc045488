#!/usr/bin/env python3
# SPDX-License-Identifier: BSD-3-Clause
"""Gives the tool every input of the table in docs/RELIABILITY.md and compares what comes of it with the table.

bad_input.py TOOL DOCUMENT [KEY...]

Each row of the section `Bad input` has a key, by which inputs.py makes the inputs, the end of the run (its status, and
whether it is complete), the stream of the message, and the message in backticks, one pair for each line.
"""

import argparse
import os
import re
import subprocess
import sys
import tempfile
from pathlib import Path
from typing import NamedTuple

HERE = Path(__file__).resolve().parent
sys.path.insert(0, str(HERE.parent / "cli"))
sys.dont_write_bytecode = True

import attempts  # noqa: E402
import inputs  # noqa: E402
import make_inputs  # noqa: E402

ENDS = ("0", "1", "1, begun", "0, complete")


class Row(NamedTuple):
    key: str
    words: str
    ends: str
    stream: str
    text: str


def table(document):
    section = document.read_text(encoding="utf-8").partition("\n## Bad input\n")[2].partition("\n## ")[0]
    lines = [line for line in section.splitlines() if line.startswith("|")][2:]
    for line in lines:
        key, words, ends, stream, text = (cell.strip() for cell in line.strip("|").split("|"))
        row = Row(key.strip("`"), words, ends, stream, "\n".join(re.findall("`([^`]*)`", text)))
        if ends not in ENDS or (stream, bool(row.text)) not in (("err", True), ("out", True), ("", False)):
            raise ValueError(f"not a row of the table: {line}")
        yield row


def try_row(tool, row):
    """The number of attempts with a row's inputs, and those that were wrong."""
    tried, wrong = 0, []
    with tempfile.TemporaryDirectory(prefix="tonalign-bad-input-") as folder:
        os.chdir(folder)
        for name in ("scan", "plain"):
            make_inputs.pair(name, inputs.DIMS, "B", make_inputs.SCAN)
        make_inputs.pair("target", (3, 3, 2), "h", make_inputs.TARGET)
        Path("good.hist").write_text(inputs.lines(), encoding="ascii")
        for attempt in inputs.MAKERS[row.key]():
            tried += 1
            try:
                faults = list(attempts.faults(tool, row, attempt))
            except subprocess.TimeoutExpired as timeout:
                faults = [f"still running after {timeout.timeout} s"]
            wrong += [f"{row.key}, attempt {tried}, {attempt.arguments}: {fault}" for fault in faults]
        os.chdir(HERE)
    return tried, wrong


def main():
    parser = argparse.ArgumentParser(description="Compare the outcome of bad inputs with the table of them.")
    parser.add_argument("tool", type=Path)
    parser.add_argument("document", type=Path)
    parser.add_argument("keys", nargs="*", help="only these rows")
    arguments = parser.parse_args()

    tool = arguments.tool.resolve()
    rows = list(table(arguments.document))
    keys = [row.key for row in rows]
    problems = [f"{key} has no maker" for key in keys if key not in inputs.MAKERS]
    problems += [f"{key} has no row" for key in inputs.MAKERS if key not in keys]
    problems += [f"{key} has two rows" for key in set(keys) if keys.count(key) > 1]
    problems += [f"{key} is no key of the table" for key in arguments.keys if key not in keys]
    if not rows:
        problems.append("the table is empty")
    tried = 0
    for row in rows:
        if row.key in inputs.MAKERS and row.key in (arguments.keys or keys):
            row_tried, wrong = try_row(tool, row)
            tried += row_tried
            problems += wrong or ([] if row_tried else [f"{row.key} makes nothing"])
    print(*problems, sep="\n", end="\n" if problems else "")
    print(f"bad inputs tried {tried}, rows {len(rows)}, problems {len(problems)}")
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())

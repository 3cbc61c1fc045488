#!/usr/bin/env python3
# SPDX-License-Identifier: BSD-3-Clause
"""Tries every row of the section `Bad input` of docs/RELIABILITY.md: bad_input.py TOOL DOCUMENT [KEY...]

A row has a key of INPUTS, an end of the run (status, completeness), the stream of the message, its lines in backticks.
"""

import os
import re
import subprocess
import sys
import tempfile
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent / "cli"))
sys.dont_write_bytecode = True

import inputs  # noqa: E402

OLD = dict.fromkeys(("1.img", "2.hdr", "1t.hist", "2.hist"), b"from before")  # what a refused run must leave as it is


def table(document):
    section = document.read_text(encoding="utf-8").partition("\n## Bad input\n")[2].partition("\n## ")[0]
    for line in [line for line in section.splitlines() if line.startswith("|")][2:]:
        key, _, ends, stream, text = (cell.strip() for cell in line.strip("|").split("|"))
        text = "".join(line + "\n" for line in re.findall("`([^`]*)`", text))
        if not re.fullmatch(r"(?s)(0|1|1, begun|0, complete) ((err|out) .+| )", f"{ends} {stream} {text}"):
            raise ValueError(f"not a row of the table: {line}")
        yield key.strip("`"), ends, stream, text


def place(files):
    """Files of these bytes or this text, or what a function makes of the path, or nothing."""
    for path, content in ((Path(name), content) for name, content in files.items()):
        subprocess.run(["rm", "-rf", "--", path], check=True)
        path.parent.mkdir(parents=True, exist_ok=True)
        if callable(content):
            content(path)
        elif content is not None:
            path.write_bytes(content if isinstance(content, bytes) else content.encode())


def run(tool, arguments, old):
    """What a run did, and its outputs."""
    place({"out": Path.mkdir} | {f"out/{name}": content for name, content in old.items()})
    settings = os.environ | {"LC_ALL": "C", "OMP_WAIT_POLICY": "passive"}
    result = subprocess.run([tool, *arguments], env=settings, stdin=subprocess.DEVNULL, capture_output=True, timeout=99)
    return result, {file.name: file.read_bytes() for file in Path("out").iterdir()}


def with_kept_fields(output):
    """The header of an output with what its input has other than `plain`, but for the element type."""
    bad, plain = (Path(f"{name}.hdr").read_bytes().ljust(348, b"\0") for name in ("bad", "plain"))
    return bytes(o if b == p or i in range(70, 74) else b for i, (o, b, p) in enumerate(zip(output, bad, plain)))


def faults(tool, attempt, ends, stream, text):
    """What is wrong with the outcome of an attempt, in words."""
    status, _, completeness = ends.partition(", ")
    complete = completeness == "complete"
    result, outputs = run(tool, attempt.arguments, {} if complete else OLD)
    if (result.returncode, b"TOTAL RUNNING TIME" in result.stdout) != (int(status), complete):
        yield f"status {result.returncode}, or not {ends}"
    # FILE is the name of the bad input, ... is anything. Nothing else may stand on standard error; standard output also
    # has the listing and the stages.
    expression = re.escape(text).replace("FILE", re.escape(attempt.name)).replace(re.escape("..."), ".*")
    on_out, on_err = (os.fsencode(expression if stream == one else "") for one in ("out", "err"))
    if not re.search(b"(?:^|\n)" + on_out, result.stdout) or not re.fullmatch(on_err, result.stderr):
        yield f"the text is another: {result.stderr}"
    expected = OLD
    if complete:
        result, expected = run(tool, attempt.plain, {})
        for name in [name for name, bad in zip(("1.hdr", "2.hdr"), attempt.arguments) if bad == "bad"]:
            expected |= {name: with_kept_fields(expected[name])} if name in expected else {}
    changed = {n for n in expected.keys() | outputs.keys() if expected.get(n) != outputs.get(n)}
    if {n for n in changed if n.endswith(attempt.compared)} != ({"1.hist", "2.hist"} if "begun" in ends else set()):
        yield f"outputs that are not as they must be: {changed}"


def main():
    tool, document = (Path(argument).resolve() for argument in sys.argv[1:3])
    lines = list(table(document))
    rows = {key: row for key, *row in lines}
    asked = sys.argv[3:] or rows
    problems = [f"{key}: no row with inputs" for key in rows.keys() ^ inputs.INPUTS.keys() | set(asked) - rows.keys()]
    problems += ["a key has two rows"] if len(rows) < len(lines) else []
    tried = 0
    for key in asked if not problems else ():
        with tempfile.TemporaryDirectory(prefix="tonalign-bad-input-") as folder:
            os.chdir(folder)
            place(inputs.GOOD)
            for files, attempts in inputs.INPUTS[key]:
                place(files)
                for tried, attempt in enumerate(attempts, tried + 1):
                    problems += [f"{key}, {attempt.arguments}: {fault}" for fault in faults(tool, attempt, *rows[key])]
    print(*problems, f"bad inputs tried {tried}, rows {len(rows)}, problems {len(problems)}", sep="\n")
    return 1 if problems or not tried else 0


if __name__ == "__main__":
    sys.exit(main())

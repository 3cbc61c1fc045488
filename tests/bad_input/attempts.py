# SPDX-License-Identifier: BSD-3-Clause
"""One run of the tool on a bad input, and what is compared afterwards."""

import os
import re
import subprocess
from dataclasses import dataclass
from pathlib import Path

TIME_LIMIT_SECONDS = 100
RUNNING_TIME = re.compile(rb"(?<=\*\*\*\*\*TOTAL RUNNING TIME\*\*\*\*\*\n)\d[\d.e-]*(?=\n\n\n$)")
# What an earlier run has left; a refused one must neither change it nor make the other files.
OLD_OUTPUTS = ("1.img", "2.hdr", "1t.hist", "2.hist")
BEGUN_OUTPUTS = {"1.hist", "2.hist"}


@dataclass
class Attempt:
    """Arguments of a run. A run that goes through must leave what `plain`, the same in ordinary form, leaves."""

    arguments: list
    plain: list = None
    name: str = "bad"


def usage1(source, target, stages="01", bins=8, sigma=0, out="out"):
    return [source, target, f"{out}/1", f"{out}/2", str(bins), str(sigma), *stages,
            *(f"{out}/{name}.hist" for name in ("1", "2", "1t", "2t"))]


def usage2(source, target="good.hist", bins=8, out="out"):
    return [source, target, f"{out}/1", str(bins), f"{out}/1.hist", f"{out}/1t.hist"]


def as_input(name="bad", plain="plain"):
    return Attempt(usage2(name), usage2(plain), name)


def in_every_place(name="bad", plain="plain"):
    """As input of either run form, and as target."""
    yield as_input(name, plain)
    yield Attempt(usage1(name, "target"), usage1(plain, "target"), name)
    yield Attempt(usage1("target", name), usage1("target", plain), name)


def run(tool, arguments):
    # Waiting threads sleep, since other tests run beside this one.
    settings = {"LC_ALL": "C", "OMP_WAIT_POLICY": "passive"}
    return subprocess.run([tool, *arguments], env=os.environ | settings, stdin=subprocess.DEVNULL,
                          capture_output=True, timeout=TIME_LIMIT_SECONDS, check=False)


def fresh_outputs(old=()):
    folder = Path("out")
    folder.mkdir(exist_ok=True)
    for file in folder.iterdir():
        file.unlink()
    for name in old:
        (folder / name).write_bytes(b"from before")


def outputs():
    """Time and content of each file, so that one written anew with what it held shows as well."""
    return {file.name: (file.stat().st_mtime_ns, file.read_bytes()) for file in Path("out").iterdir()}


def matches(text, name, output):
    """Whether lines of the table stand in an output. FILE is the name of the bad input, ... is anything."""
    expression = re.escape(text).replace("FILE", re.escape(name)).replace(re.escape("..."), ".*")
    return re.search(rb"(?:^|\n)" + os.fsencode(expression) + rb"\n", output)


def differences_from_plain(tool, attempt):
    """The outputs of a complete run that are not those of the same run in plain form."""
    actual = {name: content for name, (_, content) in outputs().items()}
    fresh_outputs()
    result = run(tool, attempt.plain)
    expected = {name: content for name, (_, content) in outputs().items()}
    if not RUNNING_TIME.search(result.stdout) or result.stderr or not expected:
        yield "the plain form does not run through"
    for name in sorted(expected.keys() | actual.keys()):
        if expected.get(name) != actual.get(name):
            yield f"{name} is not that of the plain form"


def faults(tool, row, attempt):
    """What is wrong with the outcome of an attempt, in words."""
    status, _, completeness = row.ends.partition(", ")
    is_complete = completeness == "complete"
    fresh_outputs(() if is_complete else OLD_OUTPUTS)
    before = outputs()
    result = run(tool, attempt.arguments)
    if result.returncode != int(status):
        yield f"status {result.returncode}"
    if bool(RUNNING_TIME.search(result.stdout)) != is_complete:
        yield "not complete" if is_complete else "complete"
    # Nothing else may stand on standard error; standard output also has the listing and the stages.
    told = result.stderr if row.stream == "err" else result.stdout
    found = matches(row.text, attempt.name, told) if row.text else None
    if row.text and not found:
        yield f"the text is not on {row.stream}"
    rest = result.stderr.replace(found[0], b"") if found and row.stream == "err" else result.stderr
    if rest:
        yield f"on standard error: {rest.decode(errors='backslashreplace')}"
    if is_complete:
        yield from differences_from_plain(tool, attempt)
        return
    after = outputs()
    changed = {name for name in after.keys() | before.keys() if after.get(name) != before.get(name)}
    if changed != (BEGUN_OUTPUTS if completeness == "begun" else set()):
        yield f"outputs touched: {sorted(changed)}"

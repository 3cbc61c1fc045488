#!/usr/bin/python3
# SPDX-License-Identifier: BSD-3-Clause
"""Lets runs fail in every way and looks at what is left: fault_matrix.py [--every N] [--only TEXT] BUILD SHIM

BUILD is the folder of the programs, SHIM the library built of fault_shim.cpp. Every counted call of a run fails once in
each way of ACTIONS (every N-th of them is tried), then come the surroundings. Whatever happens, each output is as it was
before or whole, a header and its image belong together, an old file is still there, nothing temporary stays, and what was
lost is told. The last line is `faults tried N, handled N, wrong N`; the status is 1 if any was wrong or none was tried.
"""

import argparse
import concurrent.futures
import dataclasses
import errno
import os
import re
import shutil
import signal
import subprocess
import sys
import tempfile
from pathlib import Path

sys.dont_write_bytecode = True
sys.path.insert(0, str(Path(__file__).resolve().parent))
import surroundings
from runs import KEPT_OLD, Outcome, Program, programs

# Kind of call: what is done to each one. "on" goes on failing.
ACTIONS = {
    "open": "EACCES EMFILE kill",
    "read": "EIO half",
    "write": "ENOSPC half ENOSPC:on kill",
    "sync": "EIO EIO:on kill",
    "link": "EPERM EIO EIO:on kill",
    "rename": "EROFS EROFS:on kill killed",
    "link rename": "EROFS:on",
    "close": "EIO kill",
    "memory": "ENOMEM ENOMEM:on",
}
# What is said of an input that cannot be read, by the end of its name.
UNREAD = {
    ".hdr": "AnalyzeHeader::load  read error|AnalyzeHeader: File|Header corrupted|Input/output error",
    ".img": "img: the image file cannot be read beyond byte ",
    ".hist": "the histogram file cannot be read at bin ",
}
HEADER_TOLD = re.compile(r" File could not be opened or already exists|AnalyzeHeader::save  write error")
IMAGE_TOLD = re.compile(r"the out stream failed after write|  Error opening file ")
ENDED = re.compile(r"memory ran out while|terminate called|tonalign[a-z-]*: |libgomp: |^ [A-Z]|Error|Failed|Dimensions", re.MULTILINE)


def mixed(program, outcome):
    """Pairs of which one file is new and the other not, but for headers that were told and hidden ones."""
    for header, image in program.pairs:
        states = outcome.states[header], outcome.states[image]
        told = HEADER_TOLD.search(outcome.text) and states == (program.before(header), "new")
        stays = "  Error opening file" in outcome.text and states == ("new", program.before(image))
        hidden = states[0] in ("empty", "absent") and (outcome.killed or KEPT_OLD in outcome.text)
        if len(set(states)) > 1 and not (told or stays or hidden):
            yield f"the pair {header} is mixed: {states}"


def complaints(program, outcome, kind, name, action):
    """Everything that is not as it must be after one fault."""
    lost = [output for output in program.outputs if outcome.states[output] != "new"]
    if outcome.status not in (0, 1, 2, -6, 127) and not outcome.killed:
        yield f"status {outcome.status}"
    if "Sanitizer" in outcome.text or "runtime error:" in outcome.text or "Traceback" in outcome.text:
        yield "a sanitizer's report or a traceback"
    for output in lost:
        state = outcome.states[output]
        excused = state in ("empty", "absent") and (outcome.killed or KEPT_OLD in outcome.text)
        if state != program.before(output) and not excused:
            yield f"{output} is {state}"
        if program.old.get(output) not in (None, *outcome.contents):
            yield f"the old {output} is lost"
    yield from mixed(program, outcome)
    if outcome.leftovers and not outcome.killed and outcome.status != -6 and KEPT_OLD not in outcome.text:
        yield f"left behind: {outcome.leftovers}"
    if outcome.killed:
        return
    told = (HEADER_TOLD if name.endswith(".hdr") else IMAGE_TOLD).search(outcome.text) or HEADER_TOLD.search(outcome.text)
    untold = [output for output in lost if not output.endswith(".hist") or program.status_tells]
    ended = "*****TOTAL RUNNING TIME*****" not in outcome.text and (outcome.status == 127 or ENDED.search(outcome.text))
    if untold and not (told or IMAGE_TOLD.search(outcome.text) or ended):
        yield f"nothing is said of {untold}"
    if program.status_tells and bool(lost) != bool(outcome.status):
        yield f"status {outcome.status} with {lost or 'nothing'} lost"
    if kind in ("read", "write") and action == "half" and (lost or outcome.text != program.text):
        yield "half a transfer shows"
    if kind == "read" and action == "EIO" and not re.search(UNREAD[Path(name).suffix], outcome.text):
        yield f"the message about {name} is another"
    if (kind, action) == ("link", "EPERM") and lost:
        yield "links are not possible, but renames are"
    if kind == "rename" and KEPT_OLD in outcome.text:
        yield "links are possible, but an old file was not put back"
    if kind in ("write", "sync", "rename") and action[0] == "E" and not lost and "on" not in action:
        # A page that nothing can be renamed over is written directly.
        if program.name != "report":
            yield "nothing was lost"


def not_on_disk(calls):
    """Every file that gets its final name was waited for before, and its folder after the last."""
    written = set()
    for number, (kind, name) in enumerate(calls):
        if kind == "write":
            written.add(name)
        if kind == "sync":
            written.discard(name)
        if kind == "rename" and (name in written or ("sync", "") not in calls[number:]):
            yield f"{name} was not on the disk when it was renamed, or the new name not after it"


def environment(kind, number, action):
    action, _, lasting = action.partition(":")
    value = action if action in ("half", "kill", "killed") else str(getattr(errno, action))
    variables = {"FAULT_CALL": kind, "FAULT_AT": str(number), "FAULT_ACTION": value}
    return variables | ({"FAULT_ON": "1"} if lasting else {})


def injected(runner, program, every):
    """One case for each call and action: its name, and a function that yields complaints."""
    calls, seen = runner.trace(program), {}
    yield f"{program.name}/on-disk", lambda: not_on_disk(calls)
    names = [("link rename", name) for kind, name in calls if kind in ("link", "rename")]
    for kind, name in calls + names:
        seen[kind] = seen.get(kind, 0) + 1
        if not re.search(program.counted, name) or (runner.sanitizer and kind == "memory"):  # which has an allocator of its own
            continue
        for action in ACTIONS[kind].split():
            def case(kind=kind, number=seen[kind], action=action, name=name):
                outcome = runner.run(program, environment(kind, number, action))
                if not outcome.fired and kind != "memory":  # short names take less of it, and processes have numbers
                    yield "the fault never fired"
                yield from complaints(program, outcome, kind, name, action)

            if kind != "memory" or seen[kind] % (11 * every) == 1:
                yield f"{program.name}/{kind}-{seen[kind]}-{action}", case


class Runner:
    """Runs programs in folders of their own below `top`."""

    def __init__(self, build, shim, top):
        self.build, self.shim, self.top = build, shim, top
        libraries = subprocess.run(["ldd", build / "tonalign"], capture_output=True, text=True, check=True).stdout
        found = re.search(r"libasan\S* => (\S+)", libraries)
        self.sanitizer = found[1] if found else ""

    def trace(self, program):
        """The calls of an undisturbed run, from which also its outputs are taken."""
        outcome = self.run(program, {}, reference=True)
        if outcome.status != 0:
            raise SystemExit(f"{program.name} does not run here: {outcome}")
        program.text = outcome.text
        return outcome.calls

    def run(self, program, variables, reference=False):
        folder = Path(tempfile.mkdtemp(prefix="run", dir=self.top))
        program.fill(folder)
        log = folder.with_suffix(".log")
        log.touch()
        preload = ":".join(filter(None, (self.sanitizer, str(self.shim))))
        settings = {"LC_ALL": "C", "OMP_NUM_THREADS": "1", "PATH": os.environ["PATH"], "LD_PRELOAD": preload,
                    "ASAN_OPTIONS": "detect_leaks=0:exitcode=99", "UBSAN_OPTIONS": "exitcode=99", "HOME": "/",
                    "FAULT_FOLDER": str(folder), "FAULT_LOG": str(log), **variables}
        command = [self.build / program.arguments[0], *program.arguments[1:]]
        done = subprocess.run(command, cwd=folder, env=settings, capture_output=True, timeout=120, check=False)
        if reference:
            program.reference = {name: (folder / name).read_bytes() for name in program.outputs}
        outcome = Outcome(program, folder, done, log)
        shutil.rmtree(folder)
        log.unlink()
        return outcome


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--every", type=int, default=1)
    parser.add_argument("--only", default="")
    parser.add_argument("build", type=Path)
    parser.add_argument("shim", type=Path)
    options = parser.parse_args()
    tried = wrong = 0
    with tempfile.TemporaryDirectory(prefix="tonalign-faults-") as top:
        Path(top).chmod(0o755)
        runner = Runner(options.build.resolve(), options.shim.resolve(), Path(top))
        cases = [case for program in programs(runner) for case in list(injected(runner, program, options.every))]
        cases = cases[:: options.every | 1] + list(surroundings.cases(runner))
        cases = [case for case in cases if options.only in case[0]]
        with concurrent.futures.ThreadPoolExecutor(len(os.sched_getaffinity(0))) as pool:
            for (name, _), found in zip(cases, pool.map(lambda case: list(case[1]()), cases)):
                tried += 1
                wrong += bool(found)
                if found:
                    print(f"WRONG: {name}: " + "; ".join(found))
    print(f"faults tried {tried}, handled {tried - wrong}, wrong {wrong}")
    return 1 if wrong or not tried else 0


if __name__ == "__main__":
    sys.exit(main())

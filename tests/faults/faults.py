#!/usr/bin/python3
# SPDX-License-Identifier: BSD-3-Clause
"""Lets runs fail in every way and looks at what is left: faults.py [--every N] [--only TEXT] BUILD

BUILD is the folder of the programs. strace makes each call of a run on its files fail once in every way of ACTIONS
(every N-th of them is tried), then come the surroundings. Whatever happens, each output is as it was before or whole,
a header and its image belong together, an old file is still there, nothing temporary stays, and what was lost is told.
The last line is `faults tried N, handled N, wrong N`; the status is 1 if any was wrong or none was tried, 77 without
strace.
"""

import argparse
import concurrent.futures
import os
import re
import struct
import subprocess
import sys
import tempfile
from pathlib import Path

sys.dont_write_bytecode = True
sys.path[:0] = [str(Path(__file__).resolve().parent), str(Path(__file__).resolve().parent.parent / "cli")]
import make_inputs  # noqa: E402
import surroundings  # noqa: E402

# What is done to each call; "+" goes on failing.
ACTIONS = {
    "openat": ("error=EACCES", "signal=KILL"),
    "read": ("error=EIO",),
    "write": ("error=ENOSPC", "signal=KILL"),  # and no more: what goes on would silence the console too
    "writev": ("error=ENOSPC", "error=ENOSPC+", "signal=KILL"),
    "fdatasync": ("error=EIO", "error=EIO+", "signal=KILL"),
    "fsync": ("error=EIO", "signal=KILL"),
    "linkat": ("error=EPERM", "error=EIO+", "signal=KILL"),
    "renameat": ("error=EROFS", "error=EROFS+", "signal=KILL"),
    "close": ("error=EIO", "signal=KILL"),
}
# What is said of an input that cannot be read, by the end of its name.
UNREAD = {
    ".hdr": "AnalyzeHeader::load  read error|AnalyzeHeader: File|Header corrupted|Input/output error",
    ".img": "img: the image file cannot be read beyond byte ",
    ".hist": "the histogram file cannot be read at bin ",
}
TOLD = re.compile(r" File could not be opened or already exists|the out stream failed after write"
                  r"|^tonalign[a-z-]*: |Error|Header", re.MULTILINE)
HEADER_TOLD = re.compile(r" File could not be opened or already exists|AnalyzeHeader::save  write error")
RUNNING_TIME = re.compile(r"(?<=\*\*\*\*\*TOTAL RUNNING TIME\*\*\*\*\*\n)\d[\d.e-]*")
KEPT_OLD = "the old file could not be put back; it is .tonalign-"


def pair(name, dims, kind, voxels):
    return {f"{name}.hdr": make_inputs.header(dims, kind), f"{name}.img": struct.pack(f"<{len(voxels)}{kind}", *voxels)}


SCAN = pair("scan", (4, 3, 2), "B", make_inputs.SCAN)
TARGET = pair("target", (3, 3, 2), "h", make_inputs.TARGET)
# More than one block of the reader and of the writer.
LARGE = pair("scan", (40, 30, 40), "d", [i * i % 251 + i % 64 / 64 for i in range(48000)])
HISTOGRAM = {"target.hist": "".join(f"{i + 0.5} {1 + i % 7}\n" for i in range(64)).encode()}
OLD = dict.fromkeys(("b1", "b2", "a1", "a2"), b"0.5\t1\n") | pair("o1", (2, 2, 1), "B", [1, 2, 3, 4]) | pair(
    "o2", (2, 2, 1), "B", [1, 2, 3, 5])
PROGRAMS = {  # the command, its inputs, what was there before under the names of its outputs
    "over-old": ("tonalign scan target o1 o2 8 1 1 1 b1 b2 a1 a2", SCAN | TARGET, OLD),
    "over-input": ("tonalign scan target.hist scan 64 b a", LARGE | HISTOGRAM, LARGE | {"b": b"", "a": b"old"}),
    "average": ("tonalign-average mean.hist 8 scan target", SCAN | TARGET, {"mean.hist": b"0.5\t1\n"}),
}


class Run:
    """One run in a folder of its own, with what it left."""

    def __init__(self, build, program, inject=()):
        command, inputs, old = PROGRAMS[program]
        tool, *arguments = command.split()
        with tempfile.TemporaryDirectory(prefix="tonalign-faults-") as top:
            folder = Path(top).resolve() / "run"
            folder.mkdir()
            for name, content in (inputs | old).items():
                (folder / name).write_bytes(content)
            settings = os.environ | {"LC_ALL": "C", "OMP_NUM_THREADS": "1", "ASAN_OPTIONS": "detect_leaks=0"}
            options = [*inject, "-f", "-y", "-o", f"{top}/trace", "-e", "trace=" + ",".join(ACTIONS)]
            done = subprocess.run(["strace", *options, build / tool, *arguments], cwd=folder, env=settings,
                                  capture_output=True, timeout=120, check=False)
            self.trace = Path(top, "trace").read_text(errors="replace")
            self.files = {path.name: path.read_bytes() for path in folder.iterdir()}
        self.folder, self.status = str(folder), done.returncode
        self.killed = self.status in (-9, 137)
        self.text = RUNNING_TIME.sub("", (done.stdout + done.stderr).decode(errors="replace"))

    def calls(self):
        """The calls on files of the folder: kind, the how-manieth of its kind, name."""
        counts = {}
        for kind, rest in re.findall(r"^\d+ +(\w+)\((.*)", self.trace, re.MULTILINE):
            counts[kind] = counts.get(kind, 0) + 1
            if self.folder in rest:
                yield kind, counts[kind], rest


def complaints(program, run, whole, kind, call, action):
    """Everything that is not as it must be after one fault."""
    old = PROGRAMS[program][2]
    states = {}
    for name, before in old.items():
        found = run.files.get(name)
        states[name] = "new" if found == whole.files[name] else "old" if found == before else found
        hidden = found == b"" and name.endswith(".hdr") and (run.killed or KEPT_OLD in run.text)
        if states[name] not in ("new", "old") and not hidden:
            yield f"{name} is neither old nor new"
        if before not in run.files.values() and states[name] != "new":
            yield f"the old {name} is lost"
    for header in [name for name in old if name.endswith(".hdr")]:
        both = states[header], states[header[:-4] + ".img"]
        told = (both == ("old", "new") and HEADER_TOLD.search(run.text)) or (
            both == ("new", "old") and "  Error opening file" in run.text)
        if both[0] != both[1] and both[0] and not told:
            yield f"the pair {header} is mixed"
    if not run.killed:
        lost = [name for name, state in states.items() if state != "new"]
        if run.status not in (0, 1, 2) or "Sanitizer" in run.text or "runtime error:" in run.text:
            yield f"status {run.status}"
        if any(name.startswith(".") for name in run.files) and KEPT_OLD not in run.text:
            yield "something temporary is left"
        # A histogram of the tool is lost silently, as documented.
        if [name for name in lost if "." in name] and not TOLD.search(run.text):
            yield f"nothing is said of {lost}"
        if program == "average" and bool(lost) != bool(run.status):
            yield f"status {run.status}"
        if kind in ("write", "fdatasync", "renameat") and "signal" not in action and not lost:
            yield "nothing was lost"
        if (kind, action) == ("linkat", "error=EPERM") and lost:
            yield "links are not possible, but renames are"
        suffix = re.search(r"(\.\w+)>", call)
        if kind == "read" and suffix and not re.search(UNREAD[suffix[1]], run.text):
            yield "the message is another"


def not_on_disk(run):
    """Files of an undisturbed run that got their names too early, and what is not on the disk at its end."""
    written = set()
    for kind, path, name in re.findall(r'(write|sync|renameat)v?\(\d+<([^>]*)>(?:, "([^"]*)")?', run.trace):
        if kind == "renameat" and f"{path}/{name}" in written:
            yield f"{name} was not on the disk when it got its name"
        (set.discard if kind == "sync" else set.add)(written, path)
    yield from (f"{path} was not on the disk at the end" for path in written if path.startswith(run.folder))


def injected(build, every):
    """One case for each call and action: its name, and a function that yields complaints."""
    for program in PROGRAMS:
        whole = Run(build, program)
        if whole.status != 0:
            raise SystemExit(f"{program} does not run here: {whole.text}")
        yield f"{program}/on-disk", lambda whole=whole: not_on_disk(whole)
        tried = [(*call, action) for call in whole.calls() for action in ACTIONS[call[0]]]
        for kind, number, call, action in tried[::every]:
            def case(program=program, whole=whole, kind=kind, number=number, call=call, action=action):
                when = f"{number}+" if action.endswith("+") else str(number)
                run = Run(build, program, ("-e", f"inject={kind}:{action.rstrip('+')}:when={when}"))
                yield from complaints(program, run, whole, kind, call, action)

            yield f"{program}/{kind}-{number}-{action}", case


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--every", type=int, default=1)
    parser.add_argument("--only", default="")
    parser.add_argument("build", type=lambda name: Path(name).resolve())
    options = parser.parse_args()
    if subprocess.run(["strace", "-o", "/dev/null", "true"], check=False, capture_output=True).returncode != 0:
        print("left out: strace cannot trace here")
        return 77
    wrong = 0
    cases = [*injected(options.build, options.every), *surroundings.cases(options.build)]
    cases = [case for case in cases if options.only in case[0]]
    with concurrent.futures.ThreadPoolExecutor(len(os.sched_getaffinity(0))) as pool:
        for (name, _), found in zip(cases, pool.map(lambda case: list(case[1]()), cases)):
            wrong += bool(found)
            if found:
                print(f"WRONG: {name}: " + "; ".join(found))
    print(f"faults tried {len(cases)}, handled {len(cases) - wrong}, wrong {wrong}")
    return 1 if wrong or not cases else 0


if __name__ == "__main__":
    sys.exit(main())

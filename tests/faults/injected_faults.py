"""The faults that the shim injects: every call on a file, every allocation and every new thread of a run, in turn.

An undisturbed run under the shim lists its calls. What must come of a fault depends on the kind of call and on what
the file is to the run; the tables below say it.
"""

import dataclasses
import errno
import os
import signal

import fault_runs as runs
from fault_runs import Case, Expected

# Kind of call: what is done to each one. "on" goes on failing, "half" moves half the bytes.
ACTIONS = {
    "open": "EACCES EIO EMFILE EINTR EIO:on KILL",
    "read": "EIO EINTR half EIO:on KILL",
    "write": "ENOSPC EIO EDQUOT EINTR half ENOSPC:on KILL TERM INT KILL:after TERM:after INT:after",
    "close": "EIO ENOSPC EDQUOT ENOSPC:on KILL TERM KILL:after INT:after",
    "rename": "EACCES EIO ENOSPC EIO:on KILL TERM INT KILL:after TERM:after INT:after",
    "chmod": "EPERM EIO EIO:on KILL",
    "unlink": "EACCES EIO EIO:on KILL KILL:after",
    "stat": "EIO EACCES EIO:on",
    "seek": "EIO",
    "memory": "ENOMEM ENOMEM:on",
    "thread": "EAGAIN EAGAIN:on",
    "console": "ENOSPC EIO:on",
}
HARMLESS = ("half", "EINTR")

# Kind of call and what its file is: the statuses the run may end with, and what must be said (one of these).
INPUT_FAILS = {
    ("open", "header"): ((0,), (runs.HEADER_UNREAD,)),
    ("open", "image"): ((0,), (runs.IMAGE_UNOPENED,)),
    ("open", "histogram"): ((1,), (("err", "the histogram file cannot be opened for reading"),)),
    ("read", "header"): ((0, 1), (("err", "AnalyzeHeader::load  read error"),)),
    ("read", "image"): ((1,), (runs.REFUSED,)),
    ("read", "histogram"): ((1,), (("err", "the histogram file cannot be read at bin "),)),
    ("seek", "header"): ((0, 1), (("err", "AnalyzeHeader::load  error seeking pos"),)),
}
UNWRITTEN = {"header": (runs.HEADER_UNWRITTEN,), "image": (runs.IMAGE_UNWRITTEN,), "histogram": (runs.COMPLETE,)}


@dataclasses.dataclass
class Call:
    kind: str
    number: int
    name: str = ""  # the final name
    writes: bool = False
    flushes: bool = False  # the end of a file to which something has been written

    @property
    def role(self):
        return {".hdr": "header", ".img": "image"}.get(os.path.splitext(self.name)[1], "histogram")


def final_names(lines):
    """For each line the final name of its file. A temporary name means the file it is next renamed to; after an old
    file was set aside under it, that one until it is removed or renamed again."""
    aside = {}
    for i, (kind, name, detail) in enumerate(lines):
        if runs.TEMPORARY not in name:
            if kind == "rename":
                aside[detail] = name
            yield name
            continue
        renames = [(source, to) for after, source, to in lines[i:] if after == "rename" and name in (source, to)]
        left = [to for source, to in renames if source == name]
        taken = [source for source, _ in renames if source != name]
        yield aside.get(name) or (*left, *taken, name)[0]
        if kind in ("rename", "unlink"):
            aside.pop(name, None)


def traced_calls(lines, folder, outputs):
    """The calls of the shim's lines."""
    lines = [(kind, name.removeprefix(f"{folder}/"), detail) for kind, name, detail in lines]
    numbers, reading, written = {}, set(), set()
    for (kind, name, detail), final in zip(lines, final_names(lines)):
        numbers[kind] = numbers.get(kind, 0) + 1
        if kind == "open":
            (reading.add if detail.startswith("r") else reading.discard)(name)
        if kind == "write":
            written.add(name)
        yield Call(kind, numbers[kind], final, runs.TEMPORARY in name or (final in outputs and name not in reading),
                   kind == "close" and name in written)
        if kind == "close":
            written.discard(name)


def group_of(form, name):
    return next((group for group in form.groups if name in group), ())


def expected_of(form, call, action, lasting):
    """What must come of an action on a call."""
    if call.kind == "memory":
        return Expected(statuses=(0, 1, 127, -6), tidy=False)
    if call.kind == "thread":
        return Expected(statuses=(1,), told=(runs.NO_THREADS,))
    if call.kind == "console":
        return Expected(statuses=(0,), lost=(), mute=True)
    if action in HARMLESS and call.kind in ("read", "write"):
        return Expected(statuses=(0,), whole=True)
    if lasting:
        return Expected(statuses=(0, 1), tidy=call.kind not in ("rename", "unlink"))
    if not call.writes:
        if (call.kind, call.role) not in INPUT_FAILS:
            return Expected(statuses=(0, 1))
        statuses, told = INPUT_FAILS[call.kind, call.role]
        return Expected(statuses, told, untouched=True)
    group = group_of(form, call.name)
    if call.kind == "write" or call.flushes:
        return Expected((0,), UNWRITTEN[call.role], lost=group)
    if call.kind == "rename":
        # The two of a pair are put in place together, and either may be named.
        told = (runs.COMPLETE,) if len(group) == 1 else (runs.HEADER_UNWRITTEN, runs.IMAGE_UNWRITTEN)
        return Expected((0,), told, lost=group)
    # Looking, trying and tidying: harmless, or told like a file that was not opened or not written.
    # The two of a pair try for temporary names in turn, so either may be told.
    return Expected((0,), (*runs.LOSSES, runs.COMPLETE), at_most=group, tidy=call.kind != "unlink")


def cases_of_call(form, call, old, threads):
    for entry in ACTIONS[call.kind].split():
        action, _, when = entry.partition(":")
        if action in ("KILL", "TERM", "INT"):
            number = getattr(signal, "SIG" + action)
            environment = f"{when or 'before'} {int(number)}"
            expected = Expected(statuses=(-number,), tidy=False)
        else:
            environment = "half" if action == "half" else f"errno {getattr(errno, action)}"
            expected = expected_of(form, call, action, when == "on")
        variables = {"FAULT_CALL": call.kind, "FAULT_AT": str(call.number), "FAULT_ACTION": environment}
        variables |= {"FAULT_ON": "1"} if when == "on" else {}
        name = f"{call.kind}/{form.name}-{'old' if old else 'new'}-{threads}/{call.number}-{entry}"
        yield Case(name, form, expected, old, threads, variables, injected=True)


def trace(runner, form, old, threads, number):
    folder = runner.folder(number)
    outcome, lines = runner.run(Case("trace", form, Expected(), old, threads, injected=True), folder)
    if outcome.status != 0 or not lines:
        raise SystemExit(f"The shim disturbs '{form.name}' or counts nothing: {outcome}")
    return list(traced_calls(lines, folder, form.outputs))


# Form, outputs there before, threads, kinds of call. The large form has the same allocations as the small one.
FILES = tuple(kind for kind in ACTIONS if kind not in ("memory", "thread", "console"))
SWEEPS = (
    ("volumes", False, 1, (*FILES, "memory", "console")),
    ("volumes", True, 1, (*FILES, "memory")),
    ("volumes", True, 2, (*FILES, "thread")),
    ("histogram", True, 1, (*FILES, "memory")),
    ("histogram", False, 2, ("memory", "thread")),
    ("blocks", False, 1, FILES),
    ("blocks", True, 2, (*FILES, "thread")),
    ("in-place", True, 1, FILES),
)


def cases(runner, forms):
    """Every injected fault. Allocations are where the runs of a form may differ by a few, so two runs are counted."""
    number = 900000  # no case's
    # A sanitizer's own allocator stands before the shim's.
    impossible = ("memory",) if runner.sanitizer else ()
    for name, old, threads, kinds in SWEEPS:
        form = forms[name]
        first = trace(runner, form, old, threads, number)
        allocations = [sum(call.kind == "memory" for call in calls)
                       for calls in (first, trace(runner, form, old, threads, number + 1))]
        number += 2
        for call in first:
            if call.kind not in kinds or call.kind in impossible:
                continue
            if call.kind == "memory" and call.number > min(allocations):
                continue
            yield from cases_of_call(form, call, old, threads)

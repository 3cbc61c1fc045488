#!/usr/bin/env python3
"""Tries faults on the tool and counts those it handles: fault_matrix.py [--short] [--only TEXT] [--keep] TOOL SHIM

SHIM is the library built of fault_shim.cpp. As root, everything is tried as root and as an ordinary user; else once, as
the user that calls. What a system does not allow is left out and said. --short tries a sample of each group; --only the
one case named TEXT, or those whose names contain it; --keep shows what came of each and keeps its folder. The last line
is `faults tried N, handled N, wrong N`; the status is 1 if any was wrong or none was tried.
"""

import argparse
import collections
import concurrent.futures
import os
import shlex
import shutil
import sys
import tempfile
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent))
sys.dont_write_bytecode = True
import fault_runs
import injected_faults
import surroundings

SAMPLE = 12  # cases of each group in the short form


def sample(cases):
    """Evenly spaced ones of each group, the part of a name before the first slash."""
    groups = collections.defaultdict(list)
    for case in cases:
        groups[case.name.split("/")[0]].append(case)
    for group in groups.values():
        # An odd stride, or it would meet the same few actions again and again.
        yield from group[:: max(1, len(group) // SAMPLE) | 1]


def tried(runner, number, case, keep):
    """What was wrong with one case, and how to repeat it."""
    folder = runner.folder(number)
    outcome, lines = runner.run(case, folder)
    wrong = list(fault_runs.complaints(case, folder, outcome, bool(lines) or not case.injected))
    command = shlex.join(runner.command(case, folder, folder.parent / "fault.log"))
    if keep:
        print(f"{case.name}: {outcome}\n  {lines}\n  cd {folder} && {command}")
    else:
        folder.chmod(0o700)  # some cases close it
        shutil.rmtree(folder, ignore_errors=True)
    return wrong, command


def run_user(user, as_other, arguments, top):
    """Tries everything as one user; gives the numbers tried and wrong."""
    runner = fault_runs.Runner(arguments.tool, arguments.shim, top, user, as_other)
    forms = {form.name: form for form in fault_runs.forms()}
    for number, form in enumerate(forms.values(), 999000):
        runner.undisturbed(form, runner.folder(number))
    cases = [*surroundings.cases(runner, forms), *injected_faults.cases(runner, forms)]
    exact = [case for case in cases if case.name == arguments.only]
    cases = exact or [case for case in cases if arguments.only in case.name]
    cases = list(sample(cases)) if arguments.short else cases
    counts, wrong_counts = collections.Counter(), collections.Counter()
    with concurrent.futures.ThreadPoolExecutor(len(os.sched_getaffinity(0))) as pool:
        work = [pool.submit(tried, runner, number, case, arguments.keep) for number, case in enumerate(cases)]
        for case, future in zip(cases, work):
            wrong, command = future.result()
            group = case.name.split("/")[0]
            counts[group] += 1
            if wrong:
                wrong_counts[group] += 1
                print(f"WRONG as {user}: {case.name}: " + "; ".join(wrong))
                again = [sys.executable, sys.argv[0], "--keep", "--only", case.name, arguments.tool, arguments.shim]
                print(f"  repeat: {shlex.join(map(str, again))}\n  which runs: {command}")
    for group, count in counts.items():
        print(f"as {user}: {group}: tried {count}, wrong {wrong_counts[group]}")
    return counts.total(), wrong_counts.total()


def main():
    parser = argparse.ArgumentParser(description="Try faults on the tool.")
    parser.add_argument("--short", action="store_true")
    parser.add_argument("--only", default="")
    parser.add_argument("--keep", action="store_true")
    parser.add_argument("tool", type=Path)
    parser.add_argument("shim", type=Path)
    arguments = parser.parse_args()
    with tempfile.TemporaryDirectory(prefix="tonalign-faults-") as top:
        users, reason = fault_runs.possible_users(top)
    print(f"Faults tried as: {', '.join(users)}" + (f" ({reason})" if reason else ""))
    totals = []
    for user in users:
        top = tempfile.mkdtemp(prefix="tonalign-faults-")
        try:
            totals.append(run_user(user, user == "user" and "root" in users, arguments, top))
        finally:
            if not arguments.keep:
                shutil.rmtree(top, ignore_errors=True)
    count, wrong = (sum(column) for column in zip(*totals))
    print(f"faults tried {count}, handled {count - wrong}, wrong {wrong}")
    return 1 if wrong or not count else 0


if __name__ == "__main__":
    sys.exit(main())

# SPDX-License-Identifier: BSD-3-Clause
"""The command line of tonalign-study: what is there, the run of the workflow, the page, and who failed."""

import argparse
import contextlib
import fcntl
import json
import os
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import time
from pathlib import Path

from tonalign_report.texts import for_stream

from . import bids, records
from .inputs import find_scans, mask_of_target, select
from .records import FOLDER, GROUP_TARGET, digest, job_file, job_name, matched_to, read_json, write_failure

PROGRAM, VERSION = "tonalign-study", "0.1.0"
HERE = Path(__file__).resolve().parent
FAILED, TROUBLE = 1, 2
PAGE = "report.html"
PROGRESS = re.compile(r"^(\d+) of (\d+) steps")
EPILOG = "Exit status: 0 if every scan came through, 1 if some did not, 2 if nothing could be started."


class Trouble(Exception):
    """What ends the program with one line."""


def say(text, stream=sys.stdout):
    print(for_stream(text, stream), file=stream, flush=True)


class Parser(argparse.ArgumentParser):
    def error(self, message):
        self.exit(TROUBLE, f"{self.prog}: {message}; see {self.prog} --help\n")


def positive(text):
    number = int(text)
    if number < 1:
        raise ValueError
    return number


def parse_arguments(arguments):
    parser = Parser(prog=PROGRAM, description="Gives all scans of a study one histogram, and makes a page about them.",
                    epilog=EPILOG, usage="%(prog)s [options] INPUT OUTPUT [-- SNAKEMAKE-OPTION...]")
    parser.add_argument("--version", action="version", version=f"{PROGRAM} {VERSION}")
    add = parser.add_argument
    add("input", metavar="INPUT", help="a BIDS dataset, a folder of scans, or a text file that names one a line")
    add("output", metavar="OUTPUT", help="the folder of the results")
    add("--participant-label", nargs="+", default=[], metavar="LABEL", help="these participants alone, with or without sub-")
    add("--session", nargs="+", default=[], metavar="LABEL", help="these sessions alone, with or without ses-")
    add("--suffix", default="T1w", help="which scans of a dataset (T1w)")
    add("--masks", metavar="FOLDER", help='where brain masks are, or "none"; by default beside the scans and in derivatives/')
    add("--target", metavar="FILE", help="a histogram file or a scan to match to, in place of the group's mean")
    add("--all-in-target", action="store_true", help="make the mean of flagged scans too")
    add("--bins", type=positive, default=256, metavar="N", help="number of bins (256)")
    add("--sigma", type=float, default=0.0, metavar="S", help="smoothing of the target, in bins (0)")
    add("--clip", type=float, default=99.9, metavar="P", help="percentile at which a scan's range ends (99.9)")
    add("--jobs", type=positive, metavar="N", help="scans at a time: all cores here, 100 on Slurm by default")
    add("--slurm", action="store_true", help="submit a job for each scan")
    add("--account", help="of Slurm")
    add("--partition", help="of Slurm")
    add("--dry-run", action="store_true", help="say what there is and what would be done, and do nothing")
    add("--clean", action="store_true", help="remove results that are out of date")
    arguments = sys.argv[1:] if arguments is None else list(arguments)
    split = arguments.index("--") if "--" in arguments else len(arguments)
    options = parser.parse_args(arguments[:split])
    options.snakemake = arguments[split + 1 :]
    for labels, prefix in ((options.participant_label, "sub-"), (options.session, "ses-")):
        labels[:] = [label.removeprefix(prefix) for label in labels]
    if options.masks not in (None, "none"):
        if not os.path.isdir(options.masks):
            parser.error(f"--masks {options.masks}: there is no such folder")
        options.masks = os.path.abspath(options.masks)
    if options.target and not os.path.isfile(options.target):
        parser.error(f"--target {options.target}: there is no such file")
    if not 0 < options.clip <= 100 or not 0 <= options.sigma < float("inf") or options.bins < 2:
        parser.error("--clip takes a percentile, --sigma a number from 0, --bins 2 or more")
    options.title = os.path.basename(os.path.abspath(options.input))
    if bids.is_dataset(options.input):
        options.title += f": {options.suffix}"
    options.jobs = options.jobs or (100 if options.slurm else len(os.sched_getaffinity(0)))
    return options


def settings_of(options, scans):
    target = os.path.abspath(options.target) if options.target else None
    is_scan = target and not target.endswith(".hist")
    return {
        "bins": options.bins, "sigma": options.sigma, "clip": options.clip, "target": target,
        "target_mask": mask_of_target(target, scans) if is_scan else None, "all_in_target": options.all_in_target,
        "dataset": os.path.abspath(options.input) if bids.is_dataset(options.input) else None,
        "nifti": program("tonalign-nifti"),
    }


def program(name):
    """Beside this program, as it was called, or in its real place, or wherever PATH says."""
    places = [os.path.dirname(os.path.abspath(sys.argv[0])), os.path.dirname(os.path.realpath(sys.argv[0]))]
    found = shutil.which(name, path=os.pathsep.join(places)) or shutil.which(name)
    if not found:
        raise Trouble(f"{name} is not installed")
    return found


@contextlib.contextmanager
def alone(output):
    """Keeps a second run out of the folder; the workflow's own lock would outlive a killed run."""
    Path(FOLDER).mkdir(exist_ok=True)
    with open(Path(FOLDER, "lock"), "w", encoding="ascii") as lock:
        try:
            fcntl.flock(lock, fcntl.LOCK_EX | fcntl.LOCK_NB)
        except OSError:
            raise Trouble(f"{output}: another run is at work here") from None
        yield lock.fileno()


def count(number, what):
    return f"{number} {what}" + ("" if number == 1 else "s")


def size(number):
    return f"{number / 1e9:.1f} GB" if number >= 1e9 else f"{number / 1e6:.0f} MB"


def first_seconds(scans, settings):
    """What the first scan that can be matched takes, from a trial with itself as the target; None without one."""
    for scan in filter(lambda scan: not scan.fault, scans[:5]):
        with tempfile.TemporaryDirectory(prefix="tonalign-study-") as folder:
            result = os.path.join(folder, os.path.basename(scan.output))
            mask = ["--mask", scan.mask, "--target-mask", scan.mask] if scan.mask else []
            begun = time.monotonic()
            command = [settings["nifti"], "match", "-q", "--threads", "1", *mask, "--", scan.file, scan.file, result]
            run = subprocess.run(command, capture_output=True, check=False)
            if run.returncode == 0:
                return 2 * (time.monotonic() - begun)  # it is read and measured once before, for the group
    return None


def tell_plan(scans, settings, options):
    """What was found, and what it will take."""
    with_masks = sum(1 for scan in scans if scan.mask)
    say(f"{options.input}: {count(len(scans), 'scan')}, {count(with_masks, 'mask')}")
    for scan in scans:
        if scan.fault:
            say(f"  {scan.key}: {scan.fault}")
    pending = [scan for scan in scans if not records.is_done(scan, settings)]
    voxels = sum(scan.voxels for scan in pending)
    free = shutil.disk_usage(".").free
    most = max((scan.voxels for scan in scans), default=0)
    memory = records.PROGRAM_MEGABYTES + most * records.BYTES_PER_VOXEL // 2**20
    say(f"{count(len(pending), 'scan')} new or changed; at a time {min(options.jobs, len(scans))}, {memory} MB each")
    say(f"{options.output}: at most {size(4 * voxels)} of results; {size(free)} are free")
    seconds = first_seconds(pending, settings)
    if seconds is not None:
        total = seconds * -(-len(pending) // options.jobs)
        length = f"{round(total)} s" if total < 100 else f"{round(total / 60)} min"
        say(f"about {length}, by a trial of the first scan")


def snakemake_command(options):
    command = ["snakemake", "--snakefile", str(HERE.parent / "Snakefile"), "--nolock", "--keep-going"]
    command += ["--rerun-incomplete", "--rerun-triggers", "mtime", "--jobs", str(options.jobs)]
    if options.target:
        command += ["--config", "target=given"]
    if options.slurm:
        resources = ["runtime=60", "mem_mb=1000"]
        resources += [f"slurm_account={options.account}"] if options.account else []
        resources += [f"slurm_partition={options.partition}"] if options.partition else []
        command += ["--slurm", "--latency-wait", "60", "--default-resources", *resources]
    return [*command, *options.snakemake]


def run_workflow(options, lock):
    """Runs Snakemake, whose words go to a file; shows its progress. Gives back its status."""
    shown = sys.stderr.isatty()
    program("snakemake")
    try:
        run = subprocess.Popen(snakemake_command(options), stdout=subprocess.PIPE, stderr=subprocess.STDOUT, pass_fds=[lock])
    except OSError as error:
        raise Trouble(f"snakemake: {error.strerror}") from error
    ended = []
    signal.signal(signal.SIGTERM, lambda *_: (ended.append(True), run.terminate()))
    with open(Path(FOLDER, "snakemake.log"), "wb") as log:
        try:
            for line in run.stdout:
                log.write(line)
                log.flush()
                progress = PROGRESS.match(line.decode("utf-8", "replace"))
                if progress and shown:
                    print(f"\r\033[K{progress[1]} of {progress[2]} steps", end="", file=sys.stderr, flush=True)
            status = run.wait()
        except KeyboardInterrupt:  # Snakemake has it too, and ends its jobs
            run.wait()
            raise
    if shown:
        print("\r\033[K", end="", file=sys.stderr, flush=True)
    if ended:
        raise KeyboardInterrupt
    return status


def write_page(scans, options):
    logs = [scan.log for scan in scans if os.path.exists(scan.log)]
    if not logs:
        return None
    command = [program("tonalign-report"), "-o", PAGE, "--title", options.title, "--", *logs]
    run = subprocess.run(command, stderr=subprocess.PIPE, check=False)
    if run.returncode > 1:
        raise Trouble(os.fsdecode(run.stderr).strip())
    return PAGE


def failure_of(scan, target):
    """Why a scan has not come through to the target of this digest, or None. Its log tells the page the same."""
    job = job_name(scan.key)
    if target and job_file("done", job).exists() and matched_to(scan) == target:
        return None
    for file, name in ((scan.log, "failure"), (job_file("screen", job), "refused")):
        with contextlib.suppress(OSError, ValueError, KeyError):
            failure = read_json(file)[name]
            break
    else:
        untold = f"its job did not end by itself; {FOLDER}/snakemake.log tells more"
        failure = untold if target else "there is no target, for no scan is sound"
    write_failure(scan, "", failure)
    return failure


def tell_left_out(options, failed):
    if options.target or not os.path.exists(GROUP_TARGET):
        return
    for key, reasons in read_json("group_target.json")["LeftOut"].items():
        if key not in failed:
            say(f"not in the target: {key}: {'; '.join(reasons)}")


def tell_out_of_date(present, target, clean):
    for scan, reason in records.out_of_date(present, target):
        if clean:
            records.remove(scan)
        say(f"{'removed' if clean else 'out of date'}: {scan.output}: {reason}")


def tell_end(scans, present, status, settings, options):
    """Who failed, and where the page is. Gives back the exit status."""
    target = digest(settings["target"] or GROUP_TARGET)
    failures = {scan.key: failure_of(scan, target) for scan in scans}
    failed = {key: reason for key, reason in failures.items() if reason}
    if status != 0 and not failed:
        raise Trouble(f"the workflow failed; {options.output}/{FOLDER}/snakemake.log tells why")
    page = write_page(scans, options)
    tell_left_out(options, failed)
    tell_out_of_date(present, target, options.clean)
    for key, reason in failed.items():
        say(f"failed: {key}: {reason}")
    say(f"{len(scans) - len(failed)} of {count(len(scans), 'scan')} came through" +
        (f"; the page is {os.path.join(options.output, page)}" if page else ""))
    return FAILED if failed else 0


def study(options):
    output = os.path.realpath(options.output)
    scans = find_scans(options, output)
    present = {scan.key for scan in scans}
    settings = settings_of(options, scans)
    if options.participant_label or options.session:
        scans = select(scans, options)
    for scan in scans:
        scan.voxels = records.voxels_of(scan)
    if options.dry_run:
        place = output
        while not os.path.isdir(place):
            place = os.path.dirname(place)
        with contextlib.chdir(place):
            tell_plan(scans, settings, options)
        return 0
    os.makedirs(output, exist_ok=True)
    with contextlib.chdir(output), alone(options.output) as lock:
        tell_plan(scans, settings, options)
        if settings["dataset"]:
            bids.describe_dataset(".", settings["dataset"], options.suffix, VERSION)
        records.write_jobs(scans, settings)
        status = run_workflow(options, lock)
        return tell_end(scans, present, status, settings, options)


def main(arguments=None):
    options = parse_arguments(arguments)
    try:
        return study(options)
    except (Trouble, ValueError) as trouble:
        message = str(trouble)
    except OSError as error:
        message = f"{error.filename}: {error.strerror}" if error.filename else error.strerror
    except KeyboardInterrupt:
        message = "interrupted; start it again to go on"
    say(f"{PROGRAM}: {message}", sys.stderr)
    return TROUBLE

#!/usr/bin/python3
# SPDX-License-Identifier: BSD-3-Clause
"""Runs tonalign, its plain transcription and the peers in turn and prints two Markdown tables.

    compare.py BUILD VOLUMES [--rounds N] [--plain-rounds N] [--threads N] [--only RUN...]

BUILD is the build directory of the bench preset, VOLUMES the directory of the Analyze pairs that
scripts/bench makes; results are written to a directory beside them and deleted again.

Every number is of a whole process, from its start to its end, files included. The programs of one run take
turns, so that whatever else the machine does meets all of them alike; a ratio is the median of the ratios
within the rounds. Programs that ran in fewer rounds (the transcription takes minutes) are compared by their
medians. The exit status is 1 when a bar is missed or a result differs from the transcription's.

This process stays small, and the histograms are compared in another one: the peak memory that the system
reports of a child is never below what its parent held when it started it.
"""

import argparse
import dataclasses
import filecmp
import os
import pathlib
import re
import shutil
import statistics
import struct
import subprocess
import sys
import time

HERE = pathlib.Path(__file__).resolve().parent
PYTHON = "/usr/bin/python3"  # Debian's own: the one that the Python packages are installed for
MEGABYTE = 1_000_000
BINS = "256"


@dataclasses.dataclass
class Program:
    """One of the programs that take turns, and what was measured of it."""

    name: str
    command: list
    threads: int
    result: pathlib.Path = None  # the matched volume
    reference: pathlib.Path = None  # the target, on the result's scale
    memory_bar: float = None  # in bytes
    input_voxels: int = None
    says_seconds: bool = False  # prints the seconds of its part instead of being timed as a whole
    rounds: int = None  # fewer than the others
    seconds: list = dataclasses.field(default_factory=list)
    processor_seconds: list = dataclasses.field(default_factory=list)
    peak_bytes: int = 0


@dataclasses.dataclass
class Bar:
    """Demands that first / second, in seconds, be at most (or at least) a limit."""

    what: str
    first: Program
    second: Program
    limit: float
    at_least: bool = False


@dataclasses.dataclass
class Run:
    key: str
    title: str
    programs: list
    bars: list
    before: tuple = None  # input and target, for the distance without any matching
    twin: tuple = None  # two programs whose files must be the same bytes


class Workplace:
    """Where the programs and volumes are; makes the command lines."""

    def __init__(self, build, volumes, options):
        self.build, self.volumes, self.options = build, volumes, options
        self.results = volumes / "results"

    def volume(self, name):
        return self.volumes / f"{name}.img"

    def voxels(self, name):
        header = (self.volumes / f"{name}.hdr").read_bytes()
        nx, ny, nz = struct.unpack_from("<3h", header, 42)
        return nx * ny * nz

    def usage1(self, source, target, directory):
        out = self.results / directory
        volumes = [self.volume(source), self.volume(target), out / "result.img", out / "mapped-target.img"]
        histograms = [out / f"{n}.hist" for n in ("input", "target", "result", "mapped-target")]
        return [*volumes, BINS, "0", "0", "1", *histograms], out

    def tonalign(self, source, target, threads=None, name="tonalign"):
        threads = threads or self.options.threads
        arguments, out = self.usage1(source, target, name.replace(" ", "-"))
        bar = 24 * self.voxels(source) + 9 * self.voxels(target) + 40 * MEGABYTE
        return Program(
            name, [self.build / "tonalign", *arguments], threads, out / "result.img",
            out / "mapped-target.img", bar, self.voxels(source),
        )

    def transcription(self, source, target):
        arguments, out = self.usage1(source, target, "transcription")
        return Program(
            "plain transcription", [self.build / "bench/plain_run", *arguments], 1, out / "result.img",
            out / "mapped-target.img", input_voxels=self.voxels(source), rounds=self.options.plain_rounds,
        )

    def exact_stage(self, source, target, threads):
        arguments, out = self.usage1(source, target, f"stage-{threads}")
        name = f"exact stage alone, {threads} threads" if threads > 1 else "exact stage alone, 1 thread"
        return Program(name, [self.build / "bench/exact_stage", *arguments], threads, says_seconds=True)

    def itk(self, source, target, threshold):
        name = "ITK" if threshold else "ITK, no threshold"
        out = self.results / name.replace(" ", "-") / "result.img"
        command = [self.build / "bench/peers/itk_match", self.volume(source), self.volume(target), out]
        return Program(name, [*command, str(int(threshold))], self.options.threads, out, self.volume(target),
                       input_voxels=self.voxels(source))

    def skimage(self, source, target):
        out = self.results / "scikit-image" / "result.img"
        command = [PYTHON, HERE / "peers/skimage_match.py", self.volume(source), self.volume(target), out]
        return Program("scikit-image", command, 1, out, self.volume(target),
                       input_voxels=self.voxels(source))


def peers_run(place, key, title, source, target, of_itk, of_skimage, of_transcription=None):
    ours, plain = place.tonalign(source, target), place.transcription(source, target)
    itk, unthresholded = place.itk(source, target, True), place.itk(source, target, False)
    skimage = place.skimage(source, target)
    bars = [
        Bar("tonalign / ITK", ours, itk, of_itk),
        Bar("tonalign / ITK, no threshold", ours, unthresholded, of_itk),
        Bar("tonalign / scikit-image", ours, skimage, of_skimage),
    ]
    programs = [ours, itk, unthresholded, skimage]
    if plain.rounds:
        programs.append(plain)
    if plain.rounds and of_transcription:
        bars.append(Bar("plain transcription / tonalign", plain, ours, of_transcription, at_least=True))
    before = (place.volume(source), place.volume(target))
    return Run(key, title, programs, bars, before, (ours, plain) if plain in programs else None)


def labels_run(place):
    head = place.tonalign("head", "brain", name="head")
    labels = place.tonalign("labels", "brain", name="label volume")
    regions = place.tonalign("regions", "brain", name="head of 100 regions")
    bars = [Bar(f"{other.name} / head", other, head, 3.0) for other in (labels, regions)]
    return Run("labels", "constant regions as input, matched to the brain", [head, labels, regions], bars)


def growth_run(place):
    coarse = place.tonalign("head", "brain", name="1 mm")
    fine = place.tonalign("head-finer", "brain-finer", name="0.5 mm")
    bars = [Bar("0.5 mm / 1 mm", fine, coarse, 10.0)]
    return Run("growth", "head matched to brain, both on a 1 mm and on a 0.5 mm grid", [coarse, fine], bars)


def threads_run(place, key, title, source, target):
    one, two = (place.exact_stage(source, target, threads) for threads in (1, 2))
    whole = [place.tonalign(source, target, 1, "whole run, 1 thread"),
             place.tonalign(source, target, 2, "whole run, 2 threads")]
    bars = [Bar("exact stage alone, 1 thread / 2 threads", one, two, 1.5, at_least=True)]
    return Run(key, title, [one, two, *whole], bars)


def all_runs(place):
    return [
        peers_run(place, "head", "head (181 x 217 x 181) matched to brain", "head", "brain", 0.75, 0.5),
        peers_run(place, "brain", "brain (181 x 217 x 181) matched to head", "brain", "head", 0.75, 0.5),
        peers_run(place, "average", "average (301 x 370 x 316) matched to head", "average", "head", 1.0, 0.6,
                  30.0),
        labels_run(place),
        growth_run(place),
        threads_run(place, "threads", "threads: head matched to brain", "head", "brain"),
        threads_run(place, "threads-average", "threads: average matched to head", "average", "head"),
    ]


def environment(threads):
    return {
        **os.environ,
        "OMP_NUM_THREADS": str(threads),
        "ITK_GLOBAL_DEFAULT_NUMBER_OF_THREADS": str(threads),
    }


def warm(file):
    """Has the system keep a file's bytes at hand, without holding them here."""
    with file.open("rb", buffering=0) as stream:
        while stream.read(MEGABYTE):
            pass


def measure(program, results):
    """One run of a program, from nothing: no result of an earlier run can pass for this one's."""
    log = results / "log"
    for directory in {file.parent for file in map(pathlib.Path, program.command) if results in file.parents}:
        shutil.rmtree(directory, ignore_errors=True)
        directory.mkdir()
    with log.open("w") as stream:
        start = time.perf_counter()
        process = subprocess.Popen(list(map(str, program.command)), stdout=stream, stderr=stream,
                                   env=environment(program.threads))
        _, status, usage = os.wait4(process.pid, 0)
        seconds = time.perf_counter() - start
    process.returncode = os.waitstatus_to_exitcode(status)
    text = log.read_text()
    said = re.search(r"exact stage seconds: (\S+)", text)
    # tonalign leaves with 0 when a volume cannot be read, so the result has to be there as well.
    done = said if program.says_seconds else program.result.is_file()
    if process.returncode != 0 or not done:
        sys.exit(f"{' '.join(map(str, program.command))}\nfailed, status {process.returncode}:\n{text}")
    program.seconds.append(float(said[1]) if program.says_seconds else seconds)
    program.processor_seconds.append(usage.ru_utime + usage.ru_stime)
    program.peak_bytes = max(program.peak_bytes, usage.ru_maxrss * 1024)


def take_turns(run, place):
    for round_number in range(place.options.rounds):
        for program in run.programs:
            if program.rounds is None or round_number < program.rounds:
                measure(program, place.results)
        print(f"  {run.key}: round {round_number + 1} of {place.options.rounds}", file=sys.stderr)


def ratio(first, second):
    """Median of the paired ratios, with their extremes; of the medians when the rounds differ."""
    if len(first.seconds) != len(second.seconds):
        value = statistics.median(first.seconds) / statistics.median(second.seconds)
        return value, "medians"
    ratios = [a / b for a, b in zip(first.seconds, second.seconds)]
    return statistics.median(ratios), f"{min(ratios):.2f} to {max(ratios):.2f}"


def distance(volume, reference):
    command = [PYTHON, HERE / "histogram_distance.py", volume, reference]
    output = subprocess.run(command, check=True, capture_output=True, text=True).stdout
    return "{:.2g} | {:.2g}".format(*map(float, output.split()))


def print_machine(place):
    model = re.search(r"model name\s*: (.*)", pathlib.Path("/proc/cpuinfo").read_text())
    print(f"\nMeasured on {model[1] if model else 'an unnamed processor'}, {os.cpu_count()} of them, "
          f"{BINS} bins, warm files.")


def print_run(run):
    print(f"\n### {run.title}\n")
    print(f"Load of the machine, ours included: {os.getloadavg()[1]:.1f} over five minutes.\n")
    print("| program | threads | rounds | seconds | least to most | processor seconds | peak MB "
          "| bytes per input voxel | distance | running sums |")
    print("|---|--:|--:|--:|--:|--:|--:|--:|--:|--:|")
    if run.before:
        print(f"| (before matching) | | | | | | | | {distance(*run.before)} |", flush=True)
    for program in run.programs:
        seconds = program.seconds
        apart = distance(program.result, program.reference) if run.before else " | "
        per_voxel = f"{program.peak_bytes / program.input_voxels:.1f}" if program.input_voxels else ""
        print(f"| {program.name} | {program.threads} | {len(seconds)} | {statistics.median(seconds):.3f} "
              f"| {min(seconds):.3f} to {max(seconds):.3f} | {statistics.median(program.processor_seconds):.3f} "
              f"| {program.peak_bytes / MEGABYTE:.0f} | {per_voxel} | {apart} |", flush=True)


def judge(run):
    """Prints a line per demand; whether all are met."""
    lines = []
    for bar in run.bars:
        value, spread = ratio(bar.first, bar.second)
        met = value >= bar.limit if bar.at_least else value <= bar.limit
        wanted = f"at {'least' if bar.at_least else 'most'} {bar.limit:g}"
        lines.append((bar.what, f"{value:.2f} ({spread})", wanted, met))
    for program in run.programs:
        if program.memory_bar:
            lines.append((f"peak memory, {program.name}", f"{program.peak_bytes / MEGABYTE:.0f} MB",
                          f"at most {program.memory_bar / MEGABYTE:.0f} MB",
                          program.peak_bytes <= program.memory_bar))
    if run.twin:
        mine, other = (program.result.parent for program in run.twin)
        names = sorted(file.name for file in other.iterdir())
        _, different, missing = filecmp.cmpfiles(mine, other, names, shallow=False)
        lines.append(("files that differ from the transcription's", str(len(different + missing)),
                      f"0 of {len(names)}", not (different or missing)))
    print("\n| demand | measured | wanted | met |\n|---|--:|--:|---|")
    for what, measured, wanted, met in lines:
        print(f"| {what} | {measured} | {wanted} | {'yes' if met else '**no**'} |", flush=True)
    return all(met for *_, met in lines)


def options():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("build", type=pathlib.Path)
    parser.add_argument("volumes", type=pathlib.Path)
    parser.add_argument("--rounds", type=int, default=5)
    parser.add_argument("--plain-rounds", type=int, default=1, help="of the transcription; 0 leaves it out")
    parser.add_argument("--threads", type=int, default=2)
    parser.add_argument("--only", nargs="+", metavar="RUN", help="some of the runs, by their short names")
    return parser.parse_args()


def main():
    chosen = options()
    place = Workplace(chosen.build.resolve(), chosen.volumes.resolve(), chosen)
    runs = all_runs(place)
    unknown = set(chosen.only or ()) - {run.key for run in runs}
    if unknown:
        sys.exit(f"no such run: {', '.join(unknown)}; there are {', '.join(run.key for run in runs)}")
    # The same processors for every program, however many it would like.
    os.sched_setaffinity(0, sorted(os.sched_getaffinity(0))[: max(2, chosen.threads)])
    place.results.mkdir(exist_ok=True)
    for file in chosen.volumes.glob("*.img"):
        warm(file)
    print_machine(place)
    all_met = True
    for run in runs:
        if chosen.only and run.key not in chosen.only:
            continue
        take_turns(run, place)
        print_run(run)
        all_met &= judge(run)
        shutil.rmtree(place.results)
        place.results.mkdir()
    sys.exit(0 if all_met else 1)


main()

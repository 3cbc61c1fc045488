#!/usr/bin/python3
# SPDX-License-Identifier: BSD-3-Clause
"""Runs tonalign, its plain transcription and the peers in turn and prints two Markdown tables for each comparison.

BUILD is the build directory of the bench preset, in which scripts/bench makes the Analyze pairs; results are written
to a directory beside them and deleted again.

Every number is of a whole process, from its start to its end, files included. The programs of one run take turns, so
that whatever else the machine does meets all of them alike; a ratio is the median of the ratios within the rounds.
Programs that ran in fewer rounds (the transcription takes minutes) are compared by their medians. The exit status is 1
when a bar is missed or a result differs from the transcription's.

This process stays small, and the histograms are compared in another one: the peak memory that the system reports of a
child is never below what its parent held when it started it.
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
HARD = ("regions", "plateau", "specks", "checkerboard", "blocks", "two-levels", "jitter", "noise", "ramp")
BINS = "256"


@dataclasses.dataclass
class Program:
    """One of the programs that take turns, and what was measured of it."""

    name: str
    command: list
    source: pathlib.Path  # the input volume
    target: pathlib.Path  # the target as the result is compared with it
    threads: int = 1
    result: pathlib.Path = None  # the matched volume; without one the program prints the seconds to be counted
    memory_bar: float = None  # in bytes
    rounds: int = None  # fewer than the others
    seconds: list = dataclasses.field(default_factory=list)
    processor_seconds: list = dataclasses.field(default_factory=list)
    peak_bytes: int = 0


@dataclasses.dataclass
class Run:
    """Programs to measure together. A bar demands first / second at most, or at least, a limit, in seconds."""

    title: str
    programs: list
    bars: list  # (first, second, "at most" or "at least", limit)
    against_peers: bool = False  # with distances, and the first program's files compared with the last one's


class Programs:
    """Makes the command lines."""

    def __init__(self, options):
        self.options, self.build = options, options.build.resolve()
        self.volumes, self.results = self.build / "volumes", self.build / "results"

    def volume(self, name):
        return self.volumes / f"{name}.img"

    def like_tonalign(self, program, name, source, target, threads, **more):
        out = self.results / name.replace(" ", "-")
        volumes = [self.volume(source), self.volume(target), out / "result.img", out / "mapped-target.img"]
        histograms = [out / f"{n}.hist" for n in ("input", "target", "result", "mapped-target")]
        command = [self.build / program, *volumes, BINS, "0", "0", "1", *histograms]
        return Program(name, command, volumes[0], volumes[3], threads, **{"result": volumes[2], **more})

    def tonalign(self, source, target, name="tonalign", threads=None):
        files = sum(self.volume(volume).stat().st_size for volume in (source, target))
        bar = files + voxels(self.volume(source)) + 25 * MEGABYTE
        return self.like_tonalign("tonalign", name, source, target, threads or self.options.threads, memory_bar=bar)

    def exact_stage(self, source, target, threads):
        name = f"exact stage alone, {threads} thread{'s'[:threads > 1]}"
        return self.like_tonalign("bench/exact_stage", name, source, target, threads, result=None)

    def peer(self, name, command, source, target, threads, *more):
        out = self.results / name.replace(" ", "-") / "result.img"
        volumes = self.volume(source), self.volume(target)
        return Program(name, [*command, *volumes, out, *more], *volumes, threads, out)

    def against_peers(self, title, *names, of_itk, of_skimage, of_plain=None):
        ours, threads, itk = self.tonalign(*names), self.options.threads, [self.build / "bench/itk_match"]
        itks = [self.peer(f"ITK{what}", itk, *names, threads, on) for what, on in (("", "1"), (", no threshold", "0"))]
        skimage = self.peer("scikit-image", [PYTHON, HERE / "peers/skimage_match.py"], *names, 1)
        bars = [(ours, peer, "at most", of_itk) for peer in itks] + [(ours, skimage, "at most", of_skimage)]
        programs = [ours, *itks, skimage]
        if self.options.plain_rounds:
            rounds = self.options.plain_rounds
            programs.append(self.like_tonalign("bench/plain_run", "plain transcription", *names, 1, rounds=rounds))
            bars += [(programs[-1], ours, "at least", of_plain)] if of_plain else []
        return Run(title, programs, bars, True)

    def in_relation(self, title, limit, *ours):
        """The programs beside the first of them."""
        return Run(title, list(ours), [(other, ours[0], "at most", limit) for other in ours[1:]])

    def on_threads(self, title, limit, *names):
        stages = [self.exact_stage(*names, threads) for threads in (1, 2)]
        whole = [self.tonalign(*names, name=f"whole run, {n}", threads=int(n[0])) for n in ("1 thread", "2 threads")]
        return Run(title, stages + whole, [(*whole, "at least", limit)])

    def beside_another_build(self, *sources):
        """Processor seconds of one thread, in pairs; these have no bar."""
        programs = []
        for source in sources:
            ours = self.tonalign(source, "brain", name=source, threads=1)
            command = [self.options.other.resolve() / "tonalign", *ours.command[1:]]
            programs += [ours, dataclasses.replace(ours, name=f"{source}, other build", command=command, seconds=[],
                                                   processor_seconds=[], memory_bar=None)]  # fmt: skip
        return Run("this build beside another one", programs, [])

    def all_runs(self):
        brain = "brain (181 x 217 x 181)"
        runs = {
            "head": self.against_peers(f"head matched to {brain}", "head", "brain", of_itk=0.2, of_skimage=0.12),
            "brain": self.against_peers(f"{brain} matched to head", "brain", "head", of_itk=0.2, of_skimage=0.12),
            "average": self.against_peers(
                "average (301 x 370 x 316) matched to head", "average", "head", of_itk=0.25, of_skimage=0.12, of_plain=30.0
            ),
            "hard": self.in_relation(
                "volumes made to defeat the counting, matched to the brain",
                6.0,
                *(self.tonalign(name, "brain", name=name, threads=1) for name in ("head", "labels", *HARD)),
            ),
            "thin": self.in_relation(
                "4 million voxels in a cube and in one slice, matched to the brain",
                1.5,
                *(self.tonalign(name, "brain", name=name, threads=1) for name in ("cube", "slice")),
            ),
            "growth": self.in_relation(
                "head matched to brain, both on a 1 mm and on a 0.5 mm grid",
                8.4,
                self.tonalign("head", "brain", name="1 mm"),
                self.tonalign("head-finer", "brain-finer", name="0.5 mm"),
            ),
            "threads": self.on_threads("threads: head matched to brain", 1.4, "head", "brain"),
            "threads-average": self.on_threads("threads: average matched to head", 1.6, "average", "head"),
        }
        if self.options.other:
            runs["other"] = self.beside_another_build("head", "average", "labels", "shorts", "floats", "doubles", *HARD)
        return runs


def voxels(image):
    nx, ny, nz = struct.unpack_from("<3h", image.with_suffix(".hdr").read_bytes(), 42)
    return nx * ny * nz


def warm(file):
    """Has the system keep a file's bytes at hand, without holding them here."""
    with file.open("rb", buffering=0) as stream:
        while stream.read(MEGABYTE):
            pass


def measure(program, results):
    """One run of a program, from nothing: no result of an earlier run can pass for this one's."""
    for folder in {file.parent for file in map(pathlib.Path, program.command) if results in file.parents}:
        shutil.rmtree(folder, ignore_errors=True)
        folder.mkdir()
    threads = dict.fromkeys(("OMP_NUM_THREADS", "ITK_GLOBAL_DEFAULT_NUMBER_OF_THREADS"), str(program.threads))
    with (results / "log").open("w") as log:
        start = time.perf_counter()
        process = subprocess.Popen(program.command, stdout=log, stderr=log, env=os.environ | threads)
        _, status, usage = os.wait4(process.pid, 0)
        seconds = time.perf_counter() - start
    process.returncode = os.waitstatus_to_exitcode(status)
    text = (results / "log").read_text()
    said = re.search(r"exact stage seconds: (\S+)", text)
    # tonalign leaves with 0 when a volume cannot be read, so the result has to be there as well.
    if process.returncode != 0 or not (program.result.is_file() if program.result else said):
        sys.exit(f"{' '.join(map(str, program.command))}\nfailed, status {process.returncode}:\n{text}")
    program.seconds.append(seconds if program.result else float(said[1]))
    program.processor_seconds.append(usage.ru_utime + usage.ru_stime)
    program.peak_bytes = max(program.peak_bytes, usage.ru_maxrss * 1024)


def take_turns(key, run, options, results):
    for number in range(options.rounds):
        for program in run.programs:
            if program.rounds is None or number < program.rounds:
                measure(program, results)
        print(f"  {key}: round {number + 1} of {options.rounds}", file=sys.stderr)


def ratio(first, second):
    """Median of the paired ratios, with their extremes; of the medians when the rounds differ."""
    if len(first.seconds) != len(second.seconds):
        return statistics.median(first.seconds) / statistics.median(second.seconds), "medians"
    ratios = [a / b for a, b in zip(first.seconds, second.seconds)]
    return statistics.median(ratios), f"{min(ratios):.2f} to {max(ratios):.2f}"


def distance(volume, other):
    command = [PYTHON, HERE / "volumes.py", "distance", volume, other]
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout.strip()


def print_row(*cells):
    print("|", " | ".join(map(str, cells)), "|", flush=True)


def print_run(run):
    print(f"\n### {run.title}\n\nLoad of the machine, ours included: {os.getloadavg()[1]:.1f} over five minutes.\n")
    print_row("program", "threads", "rounds", "seconds", "least to most", "processor seconds", "peak MB",
              "bytes per input voxel", "distance", "running sums")  # fmt: skip
    print_row("---", *["--:"] * 9)
    first = run.programs[0]
    if run.against_peers:
        target = run.programs[1].target
        print_row("(before matching)", *[""] * 7, distance(first.source, target))
    for program in run.programs:
        seconds, peak = program.seconds, program.peak_bytes
        print_row(
            program.name,
            program.threads,
            len(seconds),
            f"{statistics.median(seconds):.3f}",
            f"{min(seconds):.3f} to {max(seconds):.3f}",
            f"{statistics.median(program.processor_seconds):.3f}",
            f"{peak / MEGABYTE:.0f}",
            f"{peak / voxels(program.source):.1f}",
            distance(program.result, program.target) if run.against_peers else " | ",
        )


def judge(run):
    """Prints a line per demand; whether all are met."""
    lines = []
    for first, second, at, limit in run.bars:
        value, spread = ratio(first, second)
        met = value <= limit if at == "at most" else value >= limit
        lines.append((f"{first.name} / {second.name}", f"{value:.2f} ({spread})", f"{at} {limit:g}", met))
    for program in run.programs:
        if program.memory_bar:
            found, bar = (f"{size / MEGABYTE:.0f} MB" for size in (program.peak_bytes, program.memory_bar))
            lines.append((f"peak memory, {program.name}", found, f"at most {bar}", program.peak_bytes <= program.memory_bar))
    if run.programs[-1].rounds:
        ours, plain = (program.result.parent for program in (run.programs[0], run.programs[-1]))
        names = sorted(os.listdir(plain))
        wrong = len(sum(filecmp.cmpfiles(ours, plain, names, shallow=False)[1:], []))
        lines.append(("files that differ from the transcription's", wrong, f"0 of {len(names)}", not wrong))
    print()
    print_row("demand", "measured", "wanted", "met")
    print_row("---", "--:", "--:", "---")
    for *cells, met in lines:
        print_row(*cells, "yes" if met else "**no**")
    return all(met for *_, met in lines)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("build", metavar="BUILD", type=pathlib.Path)
    parser.add_argument("--rounds", type=int, default=5)
    parser.add_argument("--plain-rounds", type=int, default=1, help="of the transcription; 0 leaves it out")
    parser.add_argument("--threads", type=int, default=2, help="of tonalign and ITK")
    parser.add_argument("--other", type=pathlib.Path, metavar="BUILD", help="measure beside the tonalign in there as well")
    parser.add_argument("--only", nargs="+", metavar="RUN", help="some of the runs, by their short names")
    options = parser.parse_args()
    place = Programs(options)
    runs = place.all_runs()
    if not runs.keys() >= set(options.only or ()):
        parser.error(f"the runs are {', '.join(runs)}")
    # The same processors for every program, however many it would like.
    os.sched_setaffinity(0, sorted(os.sched_getaffinity(0))[: max(2, options.threads)])
    for file in place.volumes.glob("*.img"):
        warm(file)
    model = re.search(r"model name\s*: (.*)", pathlib.Path("/proc/cpuinfo").read_text())
    print(f"\nMeasured on {model[1] if model else 'an unnamed processor'}, {os.cpu_count()} of them, {BINS} bins, warm files.")
    all_met = True
    for key in options.only or runs:
        place.results.mkdir(exist_ok=True)
        take_turns(key, runs[key], options, place.results)
        print_run(runs[key])
        all_met &= judge(runs[key])
        shutil.rmtree(place.results)
    sys.exit(0 if all_met else 1)


main()

# SPDX-License-Identifier: BSD-3-Clause
"""tonalign-nifti: matching and averaging of NIfTI files, and of whatever else nibabel reads and writes."""

import argparse
import contextlib
import json
import os
import pathlib
import signal
import sys
import tempfile
import time
import warnings
import zlib

import numpy

import tonalign
from tonalign.matching import match_volume
from tonalign.volumes import Volume, image_like, load

PROGRAM = "tonalign-nifti"
FAILED = 2


class Trouble(Exception):
    """What ends the program with one line."""


class Parser(argparse.ArgumentParser):
    def error(self, message):
        self.exit(FAILED, f"{self.prog}: {message}; see {self.prog} --help\n")


def parse_arguments(arguments):
    parser = Parser(prog=PROGRAM, description=__doc__, epilog="Exit status: 0 for success, 2 for every failure.")
    parser.add_argument("--version", action="version", version=f"{PROGRAM} {tonalign.__version__}")
    commands = parser.add_subparsers(dest="command", required=True, metavar="COMMAND")

    match = commands.add_parser("match", help="give a scan the histogram of a target exactly")
    match.add_argument("input", help="the scan")
    match.add_argument("target", help="a scan, or a .hist file")
    match.add_argument("output", help="the matched scan; its ending chooses the format: .nii, .nii.gz, .mgz ...")
    match.add_argument("--mask", metavar="M", help="the scan's foreground: not 0 inside")
    match.add_argument("--target-mask", metavar="M", help="the same of the target")
    match.add_argument("--bins", metavar="N", type=int, default=256, help="256 by default; a .hist file brings its own")
    match.add_argument("--sigma", metavar="S", type=float, default=0.0, help="smoothing of the target, in bins")
    match.add_argument("--endpoints", action="store_true", help="map the ends of the range to the target's first")
    match.add_argument("--clip", metavar="P", type=float, help="percentile at which the range of the bins ends")
    match.add_argument("--classic", action="store_true", help="the whole run of tonalign: values from 0 to 255")
    match.add_argument("--outside", metavar="V", help='what background becomes: a number, or "keep"')
    match.add_argument("--volume", metavar="I", type=int, help="of a 4-D input, counted from 0")
    match.add_argument("--histogram-before", metavar="F", help="write the scan's histogram")
    match.add_argument("--histogram-after", metavar="F", help="write the result's")
    match.add_argument("--histogram-target", metavar="F", help="write the target's")
    match.add_argument("--log", metavar="FILE.json", help="write what was done")

    average = commands.add_parser("average", help="make one target from several scans")
    average.add_argument("scans", nargs="+", metavar="SCAN")
    average.add_argument("-o", "--output", metavar="OUT.hist", required=True, help="the histogram file to write")
    average.add_argument("--masks", nargs="+", metavar="M", help="as many as scans, in their order; -- ends them")
    average.add_argument("--bins", metavar="N", type=int, default=256, help="256 by default")
    average.add_argument("--clip", metavar="P", type=float, default=99.9, help="99.9 by default, 100 for none")
    average.add_argument("--smooth", metavar="S", type=float, default=0.0, help="smoothing of the mean, in bins")
    average.add_argument("--leave-out", metavar="SCAN", action="append", default=[], help="measure but do not count it")
    average.add_argument("--leave-out-outliers", metavar="Z", type=float, help="beyond Z robust standard deviations")
    for command in (match, average):
        command.add_argument("--threads", metavar="N", type=int, help="as many as the machine has by default")
        command.add_argument("-q", "--quiet", action="store_true", help="say nothing but of failures")
    return parser.parse_args(arguments)


class Progress:
    """What the program is doing, on one line of a terminal and nowhere else."""

    def __init__(self, quiet):
        self.shown = not quiet and sys.stderr.isatty()

    def __call__(self, text):
        if self.shown:
            sys.stderr.write(f"\r\033[K{text}")
            sys.stderr.flush()


@contextlib.contextmanager
def naming(file):
    """Whatever goes wrong with the file ends the program with one line that names it."""
    try:
        yield
    except (OSError, EOFError, zlib.error, ValueError, TypeError, KeyError) as problem:
        reason = " ".join((getattr(problem, "strerror", None) or str(problem)).split())
        raise Trouble(reason if reason.startswith(f"{file}: ") else f"{file}: {reason}") from problem
    except Exception as problem:  # nibabel's own, which have no common base
        if not type(problem).__module__.startswith("nibabel"):
            raise
        raise Trouble(f"{file}: {' '.join(str(problem).split())}") from problem


@contextlib.contextmanager
def told():
    """What is wrong with arguments and volumes ends the program with the line that says so."""
    try:
        yield
    except ValueError as problem:
        raise Trouble(str(problem)) from problem


def read(file, chosen=None):
    """The volume of a file; of a 4-D one the chosen volume."""
    with naming(file):
        image = load(file)
        extra = [n for n in image.shape[3:] if n != 1]
        if chosen is not None:
            if len(image.shape) != 4:
                raise ValueError(f"--volume is for 4-D files; found the shape {image.shape}")
            if not 0 <= chosen < image.shape[3]:
                raise ValueError(f"there is no volume {chosen}; they are 0 to {image.shape[3] - 1}")
            image = image.slicer[..., chosen]
        elif extra:
            raise ValueError(f"there are {image.shape[3]} volumes in it; choose one with --volume")
        return Volume(image, file)


@contextlib.contextmanager
def written_whole(file):
    """Yields the name under which to write a file; it gets its own, on the disk, when it is complete.

    An image of two files comes with its header last, which says what the other one holds.
    """
    file = pathlib.Path(os.path.realpath(file))
    with naming(file), tempfile.TemporaryDirectory(prefix=".tonalign-", dir=file.parent) as folder:
        unfinished = pathlib.Path(folder) / file.name
        yield unfinished
        parts = sorted(pathlib.Path(folder).iterdir(), key=lambda part: part.suffix == ".hdr")
        for part in parts:
            with open(part, "rb") as content:
                os.fsync(content.fileno())
        if len(parts) > 1:
            file.with_suffix(".hdr").unlink(missing_ok=True)
        for part in parts:
            os.replace(part, file.parent / part.name)


def check_outputs(options):
    """Refuses an output that would replace an input, or another output, before anything is read."""
    inputs = [options.input, options.target, options.mask, options.target_mask]
    outputs = [options.output, options.histogram_before, options.histogram_after, options.histogram_target, options.log]
    places = [os.path.realpath(name) for name in inputs if name]
    for name in filter(None, outputs):
        if os.path.realpath(name) in places:
            raise Trouble(f"{name}: the output is also an input, or another output")
        places.append(os.path.realpath(name))
        if not os.path.isdir(os.path.dirname(places[-1])):
            raise Trouble(f"{name}: there is no such folder")


def save_image(image, file):
    import nibabel

    with written_whole(file) as unfinished:
        try:
            nibabel.save(image, unfinished)
        except nibabel.filebasedimages.ImageFileError:
            raise ValueError("no format that can be written has this ending") from None


def parse_outside(text):
    try:
        return text if text in (None, "keep") else float(text)
    except ValueError:
        raise Trouble(f'--outside: a number or "keep" is expected; found "{text}"') from None


def match(options, progress):
    started = time.monotonic()
    check_outputs(options)
    outside = parse_outside(options.outside)
    if options.classic and (options.mask or options.target_mask or options.clip is not None or outside is not None):
        raise Trouble("--classic is the run of tonalign, which knows no masks, --clip and --outside")
    progress(f"reading {options.input}")
    scan = read(options.input, options.volume)
    mask, target_mask = (read(name).image if name else None for name in (options.mask, options.target_mask))
    progress(f"reading {options.target}")
    with naming(options.target):
        by_file = options.target.endswith(".hist")
        target = tonalign.Target.load(options.target) if by_file else read(options.target).image
    progress("matching")
    core_started = time.monotonic()
    with told():
        if options.classic:
            run = tonalign.normalise(
                scan.image, target, bins=options.bins, sigma=options.sigma, endpoints=options.endpoints,
                threads=options.threads,
            )
            result = numpy.asanyarray(run.volume.dataobj).reshape(scan.array.shape)
            before, after, reached, foreground = run.before, run.after, run.target_after, run.foreground
        else:
            result, found = match_volume(
                scan, target, mask, target_mask, options.bins, options.sigma, options.endpoints, outside, options.clip,
                options.threads,
            )
            found = found()
            before, after, reached, foreground = found.before, found.after, found.target, found.foreground
    core_seconds = time.monotonic() - core_started
    progress(f"writing {options.output}")
    image = image_like(scan.image, result)
    save_image(image, options.output)
    for histogram, name in (
        (before, options.histogram_before),
        (after, options.histogram_after),
        (reached, options.histogram_target),
    ):
        if name:
            with naming(name):
                histogram.save(name)
    if options.log:
        log = {
            "program": f"{PROGRAM} {tonalign.__version__}",
            **{name: value for name, value in vars(options).items() if name not in ("command", "quiet", "log")},
            "bins": before.centres.size,
            "voxels": result.size,
            "foreground_voxels": foreground,
            "distance_before": before.distance(reached),
            "distance_after": after.distance(reached),
            "histograms": {
                name: {"centres": h.centres.tolist(), "frequencies": h.frequencies.tolist()}
                for name, h in (("before", before), ("after", after), ("target", reached))
            },
            "matching_seconds": round(core_seconds, 3),
            "seconds": round(time.monotonic() - started, 3),
        }
        with written_whole(options.log) as unfinished:
            lines = ",\n".join(f"  {json.dumps(name)}: {json.dumps(value)}" for name, value in log.items())
            unfinished.write_text(f"{{\n{lines}\n}}\n", encoding="utf-8")
    progress("")
    if not options.quiet:
        sizes = " x ".join(str(n) for n in result.shape)
        print(
            f"{options.output}: {sizes} voxels, {result.min():g} to {result.max():g};"
            f" distance from the target {before.distance(reached):.3g}, now {after.distance(reached):.3g}"
        )


def average(options, progress):
    masks = options.masks or [None] * len(options.scans)
    if len(masks) != len(options.scans):
        raise Trouble(f"there are {len(options.scans)} scans, but {len(masks)} masks")
    for name in options.leave_out:
        if name not in options.scans:
            raise Trouble(f"--leave-out {name}: there is no such scan")
    if os.path.realpath(options.output) in map(os.path.realpath, filter(None, [*options.scans, *masks])):
        raise Trouble(f"{options.output}: the output is also an input")

    def scans():
        for number, scan in enumerate(options.scans, 1):
            progress(f"{number}/{len(options.scans)} {scan}")
            yield read(scan).image

    with told():
        target = tonalign.Target.fit(
            scans(), masks=(read(mask).image if mask else None for mask in masks), bins=options.bins, clip=options.clip,
            smooth=options.smooth, leave_out=options.leave_out, leave_out_outliers=options.leave_out_outliers,
            threads=options.threads,
        )
    with naming(options.output):
        target.save(options.output)
    progress("")
    if not options.quiet:
        for scan in target.scans:
            print(f"{scan.name}: distance from the others {scan.distance:.3g}{', left out' if scan.left_out else ''}")


def main(arguments=None):
    options = parse_arguments(arguments)
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(128 + signal.SIGTERM))  # so that nothing unfinished stays
    progress = Progress(options.quiet)
    warnings.showwarning = lambda message, *_: print(f"{PROGRAM}: {message}", file=sys.stderr)
    try:
        (match if options.command == "match" else average)(options, progress)
        sys.stdout.flush()
    except Trouble as trouble:
        message = str(trouble)
    except ModuleNotFoundError as error:
        message = str(error)
    except MemoryError:
        message = "memory ran out"
    except KeyboardInterrupt:
        message = "interrupted"
    except OSError as error:
        message = f"standard output: {error.strerror}"
    else:
        return 0
    progress("")
    print(f"{PROGRAM}: {message}", file=sys.stderr)
    return FAILED

"""The command line: arguments in, one page out."""

import argparse
import os
import pathlib
import sys
import tempfile

from . import VERSION
from .page import Row, page, section
from .scan import find_shared_outputs, open_log, read_files

EXPLANATION = """
A LOG is what one run of tonalign printed on standard output; its standard
error may be in it too. The files of the run are found through it.

Exit status: 0 when the page was written and every scan is sound or has
warnings only, 1 when the page was written and some scan failed, 2 when the
arguments are wrong or the page cannot be written.
"""


def parse_arguments(arguments):
    parser = argparse.ArgumentParser(
        prog="tonalign-report",
        description="Writes one HTML page about one or many runs of tonalign.",
        epilog=EXPLANATION,
        formatter_class=argparse.RawDescriptionHelpFormatter,
    )
    parser.add_argument("-o", dest="output", metavar="FILE", default="report.html", help="the page (report.html)")
    parser.add_argument(
        "-C", dest="folder", metavar="FOLDER", default=".", help="the folder in which the runs were started (this one)"
    )
    parser.add_argument("--title", metavar="TEXT", default="Intensity normalisation", help="title of the page")
    parser.add_argument("--version", action="version", version=f"tonalign-report {VERSION}")
    parser.add_argument("logs", metavar="LOG", nargs="+", help="the log of one run")
    options = parser.parse_args(arguments)
    page_file = os.path.realpath(options.output)
    if page_file in map(os.path.realpath, options.logs):
        parser.error(f"{options.output} is one of the logs; the page needs a name of its own")
    if not os.path.isdir(os.path.dirname(page_file)) or os.path.isdir(page_file):
        # Before the volumes are read, which takes its time.
        parser.error(f"{options.output}: the page cannot be written: no such folder, or a folder itself")
    return options


def name_scans(scans):
    """By the name of the log, or by as much of its path as tells it from the others."""
    stems = [pathlib.Path(scan.log).stem for scan in scans]
    for scan, stem in zip(scans, stems):
        scan.name = stem if stems.count(stem) == 1 else scan.log


def write_whole(path, text):
    """Puts the page in place when it is complete, or leaves what was there."""
    path = pathlib.Path(os.path.realpath(path))
    handle, temporary = tempfile.mkstemp(prefix=f".{path.name}.", dir=path.parent)
    try:
        with os.fdopen(handle, "w", encoding="utf-8") as file:
            file.write(text)
            file.flush()
            os.fsync(file.fileno())
        mask = os.umask(0)
        os.umask(mask)
        os.chmod(temporary, 0o666 & ~mask)
        os.replace(temporary, path)
    except BaseException:
        os.unlink(temporary)
        raise


def show_progress(done, total):
    if sys.stderr.isatty():
        print(f"\r{done} of {total} scans", end="\n" if done == total else "", file=sys.stderr, flush=True)


def main(arguments=None):
    options = parse_arguments(arguments)
    scans = [open_log(log) for log in dict.fromkeys(options.logs)]
    name_scans(scans)
    find_shared_outputs(scans, options.folder)
    entries = []
    for number, scan in enumerate(scans, 1):
        read_files(scan, options.folder)
        anchor = f"scan-{number}"
        entries.append((scan.badness(), Row(scan, anchor), section(scan, anchor)))
        scan.volumes = scan.histograms = None  # they are drawn; the next scan needs the memory
        show_progress(number, len(scans))
    entries.sort(key=lambda entry: entry[0])
    _, rows, sections = zip(*entries)
    try:
        write_whole(options.output, page(options.title, rows, sections))
    except OSError as error:
        print(f"tonalign-report: {options.output}: {error.strerror}", file=sys.stderr)
        return 2
    failed = [scan for scan in scans if scan.failures]
    for scan in failed:
        reason = scan.failures[0].encode("utf-8", "replace").decode()
        print(f"tonalign-report: {scan.log}: {reason}", file=sys.stderr)
    return 1 if failed else 0

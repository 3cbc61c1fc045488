# SPDX-License-Identifier: BSD-3-Clause
"""The command line: arguments in, one page out."""

import argparse
import os
import pathlib
import stat

from . import VERSION
from .page_file import require_writable, status_of, write_page
from .texts import NAME_BYTES, put, say, shortened

EXPLANATION = """
A LOG is what one run of tonalign printed on standard output; its standard
error may be in it too. The files of the run are found through it.

Exit status: 0 when the page was written and every scan is sound or has
warnings only, 1 when the page was written and some scan failed, 2 when the
arguments are wrong or the page cannot be written.
"""
TROUBLE = 2


class Print(argparse.Action):
    """Prints a text and ends: argparse's own actions take a text that nobody got for printed."""

    def __call__(self, parser, *_):
        if put(1, self.const or parser.format_help()):
            parser.exit()
        say("standard output cannot be written")
        parser.exit(TROUBLE)


class Parser(argparse.ArgumentParser):
    def error(self, message):
        put(2, self.format_usage())
        say(f"error: {message}")
        self.exit(TROUBLE)


def parse_arguments(arguments):
    parser = Parser(
        prog="tonalign-report",
        description="Writes one HTML page about one or many runs of tonalign.",
        epilog=EXPLANATION,
        formatter_class=argparse.RawDescriptionHelpFormatter,
        add_help=False,
    )
    parser.add_argument("-h", "--help", action=Print, nargs=0, help="show this help message and exit")
    parser.add_argument("-o", dest="output", metavar="FILE", default="report.html", help="the page (report.html)")
    parser.add_argument(
        "-C", dest="folder", metavar="FOLDER", default=".", help="the folder in which the runs were started (this one)"
    )
    parser.add_argument("--title", metavar="TEXT", default="Intensity normalisation", help="title of the page")
    version = f"tonalign-report {VERSION}\n"
    parser.add_argument(
        "--version", action=Print, nargs=0, const=version, help="show program's version number and exit"
    )
    parser.add_argument("logs", metavar="LOG", nargs="+", help="the log of one run")
    return parser.parse_args(arguments)


def name_scans(scans):
    """By the name of the log, or by as much of its path as tells it from the others."""
    stems = [pathlib.Path(scan.log).stem for scan in scans]
    for scan, stem in zip(scans, stems):
        scan.name = shortened(stem if stems.count(stem) == 1 else scan.log, NAME_BYTES)


def require_no_file_of(scans, options):
    """By the file itself, whatever names lead to it. What is no regular file holds nothing that could be lost."""
    page = status_of(options.output)
    if not page or not stat.S_ISREG(page.st_mode):
        return
    for scan in scans:
        for file in scan.all_files(options.folder):
            try:
                same = os.path.samestat(page, os.stat(file))
            except (OSError, ValueError):  # it is not there, or is no name at all
                continue
            if same:
                raise OSError(None, f"belongs to the run of {scan.log}; the page needs a name of its own")


def show_progress(done, total):
    if os.isatty(2):
        put(2, f"\r{done} of {total} scans" + ("\n" if done == total else ""))


def make_page(scans, options):
    from .page import looks, page
    from .scan import find_shared_outputs, judge_cohort, read_files
    from .strips import strip_plots

    find_shared_outputs(scans, options.folder)
    for number, scan in enumerate(scans, 1):
        scan.anchor = f"scan-{number}"
        read_files(scan, options.folder)
        if not scan.failures:
            scan.looks = looks(scan)
        for volume in filter(None, scan.volumes.values()):
            volume.slices = None  # they are drawn; the next scan needs the memory
        scan.histograms = None
        show_progress(number, len(scans))
    asked, scores = judge_cohort(scans)
    cohort = strip_plots(asked, scores, [scan.anchor for scan in asked])
    return page(options.title, sorted(scans, key=lambda scan: scan.badness()), cohort)


def main(arguments=None):
    options = parse_arguments(arguments)
    # Only now: help and the version are there without the packages that reading and drawing need.
    from .scan import open_log

    try:
        require_writable(options.output)
        scans = [open_log(log) for log in dict.fromkeys(options.logs)]
        require_no_file_of(scans, options)
        name_scans(scans)
        write_page(options.output, make_page(scans, options).encode("utf-8", "replace"))
    except OSError as error:
        say(shortened(f"{options.output}: {error.strerror}"))
        return TROUBLE
    failed = [scan for scan in scans if scan.failures]
    for scan in failed:
        say(f"{shortened(scan.log)}: {scan.failures[0]}")
    return 1 if failed else 0

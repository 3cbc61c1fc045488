# SPDX-License-Identifier: BSD-3-Clause
"""What the log of one run says: its files, its settings, its errors, and whether it was complete.

tonalign's log is what it printed; tonalign-nifti writes one in JSON.
"""

import dataclasses
import json
import re

import numpy

START = "INPUTS TO THE PROGRAM"
END = "*****TOTAL RUNNING TIME*****"
ERROR = "Error between histograms="
LOGGED_BYTES_AT_MOST = 1 << 20  # a log has a few kilobytes; whatever is larger is something else
JSON_BYTES_AT_MOST = 1 << 28  # it holds histograms

# Lines of a listing, in the order in which they are printed. Names are taken to the end of their line.
USAGE1 = (
    "inputfile1", "inputfile2", "outputfile1", "outputfile2", "Nbins", "sigma", "matchendpoints", "matchhistogram",
    "inputfile1_hist", "inputfile2_hist", "outputfile1_hist", "outputfile2_hist",
)
USAGE2 = tuple(name for name in USAGE1 if name not in ("outputfile2", "inputfile2_hist", "outputfile2_hist"))

# What a run says that goes on although an output could not be written.
NOT_WRITTEN = ("File could not be opened or", "AnalyzeHeader::save", "out stream failed")

# What a run says last before it ends early with one of the documented lines.
ENDINGS = (
    "tonalign: ", "libgomp: ", "Exiting, wrong number of arguments", "could not be opened", "Header corrupted",
    "Error opening file", "Datatype format not recognized", "Dimensions not good", "Failed to allocate",
)


class BadLog(Exception):
    """The log is not that of one complete run; the text says why."""


@dataclasses.dataclass
class RunLog:
    """One complete run. Names are as the tool was given them."""

    usage: int
    files: dict  # the listing: names of files, by the names of its lines
    bins: int
    sigma: float
    endpoint_stage: bool
    exact_stage: bool
    error_before: float
    error_after: float
    seconds: float
    nifti: dict | None = None  # the JSON log of tonalign-nifti

    def background(self):
        """The share of voxels in the background, where the log tells it."""
        return 1 - self.nifti["foreground_voxels"] / self.nifti["voxels"] if self.nifti else None

    def histograms(self):
        """The frequencies of input, output and target, of tonalign-nifti."""
        names = {"input": "before", "output": "after", "target": "target"}
        return {what: numpy.array(self.nifti["histograms"][name]["frequencies"]) for what, name in names.items()}


def read_text(path):
    """As much as one log can have, and a byte more. Names of files may be any bytes, which come back as they were when
    a file is opened."""
    try:
        with open(path, "rb") as file:
            return file.read(JSON_BYTES_AT_MOST).decode("utf-8", "surrogateescape")
    except OSError as error:
        raise BadLog(f"the log cannot be read: {error.strerror}") from error


def named_files(text):
    """Pairs of a listing's line and the name it gives, of whatever runs are in the log, complete or not."""
    if text.startswith("{"):
        try:
            return list(parse_json(text).files.items())
        except BadLog:
            return []
    return re.findall(r"^((?:in|out)putfile[12](?:_hist)?) *\t(.*)$", text, re.MULTILINE)


def listing(lines):
    """The listing's values by name, and the index of the line behind it."""
    width = 16  # the listing pads its names to this width
    for start, line in enumerate(lines):
        if not line.startswith("inputfile1".ljust(width) + "\t"):
            continue
        for names in (USAGE1, USAGE2):
            found = lines[start : start + len(names)]
            heads = [name.ljust(width) + "\t" for name in names]
            if len(found) == len(names) and all(map(str.startswith, found, heads)):
                return {n: f[len(h) :] for n, f, h in zip(names, found, heads)}, start + len(names)
    raise BadLog(reason_of_ending(lines, "the log ends before the listing of the run's files"))


def reason_of_ending(lines, otherwise):
    """The last line by which the tool says why it ends; it is the first that a reader should see."""
    for line in reversed(lines):
        if any(text in line for text in ENDINGS):
            return "the run ended early: " + line.strip()
    return otherwise


def last_stage(lines):
    banners = [line.strip("* \n") for line in lines if line.startswith("*****")]
    return banners[-1].lower() if banners else "listing the arguments"


def number(text, what):
    try:
        return float(text)
    except ValueError as error:
        raise BadLog(f"{what} in the log is no number: {text.strip()!r}") from error


def parse_json(text):
    """The run of a log of tonalign-nifti."""
    try:
        log = json.loads(text)
        if "failure" in log:  # a study's: tonalign-nifti itself leaves no log then
            raise BadLog(f"the run ended early: {log['failure']}")
        usage = 2 if str(log["target"]).endswith(".hist") else 1
        files = {"inputfile1": log["input"], "inputfile2": log["target"], "outputfile1": log["output"]}
        if not all(isinstance(name, str) for name in files.values()):
            raise TypeError("names of files are texts")
        run = RunLog(
            usage, files, int(log["bins"]), float(log["sigma"]), bool(log["endpoints"]), True,
            float(log["distance_before"]), float(log["distance_after"]), float(log["seconds"]), log,
        )
        if not 0 <= run.background() <= 1 or any(h.shape != (run.bins,) for h in run.histograms().values()):
            raise ValueError("its numbers of voxels or bins do not fit together")
    except (ValueError, KeyError, TypeError, ArithmeticError) as error:
        raise BadLog(f"not a log of tonalign-nifti: {type(error).__name__}, {error}") from error
    return run


def parse(text):
    """The run that the text of a log tells about."""
    if text.startswith("{"):
        return parse_json(text)
    if len(text.encode("utf-8", "surrogateescape")) > LOGGED_BYTES_AT_MOST:
        raise BadLog("the log is larger than any log of one run")
    if "\0" in text and START in text:
        raise BadLog("the log is damaged: it holds bytes that no run prints")
    lines = text.split("\n")
    starts = lines.count(START)
    if starts == 0:
        raise BadLog("the log is empty" if not text.strip() else "not a log of tonalign: its first banner is missing")
    if starts > 1:
        raise BadLog(f"the log holds {starts} runs, but each run needs a log of its own")
    values, after = listing(lines)
    rest = lines[after:]
    if END not in rest:
        stage = f"the log is incomplete: it ends while {last_stage(rest)}, without the running time"
        raise BadLog(reason_of_ending(rest, stage))
    for line in rest:
        if any(mark in line for mark in NOT_WRITTEN):
            raise BadLog("an output was not written: " + line.strip())
    errors = re.findall(rf"^{re.escape(ERROR)}\t(.*)$", "\n".join(rest), re.MULTILINE)
    if len(errors) != 3:
        raise BadLog(f'the log has {len(errors)} lines "{ERROR}", but a complete run prints 3')
    bins = int(values["Nbins"]) if re.fullmatch(r"[0-9]{1,10}", values["Nbins"]) else 0
    if bins == 0:
        raise BadLog(f"the number of bins in the log is {values['Nbins']!r}")
    clock = rest[rest.index(END) + 1 :] or [""]
    return RunLog(
        usage=1 if "outputfile2" in values else 2,
        files={name: value for name, value in values.items() if "file" in name},
        bins=bins,
        sigma=number(values["sigma"], "sigma"),
        endpoint_stage=values["matchendpoints"] == "1",
        exact_stage=values["matchhistogram"] == "1",
        error_before=number(errors[0], "the error before"),
        error_after=number(errors[-1], "the error after"),
        seconds=number(clock[0], "the running time"),
    )

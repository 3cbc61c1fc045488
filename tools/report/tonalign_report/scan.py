# SPDX-License-Identifier: BSD-3-Clause
"""One run with everything the page shows of it, or the reasons why it failed."""

import dataclasses
import math
import os
import pathlib

from .findings import all_findings
from .histograms import BadHistogram, as_target, distance, read_frequencies
from .measures import InputMeasures, TransferCurve, foreground_of, measure_input, measure_output
from .outliers import judge
from .pairs import pair_files
from .run_log import BadLog, RunLog, named_files, parse, read_text
from .texts import shortened
from .volumes import BadVolume, open_image, pair_voxels, read_image, read_volume

PRINTED_DIGITS = 2e-5  # errors are printed with six significant digits
LAST_LINES = 12
OTHERS_NAMED = 5


@dataclasses.dataclass
class Scan:
    """A log and what came of following it."""

    log: str
    name: str = ""
    run: RunLog | None = None
    failures: list = dataclasses.field(default_factory=list)
    findings: list = dataclasses.field(default_factory=list)
    volumes: dict = dataclasses.field(default_factory=dict)  # input, output, target; None for what is not there
    histograms: dict = dataclasses.field(default_factory=dict)  # frequencies by the same names
    measures: InputMeasures | None = None  # of the input, if it is there
    curve: TransferCurve | None = None
    outlying: list = dataclasses.field(default_factory=list)  # Reasons
    anchor: str = ""  # of its section on the page
    looks: str = ""  # its pictures and charts as HTML
    last_lines: list = dataclasses.field(default_factory=list)
    named: list = dataclasses.field(default_factory=list)  # as run_log.named_files

    def fail(self, reason):
        self.failures.append(shortened(reason))

    def all_files(self, folder):
        """Every file that the log names, and the log."""
        yield self.log
        for listed, name in self.named:
            histogram = listed.endswith("_hist")
            if histogram or listed == "inputfile2":  # a target of either kind
                yield pathlib.Path(folder, name)
            if not histogram:
                yield from volume_files(self.run, folder, name)

    def badness(self):
        """Sorts the worst first: failed ones, those unlike the others, those with warnings."""
        error = self.run.error_after if self.run else 0
        score = max((reason.score for reason in self.outlying), default=0)
        return (not self.failures, not self.outlying, -score, -len(self.findings), -error, self.name)

    def state(self):
        if self.failures:
            return "failed"
        return "unlike" if self.outlying else "warned" if self.findings else "sound"


def volume_files(run, folder, name):
    """The header and the image of a volume; both are one file where tonalign-nifti read or wrote it."""
    return (pathlib.Path(folder, name),) * 2 if run and run.nifti else pair_files(folder, name)


def open_log(path):
    """The scan of a log, as far as the log itself tells."""
    scan = Scan(log=path)
    try:
        text = read_text(path)
        scan.named = named_files(text)
        scan.last_lines = [shortened(line.expandtabs()) for line in text.rstrip().split("\n")[-LAST_LINES:]]
        scan.run = parse(text)
        if not (math.isfinite(scan.run.error_before) and math.isfinite(scan.run.error_after)):
            scan.fail("the log gives an error that is not a finite number")
    except BadLog as error:
        scan.fail(str(error))
    return scan


def output_files(run, folder):
    """Every file that a run has written."""
    for name, value in run.files.items():
        if name.startswith("outputfile") and not name.endswith("_hist"):
            yield os.path.realpath(volume_files(run, folder, value)[1])
        elif name.endswith("_hist"):
            yield os.path.realpath(pathlib.Path(folder, value))


def find_shared_outputs(scans, folder):
    """Fails the scans that wrote to the same file: what is there belongs to one of them at most."""
    writers = {}
    for scan in scans:
        for file in set(output_files(scan.run, folder)) if scan.run else ():
            writers.setdefault(file, []).append(scan)
    for file, several in writers.items():
        for scan in several if len(several) > 1 else ():
            others = ", ".join(other.log for other in several[:OTHERS_NAMED] if other is not scan)
            scan.fail(f"{os.path.basename(file)} was written by another run too: {others}")


def read_volumes(scan, folder):
    """Gives back the voxels of those that could be read, by what they are."""
    run, voxels = scan.run, {}
    names = {"input": "inputfile1", "output": "outputfile1", "target": "outputfile2"}
    if run.nifti and run.usage == 1 and not run.nifti.get("classic"):
        names["target"] = "inputfile2"  # its grey values are the output's
    written = set(output_files(run, folder))
    for what, listed in names.items():
        scan.volumes[what] = None
        if listed not in run.files:
            continue
        if what == "input" and os.path.realpath(volume_files(run, folder, run.files[listed])[1]) in written:
            continue
        name = run.files[listed]
        try:
            if run.nifti:
                chosen = run.nifti.get("volume") if what == "input" else None
                background = None if what == "target" else run.background()
                scan.volumes[what], voxels[what] = read_image(folder, name, run.bins, background, chosen)
            else:
                scan.volumes[what] = read_volume(folder, name, run.bins)
                voxels[what] = pair_voxels(folder, name, scan.volumes[what])
        except BadVolume as error:
            scan.fail(str(error))
    source, output = scan.volumes["input"], scan.volumes["output"]
    if source and output and source.header.sizes() != output.header.sizes():
        scan.fail("the output has other sizes than the input: one of them is not of this run")
    return voxels


def measure(scan, folder, voxels):
    """What the cohort is judged by, and the transfer curve; nothing of a scan whose input is gone."""
    if scan.failures or not scan.volumes["input"]:
        return
    before, after, mask = voxels["input"], voxels["output"], None
    if scan.run.nifti and scan.run.nifti.get("mask"):
        try:
            mask = open_image(folder, scan.run.nifti["mask"])[1]
        except BadVolume as error:
            scan.fail(str(error))
            return
    foreground = foreground_of(before, mask, scan.run.bins)
    if mask is not None and mask.shape != before.shape or not foreground.any():
        scan.fail("the mask is not one of this scan" if mask is not None else "the input has no foreground")
        return
    voxel_ml = math.prod(scan.volumes["input"].header.voxel_sizes()) / 1000
    scan.measures = measure_input(before, foreground, voxel_ml)
    scan.curve = measure_output(before[foreground], after[foreground])


def read_histograms(scan, folder):
    """The four (usage 1) or three (usage 2) histogram files, checked against the errors in the log."""
    run, found = scan.run, {}
    if run.nifti:
        scan.histograms = run.histograms()
        return
    for listed, name in run.files.items():
        is_target_file = run.usage == 2 and listed == "inputfile2"
        if listed.endswith("_hist") or is_target_file:
            try:
                found[listed] = read_frequencies(pathlib.Path(folder, name), name, run.bins)
            except BadHistogram as error:
                scan.fail(str(error))
    if scan.failures:
        return
    if run.usage == 2:
        target_before = target = as_target(found["inputfile2"])
    else:
        target_before, target = found["inputfile2_hist"], found["outputfile2_hist"]
    scan.histograms = {"input": found["inputfile1_hist"], "output": found["outputfile1_hist"], "target": target}
    for when, first, second, logged in (
        ("before", scan.histograms["input"], target_before, run.error_before),
        ("after", scan.histograms["output"], target, run.error_after),
    ):
        measured = distance(first, second)
        if not math.isclose(measured, logged, rel_tol=PRINTED_DIGITS, abs_tol=1e-9):
            scan.fail(
                f"the histogram files {when} the run are {measured:g} apart, but the log says {logged:g}: "
                "they are not of this run, or were changed after it"
            )


def read_files(scan, folder):
    """Follows the log to the files of its run."""
    if scan.failures:
        return
    try:
        voxels = read_volumes(scan, folder)
        read_histograms(scan, folder)
        measure(scan, folder, voxels)
    except (OSError, ValueError, MemoryError) as error:  # one strange file is no reason to lose the others' page
        scan.fail(f"the files cannot be read: {error or type(error).__name__}")
    if not scan.failures:
        scan.findings = all_findings(scan.run, scan.volumes)


def judge_cohort(scans):
    """Finds the scans that are unlike the others; those that failed are not asked. Gives back those that were, and
    their scores by measure."""
    asked = [scan for scan in scans if scan.measures and not scan.failures]
    reasons, scores = judge([scan.measures for scan in asked], [scan.curve for scan in asked])
    for scan, why in zip(asked, reasons):
        scan.outlying = why
    return asked, scores

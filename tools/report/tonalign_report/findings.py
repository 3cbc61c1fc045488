# SPDX-License-Identifier: BSD-3-Clause
"""What is worth a warning. None of these fails a scan; each says what to look at before its result is used."""

import dataclasses
import math

from .pairs import HEADER_BYTES
from .volumes import GREY_LEVELS_COUNTED, NIFTI_PAIR

SATURATED_SHARE = 0.01  # of the foreground, at one value
EVEN_SHARES = 2  # with few bins even shares are large: so many of them are no saturation yet
LEVELS_PER_BIN = 0.5
LEFT_OF_ERROR = 0.5
ERROR_OF_NOTE = 1e-3  # below this, histograms cannot be told apart by eye
BACKGROUND_MOVED = 0.01  # of all voxels


@dataclasses.dataclass
class Finding:
    """One warning: a word or two for the index, a sentence for the scan."""

    word: str
    text: str


def percent(share):
    return f"{100 * share:.3g} %"


def foreground_at_top(volume):
    """The share of a volume's foreground that has its very largest value."""
    foreground = 1 - volume.in_background
    return volume.at_maximum / foreground if foreground > 0 else 0.0


def saturation(run, source, output):
    limit = max(SATURATED_SHARE, EVEN_SHARES / run.bins)
    for what, volume in (("input", source), ("output", output)):
        share = foreground_at_top(volume) if volume else 0
        if share > limit:
            text = f"{percent(share)} of the {what}'s foreground have its top value, {volume.maximum:g}"
            advice = {
                "input": "what was clipped before tonalign saw it cannot come back; those voxels are told apart by "
                "their neighbours alone",
                "output": "differences among its brightest voxels are gone; the target may be saturated itself",
            }
            yield Finding(f"{what} saturated", f"{text}: {advice[what]}.")


def few_levels(run, source):
    if source and run.exact_stage and source.levels < min(LEVELS_PER_BIN * run.bins, GREY_LEVELS_COUNTED):
        yield Finding(
            "few grey levels",
            f"The input has {source.levels} grey levels for {run.bins} bins: most differences within a level of the "
            "output come from voxels' neighbours, not from the voxels themselves.",
        )


def hardly_closer(run):
    if run.error_after > LEFT_OF_ERROR * run.error_before and run.error_after > ERROR_OF_NOTE:
        reason = "" if run.exact_stage else " The exact stage was off."
        yield Finding(
            "hardly closer",
            f"The error after the run, {run.error_after:g}, is more than half of that before, {run.error_before:g}."
            + reason,
        )


def background_moved(run, source, output):
    if run.exact_stage and source and source.in_background - output.in_background > BACKGROUND_MOVED:
        yield Finding(
            "background moved",
            f"The lowest bin held {percent(source.in_background)} of the voxels before and holds "
            f"{percent(output.in_background)} after: background voxels, which keep their values, have come to lie above "
            "the result's own lowest bin, and count as foreground from here on. Noise in the air does that.",
        )


def scale_texts(header):
    """What a header holds from which other readers would make other values, places or volumes than tonalign."""
    factor, offset = header["funused1"], header["funused2"]  # nibabel's names of the floats at bytes 112 and 116
    factor, offset = (value if math.isfinite(value) else 0 for value in (factor, offset))
    if header.held < HEADER_BYTES:
        yield "short header", (
            f"ends after {header.held} of {HEADER_BYTES} bytes: tonalign took the rest for 0, other readers refuse it"
        )
    if header.magic == NIFTI_PAIR:
        yield "NIfTI magic", (
            "is marked as NIfTI-1 (ni1 at byte 344): other readers take orientation, scale factor and intensity units "
            "from fields that tonalign knows nothing of"
        )
    if factor not in (0, 1):
        yield "scale factor", f"has {factor:g} at byte 112 (roi_scale), which SPM and nibabel multiply all voxels by"
    if offset != 0:
        yield "scale factor", (
            f"has {offset:g} at byte 116 (funused1), which some readers multiply all voxels by and others add to them"
        )
    grey = header["glmax"] - header["glmin"]
    calibrated = header["cal_max"] - header["cal_min"]
    if factor == 0 and grey and calibrated and math.isfinite(calibrated):
        scale = calibrated / grey
        shift = header["cal_min"] - scale * header["glmin"]
        if (scale, shift) != (1, 0):
            yield "scale factor", (
                f"calibrates grey values {header['glmin']} to {header['glmax']} as {header['cal_min']:g} to "
                f"{header['cal_max']:g}, from which some readers make a scale factor of {scale:g}"
            )
    if header["vox_offset"] != 0:
        yield "vox_offset", (
            f"has a vox_offset of {header['vox_offset']:g}: other readers skip so many bytes, tonalign starts at byte 0"
        )
    if int(header.fields["dim"][4]) > 1:
        yield "series", f"announces {int(header.fields['dim'][4])} volumes (dim[4]): tonalign took the first alone"


def header_findings(volumes):
    """One finding for each thing, naming every volume that has it: an output has most fields of its input."""
    found = {}
    for what, volume in volumes.items():
        for key in scale_texts(volume.header) if volume else ():
            found.setdefault(key, []).append(what)
    for (word, text), names in found.items():
        yield Finding(word, f"The header of the {' and the '.join(names)} {text}.")


def all_findings(run, volumes):
    """Every finding about a run, volumes being input, output and target by these names, None for what is not there."""
    source, output = volumes["input"], volumes["output"]
    result = [*hardly_closer(run), *background_moved(run, source, output)]
    result += [*saturation(run, source, output), *few_levels(run, source)]
    if source is None:
        text = "The output has the name of the input, so there is no input to show."
        result.append(Finding("input overwritten", text))
    # tonalign-nifti heeds what headers say.
    return result if run.nifti else result + list(header_findings(volumes))

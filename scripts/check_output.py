#!/usr/bin/python3
# SPDX-License-Identifier: BSD-3-Clause
"""Checks the volumes that one run of tonalign wrote, by reading them with nibabel.

    check_output.py INPUT OUTPUT [INPUT OUTPUT]

Each OUTPUT must be a whole pair of 32-bit floats with the dimensions, voxel sizes and description of its
INPUT and nothing but finite values. All outputs together must reach from exactly 0 to exactly 255: a run
maps its volumes by one common scale. Every finding is printed; the exit status is 1 if there is any.
"""

import pathlib
import sys

import nibabel
import numpy


def load(pair):
    return nibabel.AnalyzeImage.load(pair + ".hdr")


def findings_about(source, output):
    """What is wrong with one output pair, and its smallest and largest value (None if unreadable)."""
    files = [pathlib.Path(output + suffix) for suffix in (".hdr", ".img")]
    missing = [f"{file} is missing" for file in files if not file.is_file()]
    if missing:
        return missing, None

    expected, image = load(source).header, load(output)
    found = image.header
    findings = [
        f"{output}: {what} {actual}, expected {wanted}"
        for what, actual, wanted in (
            ("element type", found.get_data_dtype().name, "float32"),
            ("dimensions", found.get_data_shape(), expected.get_data_shape()),
            ("voxel sizes", found.get_zooms(), expected.get_zooms()),
            ("description", found["descrip"].item(), expected["descrip"].item()),
            ("header bytes", files[0].stat().st_size, 348),
            ("image bytes", files[1].stat().st_size, 4 * numpy.prod(expected.get_data_shape(), dtype=int)),
        )
        if actual != wanted
    ]
    if findings:
        return findings, None

    values = numpy.asanyarray(image.dataobj)
    strange = values.size - numpy.count_nonzero(numpy.isfinite(values))
    if strange:
        return [f"{output}: {strange} voxels are not finite"], None
    print(f"{output}: float32, {values.shape}, all finite, values {values.min():g} to {values.max():g}")
    return [], (values.min(), values.max())


def main():
    names = sys.argv[1:]
    if len(names) not in (2, 4):
        sys.exit(__doc__)
    findings, ranges = [], []
    for source, output in zip(names[::2], names[1::2]):
        wrong, value_range = findings_about(source, output)
        findings += wrong
        ranges.append(value_range)
    if not findings:
        lowest, highest = min(low for low, _ in ranges), max(high for _, high in ranges)
        if (lowest, highest) != (0, 255):
            findings.append(f"the values reach from {lowest} to {highest}, expected 0 to 255")
    for finding in findings:
        print(f"WRONG: {finding}", file=sys.stderr)
    sys.exit(1 if findings else 0)


main()

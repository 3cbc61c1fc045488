# SPDX-License-Identifier: BSD-3-Clause
"""Histogram files: pairs of bin centre and frequency."""

import math

import numpy

from .regular_file import open_regular


class BadHistogram(Exception):
    """A histogram file that cannot be used; the text names the file and says why."""


def read_frequencies(path, shown, bins):
    """The frequencies of the first bins of a file, in any layout that tonalign reads."""
    try:
        with open_regular(path, "r", encoding="ascii") as file:
            numbers = numpy.array(file.read().split()[: 2 * bins], dtype=float)
        centres, frequencies = numbers[::2], numbers[1::2]
    except OSError as error:
        raise BadHistogram(f"{shown}: {error.strerror}") from error
    except ValueError as error:
        raise BadHistogram(f"{shown}: the histogram file holds something else than numbers") from error
    if len(numbers) < 2 * bins:
        raise BadHistogram(f"{shown}: the histogram file ends at bin {len(numbers) // 2 + 1} of {bins}")
    if not numpy.isfinite(centres).all():
        raise BadHistogram(f"{shown}: a bin centre is not a finite number")
    if not numpy.isfinite(frequencies).all() or (frequencies < 0).any():
        raise BadHistogram(f"{shown}: a frequency is not a finite number of at least 0")
    return frequencies


def as_target(frequencies):
    """What usage 2 makes of a target: without the background bin, with sum 1."""
    target = frequencies.copy()
    target[0] = 0
    total = target.sum()
    return target / total if total else target


def distance(first, second):
    """The Euclidean distance that the tool prints as the error."""
    return math.sqrt(((second - first) ** 2).sum())

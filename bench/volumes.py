#!/usr/bin/python3
# SPDX-License-Identifier: BSD-3-Clause
"""The volumes of the whole-run comparison that no package has, and how far apart two histograms are.

    volumes.py regions PAIR RESULT    a hundred constant regions in place of what PAIR, of 8-bit voxels, shows
    volumes.py finer PAIR RESULT      PAIR on a grid of half the spacing, eight times the voxels
    volumes.py distance VOLUME OTHER  two numbers, on one definition for every program

For the distance both volumes are counted in 256 bins over their common range; a bin takes its upper end in. The first
bin, the background, is dropped, and the rest of each histogram divided by its sum. The Euclidean distance between the
two tells whether the same grey values occur equally often; the largest difference between their running sums forgives
values that moved by a bin or two.
"""

import sys

import nibabel
import numpy

BINS = 256
SLICES = 32  # converted at a time


def regions(voxels):
    """Each voxel above 0 gets the number of the nearest of a hundred points drawn among those voxels."""
    from scipy.spatial import KDTree

    places = numpy.argwhere(voxels > 0)
    points = numpy.random.default_rng(1).choice(places, 100, replace=False)
    result = numpy.zeros_like(voxels)
    result[voxels > 0] = 1 + KDTree(points).query(places)[1]
    return result


def finer(voxels):
    from scipy.ndimage import zoom

    return numpy.rint(zoom(voxels.astype(numpy.float32), 2, order=1)).astype(voxels.dtype)


def make(change, spacing, pair, result):
    source = nibabel.AnalyzeImage.load(pair + ".hdr")
    made = nibabel.AnalyzeImage(change(numpy.asanyarray(source.dataobj)), affine=None)
    made.header.set_zooms(spacing * numpy.array(source.header.get_zooms()))
    made.to_filename(result + ".hdr")


def frequencies(voxels, low, high):
    counts = numpy.zeros(BINS, int)
    for start in range(0, voxels.shape[2], SLICES):
        values = voxels[:, :, start : start + SLICES].astype(numpy.float64)
        bins = numpy.clip(numpy.ceil((values - low) / ((high - low) / BINS)), 1, BINS).astype(int) - 1
        counts += numpy.bincount(bins.ravel(), minlength=BINS)
    counts[0] = 0
    return counts / counts.sum()


def print_distance(*names):
    volumes = [numpy.asanyarray(nibabel.load(name).dataobj) for name in names]
    low, high = float(min(v.min() for v in volumes)), float(max(v.max() for v in volumes))
    apart = frequencies(volumes[0], low, high) - frequencies(volumes[1], low, high)
    print(f"{numpy.linalg.norm(apart):.2g} | {numpy.abs(numpy.cumsum(apart)).max():.2g}")


match sys.argv[1:]:
    case ["regions", pair, result]:
        make(regions, 1, pair, result)
    case ["finer", pair, result]:
        make(finer, 0.5, pair, result)
    case ["distance", volume, other]:
        print_distance(volume, other)
    case _:
        sys.exit(__doc__)

#!/usr/bin/python3
# SPDX-License-Identifier: BSD-3-Clause
"""How far the histogram of one volume is from another's, on one definition for every program.

    histogram_distance.py VOLUME OTHER

Both volumes are counted in 256 bins over their common range, from the smallest voxel of the two to the
largest; a bin takes its upper end in. The first bin, the background, is dropped, and the rest of each
histogram is divided by its sum. Two numbers are printed: the Euclidean distance between the two, and the
largest difference between their running sums. The first tells whether the same grey values occur equally
often; the second forgives values that moved by a bin or two.
"""

import sys

import nibabel
import numpy

BINS = 256
SLICES = 32  # converted at a time


def frequencies(voxels, low, high):
    counts = numpy.zeros(BINS, numpy.int64)
    width = (high - low) / BINS
    for start in range(0, voxels.shape[2], SLICES):
        values = voxels[:, :, start : start + SLICES].astype(numpy.float64)
        bins = numpy.clip(numpy.ceil((values - low) / width), 1, BINS).astype(numpy.int64)
        counts += numpy.bincount(bins.ravel(), minlength=BINS + 1)[1:]
    counts[0] = 0
    return counts / counts.sum()


def main():
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    volumes = [numpy.asanyarray(nibabel.load(name).dataobj) for name in sys.argv[1:]]
    low = min(float(volume.min()) for volume in volumes)
    high = max(float(volume.max()) for volume in volumes)
    first, second = (frequencies(volume, low, high) for volume in volumes)
    print(numpy.sqrt(((first - second) ** 2).sum()), numpy.abs(numpy.cumsum(first - second)).max())


main()

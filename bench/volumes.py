#!/usr/bin/python3
# SPDX-License-Identifier: BSD-3-Clause
"""The volumes of the whole-run comparison that no package has, and how far apart two histograms are.

    volumes.py KIND PAIR RESULT       a volume of one of the KINDS below, made of PAIR, of 8-bit voxels
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


def specks(voxels, share):
    """A background of 10 in place of the dark voxels, of which some share are off by one or two."""
    random = numpy.random.default_rng(2)
    result = numpy.maximum(voxels, 10)
    off = (result == 10) & (random.random(voxels.shape) < share)
    result[off] = random.choice([8, 9, 11, 12], off.sum())
    result[0, 0, 0] = 0
    return result


def jitter(voxels):
    """Floats of which seven in ten have one value."""
    random = numpy.random.default_rng(3)
    noisy = 0.1 * voxels + random.normal(0, 1, voxels.shape)
    return numpy.where(random.random(voxels.shape) < 0.7, -3.3, noisy).astype("f4")


def noise(voxels):
    """Smoothed, in floats, with noise that goes below the background of 0."""
    from scipy.ndimage import gaussian_filter

    noisy = gaussian_filter(voxels.astype(float), 1) + numpy.random.default_rng(6).normal(0, 2, voxels.shape)
    return numpy.where(voxels == 0, 0, noisy).astype("f4")


def sums(voxels):
    return numpy.indices(voxels.shape).sum(0)


# What a volume is made into, and some made to defeat the counting.
KINDS = {
    "regions": regions,
    "finer": finer,
    "shorts": lambda voxels: voxels.astype("i2"),
    "floats": lambda voxels: (0.1 * voxels).astype("f4"),
    "doubles": lambda voxels: voxels.astype("f8"),
    "plateau": lambda voxels: specks(voxels, 0),
    "specks": lambda voxels: specks(voxels, 0.05),
    "checkerboard": lambda voxels: numpy.where(sums(voxels) % 2, 100, 160).astype("u1"),
    "blocks": lambda voxels: (sums(voxels) // 20 * 37 % 251).astype("u1"),
    "two-levels": lambda voxels: numpy.random.default_rng(4).choice([50, 200], voxels.shape).astype("u1"),
    "jitter": jitter,
    "noise": noise,
    "ramp": lambda voxels: numpy.arange(voxels.size, dtype="i4").reshape(voxels.shape, order="F"),
    "slice": lambda _: numpy.random.default_rng(5).integers(0, 256, (2000, 2000, 1)).astype("u1"),
    "cube": lambda _: numpy.random.default_rng(5).integers(0, 256, (160, 160, 156)).astype("u1"),
}


def make(kind, pair, result):
    source = nibabel.AnalyzeImage.load(pair + ".hdr")
    made = nibabel.AnalyzeImage(KINDS[kind](numpy.asanyarray(source.dataobj)), affine=None)
    made.header.set_zooms((0.5 if kind == "finer" else 1) * numpy.array(source.header.get_zooms()))
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
    case ["distance", volume, other]:
        print_distance(volume, other)
    case [kind, pair, result] if kind in KINDS:
        make(kind, pair, result)
    case _:
        sys.exit(f"{__doc__}\nKINDS: {' '.join(KINDS)}")

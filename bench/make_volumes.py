#!/usr/bin/python3
# SPDX-License-Identifier: BSD-3-Clause
"""Makes the volumes of the whole-run comparison that no package has, from Analyze pairs of 8-bit voxels.

    make_volumes.py regions PAIR RESULT    a hundred constant regions in place of what PAIR shows
    make_volumes.py finer PAIR RESULT      PAIR on a grid of half the spacing, eight times the voxels
"""

import sys

import nibabel
import numpy


def regions(voxels, count=100):
    """Each voxel above 0 gets the number of the nearest of `count` points drawn among those voxels."""
    places = numpy.argwhere(voxels > 0).astype(numpy.float32)
    points = places[numpy.random.default_rng(1).choice(len(places), count, replace=False)]
    nearest = numpy.full(len(places), numpy.inf, numpy.float32)
    labels = numpy.zeros(len(places), voxels.dtype)
    for label, point in enumerate(points, start=1):
        squared = ((places - point) ** 2).sum(axis=1)
        closer = squared < nearest
        nearest[closer], labels[closer] = squared[closer], label
    result = numpy.zeros_like(voxels)
    result[voxels > 0] = labels
    return result


def finer(voxels):
    """Linear between neighbours along each axis in turn, the last voxel repeated, rounded in the end."""
    values = voxels.astype(numpy.float32)
    for axis in range(3):
        values = numpy.moveaxis(values, axis, 0)
        following = numpy.concatenate((values[1:], values[-1:]))
        doubled = numpy.stack((values, (values + following) / 2), axis=1)
        values = numpy.moveaxis(doubled.reshape(-1, *values.shape[1:]), 0, axis)
    return numpy.rint(values).astype(voxels.dtype)


def main():
    if len(sys.argv) != 4 or sys.argv[1] not in ("regions", "finer"):
        sys.exit(__doc__)
    what, pair, result = sys.argv[1:]
    source = nibabel.AnalyzeImage.load(pair + ".hdr")
    voxels = numpy.asanyarray(source.dataobj)
    sizes = numpy.array(source.header.get_zooms())
    made = nibabel.AnalyzeImage(regions(voxels) if what == "regions" else finer(voxels), affine=None)
    made.header.set_zooms(sizes if what == "regions" else sizes / 2)
    made.to_filename(result + ".hdr")
    print(f"{result}.hdr, {result}.img: {' x '.join(map(str, made.shape))} voxels")


main()

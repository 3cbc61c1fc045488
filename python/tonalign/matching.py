# SPDX-License-Identifier: BSD-3-Clause
"""Matching on arrays and images."""

import dataclasses
import warnings

import numpy

from tonalign import _core
from tonalign.target import Target, check_bins, check_clip
from tonalign.volumes import Volume, mask_for


def match(volume, target, *, mask=None, target_mask=None, bins=256, sigma=0.0, endpoints=False, outside=None,
          clip=None, threads=None):
    """Gives the foreground of a volume the histogram of a target exactly.

    The foreground's voxels are ranked strictly, by intensity and then by the sums of their neighbours in five shells,
    and the target's frequencies are handed out by rank.

    Parameters
    ----------
    volume : array_like of three axes, nibabel image or name of a file
        Any real type, layout and byte order; only read. Contiguous arrays of uint8, int16, int32, float32 and float64
        are used in place. The first axis is x.
    target : Target, or volume of any shape
        A volume's bin centres are handed out, in the top bin its maximum.
    mask, target_mask : volumes of the same shape, optional
        Not 0 inside, which is the foreground: the outside, and nothing else, is in the first bin. What is stored
        outside counts for nothing, a NaN included. Without a mask the foreground are the bins from 2 on.
    bins : int
        Number of bins, 2 or more; a Target brings its own.
    sigma : float
        Standard deviation, in bins, of the smoothing of a target volume's histogram; 0 for none.
    endpoints : bool
        Whether to map the ends of the volume's range to the target's first, as the tool does. Takes a target volume and
        5 bins or more. The range of a `clip` then only shapes the histogram that the ends are found in. With a mask, a
        warning tells when the mapped voxels no longer lie all above the outside.
    outside : float or "keep", optional
        What background voxels become; "keep" leaves them their value. By default 0 with a mask, and without one the
        target's smallest value: a volume's minimum, a Target's first centre.
    clip : float, optional
        Percentile of the foreground at which the range that is cut into bins ends: a few voxels far above the rest then
        make no other bins wide. Voxels beyond keep their order. A clip that would leave no range is ignored.
    threads : int, optional
        As many as OpenMP likes, by default. The result does not depend on it.

    Returns
    -------
    array or image of float32
        In the target's units. An array for an array, in the same order of axes in memory; an image with the place and
        header of its source for an image or a file.

    Raises
    ------
    ValueError
        For what cannot be matched; MemoryError and OSError as usual.

    Notes
    -----
    With a mask the run is, bit for bit, that on the volume whose outside is at lo - (hi - lo) / (bins - 1.5), lo and hi
    being the smallest and largest voxel inside. Takes the result, two bytes a voxel and up to 25 MB.

    Examples
    --------
    >>> import numpy, tonalign
    >>> scan = numpy.array([[[0, 3, 1, 2]]], dtype="uint8")
    >>> tonalign.match(scan, tonalign.Target([0, 10, 20, 30], [0, 1, 1, 1]))
    array([[[ 0., 30., 10., 20.]]], dtype=float32)
    """
    volume = Volume(volume)
    result, _ = match_volume(volume, target, mask, target_mask, bins, sigma, endpoints, outside, clip, threads)
    return volume.like(result)


@dataclasses.dataclass(frozen=True)
class Matched:
    """The histograms of a match: the scan's before, the target's, and the scan's after it; voxels in the foreground."""

    before: Target
    target: Target
    after: Target
    foreground: int


def match_volume(volume, target, mask, target_mask, bins, sigma, endpoints, outside, clip, threads):
    """`match` on a Volume: the resulting array, and a function that gives what was Matched."""
    clip = 100.0 if clip is None else clip
    check_clip(clip)
    if isinstance(target, Target):
        if target_mask is not None:
            raise ValueError("a Target has no mask")
        if endpoints:
            raise ValueError("matching the endpoints takes a target volume; a Target has no volume to match them to")
        bins, core_target, histogram = target.centres.size, None, (target.centres, target.frequencies)
    else:
        target = Volume(target, "target")
        check_bins(bins)
        core_target = (target.array, mask_for(target_mask, target, "target mask"))
        histogram = None
    core_scan = (volume.array, mask_for(mask, volume))
    result = numpy.empty_like(volume.array, dtype="float32", subok=False)
    if isinstance(outside, str):
        if outside != "keep":
            raise ValueError(f'outside is a number or "keep"; found "{outside}"')
        result[...] = volume.array
    else:
        if outside is None:
            outside = 0.0 if mask is not None else smallest(histogram, core_target)
        result.fill(outside)
    names = (volume.name, "target" if isinstance(target, Target) else target.name)
    found = _core.match(names, core_scan, core_target, histogram, bins, sigma, endpoints, clip, threads or 0, result)
    if not found["mask_holds"]:
        cause = " after matching the endpoints" if endpoints else ""
        warnings.warn(
            f"{volume.name}: the outside of the mask lies among the voxels inside{cause}, so these do not have the"
            " target's histogram exactly",
            stacklevel=3,
        )
    return result, lambda: matched(found)


def matched(found):
    before, target = (histogram_of(*found[name]) for name in ("before", "target"))
    values, counts = found["values"][1:], found["counts"][1:]
    frequencies = numpy.zeros_like(target.frequencies)
    order = numpy.argsort(target.centres, kind="stable")  # clipping can leave the top centre below others
    numpy.add.at(frequencies, order[numpy.searchsorted(target.centres[order], values)], counts / counts.sum())
    return Matched(before, target, histogram_of(target.centres, frequencies), int(counts.sum()))


def histogram_of(centres, frequencies):
    """A Target of the numbers as they are."""
    return Target.__new__(Target)._adopt(centres, frequencies)


def smallest(histogram, core_target):
    if histogram is not None:
        return histogram[0][0]
    array, mask = core_target
    return array.min() if mask is None else array[mask != 0].min(initial=numpy.inf)


@dataclasses.dataclass(frozen=True)
class Normalised:
    """What a run of the tool gives.

    Attributes
    ----------
    volume : array or image of float32
        The volume on 0 to 255, as the tool's first output holds it.
    target : array, image or None
        The target on the same scale, as the second output holds it; None in usage 2.
    before, after, target_before, target_after : Target
        The histograms that the tool writes.
    distances : tuple of three floats
        Between the histograms before the run, after the endpoints and at the end, as the tool prints them.
    foreground : int
        Number of the volume's voxels in the bins from 2 on, before the run.
    """

    volume: object
    target: object
    before: Target
    after: Target
    target_before: Target
    target_after: Target
    distances: tuple
    foreground: int


def normalise(volume, target, *, bins=256, sigma=0.0, endpoints=False, matching=True, threads=None):
    """Runs the command-line tool on arrays: usage 1 for a volume as the target, usage 2 for a Target.

    All results are the tool's, bit for bit. There are no masks: see `match` for these.

    Parameters
    ----------
    volume : array_like of three axes, nibabel image or name of a file
    target : volume or Target
        A Target brings its number of bins; as in the tool, its bin i stands for bin i of the volume's own range.
    bins, sigma, endpoints : as for `match`
    matching : bool
        Whether to match the histograms; without it only the endpoints are matched, and the volumes mapped.
    threads : int, optional

    Returns
    -------
    Normalised

    Examples
    --------
    >>> import numpy, tonalign
    >>> scan = numpy.arange(27, dtype="int16").reshape(3, 3, 3)
    >>> run = tonalign.normalise(scan, scan[::-1] ** 2, bins=8)
    >>> float(run.volume.min()), float(run.volume.max())
    (0.0, 255.0)
    """
    volume = Volume(volume)
    if isinstance(target, Target):
        bins, target_volume, histogram = target.centres.size, None, (target.centres, target.frequencies)
        if endpoints:
            raise ValueError("matching the endpoints takes a target volume")
    else:
        check_bins(bins)
        target_volume, histogram = Volume(target, "target"), None
    result = numpy.empty_like(volume.array, dtype="float32", subok=False)
    target_array = None if target_volume is None else target_volume.array
    target_result = None if target_volume is None else numpy.empty_like(target_array, dtype="float32", subok=False)
    names = (volume.name, "target" if target_volume is None else target_volume.name)
    found = _core.normalise(
        names, volume.array, target_array, histogram, bins, sigma, endpoints, matching, threads or 0, result, target_result
    )
    names = ("before", "after", "target_before", "target_after")
    histograms = {name: histogram_of(*found[name]) for name in names}
    return Normalised(
        volume=volume.like(result),
        target=None if target_volume is None else target_volume.like(target_result),
        distances=tuple(found["distances"]),
        foreground=found["foreground"],
        **histograms,
    )

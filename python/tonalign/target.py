# SPDX-License-Identifier: BSD-3-Clause
"""Target histograms."""

import dataclasses
import itertools
import os

import numpy

from tonalign import _core
from tonalign.volumes import Volume, mask_for


@dataclasses.dataclass(frozen=True)
class Scan:
    """What fitting found of one scan.

    Attributes
    ----------
    name : str
    distance : float
        Euclidean distance of its frequencies from the mean of the others'.
    left_out : bool
        Whether the target was made without it.
    """

    name: str
    distance: float
    left_out: bool


class Target:
    """A histogram to be reached.

    Parameters
    ----------
    centres : array_like of N numbers
        What the voxels of each bin receive, in the target's intensity units, ascending.
    frequencies : array_like of N numbers
        The share of the foreground that each bin receives. That of the first bin, the background, is dropped, and the
        others are divided by their sum.

    Attributes
    ----------
    centres, frequencies : numpy.ndarray
        Read only, of N doubles.
    scans : tuple of Scan
        What the target was fitted to, in the given order; empty otherwise.

    Examples
    --------
    >>> import tonalign
    >>> target = tonalign.Target([0, 10, 20], [0, 1, 3])
    >>> target
    Target(3 bins, 0 to 20)
    >>> target.frequencies
    array([0.  , 0.25, 0.75])
    """

    def __init__(self, centres, frequencies):
        centres = numpy.array(centres, dtype="float64")
        frequencies = numpy.array(frequencies, dtype="float64")
        if centres.ndim != 1 or centres.shape != frequencies.shape or centres.size < 2:
            raise ValueError(
                "a target has as many centres as frequencies, two or more; "
                f"found the shapes {centres.shape} and {frequencies.shape}"
            )
        if not numpy.isfinite(centres).all() or (numpy.diff(centres) < 0).any():
            raise ValueError("the centres of a target are finite and ascend")
        frequencies[0] = 0.0
        if not (numpy.isfinite(frequencies).all() and (frequencies >= 0).all() and frequencies.sum() > 0):
            raise ValueError("the frequencies of a target are finite, none is negative, and not all are 0")
        self._adopt(centres, frequencies / frequencies.sum())

    def _adopt(self, centres, frequencies, scans=()):
        self.centres, self.frequencies, self.scans = centres, frequencies, scans
        for array in (centres, frequencies):
            array.flags.writeable = False
        return self

    @classmethod
    def fit(cls, scans, *, masks=None, bins=256, clip=99.9, smooth=0.0, leave_out=(), leave_out_outliers=None,
            threads=None):
        """Makes the mean histogram of some scans, each over its own range, all weighing the same.

        One scan is in memory at a time.

        Parameters
        ----------
        scans : iterable
            Arrays, nibabel images or names of files.
        masks : iterable, optional
            The mask of each scan, in the same order; None for a scan without one.
        bins : int
            2 or more.
        clip : float
            Percentile of each scan's foreground at which its range ends, up to 100, none. What lies beyond counts in
            the top bin. The foreground of a scan without a mask is what lies above its smallest voxel.
        smooth : float
            Standard deviation, in bins, of a Gaussian that smooths the mean; 0 for none.
        leave_out : container of str or int
            Names, or numbers from 0, of scans that the mean is made without; they are measured all the same.
        leave_out_outliers : float, optional
            Leaves out the scans whose distance from the mean of the others is more than so many robust standard
            deviations above the median distance.
        threads : int, optional

        Returns
        -------
        Target
            Its `scans` tell how far each scan is from the others.

        Examples
        --------
        >>> import numpy, tonalign
        >>> scan = numpy.arange(1000, dtype="float32").reshape(10, 10, 10)
        >>> target = tonalign.Target.fit([scan, 2 * scan], bins=5, clip=100)
        >>> target.centres
        array([ 149.85,  449.55,  749.25, 1048.95, 1348.65])
        >>> [scan.distance for scan in target.scans]
        [0.0, 0.0]
        """
        check_bins(bins)
        check_clip(clip)
        histograms, names = [], []
        masks = itertools.repeat(None) if masks is None else masks
        pairs = itertools.zip_longest(scans, masks) if isinstance(masks, (list, tuple)) else zip(scans, masks)
        for number, (scan, mask) in enumerate(pairs):
            if scan is None:
                raise ValueError(f"there are more masks than scans, {number}")
            volume = Volume(scan, f"scan {number}")
            core_scan = (volume.array, mask_for(mask, volume))
            histograms.append(_core.histogram(core_scan, volume.name, bins, clip, threads or 0))
            names.append(volume.name)
            del volume, core_scan
        if not names:
            raise ValueError("a target is fitted to one scan or more")
        out = [name in leave_out or number in leave_out for number, name in enumerate(names)]
        (centres, frequencies), distances, out = _core.mean(histograms, names, bins, smooth, out, leave_out_outliers)
        return cls.__new__(cls)._adopt(centres, frequencies, tuple(map(Scan, names, distances, out)))

    @classmethod
    def mean(cls, targets, *, smooth=0.0):
        """Makes the mean of some targets of as many bins each, all weighing the same.

        Parameters
        ----------
        targets : iterable of Target
        smooth : float
            Standard deviation, in bins, of a Gaussian that smooths the mean; 0 for none.

        Examples
        --------
        >>> import tonalign
        >>> mean = tonalign.Target.mean([tonalign.Target([0, 1, 2], [0, 1, 3]), tonalign.Target([0, 3, 6], [0, 3, 1])])
        >>> mean.centres, mean.frequencies
        (array([0., 2., 4.]), array([0. , 0.5, 0.5]))
        """
        targets = list(targets)
        sizes = {target.centres.size for target in targets}
        if len(sizes) != 1:
            raise ValueError(f"a mean is made of one target or more, all of as many bins; found bins {sorted(sizes)}")
        histograms = [(target.centres, target.frequencies, 1.0) for target in targets]
        names, out = [f"target {number}" for number in range(len(targets))], [False] * len(targets)
        mean, _, _ = _core.mean(histograms, names, sizes.pop(), smooth, out, None)
        return cls.__new__(cls)._adopt(*mean)

    @classmethod
    def load(cls, file):
        """Reads a histogram file, of the tool or of `save`: a line for each bin, centre, tab, frequency."""
        file = os.fspath(file)
        with open(file, encoding="ascii", errors="replace") as lines:
            bins = len(lines.read().split()) // 2
        if bins < 2:
            raise ValueError(f"{file}: a histogram file of at least two bins is expected")
        return cls.__new__(cls)._adopt(*_core.load(file, bins))

    def save(self, file):
        """Writes a histogram file, whole or not at all; reading it back gives the same bits."""
        _core.save(self.centres, self.frequencies, os.fspath(file))

    def distance(self, other):
        """The Euclidean distance between the frequencies of two targets of as many bins, as the tool measures it."""
        if self.centres.size != other.centres.size:
            raise ValueError(f"the targets have {self.centres.size} and {other.centres.size} bins")
        return float(numpy.sqrt(numpy.sum((self.frequencies - other.frequencies) ** 2)))

    def plot(self, ax=None, **style):
        """Draws the frequencies over the centres, in the axes given or new ones of matplotlib; gives the axes."""
        if ax is None:
            from matplotlib import pyplot

            ax = pyplot.gca()
        ax.plot(self.centres[1:], self.frequencies[1:], **style)
        ax.set_xlabel("intensity")
        ax.set_ylabel("share of the foreground")
        return ax

    def __eq__(self, other):
        if not isinstance(other, Target):
            return NotImplemented
        return numpy.array_equal(self.centres, other.centres) and numpy.array_equal(self.frequencies, other.frequencies)

    __hash__ = None

    def __repr__(self):
        return f"Target({self.centres.size} bins, {self.centres[0]:g} to {self.centres[-1]:g})"


def check_bins(bins):
    if not 2 <= bins <= 2**30 - 2:
        raise ValueError(f"from 2 to {2**30 - 2} bins are expected; found {bins}")


def check_clip(clip):
    if not 0 < clip <= 100:
        raise ValueError(f"a percentile above 0 and up to 100 is expected; found {clip}")

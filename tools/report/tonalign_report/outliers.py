# SPDX-License-Identifier: BSD-3-Clause
"""Which scans of a cohort are unlike the others, by robust statistics of what is measured before the match."""

import dataclasses

import numpy

from .measures import QUANTILES

FEWEST = 5  # a cohort of fewer scans has no median to speak of
FEW = 4  # the spread of so many scans counts double
NORMAL = 1.4826  # of the median absolute deviation of a normal distribution


@dataclasses.dataclass(frozen=True)
class Measure:
    """One measure, as the page shows it."""

    title: str
    reason: str  # what is said of an outlier
    floor: float  # the least that counts as a deviation: below it scans are alike for the eye
    limit: float  # robust standard deviations
    two_sided: bool = True


MEASURES = {
    "curve": Measure(
        "cumulative curve", "its grey values are distributed unlike the cohort's", 0.4, 5, two_sided=False
    ),
    "shape": Measure(
        "histogram shape", "with both ends aligned, its histogram is unlike the cohort's", 0.01, 3.5, two_sided=False
    ),
    "background": Measure("background share", "its background has another share than the cohort's", 0.02, 5),
    "volume": Measure("foreground volume", "its foreground has another volume in ml than the cohort's", 0.06, 5),
    "top": Measure("largest voxel", "its largest voxel is not as far from the rest as in the cohort", 0.15, 6),
    "bottom": Measure("smallest voxel", "its smallest voxel is not as far from the rest as in the cohort", 0.15, 6),
    "saturated": Measure(
        "saturation", "more of it is at its largest value than in the cohort", 0.002, 6, two_sided=False
    ),
    "tied": Measure(
        "tied voxels", "more of its voxels share a few grey values than in the cohort", 0.1, 5, two_sided=False
    ),
    "smoothness": Measure(
        "neighbouring voxels", "the correlation of its neighbouring voxels is unlike the cohort's", 0.02, 5
    ),
    "balance": Measure("left-right balance", "its halves along x are not as bright as in the cohort", 0.015, 5),
    # Of the match, where there is one
    "flattest": Measure(
        "least slope of transfer", "where its transfer curve is flattest, it is unlike the cohort's", 0.1, 6
    ),
    "steepest": Measure(
        "largest slope of transfer", "where its transfer curve is steepest, it is unlike the cohort's", 0.2, 6
    ),
    "agreement": Measure(
        "output by input", "the correlation of its output with its input is unlike the cohort's", 0.01, 6
    ),
}


@dataclasses.dataclass(frozen=True)
class Reason:
    """Why a scan is an outlier."""

    measure: str
    score: float  # robust standard deviations from the cohort's median

    @property
    def text(self):
        return f"{MEASURES[self.measure].reason}, by {self.score:.1f} robust standard deviations"


def aligned(quantiles):
    """With the 1st and 99th percentile at 0 and 1, and what lies beyond cut off."""
    low, high = quantile(quantiles, 0.01), quantile(quantiles, 0.99)
    return numpy.clip((quantiles - low) / (high - low), 0, 1) if high > low else numpy.zeros_like(quantiles)


def quantile(quantiles, share):
    return float(numpy.interp(share, QUANTILES, quantiles))


def reach(quantiles, end):
    """How far an end of the range lies from the median, against the percentile before it, as a logarithm."""
    last, before = (0, 0.01) if end == "bottom" else (1, 0.99)
    median = quantile(quantiles, 0.5)
    tail, body = abs(quantile(quantiles, last) - median), abs(quantile(quantiles, before) - median)
    spread = quantile(quantiles, 0.99) - quantile(quantiles, 0.01)
    return float(numpy.log1p(tail / max(body, 0.1 * spread))) if spread > 0 else 0.0


def table(measures, transfers, sound):
    """Every measure of every scan; the curves' distances are those from the median of the scans in `sound`."""
    curves = numpy.array([m.quantiles for m in measures])
    shapes = numpy.array([aligned(curve) for curve in curves])
    middle = numpy.median(curves[sound], axis=0)
    spread = quantile(middle, 0.99) - quantile(middle, 0.01)
    found = {
        "curve": abs(curves - middle).mean(axis=1) / spread if spread > 0 else numpy.zeros(len(curves)),
        "shape": abs(shapes - numpy.median(shapes[sound], axis=0)).mean(axis=1),
        "background": numpy.array([m.background for m in measures]),
        "volume": numpy.log([max(m.millilitres, 1e-9) for m in measures]),
        "top": numpy.array([reach(curve, "top") for curve in curves]),
        "bottom": numpy.array([reach(curve, "bottom") for curve in curves]),
        "saturated": numpy.array([m.saturated for m in measures]),
        "tied": numpy.array([m.tied for m in measures]),
        "smoothness": numpy.array([m.smoothness for m in measures]),
        "balance": numpy.array([m.balance for m in measures]),
    }
    if transfers:
        found["flattest"] = numpy.array([transfer.smallest_slope for transfer in transfers])
        found["steepest"] = numpy.array([transfer.largest_slope for transfer in transfers])
        found["agreement"] = numpy.array([transfer.correlation for transfer in transfers])
    return found


def scores(values, sound, measure):
    """Robust standard deviations from the median of the sound scans, below it negative. The spread of few scans is
    uncertain, so it is taken for larger."""
    deviation = values - numpy.median(values[sound])
    spread = NORMAL * float(numpy.median(abs(deviation[sound]))) * (1 + FEW / sound.sum())
    return deviation / max(spread, measure.floor)


def reasons_of(found, k):
    """What speaks against scan k, the weightiest first."""
    reasons = []
    for name, score in found.items():
        away = abs(score[k]) if MEASURES[name].two_sided else score[k]
        if away > MEASURES[name].limit:
            reasons.append(Reason(name, float(away)))
    return sorted(reasons, key=lambda reason: -reason.score)


def judge(measures, transfers=None):
    """For each InputMeasures the Reasons that speak against it, the weightiest first, and the scores of all by measure.
    `transfers` are the TransferCurves of the same scans, where there are any.

    Outliers widen the spread by which they are judged, so the cohort is judged again without them until no more are
    found, as long as those left are more than half. A cohort of fewer than FEWEST scans has no outliers, and no scores.
    """
    reasons, found = [[] for _ in measures], {}
    sound = numpy.full(len(measures), len(measures) >= FEWEST)
    while 2 * sound.sum() > len(measures):
        found = {name: scores(values, sound, MEASURES[name]) for name, values in table(measures, transfers, sound).items()}
        reasons = [reasons_of(found, k) for k in range(len(measures))]
        still = sound & [not why for why in reasons]
        if (still == sound).all():
            break
        sound = still
    return reasons, found

# SPDX-License-Identifier: BSD-3-Clause
"""Which scans of a cohort are unlike the others, by robust statistics of what is measured before the match."""

import dataclasses

import numpy

from .measures import QUANTILES

FEWEST = 5  # a cohort of fewer scans has no median to speak of
NORMAL = 1.4826  # of the median absolute deviation of a normal distribution


@dataclasses.dataclass(frozen=True)
class Measure:
    """One measure, as the page shows it."""

    title: str
    reason: str  # what an outlier is said to be
    floor: float  # the least that counts as a deviation: below it scans are alike for the eye
    limit: float  # robust standard deviations
    two_sided: bool = True


MEASURES = {
    "curve": Measure("distance of the cumulative curve", "its grey values are distributed unlike the cohort's", 0.02, 5, False),
    "shape": Measure("the same after aligning both ends", "its histogram has another shape than the cohort's", 0.01, 3.5, False),
    "background": Measure("share of background", "its background has another share than the cohort's", 0.02, 5),
    "volume": Measure("foreground in ml", "its foreground has another volume than the cohort's", 0.06, 5),
    "top": Measure("largest voxel", "its largest voxel lies further from the rest than the cohort's", 0.15, 6),
    "bottom": Measure("smallest voxel", "its smallest voxel lies further from the rest than the cohort's", 0.15, 6),
    "saturated": Measure("share at the largest value", "more of it is at its largest value than in the cohort", 0.002, 6, False),
    "tied": Measure("share at crowded values", "more of its voxels share a few grey values than in the cohort", 0.1, 5, False),
    "smoothness": Measure("correlation of neighbours", "its neighbouring voxels are correlated unlike the cohort's", 0.02, 5),
    "balance": Measure("left-right balance", "one side is brighter, unlike in the cohort", 0.015, 5),
}  # fmt: skip


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


def table(measures, sound):
    """Every measure of every scan; the curves' distances are those from the median of the scans in `sound`."""
    curves = numpy.array([m.quantiles for m in measures])
    shapes = numpy.array([aligned(curve) for curve in curves])
    middle = numpy.median(curves[sound], axis=0)
    spread = quantile(middle, 0.99) - quantile(middle, 0.01)
    return {
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


def scores(values, sound, measure):
    """Robust standard deviations from the median of the sound scans."""
    deviation = values - numpy.median(values[sound])
    scale = max(NORMAL * float(numpy.median(abs(deviation[sound]))), measure.floor)
    return (abs(deviation) if measure.two_sided else numpy.maximum(deviation, 0)) / scale


def judge(measures):
    """For each InputMeasures the Reasons that speak against it, the weightiest first.

    Outliers widen the spread by which they are judged, so the cohort is judged again without them until nothing
    changes, as long as the sound ones are more than half. A cohort of fewer than FEWEST scans has no outliers.
    """
    reasons = [[] for _ in measures]
    sound = numpy.full(len(measures), True)
    while len(measures) >= FEWEST and 2 * sound.sum() > len(measures):
        values = table(measures, sound)
        found = {name: scores(values[name], sound, measure) for name, measure in MEASURES.items()}
        reasons = [
            sorted(
                (Reason(name, float(score[k])) for name, score in found.items() if score[k] > MEASURES[name].limit),
                key=lambda reason: -reason.score,
            )
            for k in range(len(measures))
        ]
        still = numpy.array([not why for why in reasons])
        if (still == sound).all():
            break
        sound = still
    return reasons

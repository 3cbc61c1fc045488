# SPDX-License-Identifier: BSD-3-Clause
"""Misfits in a cohort are found and sound scans are not, on small heads made of shells of tissue."""

import dataclasses
import os
import pathlib
import sys
import unittest

import numpy

sys.path.insert(0, str(pathlib.Path(os.environ["TONALIGN_REPORT"]).resolve().parent))
from tonalign_report.measures import InputMeasures, measure_input, measure_output
from tonalign_report.outliers import judge

SHAPE = (40, 44, 38)
AXES = numpy.meshgrid(*(numpy.linspace(-1, 1, n) for n in SHAPE), indexing="ij")
SHELLS = ((0.95, 1.0), (0.88, 0.2), (0.8, 0.35), (0.72, 0.62), (0.5, 0.85), (0.18, 0.3))  # radius and intensity
AIR = 0.01


def labels(random, scale=1.0):
    """Scalp, skull, fluid, grey and white matter and ventricles, of a head of any size and somewhat bent."""
    sizes = scale * random.normal(1, 0.02, 3)
    bend = 0.06 * numpy.sin(4 * AXES[0] + 3 * AXES[2]) * numpy.cos(5 * AXES[1])
    radius = numpy.sqrt(sum((axis / size) ** 2 for axis, size in zip(AXES, sizes))) + bend
    values = numpy.zeros(SHAPE)
    for number, (edge, _) in enumerate(SHELLS, 1):
        values[radius < edge] = number
    return values.astype(int)


def head(random, tissue=None):
    """What scanners and people make different: gain, contrast, coil, noise, size."""
    intensities = numpy.array([0.0, *(value for _, value in SHELLS)]) if tissue is None else tissue
    coil = 1 + sum(random.normal(0, 0.02) * axis for axis in AXES)
    values = intensities[labels(random)] ** random.uniform(0.85, 1.15) * coil
    values += (values > 0) * random.normal(0, 0.03, SHAPE)
    return (values.clip(0) * random.uniform(300, 1200)).round()


def misfits(random):
    values = head(random)
    noise = abs(random.normal(0, 0.06 * values.max(), SHAPE))
    yield "noisy air", numpy.where(values < AIR * values.max(), noise, values)
    yield "another contrast", head(random, numpy.array([0, 0.5, 0.1, 1.0, 0.7, 0.5, 1.0]))
    yield "another species", head(random)[::2, ::2, ::2]
    yield "noise", abs(random.normal(0, 100, SHAPE))
    yield "shuffled", random.permutation(head(random).ravel()).reshape(SHAPE)
    values = head(random)
    values[20, 20, 3] = 10 * values.max()
    yield "hot voxel", values
    yield "one side", head(random) * numpy.where(AXES[0] > 0, 1.5, 1)
    yield "top third", numpy.where(AXES[2] > 0.4, head(random), 0)
    values = head(random)
    yield "ringing", values - 0.3 * sum(numpy.roll(values, step, axis) - values for axis in range(3) for step in (1, -1))
    yield "labels", labels(random).astype(float)


def measured(values):
    """As in a run without masks: the foreground is what lies above the lowest of 256 bins."""
    low, high = values.min(), values.max()
    return InputMeasures.from_json(measure_input(values, values > low + (high - low) / 256, 0.064).to_json())


class Cohorts(unittest.TestCase):
    def test_misfits_are_flagged_and_sound_scans_are_not(self):
        for seed in range(3):
            random = numpy.random.default_rng(seed)
            sound = [measured(head(random)) for _ in range(40)]
            self.assertLessEqual(sum(map(bool, judge(sound)[0])), 2, seed)
            names, bad = zip(*misfits(random))
            reasons, _ = judge(sound[:12] + [measured(values) for values in bad])
            missed = [name for name, why in zip(names, reasons[12:]) if not why]
            self.assertEqual(missed, [], seed)
            self.assertLessEqual(sum(map(bool, reasons[:12])), 1, seed)
            for name, measure in (("shuffled", "smoothness"), ("one side", "balance"), ("top third", "volume")):
                self.assertIn(measure, [why.measure for why in reasons[12 + names.index(name)]], name)
            self.assertEqual(judge(sound[:2] + [measured(values) for values in bad[:2]]), ([[]] * 4, {}))  # too few

    def test_scanners_and_small_cohorts_raise_no_alarms(self):
        random = numpy.random.default_rng(4)
        sound = [measured(head(random) * (2.5 if k % 4 == 0 else 1)) for k in range(40)]
        flagged = 0
        for _ in range(100):  # judging all of them ends, too
            flagged += sum(map(bool, judge([sound[k] for k in random.choice(40, 8, replace=False)])[0]))
        self.assertLessEqual(flagged / 800, 0.03)

    def test_outliers_do_not_hide_others(self):
        balances = [*numpy.linspace(-0.03, 0.03, 11), 0.22, *[0.6] * 6]
        scan = measured(head(numpy.random.default_rng(0)))
        reasons, _ = judge([dataclasses.replace(scan, balance=balance) for balance in balances])
        self.assertEqual([why[0].measure if why else None for why in reasons], [None] * 11 + ["balance"] * 7)

    def test_the_transfer_curve_is_the_one_that_was_applied(self):
        random = numpy.random.default_rng(1)
        before = random.uniform(0, 10, 20_000)
        curve = measure_output(before, before**2)
        numpy.testing.assert_allclose(curve.outputs[1], curve.inputs**2, atol=0.2)
        # Quarters of 0.5 to 9.5: their slopes go with their middles.
        numpy.testing.assert_allclose([curve.smallest_slope, curve.largest_slope], [0.325, 1.675], atol=0.02)
        self.assertGreater(curve.correlation, 0.95)
        self.assertLess(abs(measure_output(before, random.permutation(before)).correlation), 0.03)
        self.assertEqual(measure_output(before * 0, before * 0).correlation, 0)

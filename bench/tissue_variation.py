#!/usr/bin/python3
# SPDX-License-Identifier: BSD-3-Clause
"""tissue_variation.py [SEED]: how much the means of tissues vary over a cohort after five ways to normalise it.

Two cohorts of twelve brains are made of Debian's mricron-data at 2 mm: ch2bet with another size, contrast, gain, coil
and noise each; and the same with up to three tenths of the grey matter turned into fluid. Tissues are three classes of
the clean brain, regions those of the atlas aal. What is printed is the standard deviation over the cohort of a tissue's
mean, in per cent of the contrast between white matter and fluid; that of the regions, averaged; and the mean distance of
the scans' histograms from their mean. Needs the package tonalign, python3-scipy and python3-skimage.
"""

import sys

import nibabel
import numpy
from scipy import ndimage
from skimage.exposure import match_histograms

import tonalign

TEMPLATES = "/usr/share/mricron/templates"
SCANS = 12
FLUID, GREY, WHITE = 1, 2, 3


def template(name):
    return nibabel.load(f"{TEMPLATES}/{name}.nii.gz").get_fdata()[::2, ::2, ::2]


def classes(brain):
    """Three tissues, by k-means of the intensities."""
    inside = brain > 0
    centres = numpy.quantile(brain[inside], (0.1, 0.5, 0.9))
    for _ in range(50):
        nearest = abs(brain[inside][:, None] - centres).argmin(axis=1)
        centres = numpy.array([brain[inside][nearest == k].mean() for k in range(3)])
    tissues = numpy.zeros(brain.shape, int)
    tissues[inside] = nearest + 1
    return tissues


def smooth_field(random, shape):
    field = ndimage.gaussian_filter(random.normal(size=shape), 6)
    return field / abs(field).max()


def scan_of(random, brain, tissues, regions, shrinks):
    """One scan, its tissues and its regions."""
    brain, tissues = brain.copy(), tissues.copy()
    if shrinks:
        field, grey = smooth_field(random, brain.shape), tissues == GREY
        lost = grey & (field > numpy.quantile(field[grey], 1 - random.uniform(0, 0.3)))
        tissues[lost], brain[lost] = FLUID, brain[tissues == FLUID].mean()
    matrix = numpy.eye(3) + random.normal(0, 0.02, (3, 3))
    offset = (numpy.eye(3) - matrix) @ ((numpy.array(brain.shape) - 1) / 2)
    brain = ndimage.affine_transform(brain, matrix, offset, order=1)
    tissues, regions = (ndimage.affine_transform(labels, matrix, offset, order=0) for labels in (tissues, regions))
    values = (brain / brain.max()) ** random.uniform(0.8, 1.25) * random.uniform(300, 1200)
    values *= 1 + 0.05 * smooth_field(random, brain.shape)
    return values + random.normal(0, 0.02 * values.max(), values.shape), tissues, regions


def by_landmarks(scans, masks):
    """Percentiles 1, 10, 20, ..., 90, 99 to their means over the cohort, linearly between and beyond."""
    found = [numpy.percentile(scan[mask], (1, *range(10, 100, 10), 99)) for scan, mask in zip(scans, masks)]
    scaled = [(marks - marks[0]) / (marks[-1] - marks[0]) for marks in found]
    goal = numpy.mean(scaled, axis=0)
    results = []
    for scan, marks in zip(scans, found):
        result = numpy.interp(scan, marks, goal)
        for end, beyond in ((0, scan < marks[0]), (-1, scan > marks[-1])):
            slope = (goal[1] - goal[0]) / (marks[1] - marks[0]) if end == 0 else (goal[-1] - goal[-2]) / (marks[-1] - marks[-2])
            result[beyond] = goal[end] + slope * (scan[beyond] - marks[end])
        results.append(result)
    return results


def by_scikit_image(scans, masks):
    results = []
    for scan, mask in zip(scans, masks):
        result = scan.copy()
        result[mask] = match_histograms(scan[mask], scans[0][masks[0]])
        results.append(result)
    return results


def exactly(scans, masks):
    target = tonalign.Target.fit(scans, masks=masks)
    return [tonalign.match(scan, target, mask=mask, clip=99.9) for scan, mask in zip(scans, masks)]


WAYS = {
    "as they are": lambda scans, _: scans,
    "z-score": lambda scans, masks: [(s - s[m].mean()) / s[m].std() for s, m in zip(scans, masks)],
    "scikit-image, to the first": by_scikit_image,
    "landmarks": by_landmarks,
    "exact, to the mean": exactly,
}


def spread(scans, labels, which):
    """The standard deviation over the cohort of the means of some labels, one for each."""
    means = [ndimage.mean(scan, label, which) for scan, label in zip(scans, labels)]
    return numpy.std(means, axis=0), numpy.mean(means, axis=0)


def histogram_distance(scans, masks):
    every = numpy.concatenate([scan[mask] for scan, mask in zip(scans, masks)])
    edges = numpy.linspace(*numpy.percentile(every, (0.1, 99.9)), 65)
    shares = numpy.array([numpy.histogram(scan[mask], edges)[0] / mask.sum() for scan, mask in zip(scans, masks)])
    return numpy.sqrt(((shares - shares.mean(axis=0)) ** 2).sum(axis=1)).mean()


def main():
    random = numpy.random.default_rng(int(sys.argv[1]) if len(sys.argv) > 1 else 1)
    brain, regions = template("ch2bet"), template("aal").astype(int)
    tissues = classes(brain)
    numbers = numpy.unique(regions[(regions > 0) & (brain > 0)])
    for title, shrinks in (("Alike", False), ("With up to 30 % of the grey matter lost", True)):
        cohort = [scan_of(random, brain, tissues, regions, shrinks) for _ in range(SCANS)]
        scans, labels, places = zip(*cohort)
        masks = [label > 0 for label in labels]
        print(f"\n{title}:\n\n| | fluid | grey | white | regions | histograms |\n|---|--:|--:|--:|--:|--:|")
        for way, normalise in WAYS.items():
            results = normalise(scans, masks)
            deviations, means = spread(results, labels, (FLUID, GREY, WHITE))
            contrast = means[2] - means[0]
            regional = spread(results, places, numbers)[0].mean()
            cells = [f"{100 * value / contrast:.1f} %" for value in (*deviations, regional)]
            print(f"| {way} | {' | '.join(cells)} | {histogram_distance(results, masks):.4f} |")


if __name__ == "__main__":
    main()

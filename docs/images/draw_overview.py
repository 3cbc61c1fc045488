#!/usr/bin/python3
# SPDX-License-Identifier: BSD-3-Clause
"""Draws docs/images/overview.png from what scripts/demo left in demo-output/.

    draw_overview.py [DEMO-OUTPUT [PICTURE]]

Above: the middle slice of the input, of the target and of the result, each from its own darkest to its own
brightest voxel. Below: their histograms as tonalign wrote them, bin by bin. Needs the Debian packages
python3-nibabel and python3-matplotlib.
"""

import pathlib
import sys

import matplotlib

matplotlib.use("Agg")

import nibabel
import numpy
from matplotlib import pyplot

ROOT = pathlib.Path(__file__).resolve().parents[2]
BACKGROUND_BINS = 1  # not part of any histogram here, so its frequency says nothing


def middle_slice(pair):
    """The middle slice of a pair; its y axis points upward in the picture."""
    voxels = numpy.asanyarray(nibabel.AnalyzeImage.load(f"{pair}.hdr").dataobj)
    return voxels[:, :, voxels.shape[2] // 2].T


def frequencies(file):
    return numpy.loadtxt(file, usecols=1)


def draw_slice(axes, pair, title):
    picture = middle_slice(pair)
    axes.imshow(picture, cmap="gray", origin="lower", vmin=picture.min(), vmax=picture.max())
    axes.set_title(title)
    axes.axis("off")


def draw_histogram(axes, file, label, **style):
    values = frequencies(file)
    bins = numpy.arange(1, len(values) + 1)[BACKGROUND_BINS:]
    axes.plot(bins, values[BACKGROUND_BINS:], label=label, **style)


def main():
    arguments = sys.argv[1:]
    if len(arguments) > 2:
        sys.exit(__doc__)
    demo = pathlib.Path(arguments[0]) if arguments else ROOT / "demo-output"
    picture = arguments[1] if len(arguments) == 2 else ROOT / "docs/images/overview.png"

    figure = pyplot.figure(figsize=(7.5, 6.2), dpi=80, constrained_layout=True)
    grid = figure.add_gridspec(2, 3, height_ratios=(3, 2))
    for column, (name, title) in enumerate(
        (("brain", "input"), ("average", "target"), ("brain-matched", "input after matching"))
    ):
        draw_slice(figure.add_subplot(grid[0, column]), demo / name, title)

    axes = figure.add_subplot(grid[1, :])
    draw_histogram(axes, demo / "brain.hist", "input", color="0.6", linewidth=0.8)
    draw_histogram(axes, demo / "average-mapped.hist", "target", color="tab:orange", linewidth=4)
    draw_histogram(axes, demo / "brain-matched.hist", "input after matching", color="black", linewidth=1)
    axes.set_xlabel("bin, 1 (the background) left out")
    axes.set_ylabel("frequency")
    axes.set_xlim(1, len(frequencies(demo / "brain.hist")))
    axes.set_ylim(bottom=0)
    axes.legend(frameon=False, loc="upper left")
    for side in ("top", "right"):
        axes.spines[side].set_visible(False)
    figure.savefig(picture, metadata={"Software": None})


main()

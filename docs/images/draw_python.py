#!/usr/bin/python3
# SPDX-License-Identifier: BSD-3-Clause
"""Draws docs/images/python.png: a head before and after a match within its brain mask, and the histograms.

    PYTHONPATH=build-release/python docs/images/draw_python.py
"""

import pathlib

import matplotlib
import nibabel
import numpy

matplotlib.use("agg")
from matplotlib import pyplot

import tonalign

TEMPLATES = pathlib.Path("/usr/share/mricron/templates")
scan = nibabel.load(TEMPLATES / "ch2.nii.gz")
brain = numpy.asanyarray(nibabel.load(TEMPLATES / "ch2bet.nii.gz").dataobj) > 0
other = TEMPLATES / "inia19-t1-brain.nii.gz"
target = tonalign.Target.fit([other], bins=128, smooth=1)
matched = tonalign.match(scan, target, mask=brain)

figure, axes = pyplot.subplots(1, 3, figsize=(11, 3.4), gridspec_kw={"width_ratios": [1, 1, 1.7]})
for ax, title, image in zip(axes, ("scan", "matched within the mask"), (scan, matched)):
    ax.imshow(numpy.asanyarray(image.dataobj)[:, :, 90].T, origin="lower", cmap="gray")
    ax.set_title(title)
    ax.axis("off")
tonalign.Target.fit([scan], masks=[brain], bins=128).plot(axes[2], label="scan", color="0.6")
target.plot(axes[2], label="target", color="tab:orange", linewidth=4, alpha=0.5)
values = numpy.asanyarray(matched.dataobj)[brain]
edges = numpy.concatenate([[-numpy.inf], (target.centres[1:] + target.centres[:-1]) / 2, [numpy.inf]])
shares = numpy.histogram(values, edges)[0] / values.size
axes[2].plot(target.centres[1:], shares[1:], label="matched", color="black", linewidth=1)
axes[2].legend(frameon=False)
figure.tight_layout()
figure.savefig(pathlib.Path(__file__).parent / "python.png", dpi=80)

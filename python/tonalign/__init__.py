# SPDX-License-Identifier: BSD-3-Clause
"""Exact grey-value histograms for three-dimensional medical image volumes.

match      gives a scan's foreground the histogram of a target exactly
normalise  the command-line tool's whole run, on arrays
Target     a target histogram: fitted to scans, saved, loaded, compared
Transform  match as a callable, for training pipelines

Volumes are NumPy arrays of three axes, nibabel images, or names of files that nibabel reads. Masks are volumes of the
same shape, not 0 inside. The first axis is x, along which voxels follow each other in a file.
"""

from tonalign.matching import Normalised, match, normalise
from tonalign.target import Scan, Target
from tonalign.transform import Transform

__all__ = ["Normalised", "Scan", "Target", "Transform", "match", "normalise"]
__version__ = "0.1.0"

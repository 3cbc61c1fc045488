#!/usr/bin/python3
# SPDX-License-Identifier: BSD-3-Clause
"""scikit-image's histogram matching, file to file: what a user of that function writes, and nothing else.

    skimage_match.py INPUT TARGET OUTPUT

Reads Analyze pairs in their own element type, which for 8-bit volumes is the fastest this function knows,
and writes 32-bit floats.
"""

import sys

import nibabel
import numpy
from skimage.exposure import match_histograms

source = nibabel.AnalyzeImage.load(sys.argv[1])
target = nibabel.AnalyzeImage.load(sys.argv[2])
matched = match_histograms(numpy.asanyarray(source.dataobj), numpy.asanyarray(target.dataobj))
nibabel.AnalyzeImage(matched.astype(numpy.float32), affine=None).to_filename(sys.argv[3])

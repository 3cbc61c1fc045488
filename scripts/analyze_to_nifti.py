#!/usr/bin/python3
"""Gives a result of tonalign the place in space of the NIfTI volume it was made from.

    analyze_to_nifti.py RESULT ORIGINAL.nii.gz OUT.nii.gz

RESULT is an output pair of tonalign whose input nifti_to_analyze.py made from ORIGINAL. OUT has the header of
ORIGINAL, so its orientation (qform, sform and their codes), voxel sizes, units and texts, and the voxels of
RESULT, each where it stands in ORIGINAL: 32-bit floats without a scale factor. Only the display range (cal_min,
cal_max), which spoke of the old values, is set to 0, none.

RESULT may end in .hdr or .img, OUT ends in .nii or .nii.gz. OUT is written whole or not at all.
"""

import argparse
import pathlib
import sys

import nibabel
import numpy

from volume_files import load, naming, pair_files, refuse_to_replace, without_empty_axes, written_whole


def load_result(name):
    header_file, _ = pair_files(name)
    with naming(header_file):
        # As plain Analyze: the classes that nibabel would choose may multiply by what they take for a scale factor.
        result = nibabel.AnalyzeImage.load(header_file)
    if result.get_data_dtype().newbyteorder("=") != numpy.float32:
        sys.exit(f"{header_file}: 32-bit floats are expected, as tonalign writes; found {result.get_data_dtype().name}")
    return result


def check_that_it_is_made_from(original, result):
    found, expected = without_empty_axes(result.shape), without_empty_axes(original.shape)
    if found != expected:
        sys.exit(f"{result.get_filename()}: found the shape {found}, but {original.get_filename()} has {expected}")
    found, expected = result.header.get_zooms()[:3], original.header.get_zooms()[:3]
    # Other converters may have rounded them.
    if not numpy.allclose(found, expected, rtol=1e-3, atol=0):
        sizes = [" x ".join(f"{size:g}" for size in zooms) for zooms in (found, expected)]
        sys.exit(f"{result.get_filename()}: found voxels of {sizes[0]}, but {original.get_filename()} has {sizes[1]}")


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    for name in ("result", "original", "out"):
        parser.add_argument(name, metavar=name.upper())
    arguments = parser.parse_args()
    out = pathlib.Path(arguments.out)
    if not out.name.endswith((".nii", ".nii.gz")):
        sys.exit(f"{out}: a name that ends in .nii or .nii.gz is expected")

    original, result = load(arguments.original), load_result(arguments.result)
    if not isinstance(original, nibabel.Nifti1Pair):
        sys.exit(f"{arguments.original}: a NIfTI volume is expected, since nothing else tells the orientation")
    check_that_it_is_made_from(original, result)
    refuse_to_replace([holder.filename for holder in original.file_map.values()], [out])
    with naming(result.file_map["image"].filename):
        values = numpy.asanyarray(result.dataobj).reshape(original.shape, order="F")

    header = original.header.copy()
    header.set_data_dtype(numpy.float32)
    header["cal_max"] = header["cal_min"] = 0
    kind = nibabel.Nifti2Image if isinstance(header, nibabel.Nifti2Header) else nibabel.Nifti1Image
    with written_whole(out) as (unfinished,):
        # Without an affine the qform and sform of the header stay as they are, to the byte.
        kind(values, None, header).to_filename(unfinished)
    sizes = " x ".join(str(n) for n in values.shape)
    print(f"{out}: {sizes} voxels, float32, values {values.min():g} to {values.max():g}")


main()

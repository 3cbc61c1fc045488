#!/usr/bin/python3
"""Converts one NIfTI volume into an Analyze 7.5 pair.

    nifti_to_analyze.py VOLUME.nii.gz PAIR

writes PAIR.hdr and PAIR.img: the same voxel values in the same storage order (x fastest, no axis turned
round), the voxel sizes and the description. Analyze knows no scale factor, so the values themselves are
stored, in the volume's own element type where Analyze has it and else in the first that holds them all
exactly.
"""

import pathlib
import sys

import nibabel
import numpy

ANALYZE_TYPES = ("uint8", "int16", "int32", "float32", "float64")


def same(first, second):
    return numpy.array_equal(first, second, equal_nan=True)


def values_in_analyze_type(image):
    """The voxel values as an array whose element type Analyze has; none of them changes."""
    values = numpy.asanyarray(image.dataobj)
    stored = image.dataobj.dtype.newbyteorder("=").name
    preferred = [stored] if stored in ANALYZE_TYPES else []
    for name in (*preferred, *ANALYZE_TYPES):
        with numpy.errstate(all="ignore"):
            converted = values.astype(name)
            # Both ways: a wrapped integer comes back as it was, a rounded one compares equal as a float.
            if same(converted, values) and same(converted.astype(values.dtype), values):
                return converted
    sys.exit(f"{image.get_filename()}: no Analyze element type holds its values exactly ({values.dtype})")


def main():
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    volume, pair = pathlib.Path(sys.argv[1]), sys.argv[2]
    image = nibabel.load(volume)
    values = values_in_analyze_type(image)
    if values.ndim != 3:
        sys.exit(f"{volume}: one volume is expected, of three axes; found the shape {values.shape}")

    # No affine is handed over: with one, an image class may turn the first axis round.
    analyze = nibabel.AnalyzeImage(values, affine=None)
    analyze.header.set_zooms(image.header.get_zooms())
    analyze.header["extents"], analyze.header["regular"] = 16384, "r"  # as every Analyze header has them
    analyze.header["vox_units"] = "mm"
    analyze.header["descrip"] = image.header["descrip"].item() or volume.name.encode()
    analyze.to_filename(pair + ".hdr")
    sizes = " x ".join(str(n) for n in values.shape)
    print(f"{pair}.hdr, {pair}.img: {sizes} voxels, {values.dtype}, values {values.min()} to {values.max()}")


main()

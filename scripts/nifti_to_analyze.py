#!/usr/bin/python3
"""Converts one NIfTI volume into an Analyze 7.5 pair.

    nifti_to_analyze.py VOLUME.nii.gz PAIR

writes PAIR.hdr and PAIR.img: the same voxel values in the same storage order (x fastest, no axis turned
round), the voxel sizes and the description. Analyze knows no scale factor, so the values themselves are
stored, in the volume's own element type where Analyze has it and else in the first that holds them all
exactly. Nor does it know where the volume lies in space: analyze_to_nifti.py gives a result its place back.

VOLUME may also be a NIfTI-1 or SPM pair (VOLUME.hdr), whose scale factor is then applied. PAIR may end in .hdr
or .img. Both files are written whole or not at all.
"""

import argparse
import sys

import nibabel
import numpy

from volume_files import load, naming, pair_files, refuse_to_replace, without_empty_axes, written_whole

ANALYZE_TYPES = ("uint8", "int16", "int32", "float32", "float64")


def same(first, second):
    return numpy.array_equal(first, second, equal_nan=True)


def values_in_analyze_type(image, name):
    """The voxel values as an array whose element type Analyze has; none of them changes."""
    with naming(name):
        values = numpy.asanyarray(image.dataobj)
    if values.dtype.kind not in "iuf":
        sys.exit(f"{name}: voxels of single real numbers are expected; found {values.dtype}")
    stored = image.get_data_dtype().newbyteorder("=").name
    preferred = [stored] if stored in ANALYZE_TYPES else []
    for candidate in (*preferred, *ANALYZE_TYPES):
        with numpy.errstate(all="ignore"):
            converted = values.astype(candidate)
            # Both ways: a wrapped integer comes back as it was, a rounded one compares equal as a float.
            if same(converted, values) and same(converted.astype(values.dtype), values):
                return converted
    sys.exit(f"{name}: no Analyze element type holds its values exactly ({values.dtype})")


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("volume", metavar="VOLUME")
    parser.add_argument("pair", metavar="PAIR")
    arguments = parser.parse_args()
    header_file, image_file = pair_files(arguments.pair)

    image = load(arguments.volume)
    if not isinstance(image, nibabel.AnalyzeImage):  # which NIfTI and SPM volumes are too
        sys.exit(f"{arguments.volume}: a NIfTI, SPM or Analyze volume is expected")
    shape = without_empty_axes(image.shape)
    if len(shape) != 3:
        sys.exit(f"{arguments.volume}: one volume is expected, of three axes; found the shape {image.shape}")
    refuse_to_replace([holder.filename for holder in image.file_map.values()], (header_file, image_file))
    values = values_in_analyze_type(image, arguments.volume).reshape(shape)

    with written_whole(header_file, image_file) as (unfinished_header, _):
        # No affine is handed over: with one, an image class may turn the first axis round.
        analyze = nibabel.AnalyzeImage(values, affine=None)
        analyze.header.set_zooms(image.header.get_zooms()[:3])
        analyze.header["extents"], analyze.header["regular"] = 16384, "r"  # as every Analyze header has them
        analyze.header["vox_units"] = "mm"
        analyze.header["descrip"] = image.header["descrip"].item() or image.get_filename().split("/")[-1].encode()
        analyze.to_filename(unfinished_header)
    sizes = " x ".join(str(n) for n in shape)
    print(f"{header_file}, {image_file}: {sizes} voxels, {values.dtype}, values {values.min()} to {values.max()}")


main()

# SPDX-License-Identifier: BSD-3-Clause
"""Volumes of other people's writers in, results before other people's readers, and from NIfTI and back."""

import os
import subprocess
import sys
import tempfile
from pathlib import Path

import nibabel
import numpy

BUILD, NIFTI_TOOL = Path(sys.argv.pop(1)).resolve(), sys.argv.pop(1)
# All different, so that the exact stage keeps their order, and no two axes alike.
SCAN = numpy.random.default_rng(5).permutation(120).reshape(5, 4, 6)
# As a scanner gives a sagittal acquisition: x of the file runs to the back, y down, z to the right, all tilted
SAGITTAL = numpy.array([[0.05, -0.03, 1.19, -81], [-0.93, 0.09, 0.04, 119], [-0.08, -0.92, -0.02, 102], [0, 0, 0, 1]])
CHANGED = {"datatype", "bitpix", "scl_slope", "scl_inter", "cal_max"}  # in the header of a result


def run(program, *arguments, limit=10000):
    """What a program said that writes no file above the limit."""
    command = "prlimit", f"--fsize={limit}", BUILD / program, *arguments
    return subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, check=False).stdout


def equalised():
    """What nibabel reads of the result for `scan`."""
    Path("flat.hist").write_text("".join(f"{i} 1\n" for i in range(16)), encoding="ascii")
    run("tonalign", "scan", "flat.hist", "out", "16", "before.hist", "after.hist")
    return numpy.asanyarray(nibabel.AnalyzeImage.load("out.hdr").dataobj)


def write_nifti(name, values, element="i2", endianness="<", sform=3):
    header = nibabel.Nifti1Header(endianness=endianness)
    header["descrip"], header["cal_max"], header["xyzt_units"] = b"a scan", 900, 10
    header.set_data_dtype(element)
    header.set_qform(SAGITTAL, 1, strip_shears=True)
    header.set_sform(SAGITTAL * 1.5, sform)
    header.extensions.append(nibabel.nifti1.Nifti1Extension("comment", b"kept as well"))
    nibabel.Nifti1Image(values, None, header).to_filename(name)


def pairs_of_others_are_read_and_ours_by_others():
    for form in (order + element for order in "<>" for element in ("u1", "i2", "i4", "f4", "f8")):
        header = nibabel.AnalyzeHeader(endianness=form[0])
        header.set_data_dtype(form)
        nibabel.AnalyzeImage(SCAN.astype(form), None, header).to_filename("scan.hdr")
        result = equalised()
        assert (result.dtype.name, result.shape, result.max()) == ("float32", SCAN.shape, 255), form
        in_order = result.ravel()[numpy.argsort(SCAN, None)][8:]  # behind the background, the first bin
        assert (numpy.diff(in_order) >= 0).all(), form
    printed = run(NIFTI_TOOL, "-quiet", "-disp_ci", *["-1"] * 3, *["0"] * 4, "-infiles", "out.hdr")
    numpy.testing.assert_allclose([float(v) for v in printed.split()], result.ravel("F"), rtol=0, atol=1e-6)


def results_lie_where_their_originals_lay():
    # With a scale factor, with a fourth axis, in an element type that Analyze does not have.
    for values, *form in (SCAN * 0.123 - 4, "i2", ">", 0), (SCAN[..., None] / 16, "f4"), (SCAN + 70000, "u4"):
        write_nifti("scan.nii.gz", values, *form)
        run("tonalign-from-nifti", "scan.nii.gz", "scan")
        scan, pair = nibabel.load("scan.nii.gz"), nibabel.AnalyzeImage.load("scan.hdr")
        numpy.testing.assert_array_equal(pair.get_fdata(), scan.get_fdata().reshape(SCAN.shape))
        result = equalised()
        run("tonalign-to-nifti", "out", "scan.nii.gz", "back.nii.gz")
        back = nibabel.load("back.nii.gz")
        numpy.testing.assert_array_equal(back.get_fdata(), result.reshape(values.shape))
        for name in set(scan.header) - CHANGED:
            numpy.testing.assert_array_equal(back.header[name], scan.header[name], name)
        for field in ("endianness", "extensions"):
            assert getattr(back.header, field) == getattr(scan.header, field), field


def what_cannot_be_converted_is_told_and_leaves_the_files_of_before():
    write_nifti("series.nii", numpy.stack([SCAN, SCAN], 3))
    write_nifti("long.nii", SCAN + 2**62 + 1, "i8")
    before = {file: file.read_bytes() for file in Path().iterdir()}
    for command, text in (
        ("from-nifti series.nii new", "series.nii: one volume is expected"),
        ("from-nifti long.nii new", "long.nii: no Analyze element type holds"),
        ("from-nifti scan.hdr scan", "scan.img: the result would replace"),
        ("from-nifti scan.nii.gz out", "out.hdr: File too large"),
        ("to-nifti out scan.nii.gz scan.nii.gz", "scan.nii.gz: the result would replace"),
    ):
        said = run(*f"tonalign-{command}".split(), limit=300)
        assert said.startswith(text) and said.count("\n") == 1, said
        assert {file: file.read_bytes() for file in Path().iterdir()} == before, command


if __name__ == "__main__":
    with tempfile.TemporaryDirectory(prefix="tonalign-interop-") as work:
        os.chdir(work)
        pairs_of_others_are_read_and_ours_by_others()
        results_lie_where_their_originals_lay()
        what_cannot_be_converted_is_told_and_leaves_the_files_of_before()

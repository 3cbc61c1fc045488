# SPDX-License-Identifier: BSD-3-Clause
"""Volumes of other people's writers in, results before other people's readers, and from NIfTI and back."""

import gzip
import os
import re
import resource
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

import nibabel
import numpy

BUILD, NIFTI_TOOL = Path(sys.argv.pop(1)).resolve(), sys.argv.pop(1)
SHAPE = (5, 4, 6)
# All different, so that the exact stage keeps their order; the brightest is nowhere near a middle or a corner.
SCAN = numpy.random.default_rng(5).permutation(120).reshape(SHAPE) * 8
BRIGHTEST = (1, 2, 4)
SCAN[tuple(numpy.argwhere(SCAN == SCAN.max())[0])], SCAN[BRIGHTEST] = SCAN[BRIGHTEST], SCAN.max()

UPRIGHT = numpy.array([[-1, 0, 0, 90], [0, 1, 0, -126], [0, 0, 1.5, -72], [0, 0, 0, 1.0]])
# As a scanner gives a sagittal acquisition: x of the file runs to the back, y down, z to the right, all tilted
SAGITTAL = numpy.array([[0.05, -0.03, 1.19, -81.5], [-0.93, 0.09, 0.04, 119.25], [-0.08, -0.92, -0.02, 102.75],
                        [0, 0, 0, 1]])
ORIENTATIONS = (((UPRIGHT, 1), (SAGITTAL, 2)), ((SAGITTAL, 1), (None, 0)), ((None, 0), (SAGITTAL, 3)), ((None, 0), (None, 0)))
CHANGED = {"datatype", "bitpix", "scl_slope", "scl_inter", "cal_max"}  # in the header of a result


def run(program, *arguments, **options):
    done = subprocess.run([BUILD / program, *map(str, arguments)], capture_output=True, text=True, check=False, **options)
    return done.returncode, done.stdout, done.stderr


def nifti_tool(*arguments):
    return subprocess.run([NIFTI_TOOL, *map(str, arguments)], capture_output=True, text=True, check=False).stdout


def write_nifti(name, values, qform=(UPRIGHT, 1), sform=(UPRIGHT, 1), element="i2", endianness="<", extension=None):
    header = nibabel.Nifti1Header(endianness=endianness)
    header.set_data_dtype(element)
    if extension:
        header.extensions.append(nibabel.nifti1.Nifti1Extension("comment", extension))
    image = nibabel.Nifti1Image(values, None, header)
    image.header.set_zooms((1, 1, 1.5, 1)[: values.ndim])
    image.set_qform(*qform, strip_shears=True, update_affine=False)
    image.set_sform(*sform, update_affine=False)
    image.header["descrip"], image.header["cal_max"] = b"a scan", 900
    image.header.set_xyzt_units("mm", "sec")
    image.to_filename(name)


class Interop(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="tonalign-interop-")
        self.addCleanup(folder.cleanup)
        self.addCleanup(os.chdir, os.getcwd())
        os.chdir(folder.name)
        Path("flat.hist").write_text("".join(f"{i} 1\n" for i in range(16)), encoding="ascii")

    def equalise(self, name="scan", result="out"):
        status, output, errors = run("tonalign", name, "flat.hist", result, 16, "before.hist", "after.hist")
        self.assertIn("*****TOTAL RUNNING TIME*****", output, errors)

    def convert(self, direction, *arguments):
        status, _, errors = run(f"tonalign-{direction}-nifti", *arguments)
        self.assertEqual((status, errors), (0, ""))

    def test_pairs_of_others_are_read_and_ours_are_read_by_others(self):
        for order in "<>":
            for element in ("u1", "i2", "i4", "f4", "f8"):
                header = nibabel.AnalyzeHeader(endianness=order)
                header.set_data_dtype(element)
                nibabel.AnalyzeImage((SCAN // 8).astype(element), None, header).to_filename("scan.hdr")
                self.equalise()
                result = nibabel.AnalyzeImage.load("out.hdr")
                values = numpy.asanyarray(result.dataobj)
                self.assertEqual((values.dtype.name, values.shape, values.max()), ("float32", SHAPE, 255))
                foreground = SCAN > 64
                in_order = values[foreground][numpy.argsort(SCAN[foreground])]
                self.assertTrue((numpy.diff(in_order) >= 0).all(), "ranks are kept")
        printed = nifti_tool("-disp_ana", "-field", "dim", "-field", "datatype", "-field", "bitpix", "-infiles", "out.hdr")
        found = [[int(n) for n in line.split()[3:]] for line in printed.splitlines() if re.match(r" +(dim|data|bit)", line)]
        self.assertEqual((found[0][:4], *found[1:]), ([3, *SHAPE], [16], [32]), printed)
        voxels = nifti_tool("-disp_ci", *[-1] * 3, *[0] * 4, "-infiles", "out.hdr").splitlines()
        voxels = [float(word) for line in voxels if not line.startswith("dataset") for word in line.split()]
        numpy.testing.assert_allclose(voxels, values.ravel(order="F"), rtol=0, atol=1e-6)

    def test_results_lie_where_their_originals_lay(self):
        stored = [{}, {"endianness": ">"}, {"extension": b"kept as well"}, {"element": "f4"}]
        for (qform, sform), options in zip(ORIENTATIONS, stored):
            write_nifti("scan.nii.gz", SCAN[..., None] if options else SCAN, qform, sform, **options)
            self.convert("from", "scan.nii.gz", "scan")
            self.equalise()
            self.convert("to", "out", "scan.nii.gz", "back.nii.gz")
            differing = nifti_tool("-diff_hdr1", "-infiles", "scan.nii.gz", "back.nii.gz")
            names = {line.split()[0] for line in differing.splitlines() if re.match(r"\s+\w+\s+\d+\s+\d+", line)}
            self.assertLessEqual(names, CHANGED)
            scan, back = nibabel.load("scan.nii.gz"), nibabel.load("back.nii.gz")
            numpy.testing.assert_array_equal(back.affine, scan.affine)
            self.assertEqual(back.header.endianness, scan.header.endianness)
            self.assertEqual([e.get_content() for e in back.header.extensions],
                             [e.get_content() for e in scan.header.extensions])
            values = back.get_fdata().reshape(SHAPE)
            numpy.testing.assert_array_equal(values, numpy.fromfile("out.img", "f4").reshape(SHAPE, order="F"))
            self.assertEqual(values[BRIGHTEST], 255)

    def test_values_survive_conversion(self):
        for values, element in ((SCAN * 0.123 - 4, "i2"), (SCAN / 16, "f4"), (SCAN + 70000, "u4")):
            write_nifti("scan.nii.gz", values, element=element)
            self.convert("from", "scan.nii.gz", "scan")
            pair = numpy.asanyarray(nibabel.AnalyzeImage.load("scan.hdr").dataobj)
            numpy.testing.assert_array_equal(pair, nibabel.load("scan.nii.gz").get_fdata())

    def test_what_cannot_be_converted_is_told_and_leaves_the_files_of_before(self):
        write_nifti("scan.nii.gz", SCAN)
        write_nifti("other.nii.gz", SCAN[:-1])
        write_nifti("series.nii.gz", numpy.stack([SCAN, SCAN], 3))
        write_nifti("long.nii.gz", SCAN + (1 << 62) + 1, element="i8")
        write_nifti("large.nii.gz", numpy.random.default_rng(1).integers(0, 30000, (20, 20, 20)))
        Path("cut.nii.gz").write_bytes(gzip.compress(gzip.decompress(Path("scan.nii.gz").read_bytes()))[:-50])
        self.convert("from", "scan.nii.gz", "scan")
        self.equalise()
        for file in ("new.hdr", "new.img", "new.nii.gz"):
            Path(file).write_text("from before", encoding="ascii")
        before = {file: file.read_bytes() for file in Path().iterdir()}
        for direction, arguments, text in (
            ("from", "none.nii.gz new", "none.nii.gz: No such file"),
            ("from", "cut.nii.gz new", "cut.nii.gz: "),
            ("from", "series.nii.gz new", "series.nii.gz: one volume is expected"),
            ("from", "long.nii.gz new", "long.nii.gz: no Analyze element type holds"),
            ("from", "out.hdr out.img", "out.img: the result would replace"),
            ("from", "large.nii.gz new", "new.hdr: File too large"),
            ("to", "out scan.hdr new.nii.gz", "scan.hdr: a NIfTI volume is expected"),
            ("to", "scan scan.nii.gz new.nii.gz", "scan.hdr: 32-bit floats are expected"),
            ("to", "out other.nii.gz new.nii.gz", "out.img: found the shape (5, 4, 6), but other"),
            ("to", "out scan.nii.gz scan.nii.gz", "scan.nii.gz: the result would replace"),
            ("to", "out scan.nii.gz none/new.nii", "none/new.nii: No such file"),
        ):
            with self.subTest(direction=direction, arguments=arguments):
                limit = lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (4096, 4096))
                status, output, errors = run(f"tonalign-{direction}-nifti", *arguments.split(), preexec_fn=limit)
                self.assertEqual((status, output, errors.count("\n")), (1, "", 1), errors)
                self.assertTrue(errors.startswith(text), errors)
                self.assertEqual({file: file.read_bytes() for file in Path().iterdir()}, before)


if __name__ == "__main__":
    unittest.main()

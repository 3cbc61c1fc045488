"""From .nii.gz to a pair, through tonalign, and back: every voxel stays where it was in space."""

import gzip
import resource
import subprocess
from pathlib import Path

import nibabel
import numpy
import programs
from programs import SCRIPTS, assert_same_voxels, differing_fields, fields, script

SHAPE = (5, 4, 6)
# All different, so that the exact stage keeps their order; the brightest is nowhere near a middle or a corner.
SCAN = numpy.random.default_rng(5).permutation(120).reshape(SHAPE) * 8
BRIGHTEST = (1, 2, 4)
SCAN[tuple(numpy.argwhere(SCAN == SCAN.max())[0])], SCAN[BRIGHTEST] = SCAN[BRIGHTEST], SCAN.max()

NEUROLOGICAL = numpy.array([[1, 0, 0, -90], [0, 1, 0, -126], [0, 0, 1.5, -72], [0, 0, 0, 1.0]])
RADIOLOGICAL = numpy.diag([-1, 1, 1, 1.0]) @ NEUROLOGICAL
# As a scanner gives a sagittal acquisition: x of the file runs to the back, y down, z to the right, all tilted
SAGITTAL = numpy.array(
    [[0.05, -0.03, 1.19, -81.5], [-0.93, 0.09, 0.04, 119.25], [-0.08, -0.92, -0.02, 102.75], [0, 0, 0, 1]]
)
# (affine, code) of the qform and of the sform
ORIENTATIONS = {
    "both alike": ((NEUROLOGICAL, 1), (NEUROLOGICAL, 1)),
    "left-handed storage": ((RADIOLOGICAL, 1), (RADIOLOGICAL, 4)),
    "oblique sform, other qform": ((RADIOLOGICAL, 1), (SAGITTAL, 2)),
    "oblique": ((SAGITTAL, 1), (SAGITTAL, 1)),
    "qform only": ((SAGITTAL, 1), (None, 0)),
    "sform only": ((None, 0), (SAGITTAL, 3)),
    "neither": ((None, 0), (None, 0)),
}


def write_nifti(name, values, qform=(NEUROLOGICAL, 1), sform=(NEUROLOGICAL, 1), element="i2", header=None):
    header = header or nibabel.Nifti1Header()
    header.set_data_dtype(element)
    image = nibabel.Nifti1Image(values, None, header)
    image.header.set_zooms((1, 1, 1.5, 1)[: values.ndim])
    image.set_qform(*qform, strip_shears=True, update_affine=False)
    image.set_sform(*sform, update_affine=False)
    image.header["descrip"], image.header["cal_max"] = b"a scan", 900
    image.header.set_xyzt_units("mm", "sec")
    image.to_filename(name)


class RoundTripTest(programs.FolderCase):
    KEPT_BUT = {"datatype", "bitpix", "scl_slope", "scl_inter", "cal_max"}

    def go(self, program, *arguments):
        status, _, errors = script(program, *arguments)
        self.assertEqual((status, errors), (0, ""))

    def check_that_back_lies_where_scan_does(self):
        self.assertLessEqual(differing_fields("scan.nii.gz", "back.nii.gz"), self.KEPT_BUT)
        scan, back = nibabel.load("scan.nii.gz"), nibabel.load("back.nii.gz")
        numpy.testing.assert_array_equal(back.affine, scan.affine)
        for form in ("get_qform", "get_sform"):
            (before, code_before), (after, code_after) = (getattr(image, form)(coded=True) for image in (scan, back))
            self.assertEqual(code_after, code_before)
            numpy.testing.assert_array_equal(after, before)
        self.assertEqual((back.shape, back.header.get_zooms()), (scan.shape, scan.header.get_zooms()))
        self.assertEqual((back.get_data_dtype().name, back.header["cal_max"]), ("float32", 0))
        place = "qto_xyz", "sto_xyz", "qform_code", "sform_code", "xyz_units"
        before, after = (fields(name, *place, structure="nim") for name in ("scan.nii.gz", "back.nii.gz"))
        self.assertEqual(after, before)
        self.assertEqual(fields("back.nii.gz", "scl_slope", structure="nim"), {"scl_slope": "1.0"})

    def test_identical_voxels_and_header_come_back(self):
        for name, (qform, sform) in ORIENTATIONS.items():
            with self.subTest(name):
                write_nifti("scan.nii.gz", SCAN / 16, qform, sform, "f4")
                self.go("tonalign-from-nifti", "scan.nii.gz", "scan")
                self.go("tonalign-to-nifti", "scan.img", "scan.nii.gz", "back.nii.gz")
                self.check_that_back_lies_where_scan_does()
                numpy.testing.assert_array_equal(nibabel.load("back.nii.gz").get_fdata(), SCAN / 16)
                assert_same_voxels("back.nii.gz", SCAN / 16)

    def test_results_of_tonalign_lie_where_their_input_lay(self):
        for name, (qform, sform) in ORIENTATIONS.items():
            with self.subTest(name):
                write_nifti("scan.nii.gz", SCAN, qform, sform)
                self.go("tonalign-from-nifti", "scan.nii.gz", "scan")
                self.equalise("scan", "out")
                self.go("tonalign-to-nifti", "out", "scan.nii.gz", "back.nii.gz")
                self.check_that_back_lies_where_scan_does()
                back = nibabel.load("back.nii.gz").get_fdata()
                stored = numpy.fromfile("out.img", "f4").reshape(SHAPE, order="F")
                numpy.testing.assert_array_equal(back, stored)
                # Each of 120 voxels has the rank it had.
                foreground = SCAN > numpy.quantile(SCAN, 0.1)
                in_order = back[foreground][numpy.argsort(SCAN[foreground])]
                self.assertTrue((numpy.diff(in_order) >= 0).all())
                self.assertEqual((back[BRIGHTEST], back.max()), (255, 255))

    def test_other_ways_to_store_the_original(self):
        def volume_of_a_series():
            write_nifti("scan.nii.gz", SCAN[..., None])

        def scaled():
            write_nifti("scan.nii.gz", SCAN * 0.123 - 4)

        def big_endian():
            write_nifti("scan.nii.gz", SCAN, header=nibabel.Nifti1Header(endianness=">"))

        def extended():
            header = nibabel.Nifti1Header()
            header.extensions.append(nibabel.nifti1.Nifti1Extension("comment", b"kept as well"))
            write_nifti("scan.nii.gz", SCAN, header=header)

        for write in (volume_of_a_series, scaled, big_endian, extended):
            with self.subTest(write.__name__):
                write()
                self.go("tonalign-from-nifti", "scan.nii.gz", "scan")
                self.equalise("scan", "out")
                self.go("tonalign-to-nifti", "out", "scan.nii.gz", "back.nii.gz")
                self.check_that_back_lies_where_scan_does()
                back, scan = nibabel.load("back.nii.gz"), nibabel.load("scan.nii.gz")
                self.assertEqual(back.header.endianness, scan.header.endianness)
                comments = [[e.get_content() for e in image.header.extensions] for image in (scan, back)]
                self.assertEqual(comments[1], comments[0])
                self.assertEqual(back.get_fdata().reshape(SHAPE)[BRIGHTEST], 255)


class ErrorsTest(programs.FolderCase):
    def test_what_cannot_be_converted_is_told_and_leaves_the_files_of_before(self):
        write_nifti("scan.nii.gz", SCAN)
        write_nifti("other.nii.gz", SCAN[:-1])
        write_nifti("coarse.nii.gz", SCAN, (NEUROLOGICAL * 2, 1))
        write_nifti("series.nii.gz", numpy.stack([SCAN, SCAN], 3))
        write_nifti("complex.nii.gz", SCAN * 1j, element="c8")
        write_nifti("long.nii.gz", SCAN + (1 << 62) + 1, element="i8")
        nii = gzip.decompress(Path("scan.nii.gz").read_bytes())
        Path("cut.nii.gz").write_bytes(gzip.compress(nii)[:-50])
        script("tonalign-from-nifti", "scan.nii.gz", "scan")
        self.equalise("scan", "out")
        Path("short.hdr").write_bytes(Path("out.hdr").read_bytes())
        Path("short.img").write_bytes(Path("out.img").read_bytes()[:-1])
        for file in ("new.hdr", "new.img", "new.nii.gz"):
            Path(file).write_text("from before", encoding="ascii")
        before = {file: file.read_bytes() for file in Path().iterdir()}

        to_analyze, to_nifti = "tonalign-from-nifti", "tonalign-to-nifti"
        for program, arguments, status, text in (
            (to_analyze, ["none.nii.gz", "new"], 1, "none.nii.gz: No such file"),
            (to_analyze, ["flat.hist", "new"], 1, "flat.hist: Cannot work out file type"),
            (to_analyze, ["cut.nii.gz", "new"], 1, "cut.nii.gz: "),
            (to_analyze, ["series.nii.gz", "new"], 1, "series.nii.gz: one volume is expected"),
            (to_analyze, ["complex.nii.gz", "new"], 1, "complex.nii.gz: voxels of single real numbers"),
            (to_analyze, ["long.nii.gz", "new"], 1, "long.nii.gz: no Analyze element type holds"),
            (to_analyze, ["out.hdr", "out.img"], 1, "out.img: the result would replace"),
            (to_analyze, ["scan.nii.gz", "none/new"], 1, "none/new.hdr: No such file"),
            (to_analyze, ["scan.nii.gz"], 2, "usage: tonalign-from-nifti"),
            (to_nifti, ["none", "scan.nii.gz", "new.nii.gz"], 1, "none.hdr: "),
            (to_nifti, ["out", "none.nii.gz", "new.nii.gz"], 1, "none.nii.gz: No such file"),
            (to_nifti, ["out", "scan.hdr", "new.nii.gz"], 1, "scan.hdr: a NIfTI volume is expected"),
            (to_nifti, ["scan", "scan.nii.gz", "new.nii.gz"], 1, "scan.hdr: 32-bit floats are expected"),
            (to_nifti, ["out", "other.nii.gz", "new.nii.gz"], 1, "out.img: found the shape (5, 4, 6), but other"),
            (to_nifti, ["out", "coarse.nii.gz", "new.nii.gz"], 1, "out.img: found voxels of 1 x 1 x 1.5, but coarse"),
            (to_nifti, ["short", "scan.nii.gz", "new.nii.gz"], 1, "short.img: Expected 480 bytes, got 479"),
            (to_nifti, ["out", "scan.nii.gz", "new.img"], 1, "new.img: a name that ends in .nii"),
            (to_nifti, ["out", "scan.nii.gz", "scan.nii.gz"], 1, "scan.nii.gz: the result would replace"),
            (to_nifti, ["out", "scan.nii.gz", "none/new.nii"], 1, "none/new.nii: No such file"),
        ):
            with self.subTest(program=program, arguments=arguments):
                found_status, output, errors = script(program, *arguments)
                self.assertEqual((found_status, output), (status, ""), errors)
                self.assertTrue(errors.startswith(text), errors)
                if status == 1:
                    self.assertEqual(errors.count("\n"), 1, errors)
                self.assertEqual({file: file.read_bytes() for file in Path().iterdir()}, before)

    def test_a_full_disk_leaves_the_files_of_before(self):
        noise = numpy.random.default_rng(1).integers(0, 30000, (20, 20, 20))
        write_nifti("scan.nii.gz", noise)
        self.assertEqual(script("tonalign-from-nifti", "scan.nii.gz", "scan")[0], 0)
        self.equalise("scan", "out")
        for file in ("new.hdr", "new.img", "new.nii.gz"):
            Path(file).write_text("from before", encoding="ascii")
        before = {file: file.read_bytes() for file in Path().iterdir()}
        # Headers still fit.
        limit = 4096
        for name, arguments in (
            ("tonalign-from-nifti", ["scan.nii.gz", "new"]),
            ("tonalign-to-nifti", ["out", "scan.nii.gz", "new.nii.gz"]),
        ):
            process = subprocess.run(
                [SCRIPTS / name, *arguments],
                preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (limit, limit)),
                capture_output=True,
                text=True,
                check=False,
            )
            self.assertEqual(process.returncode, 1)
            self.assertRegex(process.stderr, r"^new\.(hdr|nii\.gz): File too large\n$")
            self.assertEqual({file: file.read_bytes() for file in Path().iterdir()}, before)

    def test_help_says_what_the_converters_do(self):
        for name in ("tonalign-from-nifti", "tonalign-to-nifti"):
            process = subprocess.run([SCRIPTS / name, "--help"], capture_output=True, text=True, check=True)
            self.assertRegex(process.stdout, r"(?s)^usage: .*written whole or not at all")


if __name__ == "__main__":
    programs.main()

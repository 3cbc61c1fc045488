"""What becomes of fields that Analyze does not have, or has for something else: NIfTI-1 and SPM pairs, series."""

import shutil
import struct
import sys
from pathlib import Path

import nibabel
import numpy
import programs
from nibabel.nifti1 import Nifti1PairHeader
from programs import assert_same_voxels, differing_fields, fields, nifti_tool, numbers, script

NATIVE, SWAPPED = ("<", ">") if sys.byteorder == "little" else (">", "<")
SHAPE = (5, 4, 3)
SCAN = numpy.arange(60).reshape(SHAPE, order="F") * 17 % 60
# Oblique, no axis of it and no offset 0 or the same as another.
AFFINE = numpy.array([[-2, 0.25, 0.125, 31], [0.5, 2.5, -0.25, -22], [0.375, -0.5, 3, 13], [0, 0, 0, 1]])


def write_nifti_pair(name, order, values=SCAN, element="i2"):
    """A NIfTI-1 pair with something in every field that matters to somebody; the voxels may be a series."""
    header = Nifti1PairHeader(endianness=order)
    header.set_data_dtype(order + element)
    header.set_xyzt_units("mm", "sec")
    header.set_dim_info(1, 0, 2)
    header["intent_code"], header["intent_name"] = 3, b"a test statistic"
    header["intent_p1"], header["intent_p2"], header["intent_p3"] = 10, 2, 5
    header["slice_start"], header["slice_end"], header["slice_code"] = 1, 0x0102, 3
    header["slice_duration"], header["toffset"] = 0.5, 0.25
    header["cal_max"], header["cal_min"], header["descrip"], header["aux_file"] = 40, 3, b"a scan", b"auxiliary"
    image = nibabel.Nifti1Pair(values.astype(order + element), None, header)
    image.set_qform(AFFINE, 2, strip_shears=True)
    image.set_sform(AFFINE, 1)
    image.header["pixdim"][4] = 1.5
    image.to_filename(name + ".hdr")


def write_at(file, offset, value):
    content = bytearray(Path(file).read_bytes())
    content[offset : offset + len(value)] = value
    Path(file).write_bytes(content)


class NiftiPairsTest(programs.FolderCase):
    def test_in_the_byte_order_of_the_machine_the_result_is_a_nifti_pair_with_its_orientation(self):
        write_nifti_pair("scan", NATIVE)
        self.equalise("scan", "out")
        before, after = Path("scan.hdr").read_bytes(), Path("out.hdr").read_bytes()
        changed = [i for i in range(348) if before[i] != after[i]]
        self.assertEqual((changed, after[56:59]), ([56, 57, 58, 70, 72], b"mm\0"))
        self.assertEqual(differing_fields("scan.hdr", "out.hdr"), {"intent_p1", "datatype", "bitpix"})

        scan, out = nibabel.load("scan.hdr"), nibabel.load("out.hdr")
        self.assertIs(type(out), nibabel.Nifti1Pair)
        numpy.testing.assert_array_equal(out.affine, AFFINE)
        numpy.testing.assert_array_equal(out.get_qform(), scan.get_qform())
        found = fields("out.hdr", "nifti_type", "qform_code", "sform_code", "cal_max", structure="nim")
        self.assertEqual((found["nifti_type"], found["qform_code"], found["sform_code"]), ("2", "2", "1"))
        self.assertEqual(found["cal_max"], "40.0")  # though the voxels reach 255 now
        assert_same_voxels("out.hdr", out.get_fdata())

    def test_in_the_other_byte_order_fields_that_analyze_lays_out_differently_are_lost(self):
        write_nifti_pair("scan", SWAPPED)
        self.equalise("scan", "out")
        wrong = differing_fields("scan.hdr", "out.hdr") - {"datatype", "bitpix"}
        self.assertEqual(
            wrong,
            {"intent_p1", "intent_p2", "intent_p3", "slice_end", "slice_code", "xyzt_units", "qform_code", "sform_code"}
            | {"quatern_b", "quatern_c", "quatern_d", "qoffset_x", "qoffset_y", "qoffset_z"}
            | {"srow_x", "srow_y", "srow_z", "intent_name", "magic"},
        )
        # Texts and the two shorts of the s- and qform are not swapped, the four bytes of funused2 and smin as one.
        before, after = Path("scan.hdr").read_bytes(), Path("out.hdr").read_bytes()
        self.assertEqual(after[252:316], before[252:316])
        self.assertEqual(after[120:124], before[123:119:-1])
        self.assertEqual(after[344:], b"\0001in")
        found = fields("out.hdr", "slice_end", "slice_code", "xyzt_units", "qform_code", "srow_z", "intent_name")
        self.assertEqual((found["qform_code"], found["intent_name"]), ("512", "et as tsitatcits"))
        if NATIVE == "<":
            self.assertEqual([found[key] for key in ("slice_end", "slice_code", "xyzt_units")], ["778", "2", "1"])
        self.assertEqual(numbers(found["srow_z"])[1:], list(AFFINE[2, 1:]))
        self.assertNotEqual(numbers(found["srow_z"])[0], AFFINE[2, 0])

        # Without its magic it is an Analyze pair to everybody, so the broken orientation is not used.
        out = nibabel.load("out.hdr")
        self.assertNotIsInstance(out, nibabel.Nifti1Pair)
        signed_zooms = numpy.array([-1, 1, 1]) * out.header.get_zooms()
        numpy.testing.assert_array_equal(out.affine[:3, :3], numpy.diag(signed_zooms))
        self.assertEqual(fields("out.hdr", "nifti_type", structure="nim")["nifti_type"], "0")
        assert_same_voxels("out.hdr", out.get_fdata())

    def test_the_detour_over_the_converters_keeps_both(self):
        for order in "<>":
            write_nifti_pair("scan", order)
            self.assertEqual(script("tonalign-from-nifti", "scan.hdr", "plain")[0], 0)
            self.equalise("plain", "out")
            self.assertEqual(script("tonalign-to-nifti", "out", "scan.hdr", "out.nii")[0], 0)
            numpy.testing.assert_array_equal(nibabel.load("out.nii").affine, AFFINE)

    def test_the_origin_of_an_spm_pair_in_the_other_byte_order_is_lost(self):
        for order, x_of_origin in ((NATIVE, -(2 - 1) * -3), (SWAPPED, 2 * 3)):
            header = nibabel.Spm99AnalyzeHeader(endianness=order)
            header.set_data_dtype(order + "i2")
            header.set_data_shape(SHAPE)
            header.set_zooms((3, 3, 3))
            header["origin"][:3] = 2, 3, 1
            nibabel.Spm99AnalyzeImage(SCAN.astype(order + "i2"), None, header).to_filename("scan.hdr")
            self.assertEqual(nibabel.load("scan.hdr").affine[0, 3], 3)
            self.equalise("scan", "out")
            # The middle stands in for an origin far outside of the volume.
            self.assertEqual(nibabel.load("out.hdr").affine[0, 3], x_of_origin)


class NiftiTypesTest(programs.FolderCase):
    def test_types_as_wide_as_bytes_or_doubles_are_taken_for_them(self):
        signed = SCAN - 30
        spread = SCAN << 56  # over the exponents of doubles
        for element, values, taken_for in (("i1", signed, "u1"), ("i8", spread, "f8"), ("u8", spread, "f8")):
            with self.subTest(element=element):
                write_nifti_pair("scan", NATIVE, values, element)
                self.map_both("scan", "scan", "out1", "out2")
                taken = values.astype(element).view(taken_for).astype("f8")
                expected = (taken - taken.min()) * (255 / (taken.max() - taken.min()))
                numpy.testing.assert_allclose(nibabel.load("out1.hdr").get_fdata(), expected, rtol=1e-6, atol=1e-30)

    def test_the_converter_helps(self):
        for element, values in (("i1", SCAN - 30), ("u2", SCAN + 65000), ("i8", SCAN - 30), ("u4", SCAN + 70000)):
            write_nifti_pair("scan", NATIVE, values, element)
            self.assertEqual(script("tonalign-from-nifti", "scan.hdr", "plain")[0], 0)
            numpy.testing.assert_array_equal(nibabel.AnalyzeImage.load("plain.hdr").get_fdata(), values)
            self.equalise("plain", "out")


class ScaleFactorTest(programs.FolderCase):
    def test_scale_factors_are_ignored_kept_and_applied_by_others(self):
        nibabel.AnalyzeImage(SCAN.astype(NATIVE + "i2"), None).to_filename("analyze.hdr")
        write_nifti_pair("nifti", NATIVE)
        factor = (112, struct.pack(NATIVE + "2f", 0.5, 7))
        calibration = (124, struct.pack(NATIVE + "2f8x2i", 300, 100, 1000, 200))  # cal_max, cal_min, glmax, glmin
        # Slope and intercept that nibabel applies, and the slope that the NIfTI library makes its own programs apply
        for name, (offset, value), slope, intercept, library_slope in (
            ("analyze", factor, 0.5, 7, "0.0"),
            ("analyze", calibration, 0.25, 50, "0.0"),
            ("nifti", factor, 0.5, 7, "0.5"),
            ("nifti", calibration, 1, 0, "1.0"),
        ):
            with self.subTest(name=name, offset=offset):
                for file in (name + ".hdr", name + ".img"):
                    shutil.copy(file, "scan" + file[-4:])
                self.equalise("scan", "without")
                write_at("scan.hdr", offset, value)
                self.equalise("scan", "out")
                self.assertEqual(Path("out.img").read_bytes(), Path("without.img").read_bytes())
                self.assertEqual(Path("out.hdr").read_bytes()[offset:][: len(value)], value)

                stored = nibabel.AnalyzeImage.load("out.hdr").get_fdata()
                self.assertEqual((stored.min(), stored.max()), (0, 255))
                assert_same_voxels("out.hdr", stored)
                numpy.testing.assert_array_equal(nibabel.load("out.hdr").get_fdata(), stored * slope + intercept)
                self.assertEqual(fields("out.hdr", "scl_slope", structure="nim")["scl_slope"], library_slope)

                one = ("-mod_field", "scl_slope", 1, "-mod_field", "scl_inter", 0)
                nifti_tool("-mod_hdr", "-overwrite", *one, "-infiles", "out.hdr")
                numpy.testing.assert_array_equal(nibabel.load("out.hdr").get_fdata(), stored)


class SeriesTest(programs.FolderCase):
    def test_the_first_volume_is_read_and_written_under_the_header_of_the_series(self):
        series = numpy.stack([SCAN, SCAN[::-1], SCAN + 9], axis=3)
        nibabel.AnalyzeImage(series.astype(NATIVE + "i2"), None).to_filename("analyze.hdr")
        write_nifti_pair("nifti", NATIVE, series)
        write_nifti_pair("first", NATIVE)
        self.equalise("first", "alone")
        for name in ("analyze", "nifti"):
            with self.subTest(name=name):
                self.equalise(name, "out")
                self.assertEqual(Path("out.img").read_bytes(), Path("alone.img").read_bytes())
                image = nibabel.load("out.hdr")
                self.assertEqual(image.shape, (*SHAPE, 3))
                with self.assertRaisesRegex(OSError, "Expected 720 bytes, got 240 bytes"):
                    image.get_fdata()
                first = image.dataobj[..., 0]
                nifti_tool("-check_hdr", "-infiles", "out.hdr")  # is content
                assert_same_voxels("out.hdr", first)
                nifti_tool("-disp_ci", 0, 0, 0, -1, 0, 0, 0, "-infiles", "out.hdr")

                nifti_tool("-mod_hdr", "-overwrite", "-mod_field", "dim", "3 5 4 3 1 1 1 1", "-infiles", "out.hdr")
                numpy.testing.assert_array_equal(nibabel.load("out.hdr").get_fdata(), first)


if __name__ == "__main__":
    programs.main()

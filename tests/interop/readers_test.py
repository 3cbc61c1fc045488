"""Other programs read what tonalign writes, and tonalign reads what they write."""

import itertools
import shutil
from pathlib import Path

import nibabel
import numpy
import programs
from programs import assert_same_voxels, fields, nifti_tool, numbers

SHAPE, ZOOMS = (5, 4, 3), (0.5, 1.25, 3)
# 0 to 51: one step becomes exactly 5 when the range is mapped onto 0 to 255.
SCAN = (numpy.arange(60).reshape(SHAPE, order="F") * 17 % 60).clip(0, 51)
TARGET = numpy.arange(52).reshape(13, 2, 2)


def write_analyze(name, values, element="i2", zooms=ZOOMS):
    header = nibabel.AnalyzeHeader(endianness=">" if element[0] == ">" else "<")
    header.set_data_dtype(element)
    header.set_data_shape(values.shape)
    header.set_zooms(zooms)
    header["descrip"] = b"written by nibabel"
    nibabel.AnalyzeImage(values.astype(element), None, header).to_filename(name + ".hdr")


class OutputsTest(programs.FolderCase):
    def setUp(self):
        super().setUp()
        write_analyze("scan", SCAN)
        write_analyze("target", TARGET, zooms=(2, 2, 2))
        self.map_both("scan", "target", "out1", "out2")

    def test_nibabel_reads_voxels_sizes_and_type(self):
        for name, values, zooms in (("out1", SCAN, ZOOMS), ("out2", TARGET, (2, 2, 2))):
            for load in (nibabel.load, nibabel.AnalyzeImage.load):
                with self.subTest(name=name, load=load):
                    image = load(name + ".hdr")
                    self.assertEqual(image.get_data_dtype(), numpy.dtype("f4"))
                    self.assertEqual(image.header.get_zooms(), zooms)
                    numpy.testing.assert_array_equal(image.get_fdata(), values * 5.0, strict=True)

    def test_nifti_tool_reads_voxels_sizes_and_type(self):
        for name, values, zooms in (("out1.hdr", SCAN, ZOOMS), ("out2.img", TARGET, (2, 2, 2))):
            with self.subTest(name=name):
                nifti_tool("-check_hdr", "-infiles", name)
                nifti_tool("-check_nim", "-infiles", name)
                found = fields(name, "dim", "pixdim", "datatype", "nifti_type", "iname_offset", structure="nim")
                self.assertEqual(numbers(found["dim"])[:4], [3, *values.shape])
                self.assertEqual(numbers(found["pixdim"])[1:4], list(zooms))
                self.assertEqual([found[key] for key in ("datatype", "nifti_type", "iname_offset")], ["16", "0", "0"])
                assert_same_voxels(name, values * 5.0)

    def test_readers_differ_on_which_side_is_left(self):
        for name in ("out1.hdr", "scan.hdr"):
            nifti_library = numpy.reshape(numbers(fields(name, "qto_xyz", structure="nim")["qto_xyz"]), (4, 4))
            numpy.testing.assert_array_equal(nifti_library, numpy.diag([*ZOOMS, 1]))
            # From the middle, and x runs from the right to the left.
            expected = numpy.diag([-ZOOMS[0], *ZOOMS[1:], 1])
            expected[:3, 3] = [1, -1.875, -3]
            numpy.testing.assert_array_equal(nibabel.load(name).affine, expected)


class InputsTest(programs.FolderCase):
    RESULTS = ("out.hdr", "out.img", "before.hist", "after.hist")

    def results(self, name):
        self.equalise(name, "out")
        return {file: Path(file).read_bytes() for file in self.RESULTS}

    def test_every_element_type_and_byte_order_of_nibabel_gives_the_same_bytes(self):
        write_analyze("reference", SCAN, "<u1")
        reference = self.results("reference")
        self.assertGreater(len(set(reference["out.img"])), 10)
        for order, element in itertools.product("<>", ("u1", "i2", "i4", "f4", "f8")):
            with self.subTest(order=order, element=element):
                write_analyze("scan", SCAN, order + element)
                for file, content in self.results("scan").items():
                    self.assertEqual(content, reference[file], file)

    def test_pairs_that_nifti_tool_writes_are_read(self):
        write_analyze("scan", SCAN)
        reference = self.results("scan")["out.img"]
        nibabel.Nifti1Image(SCAN.astype("i2"), numpy.diag([*ZOOMS, 1])).to_filename("scan.nii")
        # Of this one nifti_tool makes a NIfTI-1 pair, whose header file is 352 bytes long; of the other, Analyze.
        for source, magic in (("scan.nii", b"ni1\0"), ("scan.hdr", b"\0\0\0\0")):
            with self.subTest(source=source):
                nifti_tool("-copy_im", "-prefix", "copy.hdr", "-infiles", source)
                self.assertEqual(Path("copy.hdr").read_bytes()[344:348], magic)
                self.assertEqual(self.results("copy")["out.img"], reference)
                self.assertEqual(Path("out.hdr").read_bytes()[344:], magic)
                Path("copy.hdr").unlink()
                Path("copy.img").unlink()


class SidecarTest(programs.FolderCase):
    def test_a_mat_file_is_neither_read_nor_written_and_a_copy_of_it_fits_the_result(self):
        affine = numpy.array([[-2, 0.5, 0, 31], [0.5, 2, 0, -22], [0, 0, 3, 13], [0, 0, 0, 1.0]])
        nibabel.Spm99AnalyzeImage(SCAN.astype("i2"), affine).to_filename("scan.hdr")
        self.assertTrue(Path("scan.mat").exists())
        self.equalise("scan", "out")
        self.assertEqual({file.name for file in Path().glob("out*")}, {"out.hdr", "out.img"})
        self.assertFalse(numpy.allclose(nibabel.load("out.hdr").affine, affine))
        shutil.copy("scan.mat", "out.mat")
        numpy.testing.assert_allclose(nibabel.load("out.hdr").affine, affine)


if __name__ == "__main__":
    programs.main()

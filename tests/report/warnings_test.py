"""Each warning, fired by what it is about and silent beside it."""

import os
import struct
import unittest

import numpy
from support import BINS, ReportTest, head, write_pair

HEADER_CASES = (
    # fields of the input's header, words expected
    ({}, set()),
    ({"magic": b"ni1\0"}, {"NIfTI magic"}),
    ({"magic": struct.pack("<i", 5)}, set()),
    ({"roi_scale": 0.5}, {"scale factor"}),
    ({"roi_scale": 1}, set()),
    ({"roi_scale": float("nan")}, set()),
    ({"funused1": 2}, {"scale factor"}),
    ({"funused1": -0.0}, set()),
    ({"glmax": 900, "glmin": 100, "cal_max": 80, "cal_min": 0}, {"scale factor"}),
    ({"glmax": 900, "glmin": 100, "cal_max": 900, "cal_min": 100}, set()),
    ({"glmax": 900, "glmin": 100}, set()),
    ({"cal_max": 80}, set()),
    ({"vox_offset": 352}, {"vox_offset"}),
    ({"dim4": 3}, {"series"}),
    ({"dim4": 0}, set()),
    ({"dim4": 2, "magic": b"ni1\0", "funused1": 1}, {"series", "NIfTI magic", "scale factor"}),
)


class Warnings(ReportTest):
    def words(self, name):
        """What the index says of a scan that has not failed, after checking that its section says it too."""
        page = self.report(name, status=0)
        row, text = page.rows[0], page.sections[name]
        words = set(filter(None, row["remarks"].split("; ")))
        self.assertIn("warnings" if words else "sound", row["state"])
        for word in words:
            self.assertIn(f"{word}: ", text)
        return words, text

    def test_fields_of_the_header(self):
        for fields, expected in HEADER_CASES:
            for order in "<>" if fields else "<":
                with self.subTest(fields=fields, order=order):
                    write_pair(self.folder / "one", head(1), order=order, **fields)
                    self.usage1("scan")
                    words, text = self.words("scan")
                    self.assertEqual(words, expected)
                    # The last four bytes are a number to the tool, which the output has in this machine's order.
                    both = expected - ({"NIfTI magic"} if order == ">" else set())
                    self.assertEqual("The header of the input and the output " in text, bool(both))

    def test_the_target_has_a_header_too(self):
        write_pair(self.folder / "target", head(2), funused1=3)
        self.usage1("scan")
        words, text = self.words("scan")
        self.assertEqual(words, {"scale factor"})
        self.assertIn("The header of the target has 3 at byte 116", text)

    def test_a_header_that_was_cut_short(self):
        write_pair(self.folder / "one", head(1))
        os.truncate(self.folder / "one.hdr", 100)
        self.usage1("scan")
        words, text = self.words("scan")
        self.assertEqual(words, {"short header"})
        self.assertIn("The header of the input ends after 100 of 348 bytes", text)

    def test_saturated_input(self):
        values = head(1)
        for share, expected in ((0.12, {"input saturated"}), (0.04, set())):  # with 32 bins one in 16 is allowed
            ceiling = numpy.quantile(values[values > 0], 1 - share).astype("i2")
            write_pair(self.folder / "one", numpy.minimum(values, ceiling))
            self.usage1("scan")
            self.assertEqual(self.words("scan")[0], expected)

    def test_saturated_output(self):
        for top, expected in ((5, {"output saturated"}), (1, set())):
            (self.folder / "given.hist").write_text("0 1 " * (BINS - 1) + f"0 {top}")
            self.usage2("scan", "given.hist")
            self.assertEqual(self.words("scan")[0], expected)

    def test_background_moved(self):
        (self.folder / "flat.hist").write_text("0 1 " * BINS)
        # The lowest bin ends at 1100 / 32 before, and at 1/64 of that less after.
        for air, expected in ((34, {"background moved"}), (33, set())):
            values = head(1)
            values[values == 0] = air
            values[0, 0, 0] = 0
            write_pair(self.folder / "one", values)
            self.usage2("scan", "flat.hist")
            self.assertEqual(self.words("scan")[0] & {"background moved"}, expected)

    def test_few_grey_levels(self):
        values = head(1)
        values[values > 0] = 1000 + numpy.unique(values[values > 0], return_inverse=True)[1]
        for step, expected in ((25, {"few grey levels"}), (12, set())):  # about 12 and 24 levels for 32 bins
            write_pair(self.folder / "one", values // step * step)
            self.usage1("scan")
            self.assertEqual(self.words("scan")[0] & {"few grey levels"}, expected)

    def test_hardly_closer_after_than_before(self):
        self.usage1("scan", exact=0)
        self.assertEqual(self.words("scan")[0], {"hardly closer"})
        write_pair(self.folder / "target", head(1))  # nothing to be done, and nothing to warn of
        self.usage1("scan", exact=0)
        self.assertEqual(self.words("scan")[0], set())
        almost = head(1, (36, 36, 36))
        write_pair(self.folder / "one", almost)
        almost[18, 18, 18] += 90
        write_pair(self.folder / "target", almost)
        self.usage1("scan", exact=0)
        self.assertEqual(self.words("scan")[0], set())

    def test_input_overwritten_by_the_output(self):
        self.usage1("scan", output="one.hdr")
        words, _ = self.words("scan")
        self.assertEqual(words, {"input overwritten"})
        self.assertEqual(len(self.report("scan", status=0).images), 6)

    def test_warned_scans_come_before_sound_ones_and_after_failed_ones(self):
        self.usage1("sound")
        self.usage1("failed", bins=0)
        write_pair(self.folder / "two", head(5), vox_offset=16, dim4=2)
        write_pair(self.folder / "three", head(6), vox_offset=16)
        self.usage1("two", source="two")
        self.usage1("three", source="three")
        page = self.report("sound", "three", "two", "failed", status=1)
        self.assertEqual([row["scan"] for row in page.rows], ["failed", "two", "three", "sound"])
        self.assertEqual(list(page.sections), ["failed", "two", "three", "sound"])


if __name__ == "__main__":
    unittest.main()

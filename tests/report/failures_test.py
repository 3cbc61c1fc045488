"""A scan whose log or files do not stand up is told at the top of the page, with the reason, and spoils no other."""

import os
import shutil
import struct
import subprocess
import unittest

import numpy
from support import BINS, REPORT, ReportTest, change_header, head, write_pair


class Failures(ReportTest):
    def setUp(self):
        super().setUp()
        self.usage1("sound")
        self.usage1("bad")

    def log(self, change):
        file = self.folder / "bad.log"
        file.write_bytes(change(file.read_bytes()))

    def cut(self, name, size):
        os.truncate(self.folder / name, size)

    def voxel_not_finite(self):
        values = numpy.fromfile(self.folder / "bad-out.img", "<f4")
        values[7] = numpy.nan
        values.tofile(self.folder / "bad-out.img")

    def huge_sizes(self):
        file = self.folder / "bad-mapped.hdr"
        record = file.read_bytes()
        file.write_bytes(record[:42] + struct.pack("<3h", *[32767] * 3) + record[48:])

    def another_volume(self):
        write_pair(self.folder / "bad-out", head(1, (8, 8, 8)))

    def test_spoilt_runs(self):
        end = b"*****TOTAL RUNNING TIME*****\n"
        remove = lambda name: (self.folder / name).unlink()
        spoil = {
            "the log is empty": lambda: self.log(lambda text: b""),
            "not a log of tonalign": lambda: self.log(lambda text: b"\xff\0" * 300),
            "the log cannot be read: No such file": lambda: remove("bad.log"),
            "larger than any log": lambda: self.log(lambda text: text + b"x" * (1 << 20)),
            "ends while matching histograms, without the running time": lambda: self.log(
                lambda text: text[: text.index(b"*****IMAGES")]
            ),
            "ends before the listing": lambda: self.log(lambda text: text[: text.index(b"inputfile2 ")]),
            "the running time in the log is no number": lambda: self.log(
                lambda text: text[: text.index(end) + len(end)]
            ),
            "holds 2 runs": lambda: self.log(lambda text: text * 2),
            "the log is damaged": lambda: self.log(lambda text: text.replace(b"bad-out", b"bad\0out")),
            "the number of bins in the log is '1e999'": lambda: self.log(
                lambda text: text.replace(b"\t%d\n" % BINS, b"\t1e999\n")
            ),
            "an output was not written: AnalyzeHeader::save": lambda: self.log(
                lambda text: text.replace(end, b"AnalyzeHeader::save  write error\n" + end)
            ),
            "the log has 2 lines": lambda: self.log(lambda text: text.replace(b"Error between", b"Error be\n", 1)),
            "not a finite number": lambda: self.log(
                lambda text: text[: text.rindex(b"=\t")] + b"=\tnan\n" + text[text.index(b"*****IMAGES") :]
            ),
            "bad-out.img: No such file or directory": lambda: remove("bad-out.img"),
            "bad-out.hdr: No such file or directory": lambda: remove("bad-out.hdr"),
            "bad-mapped.img: the image file holds 99 bytes, but its header needs 6336": lambda: self.cut(
                "bad-mapped.img", 99
            ),
            "bad-out.hdr: not an Analyze header": lambda: change_header(self.folder / "bad-out", sizeof_hdr=347),
            "bad-out.hdr: datatype 16 of 24 bits is unknown": lambda: change_header(self.folder / "bad-out", bitpix=24),
            f"the image file holds 6336 bytes, but its header needs {4 * 32767**3}": self.huge_sizes,
            "bad-out.img: some voxels are not finite": self.voxel_not_finite,
            "the output has other sizes than the input": self.another_volume,
            "bad-in.hist: No such file or directory": lambda: remove("bad-in.hist"),
            "bad-in.hist: not a regular file": lambda: (remove("bad-in.hist"), os.mkfifo(self.folder / "bad-in.hist")),
            "bad-out.hist: the histogram file ends at bin": lambda: self.cut("bad-out.hist", 200),
            "bad-mapped.hist: the histogram file holds something else": lambda: (
                self.folder / "bad-mapped.hist"
            ).write_text("bin\tfrequency\n" * 40),
            "the histogram files after the run are": lambda: shutil.copy(
                self.folder / "bad-in.hist", self.folder / "bad-out.hist"
            ),
            "the histogram files before the run are": lambda: shutil.copy(
                self.folder / "bad-out.hist", self.folder / "bad-target.hist"
            ),
        }
        kept = {file.name: file.read_bytes() for file in self.folder.iterdir() if file.name.startswith("bad")}
        for reason, change in spoil.items():
            with self.subTest(reason):
                for name, content in kept.items():
                    (self.folder / name).unlink(missing_ok=True)
                    (self.folder / name).write_bytes(content)
                change()
                page = self.report("sound", "bad", status=1)
                self.assertEqual([row["scan"] for row in page.rows], ["bad", "sound"])
                self.assertIn("failed", page.rows[0]["state"])
                self.assertIn("sound", page.rows[1]["state"])
                for place in (page.rows[0]["remarks"], page.sections["bad"], self.console):
                    self.assertIn(reason, place)
                self.assertEqual([scan for scan, _, _ in page.images], ["sound"] * 9)

    def test_runs_that_the_tool_itself_ended(self):
        self.usage1("bad", bins=0)
        self.usage1("nowhere", output="no-folder/out")
        self.tool("few.log", "one")
        self.usage1("missing", source="two")
        self.usage2("target", "no.hist")
        page = self.report("bad", "nowhere", "few", "missing", "target", status=1)
        for name, reason in {
            "bad": "the run ended early: tonalign: argument Nbins is 0, but matching histograms takes",
            "nowhere": "the run ended early: Error opening file no-folder/out",
            "few": "the run ended early: Exiting, wrong number of arguments",
            "missing": "the run ended early: AnalyzeHeader: File <two.hdr> could not be opened",
            "target": "the run ended early: tonalign: no.hist: the histogram file cannot be opened",
        }.items():
            with self.subTest(name):
                self.assertIn(reason, page.by_name[name]["remarks"])

    def test_runs_that_wrote_to_the_same_files(self):
        self.usage1("again", output="sound-out")
        page = self.report("sound", "bad", "again", status=1)
        self.assertEqual({r["scan"] for r in page.rows[:2]}, {"sound", "again"})
        self.assertIn("sound-out.img was written by another run too", page.by_name["again"]["remarks"])
        self.assertIn("sound", page.by_name["bad"]["state"])

    def test_strange_names_are_shown_as_text(self):
        for name in ("<b>&\"'", os.fsdecode(b"caf\xe9 \xc3\xa9")):
            write_pair(self.folder / name, head(4))
            self.usage1("strange", source=name)
            self.assertEqual(len(self.report("strange", status=0).images), 9)
            os.rename(self.folder / f"{name}.hdr", self.folder / "gone")
            page = self.report("strange", status=1)
            self.assertIn(f"{name}.hdr: No such file".encode(errors="replace").decode(), page.rows[0]["remarks"])
            self.assertNotIn("<b>&", self.html)
        self.assertIn("<title>A &lt;cohort&gt;</title>", self.html)

    def test_a_page_that_cannot_be_written_leaves_the_old_one(self):
        page = self.folder / "page.html"
        page.write_text("old")
        # A limit on the size of files stands for a full disk, for root too.
        run = subprocess.run(
            ["bash", "-c", 'trap "" XFSZ; ulimit -f 8; exec "$0" "$@"', REPORT, "-C", self.folder, "-o", page,
             self.folder / "sound.log"], capture_output=True, text=True, check=False,
        )
        self.assertEqual((run.returncode, page.read_text()), (2, "old"))
        self.assertEqual(run.stderr, f"tonalign-report: {page}: File too large\n")
        self.assertEqual([file.name for file in self.folder.iterdir() if file.name.startswith(".")], [])


if __name__ == "__main__":
    unittest.main()

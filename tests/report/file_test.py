# SPDX-License-Identifier: BSD-3-Clause
"""The command line and the file of the page: old pages and the files of the runs are safe from it."""

import os
import pty
import resource
import stat
import subprocess

from support import REPORT, ReportTest
from tonalign_report.page_file import write_page

CONTENT = b"<html>" * 8000


class File(ReportTest):
    def test_page_is_whole_or_as_before(self):
        (self.folder / "place").mkdir()
        self.page.symlink_to("place/page")
        self.page.write_bytes(b"old")
        self.page.chmod(0o640)
        limits = resource.getrlimit(resource.RLIMIT_FSIZE)
        resource.setrlimit(resource.RLIMIT_FSIZE, (24_000, limits[1]))  # stands for a full disk, for root too
        self.assertRaisesRegex(OSError, "File too large", write_page, str(self.page), CONTENT)
        resource.setrlimit(resource.RLIMIT_FSIZE, limits)
        self.assertEqual((self.page.read_bytes(), os.listdir(self.folder / "place")), (b"old", ["page"]))
        write_page(str(self.page), CONTENT)
        self.assertEqual((self.page.read_bytes(), os.listdir(self.folder / "place")), (CONTENT, ["page"]))
        self.assertEqual((self.page.is_symlink(), stat.S_IMODE(self.page.stat().st_mode)), (True, 0o640))

    def test_files_of_the_runs_are_refused_and_others_written_into(self):
        self.usage1("scan")
        self.usage2("cut", [1] * 32)
        os.truncate(self.folder / "cut.log", 1000)
        before = {file: file.read_bytes() for file in self.folder.iterdir()}
        self.page.symlink_to("link")
        for file in before:
            (self.folder / "link").unlink(missing_ok=True)
            os.link(file, self.folder / "link")
            self.report("scan", "cut", status=2)
            self.assertRegex(self.console, "^tonalign-report: .*page.html: belongs to the run of .*\n$")
        self.assertEqual(before, {file: file.read_bytes() for file in before})
    def test_command_line(self):
        (self.folder / "stubs").mkdir()
        for package in ("matplotlib", "nibabel", "numpy", "PIL"):
            (self.folder / f"stubs/{package}.py").write_text(f"raise ModuleNotFoundError('no {package}')")
        version, lost = f"tonalign-report {os.environ['TONALIGN_VERSION']}\n", "standard output cannot be written\n"
        for bare, redirection, arguments, status, out, error in (
            (True, "", ["--version"], 0, version, ""), (True, "", ["--help"], 0, "Exit status", ""),
            (True, "", ["no.log"], 2, "", "python3-numpy"), (False, "", [], 2, "", "usage: "),
            (False, ">/dev/full", ["--help"], 2, "", lost), (False, "2>&-", ["no.log"], 1, "", ""),
            (False, "", ["-o", "no/page", "no.log"], 2, "", "tonalign-report: no/page: No such file"),
        ):
            stubs = {"PYTHONPATH": f"{self.folder}/stubs"} if bare else {}
            run = subprocess.run(["sh", "-c", f'exec "$0" "$@" {redirection}', REPORT, *arguments], cwd=self.folder,
                                 capture_output=True, check=False, env=os.environ | stubs)
            for wanted, found in ((out, os.fsdecode(run.stdout)), (error, os.fsdecode(run.stderr))):
                self.assertTrue(wanted in found if wanted else not found, (arguments, redirection, found))
                self.assertNotIn("Traceback", found)
            self.assertEqual(run.returncode, status, (arguments, redirection))
        terminal, error = pty.openpty()
        name = b"\x1b[31m\xe9\xc2\x9b.log"
        subprocess.run([REPORT, name], cwd=self.folder, stderr=error, check=False)
        said = os.read(terminal, 5000).replace(b"\r", b"")
        self.assertIn(rb"\x1b[31m\xe9\x9b.log", said)
        self.assertNotRegex(said, b"[\0-\x09\x0b-\x1f\x7f-\xff]")

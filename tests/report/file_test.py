# SPDX-License-Identifier: BSD-3-Clause
"""The command line and the file of the page: old pages, the files of the runs and what is no file are safe from it."""

import os
import pty
import resource
import stat
import subprocess

from support import REPORT, ReportTest
from tonalign_report.page_file import write_page

ROOT = os.geteuid() == 0
USER = 65534 if ROOT else os.geteuid()
CONTENT = b"<html>" * 8000
MOUNT = 'mount --bind mounted page.html || exit 77; exec "$0" -o page.html no.log'


class File(ReportTest):
    def write(self, reason, content, mode, user=os.geteuid(), mask=0, disk=resource.RLIM_INFINITY):
        """Writes the page, and looks at what is there then. A limit on files stands for a full disk, for root too."""
        limits, mask, found = resource.getrlimit(resource.RLIMIT_FSIZE), os.umask(mask), ""
        resource.setrlimit(resource.RLIMIT_FSIZE, (disk, limits[1]))
        os.seteuid(user)
        try:
            write_page(str(self.page), CONTENT)
        except OSError as error:
            found = error.strerror
        os.seteuid(os.getuid())
        resource.setrlimit(resource.RLIMIT_FSIZE, limits)
        os.umask(mask)
        self.assertEqual((found, self.page.read_bytes(), os.listdir(self.place)), (reason, content, ["page"]))
        self.assertEqual(oct(stat.S_IMODE(self.page.stat().st_mode)), oct(mode))

    def test_regular_files(self):
        self.folder.chmod(0o755)
        self.place = self.folder / "place"
        self.place.mkdir()
        os.chown(self.place, USER, -1)
        self.page.symlink_to("place/page")
        self.write("", CONTENT, 0o640, mask=0o027)
        for mode, owner in ((0o640, USER), (0o6755, USER), *([(0o6777, 1)] if ROOT else ())):
            self.page.write_bytes(b"old")
            os.chown(self.page, owner, owner if ROOT else -1)
            self.page.chmod(mode)
            self.write("File too large", b"old", mode, disk=24_000)
            self.write("", CONTENT, mode)
            self.assertEqual((self.page.stat().st_uid, self.page.is_symlink()), (owner, True))
        if ROOT:
            self.write("", CONTENT, 0o777, USER)  # a page of theirs now: nobody runs it as its old owner
        self.page.chmod(0o444)
        self.write("Permission denied", CONTENT, 0o444, USER)
        self.page.chmod(0o666)
        self.place.chmod(0o555)
        self.write("", CONTENT, 0o666, USER)
        self.write("File too large", b"", 0o666, USER, disk=24_000)

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
        self.page.unlink()
        os.mkfifo(self.page)
        with open(self.page, "r+b", buffering=0) as pipe, open(self.folder / "console", "w+b", buffering=0) as console:
            console.write(b"before")
            write_page(str(self.page), CONTENT)
            write_page(f"/dev/fd/{console.fileno()}", CONTENT)
            self.assertEqual((pipe.read(65536), os.pread(console.fileno(), 65536, 0)), (CONTENT, b"before" + CONTENT))
        self.page.unlink()
        for file in (self.page, self.folder / "mounted"):
            file.write_text("old")
        run = subprocess.run(["unshare", "-m" if ROOT else "-rm", "sh", "-c", MOUNT, REPORT], cwd=self.folder,
                             capture_output=True, check=False)
        if run.returncode != 77 and not run.stderr.startswith(b"unshare"):  # where mounts are allowed
            self.assertIn("</html>", (self.folder / "mounted").read_text())

    def test_command_line(self):
        (self.folder / "stubs").mkdir()
        for package in ("matplotlib", "nibabel", "numpy", "PIL"):
            (self.folder / f"stubs/{package}.py").write_text(f"raise ModuleNotFoundError('no {package}')")
        version, lost = f"tonalign-report {os.environ['TONALIGN_VERSION']}\n", "standard output cannot be written\n"
        for bare, redirection, arguments, status, out, error in (
            (True, "", ["--version"], 0, version, ""), (True, "", ["--help"], 0, "Exit status", ""),
            (True, "", ["no.log"], 2, "", "python3-numpy"), (False, "", [], 2, "", "usage: "),
            (False, ">/dev/full", ["--help"], 2, "", lost), (False, ">&-", ["--version"], 2, "", lost),
            (False, "", ["-o", "no/page", "no.log"], 2, "", "tonalign-report: no/page: No such file"),
            (False, "", ["-o", ".", "no.log"], 2, "", "tonalign-report: .: Is a directory"),
            (False, "", [b"\x1b\xe9.log"], 1, "", "\x1b\udce9.log: "),
            (False, "2>/dev/full", [], 2, "", ""), (False, "2>&-", ["no.log"], 1, "", ""),
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
        for arguments in ([name], [name, b"-" + name]):
            subprocess.run([REPORT, *arguments], cwd=self.folder, stderr=error, check=False)
        said = os.read(terminal, 5000).replace(b"\r", b"")
        self.assertEqual(said.count(rb"\x1b[31m\xe9\x9b.log"), 2, said)
        self.assertNotRegex(said, b"[\0-\x09\x0b-\x1f\x7f-\xff]")

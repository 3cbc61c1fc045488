# SPDX-License-Identifier: BSD-3-Clause
"""check_run passes complete runs, and tells what is wrong with what is left of others."""

import os
import pathlib
import pty
import subprocess

from support import BINS, REPORT, ReportTest

CHECK_RUN = pathlib.Path(REPORT).resolve().with_name("check_run")
FAULTS = (
    (".log", lambda content: content[: content.index(b"*****IMAGES")], "without the running time"),
    ("-out.img", lambda content: content[:-1], "bytes, but its header needs"),
    ("-out.hdr", None, "No such file"),
    ("-out.hdr", lambda content: content[:70] + b"\4\0\x10\0" + content[74:], "not the header of a volume of 32-bit floats"),
    ("-out.hist", lambda content: content[:-10], "lines of two numbers"),
    ("-out.hist", lambda content: content.replace(b"\t", b"\t1", 1), "do not sum to 1"),
)


class CheckRun(ReportTest):
    def check(self, name):
        files = [f"{name}.log", f"{name}-out", str(BINS), f"{name}-out.hist"]
        run = subprocess.run([CHECK_RUN, *files], cwd=self.folder, capture_output=True, text=True, check=False)
        return run.returncode, run.stderr

    def test_faults_are_told(self):
        for number, (ending, change, reason) in enumerate(FAULTS):
            self.usage2(f"scan{number}", [1] * BINS)
            self.assertEqual(self.check(f"scan{number}"), (0, ""))
            file = self.folder / f"scan{number}{ending}"
            content = file.read_bytes()
            file.unlink()
            if change:
                file.write_bytes(change(content))
            status, said = self.check(f"scan{number}")
            self.assertEqual((status, said.partition(": ")[0]), (1, "check_run"))
            self.assertIn(reason, said)
        terminal, error = pty.openpty()
        subprocess.run([CHECK_RUN, "\x1b[31m", "x", "8"], stderr=error, check=False)
        self.assertEqual(os.read(terminal, 500), b"check_run: \\x1b[31m: the log cannot be read: No such file or directory\r\n")

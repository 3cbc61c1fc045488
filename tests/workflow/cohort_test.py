#!/usr/bin/python3
# SPDX-License-Identifier: BSD-3-Clause
"""cohort_test.py SOURCE_FOLDER TONALIGN TONALIGN_AVERAGE: the workflow over small cohorts of all kinds of scans."""

import os
import pty
import random
import shlex
import shutil
import struct
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

SOURCE, TONALIGN, AVERAGE = (Path(argument).resolve() for argument in sys.argv[1:4])
sys.path[:0] = [str(SOURCE / "tests/cli"), str(SOURCE / "workflow")]
sys.dont_write_bytecode = True

import cohort  # noqa: E402
import make_inputs  # noqa: E402

NAMES = ["site b/three", "sub", "sub.im1", "sub.im2", "sub.img", "x.hdr", "x.hdr.hdr", "y"]
FAULTS = {
    "cut": "check_run: out/volumes/cut.img: 31999 bytes, but its header needs 32000",
    "bare": "check_run: out/volumes/bare.hdr: No such file",
    "thin": "check_run: out/histograms/thin-after.hist: not 8 lines of two numbers",
}
# Ends with status 0 and the console of a whole run, as on a full disk, but leaves one file short or none.
SILENT_FAILURE = f"""#!/bin/sh
{shlex.quote(str(TONALIGN))} "$@" || exit
case $1 in
    */cut.hdr) truncate -s -1 "$3" ;;
    */bare.hdr) rm "${{3%.img}}.hdr" ;;
    */thin.hdr) sed -i '$d' "$6" ;;
esac
"""


class Cohort(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="tonalign-workflow-")
        self.addCleanup(folder.cleanup)
        os.chdir(folder.name)
        # Snakemake keeps copies of its files there; an account that only runs tests may have no home to write to.
        os.environ["XDG_CACHE_HOME"] = f"{folder.name}/cache"
        for name in ("scans/site b", "programs", "by-hand"):
            Path(name).mkdir(parents=True)
        for program in (TONALIGN, AVERAGE, SOURCE / "tools/report/tonalign-report"):
            Path("programs", program.name).symlink_to(program)

    def make_scans(self, *names):
        for name in names:
            make_inputs.pair(f"scans/{name}", (20, 20, 20), "h", random.Random(name).choices(range(500), k=8000))

    def workflow(self, status, *settings, results="out"):
        run = subprocess.run(["/usr/bin/snakemake", "-s", SOURCE / "workflow/Snakefile", "--profile", SOURCE /
                              "workflow/profiles/local", "--config", "scans=scans", f"results={results}", "programs=programs",
                              "bins=8", *settings], capture_output=True, text=True, timeout=240)
        self.console = run.stderr
        self.assertEqual(run.returncode, status, self.console)
        return sorted(str(path.relative_to(f"{results}/volumes"))[:-4] for path in Path(results).rglob("*.img"))

    def assert_as_by_hand(self, results, sound, done):
        """The outputs are those of the two commands that the workflow stands for, on copies with plain names."""
        copies = {name: f"by-hand/{number}" for number, name in enumerate(sound)}
        for name, copy in copies.items():
            for ending in (".hdr", ".img"):
                shutil.copy(f"scans/{name}{ending}", copy + ending)
        subprocess.run([AVERAGE, "by-hand/target", "8", *copies.values()], check=True)
        same = [("target.hist", "by-hand/target")]
        for name in done:
            outputs = [f"{copies[name]}-{what}" for what in ("out", "before", "after")]
            subprocess.run([TONALIGN, copies[name], "by-hand/target", outputs[0], "8", *outputs[1:]], check=True,
                           stdout=subprocess.DEVNULL)
            same += [(f"volumes/{name}{ending}", f"{outputs[0]}{ending}") for ending in (".hdr", ".img")]
            same += [(f"histograms/{name}-before.hist", outputs[1]), (f"histograms/{name}-after.hist", outputs[2])]
        for ours, theirs in same:
            self.assertEqual(Path(results, ours).read_bytes(), Path(theirs).read_bytes(), ours)
        self.assertEqual(Path(results, "target.scans").read_text().split("\n")[:-1], [f"scans/{n}.hdr" for n in sound])

    def test_each_scan_gives_its_own_outputs_and_faults_are_told_until_they_are_mended(self):
        self.make_scans(*NAMES, *FAULTS, "zero")
        os.truncate("scans/zero.img", 1000)
        for name, script in (("tonalign", SILENT_FAILURE), ("tonalign-report", "#!/bin/sh\nexit 2\n")):
            program = Path("programs", name)
            program.rename(name)
            program.write_text(script)
            program.chmod(0o755)
        self.assertEqual(self.workflow(1), NAMES)
        for said in (*FAULTS.values(), "Not in the target: left out: scans/zero.hdr: "):
            self.assertIn(said, self.console)
        self.assertNotIn("tells which, and why", self.console)
        self.assert_as_by_hand("out", sorted([*NAMES, *FAULTS]), NAMES)
        for name in ("tonalign", "tonalign-report"):
            Path(name).replace(f"programs/{name}")
        made = os.stat("out/volumes/sub.img").st_mtime_ns
        self.assertEqual(self.workflow(1), sorted([*NAMES, *FAULTS]))
        self.assertIn("failed: out/report.html tells which, and why.", self.console)
        self.assertEqual(os.stat("out/volumes/sub.img").st_mtime_ns, made, "what was done is done again")
        self.assertIn("log out/logs/zero.log<", Path("out/report.html").read_text())
        self.make_scans("zero")
        Path("list").write_text("scans/sub.im1\n\nscans/x.hdr.hdr\nscans/zero.img\n")
        listed = ["sub.im1", "x.hdr", "zero"]
        self.assertEqual(self.workflow(0, "scans=list", results="listed"), listed)
        self.assert_as_by_hand("listed", listed, listed)

    def test_what_cannot_be_run_is_refused(self):
        self.make_scans("one")
        Path("programs/tonalign-average").unlink()
        for settings, refusal in (([], "programs/tonalign-average: No such file"), (["bnis=3"], "no setting bnis")):
            self.workflow(1, *settings)
            self.assertIn(refusal, self.console)
        for content, refusal in (("", "no scan found"), ("a\nb/a\n", "two scans are called a"), ("a\x1b", "control"),
                                 ("a{b}\n", "braces")):
            Path("list").write_text(content)
            self.assertRaisesRegex(ValueError, refusal, cohort.find_scans, "list", "out")
        terminal, error = pty.openpty()
        subprocess.run([SOURCE / "workflow/check_run", "\x1b[31m", "x", "8"], stderr=error, check=False)
        self.assertEqual(os.read(terminal, 500), b"check_run: \\x1b[31m: the log cannot be read: No such file or directory\r\n")
        asked, record = cohort.megabytes("scans/one"), Path("scans/one.hdr").read_bytes()
        Path("scans/one.hdr").write_bytes(record[:42] + struct.pack("=3h", *[32767] * 3) + record[48:])
        self.assertLess(cohort.megabytes("scans/one"), asked + 2, "more memory than its image can fill")


unittest.main(argv=sys.argv[:1])

#!/usr/bin/python3
"""Runs the workflow over small cohorts: sound and broken scans, silent failures, an interruption.

cohort_test.py SOURCE_FOLDER TONALIGN TONALIGN_AVERAGE
"""

import os
import shlex
import signal
import struct
import subprocess
import sys
import tempfile
import time
import unittest
from pathlib import Path

SOURCE, TONALIGN, AVERAGE = (Path(argument).resolve() for argument in sys.argv[1:4])
sys.path[:0] = [str(SOURCE / "tests/cli"), str(SOURCE / "workflow")]
sys.dont_write_bytecode = True

import cohort  # noqa: E402
import make_inputs  # noqa: E402

BINS = 8
DIMS = (20, 20, 20)
TIME_LIMIT_SECONDS = 240

# Ends with status 0 and the console of a whole run, as on a full disk, but leaves one file short or none.
SILENT_FAILURE = """#!/bin/sh
TONALIGN "$@" || exit
case $1 in
    */cut) truncate -s -1 "$3" ;;
    */bare) rm "${3%.img}.hdr" ;;
    */thin) sed -i '$d' "$6" ;;
esac
"""

# Waits, once, in the middle of the run on one scan.
STOPS_ONCE = """#!/bin/sh
if [ "$1" = scans/slow ] && [ ! -e waited ]; then
    touch waited
    sleep 600
fi
exec TONALIGN "$@"
"""


class Cohort(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="tonalign-workflow-")
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)
        os.chdir(self.folder)
        # Snakemake keeps copies of its files there; an account that only runs tests may have no home to write to.
        os.environ["XDG_CACHE_HOME"] = str(self.folder / "cache")
        for name in ("scans/site b", "programs"):
            Path(name).mkdir(parents=True)
        for name, program in (("tonalign", TONALIGN), ("tonalign-average", AVERAGE),
                              ("tonalign-report", SOURCE / "tools/report/tonalign-report")):
            Path("programs", name).symlink_to(program)

    def scan(self, name, kind="h", slope=1):
        make_inputs.pair(f"scans/{name}", DIMS, kind, [slope * voxel + 3 for voxel in make_inputs.CUBE])

    def replace_tonalign(self, script):
        program = Path("programs/tonalign")
        program.unlink()
        program.write_text(script.replace("TONALIGN", shlex.quote(str(TONALIGN))))
        program.chmod(0o755)

    def command(self, *settings):
        return ["/usr/bin/snakemake", "-s", SOURCE / "workflow/Snakefile", "--profile",
                SOURCE / "workflow/profiles/local", "--config", "scans=scans", "results=out", "programs=programs",
                f"bins={BINS}", *settings]

    def workflow(self, *settings):
        run = subprocess.run(self.command(*settings), capture_output=True, text=True, timeout=TIME_LIMIT_SECONDS)
        self.console = run.stderr
        return run.returncode

    def end(self, run):
        if run.poll() is None:
            os.killpg(run.pid, signal.SIGKILL)
            run.wait()

    def volumes(self):
        return sorted(str(path.relative_to("out/volumes").with_suffix("")) for path in Path("out/volumes").rglob("*.img"))

    def assert_as_by_hand(self, scan):
        """The workflow's outputs are those of the two commands that it stands for."""
        Path("by-hand").mkdir(exist_ok=True)
        subprocess.run([TONALIGN, f"scans/{scan}", "out/target.hist", "by-hand/volume", str(BINS), "by-hand/before",
                        "by-hand/after"], check=True, stdout=subprocess.DEVNULL)
        for ours, theirs in ((f"out/volumes/{scan}.hdr", "volume.hdr"), (f"out/volumes/{scan}.img", "volume.img"),
                             (f"out/histograms/{scan}-before.hist", "before"),
                             (f"out/histograms/{scan}-after.hist", "after")):
            self.assertEqual(Path(ours).read_bytes(), Path("by-hand", theirs).read_bytes(), ours)

    def test_broken_scan_fails_alone_and_comes_in_when_it_is_mended(self):
        self.scan("one")
        self.scan("two words", "d", 2)
        self.scan("site b/three", "f", 0.5)
        self.scan("broken")
        os.truncate("scans/broken.img", 1000)
        Path("scans/alone.hdr").write_bytes(Path("scans/one.hdr").read_bytes())

        self.assertNotEqual(self.workflow(), 0)
        sound = ["one", "site b/three", "two words"]
        self.assertEqual(self.volumes(), sound)
        self.assertEqual(Path("out/target.scans").read_text().splitlines(), [f"scans/{scan}" for scan in sound])
        subprocess.run([AVERAGE, "target", str(BINS), *(f"scans/{scan}" for scan in sound)], check=True)
        self.assertEqual(Path("target").read_bytes(), Path("out/target.hist").read_bytes())
        for scan in sound:
            self.assert_as_by_hand(scan)
        self.assertIn("holds 1000 bytes", Path("out/logs/broken.log").read_text())
        self.assertIn("Not in the target: left out: scans/broken", self.console)
        page = Path("out/report.html").read_text()
        for scan in (*sound, "broken", "alone"):
            self.assertIn(f"scans/{scan}", page)
        self.assertNotEqual(self.workflow(), 0, "a scan that failed passes for done in the next run")

        self.scan("broken", slope=3)
        self.scan("alone")
        self.assertEqual(self.workflow(), 0, self.console)
        self.assertEqual(self.volumes(), sorted([*sound, "broken", "alone"]))
        self.assertEqual(len(Path("out/target.scans").read_text().splitlines()), 5)
        self.assert_as_by_hand("broken")
        self.assertEqual(self.workflow(), 0, self.console)
        self.assertIn("Nothing to be done", self.console)

    def test_status_0_does_not_hide_missing_and_short_outputs(self):
        for scan in ("sound", "cut", "bare", "thin"):
            self.scan(scan)
        Path("list").write_text("scans/sound.img\nscans/cut\n\nscans/bare.hdr\nscans/thin\n")
        Path("flat.hist").write_text("".join(f"{bin} 1\n" for bin in range(BINS)))
        self.replace_tonalign(SILENT_FAILURE)
        self.assertNotEqual(self.workflow("scans=list", "target=flat.hist"), 0)
        self.assertEqual(self.volumes(), ["sound"])
        for fault in ("out/volumes/cut.img: 31999 bytes, but its header needs 32000",
                      "out/volumes/bare.hdr: No such file or directory",
                      f"out/histograms/thin-after.hist: not {BINS} lines of two numbers"):
            self.assertIn(f"check_run: {fault}", self.console)

    def test_interrupted_run_goes_on_where_it_was(self):
        for scan in ("quick", "slow"):
            self.scan(scan)
        self.replace_tonalign(STOPS_ONCE)
        with open("console", "w") as console:
            # Two scans at once, whatever cores there are: the quick one must come through while the slow one waits.
            run = subprocess.Popen([*self.command("threads=1"), "--cores", "2"], stdout=console, stderr=console,
                                   start_new_session=True)
            self.addCleanup(self.end, run)
            deadline = time.monotonic() + TIME_LIMIT_SECONDS
            while not (Path("waited").exists() and Path("out/volumes/quick.img").exists()):
                self.assertIsNone(run.poll(), Path("console").read_text())
                self.assertLess(time.monotonic(), deadline, Path("console").read_text())
                time.sleep(0.2)
            time.sleep(2)  # for the workflow to see that the quick scan is through
            self.end(run)
        made = Path("out/volumes/quick.img").stat().st_mtime_ns
        subprocess.run([*self.command(), "--unlock"], check=True, capture_output=True)
        self.assertEqual(self.workflow(), 0, self.console)
        self.assertEqual(self.volumes(), ["quick", "slow"])
        self.assertEqual(Path("out/volumes/quick.img").stat().st_mtime_ns, made)

    def test_verdicts_are_given_by_a_program_that_ran(self):
        self.scan("one")
        Path("scans").rename("2024")
        Path("list").write_text("-one\n")
        for extension in ("hdr", "img"):
            Path(f"-one.{extension}").symlink_to(f"2024/one.{extension}")
        average = Path("programs/tonalign-average")
        average.rename("average")
        self.assertNotEqual(self.workflow("scans=2024"), 0)
        self.assertIn("programs/tonalign-average: No such file", self.console)
        Path("average").rename(average)
        for source in ("2024", "list"):
            self.assertEqual(self.workflow(f"scans={source}"), 0, self.console)
        self.assertEqual(Path("out/target.scans").read_text(), "-one\n")

    def test_a_damaged_header_asks_for_no_memory_that_its_image_cannot_fill(self):
        self.scan("one")
        asked = cohort.megabytes("scans/one")
        header = bytearray(Path("scans/one.hdr").read_bytes())
        struct.pack_into("=3h", header, cohort.DIM_OFFSET + 2, 32767, 32767, 32767)
        Path("scans/one.hdr").write_bytes(header)
        self.assertLess(cohort.megabytes("scans/one"), asked + 2)

    def test_cohorts_that_are_none_are_refused(self):
        self.assertNotEqual(self.workflow("scans=nowhere"), 0)
        self.assertIn("nowhere: neither a folder of scans nor a list of them", self.console)
        self.assertNotEqual(self.workflow(), 0)
        self.assertIn("scans: no scan found", self.console)
        Path("list").write_text("here/a\nthere/a\n")
        self.assertNotEqual(self.workflow("scans=list"), 0)
        self.assertIn("two scans are called a", self.console)
        for setting, refusal in (("bnis=3", "there is no setting bnis"), ("bins=x", "the setting bins is 'x'")):
            self.assertNotEqual(self.workflow(setting), 0)
            self.assertIn(refusal, self.console)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])

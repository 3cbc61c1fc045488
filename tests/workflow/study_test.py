# SPDX-License-Identifier: BSD-3-Clause
"""study_test.py BUILD_FOLDER: studies of small scans, by tonalign-study, against the commands by hand."""

import gzip
import json
import os
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import unittest
from pathlib import Path

import nibabel
import numpy
from bids_validator import BIDSValidator

BUILD = Path(sys.argv[1]).resolve()
STUDY, NIFTI = str(BUILD / "tonalign-study"), str(BUILD / "tonalign-nifti")
HOSTILE = ["a b/$(touch pwned)", "{braces}", "'quo\"tes", "new\nline", "-dash", "ünï", "\x1b[31mred", "x.y"]
SHAPE = (12, 13, 14)


def save(file, seed, kind=nibabel.Nifti1Image):
    """A ball of noise, and its mask."""
    Path(file).parent.mkdir(parents=True, exist_ok=True)
    axes = numpy.meshgrid(*(numpy.linspace(-1, 1, n) for n in SHAPE), indexing="ij")
    ball = sum(axis**2 for axis in axes) < 0.8
    values = ball * numpy.random.default_rng(seed).normal(500, 60 + seed, SHAPE)
    nibabel.save(kind(values.astype("i2"), numpy.eye(4)), file)
    return nibabel.Nifti1Image(ball.astype("u1"), numpy.eye(4))


def values_of(file):
    return numpy.asarray(nibabel.load(file).dataobj)


class Study(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="tonalign-study-")
        self.addCleanup(folder.cleanup)
        os.chdir(folder.name)
        # Snakemake keeps copies of its files there; an account that only runs tests may have no home to write to.
        os.environ["XDG_CACHE_HOME"] = f"{folder.name}/cache"

    def study(self, status, *arguments):
        run = subprocess.run([STUDY, *arguments], capture_output=True, text=True, errors="surrogateescape", timeout=240)
        self.said = run.stdout + run.stderr
        log = Path(arguments[1], ".study/snakemake.log")
        self.assertEqual(run.returncode, status, self.said + (log.read_text() if log.exists() else ""))

    def make_dataset(self):
        """Sessions and runs; masks beside scans, in derivatives, of two runs at once, in another space, and missing."""
        Path("ds/derivatives/other").mkdir(parents=True)
        Path("ds/dataset_description.json").write_text('{"Name": "Trial", "BIDSVersion": "1.8.0"}')
        names = ["sub-1/ses-a/anat/sub-1_ses-a_T1w", "sub-1/ses-b/anat/sub-1_ses-b_T1w", "sub-2/anat/sub-2_run-1_T1w",
                 "sub-2/anat/sub-2_run-2_T1w", "sub-3/anat/sub-3_T1w", "sub-4/anat/sub-4_T1w"]
        for seed, name in enumerate(names):
            mask = save(f"ds/{name}.nii.gz", seed)
            place = name if seed < 2 else f"derivatives/other/{name}"
            base = place[: -len("T1w")].replace("_run-1", "").replace("_run-2", "")
            for other in ("desc-brain_mask", "space-MNI_desc-brain_mask") if seed < 5 else ("space-MNI_desc-brain_mask",):
                Path(f"ds/{base}").parent.mkdir(parents=True, exist_ok=True)
                nibabel.save(mask, f"ds/{base}{other}.nii.gz")
        save("ds/sub-4/anat/sub-4_T2w.nii.gz", 9)
        return {name.rpartition("/")[2]: name for name in names}

    def test_a_dataset_becomes_a_derivative_as_by_hand(self):
        names = self.make_dataset()
        self.study(0, "ds", "out", "--dry-run")
        self.assertFalse(Path("out").exists())
        self.study(1, "ds", "out", "--bins", "32")
        self.assertIn("6 scans, 5 masks", self.said)
        self.assertIn("failed: sub-4_T1w: no mask found", self.said)
        matched = [name for name in names if name != "sub-4_T1w"]
        scans = [f"ds/{names[name]}.nii.gz" for name in matched]
        masks = [nibabel.load(scan).get_fdata() > 0 for scan in scans]
        for number, mask in enumerate(masks):  # the ball; a voxel of it that happened to be 0 is inside too
            nibabel.save(nibabel.load("ds/sub-1/ses-a/anat/sub-1_ses-a_desc-brain_mask.nii.gz"), f"mask-{number}.nii.gz")
        files = [f"mask-{number}.nii.gz" for number in range(len(masks))]
        subprocess.run([NIFTI, "average", "-q", "--bins", "32", "-o", "by-hand.hist", "--masks", *files, "--", *scans], check=True)
        numpy.testing.assert_allclose(numpy.loadtxt("by-hand.hist"), numpy.loadtxt("out/group_target.hist"), rtol=1e-12)
        for name, scan, mask in zip(matched, scans, files):
            result = f"out/{names[name].replace('_T1w', '_desc-tonalign_T1w')}"
            subprocess.run([NIFTI, "match", "-q", "--mask", mask, "--clip", "99.9", scan, "out/group_target.hist",
                            "by-hand.nii"], check=True)
            self.assertEqual(values_of(f"{result}.nii.gz").tobytes(), values_of("by-hand.nii").tobytes(), name)
            sidecar = json.loads(Path(f"{result}.json").read_text())
            self.assertEqual(sidecar["Sources"], [f"bids:source:{names[name]}.nii.gz"])
            self.assertTrue(sidecar["InTarget"] and sidecar["Mask"].startswith("bids:source:"))
        # The validator knows the names of raw datasets alone, which have no entity desc.
        ignored = Path("out/.bidsignore").read_text().split()
        for file in (path.relative_to("out") for path in Path("out").rglob("*") if path.is_file()):
            if str(file)[0] != "." and not any(str(file).startswith(name.rstrip("*")) for name in ignored):
                self.assertTrue(BIDSValidator().is_bids("/" + str(file).replace("_desc-tonalign", "")), file)
        self.assertEqual(json.loads(Path("out/dataset_description.json").read_text())["DatasetType"], "derivative")
        self.assertEqual(self.rows(), 6)
        self.resume(names)

    def rows(self):
        return Path("out/report.html").read_text().count("<section id=\"scan-")

    def resume(self, names):
        """What is done stays; what has changed is done again; what is out of date is told, and removed when asked."""
        made = {file: file.stat().st_mtime_ns for file in Path("out").rglob("*.nii.gz")}
        self.study(1, "ds", "out", "--bins", "32")
        self.assertEqual(made, {file: file.stat().st_mtime_ns for file in made})
        self.study(0, "ds", "out", "--bins", "32", "--target", "out/group_target.hist", "--session", "a")
        self.assertNotIn("out of date", self.said)
        Path("ds/sub-4/anat/sub-4_T1w.nii.gz").unlink()
        shutil.rmtree("ds/sub-3")
        self.study(0, "ds", "out", "--bins", "32", "--participant-label", "sub-2")
        self.assertIn("out of date: sub-3/anat/sub-3_desc-tonalign_T1w.nii.gz: its scan is no longer in the input", self.said)
        self.assertIn("sub-1_ses-a_desc-tonalign_T1w.nii.gz: it was matched to an older target", self.said)
        self.study(0, "ds", "out", "--bins", "32", "--clean")
        self.assertEqual(len([*Path("out").rglob("*.nii.gz")]), 4)
        self.assertFalse(Path("out/sub-3").exists())
        self.assertIn("removed: sub-3", self.said)
        self.target_is_a_scan()
        # Nothing is left to make a target of: results that stand pass for nothing, but are not in the way.
        for scan in Path("ds").rglob("*_T1w.nii.gz"):
            scan.write_bytes(b"no scan")
        self.study(1, "ds", "out", "--bins", "32", "--clean", "--participant-label", "2")
        self.assertIn("0 of 2 scans came through", self.said)
        self.assertEqual(len([*Path("out").rglob("*.nii.gz")]), 4)

    def target_is_a_scan(self):
        """Its own mask goes with it."""
        shutil.copytree("ds/derivatives/other", "masks")
        scan, target = (f"ds/sub-2/anat/sub-2_run-{run}_T1w.nii.gz" for run in (1, 2))
        self.study(0, "ds", "out2", "--masks", "masks", "--target", target, "--participant-label", "2", "--bins", "40")
        mask = "masks/sub-2/anat/sub-2_desc-brain_mask.nii.gz"
        subprocess.run([NIFTI, "match", "-q", "--mask", mask, "--target-mask", mask, "--clip", "99.9", "--bins", "40",
                        scan, target, "by-hand.nii"], check=True)
        result = values_of("out2/sub-2/anat/sub-2_run-1_desc-tonalign_T1w.nii.gz")
        self.assertEqual(result.tobytes(), values_of("by-hand.nii").tobytes())
        self.study(2, "ds", "out2", "--target", "ds/sub-4/anat/sub-4_T2w.nii.gz")
        self.assertIn("no mask found beside it", self.said)

    def test_folders_and_lists_of_any_names_and_formats(self):
        for seed, name in enumerate(HOSTILE):
            save(f"scans/{name}.nii", seed)
        save("scans/pair.hdr", 20, nibabel.AnalyzeImage)
        save("scans/mgh.mgz", 21, lambda values, affine: nibabel.MGHImage(values, affine))
        self.study(0, "scans", "scans/results", "--jobs", "3")
        self.assertFalse([*Path().rglob("pwned")])
        self.assertNotRegex(self.said, "[\x1b]")
        results = Path("scans/results/volumes")
        for name in [*(f"{name}.nii" for name in HOSTILE), "pair.hdr", "mgh.mgz"]:
            self.assertEqual(len(numpy.unique(values_of(results / name))) > 100, True, name)
        Path("list").write_text("scans/x.y.nii\nscans/pair\n\nscans/mgh.mgz\n")
        self.study(0, "list", "listed", "--target", "scans/mgh.mgz")
        self.assertEqual(len([*Path("listed/volumes").iterdir()]), 2 + 3 + 2)
        Path("list").write_text("none.nii\n")
        self.study(1, "list", "listed")
        self.assertRegex(self.said, "failed: none: No such file.*\n0 of 1 scan came through; the page is listed/report.html")
        for content, refusal in (("", "no scan found"), ("a.nii\nb/a.nii\n", "2 scans are called a")):
            Path("list").write_text(content)
            self.study(2, "list", "refused")
            self.assertIn(refusal, self.said)

    def test_a_killed_run_goes_on(self):
        for seed in range(12):
            save(f"scans/{seed}.nii.gz", seed)
        with gzip.open("scans/cut.nii.gz", "wb") as file:
            file.write(b"\0" * 100)
        with subprocess.Popen([STUDY, "scans", "out", "--jobs", "1"], stdout=subprocess.DEVNULL, start_new_session=True) as run:
            while not [*Path("out").glob("volumes/*")]:
                time.sleep(0.05)
            os.killpg(run.pid, signal.SIGSTOP)  # it must not end before the next one begins
            try:
                self.study(2, "scans", "out")
                self.assertIn("another run is at work", self.said)
            finally:
                os.killpg(run.pid, signal.SIGKILL)
        before = len([*Path("out/.study/done").glob("*")])
        self.assertLess(before, 12)
        self.study(1, "scans", "out")
        self.assertIn("12 of 13 scans came through", self.said)
        self.assertRegex(self.said, "failed: cut: ")
        for seed in range(12):
            self.assertEqual(values_of(f"out/volumes/{seed}.nii.gz").shape, SHAPE)


unittest.main(argv=sys.argv[:1])

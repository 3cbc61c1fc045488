# SPDX-License-Identifier: BSD-3-Clause
"""tonalign-nifti on files: headers kept, the tool's values, failures in one line with nothing left behind."""

import gzip
import itertools
import json
import os
import signal
import subprocess
import sys
import tempfile
import time
from pathlib import Path

import nibabel
import numpy

BUILD, SOURCE = Path(sys.argv.pop(1)).resolve(), Path(sys.argv.pop(1)).resolve()
COMMAND = [sys.executable, SOURCE / "python/bin/tonalign-nifti"]
ENVIRONMENT = {**os.environ, "PYTHONPATH": str(BUILD / "python")}
sys.path.insert(0, ENVIRONMENT["PYTHONPATH"])
import tonalign

RANDOM = numpy.random.default_rng(7)
SCAN = RANDOM.integers(0, 900, (9, 8, 7))
OBLIQUE = numpy.array([[0.05, -0.03, 1.19, -81], [-0.93, 0.09, 0.04, 119], [-0.08, -0.92, -0.02, 102], [0, 0, 0, 1]])
# What a result's header has of its own: the type and scale of the voxels, the display range, and who made it
OWN = {"datatype", "bitpix", "scl_slope", "scl_inter", "cal_max", "cal_min", "descrip", "vox_offset"}


def run(*arguments):
    return subprocess.run(
        [*COMMAND, *map(str, arguments)], env=ENVIRONMENT, capture_output=True, text=True, check=False
    )


def succeed(*arguments):
    done = run(*arguments)
    assert done.returncode == 0 and not done.stderr, (arguments, done)
    return done.stdout


def write(name, values, kind=nibabel.Nifti1Image, order="<", element="i2", scale=None, affine=OBLIQUE):
    header = kind.header_class(endianness=order)
    header["cal_max"], header["descrip"], header["xyzt_units"], header["intent_code"] = 900, b"of a scanner", 10, 1001
    header.set_data_dtype(element)
    header.set_qform(affine, 1, strip_shears=True)
    header.set_sform(affine, 3)
    header.extensions.append(nibabel.nifti1.Nifti1Extension("comment", b"kept as well"))
    image = kind(values, None, header)
    if scale:
        image.header.set_slope_inter(*scale)
    image.to_filename(name)


def headers_are_kept_to_the_byte():
    write("target.nii", SCAN[::-1].astype("f4"), element="f4")
    forms = itertools.product((nibabel.Nifti1Image, nibabel.Nifti2Image), "<>", ("i2", "f8", "u2"), (".nii", ".nii.gz"))
    for kind, order, element, ending in forms:
        write(f"scan{ending}", SCAN, kind, order, element, scale=(2.5, -70) if element == "i2" else None)
        succeed("match", f"scan{ending}", "target.nii", f"out{ending}", "--bins", 50, "-q")
        scan, out = nibabel.load(f"scan{ending}"), nibabel.load(f"out{ending}")
        assert type(out) is kind and out.header.endianness == order and out.get_data_dtype() == numpy.dtype(f"{order}f4")
        for field in set(scan.header.keys()) - OWN:
            assert scan.header[field].tobytes() == out.header[field].tobytes(), field
        assert out.header.extensions == scan.header.extensions and out.header["cal_max"] == 0
        stored = (gzip.open if ending.endswith("gz") else open)(f"out{ending}", "rb").read()
        slope = 112 if kind is nibabel.Nifti1Image else 176
        size = 4 if kind is nibabel.Nifti1Image else 8
        scale = numpy.frombuffer(stored, f"{order}f{size}", 2, slope)
        assert scale.tolist() == [1, 0], scale
        expected = tonalign.match(scan.get_fdata(), SCAN[::-1].astype("f4"), bins=50)
        numpy.testing.assert_array_equal(numpy.asanyarray(out.dataobj), expected)
        seen = subprocess.run(["nifti_tool", "-check_nim", "-infiles", f"out{ending}"], capture_output=True, text=True, check=False)
        assert "IS GOOD" in seen.stdout or kind is nibabel.Nifti2Image, seen
    succeed("match", "scan.nii", "target.nii", "out.mgz", "-q")
    numpy.testing.assert_allclose(nibabel.load("out.mgz").affine, OBLIQUE, atol=1e-4)


def a_run_is_the_tool_s_and_a_log_tells_it():
    write("scan.nii.gz", SCAN)
    write("target.nii", SCAN[:, ::-1] // 2)
    write("brain.nii", SCAN % 3 != 0, element="u1")
    for name in "scan.nii.gz", "target.nii":
        subprocess.run([BUILD / "tonalign-from-nifti", name, name[0]], check=True, stdout=subprocess.DEVNULL)
    hists = ["1.hist", "2.hist", "3.hist", "4.hist"]
    subprocess.run([BUILD / "tonalign", *"stoz", "64", "1", "1", "1", *hists], check=True, stdout=subprocess.DEVNULL)
    ours = ["--histogram-before", "b.hist", "--histogram-after", "a.hist", "--histogram-target", "t.hist"]
    options = ["--bins", 64, "--sigma", 1, "--endpoints"]
    succeed("match", "scan.nii.gz", "target.nii", "out.nii", "--classic", *options, *ours)
    assert numpy.asanyarray(nibabel.load("out.nii").dataobj).tobytes("F") == Path("o.img").read_bytes()
    for own, tool in zip(("b.hist", "a.hist", "t.hist"), ("1.hist", "3.hist", "4.hist")):
        assert Path(own).read_bytes() == Path(tool).read_bytes(), own

    succeed("match", "s.hdr", "t.img", "p.img", "--classic", *options)
    assert Path("p.img").read_bytes() == Path("o.img").read_bytes() and Path("p.hdr").exists()

    masks = ["--mask", "brain.nii", "--outside", -5]
    succeed("match", "scan.nii.gz", "target.nii", "out.nii", *masks, "--bins", 16, *ours, "--log", "log.json")
    log = json.loads(Path("log.json").read_text(encoding="utf-8"))
    assert log["foreground_voxels"] == (SCAN % 3 != 0).sum() and 10 * log["distance_after"] < log["distance_before"], log
    assert tonalign.Target.load("a.hist").distance(tonalign.Target.load("t.hist")) == log["distance_after"]
    Path("damaged.json").write_text(Path("log.json").read_text(encoding="utf-8").replace('"voxels": ', '"voxels": -'))
    report = [BUILD / "tonalign-report", "-o", "page.html", "log.json", "damaged.json"]
    told = subprocess.run(report, capture_output=True, text=True, check=False)
    assert told.returncode == 1 and told.stderr.count("\n") == 1 and "damaged.json: " in told.stderr, told
    assert "2 scans: 1 failed" in Path("page.html").read_text(encoding="utf-8")
    # The target's file stands for the target, and averaging one scan makes that file.
    succeed("match", "scan.nii.gz", "t.hist", "by-file.nii", *masks)
    numpy.testing.assert_array_equal(nibabel.load("by-file.nii").dataobj, nibabel.load("out.nii").dataobj)
    said = succeed("average", "--masks", "brain.nii", "brain.nii", "-o", "mean.hist", "--", "scan.nii.gz", "target.nii")
    assert said.count("distance") == 2
    expected = tonalign.Target.fit(["scan.nii.gz", "target.nii"], masks=["brain.nii"] * 2)
    assert tonalign.Target.load("mean.hist") == expected
    write("series.nii", numpy.stack([SCAN[::-1], SCAN], 3))
    succeed("match", "series.nii", "target.nii", "second.nii", "--volume", 1)
    numpy.testing.assert_array_equal(nibabel.load("second.nii").dataobj, tonalign.match(SCAN, SCAN[:, ::-1] // 2))


def failures_are_one_line_and_leave_everything_as_it_was():
    write("small.nii", SCAN[1:])
    moved = OBLIQUE.copy()
    moved[0, 3] += 0.5
    write("moved.nii", SCAN % 2, affine=moved)
    Path("cut.nii.gz").write_bytes(Path("scan.nii.gz").read_bytes()[:500])
    before = {file: file.read_bytes() for file in Path().iterdir() if file.is_file()}
    usual = "match", "scan.nii.gz", "target.nii"
    for arguments, text in (
        ((*usual, "out.nii", "--mask", "small.nii"), "small.nii: the mask has the shape (8, 8, 7)"),
        ((*usual, "out.nii", "--mask", "moved.nii"), "moved.nii: the mask lies elsewhere"),
        ((*usual, "out.nii", "--volume", 0), "scan.nii.gz: --volume is for 4-D"),
        (("match", "series.nii", "target.nii", "out.nii"), "series.nii: there are 2 volumes in it; choose one with --volume"),
        (("match", "series.nii", "target.nii", "out.nii", "--volume", 2), "series.nii: there is no volume 2"),
        (("match", "cut.nii.gz", "target.nii", "out.nii"), "cut.nii.gz: "),
        (("match", "none.nii", "target.nii", "out.nii"), "none.nii: "),
        (("match", "scan.nii.gz", "log.json", "out.nii"), "log.json: "),
        ((*usual, "scan.nii.gz"), "scan.nii.gz: the output is also an input"),
        ((*usual, "out.txt"), "out.txt: no format"),
        ((*usual, "none/out.nii"), "none/out.nii: there is no such folder"),
        ((*usual, "out.nii", "--outside", "x"), "--outside: "),
        ((*usual, "out.nii", "--bins", 1), "from 2 to"),
        ((*usual, "out.nii", "--classic", "--clip", 99), "--classic"),
        ((*usual,), "the following arguments are required: output"),
        (("average", "-o", "mean.hist", "small.nii", "mean.hist"), "mean.hist: the output is also an input"),
        (("average", "-o", "mean.hist", "small.nii", "none.nii"), "none.nii: "),
    ):
        done = run(*arguments)
        lines = done.stderr.splitlines()
        assert done.returncode == 2 and len(lines) == 1 and text in lines[0], (arguments, done)
        assert {file: file.read_bytes() for file in Path().iterdir()} == before, arguments
    command = [*COMMAND, "match", "large.nii.gz", "target.nii", "out.nii.gz"]
    write("large.nii.gz", numpy.resize(SCAN, (250, 250, 250)))
    for wait in 0.3, 0.9:
        with subprocess.Popen(command, env=ENVIRONMENT, stdout=subprocess.DEVNULL) as process:
            time.sleep(wait)
            process.send_signal(signal.SIGTERM)
        after = {file for file in Path().iterdir() if file.name != "large.nii.gz"}
        assert process.returncode in (143, -signal.SIGTERM) and after == set(before), (wait, process.returncode, after ^ set(before))


with tempfile.TemporaryDirectory() as place:
    os.chdir(place)
    for test in (
        headers_are_kept_to_the_byte,
        a_run_is_the_tool_s_and_a_log_tells_it,
        failures_are_one_line_and_leave_everything_as_it_was,
    ):
        test()
        print(f"{test.__name__}: passed", flush=True)
    os.chdir("/")

# SPDX-License-Identifier: BSD-3-Clause
"""The Python package beside the tool: the same voxels give the same bytes, and masks do what is said of them."""

import doctest
import importlib
import itertools
import os
import pkgutil
import signal
import subprocess
import sys
import tempfile
import threading
import time
import warnings
from pathlib import Path

import nibabel
import numpy

BUILD = Path(sys.argv.pop(1)).resolve()
sys.path.insert(0, str(BUILD / "python"))
import tonalign

TYPES = ("uint8", "int16", "int32", "float32", "float64")
RANDOM = numpy.random.default_rng(2026)


def random_volume(kind, most=9):
    """Few values, so that voxels tie, and some of them negative where the type has any."""
    values = RANDOM.integers(0, RANDOM.choice([3, 30, 250]), RANDOM.integers(1, most, 3))
    return numpy.asfortranarray((values - (0 if kind == "uint8" else 7)) * (0.1 if kind[0] == "f" else 1), dtype=kind)


def run(program, *arguments):
    return subprocess.run([BUILD / program, *map(str, arguments)], capture_output=True, text=True, check=False)


def save_pair(name, volume):
    nibabel.AnalyzeImage(volume, None).to_filename(f"{name}.hdr")


def same_bits(a, b):
    return a.dtype == b.dtype and a.shape == b.shape and a.tobytes("F") == b.tobytes("F")


def refused(call, *texts, error=ValueError):
    try:
        call()
    except error as problem:
        assert all(text in str(problem) for text in texts), (texts, str(problem))
    else:
        raise AssertionError(f"not refused: {texts}")


def runs_on_arrays_are_the_tool_s():
    tried = 0
    for kind, usage, endpoints, sigma in itertools.product(TYPES, (1, 2), (False, True), (0, 1.5)):
        volume, target = random_volume(kind), random_volume(RANDOM.choice(TYPES))
        bins = int(RANDOM.choice([5, 64, 300]))
        save_pair("a", volume)
        save_pair("b", target)
        if usage == 1:
            options = {"bins": bins, "sigma": sigma, "endpoints": endpoints}
            hists = ["a.hist", "b.hist", "oa.hist", "ob.hist"]
            console = run("tonalign", "a", "b", "oa", "ob", bins, sigma, int(endpoints), 1, *hists).stdout
        else:
            tonalign.Target(numpy.arange(bins), RANDOM.random(bins)).save("flat.hist")
            target, options, hists = tonalign.Target.load("flat.hist"), {}, ["a.hist", "oa.hist"]
            console = run("tonalign", "a", "flat.hist", "oa", bins, *hists).stdout
        layout = RANDOM.choice(["C", "F"])
        call = lambda: tonalign.normalise(volume.copy(layout), target, **options, threads=int(RANDOM.integers(1, 4)))
        if "RUNNING TIME" not in console:
            refused(call)
            continue
        found = call()
        histograms = [found.before, found.target_before, found.after, found.target_after][::usage]
        for hist, expected in zip(hists, histograms, strict=True):
            lines = numpy.loadtxt(hist)
            assert same_bits(lines[:, 0], expected.centres) and same_bits(lines[:, 1], expected.frequencies), hist
        expected = numpy.fromfile("oa.img", "f4").reshape(volume.shape, order="F")
        assert same_bits(found.volume, expected), (kind, options)
        assert found.volume.flags[f"{layout}_CONTIGUOUS"]
        if usage == 1:
            assert same_bits(found.target, numpy.fromfile("ob.img", "f4").reshape(target.shape, order="F")), options
        told = [float(line.split("\t")[1]) for line in console.splitlines() if line.startswith("Error")]
        numpy.testing.assert_allclose(found.distances, told, rtol=1e-5)
        tried += 1
    assert tried > 30, tried


def a_mask_s_outside_is_the_background():
    """The definition in NumPy, given to the tool: which voxels receive the same value, and in which order."""
    tried, warned = 0, 0
    for kind, sigma, endpoints in itertools.product(TYPES * 4, (0, 1), (False, True)):
        volume, target = random_volume(kind, 12), random_volume(RANDOM.choice(TYPES), 12)
        mask = RANDOM.random(volume.shape) < RANDOM.choice([0.3, 0.9])
        bins = int(RANDOM.choice([5 if endpoints else 2, 40, 300]))
        if not mask.any() or mask.all() or volume[mask].min() == volume[mask].max() or target.min() == target.max():
            continue
        inside = volume[mask].astype("float64")
        outside = inside.min() - (inside.max() - inside.min()) / (bins - 1.5)
        save_pair("a", numpy.where(mask, volume.astype("float64"), outside))
        save_pair("b", target)
        console = run("tonalign", "a", "b", "oa", "ob", bins, sigma, int(endpoints), 1, *"1234").stdout
        expected = numpy.fromfile("oa.img", "f4").reshape(volume.shape, order="F")
        forms = mask, mask.astype("float32") * numpy.float32(1e-40), mask.astype(">i4")[::-1][::-1] * -1
        options = {"bins": bins, "sigma": sigma, "endpoints": endpoints}
        call = lambda: tonalign.match(volume, target, mask=forms[tried % 3], threads=tried % 3 + 1, **options)
        if "RUNNING TIME" not in console:
            refused(call)
            continue
        with warnings.catch_warnings(record=True) as caught:
            warnings.simplefilter("always")
            try:
                found = call()
            except ValueError as problem:
                assert "half a voxel" in str(problem) and mask.sum() < bins, problem  # the tool then matches nothing
                continue
        if caught:
            assert endpoints and "outside of the mask" in str(caught[0].message) and (found[~mask] == 0).all()
            warned += 1
            continue
        for ours, tool in zip(numpy.unique(found[mask], return_inverse=True), numpy.unique(expected[mask], return_inverse=True)):
            if ours.dtype.kind == "i":
                numpy.testing.assert_array_equal(ours, tool)
        assert (found[~mask] == 0).all()
        # What is stored outside counts for nothing.
        if kind.startswith("f"):
            volume = numpy.where(mask, volume, numpy.nan)
            assert same_bits(found, tonalign.match(volume, target, mask=mask, **options))
        tried += 1
    assert tried > 25 and warned, (tried, warned)
    frequencies = RANDOM.random(20)
    scan = RANDOM.permutation(8000).reshape(20, 20, 20)
    mask = numpy.zeros(scan.shape, bool)
    mask[:, 3:, :17] = True  # touches four borders
    for mask in mask, numpy.ones(scan.shape, bool):
        found = tonalign.match(scan, tonalign.Target(numpy.arange(20), frequencies), mask=mask, outside=-1)
        shares = numpy.bincount(found[mask].astype(int), minlength=20) / mask.sum()
        numpy.testing.assert_allclose(shares[1:], frequencies[1:] / frequencies[1:].sum(), atol=10 / mask.sum())  # the last bin takes what rounding leaves
        assert (numpy.diff(found[mask][numpy.argsort(scan[mask])]) >= 0).all() and (found[~mask] == -1).all()


def any_real_array_is_read_as_it_stands():
    target = tonalign.Target(numpy.linspace(5, 9, 12), RANDOM.random(12))
    values = RANDOM.integers(0, 100, (6, 7, 8))
    expected = tonalign.match(values.astype("float64"), target)
    kinds = "i1 u1 i2 u2 i4 u4 i8 u8 f2 f4 f8".split()
    for kind, order in itertools.product(kinds, "<>"):
        array = values.astype(order + kind)
        larger = numpy.zeros((12, 7, 16), array.dtype)
        larger[::2, :, ::2] = array
        for form in array, array.copy("F"), larger[::2, :, ::2], numpy.ascontiguousarray(array[::-1])[::-1]:
            form.flags.writeable = False
            before = form.tobytes()
            assert same_bits(tonalign.match(form, target), expected), (kind, order)
            assert form.tobytes() == before
    flags = values > 50
    two = tonalign.Target([1, 2], [0, 1])
    assert set(numpy.unique(tonalign.match(flags, two))) == {1, 2} and tonalign.match(flags, two, outside="keep").min() == 0
    # A voxel far above the rest, with and without a limit to the range
    hot = values.astype("float32")
    hot[0, 0, 0] = 1e6
    refused(lambda: tonalign.match(hot, target), "foreground of 1 voxels")
    assert (tonalign.match(hot, target, clip=99) == 5).sum() < 60
    refused(lambda: tonalign.match(values[None], target), "four axes", "array[..., 0]")
    refused(lambda: tonalign.match(values[0], target), "three axes")
    refused(lambda: tonalign.match(values[:0], target), "one voxel")
    refused(lambda: tonalign.match(values * 1j, target), "real")
    refused(lambda: tonalign.match(values, target, mask=values < 0), "no voxel is inside")
    refused(lambda: tonalign.match(values, target, mask=values[1:]), "shape")
    refused(lambda: tonalign.match(values * 0, target), "background bin")
    refused(lambda: tonalign.match(numpy.where(values > 5, values, numpy.inf), target), "finite", "x=")
    refused(lambda: tonalign.match(values, values, bins=1), "2")
    refused(lambda: tonalign.match(values, values, bins=4, endpoints=True), "Nbins is 4", "5 to")
    refused(lambda: tonalign.match(values, values, sigma=float("nan")), "sigma is nan")
    refused(lambda: tonalign.match(values * 1e306, two, mask=values > 0), "finite")
    refused(lambda: tonalign.Target.fit([values], smooth=1e9), "smooth")
    refused(lambda: tonalign.match(values, values, outside="0"), "keep")
    refused(lambda: tonalign.match("none.nii", target), "none.nii", error=OSError)
    limit_memory()
    for bins in 3 * 10**7, 10**8, 2**30 - 2:  # memory ends in the stages' threads, or before there are any
        refused(lambda bins=bins: tonalign.match(values.astype("float32"), target.centres[:, None, None], bins=bins), error=MemoryError)


def limit_memory():
    """To two gigabytes more than now."""
    import resource

    now = int(Path("/proc/self/statm").read_text(encoding="ascii").split()[0]) * resource.getpagesize()
    resource.setrlimit(resource.RLIMIT_AS, (now + 2**31, resource.RLIM_INFINITY))


def targets_are_fitted_saved_and_compared():
    scans = [RANDOM.normal(100, 20, (19, 18, 17)).astype("float32") for _ in range(7)]
    for number, scan in enumerate(scans):
        save_pair(f"s{number}", scan)
    fitted = tonalign.Target.fit(iter(scans), bins=50, clip=100)
    fitted.save("fitted.hist")
    run("tonalign-average", "averaged.hist", 50, *(f"s{number}" for number in range(7)))
    assert Path("fitted.hist").read_bytes() == Path("averaged.hist").read_bytes()
    assert tonalign.Target.load("fitted.hist") == fitted != tonalign.Target.fit(scans, bins=50, clip=100, smooth=2)
    others = tonalign.Target.fit(scans[1:], bins=50, clip=100)
    numpy.testing.assert_allclose(fitted.scans[0].distance, tonalign.Target.fit(scans[:1], bins=50, clip=100).distance(others))
    misfit = numpy.exp(scans[0] / 9)
    robust = tonalign.Target.fit([*scans, misfit], bins=50, clip=100, leave_out_outliers=5)
    assert [scan.left_out for scan in robust.scans] == [False] * 7 + [True] and robust == fitted
    assert tonalign.Target.fit([misfit, *scans], bins=50, clip=100, leave_out=[0]) == fitted
    # One hot voxel in one scan moves nothing.
    hot = scans[0].copy()
    hot[0, 0, 0] *= 10
    clipped = [tonalign.Target.fit([first, *scans[1:]], bins=50) for first in (scans[0], hot)]
    assert abs(clipped[0].centres - clipped[1].centres).max() < 1 < abs(
        fitted.centres - tonalign.Target.fit([hot, *scans[1:]], bins=50, clip=100).centres
    ).max()
    # The percentile is one of the voxels, whatever type holds them; 99.9 % of 1000 are 999.
    whole = numpy.append(RANDOM.permutation(1000), -1).reshape(7, 11, 13)
    for (percent, expected), kind in itertools.product(((1, 9), (37.54, 375), (99.9, 998)), ("int16", "float64")):
        top = tonalign.Target.fit([whole.astype(kind)], bins=10, clip=percent).centres
        numpy.testing.assert_allclose(top[-1] + (top[1] - top[0]) / 2, expected)
    refused(lambda: tonalign.Target([0, 1], [1, 0]), "not all are 0")
    refused(lambda: tonalign.Target.fit([]), "one scan")
    Path("bad.hist").write_text("1 2\n3 -4\n", encoding="ascii")
    refused(lambda: tonalign.Target.load("bad.hist"), "bad.hist", "bin 2")
    refused(lambda: fitted.save("no/such.hist"), "no/such.hist", error=OSError)


class Tensor(numpy.ndarray):
    """As much of a tensor as matters."""

    def new_tensor(self, values, dtype=None):
        return numpy.asarray(values, dtype).view(Tensor)


class Subject(dict):
    """As much of a training subject as matters."""

    def get_images_dict(self, intensity_only):
        return {name: image for name, image in self.items() if name != "brain" or not intensity_only}


class Image:
    def __init__(self, data):
        self.data = data

    def set_data(self, data):
        self.data = data


def pipelines_may_call_a_transform():
    scan, mask = RANDOM.normal(9, 2, (5, 6, 7)), RANDOM.random((5, 6, 7)) < 0.7
    target = tonalign.Target(numpy.arange(9), RANDOM.random(9))
    expected = tonalign.match(scan, target, mask=mask)
    transform = tonalign.Transform(target, mask="brain")
    sample = {"image": numpy.stack([scan, scan]), "brain": mask[None], "age": 7}
    assert same_bits(transform(sample)["image"], numpy.stack([expected, expected])) and sample["image"].dtype == "f8"
    subject = Subject(t1=Image(scan[None].view(Tensor)), brain=Image(mask[None].view(Tensor)))
    assert same_bits(transform(subject)["t1"].data.view(numpy.ndarray), expected[None])
    assert isinstance(subject["t1"].data, Tensor) and subject["brain"].data.dtype == bool


def calls_share_the_process_and_end_on_request():
    scan, target = RANDOM.random((30, 31, 32)), RANDOM.random((9, 9, 9))
    expected, found = tonalign.match(scan, target), []
    threads = [threading.Thread(target=lambda: found.append(tonalign.match(scan, target))) for _ in range(50)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert len(found) == 50 and all(same_bits(one, expected) for one in found)
    # Ctrl-C ends a call well before it would end by itself.
    program = (
        "import numpy, time, tonalign\n"
        "scan = numpy.random.default_rng(0).integers(0, 2, (160, 160, 160)).astype('f4', order='F')\n"
        "for _ in range(2):\n"
        "    started = time.monotonic()\n"
        "    tonalign.match(scan, numpy.arange(1e6).reshape(100, 100, 100), bins=4000, threads=1)\n"
        "    print(time.monotonic() - started, flush=True)\n"
    )
    environment = {**os.environ, "PYTHONPATH": str(BUILD / "python")}
    with subprocess.Popen(
        [sys.executable, "-c", program], env=environment, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True
    ) as process:
        whole = float(process.stdout.readline())
        time.sleep(0.3 * whole)
        started = time.monotonic()
        process.send_signal(signal.SIGINT)
        rest, errors = process.communicate()
    assert "KeyboardInterrupt" in errors and not rest, (rest, errors)
    assert time.monotonic() - started < 0.5 * whole, whole


def examples_in_docstrings_hold():
    modules = [name for _, name, _ in pkgutil.iter_modules(tonalign.__path__) if name not in ("nipype", "_core")]
    results = [doctest.testmod(importlib.import_module(f"tonalign.{name}")) for name in modules]
    assert sum(result.attempted for result in results) > 15 and not any(result.failed for result in results)


for test in (
    runs_on_arrays_are_the_tool_s,
    a_mask_s_outside_is_the_background,
    targets_are_fitted_saved_and_compared,
    pipelines_may_call_a_transform,
    calls_share_the_process_and_end_on_request,
    examples_in_docstrings_hold,
    any_real_array_is_read_as_it_stands,  # last: it limits memory
):
    with tempfile.TemporaryDirectory() as place:
        os.chdir(place)
        test()
        os.chdir("/")
    print(f"{test.__name__}: passed", flush=True)

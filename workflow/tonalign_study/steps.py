# SPDX-License-Identifier: BSD-3-Clause
"""What the jobs of the workflow do, in the folder of the results.

    screen JOB    counts a scan's histogram and measures it; a scan that cannot be read is refused
    target        makes the mean of the scans that are neither refused nor unlike the others
    match JOB     gives a scan the target's histogram, and says beside the result how
"""

import json
import os
import subprocess
import sys
from pathlib import Path

import numpy

import tonalign
from tonalign.command import Trouble, naming, read
from tonalign.volumes import mask_for
from tonalign_report.measures import InputMeasures, foreground_of, measure_input
from tonalign_report.outliers import judge

from .bids import write_json
from .inputs import Scan
from .records import FOLDER, GROUP_TARGET, SETTINGS, digest, job_file, read_json, remove_empty_folders, write_failure


def load_job(job):
    content = read_json(job_file("scans", job))
    return Scan(**{name: content[name] for name in ("key", "file", "output", "mask", "fault")})


def load_settings():
    return read_json(SETTINGS)


def screened(scan, settings):
    """The measures and the histogram of a scan, or why it is refused."""
    try:
        if scan.fault:
            raise Trouble(scan.fault)
        volume = read(scan.file)
        mask = read(scan.mask).image if scan.mask else None
        with naming(scan.file):
            target = tonalign.Target.fit([volume.image], masks=[mask], bins=settings["bins"], clip=settings["clip"], threads=1)
            foreground = foreground_of(volume.array, mask_for(mask, volume), settings["bins"])
            voxel_ml = float(numpy.prod(volume.image.header.get_zooms()[:3])) / 1000
            measures = measure_input(volume.array, foreground, voxel_ml)
    except (Trouble, MemoryError) as trouble:
        return {"refused": reason_of(str(trouble) or "memory ran out", scan)}
    return {
        "measures": measures.to_json(),
        "centres": target.centres.tolist(),
        "frequencies": target.frequencies.tolist(),
    }


def reason_of(text, scan):
    """Without the program and the scan, which whoever shows it names anyway, and without an option that a study lacks."""
    return text.strip().removeprefix("tonalign-nifti: ").removeprefix(f"{scan.file}: ").removesuffix("; choose one with --volume")


def screen(job):
    output = job_file("screen", job)
    output.parent.mkdir(exist_ok=True)
    write_json(output, screened(load_job(job), load_settings()))


def judged(jobs):
    """What speaks against each of the jobs' scans in the target: pairs of a Scan and a list of reasons."""
    found = [(load_job(job), read_json(job_file("screen", job))) for job in jobs]
    sound = [number for number, (_, verdict) in enumerate(found) if "measures" in verdict]
    reasons = [[verdict["refused"]] if "refused" in verdict else [] for _, verdict in found]
    measures = [InputMeasures.from_json(found[number][1]["measures"]) for number in sound]
    for number, outlying in zip(sound, judge(measures)[0]):
        reasons[number] = [reason.text for reason in outlying]
    return [(scan, verdict, why) for (scan, verdict), why in zip(found, reasons)]


def target():
    settings, jobs = load_settings(), read_json(Path(FOLDER, "jobs.json"))
    verdicts = judged(jobs)
    sound = [verdict for _, verdict, why in verdicts if "measures" in verdict and (settings["all_in_target"] or not why)]
    if not sound:
        sys.exit("no scan is sound, so there is no target")
    histograms = [tonalign.Target(verdict["centres"], verdict["frequencies"]) for verdict in sound]
    mean = tonalign.Target.mean(histograms, smooth=settings["sigma"])
    left_out = {scan.key: why for scan, verdict, why in verdicts if verdict not in sound}
    write_json(
        "group_target.json",
        {
            "Description": "Mean histogram of the scans below: a line for each bin, its centre and its share of the foreground",
            "Bins": settings["bins"],
            "Smoothing": settings["sigma"],
            "Clip": settings["clip"],
            "Scans": [scan.key for scan, verdict, _ in verdicts if verdict in sound],
            "LeftOut": left_out,
        },
    )
    mean.save(GROUP_TARGET)


def match_command(scan, settings, target_file, log):
    command = [settings["nifti"], "match", "--quiet", "--threads", "1", "--clip", str(settings["clip"]), "--log", log]
    command += ["--mask", scan.mask] if scan.mask else []
    if not target_file.endswith(".hist"):
        command += ["--bins", str(settings["bins"]), "--sigma", str(settings["sigma"])]
        command += ["--target-mask", settings["target_mask"]] if settings["target_mask"] else []
    return [*command, "--", scan.file, target_file, scan.output]


def match(job):
    scan, settings = load_job(job), load_settings()
    target_file = settings["target"] or GROUP_TARGET
    for name in (*scan.outputs(), scan.sidecar, scan.log):
        Path(name).unlink(missing_ok=True)  # of an older run: nothing that fails now may pass for done
    os.makedirs(os.path.dirname(scan.log), exist_ok=True)  # tonalign-nifti makes no folders
    failure = scan.fault
    if not failure:
        os.makedirs(os.path.dirname(scan.output), exist_ok=True)
        run = subprocess.run(match_command(scan, settings, target_file, scan.log), stderr=subprocess.PIPE, check=False)
        if run.returncode != 0:
            failure = reason_of(os.fsdecode(run.stderr), scan) or f"tonalign-nifti ended with status {run.returncode}"
    if failure:
        remove_empty_folders(scan)
        write_failure(scan, target_file, failure)
        sys.exit(failure)
    describe(scan, settings, target_file)
    done = job_file("done", job)
    done.parent.mkdir(exist_ok=True)
    done.write_text("{}\n", encoding="ascii")


def describe(scan, settings, target_file):
    """Completes the log, and says beside the result how it was made."""
    log = read_json(scan.log)
    log["target_sha256"] = digest(target_file)
    if not settings["target"]:
        left_out = read_json("group_target.json")["LeftOut"]
        log["excluded_from_target"] = scan.key in left_out
    lines = ",\n".join(f"  {json.dumps(name)}: {json.dumps(value)}" for name, value in log.items())
    Path(scan.log).write_text(f"{{\n{lines}\n}}\n", encoding="utf-8")
    write_json(
        scan.sidecar,
        {
            "Description": "Scan whose foreground has been given the histogram of a target exactly",
            "Sources": [source_of(scan.file, settings)],
            "SkullStripped": bool(scan.mask),
            "Mask": source_of(scan.mask, settings),
            "Target": target_file,
            "TargetMask": source_of(settings["target_mask"], settings),
            "TargetSHA256": log["target_sha256"],
            "InTarget": not log.get("excluded_from_target", True),
            "Bins": log["bins"],
            "Smoothing": settings["sigma"],
            "Clip": settings["clip"],
            "BackgroundShare": 1 - log["foreground_voxels"] / log["voxels"],
            "DistanceBefore": log["distance_before"],
            "DistanceAfter": log["distance_after"],
        },
    )


def source_of(file, settings):
    """A file as a result names it: by its place in the dataset, if it lies there."""
    dataset = settings["dataset"]
    if file and dataset and os.path.commonpath([dataset, file]) == dataset:
        return f"bids:source:{os.path.relpath(file, dataset)}"
    return file


if __name__ == "__main__":
    {"screen": screen, "target": target, "match": match}[sys.argv[1]](*sys.argv[2:])

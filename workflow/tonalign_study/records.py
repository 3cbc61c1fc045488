# SPDX-License-Identifier: BSD-3-Clause
"""What a study keeps in its folder between runs: jobs by plain names, whatever the scans are called.

The workflow sees nothing else, so that no name of a scan has to pass through it. A job is written anew only when
something about it has changed; what was made from it is then out of date.
"""

import dataclasses
import hashlib
import json
import math
import os
from pathlib import Path

from .bids import write_json
from .inputs import Scan

FOLDER = ".study"
GROUP_TARGET = "group_target.hist"
SETTINGS = Path(FOLDER, "settings.json")
BYTES_PER_VOXEL = 24  # what matching takes at its peak: the volume as nibabel hands it out, mask, codes and result
PROGRAM_MEGABYTES = 250


def job_name(key):
    return hashlib.sha256(os.fsencode(key)).hexdigest()[:16]


def job_file(kind, job):
    return Path(FOLDER, kind, f"{job}.json")


def read_json(file):
    return json.loads(Path(file).read_text(encoding="utf-8"))


def signature(file):
    """Changes with the file."""
    if not file:
        return None
    parts = [file[:-4] + ".img"] if file.endswith(".hdr") else []
    found = []
    for name in [file, *parts]:
        try:
            status = os.stat(name)
            found.append([status.st_size, status.st_mtime_ns])
        except OSError as error:
            found.append(error.strerror)
    return found


def write_if_changed(file, content):
    file = Path(file)
    try:
        if read_json(file) == json.loads(json.dumps(content)):
            return
    except (OSError, ValueError):
        file.parent.mkdir(parents=True, exist_ok=True)
    write_json(file, content)


def write_failure(scan, target, reason):
    """A log of a scan that did not come through; tonalign-nifti leaves none then."""
    os.makedirs(os.path.dirname(scan.log), exist_ok=True)
    log = {"program": "tonalign-study", "input": scan.file, "target": target, "output": scan.output}
    write_json(scan.log, log | {"failure": reason})


def failed(scan):
    try:
        return "failure" in read_json(scan.log)
    except (OSError, ValueError):
        return False


def voxels_of(scan):
    """As its header promises, 0 if that cannot be read."""
    import nibabel

    try:
        shape = nibabel.load(scan.file).shape
    except Exception:  # whatever nibabel says of a file that is none: the job itself will tell
        return 0
    return math.prod(map(int, shape))


def with_signatures(settings):
    return settings | {"signatures": [signature(settings["target"]), signature(settings["target_mask"])]}


def write_jobs(scans, settings):
    """Writes what the workflow runs on. Forgets about scans whose results somebody has removed, and why others failed:
    they are tried again."""
    names = []
    for scan in scans:
        job = job_name(scan.key)
        names.append(job)
        content = dataclasses.asdict(scan) | {
            "signature": [signature(scan.file), signature(scan.mask)],
            "megabytes": PROGRAM_MEGABYTES + scan.voxels * BYTES_PER_VOXEL // 2**20,
        }
        write_if_changed(job_file("scans", job), content)
        if not all(os.path.isfile(name) for name in (*scan.outputs(), scan.log)):
            job_file("done", job).unlink(missing_ok=True)
        if failed(scan):
            Path(scan.log).unlink()
    write_if_changed(SETTINGS, with_signatures(settings))
    write_if_changed(Path(FOLDER, "jobs.json"), names)


def is_done(scan, settings):
    """Whether nothing has changed since a scan was matched, but for the other scans."""
    job = job_name(scan.key)
    try:
        if read_json(SETTINGS) != with_signatures(settings):
            return False
        known = read_json(job_file("scans", job))["signature"] == [signature(scan.file), signature(scan.mask)]
        return known and job_file("done", job).exists() and all(map(os.path.isfile, scan.outputs()))
    except (OSError, ValueError, KeyError):
        return False


def digest(file):
    try:
        return hashlib.sha256(Path(file).read_bytes()).hexdigest()
    except OSError:
        return None


def out_of_date(present, target):
    """Results in this folder that are not those of the scans with the present keys, matched to the target of a digest
    (if there is one): pairs of a Scan and the reason."""
    found = []
    for file in sorted(Path(FOLDER, "scans").glob("*.json")):
        content = read_json(file)
        scan = Scan(**{field.name: content[field.name] for field in dataclasses.fields(Scan)})
        if not any(map(os.path.lexists, scan.outputs())):
            continue
        if scan.key not in present:
            found.append((scan, "its scan is no longer in the input"))
        elif target and target != matched_to(scan):
            found.append((scan, "it was matched to an older target"))
    return found


def matched_to(scan):
    """The digest of the target that a result was matched to."""
    try:
        return read_json(scan.log)["target_sha256"]
    except (OSError, ValueError, KeyError):
        return None


def remove(scan):
    job = job_name(scan.key)
    for name in (*scan.outputs(), scan.sidecar, scan.log, *(job_file(kind, job) for kind in ("scans", "screen", "done"))):
        Path(name).unlink(missing_ok=True)
    remove_empty_folders(scan)


def remove_empty_folders(scan):
    for folder in Path(scan.output).parents:
        try:
            folder.rmdir()
        except OSError:  # something else is in it
            return

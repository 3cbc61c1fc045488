# SPDX-License-Identifier: BSD-3-Clause
"""Finds scans and their masks in a BIDS dataset, a folder or a list."""

import collections
import dataclasses
import os
from pathlib import Path

from .bids import BidsName, is_dataset, is_mask, mask_of

PAIR = (".hdr", ".img")
ENDINGS = (".nii.gz", ".nii", ".mgz", ".mgh", *PAIR)
MASK_ENDINGS = ("_mask", "_desc-brain_mask")


@dataclasses.dataclass
class Scan:
    """A scan, and what its results are called. Names of inputs are absolute, those of results relative to theirs."""

    key: str
    file: str
    output: str
    mask: str | None = None
    fault: str | None = None  # why it cannot be matched, as far as names tell

    @property
    def log(self):
        return f"logs/{self.key}.json"

    @property
    def sidecar(self):
        """The description of the result, in a BIDS dataset."""
        return self.output[: -len(ending_of(self.output))] + ".json"

    def outputs(self):
        base = self.output[: -len(ending_of(self.output))]
        return [base + ending for ending in PAIR] if self.output.endswith(PAIR) else [self.output]


def ending_of(name):
    return next((ending for ending in ENDINGS if name.endswith(ending)), "")


def refuse(error):
    raise error


def files_below(folder, *without):
    """Pairs of folder and name; folders that are links are not entered, nor hidden ones and those in `without`.

    A folder that cannot be read may hold scans, so it is an error.
    """
    for top, folders, names in os.walk(folder, onerror=refuse):
        folders[:] = sorted(
            name for name in folders if name[0] != "." and os.path.realpath(os.path.join(top, name)) not in without
        )
        for name in sorted(names):
            if not name.startswith("."):
                yield top, name


def subjects_of(dataset):
    """Folders of subjects; a link may stand for one."""
    return sorted(entry.path for entry in os.scandir(dataset) if entry.name.startswith("sub-") and entry.is_dir())


def masks_by_subject(places):
    """Brain masks, by subject, of datasets and folders of them."""
    masks = collections.defaultdict(list)
    for place in places:
        for top, file in files_below(place):
            name = BidsName.parse(file)
            if name and is_mask(name):
                masks[name["sub"]].append((name, os.path.join(top, file)))
    return masks


def scans_of_dataset(dataset, options, output):
    """Scans of a suffix. Masks are looked for beside them and in derivatives/, or in one folder alone."""
    if options.masks == "none":
        masks = {}
    elif options.masks:
        masks = masks_by_subject([options.masks])
    else:
        derivatives = os.path.join(dataset, "derivatives")
        masks = masks_by_subject([*subjects_of(dataset), *([derivatives] if os.path.isdir(derivatives) else [])])
    scans = []
    for subject in subjects_of(dataset):
        for top, file in files_below(subject, output):
            name = BidsName.parse(file)
            if not name or name.suffix != options.suffix or name["desc"] in ("tonalign", "brain"):
                continue
            folder = os.path.relpath(top, dataset)
            scan = Scan(file[: -len(name.ending)], os.path.join(top, file), f"{folder}/{name.derived()}.nii.gz")
            try:
                scan.mask = mask_of(name, masks.get(name["sub"], ()))
            except ValueError as error:
                scan.fault = str(error)
            scans.append(scan)
    return scans


def base_of(file):
    """A scan's name without its ending; both files of a pair are one scan."""
    return file[: -len(ending_of(file))]


def plain_scan(key, file, masks):
    """A scan of a folder or a list; its mask has the scan's name with an ending, beside it or at the same place below
    the folder of masks."""
    ending = ending_of(file)
    scan = Scan(key, os.path.abspath(file), f"volumes/{key}{'.hdr' if ending in PAIR else ending}")
    if ending == ".img":
        scan.file = scan.file[:-4] + ".hdr"
    places = [base_of(scan.file)] if not masks else [os.path.join(masks, key)]
    candidates = [place + mask + other for place in places for mask in MASK_ENDINGS for other in ENDINGS if other != ".img"]
    if masks != "none":
        scan.mask = next(filter(os.path.isfile, candidates), None)
    return scan


def scans_of_folder(folder, masks, output):
    files = {}
    for top, name in files_below(folder, output):
        if ending_of(name) and not base_of(name).endswith(MASK_ENDINGS):
            file = os.path.join(top, name)
            both = base_of(file) if file.endswith(PAIR) else file
            files[both] = file
    return [plain_scan(os.path.relpath(base_of(file), folder), file, masks) for file in files.values()]


def scans_of_list(file, masks):
    """A scan a line, and behind a tab its mask, if it has another name than its scan's; results take the last part of
    the scan's name."""
    scans = []
    for line in Path(file).read_text(encoding="utf-8", errors="surrogateescape").splitlines():
        if not line.strip():
            continue
        name, _, mask = line.partition("\t")
        scan = plain_scan(os.path.basename(base_of(name)), name if ending_of(name) else name + ".hdr", masks)
        scan.mask = os.path.abspath(mask) if mask else scan.mask
        scans.append(scan)
    return scans


def mask_of_target(target, scans):
    """The mask of a target that is a scan: its own as one of the scans, or one beside it; None where the scans have none.

    Raises ValueError where the scans have masks and it has none: its foreground would be another one than theirs.
    """
    if not any(scan.mask for scan in scans):
        return None
    found = next((scan for scan in scans if os.path.realpath(scan.file) == os.path.realpath(target)), None)
    mask = (found or plain_scan("", target, None)).mask
    if not mask:
        raise ValueError(f"--target {target}: no mask found beside it, while scans have one; --masks none does without any")
    return mask


def select(scans, options):
    """The scans of some participants and sessions of a dataset."""
    chosen = []
    for scan in scans:
        name = BidsName.parse(os.path.basename(scan.file))
        if options.participant_label and name["sub"] not in options.participant_label:
            continue
        if not options.session or name["ses"] in options.session:
            chosen.append(scan)
    if not chosen:
        raise ValueError(f"{options.input}: no scan of these participants and sessions found")
    return chosen


def find_scans(options, output):
    """All scans in the order of their keys.

    Raises ValueError when there is nothing to run on, and OSError for what cannot be read. A scan without a mask among
    scans with masks is at fault: its foreground would be another one than theirs.
    """
    source = options.input
    if os.path.isdir(source) and is_dataset(source):
        scans = scans_of_dataset(os.path.abspath(source), options, output)
    elif options.participant_label or options.session:
        raise ValueError(f"{source}: only a BIDS dataset has participants and sessions")
    elif os.path.isdir(source):
        scans = scans_of_folder(source, options.masks, output)
    elif os.path.isfile(source):
        scans = scans_of_list(source, options.masks)
    else:
        raise ValueError(f"{source}: neither a folder of scans nor a list of them")
    if not scans:
        raise ValueError(f"{source}: no scan found")
    for key, number in collections.Counter(scan.key for scan in scans).items():
        if number > 1:
            raise ValueError(f"{source}: {number} scans are called {key}, and their results would have the same names")
    if any(scan.mask for scan in scans):
        for scan in scans:
            if not scan.mask and not scan.fault:
                scan.fault = "no mask found, while other scans have one; --masks none does without any"
    return sorted(scans, key=lambda scan: scan.key)

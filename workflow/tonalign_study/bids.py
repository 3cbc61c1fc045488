# SPDX-License-Identifier: BSD-3-Clause
"""File names and descriptions of the Brain Imaging Data Structure (BIDS 1.8, https://bids.neuroimaging.io)."""

import dataclasses
import json
import os
import re
from pathlib import Path

VERSION = "1.8.0"
ENDINGS = (".nii.gz", ".nii")
DESCRIPTION = "dataset_description.json"
NOT_BIDS = "report.html\nlogs/\ngroup_target.*\n"


@dataclasses.dataclass(frozen=True)
class BidsName:
    """The parts of a file's name: entities in their order, a suffix and an ending."""

    entities: tuple  # of pairs
    suffix: str
    ending: str

    @staticmethod
    def parse(name):
        """The parts, or None where the name is no volume's in a dataset."""
        ending = next((ending for ending in ENDINGS if name.endswith(ending)), None)
        if ending is None:
            return None
        *entities, suffix = name[: -len(ending)].split("_")
        pairs = [re.fullmatch(r"([a-zA-Z]+)-([a-zA-Z0-9+]+)", entity) for entity in entities]
        if not pairs or not all(pairs) or pairs[0][1] != "sub":
            return None
        return BidsName(tuple(pair.groups() for pair in pairs), suffix, ending)

    def __getitem__(self, entity):
        return dict(self.entities).get(entity)

    def without(self, *entities):
        return {key: value for key, value in self.entities if key not in entities}

    def derived(self):
        """What the normalised scan is called."""
        return "_".join(f"{key}-{value}" for key, value in self.entities if key != "desc") + f"_desc-tonalign_{self.suffix}"


def is_dataset(folder):
    return os.path.isfile(os.path.join(folder, DESCRIPTION))


def is_mask(name):
    return name.suffix == "mask" and name["desc"] == "brain"


def mask_of(scan, masks):
    """Of the brain masks of a subject, pairs of a parsed name and a file, the one that belongs to a scan, or None.

    The one with the same entities comes first; then one that names fewer, as masks do that were made of several runs,
    but none of another session or space. Raises ValueError where several fit as well as each other.
    """
    wanted = scan.without("desc")
    fitting = [(name, file) for name, file in masks if name.without("desc").items() <= wanted.items()]
    fitting = [(name, file) for name, file in fitting if all(name[key] == scan[key] for key in ("ses", "space"))]
    most = max((len(name.entities) for name, _ in fitting), default=0)
    best = sorted(file for name, file in fitting if len(name.entities) == most)
    if len(best) > 1:
        raise ValueError(f"several masks fit, {best[0]} and {best[1]} among them; choose their folder with --masks")
    return best[0] if best else None


def write_json(file, content):
    """Whole or not at all."""
    unfinished = Path(f"{file}.unfinished")
    unfinished.write_text(json.dumps(content, indent=2) + "\n", encoding="utf-8")
    unfinished.replace(file)


def describe_dataset(output, source, suffix, version):
    """Makes a folder a derivative of the dataset `source`."""
    name = json.loads(Path(source, DESCRIPTION).read_text(encoding="utf-8")).get("Name", os.path.basename(source))
    link = Path(source).absolute().as_uri()
    write_json(
        Path(output, DESCRIPTION),
        {
            "Name": f"{name}: {suffix} with one histogram",
            "BIDSVersion": VERSION,
            "DatasetType": "derivative",
            "GeneratedBy": [{"Name": "tonalign-study", "Version": version}],
            "SourceDatasets": [{"URL": link}],
            "DatasetLinks": {"source": link},
        },
    )
    Path(output, ".bidsignore").write_text(NOT_BIDS, encoding="ascii")
    Path(output, "README").write_text(
        f"Scans of {name}, given one histogram exactly by tonalign. report.html shows each of them and says which ones\n"
        "not to trust; group_target.json says which scans made the target. The JSON file beside a scan says how it was\n"
        "made. Intensities are those of the target; voxels outside the brain mask are 0.\n",
        encoding="utf-8",
    )

#!/usr/bin/python3
# SPDX-License-Identifier: BSD-3-Clause
"""misfits.py FOLDER [SEED]: which of ten misfits among twelve sound heads, and of forty sound heads, a study flags.

Makes the heads of Debian's mricron-data, at 3 mm, in FOLDER/misfits and FOLDER/sound, and runs tonalign-study, found by
PATH, on both. Needs python3-scipy besides.
"""

import json
import subprocess
import sys
from pathlib import Path

import nibabel
import numpy
from scipy import ndimage

TEMPLATES = "/usr/share/mricron/templates"
STEP = 3


def template(name, step=STEP):
    return nibabel.load(f"{TEMPLATES}/{name}.nii.gz").get_fdata()[::step, ::step, ::step]


def field(random, shape):
    """Smooth, around 1: a coil."""
    axes = numpy.meshgrid(*(numpy.linspace(-1, 1, n) for n in shape), indexing="ij")
    values = sum(random.normal() * axis + random.normal() * axis**2 for axis in axes)
    values -= values.mean()
    return 1 + 0.08 * values / abs(values).max()


def sound_head(random, head):
    """Another size, contrast, coil, gain and noise."""
    matrix = numpy.eye(3) + random.normal(0, 0.02, (3, 3))
    centre = (numpy.array(head.shape) - 1) / 2
    values = ndimage.affine_transform(head, matrix, centre - matrix @ centre, order=1)
    values = (values / head.max()) ** random.uniform(0.85, 1.15) * field(random, head.shape) * random.uniform(300, 1200)
    return numpy.where(values > 0, values + random.normal(0, 0.01 * values.max(), head.shape), 0).clip(0).round()


def misfits(random, head):
    values = sound_head(random, head)
    noise = abs(random.normal(0, 0.06 * values.max(), head.shape)) + 1
    yield "noisy-air", numpy.where(values < 0.05 * values.max(), noise, values)
    values = sound_head(random, head)
    yield "T2-contrast", numpy.where(values > 0.02 * values.max(), 1.05 * values.max() - values, 0)
    yield "macaque", template("inia19-t1-brain", 2)
    yield "noise", abs(random.normal(0, 100, head.shape))
    yield "shuffled", random.permutation(sound_head(random, head).ravel()).reshape(head.shape)
    values = sound_head(random, head)
    values[head.shape[0] // 2, 5, 5] = 10 * values.max()
    yield "hot-voxel", values
    values = sound_head(random, head)
    values[: head.shape[0] // 2] *= 1.5
    yield "one-side-bright", values
    values = sound_head(random, head)
    values[:, :, : 2 * head.shape[2] // 3] = 0
    yield "top-third", values
    values = sound_head(random, head)
    yield "ringing", values - 1.2 * ndimage.gaussian_laplace(values, 1.2)
    yield "labels", template("aal")


def save(folder, scans):
    folder.mkdir(parents=True, exist_ok=True)
    for name, values in scans:
        image = nibabel.Nifti1Image(values.astype("f4"), numpy.diag([STEP] * 3 + [1]))
        nibabel.save(image, folder / f"{name}.nii.gz")


def flagged(folder):
    subprocess.run(["tonalign-study", folder, f"{folder}-results"], stdout=subprocess.DEVNULL, check=True)
    return set(json.loads(Path(f"{folder}-results/group_target.json").read_text(encoding="utf-8"))["LeftOut"])


def main():
    folder, random = Path(sys.argv[1]), numpy.random.default_rng(int(sys.argv[2]) if len(sys.argv) > 2 else 1)
    head = template("ch2")
    bad = list(misfits(random, head))
    save(folder / "misfits", [*bad, *((f"sound-{n:02}", sound_head(random, head)) for n in range(1, 13))])
    save(folder / "sound", ((f"sound-{n:02}", sound_head(random, head)) for n in range(1, 41)))
    found, names = flagged(folder / "misfits"), {name for name, _ in bad}
    print(f"misfits flagged: {len(found & names)} of {len(names)}; missed: {', '.join(sorted(names - found)) or 'none'}")
    print(f"sound heads flagged: {len(found - names)} of 12 beside them, {len(flagged(folder / 'sound'))} of 40 among themselves")


if __name__ == "__main__":
    sys.exit(main() if len(sys.argv) > 1 else __doc__)

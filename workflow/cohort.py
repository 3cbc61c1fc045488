# SPDX-License-Identifier: BSD-3-Clause
"""Finds the scans of a cohort and tells what a run on one of them needs."""

import os
import sys
from pathlib import Path

HERE = Path(__file__).resolve().parent
sys.path[:0] = [str(HERE.parent / place) for place in ("tools/report", "report")]  # in the source tree, installed
from tonalign_report.pairs import HEADER_BYTES, byte_order, sizes
from tonalign_report.texts import CONTROL

RUN_BYTES_PER_VOXEL = 8 + 12 + 4  # the volume, its ranks, and some room
PROGRAM_MEGABYTES = 200


def header(base):
    """The name by which the programs take a scan: of a base name they would take off what looks like an extension."""
    return base + ".hdr"


def without_extension(name):
    """The base name of a pair, from itself or either of its files."""
    return name[:-4] if name.endswith((".hdr", ".img")) else name


def refuse(error):
    raise error


def scans_of_folder(folder, results):
    """The pairs in a folder and below; one file of a pair is enough, so that its other half is missed.

    A folder that cannot be read may hold scans, so it is an error; one that is a link is not entered.
    """
    bases = {}
    for top, folders, names in os.walk(folder, onerror=refuse):
        folders[:] = [name for name in folders if os.path.realpath(os.path.join(top, name)) != results]
        for name in names:
            if name.endswith((".hdr", ".img")) and not name.startswith("."):
                base = without_extension(os.path.join(top, name))
                bases[os.path.relpath(base, folder)] = base
    return bases


def scans_of_list(file):
    """The scans that a text file names, by the last part of their names."""
    bases = {}
    for line in Path(file).read_text(encoding="utf-8").splitlines():
        if not line.strip():
            continue
        base = without_extension(line.strip())
        key = os.path.basename(base)
        if key in bases:
            raise ValueError(f"{file}: two scans are called {key}, and their results would have the same names")
        bases[key] = base
    return bases


def find_scans(source, results):
    """Scans in the order of their keys: what their results are called, and the base name of the pair.

    The folder of the results may lie in that of the scans; what is in it is no scan. Raises ValueError when there is
    nothing to run on, or names that the workflow cannot take, and OSError for what cannot be read.
    """
    if os.path.isdir(source):
        bases = scans_of_folder(source, os.path.realpath(results))
    elif os.path.isfile(source):
        bases = scans_of_list(source)
    else:
        raise ValueError(f"{source}: neither a folder of scans nor a list of them")
    if not bases:
        raise ValueError(f"{source}: no scan found")
    for base in bases.values():
        if CONTROL.search(base) or any(character in base for character in "\n{}"):
            raise ValueError(f"{base!r}: only names in UTF-8 without control characters and braces are supported")
    return dict(sorted(bases.items()))


def readable_files(base):
    """Those files of a pair that can be read: tonalign tells what is wrong with the other, where the scheduler,
    which reads small inputs itself, would end the whole run."""
    names = (base + extension for extension in (".hdr", ".img"))
    return [name for name in names if os.path.isfile(name) and os.access(name, os.R_OK)]


def megabytes(base):
    """The memory of a run on this scan, as its header promises; a header that says nothing costs little.

    A voxel has at least a byte in the image: what a damaged header asks for beyond that, no cluster could grant.
    """
    try:
        if not os.path.isfile(header(base)):
            return PROGRAM_MEGABYTES  # a pipe would be waited for
        record = Path(header(base)).read_bytes()[:HEADER_BYTES]
        order = byte_order(record) if len(record) == HEADER_BYTES else None
        nx, ny, nz = sizes(record, order) if order else (0, 0, 0)
        voxels = min(max(nx, 0) * max(ny, 0) * max(nz, 0), os.path.getsize(base + ".img"))
    except OSError:
        voxels = 0
    return PROGRAM_MEGABYTES + voxels * RUN_BYTES_PER_VOXEL // 2**20

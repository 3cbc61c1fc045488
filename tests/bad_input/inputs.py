# SPDX-License-Identifier: BSD-3-Clause
"""Makers of the bad inputs, by the keys of the table in docs/RELIABILITY.md.

A maker is called in a fresh folder that holds the good volumes `scan` and `target`, `plain` (the same as `scan`) and
the target histogram `good.hist`. It makes the inputs of its row one after the other, mostly of the name `bad`, and
yields attempts with each.
"""

import os
import struct
from math import inf, nan
from pathlib import Path

from attempts import Attempt, as_input, in_every_place, usage1, usage2
from make_inputs import CODES, FREQUENCIES, SCAN, header, pair

DIMS = (4, 3, 2)
RECORD = header(DIMS, "B")
VOXELS = bytes(SCAN)
DATATYPES = (-1, 0, 1, 2, 4, 8, 16, 32, 64, 128, 130, 132, 255, 256, 512, 768, 1024, 32767)
BITPIXES = (-8, 0, 1, 7, 8, 9, 16, 24, 32, 33, 64, 128, 32767)
ABSENT, FOLDER, PIPE = object(), object(), object()


def place(name, content):
    """A file of these bytes or this text, or what the path names by a link, or a folder, a pipe, or nothing."""
    path = Path(name)
    if path.is_dir() and not path.is_symlink():
        path.rmdir()
    path.unlink(missing_ok=True)
    if content is FOLDER:
        path.mkdir()
    elif content is PIPE:
        os.mkfifo(path)
    elif isinstance(content, Path):
        path.symlink_to(content)
    elif content is not ABSENT:
        content = content() if callable(content) else content
        path.write_bytes(content if isinstance(content, bytes) else content.encode())


def volume(*files):
    """Pairs of what is placed as header and as image."""
    def maker():
        for record, image in files:
            place("bad.hdr", record)
            place("bad.img", image)
            yield from in_every_place()
    return maker


def records(*contents):
    return volume(*((content, VOXELS) for content in contents))


def histogram(*contents, bins=8):
    def maker():
        for content in contents:
            place("bad.hist", content)
            yield Attempt(usage2("scan", "bad.hist", bins), usage2("scan", "good.hist", bins), "bad.hist")
    return maker


def doubles(voxels, *argument_lists):
    """A volume of doubles, and runs that refuse it."""
    def maker():
        pair("bad", DIMS, "d", voxels)
        yield from map(Attempt, argument_lists)
    return maker


def same(volumes, plain_kind="d", places=in_every_place):
    """Volumes (sizes, element kind, voxels, settings of pair) whose plain form is of another element kind."""
    def maker():
        for dims, kind, voxels, settings in volumes:
            pair("bad", dims, kind, voxels, **settings)
            pair("plain", dims, plain_kind, voxels)
            yield from places()
    return maker


def fields(offset, form, *values):
    """The good header with each of the values at an offset."""
    return [RECORD[:offset] + struct.pack(form, v) + RECORD[offset + struct.calcsize(form):] for v in values]


def dim(number, *sizes):
    return fields(40 + 2 * number, "<h", *sizes)


def every_way(*all_dims):
    """Volumes of these sizes along the three axes in turn."""
    turned = (dims[turn:] + dims[:turn] for dims in all_dims for turn in range(3))
    return [(dims, "B", [j * j % 251 for j in range(dims[0] * dims[1] * dims[2])], {}) for dims in turned]


def other_types():
    """All pairs of codes that are not recognised."""
    known = {(d, b) for datatype, b in CODES.values() for d in DATATYPES if b in (8, 64) or d == datatype}
    codes = ((d, b) for d in DATATYPES for b in BITPIXES if (d, b) not in known)
    return [(DIMS, "d", SCAN, {"codes": c}) for c in codes]


def lines(frequencies=FREQUENCIES, end="\n", point="."):
    return "".join(f"{10 * i}{point}5\t{v}{end}" for i, v in enumerate(frequencies))


def with_frequency(value, place_of=4):
    return lines([*FREQUENCIES[:place_of], value, *FREQUENCIES[place_of + 1:]])


TOO_WIDE = [-1e308, 1e308] * 12

MAKERS = {
    "header-missing": records(ABSENT),
    "header-folder": records(FOLDER),
    "header-pipe": records(PIPE),
    "header-short": records(b"", RECORD[:1]),
    "header-no-type": records(RECORD[:3], RECORD[:40], RECORD[:72]),
    "header-347": records(RECORD[:347]),
    "header-349": records(RECORD + b"\1"),
    "size-of-header": records(*fields(0, "<i", 0, -1, 347, 349, 0x5C010001)),
    "foreign": same((DIMS, kind, SCAN, {"order": ">"}) for kind in CODES),
    "x-below-1": records(*dim(1, 0, -1, -32768), header((-4, -3, -2), "B"), header((0, 0, 0), "B")),
    "y-below-1": records(*dim(2, 0, -1, -32768), header((4, 0, -2), "B")),
    "z-below-1": records(*dim(3, 0, -1, -32768)),
    "axis-too-long": records(*dim(1, 5, 32767), *dim(2, 4, 32767), *dim(3, 3, 32767), header((32767,) * 3, "d")),
    "axis-1": same(every_way((1, 3, 2), (1, 1, 5), (1, 1, 2))),
    "type-other": same(other_types(), places=lambda: [as_input()]),
    "image-missing": volume((RECORD, ABSENT), (header(DIMS, "B", codes=(128, 24)), ABSENT)),
    "image-empty": volume((RECORD, b"")),
    "image-longer": volume((RECORD, VOXELS + b"\xff" * 5)),
    "image-special": volume((RECORD, FOLDER), (RECORD, Path("/dev/null")), (RECORD, PIPE)),
    "voxel-nan": same((DIMS, kind, SCAN[:6] + [nan] + SCAN[7:], {}) for kind in "fd"),
    "voxels-not-finite": same((DIMS, kind, [-inf] + SCAN[1:22] + [nan, inf], {}) for kind in "fd"),
    "voxels-equal": doubles([7] * 24, usage2("bad"), *(
        arguments for stages in ("01", "10", "11")
        for arguments in (usage1("bad", "target", stages), usage1("target", "bad", stages)))),
    "voxels-equal-both": doubles([7] * 24, usage1("bad", "bad", "00")),
    "voxels-1e306-endpoints": doubles([v * 2.0**1010 for v in SCAN], usage1("bad", "bad", "10"),
                                      usage1("bad", "bad", "11")),
    "voxels-wide": doubles(TOO_WIDE, usage2("bad"), usage1("bad", "target"), usage1("target", "bad")),
    "histogram-missing": histogram(ABSENT, Path("nowhere")),
    "histogram-folder": histogram(FOLDER),
    "histogram-binary": histogram(bytes(range(256)), b"\0" * 99, struct.pack("<16d", *range(16))),
    "histogram-text": histogram("bin\tfrequency\n" + lines(), "\ufeff" + lines(), lines(point=","), "0x" + lines()),
    "histogram-late-text": histogram(*map(with_frequency, ["four", "inf", "-inf", "nan", "1e999"])),
    "histogram-negative": histogram(with_frequency("-1e-09")),
    "histogram-zeros": histogram(lines([5] + [0] * 7)),
    "histogram-overflow": histogram(lines([0, 1e308, 1e308, 1e308, 0, 0, 0, 0])),
    "histogram-cut": histogram(lines(FREQUENCIES[:7]) + "75.5", lines(FREQUENCIES[:7]) + "75.5\t\n"),
    "histogram-few": histogram(lines(), bins=1000),
    "histogram-windows": histogram(lines(end="\r\n"), lines(end="\r")),
    "name-too-long": lambda: in_every_place("d" * 300),
}

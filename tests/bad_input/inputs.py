# SPDX-License-Identifier: BSD-3-Clause
"""The bad inputs, by the keys of the table in docs/RELIABILITY.md.

A key has a list of files to make beside the GOOD ones, mostly of the name `bad`, each with the attempts to make then.
"""

import os
import struct
from math import inf, nan
from pathlib import Path
from typing import NamedTuple

from make_inputs import CODES, FREQUENCIES, SCAN, TARGET, header

DIMS = (4, 3, 2)
RECORD = header(DIMS, "B")
VOXELS = bytes(SCAN)
ALL_CODES = [(d, b) for d in (-1, 0, 1, 2, 4, 8, 16, 64, 128, 32767) for b in (-8, 0, 1, 8, 16, 24, 32, 33, 64, 128)]
LONG = (SCAN * 1366)[:32767]
KINDS = {(d, b): kind for kind, (own, b) in CODES.items() for d, _ in ALL_CODES if b in (8, 64) or d == own}


class Attempt(NamedTuple):
    """Arguments of a run. A run that goes through must leave what `plain`, the same in ordinary form, leaves."""

    arguments: list
    plain: list = None
    name: str = "bad"
    compared: str = ""  # the ending of those outputs that are compared; empty: all


def usage1(source, target, stages="01", out="out"):
    histograms = [f"{out}/{name}.hist" for name in ("1", "2", "1t", "2t")]
    return [source, target, f"{out}/1", f"{out}/2", "8", "0", *stages, *histograms]


def usage2(source, target="good.hist", bins=8, out="out"):
    return [source, target, f"{out}/1", str(bins), f"{out}/1.hist", f"{out}/1t.hist"]


def everywhere(name="bad"):
    """As input of either run form, and as target."""
    return [Attempt(usage2(name), usage2("plain"), name),
            Attempt(usage1(name, "target"), usage1("plain", "target"), name),
            Attempt(usage1("target", name), usage1("target", "plain"), name)]


def linked(target):
    return lambda path: path.symlink_to(Path(target).resolve())


def volume(*files):
    """Pairs of what is placed as header and as image, or good images of what is placed as header."""
    pairs = (file if isinstance(file, tuple) else (file, VOXELS) for file in files)
    return [({"bad.hdr": record, "bad.img": image}, everywhere()) for record, image in pairs]


def dim(number, *sizes):
    return [RECORD[: 40 + 2 * number] + struct.pack("<h", size) + RECORD[42 + 2 * number :] for size in sizes]


def pair(kind, voxels, name="bad", dims=DIMS, codes=None):
    image = struct.pack(f"<{len(voxels)}{kind}", *voxels)
    return {f"{name}.hdr": header(dims, kind, codes=codes), f"{name}.img": image}


def doubles(voxels, *argument_lists):
    return [(pair("d", voxels), map(Attempt, argument_lists))]


def scaled(kind, factor, stages=("00", "01"), voxels=tuple(SCAN)):
    """Voxels times a power of two: only the centres in the histogram files show it."""
    runs = [(usage2("bad"), usage2("plain")), *((usage1(n, n, s) for n in ("bad", "plain")) for s in stages)]
    return [(pair(kind, [v * factor for v in voxels]) | pair("B", voxels, "plain"),
             [Attempt(bad, plain, compared=".img") for bad, plain in runs])]


def lines(frequencies=FREQUENCIES, end="\n", point="."):
    return "".join(f"{10 * i}{point}5\t{v}{end}" for i, v in enumerate(frequencies))


def with_frequency(value, place_of=4):
    return lines([*FREQUENCIES[:place_of], value, *FREQUENCIES[place_of + 1:]])


def histogram(*contents, bins=8):
    return [({"bad.hist": content}, [Attempt(usage2("scan", "bad.hist", bins), usage2("scan"), "bad.hist")])
            for content in contents]


def named(name):
    """Good input, target and target histogram of one name, and the outputs in a folder of that name."""
    out = name + " "
    runs = (usage2(name, name, out=out), usage2("scan")), (usage1(name, name, out=out), usage1("scan", "scan"))
    return pair("B", SCAN, name) | {name: lines(), out: linked("out")}, [Attempt(*run) for run in runs]


GOOD = pair("B", SCAN, "scan") | pair("B", SCAN, "plain") | pair("B", SCAN) | {"good.hist": lines()}
GOOD |= pair("h", TARGET, "target", (3, 3, 2))
INPUTS = {
    "header-missing": [({}, everywhere(name)) for name in ("gone", "", "d" * 300, "scan.IMG", "scan.im", "scanimg")],
    "header-pipe": volume(os.mkfifo),
    "header-short": volume(Path.mkdir, b"", RECORD[:1]),
    "header-cut": volume(RECORD[:100], RECORD[:347]),
    "size-of-header": volume(*(struct.pack("<i", n) + RECORD[4:] for n in (0, 1, -1, 347, 349, 0x5C010001))),
    "x-below-1": volume(*dim(1, 0, -1, -32768), header((-4, -3, -2), "B")),
    "y-below-1": volume(*dim(2, 0, -1, -32768), header((4, 0, -2), "B")),
    "z-below-1": volume(*dim(3, 0, -1, -32768)),
    "axis-too-long": volume(*dim(1, 5, 32767), *dim(2, 4, 32767), *dim(3, 3, 32767), header((32767,) * 3, "d")),
    "axis-long": [(pair("B", LONG, "bad", dims) | pair("d", LONG, "plain", dims), everywhere())
                  for dims in ((32767, 1, 1), (1, 32767, 1), (1, 1, 32767))],
    "dim-unused": volume(*(record for number in (0, 4, 5, 6, 7) for record in dim(number, 0, -1, 2, 32767))),
    "type-recognised": [(pair(KINDS[c], SCAN, codes=c), everywhere()) for c in ALL_CODES if c in KINDS],
    "type-other": [(pair("d", SCAN, codes=c), everywhere()) for c in ALL_CODES if c not in KINDS],
    "image-missing": volume((RECORD, None), (header(DIMS, "B", codes=(128, 24)), None)),
    "image-short": volume((RECORD, VOXELS[:23])),
    "image-longer": volume((RECORD, VOXELS + b"\xff" * 5), (RECORD + b"\1", VOXELS)),
    "image-special": volume((RECORD, Path.mkdir), (RECORD, linked("/dev/null")), (RECORD, os.mkfifo)),
    "voxel-nan": [(pair(kind, SCAN[:6] + [nan] + SCAN[7:]), everywhere()) for kind in "fd"],
    "voxels-not-finite": [(pair(kind, [-inf] + SCAN[1:22] + [nan, inf]), everywhere()) for kind in "fd"],
    "voxels-equal": doubles([7] * 24, usage2("bad"), usage1("bad", "target", "10"), usage1("target", "bad", "11")),
    "voxels-equal-both": doubles([7] * 24, usage1("bad", "bad", "00")),
    "voxels-denormal": scaled("f", 2.0**-149, ("00", "01", "10", "11")),
    "voxels-denormal-double": doubles([v * 2.0**-1074 for v in SCAN], usage2("bad")),
    "voxels-1e306-endpoints": doubles([v * 2.0**1010 for v in SCAN], usage1("bad", "bad", "10")),
    "voxels-1e306-both": doubles([v * 2.0**1010 for v in SCAN], usage1("bad", "bad", "11")),
    "voxels-1e308": scaled("d", 2.0**1019, voxels=[j * 7 % 24 for j in range(24)]),
    "voxels-wide": doubles([-1e308, 1e308] * 12, usage2("bad"), usage1("bad", "target"), usage1("target", "bad")),
    "histogram-missing": histogram(None, linked("nowhere")),
    "histogram-folder": histogram(Path.mkdir),
    "histogram-text": histogram("bin" + lines(), "\ufeff" + lines(), lines(point=","), "0x" + lines(), bytes(range(256))),
    "histogram-late-text": histogram(*map(with_frequency, ["four", "inf", "-inf", "nan", "1e999"])),
    "histogram-negative": histogram(with_frequency("-1e-09")),
    "histogram-zeros": histogram(lines([5] + [0] * 7)),
    "histogram-overflow": histogram(lines([0, 1e308, 1e308, 1e308, 0, 0, 0, 0])),
    "histogram-cut": histogram(lines(FREQUENCIES[:7]) + "75.5", lines(FREQUENCIES[:7]) + "75.5\t\n"),
    "histogram-few": histogram(lines(), bins=1_000_000_000),
    "histogram-lines": histogram(lines(end="\r\n"), lines(end="\r"), lines().rstrip()),
    "names": [named(name) for name in ("a", "scan", ".img", ".hdr", "/".join(letter * 99 for letter in "abc"),
                                       "two  blanks", " ", "-scan", "--", "Schädel ἐγκέφαλος", "\udcff", "a\tb\nc")],
}

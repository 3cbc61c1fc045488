#!/usr/bin/env python3
# SPDX-License-Identifier: BSD-3-Clause
"""Writes the inputs of the command-line cases into the current folder: volumes of a few voxels, so that a case's output
can be worked out by hand, a target histogram, and an empty folder `out`."""

import struct
from pathlib import Path

# datatype and bitpix of each element type, by its struct format
CODES = {"B": (2, 8), "h": (4, 16), "i": (8, 32), "f": (16, 32), "d": (64, 64)}
# 4 x 3 x 2: a background of 0, several ties, one brightest voxel
SCAN = [0, 0, 10, 20, 0, 30, 30, 40, 10, 50, 30, 20, 0, 60, 10, 0, 20, 30, 100, 40, 0, 50, 10, 0]
# 3 x 3 x 2: another size, another range, below zero too
TARGET = [-5, -5, 0, 12, 35, 35, 60, 80, 80, 80, 110, 140, 200, 200, 220, 260, 300, -5]
# 20 x 20 x 20: 8000 voxels of many ties, and an outlier at each end that is less than 0.02 % of them
CUBE = [(7 * x * y + 11 * y * z + 5 * z * x) % 97 + 100 for z in range(20) for y in range(20) for x in range(20)]
CUBE[4321], CUBE[1234] = 400, 0
# bin 1 holds the background, bins 3 and 6 are empty
FREQUENCIES = [40, 2, 0, 4, 5, 0, 2, 3]


def header(dims, kind, order="<", spacing=(1.5, 0.75, 2.25), codes=None):
    """A header record with something in every field, so that a lost or a moved one shows."""
    record = struct.pack(order + "i10s18sih2c", 348, b"dsr", b"cli case", 16384, 11, b"r", b"0")
    record += struct.pack(order + "8h4s8s4h", 4, *dims, 1, 5, 6, 7, b"cm*#", b"cal", 21, *(codes or CODES[kind]), 22)
    record += struct.pack(order + "8f", 0.5, *spacing, 4.5, 5.5, 6.5, 7.5)
    record += struct.pack(order + "6f4i", 8.5, 9.5, 10.5, 11.5, 12.5, 13.5, 31, 32, 33, 34)
    record += struct.pack("80s24sc10s10s10s10s10s10s3s", b"a head", b"aux", b"\2", b"origin", b"gen", b"scan 7", b"anon",
                          b"date", b"time", b"un0")
    return record + struct.pack(order + "8i", *range(41, 49))


def pair(name, dims, kind, voxels, order="<", **fields):
    Path(name + ".hdr").write_bytes(header(dims, kind, order, **fields))
    Path(name + ".img").write_bytes(struct.pack(f"{order}{len(voxels)}{kind}", *voxels))


if __name__ == "__main__":
    pair("scan", (4, 3, 2), "B", SCAN)
    pair("target", (3, 3, 2), "h", TARGET, spacing=(1, 1, 3.3))
    pair("target-big", (3, 3, 2), "h", TARGET, ">", spacing=(1, 1, 3.3))
    pair("cube", (20, 20, 20), "h", CUBE)
    Path("good.hist").write_text("".join(f"{10 * i}.5\t{f}\n" for i, f in enumerate(FREQUENCIES)), encoding="ascii")
    Path("out").mkdir()

# SPDX-License-Identifier: BSD-3-Clause
"""Image pairs by the tool's own rules, for everything in Python that needs them; by the standard library alone."""

import pathlib
import struct

HEADER_BYTES = 348
SIZES_OFFSET, TYPE_OFFSET = 42, 70  # int16 each: the sizes along x, y, z; datatype and bitpix


def base_name(name):
    """The name without what the tool takes for an ending."""
    return name[:-4] if len(name) > 4 and name[-4:-1] in (".im", ".hd") else name


def pair_files(folder, name):
    base = base_name(name)
    return pathlib.Path(folder, base + ".hdr"), pathlib.Path(folder, base + ".img")


def byte_order(record):
    """"<" or ">", or None for what is no header."""
    for order in "<>":
        if len(record) >= 4 and struct.unpack_from(order + "i", record)[0] == HEADER_BYTES:
            return order
    return None


def sizes(record, order):
    return struct.unpack_from(order + "3h", record, SIZES_OFFSET)


def type_codes(record, order):
    """datatype and bitpix."""
    return struct.unpack_from(order + "2h", record, TYPE_OFFSET)

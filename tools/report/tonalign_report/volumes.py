# SPDX-License-Identifier: BSD-3-Clause
"""Analyze pairs as tonalign reads them: the voxels as they are stored, whatever scale the header may name.

A volume is read in slabs of whole slices, twice, so that one of any size takes little memory. Volumes of tonalign-nifti
are read whole, by nibabel.
"""

import dataclasses
import os
import zlib

import nibabel
import numpy

from .pairs import HEADER_BYTES, base_name, byte_order, pair_files
from .regular_file import open_regular

NIFTI_PAIR = b"ni1\0"
SLAB_VOXELS = 1 << 20
GREY_LEVELS_COUNTED = 1 << 16
SAMPLE_VOXELS = 1 << 18  # what the display window is taken from

# As tonalign decides: the bits choose, the code is asked only where it is given here.
ELEMENT_TYPES = {(8, None): "u1", (16, 4): "i2", (32, 8): "i4", (32, 16): "f4", (64, None): "f8"}


class BadVolume(Exception):
    """A pair that cannot be read; the text names the file and says why."""


@dataclasses.dataclass
class Header:
    """A header record and the byte order it is in."""

    fields: nibabel.AnalyzeHeader
    magic: bytes
    held: int  # bytes that the file has of the record

    def __getitem__(self, name):
        return self.fields[name].item()

    def sizes(self):
        return tuple(int(n) for n in self.fields["dim"][1:4])

    def voxel_sizes(self):
        """Along x, y and z; where the header has none that makes sense, 1, which draws voxels as squares."""
        sizes = [abs(float(size)) for size in self.fields["pixdim"][1:4]]
        return tuple(size if 0 < size < float("inf") else 1.0 for size in sizes)

    def element_type(self):
        """Of the stored voxels, or None."""
        bits, code = self["bitpix"], self["datatype"]
        name = ELEMENT_TYPES.get((bits, None)) or ELEMENT_TYPES.get((bits, code))
        return name and numpy.dtype(self.fields.endianness + name)


@dataclasses.dataclass
class Volume:
    """What the page tells about a pair."""

    header: Header
    minimum: float
    maximum: float
    at_maximum: float  # share of all voxels
    in_background: float  # share of all voxels, in the lowest bin of the volume's own range
    levels: int  # distinct values, counted up to GREY_LEVELS_COUNTED
    bright: float  # the value that only one voxel in a thousand passes
    slices: dict  # of each plane the middle slice: rows from the lowest index on


def read_header(path, shown):
    try:
        with open_regular(path) as file:
            record = file.read(HEADER_BYTES)
    except OSError as error:
        raise BadVolume(f"{shown}: {error.strerror}") from error
    held = len(record)
    record = record.ljust(HEADER_BYTES, b"\0")  # as tonalign does with a header that is too short
    order = byte_order(record)
    if order is None:
        raise BadVolume(f"{shown}: not an Analyze header, its size is 348 in neither byte order")
    # Unchecked: nibabel refuses codes that tonalign never looks at.
    return Header(nibabel.AnalyzeHeader(record, order, check=False), record[344:348], held)


def slabs(file, shown, dtype, sizes):
    """The voxels as arrays [z][y][x] of a few whole slices, each with the index of its first slice."""
    nx, ny, nz = sizes
    slices = max(1, SLAB_VOXELS // (nx * ny))
    # Before memory is taken: a damaged header can ask for more than the disk holds.
    held, needed = os.fstat(file.fileno()).st_size, nx * ny * nz * dtype.itemsize
    if held < needed:
        raise BadVolume(f"{shown}: the image file holds {held} bytes, but its header needs {needed}")
    file.seek(0)
    for first in range(0, nz, slices):
        count = min(slices, nz - first)
        content = file.read(count * nx * ny * dtype.itemsize)
        if len(content) != count * nx * ny * dtype.itemsize:
            raise BadVolume(f"{shown}: the image file cannot be read beyond byte {file.tell()} of {needed}")
        yield first, numpy.frombuffer(content, dtype).reshape(count, ny, nx)


class Survey:
    """What one pass over the slabs finds out."""

    def __init__(self, dtype, sizes):
        self.nx, self.ny, self.nz = sizes
        self.minimum, self.maximum, self.at_maximum = None, None, 0
        self.levels = numpy.empty(0, dtype.newbyteorder("="))
        self.samples = []
        self.step = max(1, self.nx * self.ny * self.nz // SAMPLE_VOXELS)
        self.xy, self.xz, self.yz = None, [], []

    def add(self, first, slab):
        low, high = slab.min(), slab.max()
        if self.minimum is None or low < self.minimum:
            self.minimum = low
        if self.maximum is None or high > self.maximum:
            self.maximum, self.at_maximum = high, 0
        if high == self.maximum:
            self.at_maximum += numpy.count_nonzero(slab == high)
        if len(self.levels) < GREY_LEVELS_COUNTED:
            found = numpy.union1d(self.levels, numpy.unique(slab))
            self.levels = found[:GREY_LEVELS_COUNTED]
        self.samples.append(slab.reshape(-1)[:: self.step].astype("f8"))
        middle = self.nz // 2 - first
        if 0 <= middle < len(slab):
            self.xy = slab[middle].astype("f8")
        self.xz.append(slab[:, self.ny // 2, :].astype("f8"))
        self.yz.append(slab[:, :, self.nx // 2].astype("f8"))

    def slices(self):
        return {"xy": self.xy, "xz": numpy.concatenate(self.xz), "yz": numpy.concatenate(self.yz)}


def in_lowest_bin(slab, minimum, maximum, bins):
    """How many voxels the tool counts into bin 1: those up to one bin above the minimum."""
    width = (maximum - minimum) / bins
    if width <= 0:
        return slab.size
    return numpy.count_nonzero(numpy.ceil((slab.astype("f8") - minimum) / width) <= 1)


def read_volume(folder, name, bins):
    """Both files of a pair."""
    header_path, image_path = pair_files(folder, name)
    base = base_name(name)
    header = read_header(header_path, base + ".hdr")
    sizes, dtype = header.sizes(), header.element_type()
    if min(sizes) < 1:
        raise BadVolume(f"{base}.hdr: its sizes are {' x '.join(map(str, sizes))}")
    if dtype is None:
        raise BadVolume(f"{base}.hdr: datatype {header['datatype']} of {header['bitpix']} bits is unknown")
    survey, background = Survey(dtype, sizes), 0
    try:
        with open_regular(image_path) as file:
            for first, slab in slabs(file, base + ".img", dtype, sizes):
                if slab.dtype.kind == "f" and not numpy.isfinite(slab).all():
                    raise BadVolume(f"{base}.img: some voxels are not finite numbers")
                survey.add(first, slab)
            low, high = float(survey.minimum), float(survey.maximum)
            for _, slab in slabs(file, base + ".img", dtype, sizes):
                background += in_lowest_bin(slab, low, high, bins)
    except OSError as error:
        raise BadVolume(f"{base}.img: {error.strerror}") from error
    voxels = sizes[0] * sizes[1] * sizes[2]
    return Volume(
        header=header,
        minimum=low,
        maximum=high,
        at_maximum=survey.at_maximum / voxels,
        in_background=background / voxels,
        levels=len(survey.levels),
        bright=float(numpy.percentile(numpy.concatenate(survey.samples), 99.9)),
        slices=survey.slices(),
    )


def pair_voxels(folder, name, volume):
    """The voxels of a pair that has been read, [x][y][z], as a map of its file."""
    _, image_path = pair_files(folder, name)
    sizes, dtype = volume.header.sizes(), volume.header.element_type()
    try:
        return numpy.memmap(image_path, dtype, "r", shape=sizes, order="F")
    except (OSError, ValueError) as error:
        raise BadVolume(f"{base_name(name)}.img: {error}") from error


@dataclasses.dataclass
class ImageHeader:
    """What the page tells of an image that nibabel has read."""

    image: object

    def sizes(self):
        return tuple(int(n) for n in self.image.shape[:3])

    def voxel_sizes(self):
        return tuple(float(size) for size in self.image.header.get_zooms()[:3])

    def element_type(self):
        return self.image.get_data_dtype()


def open_image(folder, name, chosen=None):
    """An image and its voxels, [x][y][z]."""
    try:
        image = nibabel.load(os.path.join(folder, name))
        if chosen is not None:
            image = image.slicer[..., chosen]
        return image, numpy.asanyarray(image.dataobj).reshape(image.shape[:3], order="F")
    except (OSError, EOFError, ValueError, TypeError, zlib.error, nibabel.filebasedimages.ImageFileError) as error:
        raise BadVolume(f"{name}: {getattr(error, 'strerror', None) or error}") from error


def read_image(folder, name, bins, background, chosen=None):
    """A volume of tonalign-nifti, of a 4-D file the chosen one, and its voxels.

    `background` is the background's share of the voxels; None has it counted, as without a mask.
    """
    image, voxels = open_image(folder, name, chosen)
    finite = voxels[numpy.isfinite(voxels)]  # outside a mask there may be anything
    if finite.size == 0:
        raise BadVolume(f"{name}: no voxel is a finite number")
    slab = numpy.where(numpy.isfinite(voxels), voxels, finite.min()).T
    survey = Survey(slab.dtype, image.shape[:3])
    survey.add(0, slab)
    if background is None:
        background = in_lowest_bin(slab, float(survey.minimum), float(survey.maximum), bins) / slab.size
    volume = Volume(
        header=ImageHeader(image),
        minimum=float(survey.minimum),
        maximum=float(survey.maximum),
        at_maximum=survey.at_maximum / slab.size,
        in_background=background,
        levels=len(survey.levels),
        bright=float(numpy.percentile(survey.samples[0], 99.9)),
        slices=survey.slices(),
    )
    return volume, voxels

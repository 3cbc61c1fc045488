# SPDX-License-Identifier: BSD-3-Clause
"""Takes volumes and masks from arrays, nibabel images and files, and gives results the form of their source."""

import os

import numpy

# The types that the library reads in place, and what holds the values of the others.
IN_PLACE = ("uint8", "int16", "int32", "float32", "float64")
CONVERTED = {
    "bool": "uint8",
    "int8": "int16",
    "uint16": "int32",
    "uint32": "float64",
    "int64": "float64",
    "uint64": "float64",
    "float16": "float32",
}
NAME = "volume"


class Volume:
    """One volume: its voxels, and the image that they come from.

    Attributes
    ----------
    array : numpy.ndarray
        Three axes; of one of the types that the library reads, aligned and in the machine's byte order. A view of what
        was given wherever that can be read as it is.
    image : nibabel image or None
    name : str
        For messages.
    """

    def __init__(self, source, name=NAME):
        self.image, self.name = None, name
        if isinstance(source, (str, os.PathLike)):
            self.name = os.fspath(source)
            source = load(self.name)
        if hasattr(source, "dataobj") and hasattr(source, "affine"):
            self.image = source
            if self.name == name and source.get_filename():
                self.name = source.get_filename()
            array = without_empty_axes(numpy.asanyarray(source.dataobj))
        else:
            array = numpy.asarray(source)
        self.array = readable(array, self.name)

    def like(self, result):
        """The result as the source was: an array, or an image with the source's header."""
        return result if self.image is None else image_like(self.image, result)


def load(name):
    """Opens a file with nibabel; an Analyze pair may be named without its endings."""
    try:
        import nibabel
    except ModuleNotFoundError as error:
        raise ModuleNotFoundError(f"{name}: files are read by nibabel, Debian's python3-nibabel: {error}") from None
    if not os.path.exists(name) and os.path.exists(f"{name}.hdr"):
        name = f"{name}.hdr"
    try:
        return nibabel.load(name)
    except nibabel.filebasedimages.ImageFileError as error:
        raise ValueError(f"{name}: {error}") from None


def without_empty_axes(array):
    """Without axes of length 1 behind the third, which many writers add for the time."""
    while array.ndim > 3 and array.shape[-1] == 1:
        array = array[..., 0]
    return array


def readable(array, name):
    """The voxels as the library reads them; a copy only where that cannot be helped."""
    if array.ndim == 4:
        raise ValueError(
            f"{name}: one volume is expected, but there are four axes, {array.shape}: choose a volume, array[..., 0] say"
        )
    if array.ndim != 3:
        raise ValueError(f"{name}: a volume of three axes is expected; found the shape {array.shape}")
    if array.size == 0:
        raise ValueError(f"{name}: a volume of at least one voxel is expected; found the shape {array.shape}")
    kind = array.dtype.newbyteorder("=").name
    if kind not in IN_PLACE and kind not in CONVERTED and array.dtype.kind != "f":
        raise ValueError(f"{name}: voxels that are real numbers are expected; found {array.dtype}")
    kind = kind if kind in IN_PLACE else CONVERTED.get(kind, "float64")
    in_place = array.dtype == numpy.dtype(kind) and array.dtype.isnative and array.flags.aligned
    contiguous = array.flags.c_contiguous or array.flags.f_contiguous
    if in_place and contiguous:
        return numpy.asarray(array)
    if array.dtype == numpy.bool_ and contiguous:
        return array.view("uint8")
    return numpy.asarray(array).astype(kind, order="C" if array.flags.c_contiguous else "F")


def mask_for(source, volume, name="mask"):
    """The mask of a volume as bytes in the volume's own layout, or None."""
    if source is None:
        return None
    mask = Volume(source, name)
    if mask.array.shape != volume.array.shape:
        raise ValueError(
            f"{mask.name}: the mask has the shape {mask.array.shape}, but {volume.name} has {volume.array.shape}"
        )
    if mask.image is not None and volume.image is not None:
        check_place(mask, volume)
    array = mask.array
    if array.dtype != numpy.uint8:
        array = (array != 0) & ~numpy.isnan(array) if array.dtype.kind == "f" else array != 0
        array = array.view("uint8")
    # Axes of length 1 have any stride: where the layouts differ in those alone, an array is both.
    wanted = [stride // volume.array.itemsize for stride in volume.array.strides]
    if list(array.strides) != wanted:
        laid_out = numpy.lib.stride_tricks.as_strided(numpy.empty(array.size, "uint8"), array.shape, wanted)
        laid_out[...] = array
        array = laid_out
    return array


def check_place(mask, volume):
    """The mask must lie where the volume does: no corner further away than a tenth of the smallest voxel size."""
    corners = numpy.array(numpy.meshgrid(*((0, n - 1) for n in volume.array.shape))).reshape(3, -1)
    corners = numpy.vstack([corners, numpy.ones(corners.shape[1])])
    affines = (numpy.asarray(mask.image.affine, float), numpy.asarray(volume.image.affine, float))
    distance = numpy.abs((affines[0] - affines[1]) @ corners).max()
    voxel = numpy.linalg.norm(affines[1][:3, :3], axis=0).min()
    if not distance <= 0.1 * voxel:
        raise ValueError(
            f"{mask.name}: the mask lies elsewhere than {volume.name}: their corners are up to {distance:.3g} mm apart;"
            " resample it first"
        )


def image_like(image, result):
    """An image of the result: the place, the units and the texts of `image`, 32-bit floats without a scale factor."""
    import nibabel

    from tonalign import __version__

    header = image.header.copy()
    header.set_data_dtype(numpy.float32)
    result = result.reshape(image.shape, order="F")
    if not isinstance(header, nibabel.Nifti1Header):
        # With an affine, the classes of Analyze files may turn the first axis round.
        affine = None if isinstance(image, nibabel.AnalyzeImage) else image.affine
        return type(image)(result, affine, header)
    header["cal_max"] = header["cal_min"] = 0
    header["descrip"] = f"tonalign {__version__}".encode()
    # Without an affine the header keeps its qform and sform to the byte; the image still knows where it lies.
    like = type(image)(result, None, header)
    like._affine = image.affine
    return like

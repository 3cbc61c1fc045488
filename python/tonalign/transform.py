# SPDX-License-Identifier: BSD-3-Clause
"""Matching as a step of a training pipeline."""

import numpy

from tonalign.matching import match


class Transform:
    """Matches whatever a training pipeline hands on to one target.

    Called with a volume, it gives the matched volume. Arrays and tensors may have a first axis of channels, which are
    matched one by one; tensors come back as tensors of the same device. Called with a dictionary, as MONAI's pipelines
    hand on, it gives a copy in which the volumes of `keys` are matched; called with an object that has
    `get_images_dict`, as TorchIO's subjects, it replaces the intensity images' data by `set_data` and gives the object.

    Parameters
    ----------
    target : Target
    keys : sequence of str
        Of the volumes in a dictionary.
    mask : str, optional
        Name of the mask among the subject's images, or key in the dictionary.
    **options
        Those of `match`.

    Examples
    --------
    >>> import numpy, tonalign
    >>> transform = tonalign.Transform(tonalign.Target([0, 10, 20, 30], [0, 1, 1, 1]))
    >>> sample = {"image": numpy.array([[[0, 3, 1, 2]]]), "label": 1}
    >>> transform(sample)["image"]
    array([[[ 0., 30., 10., 20.]]], dtype=float32)
    """

    def __init__(self, target, *, keys=("image",), mask=None, **options):
        self.target, self.keys, self.mask, self.options = target, tuple(keys), mask, options

    def __call__(self, sample):
        if hasattr(sample, "get_images_dict"):
            return self._subject(sample)
        if isinstance(sample, dict):
            mask = sample[self.mask] if self.mask else None
            return {**sample, **{key: self._volume(sample[key], mask) for key in self.keys}}
        return self._volume(sample, None)

    def _subject(self, subject):
        mask = subject[self.mask].data if self.mask else None
        for name, image in subject.get_images_dict(intensity_only=True).items():
            if name != self.mask:
                image.set_data(self._volume(image.data, mask))
        return subject

    def _volume(self, volume, mask):
        if not (hasattr(volume, "new_tensor") or isinstance(volume, numpy.ndarray)):
            return match(volume, self.target, mask=mask, **self.options)
        array = as_array(volume)
        mask = None if mask is None else as_array(mask)
        if array.ndim == 4:
            masks = [None] * len(array) if mask is None else mask if mask.ndim == 4 else [mask] * len(array)
            masks = [masks[0]] * len(array) if len(masks) == 1 else masks
            channels = [match(c, self.target, mask=m, **self.options) for c, m in zip(array, masks, strict=True)]
            result = numpy.stack(channels)
        else:
            mask = mask[0] if mask is not None and mask.ndim == 4 and len(mask) == 1 else mask
            result = match(array, self.target, mask=mask, **self.options)
        if not hasattr(volume, "new_tensor"):
            return result
        return volume.new_tensor(result, dtype=getattr(numpy_like(volume), "float32", None))

    def __repr__(self):
        return f"Transform({self.target!r})"


def as_array(volume):
    """A tensor's values, from whatever device."""
    return numpy.asarray(volume.detach().cpu() if hasattr(volume, "detach") else volume)


def numpy_like(tensor):
    """The module whose types a tensor has."""
    import sys

    return sys.modules.get(type(tensor).__module__.split(".")[0])

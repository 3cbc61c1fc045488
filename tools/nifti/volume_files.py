# SPDX-License-Identifier: BSD-3-Clause
"""What the converters share: one-line errors, files that are whole or not there."""

import contextlib
import os
import pathlib
import sys
import tempfile
import zlib

import nibabel
from nibabel.filebasedimages import ImageFileError
from nibabel.spatialimages import HeaderDataError
from tonalign_report.pairs import pair_files

# What reading or writing a volume can end in: no file, a cut or foreign one, a full disk, sizes no header holds
PROBLEMS = (OSError, EOFError, zlib.error, ValueError, ImageFileError, HeaderDataError)


@contextlib.contextmanager
def naming(file):
    """Whatever goes wrong with the file ends the program with one line that names it."""
    try:
        yield
    except PROBLEMS as problem:
        reason = getattr(problem, "strerror", None) or str(problem)
        sys.exit(f"{file}: {' '.join(reason.split())}")


def without_empty_axes(shape):
    """The shape without axes of length 1 behind the third, which many writers add for the time."""
    shape = tuple(shape)
    while len(shape) > 3 and shape[-1] == 1:
        shape = shape[:-1]
    return shape


def refuse_to_replace(sources, results):
    for source in sources:
        for result in results:
            if result.exists() and os.path.exists(source) and result.samefile(source):
                sys.exit(f"{result}: the result would replace what it is made from; give it another name")


@contextlib.contextmanager
def written_whole(*files):
    """Yields the names under which to write the files; they get their own once all of them are complete."""
    with naming(files[0]), tempfile.TemporaryDirectory(prefix=".unfinished-", dir=files[0].parent) as folder:
        unfinished = [pathlib.Path(folder) / file.name for file in files]
        yield unfinished
        if len(files) > 1:
            files[0].unlink(missing_ok=True)  # the header: it must not stand beside an image that is not its own
        for name, file in reversed(list(zip(unfinished, files))):
            os.replace(name, file)


def load(file):
    with naming(file):
        return nibabel.load(file)

# SPDX-License-Identifier: BSD-3-Clause
"""Files that can be read again: opening a pipe or a terminal would wait for somebody to write into it."""

import errno
import os
import stat


def open_regular(path, mode="rb", **options):
    """An open file, or OSError."""
    if not stat.S_ISREG(os.stat(path).st_mode):
        raise OSError(errno.EINVAL, "not a regular file")
    return open(path, mode, **options)

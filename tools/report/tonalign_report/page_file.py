# SPDX-License-Identifier: BSD-3-Clause
"""The file of the page: complete under its name, or what was there before.

A page is written beside the old one and renamed. What is no regular file is written into, and so is a file that is a
mount of its own, or whose folder takes no new ones; such a file is left empty if that fails.
"""

import contextlib
import errno
import os
import secrets
import stat

CANNOT_BE_REPLACED = (errno.EACCES, errno.EPERM, errno.EROFS, errno.EBUSY, errno.EXDEV)
OPEN_FILES = ("/dev/std", "/dev/fd/", "/proc/")  # names that mean an open file and no place in a folder


def status_of(path):
    try:
        return os.stat(path)
    except FileNotFoundError:
        return None


@contextlib.contextmanager
def opened(path, flags, mode=0):
    handle = os.open(path, flags, mode)
    try:
        yield handle
    finally:
        with contextlib.suppress(OSError):  # what was written has been waited for
            os.close(handle)


def require_own_link(path):
    """Where anybody may place a link, only our own and the folder owner's count."""
    folder = os.stat(os.path.dirname(path) or ".")
    if os.path.islink(path) and folder.st_mode & stat.S_IWOTH:
        if os.lstat(path).st_uid not in (os.geteuid(), folder.st_uid):
            raise PermissionError(errno.EACCES, "a link of another user")


def require_writable(path):
    """Raises what can be told before the volumes are read. A pipe is left alone: opening is felt at its other end."""
    require_own_link(path)
    old = status_of(path)
    if old is None:
        os.stat(os.path.dirname(os.path.realpath(path)))
    elif stat.S_ISREG(old.st_mode) or stat.S_ISDIR(old.st_mode):
        with opened(path, os.O_WRONLY):
            pass


def write_all(handle, content):
    left = memoryview(content)
    while left:
        left = left[os.write(handle, left) :]


def overwrite(handle, content):
    try:
        os.ftruncate(handle, 0)
        write_all(handle, content)
        os.fsync(handle)
    except BaseException:
        os.ftruncate(handle, 0)
        raise


def give_access(handle, old, mode):
    """The mode, and the owner and group of the old page as far as we may; without both, nobody runs it as them."""
    if old:
        for owner in (old.st_uid, -1):
            with contextlib.suppress(OSError):
                os.fchown(handle, owner, old.st_gid)
                break
        new = os.fstat(handle)
        if (new.st_uid, new.st_gid) != (old.st_uid, old.st_gid):
            mode &= ~(stat.S_ISUID | stat.S_ISGID)
    os.fchmod(handle, mode)


def replace(place, content, old):
    mask = os.umask(0)
    os.umask(mask)
    mode = stat.S_IMODE(old.st_mode) if old else 0o666 & ~mask
    folder = os.path.dirname(place)
    temporary = os.path.join(folder, f".tonalign-report-{secrets.token_hex(8)}")
    handle = os.open(temporary, os.O_WRONLY | os.O_CREAT | os.O_EXCL, 0o600 & mode)
    try:
        try:
            write_all(handle, content)
            give_access(handle, old, mode)
            os.fsync(handle)
        finally:
            os.close(handle)
        os.rename(temporary, place)
    except BaseException:
        os.unlink(temporary)
        raise
    with contextlib.suppress(OSError):  # the page is there, whatever comes of this
        with opened(folder, os.O_RDONLY | os.O_DIRECTORY) as handle:
            os.fsync(handle)


def write_page(path, content):
    """Raises OSError; a symbolic link stays, and the file at its end is written."""
    require_own_link(path)
    old = status_of(path)
    place = os.path.realpath(path)
    if old is None:
        replace(place, content, old)
    elif not stat.S_ISREG(old.st_mode) or path.startswith(OPEN_FILES):
        with opened(path, os.O_WRONLY | os.O_APPEND | os.O_NOCTTY) as handle:
            write_all(handle, content)
    else:
        with opened(place, os.O_WRONLY) as handle:  # who may not write the page may not replace it either
            try:
                replace(place, content, old)
            except OSError as error:
                if error.errno not in CANNOT_BE_REPLACED:
                    raise
                overwrite(handle, content)

// SPDX-License-Identifier: BSD-3-Clause
// Asks the system about files.
#include "volume/file_system.h"

#include <fcntl.h>
#include <linux/magic.h>
#include <sys/vfs.h>

#include <algorithm>

namespace tonalign {

bool errno_is(std::initializer_list<int> reasons)
{
    return std::find(reasons.begin(), reasons.end(), errno) != reasons.end();
}

bool holds_open_files(int folder)
{
    struct statfs system;
    return ::fstatfs(folder, &system) == 0 && system.f_type == PROC_SUPER_MAGIC;
}

bool may_be_followed(const struct stat& link, const struct stat& folder)
{
    return (folder.st_mode & S_IWOTH) == 0 || link.st_uid == ::geteuid() || link.st_uid == folder.st_uid;
}

bool may_be_renamed_over(int file, const struct stat& old, const struct stat& folder)
{
    const uid_t user = ::geteuid();
    const bool sticky = (folder.st_mode & S_ISVTX) != 0;
    struct statx status;
    const bool mounted = ::statx(file, "", AT_EMPTY_PATH, STATX_TYPE, &status) == 0 &&
                         (status.stx_attributes & STATX_ATTR_MOUNT_ROOT) != 0;
    return !mounted && (!sticky || user == 0 || user == folder.st_uid || user == old.st_uid);
}

bool make_like(int file, const struct stat& old)
{
    constexpr mode_t permissions = 0777;
    struct stat now;
    if (::fstat(file, &now) != 0) {
        return false;
    }
    const bool owned = now.st_uid == old.st_uid && now.st_gid == old.st_gid;
    if (!owned && ::fchown(file, old.st_uid, old.st_gid) != 0) {
        [[maybe_unused]] const int group_alone = ::fchown(file, static_cast<uid_t>(-1), old.st_gid);
    }
    // Where nothing differs, a file system that knows no permissions need not be asked for them.
    return ((now.st_mode ^ old.st_mode) & permissions) == 0 || ::fchmod(file, old.st_mode & permissions) == 0;
}

bool written_back(int file)
{
    while (::fdatasync(file) != 0) {
        if (errno != EINTR) {
            return errno_is({EINVAL, ENOSYS, EOPNOTSUPP});
        }
    }
    return true;
}

bool is_same_file(const struct stat& a, const struct stat& b)
{
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

} // namespace tonalign

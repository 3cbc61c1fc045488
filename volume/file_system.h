// SPDX-License-Identifier: BSD-3-Clause
// What output files ask the system.
#pragma once

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <initializer_list>
#include <string>

namespace tonalign {

// What output files ask the system. Functions that fail say why in errno.

bool errno_is(std::initializer_list<int> reasons);

bool is_same_file(const struct stat& a, const struct stat& b);

/// Calls make(name) with names that nothing else has, until it does not say that there is such a file
/// already. The name that was taken, or an empty one when it could not be; errno then says why.
template <typename Make>
std::string with_new_name(Make make)
{
    const std::string start = ".tonalign-" + std::to_string(::getpid()) + "-";
    for (int number = 0;; ++number) {
        std::string name = start + std::to_string(number);
        if (make(name.c_str())) {
            return name;
        }
        if (errno != EEXIST) {
            return {};
        }
    }
}

/// Whether the links in a folder are the kernel's: they mean open files, not names.
bool holds_open_files(int folder);

/// Where anybody may place a link, only the user's own links and the folder owner's count.
bool may_be_followed(const struct stat& link, const struct stat& folder);

/// In a sticky folder only its owner and the file's may rename over the file; and nobody over a file on which
/// something is mounted, as containers do with single files.
bool may_be_renamed_over(int file, const struct stat& old, const struct stat& folder);

/// Gives a new file the owner, group and permissions of the one that it replaces, as far as the process may.
/// Set-id bits are not among them: they are for the file that had them.
bool make_like(int file, const struct stat& old);

/// Waits until a file, or the names in a folder, are on the disk; what has no disk says so.
bool written_back(int file);

} // namespace tonalign

// SPDX-License-Identifier: BSD-3-Clause
// Memory in larger pages.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <memory>

namespace tonalign {

/// Asks for large pages in memory that is going to be used as a whole: with small ones, a tenth of a head's
/// run is spent on making them. A hint; where it is not taken, nothing changes.
inline void prefer_large_pages(std::byte* block, std::size_t size)
{
    const auto page = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
    void* begin = block;
    if (std::align(page, page, begin, size) != nullptr) {
        ::madvise(begin, size / page * page, MADV_HUGEPAGE);
    }
}

} // namespace tonalign

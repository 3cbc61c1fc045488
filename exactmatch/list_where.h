// SPDX-License-Identifier: BSD-3-Clause
// Lists some of the voxels of a row.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace tonalign {

/// Lists entry(x) for the x from 0 to `count` - 1 where holds(x) is true; the list has room for one entry
/// more than that. Without a branch, for rows in which nobody can predict the next.
template <typename Holds, typename Entry>
std::span<const std::uint32_t> list_where(std::size_t count, std::vector<std::uint32_t>& list, Holds holds,
                                          Entry entry)
{
    std::uint32_t* const entries = list.data();
    std::size_t listed = 0;
    for (std::size_t x = 0; x < count; ++x) {
        entries[listed] = entry(x);
        listed += holds(x) ? 1 : 0;
    }
    return {entries, listed};
}

/// Lists the x themselves.
template <typename Holds>
std::span<const std::uint32_t> list_where(std::size_t count, std::vector<std::uint32_t>& list, Holds holds)
{
    return list_where(count, list, holds, [](std::size_t x) { return static_cast<std::uint32_t>(x); });
}

} // namespace tonalign

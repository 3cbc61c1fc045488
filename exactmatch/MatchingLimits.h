// SPDX-License-Identifier: BSD-3-Clause
// Where the exact stage changes its ways.
#pragma once

#include <atomic>
#include <cstdint>
#include <limits>

namespace tonalign {

/// Set by another thread when nobody waits for the result any more.
using StopFlag = std::atomic<bool>;

/// No result depends on these. They are what measurements on heads suggest; tests lower them, so that small
/// volumes take every way.
struct MatchingLimits
{
    /// The largest volume whose positions are kept in 32 bits.
    std::int64_t voxels_of_32_bits = std::numeric_limits<std::uint32_t>::max();

    /// Cells that the range of a volume without levels is cut into: their counts stay in the second-level
    /// cache.
    std::int64_t cells = 1 << 16;

    /// A value that more than one of so many voxels have gets a cell of its own.
    std::int64_t favourite_share = 64;

    /// Nearest sums are counted when more than one of so many voxels is still open.
    std::int64_t open_share = 16;

    /// Entries of a thread's table of nearest sums, 1 MB.
    std::int64_t table_entries = 1 << 18;

    /// Parts of a cell below which a table is not worth its pass.
    std::int64_t fewest_parts = 16;

    /// A bin goes straight to the documented arrangement when more than one of so many of its voxels, and
    /// more than that number, have been found alike in one group.
    std::int64_t alike_share = 2;
    std::int64_t fewest_alike = 1024;

    /// Null, or when to give up: the stage then ends soon, with any result.
    const StopFlag* stop = nullptr;
    bool stopped() const { return stop != nullptr && stop->load(std::memory_order_relaxed); }
};

} // namespace tonalign

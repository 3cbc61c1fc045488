// SPDX-License-Identifier: BSD-3-Clause
// The values of the target and where one ends and the next begins.
#pragma once

#include <algorithm>
#include <cstdint>
#include <span>
#include <vector>

namespace tonalign {

/// The target's ranges in the order of ranks. Columns are the foreground's ranks, counted from 0.
struct TargetRanges
{
    /// The ranges of `foreground` voxels.
    ///
    /// @param hist2  2 x (N+1) target histogram; row 2 holds rounded voxel counts afterwards
    TargetRanges(double** hist2, int N, std::int64_t foreground);

    /// The ends inside first..last: columns with a column of another range behind them.
    std::span<const std::int64_t> endsIn(std::int64_t first, std::int64_t last) const
    {
        const auto begin = std::lower_bound(ends.begin(), ends.end(), first);
        return {begin, std::lower_bound(begin, ends.end(), last)};
    }

    /// The number, from 1, of the range that a column belongs to.
    std::uint32_t code(std::int64_t column) const
    {
        const auto end = std::lower_bound(ends.begin(), ends.end(), column);
        return static_cast<std::uint32_t>(end - ends.begin()) + 1;
    }

    /// Calls give(k, code) for the columns first_column + k of `count` from the first on.
    template <typename Give>
    void forEachCode(std::int64_t first_column, std::int64_t count, Give give) const
    {
        std::uint32_t range = code(first_column);
        for (std::int64_t k = 0; k < count; ++k) {
            range += first_column + k > ends[range - 1] ? 1 : 0;
            give(k, range);
        }
    }

    std::vector<std::int64_t> ends; ///< last column of each range, ascending
    std::vector<double> values;     ///< what its columns receive
};

} // namespace tonalign

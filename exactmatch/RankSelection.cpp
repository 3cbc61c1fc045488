// SPDX-License-Identifier: BSD-3-Clause
// The documented partition, run only where a value depends on it.
#include "exactmatch/RankSelection.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace tonalign {

namespace {

template <typename Position>
struct Arrangement
{
    /// Columns, inclusive, none of whose keys is above `largest`.
    struct Run
    {
        std::int64_t first;
        std::int64_t last;
        std::uint64_t largest;
    };

    bool holdsEnd(const Run& run) const
    {
        const auto end = std::lower_bound(ends.begin(), ends.end(), run.first);
        return end != ends.end() && *end < run.last;
    }

    /// The documented partition around the middle column; gives back the pivot's final column.
    ///
    /// Selections instead of branches: whether an entry goes low is a coin toss that no processor predicts.
    std::int64_t partition(const Run& run)
    {
        const std::uint64_t pivot = entries[run.last].key;
        std::int64_t next_low = run.first;
        for (std::int64_t j = run.first; j < run.last; ++j) {
            const VoxelEntry<Position> entry = entries[j];
            const VoxelEntry<Position> other = entries[next_low];
            const bool low = entry.key <= pivot;
            entries[j] = low ? other : entry;
            entries[next_low] = low ? entry : other;
            next_low += low ? 1 : 0;
        }
        std::swap(entries[next_low], entries[run.last]);
        return next_low;
    }

    /// Recursing into the shorter side and going on with the longer bounds the depth; the sides are
    /// independent, so their order changes nothing.
    void narrow(Run run)
    {
        while (holdsEnd(run) && !limits.stopped()) {
            if (run.first + 1 < run.last) {
                std::swap(entries[run.first + (run.last - run.first) / 2], entries[run.last]);
            }
            const std::uint64_t pivot = entries[run.last].key;
            if (pivot == run.largest) {
                --run.last;
                continue;
            }
            const std::int64_t column = partition(run);
            Run shorter = {run.first, column - 1, pivot};
            run = {column + 1, run.last, run.largest};
            if (shorter.last - shorter.first > run.last - run.first) {
                std::swap(shorter, run);
            }
            narrow(shorter);
        }
    }

    VoxelEntry<Position>* entries;
    std::span<const std::int64_t> ends;
    const MatchingLimits& limits;
};

} // namespace

template <typename Position>
void arrange(std::span<VoxelEntry<Position>> entries, std::span<const std::int64_t> ends,
             const MatchingLimits& limits)
{
    constexpr std::uint64_t unknown = std::numeric_limits<std::uint64_t>::max();
    Arrangement<Position>{entries.data(), ends, limits}.narrow(
        {0, static_cast<std::int64_t>(entries.size()) - 1, unknown});
}

template void arrange(std::span<VoxelEntry<std::uint32_t>>, std::span<const std::int64_t>,
                      const MatchingLimits&);
template void arrange(std::span<VoxelEntry<std::uint64_t>>, std::span<const std::int64_t>,
                      const MatchingLimits&);

} // namespace tonalign

// SPDX-License-Identifier: BSD-3-Clause
// Ranks the voxels of one bin, as far as anyone can tell the difference.
#pragma once

#include "exactmatch/FeatureLevels.h"

#include <cstdint>
#include <span>
#include <vector>

namespace tonalign {

/// Ranks the voxels of one bin, as far as anyone can tell the difference.
///
/// Columns are what the full sort would permute: positions[c] is the voxel in column c, keys[c] what
/// orders it on the levels that decide at present. A target range is a run of columns that receive one value,
/// so within one range the order does not matter: a sub-range of columns that crosses no end of a target
/// range is left as it is. Each partition that does run is the one of quicksort_feature_array, exchange by
/// exchange, so every target range ends up with exactly the voxels that the full sort would put there, voxels
/// with equal keys included.
///
/// Cost: a bin of n voxels with b range ends in it takes about n log b steps of a few nanoseconds; deeper
/// levels are computed for the voxels that tie with a pivot only. Equal keys cost their levels, a few hundred
/// nanoseconds a voxel, and not the square of their number: an entry that is found equal to its pivot belongs
/// to the low side, whose largest key that pivot is, and is marked there. When a marked entry becomes a
/// pivot, everything goes to its low side, and the whole partition is the exchange of the middle with the
/// last, at constant cost.
///
/// Some arrangements, intensities that fall and rise again for one, make the middle a poor pivot over and
/// over and the documented sort quadratic. After too many partitions a sub-range is therefore sorted by
/// another method where that gives the same values, that is, unless equal keys lie on both sides of a range
/// end. This alone takes further memory, 16 bytes per entry of the sub-range.
template <typename Position>
class RankSelection
{
public:
    /// Key of an entry known to equal the largest key of its sub-range on all levels. No finite value has it.
    static constexpr std::uint64_t marked = ~std::uint64_t{0};

    /// @param range_ends  last column of each target range, ascending
    /// @param positions, keys  indexed by column; permuted and overwritten; not owned
    RankSelection(const FeatureLevels& levels, std::span<const std::int64_t> range_ends, Position* positions,
                  std::uint64_t* keys)
        : m_levels(levels), m_range_ends(range_ends), m_positions(positions), m_keys(keys)
    {
    }

    /// Whether the columns first..last belong to more than one target range.
    bool crossesRangeEnd(std::int64_t first, std::int64_t last) const { return nextRangeEnd(first) < last; }

    /// Ranks the columns first..last, whose keys order their voxels by all levels up to `level`.
    void rank(std::int64_t first, std::int64_t last, int level);

private:
    /// A pivot that bounds a sub-range: its entries are above the lower bound and not above the upper.
    struct Bound
    {
        bool exists = false;
        Position position = 0;
        std::uint64_t key = 0; ///< as in the entries of the sub-range
    };

    struct SubRange
    {
        std::int64_t first;
        std::int64_t last;
        int level;    ///< deepest level that the keys hold
        int patience; ///< partitions before another method is tried
        Bound lower;
        Bound upper;
    };

    class Pivot;

    struct Entry
    {
        std::uint64_t key;
        Position position;
    };

    void narrow(SubRange range);
    bool sortOtherwise(const SubRange& range);
    bool sortAcrossRangeEnds(std::span<Entry> entries, std::int64_t column, int level);
    void deepen(SubRange& range);
    std::int64_t partition(const SubRange& range);
    std::int64_t nextRangeEnd(std::int64_t column) const;
    void exchange(std::int64_t a, std::int64_t b);

    const FeatureLevels& m_levels;
    std::span<const std::int64_t> m_range_ends;
    Position* m_positions;
    std::uint64_t* m_keys;
};

} // namespace tonalign

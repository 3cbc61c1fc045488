// SPDX-License-Identifier: BSD-3-Clause
// Which ranks receive which value of the target.
#pragma once

#include <cstdint>
#include <vector>

namespace tonalign {

/// Which ranks each bin of a histogram occupies: first and last rank of bin i, 1-based and inclusive; both -1
/// for a bin that has none.
class RankRanges
{
public:
    /// Gives the bins consecutive ranks from 1 upward, as many as their counts.
    ///
    /// @param hist  2 x (bins+1) array, 1-based, whose row 2 holds whole counts
    RankRanges(double** hist, int bins);

    int bins() const { return static_cast<int>(m_ranges.size()) - 1; }
    std::int64_t first(int bin) const { return range(bin).first; }
    std::int64_t last(int bin) const { return range(bin).last; }
    bool isEmpty(int bin) const { return first(bin) < 1 || last(bin) < first(bin); }

    /// The bin with the largest last rank, the lowest of several.
    int lastBin() const;

    void assign(int bin, std::int64_t first, std::int64_t last)
    {
        m_ranges[static_cast<std::size_t>(bin)] = {first, last};
    }
    void clear(int bin) { assign(bin, -1, -1); }

private:
    struct Range
    {
        std::int64_t first = -1;
        std::int64_t last = -1;
    };
    const Range& range(int bin) const { return m_ranges[static_cast<std::size_t>(bin)]; }

    std::vector<Range> m_ranges; ///< entry 0 is not used
};

/// Turns the normalised frequencies of row 2 into voxel counts out of `total`, rounded to the nearest
/// integer, halves away from zero.
void round_to_counts(double** hist, int bins, double total);

/// Makes the target's ranges cover exactly the ranks 1..last_rank of the input.
///
/// Rounding leaves the target with a few ranks too few or too many. Too few: the last non-empty bin takes the
/// remaining ones. Too many: bins beyond last_rank are dropped, and the last non-empty bin keeps the ranks
/// behind the last bin that ends before last_rank; when there is no such bin it takes all ranks. Then the
/// last non-empty bin's ranks move to bin N, so that the brightest voxels always receive the top value.
void reconcile_with_input(RankRanges& target, std::int64_t last_rank);

} // namespace tonalign

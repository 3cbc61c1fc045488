#include "exactmatch/rank_ranges.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace tonalign {

namespace {

/// The last of `count` ranks that start at `first`; stops short of the largest int, so that a next rank
/// exists.
int last_of(int first, double count)
{
    constexpr double largest = std::numeric_limits<int>::max() - 1;
    return static_cast<int>(std::min(first + count - 1.0, largest));
}

/// The highest bin from `from` downward that ends before `last_rank`, or 0.
int last_bin_before(const RankRanges& ranges, int from, int last_rank)
{
    int bin = from;
    while (bin >= 1 && !(0 < ranges.last(bin) && ranges.last(bin) < last_rank)) {
        --bin;
    }
    return bin;
}

} // namespace

RankRanges::RankRanges(double** hist, int bins) : m_bins(bins), m_ranges(2, bins)
{
    int next = 1;
    for (int i = 1; i <= bins; ++i) {
        if (hist[2][i] == 0.0) {
            clear(i);
        } else {
            assign(i, next, last_of(next, hist[2][i]));
            next = last(i) + 1;
        }
    }
}

int RankRanges::lastBin() const
{
    return static_cast<int>(std::max_element(m_ranges[2] + 1, m_ranges[2] + m_bins + 1) - m_ranges[2]);
}

void RankRanges::assign(int bin, int first, int last)
{
    m_ranges[1][bin] = first;
    m_ranges[2][bin] = last;
}

void round_to_counts(double** hist, int bins, double total)
{
    for (int i = 1; i <= bins; ++i) {
        hist[2][i] = std::round(hist[2][i] * total);
    }
}

void reconcile_with_input(RankRanges& target, int last_rank)
{
    const int top = target.lastBin();
    if (last_rank > target.last(top)) {
        target.assign(top, target.first(top), last_rank);
    } else if (last_rank < target.last(top)) {
        const int kept = last_bin_before(target, top, last_rank);
        const int first_free = kept == 0 ? 1 : target.last(kept) + 1;
        for (int i = kept + 1; i < top; ++i) {
            target.clear(i);
        }
        target.assign(top, first_free, last_rank);
    }
    if (top < target.bins()) {
        target.assign(target.bins(), target.first(top), target.last(top));
        target.clear(top);
    }
}

} // namespace tonalign

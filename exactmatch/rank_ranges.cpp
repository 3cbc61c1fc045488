// SPDX-License-Identifier: BSD-3-Clause
// Rounds shares to whole ranks.
#include "exactmatch/rank_ranges.h"

#include <cmath>

namespace tonalign {

namespace {

/// The last of `count` ranks that start at `first`; far beyond any volume it stops growing.
std::int64_t last_of(std::int64_t first, double count)
{
    constexpr double farthest = 0x1p62;
    return static_cast<std::int64_t>(std::fmin(static_cast<double>(first) + count - 1.0, farthest));
}

/// The highest bin from `from` downward that ends before `last_rank`, or 0.
int last_bin_before(const RankRanges& ranges, int from, std::int64_t last_rank)
{
    int bin = from;
    while (bin >= 1 && !(0 < ranges.last(bin) && ranges.last(bin) < last_rank)) {
        --bin;
    }
    return bin;
}

} // namespace

RankRanges::RankRanges(double** hist, int bins) : m_ranges(static_cast<std::size_t>(bins) + 1)
{
    std::int64_t next = 1;
    for (int i = 1; i <= bins; ++i) {
        if (hist[2][i] != 0.0) {
            assign(i, next, last_of(next, hist[2][i]));
            next = last(i) + 1;
        }
    }
}

int RankRanges::lastBin() const
{
    int largest = 1;
    for (int i = 2; i <= bins(); ++i) {
        if (last(i) > last(largest)) {
            largest = i;
        }
    }
    return largest;
}

void round_to_counts(double** hist, int bins, double total)
{
    for (int i = 1; i <= bins; ++i) {
        hist[2][i] = std::round(hist[2][i] * total);
    }
}

void reconcile_with_input(RankRanges& target, std::int64_t last_rank)
{
    const int top = target.lastBin();
    if (last_rank > target.last(top)) {
        target.assign(top, target.first(top), last_rank);
    } else if (last_rank < target.last(top)) {
        const int kept = last_bin_before(target, top, last_rank);
        const std::int64_t first_free = kept == 0 ? 1 : target.last(kept) + 1;
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

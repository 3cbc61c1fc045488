// SPDX-License-Identifier: BSD-3-Clause
// Ranges from rounded counts.
#include "exactmatch/TargetRanges.h"

#include "exactmatch/rank_ranges.h"

namespace tonalign {

TargetRanges::TargetRanges(double** hist2, int N, std::int64_t foreground)
{
    round_to_counts(hist2, N, static_cast<double>(foreground));
    RankRanges target(hist2, N);
    constexpr std::int64_t no_rank = -1; // as the last rank of bins that are all empty
    reconcile_with_input(target, foreground > 0 ? foreground : no_rank);
    for (int i = 1; i <= N; ++i) {
        if (!target.isEmpty(i)) {
            ends.push_back(target.last(i) - 1);
            values.push_back(hist2[1][i]);
        }
    }
}

} // namespace tonalign

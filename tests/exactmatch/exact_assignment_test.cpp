#include "exactmatch/exact_assignment.h"
#include "exactmatch/rank_ranges.h"
#include "histogram/HistogramArray.h"
#include "tests/support/volumes.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <tuple>

namespace {

using ::testing::ElementsAre;
using tonalign::HistogramArray;
using tonalign::test::volume_of;
using tonalign::test::voxels_of;

/// Bin i hands out 1000 + i, a value that no volume here holds.
HistogramArray target_histogram(const std::vector<double>& frequencies)
{
    HistogramArray hist(static_cast<int>(frequencies.size()));
    std::copy(frequencies.begin(), frequencies.end(), hist[2] + 1);
    std::iota(hist[1] + 1, hist[1] + frequencies.size() + 1, 1001.0);
    return hist;
}

TEST(RankRanges, OfTheTargetCoverTheRanksOfTheInput)
{
    using Ranges =
        std::vector<std::pair<std::int64_t, std::int64_t>>; // of bins 1..N; {0, 0} for a bin without ranks
    constexpr Ranges::value_type none = {0, 0};
    const std::tuple<int, std::vector<double>, Ranges> cases[] = {
        {4, {0, .25, .25, .5}, {none, {1, 1}, {2, 2}, {3, 4}}},            // counts fit
        {4, {0, .25, .75, 0, 0}, {none, {1, 1}, none, none, {2, 4}}},      // ... and the top bin moves
        {10, {0, .25, .25, .5}, {none, {1, 3}, {4, 6}, {7, 10}}},          // 3, 3, 5
        {10, {0, .25, .25, .5, 0}, {none, {1, 3}, {4, 6}, none, {7, 10}}}, //
        {10, {0, .3, .3, .3}, {none, {1, 3}, {4, 6}, {7, 10}}},            // 3, 3, 3
        {10, {0, .3, .3, .3, 0}, {none, {1, 3}, {4, 6}, none, {7, 10}}},   //
        {2, {0, .25, .25, .25, .25}, {none, {1, 1}, none, none, {2, 2}}},  // 1, 1, 1, 1
        {1, {0, .5, .5}, {none, none, {1, 1}}},                            // nothing can be kept
        {3, {0, .5, .5, 0}, {none, {1, 2}, none, {3, 3}}},                 // 2, 2
        {1, {0, .5, .5, 0}, {none, none, none, {1, 1}}},                   //
        {1, {0, .4, .3, .3}, {none, none, none, none}},                    // all counts 0
    };
    for (const auto& [voxels, frequencies, expected] : cases) {
        const int N = static_cast<int>(frequencies.size());
        const HistogramArray hist = target_histogram(frequencies);
        tonalign::round_to_counts(hist, N, voxels);
        tonalign::RankRanges target(hist, N);
        tonalign::reconcile_with_input(target, voxels);
        Ranges ranges;
        for (int i = 1; i <= N; ++i) {
            ranges.push_back(target.isEmpty(i) ? none : Ranges::value_type{target.first(i), target.last(i)});
        }
        EXPECT_EQ(ranges, expected) << voxels << " voxels, " << N << " bins";
    }
}

TEST(ExactAssignment, SplitsEqualKeysByTheirColumnsAfterThePartition)
{
    // Four equal voxels: the partition leaves them in the order x = 1, 3, 4, 2.
    Array3D<double> D = volume_of(5, 1, 1, {0, 1, 1, 1, 1});
    const HistogramArray target = target_histogram({0, .5, .5});
    perfect_histogram_matching(&D, target, 1, 3);
    EXPECT_THAT(voxels_of(D), ElementsAre(0, 1002, 1003, 1002, 1003));
    EXPECT_THAT((std::vector(target[2] + 1, target[2] + 4)), ElementsAre(0, 2, 2));
}

TEST(ExactAssignment, LeavesAVolumeAloneWhenThereIsNothingToHandOut)
{
    Array3D<double> constant = volume_of(2, 1, 1, {3, 3});
    perfect_histogram_matching(&constant, target_histogram({0, .5, .5}), 1, 3);
    EXPECT_THAT(voxels_of(constant), ElementsAre(3, 3));
    Array3D<double> one = volume_of(2, 1, 1, {3, 4});
    perfect_histogram_matching(&one, target_histogram({0, .4, .3, .3}), 1, 4);
    EXPECT_THAT(voxels_of(one), ElementsAre(3, 4));
}

} // namespace

#include "tests/support/expected_console.h"
#include "tests/support/plain_matching.h"
#include "tests/support/plain_ranking.h"

#include <gmock/gmock.h>

#include <utility>
#include <vector>

/// The transcription itself, against answers worked out with pencil and paper.

using namespace tonalign::test;
using testing::ElementsAre;

namespace {

using Pairs = std::vector<std::pair<double, double>>;

Volume row_of(std::vector<double> voxels)
{
    const int nx = static_cast<int>(voxels.size());
    return {nx, 1, 1, std::move(voxels)};
}

/// What a volume that holds `value` at most and 0 at least is saved as.
float saved(double value, double largest)
{
    return static_cast<float>(value * (255.0 / largest));
}

TEST(PlainHistogram, PutsAValueOnABoundaryIntoTheLowerBin)
{
    const Histogram histogram = histogram_of(row_of({0, 1, 2, 2, 4, 3}), 4);
    EXPECT_EQ(histogram.total, 4.0);
    EXPECT_EQ(file_text(histogram), "0.5\t0\n1.5\t0.5\n2.5\t0.25\n3.5\t0.25\n");
}

TEST(PlainHistogram, WritesEachValueAsItsExactDecimal)
{
    Histogram histogram(2);
    histogram.centre[1] = 0.1;
    histogram.centre[2] = 0.498046875;
    histogram.frequency[2] = 0.0001220703125 / 8;
    EXPECT_EQ(file_text(histogram), "0.1000000000000000055511151231257827021181583404541015625\t0\n"
                                    "0.498046875\t1.52587890625e-05\n");
}

TEST(PlainRanking, CountsEveryNeighbourOfAShellOnceEvenOnVeryShortAxes)
{
    const double neighbours[] = {6, 20, 6, 24, 68};
    for (int shell = 1; shell <= 5; ++shell) {
        const Volume response = shell_response(Volume{3, 1, 2, std::vector<double>(6, 2.0)}, shell);
        EXPECT_THAT(response.voxels, testing::Each(2.0 * neighbours[shell - 1]));
    }
}

/// Ten voxels outside the background, asked for as 3 (2.5 rounded up), 3 and 5: the last bin gives one up.
TEST(PlainMatching, CutsTheLastTargetBinWhenRoundedCountsAskForTooMany)
{
    const Outcome outcome = match_to_histogram(row_of({0, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20}),
                                               Pairs{{0, 9}, {0, 0.25}, {0, 0.25}, {0, 0.5}, {0, 0}}, 5);
    // Bin centres 2, 6, 10, 14, 18; what is asked for in bin 4 goes to the top bin.
    const float low = saved(6, 18);
    const float middle = saved(10, 18);
    EXPECT_THAT(outcome.output1,
                ElementsAre(0.0F, low, low, low, middle, middle, middle, 255.0F, 255.0F, 255.0F, 255.0F));
}

TEST(PlainMatching, ExtendsTheLastTargetBinWhenRoundedCountsAskForTooFew)
{
    const Outcome outcome = match_to_histogram(row_of({0, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20}),
                                               Pairs{{0, 9}, {0, 7}, {0, 7}, {0, 7}, {0, 0}}, 5);
    const float low = saved(6, 18);
    const float middle = saved(10, 18);
    EXPECT_THAT(outcome.output1,
                ElementsAre(0.0F, low, low, low, middle, middle, middle, 255.0F, 255.0F, 255.0F, 255.0F));
}

/// In a ring of alternating values all bright voxels look alike: only the partition steps tell them apart.
TEST(PlainMatching, OrdersEqualKeysAsThePartitionLeavesThem)
{
    // Three columns A B C: the middle one goes to the end, A C B; the pair A C stays.
    const double top3 = 4.375; // centres 0.625, 1.875, 3.125, 4.375
    const Outcome three =
        match_to_histogram(row_of({0, 5, 0, 5, 0, 5}), Pairs{{0, 0}, {0, 1}, {0, 1}, {0, 1}}, 4);
    EXPECT_THAT(three.output1,
                ElementsAre(0.0F, saved(1.875, top3), 0.0F, saved(4.375, top3), 0.0F, saved(3.125, top3)));

    // Four columns A B C D: A D C B, then A C D within the first three, then A C. A volume one bin wide per
    // unit, from 0 to 5: centres 0.5, 1.5, 2.5, 3.5, 4.5.
    const double top4 = 4.5;
    const Outcome four = match_to_histogram(row_of({0, 5, 0, 5, 0, 5, 0, 5}),
                                            Pairs{{0, 0}, {0, 1}, {0, 1}, {0, 1}, {0, 1}}, 5);
    EXPECT_THAT(four.output1, ElementsAre(0.0F, saved(1.5, top4), 0.0F, saved(4.5, top4), 0.0F,
                                          saved(2.5, top4), 0.0F, saved(3.5, top4)));
}

TEST(PlainMatching, MovesEndpointsAndClipsTheTarget)
{
    Parameters parameters;
    parameters.bins = 5;
    parameters.match_endpoints = true;
    // All mass outside the background lies in bin 5, whose centre is 9 in both volumes' own ranges.
    const Outcome outcome = match_to_volume(row_of({0, 10, 0}), row_of({0, 0, 10, 10}), parameters);
    ASSERT_EQ(outcome.endpoint_reports.size(), 2U);
    for (const EndpointReport& report : outcome.endpoint_reports) {
        EXPECT_EQ(report.input.lower, 1);
        EXPECT_EQ(report.input.upper, 5);
        EXPECT_EQ(report.target.lower, 1);
        EXPECT_EQ(report.target.upper, 5);
    }
    EXPECT_THAT(outcome.output1, ElementsAre(0.0F, 255.0F, 0.0F));
    EXPECT_THAT(outcome.output2, ElementsAre(0.0F, 0.0F, 229.5F, 229.5F));
    EXPECT_THAT(outcome.errors, ElementsAre(0.0, 0.0, 0.0));
}

TEST(RunningTime, IsMaskedOnlyWhenItIsANumber)
{
    const std::string before = "x\n*****TOTAL RUNNING TIME*****\n";
    EXPECT_EQ(mask_running_time(before + "0.0123\n\n\n"), before + "<seconds>\n\n\n");
    EXPECT_EQ(mask_running_time(before + "5e-05\n\n\n"), before + "<seconds>\n\n\n");
    for (const char* const wrong : {"\n\n\n", "-1\n\n\n", "nan\n\n\n", "1 s\n\n\n"}) {
        EXPECT_EQ(mask_running_time(before + wrong), before + wrong);
    }
}

} // namespace

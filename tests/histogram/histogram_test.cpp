// SPDX-License-Identifier: BSD-3-Clause
// What no run reaches of counting, smoothing, mapping and range adjustment, against plain twins.
#include "histogram/cdf.h"
#include "histogram/dynamic_range.h"
#include "histogram/histogram.h"
#include "tests/support/process_end.h"
#include "tests/support/random_runs.h"
#include "tests/support/volumes.h"

#include <cmath>
#include <numeric>
#include <sstream>

using namespace tonalign::test;
using testing::Each;
using testing::ElementsAre;
using tonalign::HistogramArray;
using tonalign::LandmarkMatrix;

namespace {

TEST(Histogram, TakesItsRangeFromTheInnerRegionAndBoundariesIntoTheLowerBin)
{
    const double voxels[] = {-50.0, 4.0, 0.0, 1.0, std::nextafter(1.0, 2.0), 2.0, 3.0, 1e300};
    Array3D<double> D; // the first and the last voxel are margin: counted, but without a say in the range
    D.setup(0, 1, 6, 7, 0, 0, 0, 0, 0, 0, 0, 0);
    std::copy_n(voxels, 8, D.block());
    HistogramArray H(4);
    calculate_histogram(&D, H, 4);
    EXPECT_THAT(row_of(H, 1, 4), ElementsAre(0.5, 1.5, 2.5, 3.5));
    EXPECT_THAT(row_of(H, 2, 5), ElementsAre(0, 2 * 0.2, 0.2, 2 * 0.2, 5));
    const HistogramArray table = H.copy();
    std::copy_n(table[1] + 1, 4, table[2] + 1);
    apply_intensity_transformation(&D, table, 4);
    EXPECT_THAT(voxels_of(D), ElementsAre(0.5, 3.5, 0.5, 0.5, 1.5, 1.5, 2.5, 3.5));

    Array3D<double> constant = volume_of(2, 1, 1, {7.0, 7.0});
    calculate_smoothed_histogram(&constant, H, 3, 1.0);
    EXPECT_THAT(row_of(H, 2, 4), Each(0.0));
}

TEST(Smoothing, ReversesTheKernelAndCountsZeroOutsideTheSignal)
{
    Dice dice(4);
    for (int round = 0; round < 500; ++round) {
        std::vector<double> signal(dice.between(2, 20));
        std::vector<double> kernel(dice.between(2, 30));
        for (std::vector<double>* const values : {&signal, &kernel}) {
            std::generate(values->begin(), values->end(), [&] { return dice.between(-99, 99) * 0.1; });
        }
        std::vector<double> response(signal.size());
        convolution1D(signal.data(), static_cast<int>(signal.size()) - 1, kernel.data(),
                      static_cast<int>(kernel.size()) - 1, response.data());
        ASSERT_EQ(bits_of(response), bits_of(convolved(signal, kernel)));
    }
}

TEST(Cdf, IsTheSumOfTheFrequencies)
{
    Dice dice(5);
    for (int round = 0; round < 100; ++round) {
        const Volume volume = draw_volume(dice).volume;
        const int N = dice.between(1, 60);
        const double sigma = dice.any_of<double>({0.0, 0.4, 1.5});
        Array3D<double> D = array_of(volume);
        const HistogramArray cdf(N);
        sigma > 0.0 ? calculate_smoothed_cdf(&D, cdf, N, sigma) : calculate_cdf(&D, cdf, N);
        Histogram expected = histogram_of(volume, N, sigma);
        std::partial_sum(expected.frequency.begin(), expected.frequency.end(), expected.frequency.begin());
        ASSERT_EQ(row_of(cdf, 1, N), row_of(array_of(expected), 1, N));
        ASSERT_EQ(row_of(cdf, 2, N), row_of(array_of(expected), 2, N)) << "round " << round;
    }
}

TEST(MappingBetweenCdfs, TakesTheNearestAndOfTiesTheLowestBin)
{
    Dice dice(20);
    for (int round = 0; round < 2000; ++round) {
        const int levels = dice.any_of<int>({4, 1000});
        std::vector<double> from(dice.between(1, 24));
        std::vector<double> to(from.size());
        for (std::vector<double>* const values : {&from, &to}) {
            for (double& value : *values) {
                value = dice.once_in(20) ? dice.any_of<double>({1e19, 2e19, -1e300, NAN})
                                         : dice.between(-1, levels) * 0.5;
            }
        }
        if (dice.once_in(2)) {
            std::sort(to.begin(), std::find_if(to.begin(), to.end(), [](double v) { return std::isnan(v); }));
        }
        const int N = static_cast<int>(from.size());
        const HistogramArray cdf1(N);
        const HistogramArray cdf2(N);
        const HistogramArray table(N);
        std::iota(cdf1[1] + 1, cdf1[1] + N + 1, 501.0);
        std::iota(cdf2[1] + 1, cdf2[1] + N + 1, 101.0);
        std::copy(from.begin(), from.end(), cdf1[2] + 1);
        std::copy(to.begin(), to.end(), cdf2[2] + 1);
        calculate_mapping_between_cdfs(table, cdf1, cdf2, N);
        for (int i = 1; i <= N; ++i) {
            double smallest = 1e19; // at or beyond it nothing is near
            double nearest = 0.0;
            for (int j = 1; j <= N; ++j) {
                if (std::fabs(cdf1[2][i] - cdf2[2][j]) < smallest) {
                    smallest = std::fabs(cdf1[2][i] - cdf2[2][j]);
                    nearest = 100 + j;
                }
            }
            ASSERT_EQ(table[1][i], 500 + i);
            ASSERT_EQ(table[2][i], nearest) << "round " << round << ", bin " << i;
        }
    }
    calculate_mapping_between_cdfs(nullptr, nullptr, nullptr, 0);
}

std::string text_of(const Endpoints& e1, const Endpoints& e2)
{
    std::ostringstream text;
    text << "[out]bp_index1 = " << e1.lower << "\tep_index1 = " << e1.upper
         << "\n[out]bp_index2 = " << e2.lower << "\tep_index2 = " << e2.upper << "\n[out]\n";
    return text.str();
}

TEST(DynamicRange, IsThatOfTheTargetVolumeOrOfTheTargetHistogram)
{
    Dice dice(6);
    for (int round = 0; round < 300; ++round) {
        SCOPED_TRACE("round " + std::to_string(round));
        const int N = dice.between(5, 40);
        const double sigma = dice.any_of<double>({0.0, 0.7, 2.0});
        const double share1 = dice.any_of<double>({1.0, 0.9998, 0.75, 0.1});
        const double share2 = dice.any_of<double>({1.0, 0.9, 0.5});
        Volume input = draw_volume(dice).volume;
        Volume target = draw_volume(dice).volume;
        Volume own = input;
        Array3D<double> D1 = array_of(input);
        Array3D<double> D2 = array_of(target);
        const Ended adjusted = ended([&] { adjust_dynamic_range(&D1, &D2, share1, share2, N, sigma); });
        const Histogram hist1 = histogram_of(input, N, sigma);
        const Histogram hist2 = histogram_of(target, N, sigma);
        const auto [ends1, ends2] = match_endpoints(input, target, N, sigma, share1, share2);
        ASSERT_EQ(adjusted.text, text_of(ends1, ends2) + text_of(ends1, {ends2.lower, N}));
        ASSERT_EQ(bits_of(D1), bits_of(input.voxels));
        ASSERT_EQ(bits_of(D2), bits_of(target.voxels));

        D1 = array_of(own);
        adjust_dynamic_range(&D1, array_of(hist2), share1, share2, N, sigma);
        follow_segments(own, landmarks(hist1, ends1, extremes(own)), landmarks(hist2, ends2, extremes(own)));
        ASSERT_EQ(bits_of(D1), bits_of(own.voxels));
    }
    int begin = 77;
    int end = 88;
    find_histogram_endpoints(nullptr, 0, 0.5, begin, end);
    EXPECT_EQ(begin * 100 + end, 7788);
}

TEST(ScalingTransformation, FollowsAsManyLandmarksAsTheTargetCounts)
{
    const LandmarkMatrix from(4);
    const LandmarkMatrix to(4);
    for (int k = 1; k <= 3; ++k) {
        from[2][k] = k;
        to[2][k] = 10.0 * k;
    }
    to[3][4] = 2;
    Array3D<double> D = volume_of(5, 1, 1, {0.5, 1, 1.5, 2, 2.5});
    apply_scaling_transformation(&D, from, to, 4);
    EXPECT_THAT(voxels_of(D), ElementsAre(0.5, 1, 15, 20, 2.5));
}

} // namespace

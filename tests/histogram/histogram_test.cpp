// SPDX-License-Identifier: BSD-3-Clause
// What no run reaches of counting, smoothing, mapping and range adjustment, against plain twins.
#include "histogram/cdf.h"
#include "histogram/dynamic_range.h"
#include "histogram/histogram.h"
#include "histogram/histogram_files.h"
#include "tests/support/process_end.h"
#include "tests/support/random_runs.h"
#include "tests/support/scratch_files.h"
#include "tests/support/volumes.h"

#include <cmath>
#include <compare>
#include <limits>
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

/// The centre that the literal double loop assigns; 0 where no target value is near enough.
double nearest_centre(double value, const Histogram& target)
{
    double smallest = 1e19;
    double centre = 0.0;
    for (int j = 1; j <= target.bins; ++j) {
        if (std::fabs(value - target.frequency[j]) < smallest) {
            smallest = std::fabs(value - target.frequency[j]);
            centre = target.centre[j];
        }
    }
    return centre;
}

TEST(MappingBetweenCdfs, TakesTheNearestAndOfTiesTheLowestBin)
{
    constexpr double infinity = std::numeric_limits<double>::infinity();
    const std::vector<double> specials = {infinity, -infinity, 1e19, 2e19, -1e300, 1e17, -0.0, std::nan("")};
    Dice dice(20);
    for (int round = 0; round < 5000; ++round) {
        const bool with_specials = dice.once_in(3);
        const int levels = dice.any_of<int>({4, 1000});
        Histogram from(dice.between(1, 24));
        Histogram to(from.bins);
        for (int i = 1; i <= from.bins; ++i) {
            from.centre[i] = 500 + i;
            to.centre[i] = 100 + i;
            for (Histogram* const h : {&from, &to}) {
                h->frequency[i] =
                    with_specials && dice.once_in(9) ? dice.any_of(specials) : dice.between(-1, levels) * 0.5;
            }
        }
        if (dice.once_in(2)) {
            std::sort(to.frequency.begin() + 1, to.frequency.end(),
                      [](double a, double b) { return std::strong_order(a, b) < 0; });
        }
        const HistogramArray table(from.bins);
        calculate_mapping_between_cdfs(table, array_of(from), array_of(to), from.bins);
        for (int i = 1; i <= from.bins; ++i) {
            ASSERT_EQ(table[1][i], from.centre[i]);
            ASSERT_EQ(table[2][i], nearest_centre(from.frequency[i], to))
                << "round " << round << ", bin " << i;
        }
    }
    calculate_mapping_between_cdfs(nullptr, nullptr, nullptr, 0);
}

Endpoints ends_of(const Histogram& histogram, double ratio)
{
    return ratio == 1.0 ? Endpoints{1, histogram.bins} : find_endpoints(histogram, ratio);
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
    int begin = 77;
    int end = 88;
    find_histogram_endpoints(nullptr, 0, 0.5, begin, end);
    EXPECT_EQ(begin * 100 + end, 7788);
    Dice dice(6);
    for (int round = 0; round < 300; ++round) {
        const int N = dice.between(5, 40);
        const double sigma = dice.any_of<double>({0.0, 0.7, 2.0});
        const double ratio1 = dice.any_of<double>({1.0, 0.9998, 0.75, 0.1});
        const double ratio2 = dice.any_of<double>({1.0, 0.9, 0.5});
        Volume input = draw_volume(dice).volume;
        Volume target = draw_volume(dice).volume;
        Volume to_histogram = input;
        Array3D<double> D1 = array_of(input);
        Array3D<double> D2 = array_of(target);
        Array3D<double> D3 = array_of(input);
        const Histogram hist1 = histogram_of(input, N, sigma);
        const Histogram hist2 = histogram_of(target, N, sigma);
        const Endpoints ends1 = ends_of(hist1, ratio1);
        const Endpoints ends2 = ends_of(hist2, ratio2);
        const Endpoints clipped = {ends2.lower, N};
        const Ended adjusted = ended([&] { adjust_dynamic_range(&D1, &D2, ratio1, ratio2, N, sigma); });
        EXPECT_EQ(adjusted.text, text_of(ends1, ends2) + text_of(ends1, clipped));
        adjust_dynamic_range(&D3, array_of(hist2), ratio1, ratio2, N, sigma);

        const std::vector<double> from = landmarks(hist1, ends1, extremes(input));
        follow_segments(to_histogram, from, landmarks(hist2, ends2, extremes(input)));
        follow_segments(input, from, landmarks(hist2, clipped, extremes(target)));
        for (double& v : target.voxels) {
            v = std::min(v, hist2.centre[ends2.upper]);
        }
        ASSERT_EQ(bits_of(D1), bits_of(input.voxels)) << "round " << round;
        ASSERT_EQ(bits_of(D2), bits_of(target.voxels)) << "round " << round;
        ASSERT_EQ(bits_of(D3), bits_of(to_histogram.voxels)) << "round " << round;
    }
}

TEST(ScalingTransformation, FollowsAsManyLandmarksAsTheTargetCounts)
{
    for (const int count : {1, 2, 3, 4}) {
        Volume volume{7, 1, 1, {-1, 0, 1, 2, 3, 4, 5}};
        const std::vector<double> from = {0, 3, 1, 4};
        const std::vector<double> to = {10, 20, 30, 40};
        const LandmarkMatrix IM1(5);
        const LandmarkMatrix IM2(5);
        std::copy_n(from.begin(), 4, IM1[2] + 1);
        std::copy_n(to.begin(), 4, IM2[2] + 1);
        IM2[3][5] = count;
        Array3D<double> D = array_of(volume);
        apply_scaling_transformation(&D, IM1, IM2, 5);
        follow_segments(volume, {from.begin(), from.begin() + count}, to);
        EXPECT_EQ(voxels_of(D), volume.voxels) << count;
    }
}

TEST(HistogramFile, ComesBackBitForBit)
{
    Histogram ends_of_doubles(3);
    ends_of_doubles.centre = {0, 1.0 / 3.0, -0.0, 5e-324};
    ends_of_doubles.frequency = {0, 1e-5, -1e22, std::numeric_limits<double>::max()};
    const TemporaryDirectory directory;
    const std::string path = directory.path() / "target.txt";
    const HistogramArray loaded(3);
    EXPECT_TRUE(save_array(array_of(ends_of_doubles), 3, path.c_str()));
    EXPECT_FALSE(load_array(loaded, 3, path.c_str()));
    for (const int row : {1, 2}) {
        EXPECT_EQ(bits_of(row_of(loaded, row, 3)), bits_of(row_of(array_of(ends_of_doubles), row, 3)));
    }
}

} // namespace

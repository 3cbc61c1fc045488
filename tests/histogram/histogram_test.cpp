#include "histogram/HistogramArray.h"
#include "histogram/histogram.h"
#include "tests/support/volumes.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <numeric>

namespace {

using ::testing::Each;
using ::testing::ElementsAre;
using tonalign::HistogramArray;
using tonalign::test::volume_of;

std::vector<double> row(const HistogramArray& H, int which, int bins)
{
    return {H[which] + 1, H[which] + bins + 1};
}

TEST(Histogram, TakesItsRangeFromTheInnerRegionAndBoundariesIntoTheLowerBin)
{
    const double voxels[] = {-50.0, 4.0, 0.0, 1.0, std::nextafter(1.0, 2.0), 2.0, 3.0, 1e300};
    Array3D<double> D; // the first and the last voxel are margin: counted, but without a say in the range
    D.setup(0, 1, 6, 7, 0, 0, 0, 0, 0, 0, 0, 0);
    std::copy_n(voxels, 8, D.block());
    HistogramArray H(4);
    calculate_histogram(&D, H, 4);
    EXPECT_THAT(row(H, 1, 4), ElementsAre(0.5, 1.5, 2.5, 3.5));
    EXPECT_THAT(row(H, 2, 5), ElementsAre(0, 2 * 0.2, 0.2, 2 * 0.2, 5));
}

TEST(Histogram, OfAConstantVolumeIsZeroAndNotNaN)
{
    Array3D<double> D = volume_of(2, 1, 1, {7.0, 7.0});
    HistogramArray H(3);
    calculate_smoothed_histogram(&D, H, 3, 1.0);
    EXPECT_THAT(row(H, 2, 4), Each(0.0));
}

TEST(Smoothing, ConvolutionReversesTheKernelAndCountsZeroOutsideTheSignal)
{
    const std::pair<int, int> first_bins[] = {{9, 2}, {16, -2}, {2, 5}, {1, 6}}; // that the kernel covers
    for (const auto& [length, first] : first_bins) {
        double impulse[15] = {};
        impulse[6] = 1.0;
        double kernel[17];
        std::iota(std::begin(kernel), std::end(kernel), 0.0);
        double response[15];
        convolution1D(impulse, 14, kernel, length, response);
        for (int i = 1; i <= 14; ++i) {
            const int sample = i - first + 1;
            EXPECT_EQ(response[i], sample < 1 || sample > length ? 0 : sample) << length << " at " << i;
        }
    }
}

} // namespace

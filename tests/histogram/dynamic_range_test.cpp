#include "histogram/HistogramArray.h"
#include "histogram/dynamic_range.h"
#include "tests/support/volumes.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <string>
#include <tuple>

namespace {

using ::testing::DoubleEq;
using ::testing::ElementsAre;
using tonalign::HistogramArray;
using tonalign::LandmarkMatrix;
using tonalign::test::volume_of;
using tonalign::test::voxels_of;

/// The bin whose sum over bins from..bin comes closest to the ratio, each sum taken anew; the lowest of ties.
int closest_bin(double** hist, int N, double ratio, int from, int step)
{
    double smallest = 1e8;
    int closest = 0;
    for (int i = 1; i <= N; ++i) {
        double sum = 0.0;
        for (int k = from; k != i + step; k += step) {
            sum += hist[2][k];
        }
        if (std::fabs(sum - ratio) < smallest) {
            smallest = std::fabs(sum - ratio);
            closest = i;
        }
    }
    return closest;
}

TEST(Endpoints, AreThoseOfASumTakenAnewForEveryBin)
{
    std::mt19937 random(1);
    for (int N = 1; N <= 40; ++N) {
        for (const double ratio : {0.9998, 0.75, 0.5, 0.1, 1.0}) {
            HistogramArray hist(N);
            for (int i = 1; i <= N; ++i) {
                const auto count = static_cast<double>(random() % 3 == 0 ? random() % 9 : 0);
                hist[2][i] = i == 1 ? 0.0 : count / (N % 2 == 0 ? 16.0 : 10.0);
            }
            int begin = 0;
            int end = 0;
            find_histogram_endpoints(hist, N, ratio, begin, end);
            EXPECT_EQ(begin, closest_bin(hist, N, ratio, N, -1)) << N << " bins, ratio " << ratio;
            EXPECT_EQ(end, closest_bin(hist, N, ratio, 1, 1)) << N << " bins, ratio " << ratio;
        }
    }
    int begin = 77;
    int end = 88;
    find_histogram_endpoints(nullptr, 0, 0.5, begin, end);
    EXPECT_EQ(begin, 77);
    EXPECT_EQ(end, 88);
}

std::string report(int bp1, int ep1, int bp2, int ep2)
{
    return "bp_index1 = " + std::to_string(bp1) + "\tep_index1 = " + std::to_string(ep1) +
           "\nbp_index2 = " + std::to_string(bp2) + "\tep_index2 = " + std::to_string(ep2) + "\n\n";
}

// Bins 2..5 of this volume hold one voxel each.
Array3D<double> input_volume()
{
    return volume_of(5, 1, 1, {0.0, 4.0, 6.0, 8.0, 10.0});
}

TEST(DynamicRange, OfATargetVolumeIsReachedAndItsTopClipped)
{
    const auto adjust = [](double ratio1, double ratio2) {
        Array3D<double> D1 = input_volume();
        Array3D<double> D2 = volume_of(5, 1, 1, {100, 140, 160, 180, 200});
        ::testing::internal::CaptureStdout();
        adjust_dynamic_range(&D1, &D2, ratio1, ratio2, 5, 0.0);
        return std::tuple(voxels_of(D1), voxels_of(D2), ::testing::internal::GetCapturedStdout());
    };
    auto [input, target, output] = adjust(0.75, 0.5); // landmarks 0, 5, 7, 10 onto 100, 170, 190, 200
    EXPECT_THAT(input, ElementsAre(0, 156, 180, DoubleEq(190 + 10.0 / 3.0), 200));
    EXPECT_THAT(target, ElementsAre(100, 140, 150, 150, 150));
    EXPECT_EQ(output, report(3, 4, 4, 3) + report(3, 4, 4, 5));
    std::tie(input, target, output) = adjust(1.0, 1.0); // landmarks 0, 1, 9, 10 onto 100, 110, 190, 200
    EXPECT_THAT(input, ElementsAre(0, 140, 160, 180, 200));
    EXPECT_THAT(target, ElementsAre(100, 140, 160, 180, 190));
    EXPECT_EQ(output, report(1, 5, 1, 5) + report(1, 5, 1, 5));
}

TEST(DynamicRange, OfATargetHistogramMovesTheEndpointsAlone)
{
    HistogramArray target(5);
    for (int i = 1; i <= 5; ++i) {
        target[1][i] = i + 1.0;
        target[2][i] = i == 1 ? 0.0 : 0.25;
    }
    Array3D<double> D = input_volume();
    adjust_dynamic_range(&D, target, 1.0, 1.0, 5, 0.0); // 0, 1, 9, 10 onto 0, 2, 6, 10
    EXPECT_THAT(voxels_of(D), ElementsAre(0, 3.5, 4.5, 5.5, 10));
    D = input_volume();
    adjust_dynamic_range(&D, target, 0.75, 0.75, 5, 0.0); // 0, 5, 7, 10 onto 0, 4, 5, 10
    EXPECT_THAT(voxels_of(D), ElementsAre(0, DoubleEq(3.2), 4.5, DoubleEq(5 + 5.0 / 3.0), 10));
}

TEST(ScalingTransformation, FollowsTheFirstSegmentThatContainsAVoxel)
{
    LandmarkMatrix from(5);
    LandmarkMatrix to(5);
    const auto mapped = [&](std::array<double, 4> landmarks, double count) {
        std::copy_n(landmarks.begin(), 4, from[2] + 1);
        to[3][5] = count;
        Array3D<double> D = volume_of(6, 1, 1, {-1, 0, 1, 2, 3, 4});
        apply_scaling_transformation(&D, from, to, 5);
        return voxels_of(D);
    };
    const double targets[] = {10, 20, 30, 40};
    std::copy_n(targets, 4, to[2] + 1);
    EXPECT_THAT(mapped({0, 2, 2, 3}, 4.0), ElementsAre(-1, 0, 15, 20, 40, 4));     // one segment is empty
    EXPECT_THAT(mapped({0, 2, -1, 3}, 4.9), ElementsAre(-1, 32.5, 15, 20, 40, 4)); // out of order
    EXPECT_THAT(mapped({0, 2, 3, 4}, 2.0), ElementsAre(-1, 0, 15, 20, 3, 4));
    EXPECT_THAT(mapped({0, 2, 3, 4}, 1.0), ElementsAre(-1, 0, 1, 2, 3, 4));
}

} // namespace

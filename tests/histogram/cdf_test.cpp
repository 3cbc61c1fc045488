#include "histogram/cdf.h"

#include "histogram/HistogramArray.h"
#include "histogram/histogram.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <numeric>
#include <random>
#include <vector>

namespace {

using tonalign::HistogramArray;

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double nan_value = std::numeric_limits<double>::quiet_NaN();

/// A histogram array with values in row 2 and centres that name their bin in row 1.
HistogramArray array_of(const std::vector<double>& values, double first_centre)
{
    HistogramArray result(static_cast<int>(values.size()));
    for (std::size_t i = 1; i <= values.size(); ++i) {
        result[1][i] = first_centre + static_cast<double>(i);
        result[2][i] = values[i - 1];
    }
    return result;
}

/// The bins that the literal double loop assigns; 0 where no target value is near enough.
std::vector<int> nearest_bins(const std::vector<double>& from, const std::vector<double>& to)
{
    std::vector<int> result;
    for (const double t : from) {
        double smallest = 1e19;
        int nearest = 0;
        for (std::size_t j = 0; j < to.size(); ++j) {
            if (std::fabs(t - to[j]) < smallest) {
                smallest = std::fabs(t - to[j]);
                nearest = static_cast<int>(j) + 1;
            }
        }
        result.push_back(nearest);
    }
    return result;
}

std::vector<int> mapped_bins(const std::vector<double>& from, const std::vector<double>& to)
{
    const int N = static_cast<int>(from.size());
    const HistogramArray cdf1 = array_of(from, 500.0);
    const HistogramArray cdf2 = array_of(to, 100.0);
    const HistogramArray table(N);
    calculate_mapping_between_cdfs(table, cdf1, cdf2, N);
    std::vector<int> result;
    for (int i = 1; i <= N; ++i) {
        EXPECT_EQ(table[1][i], cdf1[1][i]);
        result.push_back(table[2][i] == 0.0 ? 0 : static_cast<int>(table[2][i] - 100.0));
    }
    return result;
}

TEST(MappingBetweenCdfs, ResolvesTiesToTheLowestBin)
{
    const std::vector<double> plateaus = {0.0, 0.25, 0.25, 0.75, 0.75, 1.0};
    EXPECT_EQ(mapped_bins(plateaus, plateaus), (std::vector<int>{1, 2, 2, 4, 4, 6}));
    EXPECT_EQ(mapped_bins({0.125, 0.5, 0.875, -7.0, 7.0, 0.25}, plateaus),
              (std::vector<int>{1, 2, 4, 1, 6, 2}));
    // Seen from 1e17, values this small are all equally far.
    EXPECT_EQ(mapped_bins({1e17, -1e17, 1e17}, {1.0, 2.0, 3.0}), (std::vector<int>{1, 1, 1}));
    EXPECT_EQ(mapped_bins({1e19, 2e19}, {0.0, 0.5}), (std::vector<int>{0, 0}));

    const HistogramArray untouched = array_of({42.0}, 6.0);
    calculate_mapping_between_cdfs(untouched, untouched, untouched, 0);
    EXPECT_EQ(untouched[2][1], 42.0);
}

TEST(MappingBetweenCdfs, EqualsTheDoubleLoopOnEveryKindOfInput)
{
    std::mt19937 generator(20);
    std::uniform_real_distribution<double> fraction(0.0, 1.0);
    const double specials[] = {infinity, -infinity, 1e19, -1e300, 1e17, -0.0, nan_value};
    enum Kind
    {
        continuous,
        plateaus,
        unordered,
        ordered_with_specials,
        unordered_with_specials,
        kinds
    };
    for (int round = 0; round < 5000; ++round) {
        const int kind = round % kinds;
        std::vector<double> from(1 + generator() % 24);
        std::vector<double> to(from.size());
        for (std::size_t i = 0; i < to.size(); ++i) {
            to[i] = kind == plateaus ? std::floor(fraction(generator) * 4.0) / 4.0 : fraction(generator);
            from[i] = generator() % 3 == 0 ? to[generator() % (i + 1)] : fraction(generator);
        }
        for (int special = 0; kind >= ordered_with_specials && special < 3; ++special) {
            from[generator() % from.size()] = specials[generator() % 7];
            to[generator() % to.size()] = specials[generator() % (kind == ordered_with_specials ? 6 : 7)];
        }
        if (kind != unordered && kind != unordered_with_specials) {
            std::sort(to.begin(), to.end());
        }
        ASSERT_EQ(mapped_bins(from, to), nearest_bins(from, to)) << "round " << round;
    }
}

/// A volume with a margin of one voxel, whose values lie far outside those of the inner region.
Array3D<double> random_volume_with_margin()
{
    Array3D<double> D;
    D.setup(0, 1, 12, 13, 0, 1, 9, 10, 0, 1, 7, 8);
    std::mt19937 generator(7);
    std::normal_distribution<double> intensity(100.0, 25.0);
    D = -1e6;
    for (int z = 1; z <= 7; ++z) {
        for (int y = 1; y <= 9; ++y) {
            for (int x = 1; x <= 12; ++x) {
                D.address()[z][y][x] = intensity(generator);
            }
        }
    }
    D.address()[0][0][0] = 1e6;
    return D;
}

TEST(Cdfs, AreTheSumsTakenAfreshForEachBin)
{
    constexpr int N = 61;
    Array3D<double> D = random_volume_with_margin();
    for (const double sigma : {0.0, 1.5}) {
        const HistogramArray hist(N);
        const HistogramArray cdf(N);
        if (sigma > 0.0) {
            calculate_smoothed_histogram(&D, hist, N, sigma);
            calculate_smoothed_cdf(&D, cdf, N, sigma);
        } else {
            calculate_histogram(&D, hist, N);
            calculate_cdf(&D, cdf, N);
        }
        for (int i = 1; i <= N; ++i) {
            double sum = 0.0;
            for (int j = 1; j <= i; ++j) {
                sum += hist[2][j];
            }
            EXPECT_EQ(std::bit_cast<std::uint64_t>(cdf[2][i]), std::bit_cast<std::uint64_t>(sum));
            EXPECT_EQ(cdf[1][i], hist[1][i]);
        }
        EXPECT_EQ(cdf[2][1], 0.0);
        EXPECT_NEAR(cdf[2][N], 1.0, 1e-12);
    }
}

TEST(IntensityTransformation, MovesEachVoxelWithTheBinItWasCountedIn)
{
    constexpr int N = 16;
    Array3D<double> D = random_volume_with_margin();
    const HistogramArray before(N);
    calculate_histogram(&D, before, N);
    const Array3D<double> original(D);

    std::vector<double> bin_numbers(N);
    std::iota(bin_numbers.begin(), bin_numbers.end(), 1.0);
    apply_intensity_transformation(&D, array_of(bin_numbers, 0.0), N);

    std::vector<int> counts(N + 1);
    for (std::int64_t j = 0; j < D.blockSize(); ++j) {
        ++counts.at(static_cast<std::size_t>(D.block()[j]));
        if (original.block()[j] == original.getMinValue()) {
            EXPECT_EQ(D.block()[j], 1.0);
        }
        if (original.block()[j] == original.getMaxValue()) {
            EXPECT_EQ(D.block()[j], N);
        }
    }
    for (int i = 2; i <= N; ++i) {
        EXPECT_NEAR(counts[static_cast<std::size_t>(i)], before[2][i] * before[2][N + 1], 1e-6);
    }
    EXPECT_EQ(D.address()[0][0][0], N);
    EXPECT_EQ(D.address()[8][10][13], 1.0);
}

} // namespace

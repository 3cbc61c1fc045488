// SPDX-License-Identifier: BSD-3-Clause
// Landmarks of histograms, which no run uses, against plain twins.
#include "histogram/extrema.h"
#include "tests/support/random_runs.h"
#include "tests/support/volumes.h"

#include <gmock/gmock.h>

#include <array>
#include <cmath>

using namespace tonalign::test;
using tonalign::HistogramArray;
using tonalign::LandmarkMatrix;

namespace {

using Landmarks = std::vector<std::array<double, 3>>; ///< bin, intensity, frequency of each

constexpr int columns = 24;

LandmarkMatrix matrix_of(const Landmarks& landmarks)
{
    LandmarkMatrix result(columns);
    for (int row = 1; row <= 3; ++row) {
        for (std::size_t k = 0; k < landmarks.size(); ++k) {
            result[row][k + 1] = landmarks[k][row - 1];
        }
        result[row][columns] = static_cast<double>(landmarks.size());
    }
    return result;
}

Landmarks landmarks_of(const LandmarkMatrix& matrix)
{
    EXPECT_EQ(matrix[1][columns], matrix[2][columns]);
    EXPECT_EQ(matrix[1][columns], matrix[3][columns]);
    Landmarks result;
    for (int k = 1; k <= matrix[1][columns]; ++k) {
        result.push_back({matrix[1][k], matrix[2][k], matrix[3][k]});
    }
    return result;
}

TEST(ArrayExtremes, TakeTheFirstOfEqualValuesAndKeepTheIndexWithoutAny)
{
    struct Found
    {
        double value;
        int index;
    };
    const auto both = [](const std::vector<double>& values) {
        HistogramArray array(static_cast<int>(values.size()));
        std::copy(values.begin(), values.end(), array[2] + 1);
        std::array<Found, 2> found = {Found{0, 77}, Found{0, 77}};
        find_array_minimum(array, static_cast<int>(values.size()), found[0].value, found[0].index);
        find_array_maximum(array, static_cast<int>(values.size()), found[1].value, found[1].index);
        return std::vector<double>{found[0].value, found[0].index * 1.0, found[1].value,
                                   found[1].index * 1.0};
    };
    EXPECT_EQ(both({4, -2, 7, -2, 7}), (std::vector<double>{-2, 2, 7, 3}));
    EXPECT_EQ(both({}), (std::vector<double>{1e8, 77, -1e8, 77}));
    EXPECT_EQ(both({1e8, 2e8}), (std::vector<double>{1e8, 77, 2e8, 2}));
    EXPECT_EQ(both({-1e8, -2e8}), (std::vector<double>{-2e8, 2, -1e8, 77}));

    const tonalign::OffsetMatrix<int> counts(2, 3);
    int most = 0;
    int index = 77;
    counts[2][1] = -100000000;
    counts[2][2] = counts[2][3] = 5;
    find_array_maximum(counts, 1, most, index);
    EXPECT_EQ(most, -100000000);
    EXPECT_EQ(index, 77);
    find_array_maximum(counts, 3, most, index);
    EXPECT_EQ(most, 5);
    EXPECT_EQ(index, 2);
}

/// Half the difference of the neighbours; at both ends half the neighbour. Element 0 is not used.
std::vector<double> derivative(const std::vector<double>& f)
{
    std::vector<double> result(f.size());
    const std::size_t N = f.size() - 1;
    for (std::size_t i = 1; i <= N; ++i) {
        result[i] = (i == 1 ? f[2] : i == N ? f[N - 1] : f[i + 1] - f[i - 1]) * 0.5;
    }
    return result;
}

/// `sign` is 1 for maxima, -1 for minima.
Landmarks extrema(const Histogram& h, double sign)
{
    Landmarks result;
    const std::vector<double> slope = derivative(h.frequency);
    const std::vector<double> curvature = derivative(slope);
    const auto detected = [&](int i) {
        return 1 < i && i < h.bins && slope[i - 1] * slope[i + 1] < 0.0 && sign * curvature[i] < 0.0;
    };
    for (int i = 3; i < h.bins; ++i) {
        if (detected(i - 1) && detected(i)) {
            const int bin = sign * h.frequency[i] > sign * h.frequency[i - 1] ? i : i - 1;
            result.push_back({bin * 1.0, h.centre[bin], h.frequency[bin]});
        }
    }
    return result;
}

TEST(LocalExtrema, ArePairsOfDetectionsInAdjacentBins)
{
    Dice dice(8);
    std::size_t found = 0;
    for (int round = 0; round < 3000; ++round) {
        Histogram h(dice.between(1, 20));
        const int levels = dice.any_of<int>({2, 5, 50});
        for (int i = 1; i <= h.bins; ++i) {
            h.centre[i] = 10.0 * i;
            h.frequency[i] = dice.between(0, levels);
        }
        const HistogramArray array = array_of(h);
        const LandmarkMatrix maxima = matrix_of({{1, 1, 1}, {2, 2, 2}});
        const LandmarkMatrix minima = matrix_of({{1, 1, 1}});
        calculate_local_maximas(array, h.bins, maxima, columns);
        calculate_local_minimas(array, h.bins, minima, columns);
        const Landmarks expected = h.bins < 3 ? Landmarks() : extrema(h, 1.0);
        ASSERT_EQ(landmarks_of(maxima), expected);
        ASSERT_EQ(landmarks_of(minima), h.bins < 3 ? Landmarks() : extrema(h, -1.0));
        found += expected.size();
    }
    EXPECT_GT(found, 1000U);
    const HistogramArray slope(5);
    Histogram h(5);
    h.centre = {0, 1, 2, 3, 4, 5};
    h.frequency = {0, 1, 4, 6, 3, 1};
    calculate_derivative(array_of(h), slope, 5);
    EXPECT_THAT(row_of(slope, 1, 5), testing::ElementsAre(1, 2, 3, 4, 5));
    EXPECT_THAT(row_of(slope, 2, 5), testing::ElementsAre(2.0, 2.5, -0.5, -2.5, 1.5));
}

TEST(CombinedLandmarks, AreInBinOrderAndExchangedAsTheSortDoes)
{
    const LandmarkMatrix maxima = matrix_of({{40, 4, .4}, {120, 12, .3}});
    const LandmarkMatrix minima = matrix_of({{80, 8, .1}});
    combineMaximaMinima(maxima, minima, columns);
    EXPECT_EQ(landmarks_of(maxima), (Landmarks{{40, 4, .4}, {80, 8, .1}, {120, 12, .3}}));
    EXPECT_EQ(landmarks_of(minima), (Landmarks{{80, 8, .1}}));
    // Each exchange takes a landmark past others of its own bin, and not back.
    const LandmarkMatrix equal_bins = matrix_of({{6, 1, 0}, {4, 2, 0}, {6, 3, 0}});
    combineMaximaMinima(equal_bins, matrix_of({{4, 4, 0}}), columns);
    EXPECT_EQ(landmarks_of(equal_bins), (Landmarks{{4, 2, 0}, {4, 4, 0}, {6, 3, 0}, {6, 1, 0}}));
}

TEST(MatchedLandmarks, KeepTheNearestOfTheLongerList)
{
    Dice dice(9);
    for (int round = 0; round < 1000; ++round) {
        const auto draw = [&dice] {
            Landmarks landmarks(dice.between(0, 6));
            for (auto& [bin, intensity, frequency] : landmarks) {
                bin = dice.between(1, 99);
                intensity = dice.once_in(9) ? 3e8 : dice.between(0, 9);
                frequency = dice.between(0, 99);
            }
            return landmarks;
        };
        Landmarks lists[] = {draw(), draw()};
        const LandmarkMatrix matrices[] = {matrix_of(lists[0]), matrix_of(lists[1])};
        matchMaximaMinima(matrices[0], matrices[1], columns);
        Landmarks& longer = lists[lists[0].size() < lists[1].size() ? 1 : 0];
        const Landmarks& shorter = lists[lists[0].size() < lists[1].size() ? 0 : 1];
        if (longer.size() > shorter.size()) {
            Landmarks nearest;
            for (const auto& wanted : shorter) {
                nearest.push_back(longer.front());
                for (const auto& one : longer) {
                    const double distance = std::fabs(one[1] - wanted[1]);
                    const bool first = std::fabs(nearest.back()[1] - wanted[1]) >= 1e8;
                    nearest.back() =
                        distance < 1e8 && (first || distance < std::fabs(nearest.back()[1] - wanted[1]))
                            ? one
                            : nearest.back();
                }
            }
            longer = nearest;
        }
        ASSERT_EQ(landmarks_of(matrices[0]), lists[0]) << "round " << round;
        ASSERT_EQ(landmarks_of(matrices[1]), lists[1]) << "round " << round;
    }
}

} // namespace

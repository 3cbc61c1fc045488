// SPDX-License-Identifier: BSD-3-Clause
// Landmarks of histograms, which no run uses, against plain twins.
#include "histogram/extrema.h"
#include "tests/support/random_runs.h"
#include "tests/support/volumes.h"

#include <gmock/gmock.h>

#include <cmath>

using namespace tonalign::test;
using tonalign::LandmarkMatrix;

namespace {

using Landmarks = std::vector<std::array<double, 3>>; ///< bin, intensity, frequency of each

constexpr int columns = 24;

LandmarkMatrix matrix_of(const Landmarks& landmarks)
{
    LandmarkMatrix result(columns);
    for (int row = 1; row <= 3; ++row) {
        result[row][columns] = static_cast<double>(landmarks.size());
        std::transform(landmarks.begin(), landmarks.end(), result[row] + 1,
                       [row](const auto& landmark) { return landmark[row - 1]; });
    }
    return result;
}

/// Also that all rows hold the same count.
void expect_landmarks(const LandmarkMatrix& found, const Landmarks& expected)
{
    const LandmarkMatrix wanted = matrix_of(expected);
    for (int row = 1; row <= 3; ++row) {
        ASSERT_EQ(found[row][columns], wanted[row][columns]);
        ASSERT_EQ(row_of(found, row, static_cast<int>(expected.size())),
                  row_of(wanted, row, static_cast<int>(expected.size())));
    }
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

/// Pairs of neighbours at which the slope changes its sign; `sign` is 1 for maxima, -1 for minima.
Landmarks extrema(const Histogram& h, const std::vector<double>& slope, double sign)
{
    Landmarks result;
    const std::vector<double> curvature = derivative(slope);
    const auto detected = [&](int i) {
        return slope[i - 1] * slope[i + 1] < 0.0 && sign * curvature[i] < 0.0;
    };
    for (int i = 3; i < h.bins; ++i) {
        if (detected(i - 1) && detected(i)) {
            const int bin = sign * h.frequency[i] > sign * h.frequency[i - 1] ? i : i - 1;
            result.push_back({bin * 1.0, h.centre[bin], h.frequency[bin]});
        }
    }
    return result;
}

/// Each pair out of order is exchanged at once, which decides the order of landmarks of one bin.
Landmarks combined(Landmarks all, const Landmarks& minima)
{
    all.insert(all.end(), minima.begin(), minima.end());
    for (std::size_t i = 0; i < all.size(); ++i) {
        for (std::size_t j = i + 1; j < all.size(); ++j) {
            if (all[i][0] > all[j][0]) {
                std::swap(all[i], all[j]);
            }
        }
    }
    return all;
}

/// For each landmark of a shorter list the nearest of this one, or the first when none is near.
Landmarks matched(const Landmarks& list, const Landmarks& shorter)
{
    Landmarks result;
    for (const auto& wanted : shorter) {
        const auto distance = [&](const auto& one) { return std::fabs(one[1] - wanted[1]); };
        const auto nearest = std::min_element(list.begin(), list.end(), [&](const auto& a, const auto& b) {
            return distance(a) < distance(b);
        });
        result.push_back(distance(*nearest) < 1e8 ? *nearest : list.front());
    }
    return list.size() > shorter.size() ? result : list;
}

TEST(Landmarks, AreFoundMatchedAndCombinedAsInPlainLists)
{
    Dice dice(8);
    for (int round = 0; round < 3000; ++round) {
        SCOPED_TRACE("round " + std::to_string(round));
        Histogram h(dice.between(3, 20));
        for (int i = 1; i <= h.bins; ++i) {
            h.centre[i] = 10.0 * i;
            h.frequency[i] = dice.between(0, 2 + round % 40);
        }
        const LandmarkMatrix found = matrix_of({{1, 1, 1}, {2, 2, 2}});
        calculate_derivative(array_of(h), found, h.bins);
        const std::vector<double> slope = derivative(h.frequency);
        ASSERT_EQ(row_of(found, 1, h.bins), row_of(array_of(h), 1, h.bins));
        ASSERT_EQ(row_of(found, 2, h.bins), std::vector(slope.begin() + 1, slope.end()));
        calculate_local_maximas(array_of(h), h.bins, found, columns);
        expect_landmarks(found, extrema(h, slope, 1.0));
        calculate_local_minimas(array_of(h), h.bins, found, columns);
        expect_landmarks(found, extrema(h, slope, -1.0));
        calculate_local_minimas(array_of(h), 2, found, columns);
        expect_landmarks(found, {});

        Landmarks lists[] = {Landmarks(dice.between(0, 6)), Landmarks(dice.between(0, 6))};
        for (Landmarks& list : lists) {
            for (auto& [bin, intensity, frequency] : list) {
                bin = dice.between(1, 5);
                intensity = dice.once_in(9) ? 3e8 : dice.between(0, 9);
                frequency = dice.between(0, 99);
            }
        }
        const LandmarkMatrix A = matrix_of(lists[0]);
        const LandmarkMatrix B = matrix_of(lists[1]);
        const Landmarks a = lists[0].empty() ? lists[0] : matched(lists[0], lists[1]);
        const Landmarks b = lists[1].empty() ? lists[1] : matched(lists[1], lists[0]);
        matchMaximaMinima(A, B, columns);
        expect_landmarks(A, a);
        expect_landmarks(B, b);
        combineMaximaMinima(A, B, columns);
        expect_landmarks(A, combined(a, b));
    }
}

TEST(ArrayExtremes, AreTheFirstBeyondALimitThatStandsForNone)
{
    constexpr int limit = 100'000'000;
    const std::pair<std::vector<int>, std::array<int, 4>> cases[] = {
        // least and where, most and where
        {{4, -2, 7, -2, 7}, {-2, 2, 7, 3}},
        {{limit, 2 * limit}, {limit, 77, 2 * limit, 2}},
        {{-limit}, {-limit, 1, -limit, 77}}};
    for (const auto& [values, expected] : cases) {
        const tonalign::OffsetMatrix<double> reals(2, 5);
        const tonalign::OffsetMatrix<int> integers(2, 5);
        std::copy(values.begin(), values.end(), reals[2] + 1);
        std::copy(values.begin(), values.end(), integers[2] + 1);
        double least = 0.0, most = 0.0;
        int most_integer = 0, at[] = {77, 77, 77};
        find_array_minimum(reals, static_cast<int>(values.size()), least, at[0]);
        find_array_maximum(reals, static_cast<int>(values.size()), most, at[1]);
        find_array_maximum(integers, static_cast<int>(values.size()), most_integer, at[2]);
        EXPECT_THAT((std::array{least, 1.0 * at[0], most, 1.0 * at[1]}), testing::ElementsAreArray(expected));
        EXPECT_EQ(std::pair(most_integer, at[2]), std::pair(expected[2], expected[3]));
    }
}

} // namespace

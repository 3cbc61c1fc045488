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
    Landmarks result;
    for (int k = 1; k <= matrix[1][columns]; ++k) {
        result.push_back({matrix[1][k], matrix[2][k], matrix[3][k]});
    }
    EXPECT_EQ(matrix[2][columns], matrix[1][columns]);
    EXPECT_EQ(matrix[3][columns], matrix[1][columns]);
    return result;
}

TEST(ArrayExtremes, AreTheFirstBeyondALimitThatStandsForNone)
{
    const auto expect = [](const std::vector<double>& values, double least, int least_at, double most,
                           int most_at) {
        const int N = static_cast<int>(values.size());
        const tonalign::OffsetMatrix<double> reals(2, N + 1);
        const tonalign::OffsetMatrix<int> integers(2, N + 1);
        std::copy(values.begin(), values.end(), reals[2] + 1);
        std::transform(values.begin(), values.end(), integers[2] + 1,
                       [](double v) { return static_cast<int>(v); });
        double extreme = 0.0;
        int whole_extreme = 0;
        int index = 77;
        find_array_minimum(reals, N, extreme, index);
        EXPECT_EQ(std::pair(extreme, index), std::pair(least, least_at));
        find_array_maximum(reals, N, extreme, index = 77);
        EXPECT_EQ(std::pair(extreme, index), std::pair(most, most_at));
        find_array_maximum(integers, N, whole_extreme, index = 77);
        EXPECT_EQ(std::pair(whole_extreme * 1.0, index), std::pair(most, most_at));
    };
    expect({4, -2, 7, -2, 7}, -2, 2, 7, 3);
    expect({}, 1e8, 77, -1e8, 77);
    expect({1e8, 2e8}, 1e8, 77, 2e8, 2);
    expect({-1e8, -2e8}, -2e8, 2, -1e8, 77);
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
Landmarks combined(Landmarks maxima, const Landmarks& minima)
{
    maxima.insert(maxima.end(), minima.begin(), minima.end());
    for (std::size_t i = 0; i < maxima.size(); ++i) {
        for (std::size_t j = i + 1; j < maxima.size(); ++j) {
            if (maxima[i][0] > maxima[j][0]) {
                std::swap(maxima[i], maxima[j]);
            }
        }
    }
    return maxima;
}

/// For each landmark of the shorter list the nearest of the longer, or the first when none is near.
Landmarks nearest(const Landmarks& longer, const Landmarks& shorter)
{
    Landmarks result;
    for (const auto& wanted : shorter) {
        const auto distance = [&](const auto& one) { return std::fabs(one[1] - wanted[1]); };
        const auto found = std::min_element(longer.begin(), longer.end(), [&](const auto& a, const auto& b) {
            return distance(a) < distance(b);
        });
        result.push_back(distance(*found) < 1e8 ? *found : longer.front());
    }
    return result;
}

TEST(Landmarks, AreFoundCombinedAndMatchedAsByPlainLists)
{
    Dice dice(8);
    const auto draw_list = [&dice] {
        Landmarks landmarks(dice.between(0, 6));
        for (auto& [bin, intensity, frequency] : landmarks) {
            bin = dice.between(1, 5);
            intensity = dice.once_in(9) ? 3e8 : dice.between(0, 9);
            frequency = dice.between(0, 99);
        }
        return landmarks;
    };
    for (int round = 0; round < 3000; ++round) {
        SCOPED_TRACE("round " + std::to_string(round));
        Histogram h(dice.between(1, 20));
        const int levels = dice.any_of<int>({2, 5, 50});
        for (int i = 1; i <= h.bins; ++i) {
            h.centre[i] = 10.0 * i;
            h.frequency[i] = dice.between(0, levels);
        }
        const LandmarkMatrix maxima = matrix_of({{1, 1, 1}, {2, 2, 2}});
        const LandmarkMatrix minima = matrix_of({{1, 1, 1}});
        calculate_local_maximas(array_of(h), h.bins, maxima, columns);
        calculate_local_minimas(array_of(h), h.bins, minima, columns);
        ASSERT_EQ(landmarks_of(maxima), h.bins < 3 ? Landmarks() : extrema(h, 1.0));
        ASSERT_EQ(landmarks_of(minima), h.bins < 3 ? Landmarks() : extrema(h, -1.0));

        Landmarks a = draw_list();
        Landmarks b = draw_list();
        const LandmarkMatrix A = matrix_of(a);
        const LandmarkMatrix B = matrix_of(b);
        matchMaximaMinima(A, B, columns);
        (a.size() > b.size() ? a : b) = a.size() > b.size()   ? nearest(a, b)
                                        : a.size() < b.size() ? nearest(b, a)
                                                              : b;
        ASSERT_EQ(landmarks_of(A), a);
        ASSERT_EQ(landmarks_of(B), b);
        combineMaximaMinima(A, B, columns);
        ASSERT_EQ(landmarks_of(A), combined(a, b));
        ASSERT_EQ(landmarks_of(B), b);
    }
    const HistogramArray slope(5);
    Histogram h(5);
    h.centre = {0, 1, 2, 3, 4, 5};
    h.frequency = {0, 1, 4, 6, 3, 1};
    calculate_derivative(array_of(h), slope, 5);
    EXPECT_EQ(row_of(slope, 1, 5), row_of(array_of(h), 1, 5));
    EXPECT_THAT(row_of(slope, 2, 5), testing::ElementsAre(2.0, 2.5, -0.5, -2.5, 1.5));
}

} // namespace

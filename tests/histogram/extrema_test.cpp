#include "histogram/extrema.h"

#include "histogram/HistogramArray.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

using tonalign::HistogramArray;
using tonalign::LandmarkMatrix;
using tonalign::OffsetMatrix;

/// A histogram of these frequencies whose bin i is centred at 10 i.
HistogramArray histogram_of(const std::vector<double>& frequencies)
{
    HistogramArray result(static_cast<int>(frequencies.size()));
    for (std::size_t i = 1; i <= frequencies.size(); ++i) {
        result[1][i] = 10.0 * static_cast<double>(i);
        result[2][i] = frequencies[i - 1];
    }
    return result;
}

using Landmarks = std::vector<std::vector<double>>; ///< bin, intensity, frequency of each

constexpr int columns = 8;

LandmarkMatrix matrix_of(const Landmarks& landmarks)
{
    LandmarkMatrix result(columns);
    for (std::size_t row = 1; row <= 3; ++row) {
        for (std::size_t k = 1; k <= landmarks.size(); ++k) {
            result[row][k] = landmarks[k - 1][row - 1];
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
    const HistogramArray values = histogram_of({4.0, -2.0, 7.0, -2.0, 7.0});
    double extreme = 0.0;
    int index = 0;
    find_array_minimum(values, 5, extreme, index);
    EXPECT_EQ(extreme, -2.0);
    EXPECT_EQ(index, 2);
    find_array_maximum(values, 5, extreme, index);
    EXPECT_EQ(extreme, 7.0);
    EXPECT_EQ(index, 3);

    find_array_minimum(histogram_of({1e8, 2e8}), 2, extreme, index);
    EXPECT_EQ(extreme, 1e8);
    find_array_maximum(histogram_of({-1e8, -2e8}), 2, extreme, index);
    EXPECT_EQ(extreme, -1e8);
    find_array_minimum(values, 0, extreme, index);
    EXPECT_EQ(extreme, 1e8);
    EXPECT_EQ(index, 3);

    const OffsetMatrix<int> counts(2, 3);
    int most = 0;
    counts[2][1] = -100000000;
    counts[2][2] = counts[2][3] = 5;
    find_array_maximum(counts, 1, most, index);
    EXPECT_EQ(most, -100000000);
    EXPECT_EQ(index, 3);
    find_array_maximum(counts, 3, most, index);
    EXPECT_EQ(most, 5);
    EXPECT_EQ(index, 2);
}

TEST(Derivative, IsHalfTheNeighboursValueAtBothEnds)
{
    const HistogramArray derivative(5);
    calculate_derivative(histogram_of({1.0, 4.0, 6.0, 3.0, 1.0}), derivative, 5);
    const double expected[] = {2.0, 2.5, -0.5, -2.5, 1.5};
    for (int i = 1; i <= 5; ++i) {
        EXPECT_EQ(derivative[1][i], 10.0 * i);
        EXPECT_EQ(derivative[2][i], expected[i - 1]);
    }
}

TEST(LocalExtrema, ArePairsOfDetectionsInAdjacentBins)
{
    const struct
    {
        const char* what;
        std::vector<double> frequencies;
        Landmarks maxima;
        Landmarks minima;
    } cases[] = {
        {"peak in the lower bin of its pair", {0, 1, 5, 9, 6, 2, 0}, {{4, 40, 9}}, {}},
        {"peak in the upper bin of its pair", {0, 2, 6, 9, 5, 1, 0}, {{4, 40, 9}}, {}},
        {"equal neighbours: a detection alone", {0, 2, 6, 2, 0}, {}, {}},
        {"flat top: the lower bin", {0, 1, 5, 5, 1, 0}, {{3, 30, 5}}, {}},
        {"flat valley: the lower bin", {0, 9, 5, 1, 1, 5, 9}, {{2, 20, 9}}, {{4, 40, 1}}},
        {"valley", {0, 6, 9, 7, 3, 1, 2, 5, 8, 6, 1, 0}, {{3, 30, 9}, {9, 90, 8}}, {{6, 60, 1}}},
        {"valley in the upper bin", {0, 1, 6, 8, 5, 2, 1, 3, 7}, {{4, 40, 8}}, {{7, 70, 1}}},
        {"two bins", {0, 7}, {}, {}},
        {"one bin", {3}, {}, {}},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.what);
        const HistogramArray histogram = histogram_of(row.frequencies);
        const int N = static_cast<int>(row.frequencies.size());
        const LandmarkMatrix found = matrix_of({{1, 1, 1}, {2, 2, 2}});
        calculate_local_maximas(histogram, N, found, columns);
        EXPECT_EQ(landmarks_of(found), row.maxima);
        calculate_local_minimas(histogram, N, found, columns);
        EXPECT_EQ(landmarks_of(found), row.minima);
    }
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
    const Landmarks three = {{1, 10, .1}, {2, 20, .2}, {3, 30, .3}};
    const struct
    {
        const char* what;
        Landmarks shorter;
        Landmarks kept;
    } cases[] = {
        {"nearest in the order of the shorter list", {{7, 29, 0}, {6, 14, 0}}, {three[2], three[0]}},
        {"a tie goes to the first", {{6, 15, 0}, {7, 25, 0}}, {three[0], three[1]}},
        {"one landmark twice", {{6, 21, 0}, {7, 19, 0}}, {three[1], three[1]}},
        {"none within 1e8", {{7, 29, 0}, {6, 3e8, 0}}, {three[2], three[0]}},
        {"an empty list", {}, {}},
        {"equal lengths", {{7, 29, 0}, {6, 14, 0}, {5, 14, 0}}, three},
    };
    for (const auto& row : cases) {
        for (const bool longer_first : {true, false}) {
            const LandmarkMatrix longer = matrix_of(three);
            const LandmarkMatrix shorter = matrix_of(row.shorter);
            matchMaximaMinima(longer_first ? longer : shorter, longer_first ? shorter : longer, columns);
            EXPECT_EQ(landmarks_of(longer), row.kept) << row.what;
            EXPECT_EQ(landmarks_of(shorter), row.shorter) << row.what;
        }
    }
}

} // namespace

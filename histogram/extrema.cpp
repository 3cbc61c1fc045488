// SPDX-License-Identifier: BSD-3-Clause
// Searches histograms for peaks and valleys.
#include "histogram/extrema.h"

#include "histogram/HistogramArray.h"
#include "numeric/OffsetArrays.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <utility>

namespace {

using tonalign::LandmarkMatrix;
using tonalign::OffsetMatrix;

constexpr int landmark_rows = 3;

template <typename Value, typename Better>
void find_extreme(const Value* row, int N, Value& extreme, int& index, Better better)
{
    for (int i = 1; i <= N; ++i) {
        if (better(row[i], extreme)) {
            extreme = row[i];
            index = i;
        }
    }
}

void set_count(double** landmarks, int N, int count)
{
    for (int row = 1; row <= landmark_rows; ++row) {
        landmarks[row][N] = count;
    }
}

void copy_column(double** from, int from_column, double** to, int to_column)
{
    for (int row = 1; row <= landmark_rows; ++row) {
        to[row][to_column] = from[row][from_column];
    }
}

/// Lists the extrema of one kind: those at which the second derivative satisfies `bends`. Of two adjacent
/// detections the first stays when `keeps_first` says so of their frequencies.
template <typename Bends, typename KeepsFirst>
void list_extrema(double** hist1, int N1, double** I1, int N2, Bends bends, KeepsFirst keeps_first)
{
    int count = 0;
    if (N1 >= 3) {
        const OffsetMatrix<double> slope(2, N1);
        const OffsetMatrix<double> curvature(2, N1);
        calculate_derivative(hist1, slope, N1);
        calculate_derivative(slope, curvature, N1);
        bool detected_before = false;
        for (int i = 2; i < N1; ++i) {
            const bool detected = slope[2][i - 1] * slope[2][i + 1] < 0.0 && bends(curvature[2][i]);
            if (detected && detected_before) {
                const int bin = keeps_first(hist1[2][i - 1], hist1[2][i]) ? i - 1 : i;
                ++count;
                I1[1][count] = bin;
                I1[2][count] = hist1[1][bin];
                I1[3][count] = hist1[2][bin];
            }
            detected_before = detected;
        }
    }
    set_count(I1, N2, count);
}

/// Replaces the longer list by its landmarks nearest in intensity to those of the shorter.
void keep_nearest(double** longer, int longer_count, double** shorter, int shorter_count, int N)
{
    const OffsetMatrix<double> distances(2, longer_count);
    const LandmarkMatrix chosen(N);
    for (int j = 1; j <= shorter_count; ++j) {
        for (int i = 1; i <= longer_count; ++i) {
            distances[2][i] = std::fabs(shorter[2][j] - longer[2][i]);
        }
        double smallest = 0.0;
        int nearest = 1;
        find_array_minimum(distances, longer_count, smallest, nearest);
        copy_column(longer, nearest, chosen, j);
    }
    for (int j = 1; j <= shorter_count; ++j) {
        copy_column(chosen, j, longer, j);
    }
    set_count(longer, N, shorter_count);
}

} // namespace

void find_array_minimum(double** hist1, int N, double& array_min, int& array_min_index)
{
    array_min = 1e8;
    find_extreme(hist1[2], N, array_min, array_min_index, std::less<>());
}

void find_array_maximum(double** hist1, int N, double& array_max, int& array_max_index)
{
    array_max = -1e8;
    find_extreme(hist1[2], N, array_max, array_max_index, std::greater<>());
}

void find_array_maximum(int** hist1, int N, int& array_max, int& array_max_index)
{
    array_max = -100000000;
    find_extreme(hist1[2], N, array_max, array_max_index, std::greater<>());
}

void calculate_derivative(double** hist1, double** hist2, int N)
{
    std::copy_n(&hist1[1][1], N, &hist2[1][1]);
    for (int i = 2; i < N; ++i) {
        hist2[2][i] = (hist1[2][i + 1] - hist1[2][i - 1]) * 0.5;
    }
    hist2[2][1] = hist1[2][2] * 0.5;
    hist2[2][N] = hist1[2][N - 1] * 0.5;
}

void calculate_local_maximas(double** hist1, int N1, double** I1, int N2)
{
    list_extrema(
        hist1, N1, I1, N2, [](double curvature) { return curvature < 0.0; }, std::greater_equal<>());
}

void calculate_local_minimas(double** hist1, int N1, double** I1, int N2)
{
    list_extrema(
        hist1, N1, I1, N2, [](double curvature) { return curvature > 0.0; }, std::less_equal<>());
}

void combineMaximaMinima(double** IM1, double** Im1, int N)
{
    const int maxima = static_cast<int>(IM1[1][N]);
    const int minima = static_cast<int>(Im1[1][N]);
    for (int t = 1; t <= minima; ++t) {
        copy_column(Im1, t, IM1, maxima + t);
    }
    const int count = maxima + minima;
    set_count(IM1, N, count);
    // Which of two landmarks of the same bin comes first depends on these very exchanges.
    for (int i = 1; i <= count; ++i) {
        for (int j = i; j <= count; ++j) {
            if (IM1[1][i] > IM1[1][j]) {
                for (int row = 1; row <= landmark_rows; ++row) {
                    std::swap(IM1[row][i], IM1[row][j]);
                }
            }
        }
    }
}

void matchMaximaMinima(double** IM1, double** IM2, int N)
{
    const int count1 = static_cast<int>(IM1[1][N]);
    const int count2 = static_cast<int>(IM2[1][N]);
    if (count2 < count1) {
        keep_nearest(IM1, count1, IM2, count2, N);
    } else if (count1 < count2) {
        keep_nearest(IM2, count2, IM1, count1, N);
    }
}

// SPDX-License-Identifier: BSD-3-Clause
// Cumulative histograms and the mappings between them.
#include "histogram/cdf.h"

#include "histogram/BinGeometry.h"
#include "histogram/HistogramArray.h"
#include "histogram/histogram.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace {

/// Distances at or beyond this are no match at all.
constexpr double no_match = 1e19;

/// Summing on from bin to bin adds the same numbers in the same order as a fresh sum for each bin.
void accumulate_frequencies(double** hist, double** H, int N)
{
    double cumulative = 0.0;
    for (int i = 1; i <= N; ++i) {
        cumulative += hist[2][i];
        H[1][i] = hist[1][i];
        H[2][i] = cumulative;
    }
}

/// False if there is a NaN among several elements.
bool is_nowhere_decreasing(const double* begin, const double* end)
{
    return std::adjacent_find(begin, end, [](double value, double next) { return !(value <= next); }) == end;
}

/// The first of the elements nearest to t, or `end` when none is near enough.
const double* nearest_by_scan(const double* begin, const double* end, double t)
{
    const double* nearest = end;
    double smallest = no_match;
    for (const double* candidate = begin; candidate != end; ++candidate) {
        const double distance = std::fabs(t - *candidate);
        if (distance < smallest) {
            smallest = distance;
            nearest = candidate;
        }
    }
    return nearest;
}

/// The same for elements that nowhere decrease. Rounded or not, the distance never grows towards t from below
/// and never shrinks beyond it, so the nearest lies on either side of t, or in front of the lower one at an
/// equal distance: equal elements, or ones whose difference the rounding swallows. Infinities and NaN are no
/// candidates here either, for their distance is not below no_match.
const double* nearest_by_bisection(const double* begin, const double* end, double t)
{
    const auto distance = [t](double value) { return std::fabs(t - value); };
    const double* const above = std::lower_bound(begin, end, t);
    const double* nearest = end;
    double smallest = no_match;
    if (above != begin && distance(above[-1]) < smallest) {
        smallest = distance(above[-1]);
        nearest =
            std::partition_point(begin, above, [&](double value) { return distance(value) > smallest; });
    }
    if (above != end && distance(*above) < smallest) {
        nearest = above;
    }
    return nearest;
}

} // namespace

void calculate_cdf(Array3D<double>* D, double** H, int N)
{
    const tonalign::HistogramArray hist(N);
    calculate_histogram(D, hist, N);
    accumulate_frequencies(hist, H, N);
}

void calculate_smoothed_cdf(Array3D<double>* D, double** H, int N, double sigma)
{
    const tonalign::HistogramArray hist(N);
    calculate_smoothed_histogram(D, hist, N, sigma);
    accumulate_frequencies(hist, H, N);
}

void calculate_mapping_between_cdfs(double** M, double** cdf1, double** cdf2, int N)
{
    if (N < 1) {
        return;
    }
    const double* const begin = &cdf2[2][1];
    const double* const end = begin + N;
    const auto find_nearest = is_nowhere_decreasing(begin, end) ? nearest_by_bisection : nearest_by_scan;
    for (int i = 1; i <= N; ++i) {
        const double* const nearest = find_nearest(begin, end, cdf1[2][i]);
        M[1][i] = cdf1[1][i];
        M[2][i] = nearest == end ? 0.0 : cdf2[1][1 + (nearest - begin)];
    }
}

void apply_intensity_transformation(Array3D<double>* D, double** H, int N)
{
    const tonalign::BinGeometry bins(tonalign::intensity_range(*D), N);
    const double* const table = H[2];
    double* const voxels = D->block();
    for (std::int64_t j = 0; j < D->blockSize(); ++j) {
        voxels[j] = table[bins.binOf(voxels[j])];
    }
}

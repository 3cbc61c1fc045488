// SPDX-License-Identifier: BSD-3-Clause
// Endpoints, landmarks and the piecewise linear map.
#include "histogram/dynamic_range.h"

#include "histogram/HistogramArray.h"
#include "histogram/histogram.h"

#include <cmath>
#include <iostream>

namespace {

using tonalign::calculate_histogram;
using tonalign::HistogramArray;
using tonalign::intensity_range;
using tonalign::IntensityRange;
using tonalign::LandmarkMatrix;

/// Distances at or beyond this are no match at all.
constexpr double no_match = 1e8;

struct Endpoints
{
    int begin;
    int end;
};

Endpoints endpoints_of(double** hist, int N, double energyratio)
{
    Endpoints endpoints = {1, N};
    if (energyratio != 1.0) {
        find_histogram_endpoints(hist, N, energyratio, endpoints.begin, endpoints.end);
    }
    return endpoints;
}

/// The four landmarks of a histogram: minimum, lower and upper endpoint, maximum.
LandmarkMatrix range_landmarks(double** hist, int N, const Endpoints& endpoints, const IntensityRange& range)
{
    LandmarkMatrix landmarks(N);
    const auto set_column = [&](int k, int bin, double intensity) {
        landmarks[1][k] = bin;
        landmarks[2][k] = intensity;
        landmarks[3][k] = hist[2][bin];
    };
    set_column(1, 1, range.minimum);
    set_column(2, endpoints.begin, hist[1][endpoints.begin]);
    set_column(3, endpoints.end, hist[1][endpoints.end]);
    set_column(4, N, range.maximum);
    landmarks[1][N] = landmarks[2][N] = landmarks[3][N] = 4.0;
    return landmarks;
}

void print_endpoints(const Endpoints& input, const Endpoints& target, std::ostream& console)
{
    console << "bp_index1 = " << input.begin << "\tep_index1 = " << input.end
            << "\nbp_index2 = " << target.begin << "\tep_index2 = " << target.end << "\n\n";
}

/// Where a voxel goes: along the first segment that contains it, or nowhere.
double map_intensity(double v, const double* from, const double* to, int landmarks)
{
    for (int k = 1; k < landmarks; ++k) {
        if (from[k] < v && v <= from[k + 1]) {
            return ((v - from[k]) * (to[k + 1] - to[k])) / (from[k + 1] - from[k]) + to[k];
        }
    }
    return v;
}

void scale(double* values, std::int64_t count, const double* from, const double* to, int landmarks)
{
    for (std::int64_t j = 0; j < count; ++j) {
        values[j] = map_intensity(values[j], from, to, landmarks);
    }
}

} // namespace

void find_histogram_endpoints(double** hist1, int N, double energyratio, int& bp_index, int& ep_index)
{
    double smallest = no_match;
    double cumulative = 0.0;
    for (int i = 1; i <= N; ++i) {
        cumulative += hist1[2][i];
        const double distance = std::fabs(cumulative - energyratio);
        if (distance < smallest) {
            smallest = distance;
            ep_index = i;
        }
    }
    // Walking down, the lowest of several equally close bins is the one met last.
    smallest = no_match;
    cumulative = 0.0;
    for (int i = N; i >= 1; --i) {
        cumulative += hist1[2][i];
        const double distance = std::fabs(cumulative - energyratio);
        if (distance < no_match && distance <= smallest) {
            smallest = distance;
            bp_index = i;
        }
    }
}

void adjust_dynamic_range(Array3D<double>* D1, Array3D<double>* D2, double energyratio1, double energyratio2,
                          int N, double sigma1)
{
    const HistogramArray hist1(N);
    const HistogramArray hist2(N);
    const tonalign::MeasuredHistogram input = {intensity_range(*D1), hist1};
    const tonalign::MeasuredHistogram target = {intensity_range(*D2), hist2};
    calculate_histogram(*D1, input.range, sigma1, hist1, N);
    calculate_histogram(*D2, target.range, sigma1, hist2, N);
    const tonalign::EndpointMatch match(input, target, energyratio1, energyratio2, N, std::cout);
    match.clipTarget(D2->block(), D2->blockSize());
    match.mapInput(D1->block(), D1->blockSize());
}

void adjust_dynamic_range(Array3D<double>* D1, double** hist2, double energyratio1, double energyratio2,
                          int N, double sigma1)
{
    const IntensityRange range1 = intensity_range(*D1);
    const HistogramArray hist1(N);
    calculate_histogram(*D1, range1, sigma1, hist1, N);

    const Endpoints input = endpoints_of(hist1, N, energyratio1);
    const Endpoints target = endpoints_of(hist2, N, energyratio2);
    const LandmarkMatrix from = range_landmarks(hist1, N, input, range1);
    const LandmarkMatrix to = range_landmarks(hist2, N, target, range1);
    apply_scaling_transformation(D1, from, to, N);
}

void apply_scaling_transformation(Array3D<double>* D, double** IM1, double** IM2, int N)
{
    const int landmarks = static_cast<int>(IM2[3][N]);
    const int nz = D->getNzTotal();
    const std::int64_t slice_size = std::int64_t{D->getNxTotal()} * D->getNyTotal();
    double* const voxels = D->block();
#pragma omp parallel
    {
#pragma omp for schedule(dynamic, 1) nowait
        for (int z = 0; z < nz; ++z) {
            scale(voxels + z * slice_size, slice_size, IM1[2], IM2[2], landmarks);
        }
    }
}

namespace tonalign {

EndpointMatch::EndpointMatch(const MeasuredHistogram& input, const MeasuredHistogram& target,
                             double energyratio1, double energyratio2, int N, std::ostream& console)
    : m_bins(N), m_from(N), m_to(N)
{
    const Endpoints input_ends = endpoints_of(input.hist, N, energyratio1);
    Endpoints target_ends = endpoints_of(target.hist, N, energyratio2);
    print_endpoints(input_ends, target_ends, console);
    m_threshold = target.hist[1][target_ends.end];
    target_ends.end = N;
    print_endpoints(input_ends, target_ends, console);
    m_from = range_landmarks(input.hist, N, input_ends, input.range);
    m_to = range_landmarks(target.hist, N, target_ends, target.range);
}

void EndpointMatch::clipTarget(double* values, std::int64_t count) const
{
    for (std::int64_t j = 0; j < count; ++j) {
        values[j] = values[j] > m_threshold ? m_threshold : values[j];
    }
}

void EndpointMatch::mapInput(double* values, std::int64_t count) const
{
    scale(values, count, m_from[2], m_to[2], static_cast<int>(m_to[3][m_bins]));
}

} // namespace tonalign

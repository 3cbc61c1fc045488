// SPDX-License-Identifier: BSD-3-Clause
// Counts, normalises and smooths.
#include "histogram/histogram.h"

#include "histogram/BinGeometry.h"
#include "numeric/OffsetArrays.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace {

/// Voxels whose bins are found before any is counted: the first is vectorised, the second is not.
constexpr std::int64_t block_voxels = 2048;

/// How many of the values fall into each bin; entry i belongs to bin i.
///
/// Four tables take turns, so that a run of equal voxels does not wait for its own last increment.
std::vector<std::int64_t> count_bins(const double* values, std::int64_t count,
                                     const tonalign::BinGeometry& bins)
{
    constexpr std::size_t tables = 4;
    const std::size_t stride = static_cast<std::size_t>(bins.bins()) + 1;
    std::vector<std::int64_t> counts(stride * tables);
    std::array<std::int32_t, block_voxels> block;
    for (std::int64_t done = 0; done < count; done += block_voxels) {
        const std::int64_t now = std::min(block_voxels, count - done);
        bins.binsOf(values + done, now, block.data());
        for (std::size_t j = 0; j < static_cast<std::size_t>(now); ++j) {
            ++counts[(j % tables) * stride + static_cast<std::size_t>(block[j])];
        }
    }
    for (std::size_t k = stride; k < counts.size(); ++k) {
        counts[k % stride] += counts[k];
    }
    counts.resize(stride);
    return counts;
}

/// Sets bin 1 to 0 and scales bins 1..N to sum 1; gives back the sum that was divided by.
double normalise_without_background(double** H, int N)
{
    H[2][1] = 0.0;
    double sum = 0.0;
    for (int i = 1; i <= N; ++i) {
        sum += H[2][i];
    }
    if (sum != 0.0) {
        const double reciprocal = 1.0 / sum;
        for (int i = 1; i <= N; ++i) {
            H[2][i] = H[2][i] * reciprocal;
        }
    }
    return sum;
}

} // namespace

void calculate_histogram(Array3D<double>* D, double** H, int N)
{
    tonalign::calculate_histogram(*D, tonalign::intensity_range(*D), 0.0, H, N);
}

void calculate_smoothed_histogram(Array3D<double>* D, double** H, int N, double sigma)
{
    calculate_histogram(D, H, N);
    tonalign::smooth_histogram(H, N, sigma);
}

void gaussianfilter(double* f, int filterlength, double sigma)
{
    const double centre = 0.5 * (filterlength + 1.0);
    double sum = 0.0;
    for (int i = 1; i <= filterlength; ++i) {
        const double t = i - centre;
        f[i] = std::exp(((-t) * t) * 0.5 / sigma / sigma);
        sum += f[i];
    }
    for (int i = 1; i <= filterlength; ++i) {
        f[i] = f[i] / sum;
    }
}

void convolution1D(double* A, int lengthA, double* B, int lengthB, double* C)
{
    const std::int64_t filtercenter = (std::int64_t{lengthB} + 1) / 2;
    for (int i = 1; i <= lengthA; ++i) {
        C[i] = 0.0;
        for (int j = 1; j <= lengthB; ++j) {
            const std::int64_t index1 = i - filtercenter + j;
            const bool inside = 1 <= index1 && index1 <= lengthA;
            C[i] = C[i] + (inside ? A[index1] : 0.0) * B[lengthB + 1 - j];
        }
    }
}

namespace tonalign {

void calculate_histogram(const Array3D<double>& volume, const IntensityRange& range, double sigma, double** H,
                         int N)
{
    const BinGeometry bins(range, N);
    const std::vector<std::int64_t> counts = count_bins(volume.block(), volume.blockSize(), bins);
    for (int i = 1; i <= N; ++i) {
        H[1][i] = bins.centre(i);
        H[2][i] = static_cast<double>(counts[static_cast<std::size_t>(i)]);
    }
    H[2][N + 1] = normalise_without_background(H, N);
    if (sigma > 0.0) {
        smooth_histogram(H, N, sigma);
    }
}

void smooth_histogram(double** H, int N, double sigma)
{
    const int filterlength = static_cast<int>(smoothing_kernel_length(sigma));
    const OffsetVector<double> kernel(1, filterlength);
    gaussianfilter(kernel, filterlength, sigma);
    const OffsetVector<double> smoothed(1, N);
    convolution1D(H[2], N, kernel, filterlength, smoothed);
    for (int i = 1; i <= N; ++i) {
        H[2][i] = smoothed[i];
    }
    normalise_without_background(H, N);
}

double smoothing_kernel_length(double sigma)
{
    return sigma < 1.0 ? 9.0 : std::trunc(10.0 * sigma + 1.0);
}

} // namespace tonalign

// SPDX-License-Identifier: BSD-3-Clause
// Counts, normalises and smooths.
#include "histogram/histogram.h"

#include "histogram/BinGeometry.h"
#include "numeric/OffsetArrays.h"
#include "volume/Team.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

namespace {

/// Voxels whose bins are found before any is counted: the first is vectorised, the second is not.
constexpr std::int64_t block_voxels = 2048;

/// How many voxels fall into each bin; entry i belongs to bin i.
///
/// Four tables take turns, so that a run of equal voxels does not wait for its own last increment.
class BinCounts
{
public:
    explicit BinCounts(const tonalign::BinGeometry& bins)
        : m_bins(bins), m_stride(static_cast<std::size_t>(bins.bins()) + 1), m_counts(m_stride * tables)
    {
    }

    /// Counts values, one voxel each.
    void add(const double* values, std::int64_t count)
    {
        for (std::int64_t done = 0; done < count; done += block_voxels) {
            const std::int64_t now = std::min(block_voxels, count - done);
            m_bins.binsOf(values + done, now, m_block.data());
            for (std::size_t j = 0; j < static_cast<std::size_t>(now); ++j) {
                ++m_counts[(j % tables) * m_stride + static_cast<std::size_t>(m_block[j])];
            }
        }
    }

    /// Counts some voxels of one value.
    void add(double value, std::int64_t voxels)
    {
        m_counts[static_cast<std::size_t>(m_bins.binOf(value))] += voxels;
    }

    std::vector<std::int64_t> total() const
    {
        std::vector<std::int64_t> sum(m_stride);
        for (std::size_t k = 0; k < m_counts.size(); ++k) {
            sum[k % m_stride] += m_counts[k];
        }
        return sum;
    }

private:
    static constexpr std::size_t tables = 4;

    const tonalign::BinGeometry& m_bins;
    std::size_t m_stride;
    std::vector<std::int64_t> m_counts;
    std::array<std::int32_t, block_voxels> m_block;
};

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

void fill_histogram(const tonalign::BinGeometry& bins, const std::vector<std::int64_t>& counts, double sigma,
                    double** H)
{
    for (int i = 1; i <= bins.bins(); ++i) {
        H[1][i] = bins.centre(i);
        H[2][i] = static_cast<double>(counts[static_cast<std::size_t>(i)]);
    }
    H[2][bins.bins() + 1] = normalise_without_background(H, bins.bins());
    if (sigma > 0.0) {
        tonalign::smooth_histogram(H, bins.bins(), sigma);
    }
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
    // Outside the signal a finite kernel adds zeros, which change no bit of a sum that began at +0.
    const bool finite =
        std::all_of(B + 1, B + 1 + std::max(lengthB, 0), [](double b) { return std::isfinite(b); });
    for (int i = 1; i <= lengthA; ++i) {
        const std::int64_t before = filtercenter - i; // index1 of sample j is j - before
        const std::int64_t first = finite ? std::max<std::int64_t>(1, 1 + before) : 1;
        const std::int64_t last = finite ? std::min<std::int64_t>(lengthB, lengthA + before) : lengthB;
        C[i] = 0.0;
        for (std::int64_t j = first; j <= last; ++j) {
            const std::int64_t index1 = j - before;
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
    BinCounts counts(bins);
    counts.add(volume.block(), volume.blockSize());
    fill_histogram(bins, counts.total(), sigma, H);
}

void calculate_histogram(const VolumeRows& volume, const IntensityRange& range, double sigma, double** H,
                         int N)
{
    const BinGeometry bins(range, N);
    std::vector<std::int64_t> total(static_cast<std::size_t>(N) + 1);
    in_parallel(volume.nz, [&](Team& team) {
        BinCounts counts(bins);
        std::vector<double> row(static_cast<std::size_t>(volume.nx));
        team.share([&](std::int64_t z) {
            for (int y = 0; y < volume.ny; ++y) {
                volume.row(static_cast<int>(z), y, row.data());
                counts.add(row.data(), volume.nx);
            }
        });
        const std::vector<std::int64_t> own = counts.total();
        team.takeTurns(
            [&] { std::transform(own.begin(), own.end(), total.begin(), total.begin(), std::plus<>()); });
    });
    fill_histogram(bins, total, sigma, H);
}

void calculate_histogram(std::span<const double> values, std::span<const std::int64_t> voxels,
                         const IntensityRange& range, double sigma, double** H, int N)
{
    const BinGeometry bins(range, N);
    BinCounts counts(bins);
    for (std::size_t k = 0; k < values.size(); ++k) {
        counts.add(values[k], voxels[k]);
    }
    fill_histogram(bins, counts.total(), sigma, H);
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

bool can_smooth(double sigma)
{
    constexpr double longest_kernel = std::numeric_limits<int>::max() - 1;
    return sigma <= 0.0 || smoothing_kernel_length(sigma) <= longest_kernel;
}

} // namespace tonalign

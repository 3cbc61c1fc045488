// SPDX-License-Identifier: BSD-3-Clause
// Small volumes made in code, and the library's objects for those of the plain transcription.
#pragma once

#include "histogram/HistogramArray.h"
#include "tests/support/plain_histogram.h"
#include "volume/Array3D.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <random>

namespace tonalign::test {

/// Indices from 0, no margin; x varies fastest in the list of voxels.
inline Array3D<double> volume_of(int nx, int ny, int nz, const std::vector<double>& voxels)
{
    Array3D<double> volume(nz, ny, nx);
    std::copy_n(voxels.begin(), volume.blockSize(), volume.block());
    return volume;
}

inline Array3D<double> array_of(const Volume& v)
{
    return volume_of(v.nx, v.ny, v.nz, v.voxels);
}

inline HistogramArray array_of(const Histogram& histogram)
{
    HistogramArray result(histogram.bins);
    std::copy(histogram.centre.begin() + 1, histogram.centre.end(), result[1] + 1);
    std::copy(histogram.frequency.begin() + 1, histogram.frequency.end(), result[2] + 1);
    return result;
}

/// Columns 1..N of a row.
inline auto row_of(const auto& matrix, int row, int N)
{
    return std::vector(matrix[row] + 1, matrix[row] + N + 1);
}

/// Voxels drawn from a few grey levels. The levels are no short binary fractions: sums of them depend on the
/// order of the additions.
inline Array3D<double> random_volume(int nx, int ny, int nz, std::mt19937::result_type levels,
                                     std::mt19937& random)
{
    Array3D<double> volume(nz, ny, nx);
    std::generate_n(volume.block(), volume.blockSize(),
                    [&] { return -1.3 + 0.7 * static_cast<double>(random() % levels); });
    return volume;
}

inline std::vector<double> voxels_of(const Array3D<double>& volume)
{
    return {volume.block(), volume.block() + volume.blockSize()};
}

/// For comparisons that must tell every bit, the sign of zero included.
inline std::vector<std::uint64_t> bits_of(const std::vector<double>& values)
{
    std::vector<std::uint64_t> bits(values.size());
    std::transform(values.begin(), values.end(), bits.begin(), std::bit_cast<std::uint64_t, double>);
    return bits;
}

inline std::vector<std::uint64_t> bits_of(const Array3D<double>& volume)
{
    return bits_of(voxels_of(volume));
}

} // namespace tonalign::test

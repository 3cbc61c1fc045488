// SPDX-License-Identifier: BSD-3-Clause
// Scans a volume for its range, eight voxels at a time.
#include "volume/IntensityRange.h"

#include "volume/Team.h"
#include "volume/wide.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <sstream>
#include <vector>

namespace tonalign {

namespace {

/// Extends `range` by the `count` values from `values` on.
///
/// Each lane keeps a running pair, replaced on a strict comparison only, so a value that is not a number
/// never enters it; v - v, which is 0 for every finite v and not a number otherwise, gives those away. Two
/// vectors at a time hide the latency of the comparison.
TONALIGN_WIDE void extend(IntensityRange& range, const double* values, std::int64_t count)
{
    constexpr int vectors = 2;
    Lanes low[vectors];
    Lanes high[vectors];
    Lanes nothing[vectors] = {};
    for (int k = 0; k < vectors; ++k) {
        low[k] = Lanes{} + range.minimum;
        high[k] = Lanes{} + range.maximum;
    }
    std::int64_t j = 0;
    for (; j + vectors * lane_count <= count; j += vectors * lane_count) {
        for (int k = 0; k < vectors; ++k) {
            const Lanes v = lanes_at(values + j + k * lane_count).lanes;
            low[k] = v < low[k] ? v : low[k];
            high[k] = v > high[k] ? v : high[k];
            nothing[k] = nothing[k] + (v - v);
        }
    }
    const auto take = [&range](double low_value, double high_value, double difference) {
        range.minimum = low_value < range.minimum ? low_value : range.minimum;
        range.maximum = high_value > range.maximum ? high_value : range.maximum;
        range.finite = range.finite && difference == 0.0;
    };
    for (int k = 0; k < vectors; ++k) {
        for (int i = 0; i < lane_count; ++i) {
            take(low[k][i], high[k][i], nothing[k][i]);
        }
    }
    for (; j < count; ++j) {
        take(values[j], values[j], values[j] - values[j]);
    }
}

/// The zero met first: the lanes above do not keep the order between the two zeros.
double first_zero(const VolumeRows& volume)
{
    std::vector<double> row(static_cast<std::size_t>(volume.nx));
    for (int z = 0; z < volume.nz; ++z) {
        for (int y = 0; y < volume.ny; ++y) {
            volume.row(z, y, row.data());
            const auto found = std::find(row.begin(), row.end(), 0.0);
            if (found != row.end()) {
                return *found;
            }
        }
    }
    return 0.0;
}

/// The voxels of a volume that are no finite numbers.
struct NotFinite
{
    std::int64_t searched = 0;
    std::int64_t count = 0;
    std::int64_t first = 0; ///< its place in storage order
    double value = 0.0;     ///< of the first

    /// Searches the next voxels in storage order.
    void search(const double* values, std::int64_t number)
    {
        for (std::int64_t j = 0; j < number; ++j, ++searched) {
            if (!std::isfinite(values[j]) && count++ == 0) {
                first = searched;
                value = values[j];
            }
        }
    }

    Fault fault(const std::string& imagename, std::int64_t x, std::int64_t y, std::int64_t z) const
    {
        if (count == 0) {
            return {};
        }
        std::ostringstream message;
        message << imagename << ": " << count
                << (count == 1 ? " voxel is not a finite number ("
                               : " voxels are not finite numbers, the first one (")
                << value << ") at x=" << x << " y=" << y << " z=" << z
                << ", but every voxel is expected to be finite";
        return {message.str()};
    }
};

} // namespace

IntensityRange intensity_range(const Array3D<double>& volume)
{
    return intensity_range({volume.getNxInner(), volume.getNyInner(), volume.getNzInner(),
                            [&volume](int z, int y, double* values) {
                                const double* const row = volume.data(
                                    volume.getZbegin() + z, volume.getYbegin() + y, volume.getXbegin());
                                std::copy_n(row, volume.getNxInner(), values);
                            }});
}

IntensityRange intensity_range(const VolumeRows& volume)
{
    std::vector<double> first(static_cast<std::size_t>(volume.nx));
    volume.row(0, 0, first.data());
    std::vector<IntensityRange> slices(static_cast<std::size_t>(volume.nz), {first[0], first[0], true});
    in_parallel(volume.nz, [&](Team& team) {
        std::vector<double> row(first.size());
        team.share([&](std::int64_t z) {
            for (int y = 0; y < volume.ny; ++y) {
                volume.row(static_cast<int>(z), y, row.data());
                extend(slices[static_cast<std::size_t>(z)], row.data(), volume.nx);
            }
        });
    });
    IntensityRange range = slices[0];
    for (const IntensityRange& slice : slices) {
        range.minimum = slice.minimum < range.minimum ? slice.minimum : range.minimum;
        range.maximum = slice.maximum > range.maximum ? slice.maximum : range.maximum;
        range.finite = range.finite && slice.finite;
    }
    if (range.minimum == 0.0 || range.maximum == 0.0) {
        const double zero = first_zero(volume);
        range.minimum = range.minimum == 0.0 ? zero : range.minimum;
        range.maximum = range.maximum == 0.0 ? zero : range.maximum;
    }
    return range;
}

Fault fault_of_voxels(const Array3D<double>& volume, const IntensityRange& range,
                      const std::string& imagename)
{
    NotFinite found;
    if (!range.finite) {
        found.search(volume.block(), volume.blockSize());
    }
    const std::int64_t nx = volume.getNxTotal();
    const std::int64_t ny = volume.getNyTotal();
    return found.fault(imagename, volume.getXmin() + found.first % nx,
                       volume.getYmin() + found.first / nx % ny, volume.getZmin() + found.first / (nx * ny));
}

Fault fault_of_voxels(const VolumeRows& volume, const IntensityRange& range, const std::string& imagename)
{
    NotFinite found;
    std::vector<double> row(static_cast<std::size_t>(volume.nx));
    for (int z = 0; z < volume.nz && !range.finite; ++z) {
        for (int y = 0; y < volume.ny; ++y) {
            volume.row(z, y, row.data());
            found.search(row.data(), volume.nx);
        }
    }
    const std::int64_t nx = volume.nx;
    return found.fault(imagename, found.first % nx, found.first / nx % volume.ny,
                       found.first / (nx * volume.ny));
}

} // namespace tonalign

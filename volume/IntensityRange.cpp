// SPDX-License-Identifier: BSD-3-Clause
// Scans a volume for its range, eight voxels at a time.
#include "volume/IntensityRange.h"

#include "volume/wide.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <sstream>

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

/// Calls function(row, count) for each run of adjacent voxels of the inner region, in storage order, until it
/// gives back true.
template <typename Function>
void for_each_run(const Array3D<double>& volume, Function function)
{
    if (volume.hasNoMargin()) {
        function(volume.block(), volume.blockSize());
        return;
    }
    for (int z = volume.getZbegin(); z <= volume.getZend(); ++z) {
        for (int y = volume.getYbegin(); y <= volume.getYend(); ++y) {
            if (function(&volume.address()[z][y][volume.getXbegin()], std::int64_t{volume.getNxInner()})) {
                return;
            }
        }
    }
}

/// The zero met first: the lanes above do not keep the order between the two zeros.
double first_zero(const Array3D<double>& volume)
{
    double zero = 0.0;
    for_each_run(volume, [&zero](const double* row, std::int64_t count) {
        const double* const found = std::find(row, row + count, 0.0);
        if (found == row + count) {
            return false;
        }
        zero = *found;
        return true;
    });
    return zero;
}

} // namespace

IntensityRange intensity_range(const Array3D<double>& volume)
{
    const double first = volume.address()[volume.getZbegin()][volume.getYbegin()][volume.getXbegin()];
    IntensityRange range = {first, first, true};
    for_each_run(volume, [&range](const double* row, std::int64_t count) {
        extend(range, row, count);
        return false;
    });
    if (range.minimum == 0.0) {
        range.minimum = first_zero(volume);
    }
    if (range.maximum == 0.0) {
        range.maximum = first_zero(volume);
    }
    return range;
}

Fault fault_of_voxels(const Array3D<double>& volume, const IntensityRange& range,
                      const std::string& imagename)
{
    if (range.finite) {
        return {};
    }
    const double* const begin = volume.block();
    const double* const end = begin + volume.blockSize();
    const auto is_not_finite = [](double v) { return !std::isfinite(v); };
    const double* const first = std::find_if(begin, end, is_not_finite);
    const std::int64_t position = first - begin;
    const std::int64_t nx = volume.getNxTotal();
    const std::int64_t ny = volume.getNyTotal();
    const std::int64_t count = std::count_if(first, end, is_not_finite);
    std::ostringstream message;
    message << imagename << ": " << count
            << (count == 1 ? " voxel is not a finite number ("
                           : " voxels are not finite numbers, the first one (")
            << *first << ") at x=" << volume.getXmin() + position % nx
            << " y=" << volume.getYmin() + position / nx % ny
            << " z=" << volume.getZmin() + position / (nx * ny)
            << ", but every voxel is expected to be finite";
    return {message.str()};
}

} // namespace tonalign

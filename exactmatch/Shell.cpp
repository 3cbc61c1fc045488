// SPDX-License-Identifier: BSD-3-Clause
// Neighbours from the filter bank, and rows added with wide instructions.
#include "exactmatch/Shell.h"

#include "exactmatch/filter_bank.h"
#include "volume/wide.h"

namespace tonalign {

namespace {

template <typename Value, typename Sum>
[[gnu::always_inline]] inline void add(const Value* __restrict values, int count, Sum* __restrict sums)
{
    for (int x = 0; x < count; ++x) {
        sums[x] = static_cast<Sum>(sums[x] + values[x]);
    }
}

} // namespace

Shell::Shell(int level, const VolumeView& view)
{
    if (level == 0) {
        neighbours = {{0, 0, 0, 0}};
        return;
    }
    Array3D<double> filter;
    get3DfilterArray(1, filter_of_level(level), filter);
    const int size = filter.getNxInner();
    reach = (size - 1) / 2;
    for (int k = 0; k < size * size * size; ++k) {
        if (filter.block()[k] != 0.0) {
            const int dz = k / (size * size) - reach;
            const int dy = k / size % size - reach;
            const int dx = k % size - reach;
            neighbours.push_back({dz, dy, dx, dz * view.stride_z + dy * view.stride_y + dx * view.stride_x});
        }
    }
}

TONALIGN_WIDE void add_row(const std::uint8_t* values, int count, std::uint16_t* sums)
{
    add(values, count, sums);
}
TONALIGN_WIDE void add_row(const std::int16_t* values, int count, std::int32_t* sums)
{
    add(values, count, sums);
}
TONALIGN_WIDE void add_row(const std::int32_t* values, int count, double* sums)
{
    add(values, count, sums);
}
TONALIGN_WIDE void add_row(const float* values, int count, double* sums)
{
    add(values, count, sums);
}
TONALIGN_WIDE void add_row(const double* values, int count, double* sums)
{
    add(values, count, sums);
}

} // namespace tonalign

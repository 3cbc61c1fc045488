// SPDX-License-Identifier: BSD-3-Clause
// Fills the shell filters.
#include "exactmatch/filter_bank.h"

namespace {

/// Squared distances from the centre that a filter collects; the shells lie back to back.
struct Shell
{
    int half_width;
    int nearest;
    int farthest;
};

Shell shell_of(int filterno)
{
    switch (filterno) {
    case 2:
        return {1, 1, 1};
    case 3:
        return {1, 2, 3};
    case 4:
        return {2, 4, 4};
    case 5:
        return {2, 5, 5};
    case 6:
        return {2, 6, 12};
    default:
        return {1, 0, -1};
    }
}

} // namespace

void get3DfilterArray(int filterfamily, int filterno, Array3D<double>& D)
{
    if (filterfamily != 1) {
        return;
    }
    const Shell shell = shell_of(filterno);
    const int c = shell.half_width;
    const int size = 2 * c + 1;
    Array3D<double> filter(size, size, size);
    for (int z = 0; z < size; ++z) {
        for (int y = 0; y < size; ++y) {
            for (int x = 0; x < size; ++x) {
                const int distance = (z - c) * (z - c) + (y - c) * (y - c) + (x - c) * (x - c);
                const bool collected = shell.nearest <= distance && distance <= shell.farthest;
                filter.address()[z][y][x] = collected ? 1.0 : 0.0;
            }
        }
    }
    D = static_cast<const Array3D<double>&>(filter);
}

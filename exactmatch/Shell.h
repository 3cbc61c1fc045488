// SPDX-License-Identifier: BSD-3-Clause
// The neighbours that a level sums, and the sum of a row.
#pragma once

#include "volume/VolumeView.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace tonalign {

/// The position on an axis of n voxels that a periodic volume continues p with.
inline int wrapped(int p, int n)
{
    if (0 <= p && p < n) {
        return p;
    }
    const int remainder = p % n;
    return remainder < 0 ? remainder + n : remainder;
}

/// One neighbour of a shell, relative to the voxel, also as a distance in memory.
struct Neighbour
{
    int dz;
    int dy;
    int dx;
    std::ptrdiff_t offset;
};

/// The neighbours of a level in the order of summation; level 0 is the voxel alone.
struct Shell
{
    Shell() = default;
    Shell(int level, const VolumeView& view);

    int reach = 0;
    std::vector<Neighbour> neighbours;
};

/// Adds a row of voxels to a row of sums. One function for each pair of types, since the compiler clones no
/// templates for wide instructions.
void add_row(const std::uint8_t* values, int count, std::uint16_t* sums);
void add_row(const std::int16_t* values, int count, std::int32_t* sums);
void add_row(const std::int32_t* values, int count, double* sums);
void add_row(const float* values, int count, double* sums);
void add_row(const double* values, int count, double* sums);

} // namespace tonalign

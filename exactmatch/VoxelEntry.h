// SPDX-License-Identifier: BSD-3-Clause
// What is moved about while voxels are put into order.
#pragma once

#include <bit>
#include <cstdint>

namespace tonalign {

/// A voxel and what orders it at present.
template <typename Position>
struct VoxelEntry
{
    std::uint64_t key;
    Position position; ///< in raster order, from 0
    Position column;   ///< its place among the voxels of its bin in raster order, where that matters
};

/// A value that orders finite doubles as unsigned integers: a < b exactly when sort_key(a) < sort_key(b), and
/// the two zeros, which compare equal, share a key.
inline std::uint64_t sort_key(double value)
{
    const auto bits = std::bit_cast<std::uint64_t>(value + 0.0); // -0 + 0 is +0
    constexpr std::uint64_t sign = std::uint64_t{1} << 63;
    return (bits & sign) != 0 ? ~bits : bits | sign;
}

} // namespace tonalign

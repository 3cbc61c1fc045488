// SPDX-License-Identifier: BSD-3-Clause
// What is moved about while voxels are put into order.
#pragma once

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

} // namespace tonalign

// SPDX-License-Identifier: BSD-3-Clause
// Finds voxels that need no sums to be known as equal.
#pragma once

#include "volume/Intensities.h"

#include <cstdint>
#include <span>
#include <vector>

namespace tonalign {

/// Lists flat voxels, by their places among these positions in raster order: around them one intensity, the
/// same for all, is alone as far as any shell reaches, so that they are equal on all levels.
///
/// Looks in rows that hold many of the positions, for an intensity that most of them seem to have; finding
/// none is as right. Costs 25 comparisons for each voxel of such a row.
std::vector<std::uint32_t> find_flat(const Intensities& volume, std::span<const std::uint32_t> positions);
std::vector<std::uint64_t> find_flat(const Intensities& volume, std::span<const std::uint64_t> positions);

} // namespace tonalign

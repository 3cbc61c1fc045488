// SPDX-License-Identifier: BSD-3-Clause
// Exact matching as the tool runs it.
#pragma once

#include "volume/Array3D.h"
#include "volume/IntensityRange.h"

#include <cstdint>
#include <limits>

namespace tonalign {

/// Gives a volume exactly the target histogram, computing the features it needs on the way.
///
/// The result is that of perfect_histogram_matching on the complete feature stack, voxel for voxel; it takes
/// a fraction of the time and 12 bytes per foreground voxel (16 beyond 2^32 voxels) instead of a stack.
///
/// @param volume  matched in place; lowest index 0, no margin, finite voxels
/// @param range   its intensity range
/// @param hist2   2 x (N+1) target histogram, 1-based: row 1 the values to hand out, row 2 the normalised
///                frequencies, which are rounded voxel counts afterwards
/// @param N       number of bins of both histograms, at least 1
/// @param most_voxels_of_32_bits  the largest volume whose positions are kept in 32 bits; tests lower it
void match_exactly(Array3D<double>& volume, const IntensityRange& range, double** hist2, int N,
                   std::int64_t most_voxels_of_32_bits = std::numeric_limits<std::uint32_t>::max());

} // namespace tonalign

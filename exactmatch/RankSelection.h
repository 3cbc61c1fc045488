// SPDX-License-Identifier: BSD-3-Clause
// The documented arrangement of equal keys.
#pragma once

#include "exactmatch/MatchingLimits.h"
#include "exactmatch/VoxelEntry.h"

#include <cstdint>
#include <span>

namespace tonalign {

/// Arranges the voxels of one bin as quicksort_feature_array does, as far as the ends ask for it.
///
/// An end is a column after which another value is handed out. A run of columns that holds no end is left as
/// it is, since no value depends on its order. Each partition that does run is the documented one, exchange
/// by exchange, so every end has exactly those entries before it that the full sort would put there, entries
/// with equal keys included.
///
/// Cost: about n log b steps of a nanosecond or two for n entries and b ends. Where a pivot is known to be
/// the largest key of its run, everything goes to its low side, and the whole partition is the exchange of
/// the middle with the last: without that, equal keys would cost the square of their number. Arrangements
/// that make the middle a poor pivot over and over, intensities that fall and rise again for one, stay
/// quadratic, as the documented sort is.
///
/// @param entries  in raster order of the bin's voxels; keys are ranks, equal for voxels that no level tells
///                 apart
/// @param ends     ascending, counted from the first entry
template <typename Position>
void arrange(std::span<VoxelEntry<Position>> entries, std::span<const std::int64_t> ends,
             const MatchingLimits& limits = {});

} // namespace tonalign

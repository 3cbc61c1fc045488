// SPDX-License-Identifier: BSD-3-Clause
// Bins in which equal voxels lie on both sides of an end.
#pragma once

#include "exactmatch/Cells.h"
#include "exactmatch/MatchingLimits.h"
#include "exactmatch/RangeCodes.h"
#include "exactmatch/ShellSums.h"
#include "exactmatch/TargetRanges.h"

#include <cstdint>
#include <vector>

namespace tonalign {

/// A bin that the documented arrangement decides.
struct TiedBin
{
    int bin;
    bool settled; ///< whether all its voxels have codes, right but for the tied ends
    std::vector<std::int64_t> tied_columns; ///< then these ends, ascending
};

/// Gives the voxels of some bins their codes by the documented arrangement.
///
/// Where a key holds all levels, the documented exchanges run on keys. Otherwise, and where it is not known
/// which ends are tied, the voxels are ranked first, equal ones equally, by whatever sort is fast; then the
/// exchanges run on ranks. They read no voxel. Cost: 4 bytes for each voxel of these bins, and while one is
/// arranged, 16 for each of its voxels; from 2^32 voxels of the volume on 8 and 24.
///
/// @param bins  ascending
template <typename Position>
void arrange_bins(const Intensities& volume, const Cells& cells, const ShellSums& sums,
                  const TargetRanges& target, const std::vector<TiedBin>& bins, const MatchingLimits& limits,
                  RangeCodes& codes);

} // namespace tonalign

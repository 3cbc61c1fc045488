// SPDX-License-Identifier: BSD-3-Clause
// Exact matching as the tool runs it.
#pragma once

#include "exactmatch/MatchingLimits.h"
#include "exactmatch/RangeCodes.h"
#include "volume/Array3D.h"
#include "volume/Intensities.h"
#include "volume/IntensityRange.h"

#include <cstdint>
#include <vector>

namespace tonalign {

/// What the exact stage makes of a volume: voxels of code 0 keep their intensity, those of code k receive
/// values[k].
struct ExactMatch
{
    RangeCodes codes; ///< absent when no voxel receives anything
    std::vector<double> values;
    std::vector<std::int64_t> counts; ///< voxels of each code from 1 on
};

/// Gives a volume exactly the target histogram, computing the features it needs on the way.
///
/// The result is that of perfect_histogram_matching on the complete feature stack, voxel for voxel, at a
/// small part of the time and the memory; the volume is only read. Ends no process.
///
/// @param volume  finite intensities
/// @param range   their range
/// @param hist2   2 x (N+1) target histogram, 1-based: row 1 the values to hand out, row 2 the normalised
///                frequencies, which are rounded voxel counts afterwards
/// @param N       number of bins of both histograms, at least 1
ExactMatch match_exactly(const Intensities& volume, const IntensityRange& range, double** hist2, int N,
                         const MatchingLimits& limits = {});

/// The same with bins over a range that is not the volume's own; what lies above it is in the top bin.
ExactMatch match_exactly(const Intensities& volume, const IntensityRange& range,
                         const IntensityRange& bin_range, double** hist2, int N,
                         const MatchingLimits& limits = {});

/// The same in place; the volume has lowest index 0 and no margin.
void match_exactly(Array3D<double>& volume, const IntensityRange& range, double** hist2, int N,
                   const MatchingLimits& limits = {});

} // namespace tonalign

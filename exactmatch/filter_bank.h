// SPDX-License-Identifier: BSD-3-Clause
// The documented filters, by family and number.
#pragma once

#include "volume/Array3D.h"

namespace tonalign {

/// Levels of a feature stack: the volume itself and its responses to filters 2..6.
inline constexpr int feature_levels = 6;

/// The filter of family 1 whose response is level 1..5 of a feature stack, nearest shell first.
inline constexpr int filter_of_level(int level)
{
    return level + 1;
}

} // namespace tonalign

/// Builds one filter of the bank: the 0/1 indicator of one distance shell around a voxel.
///
/// @param filterfamily  1; for any other number D stays as it is
/// @param filterno      2 and 3 give 3x3x3 filters, the offsets at squared distance 1 and at 2..3; 4, 5 and 6
///                      give 5x5x5 filters, the offsets at 4, at 5 and at 6..12; any other number gives a
///                      3x3x3 filter of zeros
/// @param D             receives the filter, indices from 0. An empty volume takes the filter's extent; one
/// that
///                      holds memory must have that extent.
void get3DfilterArray(int filterfamily, int filterno, Array3D<double>& D);

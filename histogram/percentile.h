// SPDX-License-Identifier: BSD-3-Clause
// Where a given share of the foreground ends.
#pragma once

#include "volume/Intensities.h"

namespace tonalign {

/// The smallest intensity that at least `percent` % of the foreground's voxels do not exceed.
///
/// The foreground is what lies inside the mask or, in a volume without one, above `minimum`, the volume's
/// smallest intensity; a volume without any foreground gives `minimum`. Takes no memory for voxels: where
/// there are no levels, four passes count the bits of the intensities, sixteen at a time.
///
/// @param volume   finite intensities
/// @param percent  above 0, up to 100
double percentile(const Intensities& volume, double minimum, double percent);

} // namespace tonalign

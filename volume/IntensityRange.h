#pragma once

#include "volume/Array3D.h"

#include <string>

namespace tonalign {

/// The smallest and largest value of a volume's inner region.
///
/// Of values that compare equal (the two zeros) the first one met in storage order is given, as getMinValue
/// and getMaxValue of the volume do.
struct IntensityRange
{
    double minimum;
    double maximum;
    bool finite; ///< whether every value is a finite number
};

/// All of it in one pass. The volume must hold memory.
IntensityRange intensity_range(const Array3D<double>& volume);

/// Ends the process with status 1 and one line on standard error, which names the file and the first voxel at
/// fault, unless every voxel of a volume with this range is a finite number.
void require_finite_voxels(const Array3D<double>& volume, const IntensityRange& range,
                           const std::string& imagename);

} // namespace tonalign

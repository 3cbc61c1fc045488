#pragma once

#include "volume/Array3D.h"

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

} // namespace tonalign

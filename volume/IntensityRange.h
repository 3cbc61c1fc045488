// SPDX-License-Identifier: BSD-3-Clause
// The smallest and largest voxel, and whether all are finite.
#pragma once

#include "failure/Fault.h"
#include "volume/Array3D.h"
#include "volume/VolumeRows.h"

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
IntensityRange intensity_range(const VolumeRows& volume);

/// Every voxel of a volume with this range must be a finite number; the fault names the file, and the first
/// voxel that is not by the volume's own indices.
[[nodiscard]] Fault fault_of_voxels(const Array3D<double>& volume, const IntensityRange& range,
                                    const std::string& imagename);
[[nodiscard]] Fault fault_of_voxels(const VolumeRows& volume, const IntensityRange& range,
                                    const std::string& imagename);

} // namespace tonalign

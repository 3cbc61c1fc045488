// SPDX-License-Identifier: BSD-3-Clause
// A volume that is computed while it is read.
#pragma once

#include <functional>

namespace tonalign {

/// A volume given by its rows, so that none of its intensities need memory of their own.
struct VolumeRows
{
    int nx; ///< size in voxels
    int ny;
    int nz;

    /// Puts the intensities of row (z, y) into values[0..nx). Several threads may ask at once.
    std::function<void(int z, int y, double* values)> row;

    /// The same rounded to floats, from volumes that have a quicker way to these.
    std::function<void(int z, int y, float* values)> float_row = nullptr;
};

} // namespace tonalign

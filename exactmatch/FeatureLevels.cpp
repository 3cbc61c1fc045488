// SPDX-License-Identifier: BSD-3-Clause
// Keys of single voxels, level by level.
#include "exactmatch/FeatureLevels.h"

namespace tonalign {

FeatureLevels::FeatureLevels(const Array3D<double>& volume)
    : m_voxels(volume.block()), m_nx(volume.getNxTotal()), m_ny(volume.getNyTotal())
{
    for (int level = 1; level < feature_levels; ++level) {
        Array3D<double> filter;
        get3DfilterArray(1, filter_of_level(level), filter);
        m_responses.emplace_back(volume, filter);
    }
}

} // namespace tonalign

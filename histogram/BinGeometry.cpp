// SPDX-License-Identifier: BSD-3-Clause
// The edges of bins.
#include "histogram/BinGeometry.h"

#include "volume/wide.h"

namespace tonalign {

TONALIGN_WIDE void BinGeometry::clampedBins(const double* values, std::int64_t count, double minimum,
                                            double width, double bins, std::int32_t* result)
{
    for (std::int64_t j = 0; j < count; ++j) {
        result[j] = clampedBin(values[j], minimum, width, bins);
    }
}

void BinGeometry::binsOf(const double* values, std::int64_t count, std::int32_t* bins) const
{
    clampedBins(values, count, m_minimum, m_halfWidth + m_halfWidth, m_bins, bins);
}

} // namespace tonalign

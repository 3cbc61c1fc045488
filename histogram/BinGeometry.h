// SPDX-License-Identifier: BSD-3-Clause
// The only authority on the bin of a value.
#pragma once

#include "volume/IntensityRange.h"

#include <cmath>
#include <cstdint>

namespace tonalign {

/// How the intensities between a volume's minimum and maximum fall into N bins.
///
/// Every routine that asks for the bin of a voxel asks here, so that a voxel is always ranked, mapped and
/// counted in the same bin. Formulas are evaluated as written; their rounding is part of the result.
class BinGeometry
{
public:
    BinGeometry(const IntensityRange& range, int bins)
        : m_minimum(range.minimum),
          m_halfWidth((range.maximum - range.minimum) / (static_cast<double>(bins) + bins)),
          m_bins(bins)
    {
    }

    int bins() const { return m_bins; }

    /// Centre of bin i, 1-based.
    double centre(int i) const { return (2.0 * (i - 1.0)) * m_halfWidth + (m_halfWidth + m_minimum); }

    /// Bin of an intensity, 1..N: bin k covers (minimum + (k - 1) w, minimum + k w], and what lies outside
    /// goes to the first or last bin. Without a width (a constant volume) every voxel is in bin 1.
    int binOf(double value) const { return clampedBin(value, m_minimum, m_halfWidth + m_halfWidth, m_bins); }

    /// The bins of `count` intensities.
    void binsOf(const double* values, std::int64_t count, std::int32_t* bins) const;

private:
    static int clampedBin(double value, double minimum, double width, double bins)
    {
        const double quotient = std::ceil((value - minimum) / width);
        const double at_least_one = quotient > 1.0 ? quotient : 1.0; // also what is not a number
        return static_cast<int>(at_least_one < bins ? at_least_one : bins);
    }
    static void clampedBins(const double* values, std::int64_t count, double minimum, double width,
                            double bins, std::int32_t* result);

    double m_minimum;
    double m_halfWidth;
    int m_bins;
};

} // namespace tonalign

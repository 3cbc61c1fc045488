#pragma once

#include <cmath>

namespace tonalign {

/// How the intensities between a volume's minimum and maximum fall into N bins.
///
/// Every routine that asks for the bin of a voxel asks here, so that a voxel is always ranked, mapped and
/// counted in the same bin. Formulas are evaluated as written; their rounding is part of the result.
class BinGeometry
{
public:
    BinGeometry(double minimum, double maximum, int bins)
        : m_minimum(minimum),
          m_halfWidth((maximum - minimum) / (static_cast<double>(bins) + bins)),
          m_bins(bins)
    {
    }

    /// Centre of bin i, 1-based.
    double centre(int i) const { return (2.0 * (i - 1.0)) * m_halfWidth + (m_halfWidth + m_minimum); }

    /// Bin of an intensity, 1..N: bin k covers (minimum + (k - 1) w, minimum + k w], and what lies outside
    /// goes to the first or last bin. Without a width (a constant volume) every voxel is in bin 1.
    int binOf(double value) const
    {
        const double quotient = std::ceil((value - m_minimum) / (m_halfWidth + m_halfWidth));
        if (!(quotient > 1.0)) {
            return 1;
        }
        return quotient < m_bins ? static_cast<int>(quotient) : m_bins;
    }

private:
    double m_minimum;
    double m_halfWidth;
    int m_bins;
};

} // namespace tonalign

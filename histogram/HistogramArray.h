// SPDX-License-Identifier: BSD-3-Clause
// Owns a histogram array.
#pragma once

#include "numeric/OffsetArrays.h"

#include <algorithm>

namespace tonalign {

/// Owner of one histogram array of `bins` bins: 2 x (bins + 1), 1-based.
///
/// Row 1 holds the bin centres in intensity units, row 2 the normalised frequencies with bin 1 (the
/// background) always 0; row 2 column bins + 1 holds the voxel count that the frequencies were divided by.
/// Converts to the `double**` that the histogram routines fill.
class HistogramArray : public OffsetMatrix<double>
{
public:
    explicit HistogramArray(int bins) : OffsetMatrix(2, bins + 1), m_bins(bins) {}

    /// A copy with memory of its own, for a routine that overwrites what it is given.
    HistogramArray copy() const
    {
        HistogramArray result(m_bins);
        double** const from = *this;
        double** const to = result;
        std::copy_n(from[1] + 1, m_bins, to[1] + 1);
        std::copy_n(from[2] + 1, m_bins + 1, to[2] + 1);
        return result;
    }

private:
    int m_bins;
};

/// Owner of one landmark matrix for a histogram of `bins` bins: 3 x bins, 1-based.
///
/// Column k is the k-th landmark in increasing intensity (bin index, intensity, frequency); the landmark
/// count stands in all three rows of the last column.
class LandmarkMatrix : public OffsetMatrix<double>
{
public:
    explicit LandmarkMatrix(int bins) : OffsetMatrix(3, bins) {}
};

} // namespace tonalign

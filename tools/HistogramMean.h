// SPDX-License-Identifier: BSD-3-Clause
// The mean histogram of a group of volumes.
#pragma once

#include "failure/Fault.h"
#include "histogram/HistogramArray.h"
#include "volume/pair_file.h"

namespace tonalign {

/// The mean of normalised histograms of the same number of bins, each over its own volume's range.
///
/// Centres and frequencies are summed bin by bin in the order in which the volumes are added, in double
/// precision, and divided by the number of volumes at the end: each mean is one sum and one division.
class HistogramMean
{
public:
    /// @param bins  at least 2, since the first bin is the background
    explicit HistogramMean(int bins);

    /// Reads a volume and adds its histogram, as calculate_histogram gives it without smoothing.
    ///
    /// Faults are those of reading, a voxel that is not finite, a range whose width is not finite, no voxel
    /// outside the first bin, and a sum that is not finite; nothing more may be added then.
    [[nodiscard]] Fault add(const PairFile& input);

    /// The mean of at least one volume; column bins+1 is not written.
    HistogramArray mean() const;

private:
    int m_bins;
    int m_volumes = 0;
    HistogramArray m_sum;
    HistogramArray m_one; ///< of the volume that is being added
};

} // namespace tonalign

// SPDX-License-Identifier: BSD-3-Clause
// The mean histogram of a group of volumes.
#pragma once

#include "failure/Fault.h"
#include "histogram/HistogramArray.h"

#include <cstddef>
#include <string>
#include <vector>

namespace tonalign {

/// The mean of normalised histograms of the same number of bins, each over its own volume's range.
///
/// Every volume weighs the same. Centres and frequencies are summed bin by bin in the order in which the
/// volumes are added, in double precision, and divided by the number of volumes at the end: each mean is one
/// sum and one division.
class HistogramMean
{
public:
    /// @param bins  at least 2, since the first bin is the background
    explicit HistogramMean(int bins) : m_bins(bins), m_sum(2 * static_cast<std::size_t>(bins)) {}

    /// Adds the histogram of the volume of that name. Faults are a histogram without any voxel outside the
    /// first bin, and a sum that is not finite; nothing more may be added then.
    [[nodiscard]] Fault add(double** hist, const std::string& name);

    /// The Euclidean distance of each volume's frequencies from the mean of the others'; 0 of a single one.
    std::vector<double> distances() const;

    /// Leaves volumes out of the mean; of all that were added, one must stay.
    void leaveOut(std::size_t volume) { m_volumes[volume].left_out = true; }
    bool isLeftOut(std::size_t volume) const { return m_volumes[volume].left_out; }

    /// Leaves out the volumes whose distance is above the median by more than `limit` robust standard
    /// deviations, 1.4826 times the median absolute deviation (Hampel 1974).
    void leaveOutliersOut(double limit);

    /// The mean of the volumes that are not left out, smoothed when sigma > 0; column bins+1 is not written.
    HistogramArray mean(double sigma) const;

private:
    struct Volume
    {
        std::vector<double> centres_and_frequencies;
        bool left_out = false;
    };

    int m_bins;
    std::vector<double> m_sum;
    std::vector<Volume> m_volumes;
};

} // namespace tonalign

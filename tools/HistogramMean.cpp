// SPDX-License-Identifier: BSD-3-Clause
// Counts one volume after the other.
#include "tools/HistogramMean.h"

#include "failure/unattended_run.h"
#include "histogram/histogram.h"
#include "volume/Array3D.h"
#include "volume/IntensityRange.h"

#include <algorithm>
#include <cmath>
#include <sstream>

namespace tonalign {

namespace {

Fault fault_of_range(const IntensityRange& range, const std::string& imagename)
{
    if (std::isfinite(range.maximum - range.minimum)) {
        return {};
    }
    std::ostringstream message;
    message << imagename << ": voxels range from " << range.minimum << " to " << range.maximum
            << ", but a range of finite width is expected";
    return {message.str()};
}

} // namespace

HistogramMean::HistogramMean(int bins) : m_bins(bins), m_sum(bins), m_one(bins)
{
    for (const int row : {1, 2}) {
        std::fill_n(m_sum[row] + 1, bins, 0.0);
    }
}

Fault HistogramMean::add(const PairFile& input)
{
    const std::string& name = input.names.image;
    const std::string stage = "reading " + name;
    enter_stage(stage.c_str());
    Array3D<double> volume;
    if (Fault fault = read_image(input, volume)) {
        return fault;
    }
    const IntensityRange range = intensity_range(volume);
    if (Fault fault = fault_of_voxels(volume, range, name)) {
        return fault;
    }
    if (Fault fault = fault_of_range(range, name)) {
        return fault;
    }
    enter_stage("computing a histogram");
    calculate_histogram(volume, range, 0.0, m_one, m_bins);
    if (m_one[2][m_bins + 1] == 0.0) {
        return {name + ": all voxels fall into the background bin, the first of " + std::to_string(m_bins) +
                ", but a mean expects at least one voxel outside it"};
    }
    for (int i = 1; i <= m_bins; ++i) {
        m_sum[1][i] += m_one[1][i];
        m_sum[2][i] += m_one[2][i];
        if (!std::isfinite(m_sum[1][i])) {
            return {name + ": with this volume the centres of bin " + std::to_string(i) +
                    " sum to more than double precision holds"};
        }
    }
    ++m_volumes;
    return {};
}

HistogramArray HistogramMean::mean() const
{
    HistogramArray result(m_bins);
    for (const int row : {1, 2}) {
        std::transform(m_sum[row] + 1, m_sum[row] + 1 + m_bins, result[row] + 1,
                       [this](double sum) { return sum / m_volumes; });
    }
    return result;
}

} // namespace tonalign

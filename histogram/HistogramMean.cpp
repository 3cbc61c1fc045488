// SPDX-License-Identifier: BSD-3-Clause
// Adds histograms up, and finds those that stand apart.
#include "histogram/HistogramMean.h"

#include "histogram/histogram.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <iterator>
#include <utility>

namespace tonalign {

namespace {

double median(std::vector<double> values)
{
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return values.size() % 2 == 1 ? *middle : (*middle + *std::max_element(values.begin(), middle)) / 2.0;
}

} // namespace

Fault HistogramMean::add(double** hist, const std::string& name)
{
    if (hist[2][m_bins + 1] == 0.0) {
        return {name + ": all voxels fall into the background bin, the first of " + std::to_string(m_bins) +
                ", but a mean expects at least one voxel outside it"};
    }
    Volume volume;
    for (const int row : {1, 2}) {
        volume.centres_and_frequencies.insert(volume.centres_and_frequencies.end(), hist[row] + 1,
                                              hist[row] + 1 + m_bins);
    }
    for (std::size_t k = 0; k < m_sum.size(); ++k) {
        m_sum[k] += volume.centres_and_frequencies[k];
        if (!std::isfinite(m_sum[k])) {
            return {name + ": with this volume the centres of bin " + std::to_string(k + 1) +
                    " sum to more than double precision holds"};
        }
    }
    m_volumes.push_back(std::move(volume));
    return {};
}

std::vector<double> HistogramMean::distances() const
{
    const auto others = static_cast<double>(m_volumes.size()) - 1.0;
    std::vector<double> result;
    for (const Volume& volume : m_volumes) {
        double squares = 0.0;
        for (auto k = static_cast<std::size_t>(m_bins); others > 0.0 && k < m_sum.size(); ++k) {
            const double own = volume.centres_and_frequencies[k];
            const double difference = own - (m_sum[k] - own) / others;
            squares += difference * difference;
        }
        result.push_back(std::sqrt(squares));
    }
    return result;
}

void HistogramMean::leaveOutliersOut(double limit)
{
    const std::vector<double> distance = distances();
    const double middle = median(distance);
    std::vector<double> deviations;
    std::transform(distance.begin(), distance.end(), std::back_inserter(deviations),
                   [middle](double d) { return std::abs(d - middle); });
    constexpr double of_normal_distribution = 1.4826;
    const double farthest = middle + limit * of_normal_distribution * median(deviations);
    for (std::size_t k = 0; k < m_volumes.size(); ++k) {
        m_volumes[k].left_out = m_volumes[k].left_out || distance[k] > farthest;
    }
}

HistogramArray HistogramMean::mean(double sigma) const
{
    std::vector<double> sum(m_sum.size());
    double volumes = 0.0;
    for (const Volume& volume : m_volumes) {
        if (!volume.left_out) {
            std::transform(sum.begin(), sum.end(), volume.centres_and_frequencies.begin(), sum.begin(),
                           std::plus<>());
            ++volumes;
        }
    }
    HistogramArray result(m_bins);
    for (int i = 1; i <= m_bins; ++i) {
        result[1][i] = sum[static_cast<std::size_t>(i) - 1] / volumes;
        result[2][i] = sum[static_cast<std::size_t>(m_bins + i) - 1] / volumes;
    }
    if (sigma > 0.0) {
        smooth_histogram(result, m_bins, sigma);
    }
    return result;
}

} // namespace tonalign

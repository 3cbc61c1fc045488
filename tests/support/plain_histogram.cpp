// SPDX-License-Identifier: BSD-3-Clause
// Never made faster: each sum is taken afresh, in the documented order.
#include "tests/support/plain_histogram.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <numeric>

namespace tonalign::test {

Extremes extremes(const Volume& volume)
{
    return {*std::min_element(volume.voxels.begin(), volume.voxels.end()),
            *std::max_element(volume.voxels.begin(), volume.voxels.end())};
}

int bin_of(double v, const Extremes& range, int bins)
{
    const double half_width = (range.largest - range.smallest) / (bins + bins);
    const double k = std::ceil((v - range.smallest) / (half_width + half_width));
    return !(k >= 1.0) ? 1 : k > bins ? bins : static_cast<int>(k); // 0/0 is in bin 1
}

/// The kernel reversed, its centre rounded down, and nothing outside the signal.
std::vector<double> convolved(const std::vector<double>& signal, const std::vector<double>& kernel)
{
    std::vector<double> result(signal.size());
    const int length = static_cast<int>(kernel.size()) - 1;
    for (int i = 1; i < std::ssize(signal); ++i) {
        for (int j = 1; j <= length; ++j) {
            const int at = i - (length + 1) / 2 + j;
            const double sample = 1 <= at && at < std::ssize(signal) ? signal[at] : 0.0;
            result[i] = result[i] + sample * kernel[length + 1 - j];
        }
    }
    return result;
}

void normalise(Histogram& histogram, double sum)
{
    for (double& frequency : histogram.frequency) {
        frequency = frequency * (sum == 0.0 ? 0.0 : 1.0 / sum);
    }
}

double sum_of_frequencies(const Histogram& histogram)
{
    return std::accumulate(histogram.frequency.begin(), histogram.frequency.end(), 0.0);
}

Histogram histogram_of(const Volume& volume, int bins, double sigma)
{
    Histogram histogram(bins);
    const Extremes range = extremes(volume);
    const double h = (range.largest - range.smallest) / (bins + bins);
    for (int i = 1; i <= bins; ++i) {
        histogram.centre[i] = (2 * (i - 1)) * h + (h + range.smallest);
    }
    for (const double v : volume.voxels) {
        histogram.frequency[bin_of(v, range, bins)] += 1.0;
    }
    histogram.frequency[1] = 0.0;
    histogram.total = sum_of_frequencies(histogram);
    normalise(histogram, histogram.total);
    if (sigma > 0.0) {
        const int length = sigma < 1.0 ? 9 : static_cast<int>(10.0 * sigma + 1.0);
        std::vector<double> kernel(length + 1);
        for (int i = 1; i <= length; ++i) {
            const double t = i - 0.5 * (length + 1);
            kernel[i] = std::exp(((-t) * t) * 0.5 / sigma / sigma);
        }
        const double sum = std::accumulate(kernel.begin(), kernel.end(), 0.0);
        for (double& weight : kernel) {
            weight = weight / sum;
        }
        histogram.frequency = convolved(histogram.frequency, kernel);
        histogram.frequency[1] = 0.0;
        normalise(histogram, sum_of_frequencies(histogram));
    }
    return histogram;
}

Endpoints find_endpoints(const Histogram& histogram, double share)
{
    if (share == 1.0) {
        return {1, histogram.bins};
    }
    Endpoints found;
    double nearest_below = 1e8;
    double nearest_above = 1e8;
    for (int i = 1; i <= histogram.bins; ++i) {
        const auto& f = histogram.frequency;
        const double below = std::accumulate(f.begin(), f.begin() + i + 1, 0.0);
        const double above = std::accumulate(f.rbegin(), f.rend() - i, 0.0);
        found.upper = std::fabs(below - share) < nearest_below ? i : found.upper;
        found.lower = std::fabs(above - share) < nearest_above ? i : found.lower;
        nearest_below = std::min(nearest_below, std::fabs(below - share));
        nearest_above = std::min(nearest_above, std::fabs(above - share));
    }
    return found;
}

std::vector<double> landmarks(const Histogram& histogram, const Endpoints& ends, const Extremes& range)
{
    return {range.smallest, histogram.centre[ends.lower], histogram.centre[ends.upper], range.largest};
}

void follow_segments(Volume& volume, const std::vector<double>& from, const std::vector<double>& to)
{
    for (double& v : volume.voxels) {
        for (std::size_t k = 0; k + 1 < from.size(); ++k) {
            if (from[k] < v && v <= from[k + 1]) {
                v = ((v - from[k]) * (to[k + 1] - to[k])) / (from[k + 1] - from[k]) + to[k];
                break;
            }
        }
    }
}

double distance(const Histogram& a, const Histogram& b)
{
    double sum = 0.0;
    for (int i = 1; i <= a.bins; ++i) {
        const double difference = b.frequency[i] - a.frequency[i];
        sum = sum + difference * difference;
    }
    return std::sqrt(sum);
}

std::string file_text(const Histogram& histogram)
{
    std::string text;
    for (int i = 1; i <= histogram.bins; ++i) {
        char line[512];
        std::snprintf(line, sizeof line, "%.128g\t%.128g\n", histogram.centre[i], histogram.frequency[i]);
        text += line;
    }
    return text;
}

} // namespace tonalign::test

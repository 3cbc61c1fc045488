// SPDX-License-Identifier: BSD-3-Clause
// Histograms of the plain transcription: short loops that a reader can check, sharing no code with the tool.
#pragma once

#include <string>
#include <vector>

namespace tonalign::test {

/// A volume in file order: x fastest, then y, then z.
struct Volume
{
    int nx, ny, nz;
    std::vector<double> voxels;
};

/// Bins are counted from 1; element 0 is not used.
struct Histogram
{
    explicit Histogram(int n) : bins(n), centre(n + 1), frequency(n + 1) {}
    int bins;
    std::vector<double> centre, frequency;
    double total = 0.0;
};

/// The smallest and largest voxel; of equal ones the first in file order.
struct Extremes
{
    double smallest, largest;
};

/// The bins at which the mass from above, and the mass from below, come closest to a share of all; the first
/// and last for 1.
struct Endpoints
{
    int lower = 0, upper = 0;
};

Extremes extremes(const Volume& volume);
int bin_of(double v, const Extremes& range, int bins);
std::vector<double> convolved(const std::vector<double>& signal, const std::vector<double>& kernel);
Histogram histogram_of(const Volume& volume, int bins,
                       double sigma = 0.0); ///< smoothed from sigma > 0 on
double sum_of_frequencies(const Histogram& histogram);
void normalise(Histogram& histogram, double sum);
double distance(const Histogram& a, const Histogram& b);
std::string file_text(const Histogram& histogram);
Endpoints find_endpoints(const Histogram& histogram, double share);

/// Minimum, lower and upper endpoint and maximum, as intensities.
std::vector<double> landmarks(const Histogram& histogram, const Endpoints& ends, const Extremes& range);

/// Each value goes along the first segment (from[k], from[k+1]] that contains it, or nowhere.
void follow_segments(Volume& volume, const std::vector<double>& from, const std::vector<double>& to);

} // namespace tonalign::test

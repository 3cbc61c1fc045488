// SPDX-License-Identifier: BSD-3-Clause
// Histograms of the plain transcription: short loops that a reader can check, sharing no code with the tool.
#pragma once

#include <string>
#include <vector>

namespace tonalign::test {

/// A volume in file order: x fastest, then y, then z.
struct Volume
{
    int nx = 0;
    int ny = 0;
    int nz = 0;
    std::vector<double> voxels;
};

/// Bins are counted from 1; element 0 is not used.
struct Histogram
{
    explicit Histogram(int n) : bins(n), centre(n + 1), frequency(n + 1) {}
    int bins;
    std::vector<double> centre;
    std::vector<double> frequency;
    double total = 0.0;
};

/// The smallest and largest voxel; of equal ones the first in file order.
struct Extremes
{
    double smallest;
    double largest;
};

/// The bins at which the mass from above, and the mass from below, come closest to a share of all.
struct Endpoints
{
    int lower = 0;
    int upper = 0;
};

Extremes extremes(const Volume& volume);
int bin_of(double v, const Extremes& range, int bins);
std::vector<double> convolved(const std::vector<double>& signal, const std::vector<double>& kernel);

/// Smoothed when sigma, in bins, is above 0.
Histogram histogram_of(const Volume& volume, int bins, double sigma = 0.0);
double sum_of_frequencies(const Histogram& histogram);

/// Divides the frequencies by their sum; a histogram without any mass stays 0 throughout.
void normalise(Histogram& histogram, double sum);
Endpoints find_endpoints(const Histogram& histogram, double share);

/// Minimum, lower and upper endpoint and maximum, as intensities.
std::vector<double> landmarks(const Histogram& histogram, const Endpoints& ends, const Extremes& range);

/// Where a value goes: along the first segment (from[k], from[k+1]] that contains it, or nowhere.
double along_segments(double v, const std::vector<double>& from, const std::vector<double>& to);

/// Euclidean, between the frequencies.
double distance(const Histogram& a, const Histogram& b);

/// A histogram file, byte by byte.
std::string file_text(const Histogram& histogram);

} // namespace tonalign::test

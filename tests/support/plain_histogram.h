#pragma once

#include <cstddef>
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

    std::size_t position(int x, int y, int z) const
    {
        return (static_cast<std::size_t>(z) * static_cast<std::size_t>(ny) + static_cast<std::size_t>(y)) *
                   static_cast<std::size_t>(nx) +
               static_cast<std::size_t>(x);
    }
    double& at(int x, int y, int z) { return voxels.at(position(x, y, z)); }
    double at(int x, int y, int z) const { return voxels.at(position(x, y, z)); }
};

/// A vector whose first element has index 1; an index outside it throws.
template <typename T>
class OneBased
{
public:
    explicit OneBased(int size, T value = T{}) : m_elements(static_cast<std::size_t>(size), value) {}
    T& operator[](int i) { return m_elements.at(static_cast<std::size_t>(i - 1)); }
    const T& operator[](int i) const { return m_elements.at(static_cast<std::size_t>(i - 1)); }

private:
    std::vector<T> m_elements;
};

struct Histogram
{
    explicit Histogram(int n) : bins(n), centre(n), frequency(n) {}
    int bins;
    OneBased<double> centre;
    OneBased<double> frequency;
    double total = 0.0;
};

struct Extremes
{
    double largest = 0.0;
    double smallest = 0.0;
};

/// Bin indices, counted from 1, that enclose nearly all of a histogram's mass.
struct Endpoints
{
    int lower = 0;
    int upper = 0;
};

/// The smallest and largest voxel; of equal ones the first in file order.
Extremes extremes(const Volume& volume);

/// The bin, counted from 1, of a value in a volume with this smallest value and half bin width.
int bin_of(double v, double smallest, double half_width, int bins);

Histogram histogram_of(const Volume& volume, int bins);

/// The same, smoothed when sigma (in bins) is above 0.
Histogram histogram_of(const Volume& volume, int bins, double sigma);

double sum_of_frequencies(const Histogram& histogram);

/// Divides the frequencies by their sum; a histogram without any mass stays 0 throughout.
void normalise(Histogram& histogram, double sum);

/// Euclidean distance between the frequencies.
double distance(const Histogram& a, const Histogram& b);

/// A histogram file, byte by byte.
std::string file_text(const Histogram& histogram);

/// The bins at which the mass from below and the mass from above come closest to 99.98 %.
Endpoints find_endpoints(const Histogram& histogram);

} // namespace tonalign::test

#include "tests/support/plain_histogram.h"

#include <cmath>
#include <cstdio>

namespace tonalign::test {

namespace {

OneBased<double> gaussian_kernel(int length, double sigma)
{
    OneBased<double> kernel(length);
    const double centre = 0.5 * (length + 1);
    double sum = 0.0;
    for (int i = 1; i <= length; ++i) {
        const double t = i - centre;
        kernel[i] = std::exp(((-t) * t) * 0.5 / sigma / sigma);
        sum = sum + kernel[i];
    }
    for (int i = 1; i <= length; ++i) {
        kernel[i] = kernel[i] / sum;
    }
    return kernel;
}

std::string exact_decimal(double value)
{
    char digits[512];
    std::snprintf(digits, sizeof digits, "%.128g", value);
    return digits;
}

} // namespace

Extremes extremes(const Volume& volume)
{
    Extremes found{volume.voxels.front(), volume.voxels.front()};
    for (const double v : volume.voxels) {
        if (v > found.largest) {
            found.largest = v;
        }
        if (v < found.smallest) {
            found.smallest = v;
        }
    }
    return found;
}

int bin_of(double v, double smallest, double half_width, int bins)
{
    const double k = std::ceil((v - smallest) / (half_width + half_width));
    // The negation also takes 0/0, the quotient of a volume that holds a single value.
    if (!(k >= 1.0)) {
        return 1;
    }
    return k > bins ? bins : static_cast<int>(k);
}

void normalise(Histogram& histogram, double sum)
{
    const double r = sum == 0.0 ? 0.0 : 1.0 / sum;
    for (int i = 1; i <= histogram.bins; ++i) {
        histogram.frequency[i] = histogram.frequency[i] * r;
    }
}

double sum_of_frequencies(const Histogram& histogram)
{
    double sum = 0.0;
    for (int i = 1; i <= histogram.bins; ++i) {
        sum = sum + histogram.frequency[i];
    }
    return sum;
}

Histogram histogram_of(const Volume& volume, int bins)
{
    Histogram histogram(bins);
    const Extremes range = extremes(volume);
    const double h = (range.largest - range.smallest) / (bins + bins);
    for (int i = 1; i <= bins; ++i) {
        histogram.centre[i] = (2 * (i - 1)) * h + (h + range.smallest);
    }
    for (const double v : volume.voxels) {
        histogram.frequency[bin_of(v, range.smallest, h, bins)] += 1.0;
    }
    histogram.frequency[1] = 0.0;
    histogram.total = sum_of_frequencies(histogram);
    normalise(histogram, histogram.total);
    return histogram;
}

Histogram histogram_of(const Volume& volume, int bins, double sigma)
{
    Histogram histogram = histogram_of(volume, bins);
    if (!(sigma > 0.0)) {
        return histogram;
    }
    const int length = sigma < 1.0 ? 9 : static_cast<int>(10.0 * sigma + 1.0);
    const OneBased<double> kernel = gaussian_kernel(length, sigma);
    const int centre = (length + 1) / 2;
    OneBased<double> smoothed(bins);
    for (int i = 1; i <= bins; ++i) {
        for (int j = 1; j <= length; ++j) {
            const int index = i - centre + j;
            const double sample = (1 <= index && index <= bins) ? histogram.frequency[index] : 0.0;
            smoothed[i] = smoothed[i] + sample * kernel[length + 1 - j];
        }
    }
    histogram.frequency = smoothed;
    histogram.frequency[1] = 0.0;
    normalise(histogram, sum_of_frequencies(histogram));
    return histogram;
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
        text += exact_decimal(histogram.centre[i]) + "\t" + exact_decimal(histogram.frequency[i]) + "\n";
    }
    return text;
}

Endpoints find_endpoints(const Histogram& histogram)
{
    const double energy = 0.9998;
    Endpoints found;
    double nearest = 1e8;
    for (int i = 1; i <= histogram.bins; ++i) {
        double mass = 0.0;
        for (int k = 1; k <= i; ++k) {
            mass = mass + histogram.frequency[k];
        }
        if (std::fabs(mass - energy) < nearest) {
            nearest = std::fabs(mass - energy);
            found.upper = i;
        }
    }
    nearest = 1e8;
    for (int i = 1; i <= histogram.bins; ++i) {
        double mass = 0.0;
        for (int k = histogram.bins; k >= i; --k) {
            mass = mass + histogram.frequency[k];
        }
        if (std::fabs(mass - energy) < nearest) {
            nearest = std::fabs(mass - energy);
            found.lower = i;
        }
    }
    return found;
}

} // namespace tonalign::test

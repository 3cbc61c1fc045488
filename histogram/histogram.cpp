#include "histogram/histogram.h"

#include "histogram/BinGeometry.h"
#include "numeric/OffsetArrays.h"

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace {

/// Sets bin 1 to 0 and scales bins 1..N to sum 1; gives back the sum that was divided by.
double normalise_without_background(double** H, int N)
{
    H[2][1] = 0.0;
    double sum = 0.0;
    for (int i = 1; i <= N; ++i) {
        sum += H[2][i];
    }
    if (sum != 0.0) {
        const double reciprocal = 1.0 / sum;
        for (int i = 1; i <= N; ++i) {
            H[2][i] = H[2][i] * reciprocal;
        }
    }
    return sum;
}

} // namespace

void calculate_histogram(Array3D<double>* D, double** H, int N)
{
    const tonalign::BinGeometry bins(D->getMinValue(), D->getMaxValue(), N);
    std::vector<std::int64_t> counts(static_cast<std::size_t>(N) + 1);
    const double* const voxels = D->block();
    for (std::int64_t j = 0; j < D->blockSize(); ++j) {
        ++counts[static_cast<std::size_t>(bins.binOf(voxels[j]))];
    }
    for (int i = 1; i <= N; ++i) {
        H[1][i] = bins.centre(i);
        H[2][i] = static_cast<double>(counts[static_cast<std::size_t>(i)]);
    }
    H[2][N + 1] = normalise_without_background(H, N);
}

void calculate_smoothed_histogram(Array3D<double>* D, double** H, int N, double sigma)
{
    calculate_histogram(D, H, N);
    const int filterlength = static_cast<int>(tonalign::smoothing_kernel_length(sigma));
    const tonalign::OffsetVector<double> kernel(1, filterlength);
    gaussianfilter(kernel, filterlength, sigma);
    const tonalign::OffsetVector<double> smoothed(1, N);
    convolution1D(H[2], N, kernel, filterlength, smoothed);
    for (int i = 1; i <= N; ++i) {
        H[2][i] = smoothed[i];
    }
    normalise_without_background(H, N);
}

void gaussianfilter(double* f, int filterlength, double sigma)
{
    const double centre = 0.5 * (filterlength + 1.0);
    double sum = 0.0;
    for (int i = 1; i <= filterlength; ++i) {
        const double t = i - centre;
        f[i] = std::exp(((-t) * t) * 0.5 / sigma / sigma);
        sum += f[i];
    }
    for (int i = 1; i <= filterlength; ++i) {
        f[i] = f[i] / sum;
    }
}

void convolution1D(double* A, int lengthA, double* B, int lengthB, double* C)
{
    const std::int64_t filtercenter = (std::int64_t{lengthB} + 1) / 2;
    for (int i = 1; i <= lengthA; ++i) {
        C[i] = 0.0;
        for (int j = 1; j <= lengthB; ++j) {
            const std::int64_t index1 = i - filtercenter + j;
            const bool inside = 1 <= index1 && index1 <= lengthA;
            C[i] = C[i] + (inside ? A[index1] : 0.0) * B[lengthB + 1 - j];
        }
    }
}

namespace tonalign {

double smoothing_kernel_length(double sigma)
{
    return sigma < 1.0 ? 9.0 : std::trunc(10.0 * sigma + 1.0);
}

} // namespace tonalign

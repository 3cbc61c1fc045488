// SPDX-License-Identifier: BSD-3-Clause
// Histograms of volumes.
#pragma once

#include "volume/Array3D.h"
#include "volume/IntensityRange.h"
#include "volume/VolumeRows.h"

#include <cstdint>
#include <span>

/// Computes the intensity histogram of a volume.
///
/// @param D  the volume, lowest index 0 on each axis. The range of the bins comes from its inner region; the
///           whole allocated box is counted, values outside that range in the first or last bin.
/// @param H  2 x (N+1) histogram array, 1-based. Row 1 receives the bin centres, row 2 the frequencies, which
///           sum to 1 over bins 2..N; bin 1 (the background) is set to 0. H[2][N+1] receives the number of
///           voxels in bins 2..N. H[1][N+1] is not written.
/// @param N  number of bins, at least 1
/// A volume without any voxel beyond bin 1 gives frequencies and a count of 0.
void calculate_histogram(Array3D<double>* D, double** H, int N);

/// Computes the histogram of a volume as calculate_histogram does, then smooths it with a sampled Gaussian.
///
/// @param sigma  standard deviation in bins, > 0
/// Bin 1 is set to 0 again after the smoothing and the rest renormalised; the voxel count in column N+1 is
/// left as counted.
void calculate_smoothed_histogram(Array3D<double>* D, double** H, int N, double sigma);

/// Fills f[1..filterlength] with a sampled Gaussian centred at 0.5 (filterlength + 1), normalised to sum 1.
///
/// @param sigma  standard deviation in samples. Nothing is written when filterlength <= 0.
void gaussianfilter(double* f, int filterlength, double sigma);

/// Convolves A[1..lengthA] with the kernel B[1..lengthB] into C[1..lengthA], which is distinct from A.
///
/// The signal counts as 0 outside its range. The kernel is reversed, its centre sample being
/// (lengthB + 1) / 2 in integer division.
void convolution1D(double* A, int lengthA, double* B, int lengthB, double* C);

namespace tonalign {

/// The histogram of a volume whose intensity range is known already: smoothed when sigma > 0, otherwise
/// plain.
void calculate_histogram(const Array3D<double>& volume, const IntensityRange& range, double sigma, double** H,
                         int N);

void calculate_histogram(const VolumeRows& volume, const IntensityRange& range, double sigma, double** H,
                         int N);

/// The same of a volume that has voxels[k] voxels of values[k].
void calculate_histogram(std::span<const double> values, std::span<const std::int64_t> voxels,
                         const IntensityRange& range, double sigma, double** H, int N);

/// Smooths row 2 of a histogram array with a sampled Gaussian of sigma > 0 bins; bin 1, into which mass has
/// spread, is set to 0 again and the rest renormalised. Column N+1 is left as it was.
void smooth_histogram(double** H, int N, double sigma);

/// Number of kernel samples that a smoothing by `sigma` bins takes, as a real number: 9 below sigma 1,
/// otherwise the integer part of 10 sigma + 1.
double smoothing_kernel_length(double sigma);

/// Whether a histogram can be smoothed by `sigma` bins, or none with 0 and below: the kernel's length must
/// fit into an int.
bool can_smooth(double sigma);

} // namespace tonalign

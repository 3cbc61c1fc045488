// SPDX-License-Identifier: BSD-3-Clause
// Matching by cumulative histograms.
#pragma once

#include "volume/Array3D.h"

/// Histogram matching by cumulative distribution functions, as a lookup table of N levels.
///
/// All arrays are histogram arrays: 1-based, row 1 bin centres in intensity units, at least N columns of
/// which 1..N are touched, allocated and freed by the caller. N is at least 1 unless said otherwise.

/// Computes the cumulative histogram of a volume.
///
/// @param D  the volume, lowest index 0 on each axis, read only
/// @param H  row 1 receives the bin centres, row 2 the sums of the frequencies of bins 1..i: 0 at bin 1 (the
///           background is not counted), 1 at bin N up to rounding
void calculate_cdf(Array3D<double>* D, double** H, int N);

/// calculate_cdf from the histogram smoothed by `sigma` bins, > 0.
void calculate_smoothed_cdf(Array3D<double>* D, double** H, int N, double sigma);

/// Fills the lookup table that sends each bin of one CDF to the bin of another with the nearest value.
///
/// @param M     receives cdf1's bin centres in row 1 and, in row 2, the bin centre of cdf2 whose cumulative
///              value is nearest to that of the input bin; distinct from both CDFs
/// @param cdf1  CDF of the input, read only
/// @param cdf2  CDF of the target, read only
/// @param N     number of bins of all three; M is left alone when it is below 1
/// Equally near bins resolve to the lowest one. An input bin with no target value nearer than 1e19 (a NaN)
/// gets 0. Takes O(N log N) when cdf2 is nowhere decreasing, O(N^2) otherwise.
void calculate_mapping_between_cdfs(double** M, double** cdf1, double** cdf2, int N);

/// Replaces every voxel of the allocated box by the table value of its bin.
///
/// @param D  volume with lowest index 0 on each axis, changed in place
/// @param H  lookup table of N bins; row 2 is read
/// A voxel's bin is the one in which calculate_histogram with the same N counts it before the change.
void apply_intensity_transformation(Array3D<double>* D, double** H, int N);

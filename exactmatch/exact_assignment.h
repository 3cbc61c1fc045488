// SPDX-License-Identifier: BSD-3-Clause
// The documented exact assignment, on a stored feature stack: the reference twin of exact_matching.
#pragma once

#include "volume/Array3D.h"

/// Gives a volume exactly the target histogram, up to the rounding of counts.
///
/// Every voxel outside the background (bin 1 of the volume's own histogram) is ranked strictly, by intensity
/// and then by the responses to the shell filters; the target's bin values are handed out by rank. Voxels of
/// equal intensity can thus receive different values. After D. Coltuc, P. Bolon and J.-M. Chassery, "Exact
/// histogram specification", IEEE Transactions on Image Processing 15 (2006).
///
/// @param D1       feature stack of D1level volumes of equal extent, lowest index 0, no margin; level 0 is
/// the
///                 volume being matched, in place; the others are its filter responses, only read
/// @param hist2    2 x (N+1) target histogram, 1-based: row 1 the values to hand out, row 2 the normalised
///                 frequencies, finite and not negative. Row 2 holds rounded voxel counts afterwards.
/// @param D1level  number of levels, at least 1
/// @param N        number of bins of both histograms, at least 1
/// Background voxels keep their values. The highest ranks always receive hist2[1][N]. A volume without any
/// voxel outside the background is left as it is. Bins are ranked in parallel.
void perfect_histogram_matching(Array3D<double>* D1, double** hist2, int D1level, int N);

// SPDX-License-Identifier: BSD-3-Clause
// The documented convolution of a volume with a filter.
#pragma once

#include "volume/Array3D.h"

/// Applies a filter to a whole volume with periodic borders.
///
/// The response at a voxel is the sum of input value x weight over the filter laid on it without reversal,
/// its centre ((S - 1) / 2 per axis) over the voxel. Each response is summed from 0 in the order slice, row,
/// column of the filter. A neighbour beyond one face of the volume is taken from the opposite face,
/// repeatedly when an axis is shorter than the filter's half-width.
///
/// @param I  input, its voxels finite; inner sizes Nx, Ny, Nz
/// @param F  filter; inner sizes Sx, Sy, Sz
/// @param O  output, allocated with at least the extent of I, not resized; positions 0..N-1 are overwritten
/// All three are distinct and have lowest index 0. Runs in parallel over slices.
void convolution3Dn(Array3D<double>* I, Array3D<double>* F, Array3D<double>* O);

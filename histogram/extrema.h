// SPDX-License-Identifier: BSD-3-Clause
// Landmarks at the extrema of a histogram.
#pragma once

/// Landmarks from the local extrema of a histogram.
///
/// Histogram and derivative arrays are 1-based, row 1 bin centres in intensity units, row 2 values; columns
/// 1..N are touched. A landmark matrix has three rows: column k is landmark k (bin index, intensity,
/// frequency), and the landmark count stands in all three rows of its last column, which must lie beyond the
/// last landmark. All memory is the caller's; nothing is kept between calls.

/// Finds the smallest of hist1[2][1..N] and its index.
///
/// @param array_min        receives the smallest value, 1e8 when none is below that
/// @param array_min_index  receives its index, the lowest of several; untouched when no value is below 1e8
void find_array_minimum(double** hist1, int N, double& array_min, int& array_min_index);

/// Finds the largest of hist1[2][1..N] and its index; the counterpart of find_array_minimum, from -1e8.
void find_array_maximum(double** hist1, int N, double& array_max, int& array_max_index);

/// The same over an integer matrix, from -100000000.
void find_array_maximum(int** hist1, int N, int& array_max, int& array_max_index);

/// Differentiates row 2 of hist1 by central differences.
///
/// @param hist1  2-row array, read only
/// @param hist2  2-row array, distinct from hist1: row 1 receives the bin centres, row 2 the derivative per
///               bin
/// @param N      number of columns, at least 2
/// The values at both ends are half the neighbour's value, positive at the upper end too.
void calculate_derivative(double** hist1, double** hist2, int N);

/// Lists the local maxima of a histogram in ascending order.
///
/// @param hist1  histogram array of N1 bins, read only
/// @param I1     landmark matrix, receives the maxima
/// @param N2     its count column
/// A bin is detected when the first derivative has opposite signs on its two sides and the second derivative
/// is negative. A peak is as a rule detected in two adjacent bins, so each pair of adjacent detections makes
/// one landmark, the bin with the larger frequency (the lower bin on a tie); a detection that stands alone
/// makes none. Fewer than three bins have no extremum.
void calculate_local_maximas(double** hist1, int N1, double** I1, int N2);

/// Lists the local minima of a histogram; the counterpart of calculate_local_maximas, with a positive second
/// derivative and the smaller frequency.
void calculate_local_minimas(double** hist1, int N1, double** I1, int N2);

/// Appends the landmarks of Im1 to those of IM1 and sorts IM1 by bin index.
///
/// @param IM1  landmark matrix with room for both lists, changed in place
/// @param Im1  landmark matrix, read only
/// @param N    the count column of both; the counts are read from row 1
void combineMaximaMinima(double** IM1, double** Im1, int N);

/// Cuts the longer of two landmark lists to the length of the shorter.
///
/// @param IM1  landmark matrix; rewritten when it is the longer
/// @param IM2  landmark matrix; rewritten when it is the longer
/// @param N    the count column of both; the counts are read from row 1
/// The longer list becomes, for each landmark of the shorter in its order, its own landmark of the nearest
/// intensity (the first of equally near ones, and the very first when none is within 1e8). A landmark may
/// thus appear more than once. Lists of equal length stay as they are.
void matchMaximaMinima(double** IM1, double** IM2, int N);

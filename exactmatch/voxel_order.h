// SPDX-License-Identifier: BSD-3-Clause
// The documented order of voxels by their features.
#pragma once

#include "volume/Array3D.h"

/// The strict order of voxels: by intensity, then by their responses to the shell filters, nearest shell
/// first.
///
/// D1 is a feature stack: an array of D1level volumes of equal extent, lowest index 0; level 0 holds the
/// intensities, the others the responses. The key of a voxel is its value on every level, compared
/// lexicographically.
///
/// indexarray is a 3 x n index array, 1-based: column p holds the 0-based x, y, z position of one voxel.
/// Columns always move as a whole. Column ranges are inclusive.

/// Sorts columns beginindex..endindex into ascending key order.
///
/// Where voxels have equal keys, their arrangement is that of the documented partition applied from the
/// initial arrangement, and part of the result. Recursion depth grows with the logarithm of the range; the
/// time is quadratic in the length of runs of equal keys.
void quicksort_feature_array(Array3D<double>* D1, int D1level, int** indexarray, int beginindex,
                             int endindex);

/// Partitions columns beginindex..endindex around the middle one and gives back its final column.
///
/// With more than two columns the middle one, (beginindex + endindex) / 2, is first exchanged with the last;
/// the last is the pivot. Columns whose keys are less than or equal to the pivot's end up before it. A level
/// on which one of two values is not a number decides nothing; when no level decides, the column goes behind.
int quicksort_feature_array_partition(Array3D<double>* D1, int D1level, int** indexarray, int beginindex,
                                      int endindex);

/// Exchanges columns index1 and index2.
void quicksort_feature_array_exchange(int** indexarray, int index1, int index2);

/// Sorts columns beginindex..endindex by selection and counts the comparisons level by level.
///
/// @param comparisoncount  [1..D1level]; entry l + 1 grows by one for every comparison made on level l
/// @param equalitycount    [1..D1level]; the same for the comparisons that found the values equal
/// The counters are not reset here. Among equal keys the first one found stays the minimum.
void selectionsort_feature_array(Array3D<double>* D1, int D1level, int** indexarray, int beginindex,
                                 int endindex, int* comparisoncount, int* equalitycount);

/// Lists columns index1..index2 on standard output: the column, then the voxel's value on every level, each
/// followed by a tab; two line ends close the listing.
void quicksort_feature_array_printindexarray(Array3D<double>* D1, int D1level, int** indexarray, int index1,
                                             int index2);

// SPDX-License-Identifier: BSD-3-Clause
// Ranks a stored feature stack and hands out the target's values.
#include "exactmatch/exact_assignment.h"

#include "exactmatch/rank_ranges.h"
#include "exactmatch/voxel_order.h"
#include "histogram/BinGeometry.h"
#include "histogram/HistogramArray.h"
#include "histogram/histogram.h"
#include "numeric/OffsetArrays.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace {

using tonalign::HistogramArray;
using tonalign::OffsetMatrix;
using tonalign::OffsetVector;
using tonalign::RankRanges;

/// One column per voxel outside the background; a count that no index array can hold ends the process in the
/// allocator.
OffsetMatrix<int> index_array_for(double voxels)
{
    constexpr double largest = std::numeric_limits<int>::max();
    return {3, static_cast<int>(std::min(std::round(voxels + 1.0), largest))};
}

/// Enters every voxel outside the background into its bin's range of columns, in raster order.
void fill_index_array(const Array3D<double>& volume, const RankRanges& input, int** indexarray)
{
    const tonalign::BinGeometry bins(tonalign::intensity_range(volume), input.bins());
    const OffsetVector<int> next(1, input.bins());
    for (int i = 1; i <= input.bins(); ++i) {
        next[i] = static_cast<int>(input.first(i));
    }
    for (int z = 0; z < volume.getNzInner(); ++z) {
        for (int y = 0; y < volume.getNyInner(); ++y) {
            for (int x = 0; x < volume.getNxInner(); ++x) {
                const int bin = bins.binOf(volume.address()[z][y][x]);
                if (bin >= 2) {
                    const int column = next[bin]++;
                    indexarray[1][column] = x;
                    indexarray[2][column] = y;
                    indexarray[3][column] = z;
                }
            }
        }
    }
}

/// Sorts each bin's columns; bins are increasing intensity intervals, so all columns are then in rank order.
void rank_voxels(Array3D<double>* D1, int D1level, const RankRanges& input, int** indexarray)
{
#pragma omp parallel
    {
#pragma omp for schedule(dynamic, 1) nowait
        for (int i = 1; i <= input.bins(); ++i) {
            quicksort_feature_array(D1, D1level, indexarray, static_cast<int>(input.first(i)),
                                    static_cast<int>(input.last(i)));
        }
    }
}

void hand_out_values(Array3D<double>& volume, const RankRanges& target, double** hist2, int** indexarray)
{
    for (int i = 1; i <= target.bins(); ++i) {
        if (target.isEmpty(i)) {
            continue;
        }
        for (auto rank = target.first(i); rank <= target.last(i); ++rank) {
            volume.address()[indexarray[3][rank]][indexarray[2][rank]][indexarray[1][rank]] = hist2[1][i];
        }
    }
}

} // namespace

void perfect_histogram_matching(Array3D<double>* D1, double** hist2, int D1level, int N)
{
    const HistogramArray hist1(N);
    calculate_histogram(&D1[0], hist1, N);
    const double voxels = hist1[2][N + 1];
    tonalign::round_to_counts(hist1, N, voxels);
    tonalign::round_to_counts(hist2, N, voxels);

    const OffsetMatrix<int> indexarray = index_array_for(voxels);
    const RankRanges input(hist1, N);
    RankRanges target(hist2, N);
    fill_index_array(D1[0], input, indexarray);
    rank_voxels(D1, D1level, input, indexarray);

    tonalign::reconcile_with_input(target, input.last(input.lastBin()));
    hand_out_values(D1[0], target, hist2, indexarray);
}

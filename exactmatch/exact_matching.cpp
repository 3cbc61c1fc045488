// SPDX-License-Identifier: BSD-3-Clause
// Counts, ranks and assigns without a stored stack.
/// Cost per foreground voxel: two passes of the volume to group the voxels by bin, about three visits in the
/// partitions, one scattered write of the result. Extra memory: its offset and one sort key. The ranking is
/// the documented sort, stopped where it could not change a value (RankSelection.h); what shapes each step is
/// measured in docs/PERFORMANCE.md.

#include "exactmatch/exact_matching.h"

#include "exactmatch/FeatureLevels.h"
#include "exactmatch/RankSelection.h"
#include "exactmatch/VoxelBins.h"
#include "exactmatch/rank_ranges.h"
#include "histogram/BinGeometry.h"

#include <algorithm>
#include <memory>
#include <vector>

namespace tonalign {

namespace {

/// Columns that one thread hands values to at a time.
constexpr std::int64_t block_columns = 1 << 16;

/// The target ranges in the order of their ranks: last column, counted from 0, and value of each.
struct TargetRanges
{
    std::vector<std::int64_t> ends;
    std::vector<double> values;
};

TargetRanges target_ranges(const VoxelBins& voxels, double** hist2, int N)
{
    round_to_counts(hist2, N, static_cast<double>(voxels.foreground()));
    RankRanges target(hist2, N);
    constexpr std::int64_t no_rank = -1; // as the last rank of bins that are all empty
    reconcile_with_input(target, voxels.foreground() > 0 ? voxels.foreground() : no_rank);

    TargetRanges ranges;
    for (int i = 1; i <= N; ++i) {
        if (!target.isEmpty(i)) {
            ranges.ends.push_back(target.last(i) - 1);
            ranges.values.push_back(hist2[1][i]);
        }
    }
    return ranges;
}

/// Ranks every bin as far as its values depend on it, several bins at a time.
template <typename Position>
void rank_bins(const VoxelBins& voxels, const FeatureLevels& levels, const FirstKeys& first_keys,
               const TargetRanges& target, int N, Position* positions, std::uint64_t* keys)
{
    std::vector<std::int64_t> first_columns(static_cast<std::size_t>(N) + 2);
    for (int i = 2; i <= N; ++i) {
        first_columns[static_cast<std::size_t>(i) + 1] =
            first_columns[static_cast<std::size_t>(i)] + voxels.count(i);
    }
#pragma omp parallel
    {
        RankSelection<Position> selection(levels, target.ends, positions, keys);
#pragma omp for schedule(dynamic, 1) nowait
        for (int i = 2; i <= N; ++i) {
            const std::int64_t first = first_columns[static_cast<std::size_t>(i)];
            const std::int64_t last = first_columns[static_cast<std::size_t>(i) + 1] - 1;
            if (selection.crossesRangeEnd(first, last)) {
                selection.rank(first, last, first_keys.level(voxels.isUniform(i)));
            }
        }
    }
}

template <typename Position>
void hand_out_values(double* volume, const TargetRanges& target, const Position* positions,
                     std::int64_t columns)
{
    const std::int64_t assigned = target.ends.empty() ? 0 : std::min(columns, target.ends.back() + 1);
#pragma omp parallel for schedule(dynamic, 1)
    for (std::int64_t first = 0; first < assigned; first += block_columns) {
        const std::int64_t end = std::min(first + block_columns, assigned);
        auto range = static_cast<std::size_t>(
            std::lower_bound(target.ends.begin(), target.ends.end(), first) - target.ends.begin());
        for (std::int64_t c = first; c < end; ++c) {
            while (c > target.ends[range]) {
                ++range;
            }
            volume[positions[c]] = target.values[range];
        }
    }
}

template <typename Position>
void match_with_positions(Array3D<double>& volume, const IntensityRange& range, double** hist2, int N)
{
    VoxelBins voxels(volume, BinGeometry(range, N));
    const TargetRanges target = target_ranges(voxels, hist2, N);
    const auto columns = static_cast<std::size_t>(voxels.foreground());
    const auto positions = std::make_unique_for_overwrite<Position[]>(columns);
    const auto keys = std::make_unique_for_overwrite<std::uint64_t[]>(columns);
    const FeatureLevels levels(volume);
    const FirstKeys first_keys(levels, range, voxels.areWholeNumbers());
    voxels.place(first_keys, positions.get(), keys.get());
    rank_bins(voxels, levels, first_keys, target, N, positions.get(), keys.get());
    hand_out_values(volume.block(), target, positions.get(), voxels.foreground());
}

} // namespace

void match_exactly(Array3D<double>& volume, const IntensityRange& range, double** hist2, int N,
                   std::int64_t most_voxels_of_32_bits)
{
    if (volume.blockSize() <= most_voxels_of_32_bits) {
        match_with_positions<std::uint32_t>(volume, range, hist2, N);
    } else {
        match_with_positions<std::uint64_t>(volume, range, hist2, N);
    }
}

} // namespace tonalign

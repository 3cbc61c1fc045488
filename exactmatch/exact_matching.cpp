// SPDX-License-Identifier: BSD-3-Clause
// Counts, selects and, where voxels are equal, arranges.
/// Order matters only at the ends of the target's ranges, and the ranges follow from counts. So counting
/// cells settles most voxels (Cells), counting the nearest sums of the open ones settles most of these
/// (CellPlan), and the key at each end is selected among the rest (OpenVoxels). Only where voxels on both
/// sides of an end are equal on all levels does the documented arrangement decide, for their bin (TiedBins).
/// Cost: three passes over the voxels, and for each of them one byte, from 256 ranges on two or four.

#include "exactmatch/exact_matching.h"

#include "exactmatch/CellPlan.h"
#include "exactmatch/Cells.h"
#include "exactmatch/OpenVoxels.h"
#include "exactmatch/ShellSums.h"
#include "exactmatch/TargetRanges.h"
#include "exactmatch/TiedBins.h"
#include "histogram/BinGeometry.h"
#include "volume/Team.h"

#include <algorithm>
#include <array>
#include <utility>

namespace tonalign {

namespace {

/// Gives the settled voxels their codes, and collects the open ones while their neighbours are in the cache.
template <typename Position>
void judge_voxels(const VolumeView& view, const CellPlan& plan, const ShellSums& sums,
                  const std::vector<bool>& left, const MatchingLimits& limits, OpenVoxels<Position>& open,
                  RangeCodes& codes)
{
    in_parallel(view.nz, [&](Team& team) {
        CellPlan::Row row(sums, view.nx);
        std::array<std::vector<VoxelEntry<Position>>, 4> found; // by level
        team.share([&](std::int64_t slice) {
            const int z = static_cast<int>(slice);
            for (int y = 0; y < view.ny && !limits.stopped(); ++y) {
                plan.judge(z, y, row);
                const std::int64_t first = (std::int64_t{z} * view.ny + y) * view.nx;
                for (const std::uint32_t x : row.listOpen()) {
                    const std::uint32_t group = std::exchange(row.verdicts[x], 0) ^ CellPlan::open;
                    if (!left[group]) {
                        found[static_cast<std::size_t>(plan.groups()[group].level)].push_back(
                            {0, static_cast<Position>(first + x), static_cast<Position>(group)});
                    }
                }
                codes.copy(view.nx, row.verdicts.data(), static_cast<std::uint64_t>(first));
                for (int level = 0; level < 4; ++level) {
                    auto& entries = found[static_cast<std::size_t>(level)];
                    sums.setKeys(level, entries);
                    for (const VoxelEntry<Position>& entry : entries) {
                        open.add(static_cast<std::uint32_t>(entry.column), entry.key, entry.position);
                    }
                    entries.clear();
                }
            }
        });
    });
}

/// The bins in which so many voxels have been found alike that a tie across an end is all but certain.
std::vector<bool> find_likely_ties(const Cells& cells, const CellPlan& plan, const MatchingLimits& limits)
{
    std::vector<bool> likely(cells.bins().size());
    for (const CellPlan::Group& group : plan.groups()) {
        const int bin = cells.binOfColumn(group.first_column);
        const std::int64_t bin_voxels = cells.bins()[static_cast<std::size_t>(bin)];
        if (group.alike > limits.fewest_alike && group.alike > bin_voxels / limits.alike_share) {
            const int last = cells.binOfColumn(group.first_column + group.count - 1);
            std::fill(likely.begin() + bin, likely.begin() + last + 1, true);
        }
    }
    return likely;
}

/// The groups all of whose bins are ranked anyway, and those that have been divided.
std::vector<bool> find_left(const Cells& cells, const CellPlan& plan, const std::vector<bool>& ranked)
{
    std::vector<bool> left;
    for (const CellPlan::Group& group : plan.groups()) {
        const auto first = ranked.begin() + cells.binOfColumn(group.first_column);
        const auto last = ranked.begin() +
                          cells.binOfColumn(group.first_column + std::max<std::int64_t>(group.count, 1) - 1);
        left.push_back(group.count == 0 || std::find(first, last + 1, false) == last + 1);
    }
    return left;
}

/// @param ends  the ends between equal voxels that have been found
std::vector<TiedBin> tied_bins(const Cells& cells, const std::vector<bool>& ranked,
                               std::vector<std::int64_t> ends)
{
    std::sort(ends.begin(), ends.end());
    std::vector<TiedBin> bins;
    for (int bin = 2; bin < static_cast<int>(ranked.size()); ++bin) {
        const auto first = std::lower_bound(ends.begin(), ends.end(), cells.firstColumn(bin));
        const auto last = std::lower_bound(first, ends.end(), cells.firstColumn(bin + 1));
        const bool unsettled =
            ranked[static_cast<std::size_t>(bin)] && cells.firstColumn(bin) < cells.firstColumn(bin + 1);
        if (unsettled || first != last) {
            bins.push_back({bin, !unsettled, {first, last}});
        }
    }
    return bins;
}

template <typename Position>
void match_with_positions(const Intensities& volume, const Cells& cells, const IntensityRange& range,
                          const TargetRanges& target, const MatchingLimits& limits, RangeCodes& codes)
{
    const std::unique_ptr<ShellSums> sums = shell_sums(volume, range);
    std::vector<TiedBin> bins;
    {
        const CellPlan plan(volume, cells, *sums, target, limits);
        const std::vector<bool> ranked = find_likely_ties(cells, plan, limits);
        const std::vector<bool> left = find_left(cells, plan, ranked);
        OpenVoxels<Position> open(plan, *sums, target, left);
        judge_voxels(volume.view(), plan, *sums, left, limits, open, codes);
        if (limits.stopped()) {
            return; // some groups lack voxels
        }
        bins = tied_bins(cells, ranked, open.settle(codes));
    }
    arrange_bins<Position>(volume, cells, *sums, target, bins, limits, codes);
}

} // namespace

ExactMatch match_exactly(const Intensities& volume, const IntensityRange& range, double** hist2, int N,
                         const MatchingLimits& limits)
{
    return match_exactly(volume, range, range, hist2, N, limits);
}

ExactMatch match_exactly(const Intensities& volume, const IntensityRange& range,
                         const IntensityRange& bin_range, double** hist2, int N, const MatchingLimits& limits)
{
    const Cells cells(volume, BinGeometry(bin_range, N), range, limits.cells, limits.favourite_share);
    const TargetRanges target(hist2, N, cells.foreground());
    ExactMatch match;
    if (target.ends.empty()) {
        return match;
    }
    match.values = {0.0};
    match.values.insert(match.values.end(), target.values.begin(), target.values.end());
    match.counts = {0};
    for (std::int64_t before = -1; const std::int64_t end : target.ends) {
        match.counts.push_back(end - before);
        before = end;
    }
    match.codes = RangeCodes(volume.view().count(), static_cast<std::uint32_t>(target.ends.size()));
    if (volume.view().count() <= limits.voxels_of_32_bits) {
        match_with_positions<std::uint32_t>(volume, cells, range, target, limits, match.codes);
    } else {
        match_with_positions<std::uint64_t>(volume, cells, range, target, limits, match.codes);
    }
    return match;
}

void match_exactly(Array3D<double>& volume, const IntensityRange& range, double** hist2, int N,
                   const MatchingLimits& limits)
{
    const VolumeView view(volume.block(), ElementKind::float64, volume.getNxTotal(), volume.getNyTotal(),
                          volume.getNzTotal());
    const ExactMatch match = match_exactly(Intensities(view), range, hist2, N, limits);
    double* const voxels = volume.block();
    match.codes.forEach(view.count(), 0, [&](std::int64_t j, std::uint32_t code) {
        voxels[j] = code == 0 ? voxels[j] : match.values[code];
    });
}

} // namespace tonalign

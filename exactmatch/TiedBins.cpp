// SPDX-License-Identifier: BSD-3-Clause
// Ranks the voxels of whole bins, then arranges the ranks.
#include "exactmatch/TiedBins.h"

#include "exactmatch/FlatVoxels.h"
#include "exactmatch/RankSelection.h"
#include "exactmatch/filter_bank.h"
#include "exactmatch/list_where.h"
#include "volume/Team.h"

#include <omp.h>

#include <algorithm>
#include <limits>
#include <memory>
#include <span>
#include <utility>

namespace tonalign {

namespace {

/// Sorts voxels by key, deeper levels where keys are equal, and replaces the keys by ranks from `rank` on.
template <typename Position>
void replace_keys_by_ranks(const ShellSums& sums, std::span<VoxelEntry<Position>> entries, int level,
                           const MatchingLimits& limits, std::uint64_t& rank)
{
    using Entry = VoxelEntry<Position>;
    const auto by_key = [](const Entry& a, const Entry& b) { return a.key < b.key; };
    // A key that most voxels share is set apart in two passes and need not be sorted.
    const std::uint64_t middle = entries[entries.size() / 2].key;
    const auto equal =
        std::partition(entries.begin(), entries.end(), [=](const Entry& e) { return e.key < middle; });
    const auto above = std::partition(equal, entries.end(), [=](const Entry& e) { return e.key == middle; });
    std::sort(entries.begin(), equal, by_key);
    std::sort(above, entries.end(), by_key);
    for (auto run = entries.begin(); run != entries.end() && !limits.stopped();) {
        const std::uint64_t key = run->key;
        const auto run_end = std::find_if(run, entries.end(), [key](const Entry& e) { return e.key != key; });
        if (run_end - run > 1 && level + 1 < feature_levels) {
            sums.setKeys(level + 1, {run, run_end});
            replace_keys_by_ranks<Position>(sums, {run, run_end}, level + 1, limits, rank);
        } else {
            std::for_each(run, run_end, [rank](Entry& e) { e.key = rank; });
            ++rank;
        }
        run = run_end;
    }
}

/// One bin while it is arranged.
template <typename Position>
class Arrangement
{
public:
    using Entry = VoxelEntry<Position>;

    /// The positions, in raster order, outlive this object.
    Arrangement(const TargetRanges& target, std::int64_t first_column, std::span<const Position> positions)
        : m_target(target), m_first_column(first_column), m_positions(positions)
    {
        m_entries.reserve(positions.size());
    }

    /// Sets the keys to all levels from `level` on that fit; gives back the deepest. One voxel stands for all
    /// flat ones, which are equal.
    int setKeys(const Intensities& volume, const ShellSums& sums, int level)
    {
        m_flat = find_flat(volume, m_positions);
        auto flat = m_flat.begin();
        for (std::size_t column = 0; column < m_positions.size(); ++column) {
            const bool is_flat = flat != m_flat.end() && *flat == column;
            if (!is_flat || flat == m_flat.begin()) {
                m_entries.push_back({0, m_positions[column], static_cast<Position>(m_entries.size())});
            }
            flat += is_flat ? 1 : 0;
        }
        return sums.rows()->setKeys(level, std::span<Entry>(m_entries));
    }

    /// Ranks the voxels, whose keys hold the levels up to `level`. Gives them codes too and gives back the
    /// tied ends, if that is asked for.
    std::vector<std::int64_t> rank(const ShellSums& sums, int level, const MatchingLimits& limits,
                                   RangeCodes* codes)
    {
        std::uint64_t rank = 0;
        replace_keys_by_ranks<Position>(sums, m_entries, level, limits, rank);
        std::vector<std::int64_t> tied;
        if (codes != nullptr) {
            tied = handOutCodes(*codes);
        }
        for (std::size_t k = 0; k < m_entries.size(); ++k) { // raster order again
            while (m_entries[k].column != k) {
                std::swap(m_entries[k], m_entries[m_entries[k].column]);
            }
        }
        return tied;
    }

    /// Puts all flat voxels into their places among the others in raster order.
    void insertFlat()
    {
        if (m_flat.empty()) {
            return;
        }
        const std::uint64_t key = m_entries[m_flat[0]].key;
        std::size_t others = m_entries.size();
        std::size_t flat = m_flat.size();
        m_entries.resize(m_positions.size());
        for (std::size_t column = m_positions.size(); flat > 1;) {
            --column;
            const bool is_flat = m_flat[flat - 1] == column;
            flat -= is_flat ? 1 : 0;
            others -= is_flat ? 0 : 1;
            m_entries[column] = is_flat ? Entry{key, m_positions[column], 0} : m_entries[others];
        }
    }

    /// Arranges the voxels around the tied ends, and corrects the codes of those that are equal to a voxel at
    /// such an end.
    void settle(const std::vector<std::int64_t>& tied, const MatchingLimits& limits, RangeCodes& codes)
    {
        if (tied.empty()) {
            return;
        }
        std::vector<std::int64_t> ends;
        std::vector<std::int64_t> alone; // with an end on either side, so that the column's key is known
        for (const std::int64_t end : tied) {
            ends.push_back(end - m_first_column);
            alone.insert(alone.end(), {ends.back() - 1, ends.back()});
        }
        alone.erase(std::unique(alone.begin(), alone.end()), alone.end());
        arrange<Position>(m_entries, alone, limits);
        std::vector<std::uint64_t> keys(ends.size());
        std::transform(ends.begin(), ends.end(), keys.begin(),
                       [this](std::int64_t end) { return m_entries[static_cast<std::size_t>(end)].key; });
        for (std::int64_t column = -1; const Entry& entry : m_entries) {
            ++column;
            if (entry.key < keys.front() || keys.back() < entry.key) {
                continue;
            }
            const auto [equal, above] = std::equal_range(keys.begin(), keys.end(), entry.key);
            if (equal != above) {
                // The ends among equal voxels follow each other, and the first range is that of their first
                // end.
                const auto first = ends.begin() + (equal - keys.begin());
                const auto before = std::lower_bound(first, first + (above - equal), column) - first;
                codes.set(entry.position,
                          m_target.code(m_first_column + *first) + static_cast<std::uint32_t>(before));
            }
        }
    }

private:
    std::int64_t size() const { return std::ssize(m_positions); }

    /// Of sorted voxels; gives back the tied ends.
    std::vector<std::int64_t> handOutCodes(RangeCodes& codes) const
    {
        // The flat voxels follow the one that stands for them.
        const std::int64_t more = m_flat.empty() ? 0 : std::ssize(m_flat) - 1;
        const auto one = std::find_if(m_entries.begin(), m_entries.end(), [this](const Entry& e) {
            return !m_flat.empty() && e.column == m_flat[0];
        });
        const std::int64_t first = one - m_entries.begin();
        const auto entry_at = [&](std::int64_t k) -> const Entry& {
            return m_entries[static_cast<std::size_t>(k - std::clamp<std::int64_t>(k - first, 0, more))];
        };
        std::vector<std::int64_t> tied;
        for (const std::int64_t end : m_target.endsIn(m_first_column, m_first_column + size() - 1)) {
            const std::int64_t k = end - m_first_column;
            if (entry_at(k).key == entry_at(k + 1).key) {
                tied.push_back(end);
            }
        }
        m_target.forEachCode(m_first_column, size(), [&](std::int64_t k, std::uint32_t code) {
            const bool is_flat = first < k && k <= first + more;
            codes.set(is_flat ? m_positions[m_flat[static_cast<std::size_t>(k - first)]]
                              : entry_at(k).position,
                      code);
        });
        return tied;
    }

    const TargetRanges& m_target;
    std::int64_t m_first_column;
    std::span<const Position> m_positions;
    std::vector<Position> m_flat; ///< columns of flat voxels
    std::vector<Entry> m_entries;
};

/// The positions of the voxels of some bins, in raster order within each bin.
template <typename Position>
class Positions
{
public:
    /// With several threads two passes over slabs of slices: the first counts, so that the second knows where
    /// each slab's voxels begin.
    Positions(const VolumeView& view, const Cells& cells, const std::vector<TiedBin>& bins)
        : m_view(view), m_cells(cells), m_number(cells.bins().size(), other), m_begins(1)
    {
        for (const TiedBin& bin : bins) {
            m_number[static_cast<std::size_t>(bin.bin)] = static_cast<std::uint32_t>(m_begins.size()) - 1;
            m_begins.push_back(m_begins.back() + cells.bins()[static_cast<std::size_t>(bin.bin)]);
        }
        m_number_of_level = cells.byLevelOfBins(m_number);
        m_positions.resize(static_cast<std::size_t>(m_begins.back()));
        const int slabs = std::min(omp_get_max_threads(), view.nz);
        std::vector<std::vector<std::int64_t>> next(static_cast<std::size_t>(slabs),
                                                    std::vector<std::int64_t>(bins.size()));
        if (slabs > 1) {
            forEachVoxel(next, [](std::int64_t& place, Position) { ++place; });
        }
        for (std::size_t b = 0; b < bins.size(); ++b) {
            std::int64_t place = m_begins[b];
            for (std::vector<std::int64_t>& of_slab : next) {
                place += std::exchange(of_slab[b], place);
            }
        }
        forEachVoxel(next, [this](std::int64_t& place, Position position) {
            m_positions[static_cast<std::size_t>(place++)] = position;
        });
    }

    std::span<const Position> of(std::size_t b) const
    {
        return {m_positions.data() + m_begins[b], static_cast<std::size_t>(m_begins[b + 1] - m_begins[b])};
    }

private:
    static constexpr std::uint32_t other = std::numeric_limits<std::uint32_t>::max();

    /// Calls take(next[slab][bin], position) for all voxels of the bins, slab by slab.
    template <typename Take>
    void forEachVoxel(std::vector<std::vector<std::int64_t>>& next, Take take) const
    {
        const auto slabs = std::ssize(next);
        in_parallel(slabs, [&](Team& team) {
            Cells::Row row(m_view.nx);
            std::vector<std::uint32_t> numbers(static_cast<std::size_t>(m_view.nx));
            std::vector<std::uint32_t> list(numbers.size() + 1);
            team.share([&](std::int64_t s) {
                for (auto z = static_cast<int>(m_view.nz * s / slabs); z < m_view.nz * (s + 1) / slabs; ++z) {
                    for (int y = 0; y < m_view.ny; ++y) {
                        m_cells.lookAtBins(z, y, m_number, m_number_of_level, row, numbers);
                        const Position first = (static_cast<Position>(z) * static_cast<Position>(m_view.ny) +
                                                static_cast<Position>(y)) *
                                               static_cast<Position>(m_view.nx);
                        const auto ours = [&](std::size_t x) { return numbers[x] != other; };
                        for (const std::uint32_t x : list_where(numbers.size(), list, ours)) {
                            take(next[static_cast<std::size_t>(s)][numbers[x]],
                                 first + static_cast<Position>(x));
                        }
                    }
                }
            });
        });
    }

    const VolumeView& m_view;
    const Cells& m_cells;
    std::vector<std::uint32_t> m_number; ///< of each bin among these, or `other`
    std::vector<std::uint32_t> m_number_of_level;
    std::vector<std::int64_t> m_begins;
    std::vector<Position> m_positions;
};

} // namespace

template <typename Position>
void arrange_bins(const Intensities& volume, const Cells& cells, const ShellSums& sums,
                  const TargetRanges& target, const std::vector<TiedBin>& bins, const MatchingLimits& limits,
                  RangeCodes& codes)
{
    if (bins.empty()) {
        return;
    }
    const Positions<Position> positions(volume.view(), cells, bins);
    const auto arrange_bin = [&](std::size_t b) {
        const TiedBin& bin = bins[b];
        Arrangement<Position> arrangement(target, cells.firstColumn(bin.bin), positions.of(b));
        const int level = arrangement.setKeys(volume, sums, cells.isUniform(bin.bin) ? 1 : 0);
        std::vector<std::int64_t> tied = bin.tied_columns;
        if (!bin.settled) {
            tied = arrangement.rank(sums, level, limits, &codes);
        } else if (level + 1 < feature_levels) {
            arrangement.rank(sums, level, limits, nullptr);
        }
        arrangement.insertFlat();
        arrangement.settle(tied, limits, codes);
    };
    in_parallel(std::ssize(bins), [&](Team& team) {
        team.share([&](std::int64_t b) {
            if (!limits.stopped()) {
                arrange_bin(static_cast<std::size_t>(b));
            }
        });
    });
}

template void arrange_bins<std::uint32_t>(const Intensities&, const Cells&, const ShellSums&,
                                          const TargetRanges&, const std::vector<TiedBin>&,
                                          const MatchingLimits&, RangeCodes&);
template void arrange_bins<std::uint64_t>(const Intensities&, const Cells&, const ShellSums&,
                                          const TargetRanges&, const std::vector<TiedBin>&,
                                          const MatchingLimits&, RangeCodes&);

} // namespace tonalign

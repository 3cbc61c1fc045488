// SPDX-License-Identifier: BSD-3-Clause
// The voxels that counting leaves open.
#pragma once

#include "exactmatch/CellPlan.h"
#include "exactmatch/RangeCodes.h"
#include "exactmatch/ShellSums.h"
#include "exactmatch/TargetRanges.h"

#include <cstdint>
#include <vector>

namespace tonalign {

/// Settles one group after another by selection: only the key at the end of a range is looked for, keys below
/// it go before, and deeper levels are summed for the voxels that share it.
///
/// Cost for a group of n voxels with b ends: about n log b comparisons, and 16 bytes a voxel, from 2^32
/// voxels on 24.
template <typename Position>
class OpenVoxels
{
public:
    using Entry = VoxelEntry<Position>;

    /// @param leave  groups that are left to others, by number
    OpenVoxels(const CellPlan& plan, const ShellSums& sums, const TargetRanges& target,
               const std::vector<bool>& leave);

    /// Puts an open voxel into its group; `key` is that of the group's level. Several threads may do so at
    /// once, since the order within a group decides nothing here.
    void add(std::uint32_t group, std::uint64_t key, Position position);

    /// Gives all voxels added their codes. Where no level tells voxels on both sides of an end apart, some of
    /// their codes are wrong, and the end is given back: the documented arrangement decides there.
    std::vector<std::int64_t> settle(RangeCodes& codes);

private:
    void select(std::span<Entry> entries, std::int64_t column, int level,
                std::vector<std::int64_t>& tied) const;

    const CellPlan& m_plan;
    const ShellSums& m_sums;
    const TargetRanges& m_target;
    std::vector<std::size_t> m_begins; ///< of each group's entries, and the end of the last
    std::vector<std::size_t> m_next;
    std::vector<Entry> m_entries;
};

} // namespace tonalign

// SPDX-License-Identifier: BSD-3-Clause
// Which voxels are settled by counting.
#pragma once

#include "exactmatch/Cells.h"
#include "exactmatch/MatchingLimits.h"
#include "exactmatch/ShellSums.h"
#include "exactmatch/TargetRanges.h"
#include "exactmatch/list_where.h"

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

namespace tonalign {

/// Settles all voxels whose cell lies within one range of the target. Where many are left, it divides their
/// cells by the nearest shell's sum, counts again and settles again, and the same by the second shell. What
/// remains are groups of voxels that share a cell, or a part of one, and an end of a range.
///
/// Cost: for each division a pass over the voxels, with a table of counts for each thread.
class CellPlan
{
public:
    /// Voxels in adjacent columns, whose order decides a value.
    struct Group
    {
        std::int64_t first_column;
        std::int64_t count;
        int level;          ///< the first that may tell its voxels apart
        std::int64_t alike; ///< so many of them, or about, have been found equal so far
    };

    CellPlan(const Intensities& volume, const Cells& cells, const ShellSums& sums, const TargetRanges& target,
             const MatchingLimits& limits);

    const std::vector<Group>& groups() const { return m_groups; }

    /// What one thread needs to settle the voxels of a row.
    struct Row
    {
        Row(const ShellSums& shell_sums, int nx)
            : cells(nx),
              verdicts(static_cast<std::size_t>(nx)),
              parts(static_cast<std::size_t>(nx)),
              list(static_cast<std::size_t>(nx) + 1),
              sums(shell_sums.rows())
        {
        }

        /// The voxels that are open.
        std::span<const std::uint32_t> listOpen()
        {
            const std::uint32_t* const verdict = verdicts.data();
            return list_where(verdicts.size(), list, [=](std::size_t x) { return (verdict[x] & open) != 0; });
        }

        Cells::Row cells;
        std::vector<std::uint32_t> verdicts; ///< by voxel
        std::vector<std::uint32_t> parts;
        std::vector<std::uint32_t> list; ///< of some of the voxels
        std::unique_ptr<ShellSums::Rows> sums;
    };

    /// A verdict is the code of a range, 0 for the background, or `open` and the number of a group. Codes and
    /// numbers stay below 2^30.
    static constexpr std::uint32_t open = std::uint32_t{1} << 31;

    /// Finds the verdicts of row (z, y).
    void judge(int z, int y, Row& row) const { judge(z, y, m_divisions.size(), row); }

private:
    /// While the plan is made, a verdict may also be a division and the number of a divided group in it.
    static constexpr std::uint32_t divided = std::uint32_t{1} << 30;

    /// Groups that are divided by the sums of their level into equal parts.
    struct Division
    {
        int level;
        LevelParts parts;
        std::vector<Group> groups;
        std::vector<std::uint32_t> verdicts; ///< by group and part

        std::uint32_t partCount() const { return static_cast<std::uint32_t>(parts.last) + 1; }
    };

    std::uint32_t verdict(const Group& group);
    bool divide(int level, std::vector<std::uint32_t>& verdicts);
    std::vector<std::int64_t> countParts(const Division& division) const;
    static void countRow(const Division& division, int z, int y, Row& row, std::uint32_t* counts);
    bool judge(int z, int y, std::size_t divisions, Row& row) const;
    static bool anyDivided(const std::vector<std::uint32_t>& verdicts);

    const Intensities& m_volume;
    const Cells& m_cells;
    const ShellSums& m_sums;
    const TargetRanges& m_target;
    const MatchingLimits& m_limits;
    std::vector<std::uint32_t> m_verdicts;       ///< by cell
    std::vector<std::uint32_t> m_level_verdicts; ///< by level, where the volume has levels
    std::vector<Division> m_divisions;
    std::vector<Group> m_groups;
};

} // namespace tonalign

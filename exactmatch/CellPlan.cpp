// SPDX-License-Identifier: BSD-3-Clause
// Settles cells, then parts of cells.
#include "exactmatch/CellPlan.h"

#include "volume/Team.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <utility>

namespace tonalign {

CellPlan::CellPlan(const Intensities& volume, const Cells& cells, const ShellSums& sums,
                   const TargetRanges& target, const MatchingLimits& limits)
    : m_volume(volume),
      m_cells(cells),
      m_sums(sums),
      m_target(target),
      m_limits(limits),
      m_verdicts(cells.size())
{
    std::int64_t column = 0;
    for (std::uint32_t c = 1; c < cells.size(); ++c) {
        const Cells::Cell& cell = cells[c];
        if (cell.count == 0) {
            continue;
        }
        m_verdicts[c] =
            verdict({column, cell.count, cell.isUniform() ? 1 : 0, cell.isUniform() ? 0 : cell.votes});
        column += cell.count;
    }
    m_level_verdicts = cells.byLevel(m_verdicts);
    m_divisions.reserve(2);
    if (divide(1, m_verdicts)) {
        divide(2, m_divisions[0].verdicts);
    }
}

/// The verdict on voxels in adjacent columns, which may make a group of them.
std::uint32_t CellPlan::verdict(const Group& group)
{
    if (m_target.endsIn(group.first_column, group.first_column + group.count - 1).empty()) {
        return m_target.code(group.first_column);
    }
    m_groups.push_back(group);
    return open | static_cast<std::uint32_t>(m_groups.size() - 1);
}

/// Divides all groups of a level, if they hold enough voxels to be worth it. The groups stand in these
/// verdicts, which name their division from then on.
bool CellPlan::divide(int level, std::vector<std::uint32_t>& verdicts)
{
    std::int64_t voxels = 0;
    std::int64_t number = 0;
    for (const Group& group : m_groups) {
        voxels += group.level == level ? group.count : 0;
        number += group.level == level ? 1 : 0;
    }
    const ShellSums::Span span = m_sums.span(level);
    const std::int64_t most = number == 0 ? 0 : m_limits.table_entries / number;
    // Sums beyond the range of a double have no part, nor have those of a range too narrow to be cut.
    const bool cut = std::isfinite(span.least) && std::isfinite(span.least + span.width) &&
                     std::isfinite(static_cast<double>(most) / span.width);
    if (!cut || voxels <= m_volume.view().count() / m_limits.open_share || most < m_limits.fewest_parts) {
        return false;
    }
    const bool exact = span.whole && span.width < static_cast<double>(most);
    const double last = exact ? span.width : static_cast<double>(most - 1);
    Division& division = m_divisions.emplace_back();
    division = {level, {span.least, static_cast<double>(most) / span.width, last, exact}, {}, {}};
    for (std::uint32_t& v : verdicts) {
        if ((v & open) != 0 && m_groups[v ^ open].level == level) {
            Group& group = m_groups[v ^ open];
            v = divided | static_cast<std::uint32_t>(division.groups.size());
            division.groups.push_back(std::exchange(group, Group{group.first_column, 0, level, 0}));
        }
    }
    m_level_verdicts = m_cells.byLevel(m_verdicts);
    const std::vector<std::int64_t> counts = countParts(division);
    division.verdicts.resize(counts.size());
    for (std::size_t k = 0; k < counts.size(); ++k) {
        if (counts[k] == 0) {
            continue; // no voxel asks for this verdict
        }
        Group& rest = division.groups[k / division.partCount()];
        division.verdicts[k] = verdict({rest.first_column, counts[k], exact ? level + 1 : level, counts[k]});
        rest.first_column += counts[k];
    }
    return true;
}

std::vector<std::int64_t> CellPlan::countParts(const Division& division) const
{
    const VolumeView& view = m_volume.view();
    std::vector<std::int64_t> counts(division.groups.size() * division.partCount());
    in_parallel(view.nz, [&](Team& team) {
        std::vector<std::uint32_t> own(counts.size()); // 32 bits are half as much to keep cached
        std::int64_t seen = 0;
        const auto hand_over = [&] {
            team.takeTurns([&] {
                std::transform(own.begin(), own.end(), counts.begin(), counts.begin(), std::plus<>());
            });
            std::fill(own.begin(), own.end(), 0);
            seen = 0;
        };
        Row row(m_sums, view.nx);
        team.share([&](std::int64_t slice) {
            const int z = static_cast<int>(slice);
            for (int y = 0; y < view.ny && !m_limits.stopped(); ++y) {
                if (seen + view.nx > std::numeric_limits<std::uint32_t>::max()) {
                    hand_over();
                }
                seen += view.nx;
                if (judge(z, y, m_divisions.size() - 1, row)) {
                    countRow(division, z, y, row, own.data());
                }
            }
        });
        hand_over();
    });
    return counts;
}

/// Counts the voxels of a row that belong to a division's groups, by their parts.
void CellPlan::countRow(const Division& division, int z, int y, Row& row, std::uint32_t* counts)
{
    const std::uint32_t parts = division.partCount();
    row.sums->findParts(division.level, z, y, division.parts, row.parts.data());
    const std::uint32_t* const verdict = row.verdicts.data();
    const std::uint32_t* const part = row.parts.data();
    const auto places = list_where(
        row.verdicts.size(), row.list, [=](std::size_t x) { return (verdict[x] & divided) != 0; },
        [=](std::size_t x) { return (verdict[x] ^ divided) * parts + part[x]; });
    for (const std::uint32_t place : places) {
        ++counts[place];
    }
}

/// Follows the verdicts through some divisions; gives back whether any of them names the next one.
bool CellPlan::judge(int z, int y, std::size_t divisions, Row& row) const
{
    m_cells.look(z, y, m_verdicts, m_level_verdicts, row.cells, row.verdicts);
    bool divides = anyDivided(row.verdicts);
    for (std::size_t k = 0; divides && k < divisions; ++k) {
        const Division& division = m_divisions[k];
        const std::uint32_t parts = division.partCount();
        row.sums->findParts(division.level, z, y, division.parts, row.parts.data());
        const std::uint32_t* const by_part = division.verdicts.data();
        const std::uint32_t* const part = row.parts.data();
        std::uint32_t* const verdicts = row.verdicts.data();
        for (std::size_t x = 0; x < row.verdicts.size(); ++x) {
            const std::uint32_t verdict = verdicts[x];
            const bool follows = (verdict & divided) != 0;
            const std::uint32_t next = by_part[follows ? (verdict ^ divided) * parts + part[x] : 0];
            verdicts[x] = follows ? next : verdict;
        }
        divides = k + 1 < m_divisions.size() && anyDivided(row.verdicts);
    }
    return divides;
}

bool CellPlan::anyDivided(const std::vector<std::uint32_t>& verdicts)
{
    std::uint32_t any = 0;
    for (const std::uint32_t v : verdicts) {
        any |= v;
    }
    return (any & divided) != 0;
}

} // namespace tonalign

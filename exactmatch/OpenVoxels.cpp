// SPDX-License-Identifier: BSD-3-Clause
// Selects the keys at the ends of ranges.
#include "exactmatch/OpenVoxels.h"

#include "exactmatch/filter_bank.h"
#include "volume/Team.h"

#include <algorithm>
#include <atomic>

namespace tonalign {

template <typename Position>
OpenVoxels<Position>::OpenVoxels(const CellPlan& plan, const ShellSums& sums, const TargetRanges& target,
                                 const std::vector<bool>& leave)
    : m_plan(plan), m_sums(sums), m_target(target), m_begins(1)
{
    for (std::size_t g = 0; g < plan.groups().size(); ++g) {
        const auto count = static_cast<std::size_t>(leave[g] ? 0 : plan.groups()[g].count);
        m_begins.push_back(m_begins.back() + count);
    }
    m_next = m_begins;
    m_entries.resize(m_begins.back());
}

template <typename Position>
void OpenVoxels<Position>::add(std::uint32_t group, std::uint64_t key, Position position)
{
    const std::size_t next = std::atomic_ref(m_next[group]).fetch_add(1, std::memory_order_relaxed);
    m_entries[next] = {key, position, 0};
}

template <typename Position>
std::vector<std::int64_t> OpenVoxels<Position>::settle(RangeCodes& codes)
{
    std::vector<std::int64_t> tied;
    const auto settle_group = [&](std::size_t g, std::vector<std::int64_t>& found) {
        const std::span<Entry> entries(m_entries.data() + m_begins[g], m_begins[g + 1] - m_begins[g]);
        const CellPlan::Group& group = m_plan.groups()[g];
        select(entries, group.first_column, group.level, found);
        m_target.forEachCode(group.first_column, std::ssize(entries),
                             [&](std::int64_t k, std::uint32_t code) {
                                 codes.set(entries[static_cast<std::size_t>(k)].position, code);
                             });
    };
    in_parallel(std::ssize(m_plan.groups()), [&](Team& team) {
        std::vector<std::int64_t> found;
        team.share([&](std::int64_t g) { settle_group(static_cast<std::size_t>(g), found); });
        team.takeTurns([&] { tied.insert(tied.end(), found.begin(), found.end()); });
    });
    return tied;
}

/// Moves the entries of the columns from `column` on to the sides of the ends among them where they belong,
/// the middle end first.
template <typename Position>
void OpenVoxels<Position>::select(std::span<Entry> entries, std::int64_t column, int level,
                                  std::vector<std::int64_t>& tied) const
{
    const auto ends = m_target.endsIn(column, column + static_cast<std::int64_t>(entries.size()) - 1);
    if (ends.empty()) {
        return;
    }
    const std::int64_t end = ends[ends.size() / 2];
    const auto at_end = entries.begin() + (end - column);
    std::nth_element(entries.begin(), at_end, entries.end(),
                     [](const Entry& a, const Entry& b) { return a.key < b.key; });
    const std::uint64_t key = at_end->key;
    const auto equal = std::partition(entries.begin(), at_end, [key](const Entry& e) { return e.key < key; });
    const auto equal_end =
        std::partition(at_end + 1, entries.end(), [key](const Entry& e) { return e.key == key; });
    select({entries.begin(), equal}, column, level, tied);
    select({equal_end, entries.end()}, column + (equal_end - entries.begin()), level, tied);

    const std::span<Entry> alike(equal, equal_end);
    const std::int64_t alike_column = column + (equal - entries.begin());
    const auto ends_alike = m_target.endsIn(alike_column, alike_column + (equal_end - equal) - 1);
    if (ends_alike.empty()) {
        return;
    }
    if (level + 1 == feature_levels) {
        tied.insert(tied.end(), ends_alike.begin(), ends_alike.end());
        return;
    }
    m_sums.setKeys(level + 1, alike);
    select(alike, alike_column, level + 1, tied);
}

template class OpenVoxels<std::uint32_t>;
template class OpenVoxels<std::uint64_t>;

} // namespace tonalign

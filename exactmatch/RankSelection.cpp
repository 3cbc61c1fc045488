// SPDX-License-Identifier: BSD-3-Clause
// The documented partition, run only where a target range ends.
#include "exactmatch/RankSelection.h"

#include <algorithm>
#include <array>
#include <bit>
#include <limits>
#include <new>
#include <utility>

namespace tonalign {

namespace {

/// Partitions that a range may take: four times the depth of an even split, which sub-ranges that pivots
/// split by chance hardly ever reach.
int patience_for(std::int64_t first, std::int64_t last)
{
    return 4 * static_cast<int>(std::bit_width(static_cast<std::uint64_t>(last - first + 1)));
}

} // namespace

/// A partition's pivot; its keys on the deeper levels are computed when the first tie asks for them.
template <typename Position>
class RankSelection<Position>::Pivot
{
public:
    Pivot(const FeatureLevels& levels, Position position, int level)
        : m_levels(levels), m_position(position), m_level(level), m_known(level)
    {
    }

    /// How a voxel that ties with the pivot up to the sub-range's level compares on the levels below it:
    /// negative, 0 or positive for less, equal or greater.
    int compareDeeper(Position voxel)
    {
        for (int level = m_level + 1; level < feature_levels; ++level) {
            const std::uint64_t key = m_levels.key(level, voxel);
            const std::uint64_t own = keyOn(level);
            if (key != own) {
                return key < own ? -1 : 1;
            }
        }
        return 0;
    }

private:
    std::uint64_t keyOn(int level)
    {
        if (m_known < level) {
            m_keys[static_cast<std::size_t>(level)] = m_levels.key(level, m_position);
            m_known = level;
        }
        return m_keys[static_cast<std::size_t>(level)];
    }

    const FeatureLevels& m_levels;
    Position m_position;
    int m_level;
    int m_known; ///< deepest level computed; levels are asked for in order
    std::array<std::uint64_t, feature_levels> m_keys;
};

template <typename Position>
void RankSelection<Position>::rank(std::int64_t first, std::int64_t last, int level)
{
    narrow({first, last, level, patience_for(first, last), {}, {}});
}

/// The recursion of the full sort, into the sub-ranges that a range end falls into. Recursing into the
/// shorter side and going on with the longer bounds the depth; the sides are independent, so their order
/// changes nothing.
template <typename Position>
void RankSelection<Position>::narrow(SubRange range)
{
    while (true) {
        const std::int64_t range_end = nextRangeEnd(range.first);
        // Marked pivots take their partition with them: one exchange, and the last column is settled.
        while (range_end < range.last) {
            if (range.first + 1 < range.last) {
                exchange(range.first + (range.last - range.first) / 2, range.last);
            }
            if (m_keys[range.last] != marked) {
                break;
            }
            --range.last;
        }
        if (range_end >= range.last) {
            return;
        }
        if (range.patience-- == 0) {
            if (sortOtherwise(range)) {
                return;
            }
            range.patience = patience_for(range.first, range.last);
        }
        const Bound pivot = {true, m_positions[range.last], m_keys[range.last]};
        const std::int64_t column = partition(range);
        SubRange low = {range.first, column - 1, range.level, range.patience, range.lower, pivot};
        SubRange high = {column + 1, range.last, range.level, range.patience, pivot, range.upper};
        if (low.last - low.first > high.last - high.first) {
            std::swap(low, high);
        }
        if (crossesRangeEnd(low.first, low.last)) {
            deepen(low);
            narrow(low);
        }
        range = high;
        if (!crossesRangeEnd(range.first, range.last)) {
            return;
        }
        deepen(range);
    }
}

/// Sorts the sub-range without regard to the documented exchanges. False, and nothing is changed, when equal
/// keys on both sides of a range end make these decide a value, or when there is no memory for it.
template <typename Position>
bool RankSelection<Position>::sortOtherwise(const SubRange& range)
{
    std::vector<Entry> entries;
    try {
        entries.reserve(static_cast<std::size_t>(range.last - range.first + 1));
    } catch (const std::bad_alloc&) {
        return false;
    }
    for (std::int64_t c = range.first; c <= range.last; ++c) {
        entries.push_back({m_keys[c], m_positions[c]});
    }
    if (!sortAcrossRangeEnds(entries, range.first, range.level)) {
        return false;
    }
    std::transform(entries.begin(), entries.end(), m_positions + range.first,
                   [](const Entry& entry) { return entry.position; });
    return true;
}

/// Sorts the entries of the columns from `column` on by their keys, and by further levels where equal keys
/// lie on both sides of a range end; false when no level tells these apart.
template <typename Position>
bool RankSelection<Position>::sortAcrossRangeEnds(std::span<Entry> entries, std::int64_t column, int level)
{
    const auto by_key = [](const Entry& a, const Entry& b) { return a.key < b.key; };
    std::sort(entries.begin(), entries.end(), by_key);
    while (true) {
        const std::int64_t before_end = nextRangeEnd(column) - column;
        if (before_end >= static_cast<std::int64_t>(entries.size()) - 1) {
            return true;
        }
        const auto at_end = entries.begin() + before_end;
        auto settled = at_end + 1;
        if (at_end->key == settled->key) {
            if (at_end->key == marked || level + 1 == feature_levels) {
                return false;
            }
            const auto [group, group_end] = std::equal_range(entries.begin(), entries.end(), *at_end, by_key);
            for (auto entry = group; entry != group_end; ++entry) {
                entry->key = m_levels.key(level + 1, entry->position);
            }
            if (!sortAcrossRangeEnds({group, group_end}, column + (group - entries.begin()), level + 1)) {
                return false;
            }
            settled = group_end;
        }
        column += settled - entries.begin();
        entries = {settled, entries.end()};
    }
}

/// Where both bounds agree on the levels in use, so do all entries between them: the next level takes over.
template <typename Position>
void RankSelection<Position>::deepen(SubRange& range)
{
    if (!range.lower.exists || !range.upper.exists) {
        return;
    }
    const int level_before = range.level;
    while (range.level + 1 < feature_levels && range.lower.key == range.upper.key) {
        ++range.level;
        range.lower.key = m_levels.key(range.level, range.lower.position);
        range.upper.key = m_levels.key(range.level, range.upper.position);
    }
    if (range.level == level_before) {
        return;
    }
    for (std::int64_t c = range.first; c <= range.last; ++c) {
        if (m_keys[c] != marked) {
            m_keys[c] = m_levels.key(range.level, m_positions[c]);
        }
    }
}

/// The documented partition around the last column; gives back the pivot's final column.
///
/// Selections instead of branches: whether an entry goes low is a coin toss that no processor predicts.
template <typename Position>
std::int64_t RankSelection<Position>::partition(const SubRange& range)
{
    const std::uint64_t pivot_key = m_keys[range.last];
    Pivot pivot(m_levels, m_positions[range.last], range.level);
    std::int64_t next_low = range.first;
    for (std::int64_t j = range.first; j < range.last; ++j) {
        std::uint64_t key = m_keys[j];
        const Position position = m_positions[j];
        bool low = key < pivot_key;
        if (key == pivot_key) {
            const int order = pivot.compareDeeper(position);
            low = order <= 0;
            key = order == 0 ? marked : key;
        }
        const std::uint64_t other_key = m_keys[next_low];
        const Position other_position = m_positions[next_low];
        const auto all_if_low = std::uint64_t{0} - static_cast<std::uint64_t>(low);
        const std::uint64_t key_change = (key ^ other_key) & all_if_low;
        const Position position_change = (position ^ other_position) & static_cast<Position>(all_if_low);
        m_keys[j] = key ^ key_change;
        m_positions[j] = position ^ position_change;
        m_keys[next_low] = other_key ^ key_change;
        m_positions[next_low] = other_position ^ position_change;
        next_low += low ? 1 : 0;
    }
    exchange(next_low, range.last);
    return next_low;
}

/// The end of the target range that the column belongs to.
template <typename Position>
std::int64_t RankSelection<Position>::nextRangeEnd(std::int64_t column) const
{
    const auto end = std::lower_bound(m_range_ends.begin(), m_range_ends.end(), column);
    return end == m_range_ends.end() ? std::numeric_limits<std::int64_t>::max() : *end;
}

template <typename Position>
void RankSelection<Position>::exchange(std::int64_t a, std::int64_t b)
{
    std::swap(m_keys[a], m_keys[b]);
    std::swap(m_positions[a], m_positions[b]);
}

template class RankSelection<std::uint32_t>;
template class RankSelection<std::uint64_t>;

} // namespace tonalign

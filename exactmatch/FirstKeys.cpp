// SPDX-License-Identifier: BSD-3-Clause
// Packs the first levels of a row into its keys.
#include "exactmatch/FirstKeys.h"

#include <bit>

namespace tonalign {

FirstKeys::FirstKeys(const FeatureLevels& levels, const IntensityRange& range, bool whole_numbers)
    : m_levels(levels)
{
    constexpr double widest = 1 << 18; // 18 bits of intensity, 21 and 23 of the two sums: a key of 62 bits
    const double width = range.maximum - range.minimum;
    // Whole numbers beyond 2^53 have no exact sums.
    constexpr double farthest = 0x1p40;
    if (!whole_numbers || !(width < widest) || range.minimum < -farthest || range.maximum > farthest) {
        return;
    }
    const auto bits = [](double largest) { return static_cast<int>(std::bit_width(whole(largest))); };
    m_packs = true;
    const int taps1 = levels.responses(1).taps();
    const int taps2 = levels.responses(2).taps();
    m_offset0 = range.minimum;
    m_offset1 = taps1 * range.minimum;
    m_offset2 = taps2 * range.minimum;
    m_shift1 = bits(taps2 * width);
    m_shift0 = m_shift1 + bits(taps1 * width);
}

void FirstKeys::prepare(int z, int y, Row& row) const
{
    m_levels.responses(1).row(z, y, row.m_shell1.data());
    if (m_packs) {
        m_levels.responses(2).row(z, y, row.m_shell2.data());
    }
}

} // namespace tonalign

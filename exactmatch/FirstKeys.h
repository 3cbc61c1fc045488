// SPDX-License-Identifier: BSD-3-Clause
// The keys with which voxels enter the ranking.
#pragma once

#include "exactmatch/FeatureLevels.h"
#include "volume/IntensityRange.h"

#include <cstdint>
#include <vector>

namespace tonalign {

/// The key that each voxel enters the ranking with, computed row by row while the volume is streamed.
///
/// In a volume of whole numbers the intensity and the first two shell sums are small whole numbers too, and
/// share one packed key: most comparisons are decided by it, while single levels would tie all the time.
/// Otherwise the key is a single level: the intensity, or the nearest shell in a bin that has only one
/// intensity.
class FirstKeys
{
public:
    /// @param whole_numbers  whether every voxel is a whole number
    FirstKeys(const FeatureLevels& levels, const IntensityRange& range, bool whole_numbers);

    /// The deepest level that the keys of a bin hold; `uniform` says that the bin has only one intensity.
    int level(bool uniform) const { return m_packs ? packed_level : (uniform ? 1 : 0); }

    /// Room for the shell sums of one row; one per thread.
    class Row
    {
    public:
        explicit Row(int nx) : m_shell1(static_cast<std::size_t>(nx)), m_shell2(static_cast<std::size_t>(nx))
        {
        }

    private:
        friend class FirstKeys;
        std::vector<double> m_shell1;
        std::vector<double> m_shell2;
    };

    /// Computes the shell sums that the keys of row (z, y) need.
    void prepare(int z, int y, Row& row) const;

    /// The key of voxel x of the row prepared last; `uniform` as in level().
    std::uint64_t key(const Row& row, int x, double intensity, bool uniform) const
    {
        const auto i = static_cast<std::size_t>(x);
        if (m_packs) {
            return whole(intensity - m_offset0) << m_shift0 | whole(row.m_shell1[i] - m_offset1) << m_shift1 |
                   whole(row.m_shell2[i] - m_offset2);
        }
        return sort_key(uniform ? row.m_shell1[i] : intensity);
    }

private:
    static constexpr int packed_level = 2;

    static std::uint64_t whole(double value)
    {
        return static_cast<std::uint64_t>(static_cast<std::int64_t>(value));
    }

    const FeatureLevels& m_levels;
    bool m_packs = false;
    double m_offset0 = 0.0; ///< smallest values that the levels can have
    double m_offset1 = 0.0;
    double m_offset2 = 0.0;
    int m_shift0 = 0; ///< where they stand in the key
    int m_shift1 = 0;
};

} // namespace tonalign

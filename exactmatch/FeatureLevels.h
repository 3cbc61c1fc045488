// SPDX-License-Identifier: BSD-3-Clause
// The levels that order voxels: intensity, then five shell sums.
#pragma once

#include "exactmatch/FilterResponse.h"
#include "exactmatch/filter_bank.h"
#include "volume/Array3D.h"

#include <bit>
#include <cstdint>
#include <vector>

namespace tonalign {

/// A value that orders finite doubles as unsigned integers: a < b exactly when sort_key(a) < sort_key(b), and
/// the two zeros, which compare equal, share a key.
inline std::uint64_t sort_key(double value)
{
    const auto bits = std::bit_cast<std::uint64_t>(value + 0.0); // -0 + 0 is +0
    constexpr std::uint64_t sign = std::uint64_t{1} << 63;
    return (bits & sign) != 0 ? ~bits : bits | sign;
}

/// The levels of a volume's feature stack, each value computed when it is asked for.
///
/// Level 0 is the intensity, level k the response to filter k + 1. Positions are offsets in the volume's
/// block, which has no margin. The values are those of a stored stack, bit for bit. The volume must not
/// change while its levels are being compared.
class FeatureLevels
{
public:
    explicit FeatureLevels(const Array3D<double>& volume);

    /// The sort key of one voxel on one level.
    template <typename Position>
    std::uint64_t key(int level, Position position) const
    {
        if (level == 0) {
            return sort_key(m_voxels[position]);
        }
        const auto nx = static_cast<Position>(m_nx);
        const auto ny = static_cast<Position>(m_ny);
        const Position row = position / nx;
        const Position z = row / ny;
        return sort_key(responses(level).at(static_cast<int>(z), static_cast<int>(row - z * ny),
                                            static_cast<int>(position - row * nx)));
    }

    /// The responses that make up level 1..5.
    const FilterResponse& responses(int level) const
    {
        return m_responses[static_cast<std::size_t>(level - 1)];
    }

private:
    const double* m_voxels;
    int m_nx;
    int m_ny;
    std::vector<FilterResponse> m_responses; ///< of filters 2..6
};

} // namespace tonalign

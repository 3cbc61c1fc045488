// SPDX-License-Identifier: BSD-3-Clause
// Reals as unsigned integers of the same order.
#pragma once

#include <bit>
#include <cstdint>

namespace tonalign {

/// A value that orders finite doubles as unsigned integers: a < b exactly when sort_key(a) < sort_key(b), and
/// the two zeros, which compare equal, share a key.
inline std::uint64_t sort_key(double value)
{
    const auto bits = std::bit_cast<std::uint64_t>(value + 0.0); // -0 + 0 is +0
    constexpr std::uint64_t sign = std::uint64_t{1} << 63;
    return (bits & sign) != 0 ? ~bits : bits | sign;
}

/// The double that has this key.
inline double value_of_sort_key(std::uint64_t key)
{
    constexpr std::uint64_t sign = std::uint64_t{1} << 63;
    return std::bit_cast<double>((key & sign) != 0 ? key ^ sign : ~key);
}

} // namespace tonalign

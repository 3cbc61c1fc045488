// SPDX-License-Identifier: BSD-3-Clause
// One small number for each voxel: which value it receives.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

namespace tonalign {

/// A code for each voxel of a volume, in as few bytes as the largest code needs. Threads may set the codes of
/// different voxels at once.
class RangeCodes
{
public:
    RangeCodes() = default;
    RangeCodes(std::int64_t voxels, std::uint32_t largest)
        : m_bytes(largest <= 0xFF ? 1 : (largest <= 0xFFFF ? 2 : 4)),
          m_codes(static_cast<std::size_t>(voxels) * m_bytes)
    {
    }

    bool areAbsent() const { return m_codes.empty(); }

    void set(std::uint64_t voxel, std::uint32_t code) { copy(1, &code, voxel); }

    /// Sets the codes of `count` voxels from `first` on.
    void copy(std::int64_t count, const std::uint32_t* codes, std::uint64_t first)
    {
        visit([&](auto code) {
            using Code = decltype(code);
            auto* const own = reinterpret_cast<Code*>(m_codes.data()) + first;
            for (std::int64_t j = 0; j < count; ++j) {
                own[j] = static_cast<Code>(codes[j]);
            }
        });
    }

    /// Calls take(j, code) for `count` voxels from `first` on.
    template <typename Take>
    void forEach(std::int64_t count, std::uint64_t first, Take take) const
    {
        visit([&](auto code) {
            const auto* const own = reinterpret_cast<const decltype(code)*>(m_codes.data()) + first;
            for (std::int64_t j = 0; j < count; ++j) {
                take(j, own[j]);
            }
        });
    }

private:
    template <typename Function>
    void visit(Function function) const
    {
        if (m_bytes == 1) {
            function(std::uint8_t{});
        } else if (m_bytes == 2) {
            function(std::uint16_t{});
        } else {
            function(std::uint32_t{});
        }
    }

    std::size_t m_bytes = 1;
    std::vector<unsigned char> m_codes; ///< aligned for any type by its allocator
};

} // namespace tonalign

// SPDX-License-Identifier: BSD-3-Clause
// One small number for each voxel: which value it receives.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>

namespace tonalign {

/// A code for each voxel of a volume, in as few bytes as the largest code needs. Threads may set the codes of
/// different voxels at once.
class RangeCodes
{
public:
    RangeCodes() = default;
    RangeCodes(std::int64_t voxels, std::uint32_t largest);

    bool areAbsent() const { return m_codes == nullptr; }

    void set(std::uint64_t voxel, std::uint32_t code) { copy(1, &code, voxel); }

    /// Sets the codes of `count` voxels from `first` on.
    void copy(std::int64_t count, const std::uint32_t* codes, std::uint64_t first)
    {
        visit([&](auto code) {
            using Code = decltype(code);
            auto* const own = static_cast<Code*>(m_codes.get()) + first;
            for (std::int64_t j = 0; j < count; ++j) {
                own[j] = static_cast<Code>(codes[j]);
            }
        });
    }

    /// Calls take(j, code) for `count` voxels from `first` on; absent codes are no calls.
    template <typename Take>
    void forEach(std::int64_t count, std::uint64_t first, Take take) const
    {
        if (areAbsent()) {
            return;
        }
        visit([&](auto code) {
            const auto* const own = static_cast<const decltype(code)*>(m_codes.get()) + first;
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

    struct Free
    {
        void operator()(void* memory) const { std::free(memory); }
    };

    std::size_t m_bytes = 1;
    std::unique_ptr<void, Free> m_codes; ///< zeros, which the system makes where they are first touched
};

} // namespace tonalign

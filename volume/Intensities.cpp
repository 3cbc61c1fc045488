// SPDX-License-Identifier: BSD-3-Clause
// Counts levels, and reads rows through the table of their intensities.
#include "volume/Intensities.h"

#include "volume/Team.h"
#include "volume/VolumeRows.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>
#include <type_traits>
#include <utility>

namespace tonalign {

namespace {

/// Whether volumes of this element have levels.
template <typename Element>
constexpr bool has_levels = std::is_integral_v<Element> && sizeof(Element) <= 2;

/// Counts a row's levels. Four tables take turns, so that a run of equal voxels does not wait for its own
/// last increment.
template <typename Element>
void count_row(const Element* row, int count, std::ptrdiff_t stride, std::uint32_t* tables,
               std::size_t levels)
{
    int x = 0;
    for (; x + 4 <= count; x += 4, row += 4 * stride) {
        ++tables[Intensities::level(row[0])];
        ++tables[levels + Intensities::level(row[stride])];
        ++tables[2 * levels + Intensities::level(row[2 * stride])];
        ++tables[3 * levels + Intensities::level(row[3 * stride])];
    }
    for (; x < count; ++x, row += stride) {
        ++tables[Intensities::level(*row)];
    }
}

/// The same with a mask; level `outside` counts what is not inside it.
template <typename Element>
void count_row(const Element* row, const std::uint8_t* mask, int count, std::ptrdiff_t stride,
               std::uint32_t* table, std::size_t outside)
{
    for (int x = 0; x < count; ++x, row += stride, mask += stride) {
        ++table[*mask != 0 ? Intensities::level(*row) : outside];
    }
}

template <typename Element>
std::vector<std::int64_t> count_levels(const VolumeView& view)
{
    constexpr std::size_t outside = std::size_t{1} << (8 * sizeof(Element));
    const std::size_t levels = view.mask == nullptr ? outside : outside + 1;
    std::vector<std::int64_t> counts(levels);
    in_parallel(view.nz, [&](Team& team) {
        std::vector<std::uint32_t> own(levels * 4);
        std::int64_t seen = 0;
        const auto hand_over = [&] {
            team.takeTurns([&] {
                for (std::size_t k = 0; k < own.size(); ++k) {
                    counts[k % levels] += std::exchange(own[k], 0);
                }
            });
            seen = 0;
        };
        team.share([&](std::int64_t slice) {
            const int z = static_cast<int>(slice);
            for (int y = 0; y < view.ny; ++y) {
                if (seen + view.nx > std::numeric_limits<std::uint32_t>::max()) {
                    hand_over();
                }
                seen += view.nx;
                if (view.mask == nullptr) {
                    count_row(view.row<Element>(z, y), view.nx, view.stride_x, own.data(), levels);
                } else {
                    count_row(view.row<Element>(z, y), view.maskRow(z, y), view.nx, view.stride_x, own.data(),
                              outside);
                }
            }
        });
        hand_over();
    });
    return counts;
}

} // namespace

Intensities::Intensities(const VolumeView& view) : m_view(view)
{
    with_element(view.kind, [this](auto element) {
        using Element = decltype(element);
        if constexpr (has_levels<Element>) {
            m_counts = count_levels<Element>(m_view);
            m_values.resize(m_counts.size());
            std::iota(m_values.begin(), m_values.end(),
                      static_cast<double>(std::numeric_limits<Element>::min()));
        }
    });
    if (view.mask != nullptr) {
        findInside();
    } else {
        m_inside = view.count();
    }
}

/// Gives the outside the intensity of the first finite voxel inside.
void Intensities::findInside()
{
    double first = 0.0;
    bool found = false;
    with_element(m_view.kind, [&](auto element) {
        for (int z = 0; z < m_view.nz && !found; ++z) {
            for (int y = 0; y < m_view.ny && !found; ++y) {
                const auto* const row = m_view.row<decltype(element)>(z, y);
                const std::uint8_t* const mask = m_view.maskRow(z, y);
                for (int x = 0; x < m_view.nx && !found; ++x) {
                    const std::ptrdiff_t place = x * m_view.stride_x;
                    m_inside += mask[place] != 0 ? 1 : 0;
                    found = mask[place] != 0 && std::isfinite(static_cast<double>(row[place]));
                    first = found ? static_cast<double>(row[place]) : 0.0;
                }
            }
        }
    });
    setOutside(first);
}

void Intensities::setOutside(double intensity)
{
    (haveLevels() ? m_values.back() : m_outside) = intensity;
}

void Intensities::map(const std::function<void(double*, std::int64_t)>& change)
{
    change(m_values.data(), static_cast<std::int64_t>(m_values.size()));
    m_mapped = true;
}

void Intensities::row(int z, int y, double* values) const
{
    with_element(m_view.kind, [&](auto element) {
        using Element = decltype(element);
        const Element* const row = m_view.row<Element>(z, y);
        if constexpr (!has_levels<Element>) {
            if (m_view.mask == nullptr && m_view.stride_x == 1) {
                std::copy_n(row, m_view.nx, values); // as wide as the machine can, unlike steps of any length
                return;
            }
        }
        for (int x = 0; m_view.mask != nullptr && x < m_view.nx; ++x) {
            values[x] = of(row + x * m_view.stride_x);
        }
        for (int x = 0; m_view.mask == nullptr && x < m_view.nx; ++x) {
            const Element voxel = row[x * m_view.stride_x];
            if constexpr (has_levels<Element>) {
                values[x] = m_values[level(voxel)];
            } else {
                values[x] = static_cast<double>(voxel);
            }
        }
    });
}

VolumeRows Intensities::rows() const
{
    return {m_view.nx, m_view.ny, m_view.nz, [this](int z, int y, double* values) { row(z, y, values); }};
}

} // namespace tonalign

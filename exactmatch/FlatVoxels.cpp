// SPDX-License-Identifier: BSD-3-Clause
// Compares rows with one intensity, with wide instructions.
#include "exactmatch/FlatVoxels.h"

#include "exactmatch/Shell.h"
#include "exactmatch/filter_bank.h"
#include "volume/wide.h"

#include <algorithm>
#include <cstddef>

namespace tonalign {

namespace {

template <typename Element>
[[gnu::always_inline]] inline void keep(const Element* __restrict row, int count, Element wanted,
                                        std::uint8_t* __restrict marks)
{
    for (int x = 0; x < count; ++x) {
        marks[x] = static_cast<std::uint8_t>(marks[x] & (row[x] == wanted ? 1 : 0));
    }
}

// Clear the marks of the voxels of a row that are not `wanted`. One function for each type, since the
// compiler clones no templates.
TONALIGN_WIDE void keep_equal(const std::uint8_t* row, int count, std::uint8_t wanted, std::uint8_t* marks)
{
    keep(row, count, wanted, marks);
}
TONALIGN_WIDE void keep_equal(const std::int16_t* row, int count, std::int16_t wanted, std::uint8_t* marks)
{
    keep(row, count, wanted, marks);
}
TONALIGN_WIDE void keep_equal(const std::int32_t* row, int count, std::int32_t wanted, std::uint8_t* marks)
{
    keep(row, count, wanted, marks);
}
TONALIGN_WIDE void keep_equal(const float* row, int count, float wanted, std::uint8_t* marks)
{
    keep(row, count, wanted, marks);
}
TONALIGN_WIDE void keep_equal(const double* row, int count, double wanted, std::uint8_t* marks)
{
    keep(row, count, wanted, marks);
}

/// Looks for flat voxels of one stored intensity, row by row.
template <typename Element>
class FlatRows
{
public:
    FlatRows(const VolumeView& view, Element intensity)
        : m_view(view),
          m_intensity(intensity),
          m_reach(Shell(feature_levels - 1, view).reach), // the widest
          m_alike(static_cast<std::size_t>(view.nx)),
          m_flat(static_cast<std::size_t>(view.nx))
    {
    }

    /// Marks the flat voxels of row (z, y).
    const std::vector<std::uint8_t>& mark(int z, int y)
    {
        std::fill(m_alike.begin(), m_alike.end(), std::uint8_t{1});
        for (int dz = -m_reach; dz <= m_reach; ++dz) {
            for (int dy = -m_reach; dy <= m_reach; ++dy) {
                keepAlike(wrapped(z + dz, m_view.nz), wrapped(y + dy, m_view.ny));
            }
        }
        constexpr std::uint8_t marked = 1;
        m_flat = m_alike;
        for (int dx = -m_reach; dx <= m_reach; ++dx) {
            const int begin = wrapped(dx, m_view.nx);
            keep_equal(m_alike.data() + begin, m_view.nx - begin, marked, m_flat.data());
            keep_equal(m_alike.data(), begin, marked, m_flat.data() + m_view.nx - begin);
        }
        return m_flat;
    }

private:
    void keepAlike(int z, int y)
    {
        const Element* const row = m_view.row<Element>(z, y);
        if (m_view.mask == nullptr && m_view.stride_x == 1) {
            keep_equal(row, m_view.nx, m_intensity, m_alike.data());
            return;
        }
        const std::uint8_t* const mask = m_view.mask == nullptr ? nullptr : m_view.maskRow(z, y);
        for (int x = 0; x < m_view.nx; ++x) {
            const bool inside = mask == nullptr || mask[x * m_view.stride_x] != 0;
            m_alike[static_cast<std::size_t>(x)] &=
                static_cast<std::uint8_t>(inside && row[x * m_view.stride_x] == m_intensity ? 1 : 0);
        }
    }

    const VolumeView& m_view;
    Element m_intensity;
    int m_reach;
    std::vector<std::uint8_t> m_alike; ///< whether all rows around have the intensity at this x
    std::vector<std::uint8_t> m_flat;
};

/// The intensity of most of the voxels at some of these positions, by the vote that cells take too.
template <typename Element, typename Position>
Element most_likely(const VolumeView& view, std::span<const Position> positions)
{
    const auto nx = static_cast<Position>(view.nx);
    const auto ny = static_cast<Position>(view.ny);
    Element favourite = {};
    int votes = 0;
    for (std::size_t k = 0; k < positions.size(); k += positions.size() / 256 + 1) {
        const Position row = positions[k] / nx;
        const Element* const voxels =
            view.row<Element>(static_cast<int>(row / ny), static_cast<int>(row % ny));
        const Element intensity = voxels[static_cast<std::ptrdiff_t>(positions[k] % nx) * view.stride_x];
        favourite = votes == 0 ? intensity : favourite;
        votes += intensity == favourite ? 1 : -1;
    }
    return favourite;
}

template <typename Position>
std::vector<Position> flat_of(const Intensities& volume, std::span<const Position> positions)
{
    const VolumeView& view = volume.view();
    return with_element(view.kind, [&](auto element) {
        using Element = decltype(element);
        FlatRows<Element> rows(view, most_likely<Element>(view, positions));
        const auto nx = static_cast<Position>(view.nx);
        const auto ny = static_cast<Position>(view.ny);
        std::vector<Position> flat;
        for (auto begin = positions.begin(); begin != positions.end();) {
            const Position row = *begin / nx;
            const auto end =
                std::find_if(begin, positions.end(), [=](Position p) { return p >= (row + 1) * nx; });
            if (end - begin >= view.nx / 8) {
                const auto& marks = rows.mark(static_cast<int>(row / ny), static_cast<int>(row % ny));
                for (auto p = begin; p != end; ++p) {
                    if (marks[static_cast<std::size_t>(*p - row * nx)] != 0) {
                        flat.push_back(static_cast<Position>(p - positions.begin()));
                    }
                }
            }
            begin = end;
        }
        return flat;
    });
}

} // namespace

std::vector<std::uint32_t> find_flat(const Intensities& volume, std::span<const std::uint32_t> positions)
{
    return flat_of(volume, positions);
}

std::vector<std::uint64_t> find_flat(const Intensities& volume, std::span<const std::uint64_t> positions)
{
    return flat_of(volume, positions);
}

} // namespace tonalign

// SPDX-License-Identifier: BSD-3-Clause
// What the stored voxels of a volume stand for.
#pragma once

#include "volume/VolumeRows.h"
#include "volume/VolumeView.h"

#include <cstdint>
#include <functional>
#include <vector>

namespace tonalign {

/// The intensities of a volume whose voxels stay as they are stored.
///
/// A volume of 8 or 16 bits has few distinct values, its levels. They are counted once; after that a table of
/// one intensity for each level takes the place of the voxels: mapping it maps the volume. Volumes of other
/// types stand for their own values.
///
/// With a mask all voxels outside it have one intensity, whatever is stored there: that of the first finite
/// voxel inside, so that the volume has the range of its inside, until setOutside() gives another one.
///
/// Level 0 is the type's smallest value; the outside of a mask is one more level, the last. Views `view`,
/// which outlives this object.
class Intensities
{
public:
    explicit Intensities(const VolumeView& view);

    const VolumeView& view() const { return m_view; }

    bool haveLevels() const { return !m_values.empty(); }

    /// Whether any voxel has another intensity than it is stored with.
    bool areMapped() const { return m_mapped || m_view.mask != nullptr; }

    /// Whether there is any voxel, and inside the mask, if there is one.
    bool haveInside() const { return m_inside > 0; }

    double outside() const { return haveLevels() ? m_values.back() : m_outside; } ///< of a mask
    void setOutside(double intensity);
    std::uint32_t outsideLevel() const { return static_cast<std::uint32_t>(m_values.size() - 1); }

    /// The intensity of a stored voxel of the view.
    template <typename Element>
    double of(const Element* voxel) const
    {
        if (m_view.mask != nullptr && m_view.mask[voxel - static_cast<const Element*>(m_view.voxels)] == 0) {
            return outside();
        }
        if constexpr (sizeof(Element) <= 2) {
            return m_values[level(*voxel)];
        } else {
            return static_cast<double>(*voxel);
        }
    }

    /// The intensity of each level, and how many voxels have it; both empty for types without levels.
    const std::vector<double>& values() const { return m_values; }
    const std::vector<std::int64_t>& counts() const { return m_counts; }

    /// The level of a stored voxel.
    static std::uint8_t level(std::uint8_t stored) { return stored; }
    static std::uint16_t level(std::int16_t stored)
    {
        return static_cast<std::uint16_t>(static_cast<std::uint16_t>(stored) ^ 0x8000U);
    }

    /// Changes the intensities of all levels: change(values, count) works in place.
    void map(const std::function<void(double*, std::int64_t)>& change);

    /// The intensities of row (z, y), into values[0..nx).
    void row(int z, int y, double* values) const;

    /// All rows, as long as this object lives.
    VolumeRows rows() const;

private:
    void findInside();

    VolumeView m_view;
    bool m_mapped = false;
    std::int64_t m_inside = 0;
    double m_outside = 0.0;
    std::vector<double> m_values;
    std::vector<std::int64_t> m_counts;
};

} // namespace tonalign

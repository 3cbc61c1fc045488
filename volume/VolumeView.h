// SPDX-License-Identifier: BSD-3-Clause
// Voxels wherever they lie, in the type they are stored in.
#pragma once

#include "volume/ElementType.h"

#include <cstddef>
#include <cstdint>

namespace tonalign {

/// A volume in memory that somebody else owns, in any element type and the machine's byte order.
///
/// Voxel (x, y, z), indices from 0, is element x * stride_x + y * stride_y + z * stride_z from `voxels` on;
/// strides are counted in elements and may be negative. Nothing is copied: the memory outlives every use of
/// the view, and must be aligned for its type.
struct VolumeView
{
    VolumeView(const void* first_voxel, ElementKind element, int x, int y, int z)
        : VolumeView(first_voxel, element, x, y, z, 1, x, std::ptrdiff_t{x} * y)
    {
    }
    VolumeView(const void* first_voxel, ElementKind element, int x, int y, int z, std::ptrdiff_t along_x,
               std::ptrdiff_t along_y, std::ptrdiff_t along_z)
        : voxels(first_voxel),
          kind(element),
          nx(x),
          ny(y),
          nz(z),
          stride_x(along_x),
          stride_y(along_y),
          stride_z(along_z)
    {
    }

    std::int64_t count() const { return std::int64_t{nx} * ny * nz; }

    /// Voxel (0, y, z).
    template <typename Element>
    const Element* row(int z, int y) const
    {
        return static_cast<const Element*>(voxels) + z * stride_z + y * stride_y;
    }

    /// The same voxels with a mask: bytes, not 0 inside, laid out as the voxels are.
    VolumeView masked(const std::uint8_t* first_byte) const
    {
        VolumeView result = *this;
        result.mask = first_byte;
        return result;
    }

    /// The bytes of the mask for row (0, y, z), with the voxels' stride; null without a mask.
    const std::uint8_t* maskRow(int z, int y) const
    {
        return mask == nullptr ? nullptr : mask + z * stride_z + y * stride_y;
    }

    const void* voxels;
    const std::uint8_t* mask = nullptr; ///< null when every voxel is inside
    ElementKind kind;
    int nx; ///< size in voxels
    int ny;
    int nz;
    std::ptrdiff_t stride_x;
    std::ptrdiff_t stride_y;
    std::ptrdiff_t stride_z;
};

} // namespace tonalign

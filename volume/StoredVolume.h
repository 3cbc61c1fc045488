// SPDX-License-Identifier: BSD-3-Clause
// The owner of a volume's voxels, in the type of their file.
#pragma once

#include "volume/VolumeView.h"

#include <cstddef>
#include <memory>

namespace tonalign {

/// A volume that keeps its voxels as its file does, 1 to 8 bytes each, x fastest, then y, then z.
class StoredVolume
{
public:
    StoredVolume() = default;

    /// Voxels of undefined value. Sizes are at least 1, and their product has been checked.
    StoredVolume(ElementKind kind, int nx, int ny, int nz)
        : m_bytes(std::make_unique_for_overwrite<std::byte[]>(size(kind, nx, ny, nz))),
          m_view(m_bytes.get(), kind, nx, ny, nz)
    {
    }

    const VolumeView& view() const { return m_view; }
    std::byte* bytes() { return m_bytes.get(); }

private:
    static std::size_t size(ElementKind kind, int nx, int ny, int nz)
    {
        const std::size_t element = with_element(kind, [](auto voxel) { return sizeof voxel; });
        return element * static_cast<std::size_t>(nx) * static_cast<std::size_t>(ny) *
               static_cast<std::size_t>(nz);
    }

    std::unique_ptr<std::byte[]> m_bytes;
    VolumeView m_view = {nullptr, ElementKind::uint8, 0, 0, 0};
};

} // namespace tonalign

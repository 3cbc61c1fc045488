// SPDX-License-Identifier: BSD-3-Clause
// Takes memory for voxels.
#include "volume/StoredVolume.h"

#include "volume/large_pages.h"

namespace tonalign {

StoredVolume::StoredVolume(ElementKind kind, int nx, int ny, int nz)
{
    const std::size_t element = with_element(kind, [](auto voxel) { return sizeof voxel; });
    const std::size_t size =
        element * static_cast<std::size_t>(nx) * static_cast<std::size_t>(ny) * static_cast<std::size_t>(nz);
    m_bytes = std::make_unique_for_overwrite<std::byte[]>(size);
    m_view = {m_bytes.get(), kind, nx, ny, nz};
    prefer_large_pages(m_bytes.get(), size);
}

} // namespace tonalign

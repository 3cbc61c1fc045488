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
    StoredVolume(ElementKind kind, int nx, int ny, int nz);

    const VolumeView& view() const { return m_view; }
    std::byte* bytes() { return m_bytes.get(); }

private:
    std::unique_ptr<std::byte[]> m_bytes;
    VolumeView m_view = {nullptr, ElementKind::uint8, 0, 0, 0};
};

} // namespace tonalign

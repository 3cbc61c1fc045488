// SPDX-License-Identifier: BSD-3-Clause
// The foreground, grouped by bin.
#pragma once

#include "exactmatch/FirstKeys.h"
#include "histogram/BinGeometry.h"
#include "volume/Array3D.h"

#include <cstdint>
#include <vector>

namespace tonalign {

/// The voxels of a volume outside the background, grouped by bin and in raster order within a bin.
///
/// Made in two parallel passes over slabs of slices: the first counts, the second places each voxel in the
/// column that its bin and its place in raster order give it. What comes out does not depend on the number of
/// slabs.
class VoxelBins
{
public:
    /// Counts the voxels of each bin. The volume has lowest index 0 and no margin, and outlives this object.
    VoxelBins(const Array3D<double>& volume, const BinGeometry& geometry);

    /// Number of voxels of bin i, 1-based.
    std::int64_t count(int bin) const { return m_bins[static_cast<std::size_t>(bin)].count; }

    /// Number of voxels outside bin 1.
    std::int64_t foreground() const { return m_foreground; }

    /// Whether all voxels of a bin have one intensity.
    bool isUniform(int bin) const { return m_bins[static_cast<std::size_t>(bin)].uniform; }

    /// Whether every voxel of the volume is a whole number.
    bool areWholeNumbers() const;

    /// Enters every foreground voxel into its column, counted from 0, bin 2 first: positions[c] is its offset
    /// in the volume's block, keys[c] its first key.
    ///
    /// Both arrays hold foreground() entries. May be called once.
    template <typename Position>
    void place(const FirstKeys& first_keys, Position* positions, std::uint64_t* keys);

private:
    struct Bin
    {
        std::int64_t count = 0;
        double intensity = 0.0; ///< of the bin's first voxel
        bool uniform = true;    ///< whether the others have it too
        std::int64_t next_column = 0;
    };

    /// A run of slices with its own table of bins and room for one row.
    struct Slab
    {
        Slab(int first, int end, int nx, std::size_t bin_count)
            : first_slice(first),
              end_slice(end),
              bins(bin_count),
              row_bins(static_cast<std::size_t>(nx)),
              row(nx)
        {
        }

        int first_slice;
        int end_slice;
        bool whole_numbers = true;
        std::vector<Bin> bins; ///< entry i is bin i; entry 0 is not used
        std::vector<std::int32_t> row_bins;
        FirstKeys::Row row;
    };

    void countSlab(Slab& slab) const;
    void mergeSlabs();
    template <typename Position>
    void placeSlab(Slab& slab, const FirstKeys& first_keys, Position* positions, std::uint64_t* keys) const;

    const Array3D<double>& m_volume;
    BinGeometry m_geometry;
    std::vector<Slab> m_slabs;
    std::vector<Bin> m_bins; ///< of the whole volume
    std::int64_t m_foreground = 0;
};

} // namespace tonalign

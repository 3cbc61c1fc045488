// SPDX-License-Identifier: BSD-3-Clause
// Counts voxels by bin, then places them, slab by slab.
#include "exactmatch/VoxelBins.h"

#include "volume/wide.h"

#include <omp.h>

#include <algorithm>
#include <cmath>

namespace tonalign {

namespace {

/// As many slabs as threads, as long as there are slices for them and their tables stay small beside the
/// volume.
int slab_count(const Array3D<double>& volume, int bins)
{
    const std::int64_t affordable = std::max<std::int64_t>(1, volume.blockSize() / (8 * std::int64_t{bins}));
    const int threads = std::min(omp_get_max_threads(), volume.getNzTotal());
    return static_cast<int>(std::min<std::int64_t>(threads, affordable));
}

/// Whether all values are whole numbers.
TONALIGN_WIDE bool are_whole(const double* values, int count)
{
    std::int64_t fractions = 0;
    for (int x = 0; x < count; ++x) {
        fractions += std::floor(values[x]) != values[x] ? 1 : 0;
    }
    return fractions == 0;
}

} // namespace

VoxelBins::VoxelBins(const Array3D<double>& volume, const BinGeometry& geometry)
    : m_volume(volume), m_geometry(geometry), m_bins(static_cast<std::size_t>(geometry.bins()) + 1)
{
    const int slabs = slab_count(volume, geometry.bins());
    for (int s = 0; s < slabs; ++s) {
        const auto slice = [&](int of_slab) {
            return static_cast<int>(std::int64_t{volume.getNzTotal()} * of_slab / slabs);
        };
        m_slabs.emplace_back(slice(s), slice(s + 1), volume.getNxTotal(), m_bins.size());
    }
#pragma omp parallel for schedule(dynamic, 1)
    for (int s = 0; s < slabs; ++s) {
        countSlab(m_slabs[static_cast<std::size_t>(s)]);
    }
    mergeSlabs();
}

void VoxelBins::countSlab(Slab& slab) const
{
    const int nx = m_volume.getNxTotal();
    for (int z = slab.first_slice; z < slab.end_slice; ++z) {
        for (int y = 0; y < m_volume.getNyTotal(); ++y) {
            const double* const row = m_volume.address()[z][y];
            m_geometry.binsOf(row, nx, slab.row_bins.data());
            slab.whole_numbers = slab.whole_numbers && are_whole(row, nx);
            for (int x = 0; x < nx; ++x) {
                Bin& bin = slab.bins[static_cast<std::size_t>(slab.row_bins[static_cast<std::size_t>(x)])];
                if (bin.count++ == 0) {
                    bin.intensity = row[x];
                }
                bin.uniform = bin.uniform && row[x] == bin.intensity;
            }
        }
    }
}

/// Adds up the slabs' tables, and gives each slab the columns at which its part of each bin begins.
void VoxelBins::mergeSlabs()
{
    for (std::size_t i = 1; i < m_bins.size(); ++i) {
        Bin& bin = m_bins[i];
        for (Slab& slab : m_slabs) {
            Bin& part = slab.bins[i];
            if (bin.count == 0) {
                bin.intensity = part.intensity;
            }
            if (part.count > 0) {
                bin.uniform = bin.uniform && part.uniform && part.intensity == bin.intensity;
            }
            part.next_column = m_foreground + bin.count;
            bin.count += part.count;
        }
        m_foreground += i == 1 ? 0 : bin.count;
    }
}

bool VoxelBins::areWholeNumbers() const
{
    return std::all_of(m_slabs.begin(), m_slabs.end(), [](const Slab& slab) { return slab.whole_numbers; });
}

template <typename Position>
void VoxelBins::place(const FirstKeys& first_keys, Position* positions, std::uint64_t* keys)
{
    const auto slabs = static_cast<int>(m_slabs.size());
#pragma omp parallel for schedule(dynamic, 1)
    for (int s = 0; s < slabs; ++s) {
        placeSlab(m_slabs[static_cast<std::size_t>(s)], first_keys, positions, keys);
    }
}

template <typename Position>
void VoxelBins::placeSlab(Slab& slab, const FirstKeys& first_keys, Position* positions,
                          std::uint64_t* keys) const
{
    const int nx = m_volume.getNxTotal();
    const int ny = m_volume.getNyTotal();
    for (int z = slab.first_slice; z < slab.end_slice; ++z) {
        for (int y = 0; y < ny; ++y) {
            const double* const row = m_volume.address()[z][y];
            const auto row_position = static_cast<Position>(row - m_volume.block());
            m_geometry.binsOf(row, nx, slab.row_bins.data());
            if (std::all_of(slab.row_bins.begin(), slab.row_bins.end(), [](int bin) { return bin == 1; })) {
                continue;
            }
            first_keys.prepare(z, y, slab.row);
            for (int x = 0; x < nx; ++x) {
                const auto i = static_cast<std::size_t>(slab.row_bins[static_cast<std::size_t>(x)]);
                if (i >= 2) {
                    const std::int64_t column = slab.bins[i].next_column++;
                    positions[column] = row_position + static_cast<Position>(x);
                    keys[column] = first_keys.key(slab.row, x, row[x], m_bins[i].uniform);
                }
            }
        }
    }
}

template void VoxelBins::place(const FirstKeys&, std::uint32_t*, std::uint64_t*);
template void VoxelBins::place(const FirstKeys&, std::uint64_t*, std::uint64_t*);

} // namespace tonalign

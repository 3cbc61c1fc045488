// SPDX-License-Identifier: BSD-3-Clause
// The responses of a volume to a filter, in their documented order of summation.
#pragma once

#include "volume/Array3D.h"

#include <cstddef>
#include <vector>

namespace tonalign {

/// The responses of one volume to one filter, row by row or voxel by voxel, with periodic borders.
///
/// Every response is summed from 0 in the order slice, row, column of the filter, whichever way it is asked
/// for. Zero weights are left out: over finite voxels they add a zero to a sum that started at +0, which
/// changes no bit of it. The volume has lowest index 0 on each axis and outlives this object; nothing is
/// copied from it.
class FilterResponse
{
public:
    FilterResponse(const Array3D<double>& volume, const Array3D<double>& filter);

    /// Responses of the voxels of row (z, y) none of whose neighbours leaves the volume, into response[x].
    void interiorOfRow(int z, int y, double* response) const;

    /// Responses of the other voxels of row (z, y), into response[x].
    void borderOfRow(int z, int y, double* response) const;

    /// Responses of row (z, y), into response[x].
    void row(int z, int y, double* response) const
    {
        interiorOfRow(z, y, response);
        borderOfRow(z, y, response);
    }

    /// Number of non-zero weights.
    int taps() const { return static_cast<int>(m_taps.size()); }

    /// The response of one voxel.
    double at(int z, int y, int x) const
    {
        return m_z.fits(z) && m_y.fits(y) && m_x.fits(x) ? inside(&m_voxels[z][y][x]) : wrapped(z, y, x);
    }

private:
    /// The filter's reach along one axis of the volume.
    struct Axis
    {
        Axis(int voxels, int size) : n(voxels), before((size - 1) / 2), after(size - 1 - before) {}

        /// Whether the filter stays inside the volume when it is centred on p.
        bool fits(int p) const { return before <= p && p < n - after; }
        int interior() const { return n - before - after; }

        int n;
        int before;
        int after;
    };

    /// One non-zero weight and its position relative to the filter's centre, also as an offset in the block.
    struct Tap
    {
        int dz;
        int dy;
        int dx;
        std::ptrdiff_t offset;
        double weight;
    };

    static void sumRow(const double* voxels, int count, const Tap* taps, std::size_t tap_count, double* sums);
    double inside(const double* voxel) const
    {
        double sum = 0.0;
        for (const Tap& tap : m_taps) {
            sum = sum + voxel[tap.offset] * tap.weight;
        }
        return sum;
    }
    double wrapped(int z, int y, int x) const;

    const double* const* const* m_voxels;
    Axis m_z;
    Axis m_y;
    Axis m_x;
    std::vector<Tap> m_taps;
};

} // namespace tonalign

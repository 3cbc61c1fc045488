// SPDX-License-Identifier: BSD-3-Clause
// Filters a volume slice by slice.
#include "exactmatch/convolution.h"

#include <algorithm>

namespace {

/// The filter's reach along one axis of the volume.
struct Axis
{
    Axis(int voxels, int size) : n(voxels), before((size - 1) / 2), after(size - 1 - before) {}

    /// Whether the filter stays inside the volume when it is centred on p.
    bool fits(int p) const { return before <= p && p < n - after; }

    /// The position that a periodic volume continues p with.
    int wrap(int p) const { return (p % n + n) % n; }

    int n;
    int before;
    int after;
};

struct Convolution
{
    Convolution(const Array3D<double>& volume, const Array3D<double>& filter)
        : voxels(volume.address()),
          weights(filter.address()),
          z(volume.getNzInner(), filter.getNzInner()),
          y(volume.getNyInner(), filter.getNyInner()),
          x(volume.getNxInner(), filter.getNxInner())
    {
    }

    /// Calls take(dz, dy, dx, weight) in the order of summation. Zero weights are left out: over finite
    /// voxels they add a zero to a sum that started at +0, which changes no bit of it.
    template <typename Take>
    void forEachWeight(Take take) const
    {
        for (int k = -z.before; k <= z.after; ++k) {
            for (int j = -y.before; j <= y.after; ++j) {
                for (int i = -x.before; i <= x.after; ++i) {
                    const double weight = weights[k + z.before][j + y.before][i + x.before];
                    if (weight != 0.0) {
                        take(k, j, i, weight);
                    }
                }
            }
        }
    }

    /// Responses of the voxels of a row none of whose neighbours leaves the volume.
    void interiorOfRow(int at_z, int at_y, double* response) const
    {
        if (!z.fits(at_z) || !y.fits(at_y)) {
            return;
        }
        const int end = x.n - x.after;
        std::fill(response + x.before, response + std::max(end, x.before), 0.0);
        forEachWeight([&](int dz, int dy, int dx, double weight) {
            const double* const row = voxels[at_z + dz][at_y + dy];
            for (int at_x = x.before; at_x < end; ++at_x) {
                response[at_x] = response[at_x] + row[at_x + dx] * weight;
            }
        });
    }

    /// Responses of the others.
    void borderOfRow(int at_z, int at_y, double* response) const
    {
        for (int at_x = 0; at_x < x.n; ++at_x) {
            if (z.fits(at_z) && y.fits(at_y) && x.fits(at_x)) {
                continue;
            }
            double sum = 0.0;
            forEachWeight([&](int dz, int dy, int dx, double weight) {
                sum = sum + voxels[z.wrap(at_z + dz)][y.wrap(at_y + dy)][x.wrap(at_x + dx)] * weight;
            });
            response[at_x] = sum;
        }
    }

    const double* const* const* voxels;
    const double* const* const* weights;
    Axis z;
    Axis y;
    Axis x;
};

} // namespace

void convolution3Dn(Array3D<double>* I, Array3D<double>* F, Array3D<double>* O)
{
    const Convolution filter(*I, *F);
    double*** const response = O->address();
#pragma omp parallel
    {
#pragma omp for schedule(dynamic, 1) nowait
        for (int z = 0; z < filter.z.n; ++z) {
            for (int y = 0; y < filter.y.n; ++y) {
                filter.interiorOfRow(z, y, response[z][y]);
            }
        }
    }
#pragma omp parallel
    {
#pragma omp for schedule(dynamic, 1) nowait
        for (int z = 0; z < filter.z.n; ++z) {
            for (int y = 0; y < filter.y.n; ++y) {
                filter.borderOfRow(z, y, response[z][y]);
            }
        }
    }
}

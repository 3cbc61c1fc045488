#include "exactmatch/convolution.h"

#include <algorithm>
#include <vector>

namespace {

/// One non-zero weight, its position relative to the filter's centre.
struct Tap
{
    int dz;
    int dy;
    int dx;
    double weight;
};

/// How far a filter reaches from its centre along one axis.
struct Reach
{
    explicit Reach(int size) : before((size - 1) / 2), after(size - 1 - before) {}

    /// Whether the filter stays inside an axis of n voxels when it is centred on p.
    bool fits(int p, int n) const { return before <= p && p < n - after; }

    int before;
    int after;
};

/// A filter as its taps in the order slice, row, column.
///
/// Zero weights are left out: over finite voxels they add a zero to a sum that started at +0, which changes
/// no bit of it.
struct Filter
{
    explicit Filter(const Array3D<double>& F) : z(F.getNzInner()), y(F.getNyInner()), x(F.getNxInner())
    {
        for (int k = 0; k < F.getNzInner(); ++k) {
            for (int j = 0; j < F.getNyInner(); ++j) {
                for (int i = 0; i < F.getNxInner(); ++i) {
                    const double weight = F.address()[k][j][i];
                    if (weight != 0.0) {
                        taps.push_back({k - z.before, j - y.before, i - x.before, weight});
                    }
                }
            }
        }
    }

    Reach z;
    Reach y;
    Reach x;
    std::vector<Tap> taps;
};

/// The position on an axis of n voxels that a periodic volume continues p with.
int wrap(int p, int n)
{
    const int remainder = p % n;
    return remainder < 0 ? remainder + n : remainder;
}

/// Responses of the voxels of one row, none of whose neighbours leaves the volume.
///
/// Tap by tap over the whole row: the inner loop is one multiply and add per voxel on adjacent memory, and
/// each voxel still collects its terms in the order of the taps.
void respond_inside(const Array3D<double>& I, const Filter& filter, int z, int y, double* response)
{
    const int first = filter.x.before;
    const int end = I.getNxInner() - filter.x.after;
    for (int x = first; x < end; ++x) {
        response[x] = 0.0;
    }
    for (const Tap& tap : filter.taps) {
        const double* const neighbours = I.address()[z + tap.dz][y + tap.dy] + tap.dx;
        for (int x = first; x < end; ++x) {
            response[x] = response[x] + neighbours[x] * tap.weight;
        }
    }
}

double respond_with_wrap(const Array3D<double>& I, const Filter& filter, int z, int y, int x)
{
    double sum = 0.0;
    for (const Tap& tap : filter.taps) {
        const double* const row =
            I.address()[wrap(z + tap.dz, I.getNzInner())][wrap(y + tap.dy, I.getNyInner())];
        sum = sum + row[wrap(x + tap.dx, I.getNxInner())] * tap.weight;
    }
    return sum;
}

/// Responses of the voxels of one row that the interior pass left out.
void respond_at_border(const Array3D<double>& I, const Filter& filter, int z, int y, double* response)
{
    const int nx = I.getNxInner();
    const bool row_inside = filter.z.fits(z, I.getNzInner()) && filter.y.fits(y, I.getNyInner());
    const int interior = row_inside ? std::max(0, nx - filter.x.before - filter.x.after) : 0;
    const int left_border = interior > 0 ? filter.x.before : nx;
    for (int x = 0; x < left_border; ++x) {
        response[x] = respond_with_wrap(I, filter, z, y, x);
    }
    for (int x = left_border + interior; x < nx; ++x) {
        response[x] = respond_with_wrap(I, filter, z, y, x);
    }
}

} // namespace

void convolution3Dn(Array3D<double>* I, Array3D<double>* F, Array3D<double>* O)
{
    const Filter filter(*F);
    const int nz = I->getNzInner();
    const int ny = I->getNyInner();
    double*** const response = O->address();

#pragma omp parallel
    {
#pragma omp for schedule(dynamic, 1) nowait
        for (int z = filter.z.before; z < nz - filter.z.after; ++z) {
            for (int y = filter.y.before; y < ny - filter.y.after; ++y) {
                respond_inside(*I, filter, z, y, response[z][y]);
            }
        }
    }
#pragma omp parallel
    {
#pragma omp for schedule(dynamic, 1) nowait
        for (int z = 0; z < nz; ++z) {
            for (int y = 0; y < ny; ++y) {
                respond_at_border(*I, filter, z, y, response[z][y]);
            }
        }
    }
}

// SPDX-License-Identifier: BSD-3-Clause
// Sums the neighbours of whole rows, and of single voxels at the faces.
#include "exactmatch/FilterResponse.h"

#include "volume/wide.h"

#include <algorithm>

namespace tonalign {

namespace {

/// Voxels summed at a time.
constexpr int block_voxels = 4 * lane_count;

/// The position on an axis of n voxels that a periodic volume continues p with.
int wrap(int p, int n)
{
    if (0 <= p && p < n) {
        return p;
    }
    const int remainder = p % n;
    return remainder < 0 ? remainder + n : remainder;
}

} // namespace

FilterResponse::FilterResponse(const Array3D<double>& volume, const Array3D<double>& filter)
    : m_voxels(volume.address()),
      m_z(volume.getNzInner(), filter.getNzInner()),
      m_y(volume.getNyInner(), filter.getNyInner()),
      m_x(volume.getNxInner(), filter.getNxInner())
{
    const std::ptrdiff_t row = volume.getNxTotal();
    const std::ptrdiff_t slice = row * volume.getNyTotal();
    for (int k = 0; k < filter.getNzInner(); ++k) {
        for (int j = 0; j < filter.getNyInner(); ++j) {
            for (int i = 0; i < filter.getNxInner(); ++i) {
                const double weight = filter.address()[k][j][i];
                if (weight != 0.0) {
                    const int dz = k - m_z.before;
                    const int dy = j - m_y.before;
                    const int dx = i - m_x.before;
                    m_taps.push_back({dz, dy, dx, dz * slice + dy * row + dx, weight});
                }
            }
        }
    }
}

/// Whole blocks first: sixteen running sums are a few vector registers, so each voxel is loaded once per tap
/// and stored once in all. Written with vector types because compilers, left alone, vectorise over the taps
/// and spill. Every sum collects its terms in the order of the taps.
TONALIGN_WIDE void FilterResponse::sumRow(const double* voxels, int count, const Tap* taps,
                                          std::size_t tap_count, double* sums)
{
    int x = 0;
    for (; x + block_voxels <= count; x += block_voxels) {
        Lanes a = {};
        Lanes b = {};
        Lanes c = {};
        Lanes d = {};
        for (std::size_t t = 0; t < tap_count; ++t) {
            const double weight = taps[t].weight;
            const double* const neighbours = voxels + x + taps[t].offset;
            a = a + lanes_at(neighbours).lanes * weight;
            b = b + lanes_at(neighbours + lane_count).lanes * weight;
            c = c + lanes_at(neighbours + 2 * lane_count).lanes * weight;
            d = d + lanes_at(neighbours + 3 * lane_count).lanes * weight;
        }
        lanes_at(sums + x).lanes = a;
        lanes_at(sums + x + lane_count).lanes = b;
        lanes_at(sums + x + 2 * lane_count).lanes = c;
        lanes_at(sums + x + 3 * lane_count).lanes = d;
    }
    for (; x < count; ++x) {
        double sum = 0.0;
        for (std::size_t t = 0; t < tap_count; ++t) {
            sum = sum + voxels[x + taps[t].offset] * taps[t].weight;
        }
        sums[x] = sum;
    }
}

void FilterResponse::interiorOfRow(int z, int y, double* response) const
{
    if (m_z.fits(z) && m_y.fits(y) && m_x.interior() > 0) {
        sumRow(&m_voxels[z][y][m_x.before], m_x.interior(), m_taps.data(), m_taps.size(),
               response + m_x.before);
    }
}

void FilterResponse::borderOfRow(int z, int y, double* response) const
{
    const int interior = m_z.fits(z) && m_y.fits(y) ? std::max(0, m_x.interior()) : 0;
    const int left_border = interior > 0 ? m_x.before : m_x.n;
    for (int x = 0; x < left_border; ++x) {
        response[x] = wrapped(z, y, x);
    }
    for (int x = left_border + interior; x < m_x.n; ++x) {
        response[x] = wrapped(z, y, x);
    }
}

double FilterResponse::wrapped(int z, int y, int x) const
{
    double sum = 0.0;
    for (const Tap& tap : m_taps) {
        const double* const row = m_voxels[wrap(z + tap.dz, m_z.n)][wrap(y + tap.dy, m_y.n)];
        sum = sum + row[wrap(x + tap.dx, m_x.n)] * tap.weight;
    }
    return sum;
}

} // namespace tonalign

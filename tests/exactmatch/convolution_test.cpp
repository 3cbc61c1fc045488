#include "exactmatch/convolution.h"
#include "exactmatch/filter_bank.h"
#include "tests/support/volumes.h"

#include <gtest/gtest.h>
#include <omp.h>

#include <array>
#include <set>
#include <tuple>

namespace {

using tonalign::test::bits_of;
using tonalign::test::random_volume;
using tonalign::test::voxels_of;

TEST(FilterBank, CollectsTheShellsOfItsNumbers)
{
    using Distances = std::set<int>; // squared, from the centre
    const std::tuple<int, int, Distances, double> filters[] = {
        {2, 3, {1}, 6}, {3, 3, {2, 3}, 20}, {4, 5, {4}, 6}, {5, 5, {5}, 24}, {6, 5, {6, 8, 9, 12}, 68},
        {0, 3, {}, 0},  {1, 3, {}, 0},      {7, 3, {}, 0},
    };
    for (const auto& [filterno, size, distances, sum] : filters) {
        Array3D<double> F;
        get3DfilterArray(1, filterno, F);
        ASSERT_EQ(F.blockSize(), size * size * size);
        double weights = 0.0;
        for (int j = 0; j < size * size * size; ++j) {
            const int x = j % size - size / 2;
            const int y = j / size % size - size / 2;
            const int z = j / size / size - size / 2;
            EXPECT_EQ(F.block()[j], distances.count(x * x + y * y + z * z));
            weights += F.block()[j];
        }
        EXPECT_EQ(weights, sum);
    }
    Array3D<double> untouched(1, 1, 2);
    untouched = 3.0;
    get3DfilterArray(2, 3, untouched);
    EXPECT_EQ(voxels_of(untouched), (std::vector{3.0, 3.0}));
}

/// Every tap of every voxel in turn, zero weights included.
Array3D<double> dense_response(const Array3D<double>& I, const Array3D<double>& F)
{
    const auto wrap = [](int p, int n) { return (p + 4 * n) % n; };
    Array3D<double> O(I);
    for (int z = 0; z < I.m_nz; ++z) {
        for (int y = 0; y < I.m_ny; ++y) {
            for (int x = 0; x < I.m_nx; ++x) {
                double sum = 0.0;
                for (int k = 0; k < F.m_nz; ++k) {
                    for (int j = 0; j < F.m_ny; ++j) {
                        for (int i = 0; i < F.m_nx; ++i) {
                            const int wz = wrap(z + k - (F.m_nz - 1) / 2, I.m_nz);
                            const int wy = wrap(y + j - (F.m_ny - 1) / 2, I.m_ny);
                            const int wx = wrap(x + i - (F.m_nx - 1) / 2, I.m_nx);
                            sum = sum + I.m_p[wz][wy][wx] * F.m_p[k][j][i];
                        }
                    }
                }
                O.m_p[z][y][x] = sum;
            }
        }
    }
    return O;
}

TEST(Convolution, EqualsTheDenseSumBitForBitOnEverySmallSize)
{
    std::mt19937 random(1);
    std::array<Array3D<double>, 3> filters;
    get3DfilterArray(1, 3, filters[0]);
    get3DfilterArray(1, 6, filters[1]);
    filters[2] = random_volume(5, 3, 1, 4, random); // no symmetry; all three extents differ
    for (int size = 0; size < 6 * 6 * 6; ++size) {
        Array3D<double> I = random_volume(size % 6 + 1, size / 6 % 6 + 1, size / 36 + 1, 50, random);
        for (Array3D<double>& F : filters) {
            const Array3D<double> expected = dense_response(I, F);
            for (const int threads : {1, 2, 7}) {
                omp_set_num_threads(threads);
                Array3D<double> O(I.m_nz, I.m_ny, I.m_nx);
                O = -99.0;
                convolution3Dn(&I, &F, &O);
                ASSERT_EQ(bits_of(O), bits_of(expected))
                    << I.m_nx << " x " << I.m_ny << " x " << I.m_nz << ", threads " << threads;
            }
        }
    }
}

} // namespace

#include "exactmatch/convolution.h"
#include "exactmatch/exact_assignment.h"
#include "exactmatch/exact_matching.h"
#include "exactmatch/filter_bank.h"
#include "histogram/HistogramArray.h"
#include "tests/support/volumes.h"
#include "volume/IntensityRange.h"

#include <gtest/gtest.h>
#include <omp.h>

#include <array>
#include <cmath>
#include <functional>
#include <random>
#include <string>
#include <vector>

namespace {

using tonalign::HistogramArray;
using tonalign::test::bits_of;

using Random = std::mt19937;
using Voxel = std::function<double(int x, int y, int z, Random&)>;

double draw(Random& random, double from, double to)
{
    return from + (to - from) * (static_cast<double>(random()) / 4294967296.0);
}

/// Each kind of volume meets other parts of the ranking: packed and single-level keys, bins with one and with
/// many intensities, ties on every level, keys of both signs.
const std::pair<const char*, Voxel> kinds[] = {
    {"few whole levels", [](int, int, int, Random& r) { return static_cast<double>(r() % 3); }},
    {"whole numbers below 0", [](int, int, int, Random& r) { return -50.0 + static_cast<double>(r() % 40); }},
    {"wide whole numbers", [](int, int, int, Random& r) { return std::floor(draw(r, -3e6, 3e6)); }},
    {"whole numbers around 2^50",
     [](int, int, int, Random& r) { return 0x1p50 + static_cast<double>(r() % 9); }},
    {"fractions in few levels", [](int, int, int, Random& r) { return 0.1 * static_cast<double>(r() % 5); }},
    {"all different", [](int, int, int, Random& r) { return draw(r, -1.0, 1.0); }},
    {"regions",
     [](int x, int y, int z, Random&) {
         const int region = 1 + x / 5 + 2 * (y / 4) + 3 * (z / 6);
         return 10.0 * region;
     }},
    {"fractional regions",
     [](int x, int y, int z, Random&) {
         const int region = x / 6 + y / 5 + z / 4;
         return 0.3 * region;
     }},
    {"one plateau", [](int x, int, int, Random&) { return x == 0 ? 0.0 : 7.0; }},
    {"plateau and specks",
     [](int, int, int, Random& r) { return r() % 20 == 0 ? static_cast<double>(r() % 9) : 4.0; }},
    {"falling and rising",
     [](int x, int y, int z, Random&) { return std::abs(x + 16 * y + 256 * z - 700.3); }},
    {"falling and rising row by row, nearly all in one bin",
     [](int x, int y, int z, Random&) {
         return x + y + z == 0 ? 0.0 : 1e5 + std::abs(16 * y + 256 * z - 2040.3);
     }},
    {"both zeros",
     [](int, int, int, Random& r) { return r() % 3 == 0 ? -0.0 : static_cast<double>(r() % 2); }},
};

using Stack = std::array<Array3D<double>, tonalign::feature_levels>;

Stack feature_stack(const Array3D<double>& volume)
{
    Stack stack;
    stack[0] = volume;
    for (int level = 1; level < tonalign::feature_levels; ++level) {
        const auto k = static_cast<std::size_t>(level);
        Array3D<double> filter;
        get3DfilterArray(1, tonalign::filter_of_level(level), filter);
        stack[k] = volume;
        convolution3Dn(&stack[0], &filter, &stack[k]);
    }
    return stack;
}

Array3D<double> make_volume(const Voxel& voxel, int nx, int ny, int nz, Random& random)
{
    Array3D<double> volume(nz, ny, nx);
    for (int z = 0; z < nz; ++z) {
        for (int y = 0; y < ny; ++y) {
            for (int x = 0; x < nx; ++x) {
                volume.address()[z][y][x] = voxel(x, y, z, random);
            }
        }
    }
    return volume;
}

HistogramArray random_target(int N, Random& random)
{
    HistogramArray target(N);
    double sum = 0.0;
    for (int i = 1; i <= N; ++i) {
        target[1][i] = 100.0 + i;
        target[2][i] = i == 1 || random() % 3 == 0 ? 0.0 : static_cast<double>(random() % 100);
        sum += target[2][i];
    }
    for (int i = 1; i <= N; ++i) {
        target[2][i] = sum == 0.0 ? 0.0 : target[2][i] / sum;
    }
    return target;
}

TEST(ExactMatching, EqualsTheAssignmentOnAStoredFeatureStack)
{
    Random random(7);
    for (int trial = 0; trial < 25; ++trial) {
        for (const auto& [kind, voxel] : kinds) {
            // Large ones first: fewer rows in a bin are sorted before the selection loses its patience.
            const auto extent = [&] { return trial == 0 ? 16 : static_cast<int>(random() % 14 + 1); };
            const int N = static_cast<int>(random() % 40 + 2);
            const Array3D<double> volume = make_volume(voxel, extent() + 2, extent(), extent(), random);
            const HistogramArray target = random_target(N, random);

            Stack stack = feature_stack(volume);
            const HistogramArray counts = target.copy();
            perfect_histogram_matching(stack.data(), counts, tonalign::feature_levels, N);
            for (const int threads : {1, 2, 7}) {
                omp_set_num_threads(threads);
                Array3D<double> matched = volume;
                const HistogramArray own_counts = target.copy();
                tonalign::match_exactly(matched, tonalign::intensity_range(matched), own_counts, N);
                ASSERT_EQ(bits_of(matched), bits_of(stack[0]))
                    << kind << ", trial " << trial << ", " << threads << " threads";
                ASSERT_EQ(std::vector(own_counts[2] + 1, own_counts[2] + N + 1),
                          std::vector(counts[2] + 1, counts[2] + N + 1));
            }
        }
    }
}

} // namespace

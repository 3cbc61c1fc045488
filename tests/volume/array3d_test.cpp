// SPDX-License-Identifier: BSD-3-Clause
// Volumes over random boxes against plain walks through their blocks.
#include "tests/support/process_end.h"
#include "tests/support/volumes.h"
#include "volume/IntensityRange.h"

#include <climits>
#include <cmath>
#include <numeric>

namespace {

using namespace tonalign::test;

/// As setup() takes it: min, begin, end and max along x, y and z.
using Box = std::array<int, 12>;

Box draw_box(std::mt19937& random)
{
    Box box;
    for (unsigned i = 0; i < 12; ++i) {
        const auto draw = [&](unsigned n) { return static_cast<int>(random() % n); };
        box[i] = i % 4 == 0 ? draw(9) - 6 : box[i - 1] + draw(i == 2 ? 30 : 3);
    }
    return box;
}

Array3D<double> volume_in(const Box& box, double first = 0.0)
{
    Array3D<double> v;
    std::apply([&](auto... indices) { v.setup(indices...); }, box);
    std::iota(v.block(), v.block() + v.blockSize(), first);
    return v;
}

/// The indices x, y, z of the k-th element, and whether it is one of the inner region.
std::pair<std::array<int, 3>, bool> place_of(int k, const Box& box)
{
    std::array<int, 3> at{};
    bool inner = true;
    for (std::size_t axis = 0; axis < 3; ++axis) {
        const int* const ends = &box[4 * axis];
        at[axis] = ends[0] + k % (ends[3] - ends[0] + 1);
        k /= ends[3] - ends[0] + 1;
        inner = inner && ends[1] <= at[axis] && at[axis] <= ends[2];
    }
    return {at, inner};
}

TEST(Array3D, AddressesEveryElementByItsOwnIndices)
{
    std::mt19937 random(1);
    for (int round = 0; round < 200; ++round) {
        const Box box = draw_box(random);
        const Array3D<double> v = volume_in(box);
        int inner_count = 0;
        for (int k = 0; k < v.blockSize(); ++k) {
            const auto [at, inner] = place_of(k, box);
            inner_count += inner ? 1 : 0;
            ASSERT_EQ(v.address()[at[2]][at[1]][at[0]], k);
            ASSERT_EQ(v.data(at[2], at[1], at[0]), v.block() + k);
        }
        EXPECT_EQ(v.hasNoMargin(), inner_count == v.blockSize());
        EXPECT_EQ(v.data(99, 99, 99), v.block() + v.blockSize() - 1);
        EXPECT_EQ(v.getNxInner() * v.getNyInner() * v.getNzInner(), inner_count);
        EXPECT_EQ(v.getNxTotal() * v.getNyTotal() * v.getNzTotal(), v.blockSize());
    }
}

TEST(Array3D, CopiesAndMovesWhatTheIndicesOfBothShare)
{
    std::mt19937 random(2);
    for (int round = 0; round < 1000; ++round) {
        const Box source_box = draw_box(random);
        const Array3D<double> original = volume_in(source_box);
        const bool into_nothing = random() % 8 == 0;
        Box box = source_box;
        box[random() % 12] += into_nothing ? 0 : static_cast<int>(random() % 3) - 1;
        for (Box::iterator axis = box.begin(); axis < box.end(); axis += 4) {
            std::sort(axis, axis + 4);
        }
        bool same_inner = true;
        for (const unsigned i : {1, 2, 5, 6, 9, 10}) {
            same_inner = same_inner && box[i] == source_box[i];
        }
        Array3D<double> source(original);
        Array3D<double> target = into_nothing ? Array3D<double>() : volume_in(box, 1e6);
        std::vector<double> expected = voxels_of(into_nothing ? original : target);
        for (unsigned k = 0; same_inner && k < expected.size(); ++k) {
            const auto [at, inner] = place_of(static_cast<int>(k), box);
            expected[k] = inner || box == source_box ? *original.data(at[2], at[1], at[0]) : expected[k];
        }
        const bool moves = random() % 2 == 0;
        const auto assign = [&] { moves ? target = std::move(source) : target = std::as_const(source); };
        EXPECT_EQ(ended(assign).status, same_inner ? -1 : 1);
        EXPECT_EQ(voxels_of(target), expected);
        EXPECT_EQ(target.isInnerOuterIndicesSame(original), box == source_box);
        EXPECT_EQ(source.block() == nullptr, moves && into_nothing);
        EXPECT_EQ(ended([&] { target = Array3D<double>(); }).status, 0) << "and changes nothing";
        EXPECT_EQ(voxels_of(target), expected);
    }
}

TEST(Array3D, ExtremaAreThoseFirstMetInTheInnerRegion)
{
    const double choices[] = {1.5, 0.0, -0.0, -1.5, INFINITY, -INFINITY, std::nan("")};
    std::mt19937 random(3);
    for (int round = 0; round < 2000; ++round) {
        const Box box = draw_box(random);
        Array3D<double> v = volume_in(box);
        const std::size_t first = random() % 2; // of three choices, both zeros among them
        std::generate_n(v.block(), v.blockSize(), [&] {
            return round % 3 == 0   ? choices[first + random() % 3]
                   : round % 3 == 1 ? choices[random() % 7]
                                    : (random() % 8 == 0 ? NAN : static_cast<double>(random() % 1000));
        });
        double least = *v.data(v.getZbegin(), v.getYbegin(), v.getXbegin());
        double greatest = least;
        bool finite = true;
        for (int k = 0; k < v.blockSize(); ++k) {
            if (const double value = v.block()[k]; place_of(k, box).second) {
                least = value < least ? value : least;
                greatest = value > greatest ? value : greatest;
                finite = finite && std::isfinite(value);
            }
        }
        const auto text = [](double a, double b) { return std::to_string(a) + " " + std::to_string(b); };
        const tonalign::IntensityRange range = tonalign::intensity_range(v);
        ASSERT_EQ(text(v.getMinValue(), v.getMaxValue()), text(least, greatest));
        ASSERT_EQ(text(range.minimum, range.maximum), text(least, greatest));
        ASSERT_EQ(tonalign::fault_of_voxels(v, range, "").message.empty(), finite);
    }
}

TEST(Array3D, RefusesImpossibleBoxesAndArithmeticOnNothing)
{
    for (unsigned i = 1; i < 12; ++i) {
        Box box{};
        std::fill(box.begin(), box.begin() + i, i % 4 == 0 ? 0 : 1); // two indices in the wrong order
        EXPECT_EQ(ended([&] { volume_in(box); }).status, i % 4 == 0 ? -1 : 1) << i;
    }
    Array3D<double> v(1, 1, 2);
    v = 0.0;
    v += 3.0;
    v *= 0.5;
    EXPECT_EQ(voxels_of(v), std::vector<double>(2, 1.5));
    EXPECT_EQ(ended([&] { v.setDim(1, 0, 1); }).status, 1);
    EXPECT_EQ(ended([] { Array3D<double>(16, 1 << 30, 1 << 30); }).status, 1); // 2^64 voxels
    EXPECT_EQ(ended([] { Array3D<double>(1, INT_MAX, INT_MAX); }).status, 1);
    EXPECT_EQ(ended([&] { Array3D<double>() *= 1.0; }).status, 1);
}

} // namespace

#include "tests/support/process_end.h"
#include "tests/support/volumes.h"
#include "volume/Array3D.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <climits>
#include <numeric>
#include <utility>

namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using tonalign::test::voxels_of;

/// Inner region 0..1 x 0..0 x 0..0; the margin along x as asked for.
Array3D<double> two_voxels(int xmin, int xmax, double first_value)
{
    Array3D<double> volume;
    volume.setup(xmin, 0, 1, xmax, 0, 0, 0, 0, 0, 0, 0, 0);
    std::iota(volume.block(), volume.block() + volume.blockSize(), first_value);
    return volume;
}

std::array<int, 12> indices_of(const Array3D<double>& v)
{
    return {v.getXmin(), v.getXbegin(), v.getXend(), v.getXmax(),   v.getYmin(), v.getYbegin(),
            v.getYend(), v.getYmax(),   v.getZmin(), v.getZbegin(), v.getZend(), v.getZmax()};
}

TEST(Array3D, AddressesEveryElementOfItsBoxByItsOwnIndices)
{
    Array3D<double> v;
    v.setup(-2, 0, 9, 11, 3, 4, 4, 5, -7, -7, -6, -6);
    std::iota(v.block(), v.block() + v.blockSize(), 0.0);
    EXPECT_THAT(indices_of(v), ElementsAre(-2, 0, 9, 11, 3, 4, 4, 5, -7, -7, -6, -6));
    for (int j = 0; j < 2 * 3 * 14; ++j) {
        EXPECT_EQ(v.address()[j / 42 - 7][j / 14 % 3 + 3][j % 14 - 2], j);
    }
    // Indices outside the box go to its nearest face.
    EXPECT_EQ(*v.data(0, 0, 0), v.address()[-6][3][0]);
    EXPECT_EQ(*v.data(-99, 99, 99), v.address()[-7][5][11]);
    EXPECT_EQ(Array3D<double>().data(0, 0, 0), nullptr);
}

TEST(Array3D, MovesTakeTheMemoryAndLeaveAnEmptyVolume)
{
    Array3D<double> v(3, 2, 1);
    EXPECT_THAT(indices_of(v), ElementsAre(0, 0, 0, 0, 0, 0, 1, 1, 0, 0, 2, 2));
    const double* const block = v.block();
    Array3D<double> moved(std::move(v));
    Array3D<double> other;
    other = std::move(moved);
    EXPECT_EQ(other.block(), block);
    EXPECT_EQ(&other.address()[0][0][0], block);
    // NOLINTNEXTLINE(bugprone-use-after-move): what is left of them is the point.
    for (const Array3D<double>* empty : {&v, &moved}) {
        EXPECT_TRUE(empty->isEmpty());
        EXPECT_EQ(empty->address(), nullptr);
    }
}

TEST(Array3D, AssignmentCopiesWhatTheIndicesOfBothShare)
{
    const Array3D<double> source = two_voxels(-1, 2, 10.0); // 10 [11 12] 13
    Array3D<double> empty;
    Array3D<double> same_box = two_voxels(-1, 2, 0.0);
    Array3D<double> other_box = two_voxels(-2, 1, 0.0); // 0 1 [2 3]
    Array3D<double> copy(source);
    copy += 1.0;
    EXPECT_THAT(voxels_of((empty = source)), ElementsAre(10, 11, 12, 13));
    EXPECT_THAT(voxels_of((same_box = source)), ElementsAre(10, 11, 12, 13));
    EXPECT_THAT(voxels_of((other_box = source)), ElementsAre(0, 1, 11, 12));
    EXPECT_THAT(indices_of(empty), ElementsAreArray(indices_of(source)));
    EXPECT_TRUE(source.isInnerIndicesSame(other_box) && !source.isInnerOuterIndicesSame(other_box));
}

TEST(Array3D, ArithmeticReachesTheMarginAndExtremaDoNot)
{
    Array3D<double> v = two_voxels(-1, 2, 1.0);
    v.address()[0][0][-1] = -100.0;
    v += 1.0;
    v *= 2.0;
    EXPECT_THAT(voxels_of(v), ElementsAre(-198, 6, 8, 10));
    EXPECT_EQ(v.getMaxValue(), 8.0);
    EXPECT_EQ(v.getMinValue(), 6.0);
    EXPECT_THAT(voxels_of((v = 5.0)), ElementsAre(5, 5, 5, 5));
}

TEST(Array3DDeathTest, ImpossibleSizesAndAssignmentsEndTheProcess)
{
    const std::string copy = " Inside Copy operator = \n";
    const std::string null = " Null array being initialized in assignment\n";
    const auto setup = [](std::array<int, 4> x, std::array<int, 4> y, std::array<int, 4> z) {
        return [=] {
            Array3D<double>().setup(x[0], x[1], x[2], x[3], y[0], y[1], y[2], y[3], z[0], z[1], z[2], z[3]);
        };
    };
    constexpr std::array<int, 4> good = {0, 0, 1, 1};
    constexpr std::array<int, 4> bad = {0, 0, 2, 1};
    const Array3D<double> empty;
    const Array3D<double> same_count(1, 3, 2);
    Array3D<double> target(1, 2, 3);
    tonalign::test::expect_ends({
        {setup({0, -1, 1, 1}, bad, bad), 1, "Dimensions not good in X \n"},
        {setup({0, 1, 0, 1}, bad, bad), 1, "Dimensions not good in X \n"},
        {setup(good, bad, bad), 1, "Dimensions not good in Y \n"},
        {setup(good, good, bad), 1, "Dimensions not good in Z \n"},
        {[] { Array3D<double>(1, 0, 1); }, 1, "Dimensions not good in Y \n"},
        {[] { Array3D<double>(INT_MAX, INT_MAX, INT_MAX); }, 1, " Failed to allocate Memory \n"},
        {[] { Array3D<double>(1, INT_MAX, INT_MAX); }, 1, " Failed to allocate Memory \n"},
        {[&] { target = empty; }, 0,
         copy + " Array to be copied from is Empty, copy not defined....bailing out \n"},
        {[&] { target = same_count; }, 1, copy + "Array3D<T>::= Array3D's have different dimensions.\n"},
        {[] { Array3D<double>() = 1.0; }, 1, null},
        {[] { Array3D<double>() += 1.0; }, 1, null},
        {[] { Array3D<double>() *= 1.0; }, 1, null},
    });
}

} // namespace

#include "exactmatch/voxel_order.h"
#include "numeric/OffsetArrays.h"
#include "tests/support/volumes.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <iterator>
#include <limits>
#include <utility>

namespace {

using ::testing::ElementsAre;
using tonalign::test::volume_of;
using Stack = std::vector<Array3D<double>>;

/// A voxel's key and its position.
struct Ranked
{
    std::vector<double> key;
    std::array<int, 3> position;
};

/// The partition and the recursion in their shortest form; element 0 is not used.
int plain_partition(std::vector<Ranked>& v, int begin, int end)
{
    const auto first = v.begin();
    if (begin + 1 < end) {
        std::swap(first[(begin + end) / 2], first[end]);
    }
    int i = begin - 1;
    for (int j = begin; j <= end - 1; ++j) {
        if (first[j].key <= first[end].key) {
            std::swap(first[++i], first[j]);
        }
    }
    std::swap(first[i + 1], first[end]);
    return i + 1;
}

void plain_sort(std::vector<Ranked>& v, int begin, int end)
{
    if (begin < end) {
        const int q = plain_partition(v, begin, end);
        plain_sort(v, begin, q - 1);
        plain_sort(v, q + 1, end);
    }
}

/// The voxels that columns 1..n name, with their keys.
std::vector<Ranked> ranked(const Stack& stack, int** indexarray, int n)
{
    std::vector<Ranked> voxels(1);
    for (int p = 1; p <= n; ++p) {
        Ranked voxel = {{}, {indexarray[1][p], indexarray[2][p], indexarray[3][p]}};
        for (const Array3D<double>& level : stack) {
            voxel.key.push_back(level.address()[voxel.position[2]][voxel.position[1]][voxel.position[0]]);
        }
        voxels.push_back(voxel);
    }
    return voxels;
}

std::vector<std::array<int, 3>> positions(const std::vector<Ranked>& voxels)
{
    std::vector<std::array<int, 3>> result;
    std::transform(voxels.begin() + 1, voxels.end(), std::back_inserter(result),
                   [](const Ranked& voxel) { return voxel.position; });
    return result;
}

TEST(VoxelOrder, IsTheArrangementOfThePlainRecursion)
{
    std::mt19937 random(1);
    for (int trial = 0; trial < 2000; ++trial) {
        const int n = trial % 41;
        const int begin = 1 + trial / 41 % 2; // the first column may stay out
        Stack stack(1 + random() % 3);
        const int levels = static_cast<int>(stack.size());
        for (Array3D<double>& level : stack) {
            level = tonalign::test::random_volume(4, 5, 2, random() % 4 + 1, random);
        }
        const tonalign::OffsetMatrix<int> indexarray(3, n);
        for (int p = 1; p <= n; ++p) {
            const int place = 7 * p % 40; // all different
            indexarray[1][p] = place % 4;
            indexarray[2][p] = place / 4 % 5;
            indexarray[3][p] = place / 20;
        }
        std::vector<Ranked> expected = ranked(stack, indexarray, n);
        if (begin <= n) {
            EXPECT_EQ(quicksort_feature_array_partition(stack.data(), levels, indexarray, begin, n),
                      plain_partition(expected, begin, n));
            EXPECT_EQ(positions(ranked(stack, indexarray, n)), positions(expected));
        }
        plain_sort(expected, begin, n);
        quicksort_feature_array(stack.data(), levels, indexarray, begin, n);
        const std::vector<Ranked> sorted = ranked(stack, indexarray, n);
        const auto found = positions(sorted);
        ASSERT_EQ(found, positions(expected)) << "trial " << trial;
        EXPECT_TRUE(n < begin ||
                    std::is_sorted(sorted.begin() + begin, sorted.end(),
                                   [](const Ranked& a, const Ranked& b) { return a.key < b.key; }));
    }
}

/// Columns 1..n name the voxels x = 0..n-1 of one row.
tonalign::OffsetMatrix<int> columns_along_x(int n)
{
    tonalign::OffsetMatrix<int> indexarray(3, n);
    for (int p = 1; p <= n; ++p) {
        indexarray[1][p] = p - 1;
        indexarray[2][p] = indexarray[3][p] = 0;
    }
    return indexarray;
}

std::vector<int> x_of(int** indexarray, int n)
{
    return {indexarray[1] + 1, indexarray[1] + n + 1};
}

TEST(VoxelOrder, LeavesColumnsBehindThePivotWhenNoLevelDecides)
{
    Stack stack{volume_of(3, 1, 1, {1.0, 2.0, std::numeric_limits<double>::quiet_NaN()})};
    const auto indexarray = columns_along_x(3);
    EXPECT_EQ(quicksort_feature_array_partition(stack.data(), 1, indexarray, 1, 3), 2);
    EXPECT_THAT(x_of(indexarray, 3), ElementsAre(0, 1, 2));
    EXPECT_EQ(quicksort_feature_array_partition(stack.data(), 0, indexarray, 1, 2), 1);
    EXPECT_THAT(x_of(indexarray, 3), ElementsAre(1, 0, 2));
}

TEST(SelectionSort, CountsComparisonsLevelByLevelAndKeepsTheFirstOfEqualKeys)
{
    Stack stack{volume_of(4, 1, 1, {1, 1, 0, 1}), volume_of(4, 1, 1, {5, 3, 9, 3})};
    const auto indexarray = columns_along_x(4);
    int comparisons[] = {-1, 10, 20};
    int equalities[] = {-1, 30, 40};
    selectionsort_feature_array(stack.data(), 2, indexarray, 1, 4, comparisons, equalities);
    EXPECT_THAT(x_of(indexarray, 4), ElementsAre(2, 1, 3, 0));
    EXPECT_THAT(comparisons, ElementsAre(-1, 16, 24));
    EXPECT_THAT(equalities, ElementsAre(-1, 34, 41));
}

TEST(Listing, ShowsEachColumnAndItsKey)
{
    Stack stack{volume_of(4, 1, 1, {0, 0, 0.5, 1e7}), volume_of(4, 1, 1, {0, 0, -3, 1.0 / 3.0})};
    const auto indexarray = columns_along_x(4);
    ::testing::internal::CaptureStdout();
    quicksort_feature_array_printindexarray(stack.data(), 2, indexarray, 3, 4);
    quicksort_feature_array_printindexarray(stack.data(), 2, indexarray, 2, 1);
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), "3\t0.5\t-3\t\n4\t1e+07\t0.333333\t\n\n\n\n\n");
}

} // namespace

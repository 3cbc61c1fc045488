// SPDX-License-Identifier: BSD-3-Clause
#include "numeric/OffsetArrays.h"
#include "numeric/classNRUTILS.h"

#include <gtest/gtest.h>

#include <climits>
#include <utility>

namespace {

TEST(OffsetMatrices, KeepTheirRowsInOneRun)
{
    double** m = classNRUTILS::dmatrix(-2, 2, -3, 3);
    double* const first = &m[-2][-3];
    for (int k = 0; k < 35; ++k) {
        first[k] = k + 1;
    }
    for (int i = -2; i <= 2; ++i) {
        for (int j = -3; j <= 3; ++j) {
            EXPECT_EQ(m[i][j], 1 + (i + 2) * 7 + (j + 3));
        }
    }
    classNRUTILS::free_dmatrix(m, -2, 99, -3, 99);

    float** one_row = classNRUTILS::matrix(4, 4, 1, 2);
    one_row[4][1] = 1.0F;
    one_row[4][2] = 2.0F;
    EXPECT_EQ(one_row[4] + 2, &one_row[4][2]);
    classNRUTILS::free_matrix(one_row, 4, 4, 1, 2);
}

TEST(OffsetMatrices, OwnersMoveWithoutCopyingOrLeaking)
{
    tonalign::OffsetMatrix<int> source(2, 3);
    source[2][3] = 42;
    int* const element = &source[2][3];
    tonalign::OffsetMatrix<int> moved(std::move(source));
    tonalign::OffsetMatrix<int> target(1, 1);
    target = std::move(moved);
    EXPECT_EQ(&target[2][3], element);
    EXPECT_EQ(target[2][3], 42);
}

TEST(OffsetArraysDeathTest, SizesBeyondThirtyTwoBitsEndTheProcessWithTheirText)
{
    const auto exits_with_1 = ::testing::ExitedWithCode(1);
    EXPECT_EXIT(classNRUTILS::vector(0, INT_MAX), exits_with_1, "^allocation failure in vector\\(\\)$");
    EXPECT_EXIT(classNRUTILS::ivector(1, INT_MAX), exits_with_1, "^allocation failure in ivector\\(\\)$");
    EXPECT_EXIT(classNRUTILS::dvector(-5, INT_MAX), exits_with_1, "^allocation failure in dvector\\(\\)$");
    EXPECT_EXIT(classNRUTILS::imatrix(0, INT_MAX, 1, 1), exits_with_1,
                "^allocation failure 1 in matrix\\(\\)$");
    EXPECT_EXIT(classNRUTILS::dmatrix(1, 3, 1, 715'827'883), exits_with_1,
                "^allocation failure 2 in matrix\\(\\)$");
    EXPECT_EXIT(classNRUTILS::matrix(1, INT_MAX - 1, 1, INT_MAX), exits_with_1,
                "^allocation failure 2 in matrix\\(\\)$");
}

} // namespace

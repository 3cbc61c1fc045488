// SPDX-License-Identifier: BSD-3-Clause
#include "numeric/classNRUTILS.h"
#include "tests/numeric/test_matrix.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <limits>
#include <vector>

namespace {

using namespace tonalign_test;

template <typename T>
class LuDecomposition : public ::testing::Test
{
};
using ElementTypes = ::testing::Types<float, double>;
TYPED_TEST_SUITE(LuDecomposition, ElementTypes);

/// Both factors of a decomposition multiplied together, with the recorded interchanges undone.
template <typename T>
Matrix<double> recomposed(const Matrix<T>& lu, Vector<int>& indx)
{
    const int n = lu.rows();
    Matrix<double> lower = identity(n);
    Matrix<double> upper(n, n);
    lower.fill([&](int i, int j) { return i == j ? 1.0 : i > j ? static_cast<double>(lu[i][j]) : 0.0; });
    upper.fill([&](int i, int j) { return i <= j ? static_cast<double>(lu[i][j]) : 0.0; });
    Matrix<double> a = product(lower, upper);
    for (int i = n; i >= 1; --i) {
        std::swap_ranges(&a[i][1], &a[i][1] + n, &a[indx[i]][1]);
    }
    return a;
}

TYPED_TEST(LuDecomposition, FactorsAndSolutionsHoldToRoundingForRandomSystems)
{
    const double epsilon = std::numeric_limits<TypeParam>::epsilon();
    Random random;
    for (int n = 1; n <= 16; ++n) {
        const auto a = random.matrix<TypeParam>(n, n);
        const auto right_hand_side = random.matrix<TypeParam>(n, 1);
        Matrix<TypeParam> lu(a);
        Vector<int> indx(n);
        TypeParam d = 0;
        classNRUTILS::ludcmp(lu, n, indx, &d);

        EXPECT_LE(distance(recomposed(lu, indx), a), 4 * n * epsilon) << "order " << n;
        TypeParam parity = 1;
        for (int j = 1; j <= n; ++j) {
            parity = indx[j] == j ? parity : -parity;
        }
        EXPECT_EQ(d, parity);

        // Zeros at the head of the right-hand side take the shortcut of the forward substitution.
        for (int leading_zeros = 0; leading_zeros < n; ++leading_zeros) {
            Matrix<TypeParam> b(right_hand_side);
            for (int i = 1; i <= leading_zeros; ++i) {
                b[i][1] = 0;
            }
            Vector<TypeParam> x(n);
            Matrix<TypeParam> solution(n, 1);
            for (int i = 1; i <= n; ++i) {
                x[i] = b[i][1];
            }
            classNRUTILS::lubksb(lu, n, indx, x);
            solution.fill([&x](int i, int) { return x[i]; });
            EXPECT_LE(distance(product(a, solution), b), 8 * n * epsilon * (1 + largest_entry(solution)));
        }
    }
}

TYPED_TEST(LuDecomposition, PivotsAreComparedByScaledSizeAndTheLastOfEqualsWins)
{
    const TypeParam tiny = static_cast<TypeParam>(1.0e-20);
    struct Case
    {
        Matrix<TypeParam> a;
        std::vector<int> indx;
        TypeParam d;
        TypeParam last_pivot;
    };
    const std::array cases = {
        Case{{{0, 1}, {1, 0}}, {2, 2}, -1, 1},
        Case{{{1, 2}, {2, 4}}, {2, 2}, -1, tiny},
        // equal sizes of either sign
        Case{{{2, 1}, {-2, 1}}, {2, 2}, -1, 2},
        // the smaller number, but the larger share of its row
        Case{{{1, 8}, {0.5, 0.5}}, {2, 2}, -1, 7},
        // three equal candidates, then two
        Case{{{4, 2, 0}, {4, 2, 4}, {4, 4, 0}}, {3, 3, 3}, 1, 4},
        // a row takes its scaling along when it is exchanged
        Case{{{0, 1, 1}, {0, 2, 4}, {8, 0, 0}}, {3, 3, 3}, 1, 2},
        // nothing left after the first column: equal zeros, and a replaced pivot before the last
        Case{{{1, 1, 1}, {1, 1, 1}, {1, 1, 1}}, {3, 3, 3}, 1, tiny},
    };
    for (const Case& expected : cases) {
        const int n = expected.a.rows();
        Matrix<TypeParam> a(expected.a);
        Vector<int> indx(n);
        TypeParam d = 0;
        classNRUTILS::ludcmp(a, n, indx, &d);
        EXPECT_EQ(indx.values(), expected.indx);
        EXPECT_EQ(d, expected.d);
        EXPECT_EQ(a[n][n], expected.last_pivot);
    }
}

TYPED_TEST(LuDecomposition, AnOrderBelowOneOnlySetsTheParity)
{
    TypeParam d = 0;
    classNRUTILS::ludcmp(static_cast<TypeParam**>(nullptr), 0, nullptr, &d);
    EXPECT_EQ(d, 1);
    classNRUTILS::ludcmp(static_cast<TypeParam**>(nullptr), -3, nullptr, &d);
    classNRUTILS::lubksb(static_cast<TypeParam**>(nullptr), -3, nullptr, static_cast<TypeParam*>(nullptr));
}

TYPED_TEST(LuDecomposition, ARowOfZerosEndsTheProcess)
{
    const Matrix<TypeParam> a = {{1, 2}, {0, 0}};
    Vector<int> indx(2);
    TypeParam d = 0;
    EXPECT_EXIT(classNRUTILS::ludcmp(a, 2, indx, &d), ::testing::ExitedWithCode(1),
                "^Singular matrix in routine ludcmp$");
}

} // namespace

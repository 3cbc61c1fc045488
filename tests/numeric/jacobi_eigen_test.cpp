// SPDX-License-Identifier: BSD-3-Clause
#include "numeric/moreNRUTILS.h"
#include "tests/numeric/test_matrix.h"

#include <gtest/gtest.h>

#include <limits>
#include <vector>

namespace {

using namespace tonalign_test;

/// After the first sweeps an element is dropped once a hundred times its size is lost in the eigenvalues as
/// floats.
constexpr double dropped = std::numeric_limits<float>::epsilon() / 100;

Matrix<double> random_symmetric(Random& random, int n)
{
    Matrix<double> a = random.matrix<double>(n, n);
    for (int i = 1; i <= n; ++i) {
        for (int j = 1; j < i; ++j) {
            a[i][j] = a[j][i];
        }
    }
    return a;
}

TEST(Jacobi, EigenvectorsAreOrthonormalAndRecomposeTheMatrix)
{
    Random random;
    for (int n = 1; n <= 12; ++n) {
        const Matrix<double> a = random_symmetric(random, n);
        Matrix<double> work(a);
        Matrix<double> v(n, n, 9.0);
        Vector<double> d(n);
        int nrot = -1;
        ASSERT_EQ(jacobi(work, n, d, v, &nrot), 1);
        EXPECT_GE(nrot, n * (n - 1) / 2);

        Matrix<double> scaled(v);
        scaled.fill([&](int i, int j) { return v[i][j] * d[j]; });
        EXPECT_LE(distance(product(a, v), scaled), n * dropped);
        EXPECT_LE(distance(product(transposed(v), v), identity(n)), n * 1e-14);

        double trace = 0.0;
        double sum = 0.0;
        for (int i = 1; i <= n; ++i) {
            trace += a[i][i];
            sum += d[i];
            for (int j = 1; j <= i; ++j) {
                EXPECT_EQ(work[i][j], a[i][j]); // only what lies above the diagonal changes
            }
        }
        EXPECT_NEAR(sum, trace, n * 1e-14);

        // Exchanging columns alike keeps every pair together.
        Matrix<double> sorted(v);
        eigsrt(d, sorted, n);
        scaled.fill([&](int i, int j) { return sorted[i][j] * d[j]; });
        EXPECT_LE(distance(product(a, sorted), scaled), n * dropped);
        for (int i = 1; i < n; ++i) {
            EXPECT_GE(d[i], d[i + 1]);
        }
    }
}

TEST(Jacobi, StopsAtOnceOnADiagonalMatrixAndGivesUpOnOneThatNeverBecomesDiagonal)
{
    Matrix<double> a = {{3, 0, 0}, {5, -1, 0}, {5, 5, 2}}; // what lies below the diagonal is not looked at
    Matrix<double> v(3, 3, 9.0);
    Vector<double> d(3);
    int nrot = -1;
    EXPECT_EQ(jacobi(a, 3, d, v, &nrot), 1);
    EXPECT_EQ(nrot, 0);
    EXPECT_EQ(d.values(), (std::vector<double>{3, -1, 2}));
    EXPECT_EQ(distance(v, identity(3)), 0.0);

    nrot = -1;
    EXPECT_EQ(jacobi(nullptr, 0, nullptr, nullptr, &nrot), 1);
    EXPECT_EQ(nrot, 0);

    a = {{1, 1e-50, 0}, {0, 1, 0}, {0, 0, 1}}; // beyond the range of a float, between equal eigenvalues
    EXPECT_EQ(jacobi(a, 3, d, v, &nrot), 1);
    EXPECT_LE(distance(product(transposed(v), v), identity(3)), 1e-14);

    a[1][2] = std::numeric_limits<double>::quiet_NaN();
    EXPECT_EQ(jacobi(a, 3, d, v, &nrot), 0);
}

TEST(EigenvalueSort, OfEqualValuesTheLastComesFirst)
{
    Vector<double> d = {2, 2, 2};
    Matrix<double> v = {{1, 2, 3}, {11, 12, 13}, {21, 22, 23}};
    eigsrt(d, v, 3);
    EXPECT_EQ(distance(v, Matrix<double>{{3, 1, 2}, {13, 11, 12}, {23, 21, 22}}), 0.0);
}

TEST(MatrixDivision, FindsTheFactorBetweenTwoPointSets)
{
    Random random;
    for (const int m : {1, 3, 4}) {
        const auto B = random.matrix<double>(m, m);
        const auto L1 = random.matrix<double>(m, m + 5);
        Matrix<double> A(m, m);
        calc_matrix_division(L1, product(B, L1), m, m + 5, A);
        EXPECT_LE(distance(A, B), 10 * dropped);
    }

    // Points in a plane leave the factor open across it; what it does to the points themselves is still met.
    const Matrix<double> flat = {{1, 0, 2, -1}, {0, 1, 1, 3}, {0, 0, 0, 0}};
    const Matrix<double> L2 = product(random.matrix<double>(3, 3), flat);
    Matrix<double> A(3, 3);
    calc_matrix_division(flat, L2, 3, 4, A);
    EXPECT_LE(distance(product(A, flat), L2), 10 * dropped);

    // A small eigenvalue enters as it is: 1e-10 * (1e-5 * 1e5), where its inverse would give 1e10.
    calc_matrix_division(Matrix<double>{{1e-5}}, Matrix<double>{{1e5}}, 1, 1, A);
    EXPECT_NEAR(A[1][1], 1e-10, 1e-22);

    calc_matrix_division(nullptr, nullptr, 0, 4, nullptr);
    Matrix<double> no_points(2, 2, 9.0);
    calc_matrix_division(nullptr, nullptr, 2, 0, no_points);
    EXPECT_EQ(largest_entry(no_points), 0.0);
}

} // namespace

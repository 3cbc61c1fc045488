// SPDX-License-Identifier: BSD-3-Clause
#include "numeric/classNRUTILS.h"
#include "tests/numeric/test_matrix.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <vector>

namespace {

using namespace tonalign_test;

constexpr double epsilon = std::numeric_limits<float>::epsilon();

struct Decomposition
{
    explicit Decomposition(const Matrix<float>& a) : u(a), w(a.columns()), v(a.columns(), a.columns())
    {
        classNRUTILS::svdcmp(u, a.rows(), a.columns(), w, v);
    }

    Matrix<double> recomposed()
    {
        Matrix<double> scaled(u);
        scaled.fill([this](int i, int j) { return static_cast<double>(u[i][j]) * w[j]; });
        return product(scaled, transposed(v));
    }

    /// The columns of U that belong to singular values above the rounding error.
    Matrix<double> reached_columns(double smallest)
    {
        std::vector<int> columns;
        for (int j = 1; j <= u.columns(); ++j) {
            if (w[j] > smallest) {
                columns.push_back(j);
            }
        }
        Matrix<double> reached(u.rows(), static_cast<int>(columns.size()));
        reached.fill([&](int i, int j) { return u[i][columns[static_cast<std::size_t>(j - 1)]]; });
        return reached;
    }

    Matrix<float> u;
    Vector<float> w;
    Matrix<float> v;
};

template <typename T>
double deviation_from_orthonormal(const Matrix<T>& columns)
{
    return distance(product(transposed(columns), columns), identity(columns.columns()));
}

void expect_decomposition(const Matrix<float>& a, int rank)
{
    SCOPED_TRACE(::testing::Message() << a.rows() << " x " << a.columns() << ", rank " << rank);
    const int n = a.columns();
    const double size = largest_entry(a);
    const double tolerance = 16.0 * (a.rows() + n) * epsilon;
    Decomposition svd(a);

    EXPECT_LE(distance(svd.recomposed(), a), tolerance * size);
    EXPECT_LE(deviation_from_orthonormal(svd.v), tolerance);
    if (a.rows() >= n) {
        EXPECT_LE(deviation_from_orthonormal(svd.u), tolerance);
    }
    for (int j = 1; j <= n; ++j) {
        EXPECT_GE(svd.w[j], 0.0F);
    }
    if (rank > 0) {
        const Matrix<double> reached = svd.reached_columns(tolerance * size);
        EXPECT_EQ(reached.columns(), rank);
        EXPECT_LE(deviation_from_orthonormal(reached), tolerance);
    }
}

TEST(SingularValues, RecomposeToTheMatrixWithOrthonormalFactorsForAnyShapeAndRank)
{
    Random random;
    for (int m = 1; m <= 9; ++m) {
        for (int n = 1; n <= 9; ++n) {
            for (int rank = 1; rank <= std::min(m, n); ++rank) {
                // Orthonormal factors keep the singular values of the product well away from 0.
                const Decomposition left(random.matrix<float>(m, rank));
                const Decomposition right(random.matrix<float>(n, rank));
                expect_decomposition(Matrix<float>(product(left.u, transposed(right.u))), rank);
            }
            expect_decomposition(Matrix<float>(m, n), 0);
        }
    }
    expect_decomposition(random.matrix<float>(40, 25), 25);
}

TEST(SingularValues, MatricesThatSplitOrSpreadAreDecomposed)
{
    expect_decomposition({{1, 1, 0, 0}, {0, 0, 1, 0}, {0, 0, 1, 1}, {0, 0, 0, 1}},
                         3); // 0 inside the diagonal
    expect_decomposition({{0, 1, 0}, {0, 0, 1}, {0, 0, 0}}, 2);
    expect_decomposition({{-2, 0}, {0, -3}}, 2);
    expect_decomposition({{1e15F, 2e15F}, {3e15F, -1e15F}, {0, 1e15F}}, 2);
    expect_decomposition({{1e-15F, 2e-15F}, {3e-15F, -1e-15F}, {0, 1e-15F}}, 2);
    Matrix<float> graded(6, 6);
    graded.fill([](int i, int j) { return 1.0F / static_cast<float>(i + j - 1 + (i == j ? 1 : 0)); });
    expect_decomposition(graded, 6);
}

TEST(SingularValues, OfNoRowsAreZeroAndOfNoColumnsTouchNothing)
{
    const Matrix<float> v(2, 2, 9.0F);
    Vector<float> w = {9, 9};
    classNRUTILS::svdcmp(nullptr, 0, 2, w, v);
    EXPECT_EQ(w.values(), (std::vector<float>{0, 0}));
    EXPECT_EQ(distance(v, identity(2)), 0.0);
    classNRUTILS::svdcmp(nullptr, 3, 0, nullptr, nullptr);
}

TEST(SingularValues, FailureToConvergeIsReportedAndTheCallReturns)
{
    ::testing::internal::CaptureStderr();
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const Decomposition svd({{nan, 1, 2}, {1, 1, 3}, {1, 0, 4}});
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "no convergence in 30 svdcmp iterations\n"
                                                        "no convergence in 30 svdcmp iterations\n");
}

TEST(Pythag, NeitherOverflowsNorUnderflowsNorDividesByZero)
{
    EXPECT_EQ(classNRUTILS::pythag(3.0F, 4.0F), 5.0F);
    EXPECT_EQ(classNRUTILS::pythag(-12.0F, 5.0F), 13.0F);
    EXPECT_EQ(classNRUTILS::pythag(0.0F, 0.0F), 0.0F);
    EXPECT_EQ(classNRUTILS::pythag(0.0F, -7.0F), 7.0F);
    EXPECT_FLOAT_EQ(classNRUTILS::pythag(1e30F, 1e30F), 1.4142136e30F);
    EXPECT_FLOAT_EQ(classNRUTILS::pythag(1e-30F, -1e-30F), 1.4142136e-30F);
}

TEST(SvdSolution, LeavesAResidualNormalToTheColumnsAndTheInverseNormalMatrixAsCovariance)
{
    Random random;
    for (const int m : {3, 5, 12}) {
        const auto a = random.matrix<float>(m, 3);
        const auto b = random.matrix<float>(m, 1);
        Decomposition svd(a);
        Vector<float> right_hand_side(m);
        Vector<float> x(3);
        for (int i = 1; i <= m; ++i) {
            right_hand_side[i] = b[i][1];
        }
        classNRUTILS::svbksb(svd.u, svd.w, svd.v, m, 3, right_hand_side, x);
        Matrix<double> solution(3, 1);
        solution.fill([&x](int i, int) { return x[i]; });
        const Matrix<double> fitted = product(a, solution);
        EXPECT_LE(distance(product(transposed(a), fitted), product(transposed(a), b)), 500 * epsilon);

        Matrix<float> covariance(3, 3);
        classNRUTILS::svdvar(svd.v, 3, svd.w, covariance);
        const Matrix<double> one = product(covariance, product(transposed(a), a));
        EXPECT_LE(distance(one, identity(3)), 500 * epsilon * largest_entry(covariance));
    }
}

TEST(SvdSolution, SingularValuesOfZeroAreLeftOut)
{
    const Matrix<float> u = {{1, 0}, {0, 1}};
    Vector<float> w = {2, 0};
    Vector<float> b = {6, 5};
    Vector<float> x(2);
    classNRUTILS::svbksb(u, w, u, 2, 2, b, x);
    EXPECT_EQ(x.values(), (std::vector<float>{3, 0}));

    const Matrix<float> v = {{0, 1}, {1, 0}};
    Matrix<float> covariance(2, 2, -1.0F);
    classNRUTILS::svdvar(v, 2, w, covariance);
    EXPECT_EQ(distance(covariance, Matrix<float>{{0, 0}, {0, 0.25F}}), 0.0);
}

struct Fit
{
    Fit(Vector<float> x, Vector<float> y, Vector<float> sig, int ma, void (*funcs)(float, float*, int))
        : a(ma), w(ma)
    {
        const int ndata = static_cast<int>(x.values().size());
        const Matrix<float> u(ndata, ma);
        const Matrix<float> v(ma, ma);
        classNRUTILS::svdfit(x, y, sig, ndata, a, ma, u, v, w, &chisq, funcs);
    }

    Vector<float> a;
    Vector<float> w;
    float chisq = -1.0F;
};

void straight_line(float x, float* afunc, int /*ma*/)
{
    afunc[1] = 1.0F;
    afunc[2] = x;
}

/// Two basis functions with a point each; the second one's size is a singular value.
template <int millionths>
void one_point_each(float x, float* afunc, int /*ma*/)
{
    afunc[1] = x == 1.0F ? 1.0F : 0.0F;
    afunc[2] = x == 2.0F ? 1e-6F * millionths : 0.0F;
}

TEST(SvdFit, WeighsThePointsByTheirStandardDeviations)
{
    Fit exact({-1, 0, 2, 5}, {-1, 1, 5, 11}, {1, 2, 0.5F, 1}, 2, straight_line);
    EXPECT_NEAR(exact.a[1], 1.0, 1e-5);
    EXPECT_NEAR(exact.a[2], 2.0, 1e-5);
    EXPECT_NEAR(exact.chisq, 0.0, 1e-9);

    // Two points at x = 0 with weights 1 and 1/4 meet at (1 * 0 + 1/4 * 5) / (5/4) = 1; the third is met
    // exactly.
    Fit scattered({0, 0, 1}, {0, 5, 3}, {1, 2, 1}, 2, straight_line);
    EXPECT_NEAR(scattered.a[1], 1.0, 1e-5);
    EXPECT_NEAR(scattered.a[2], 2.0, 1e-5);
    EXPECT_NEAR(scattered.chisq, 1.0 + 4.0, 1e-5);
}

TEST(SvdFit, DropsSingularValuesBelowAHundredThousandthOfTheLargest)
{
    Fit kept({1, 2}, {3, 1}, {1, 1}, 2, one_point_each<11>);
    EXPECT_NEAR(kept.a[2] * 11e-6, 1.0, 1e-5);
    EXPECT_NEAR(kept.chisq, 0.0, 1e-9);
    Fit dropped({1, 2}, {3, 1}, {1, 1}, 2, one_point_each<9>);
    EXPECT_NEAR(dropped.a[1], 3.0, 1e-5);
    EXPECT_EQ(dropped.a[2], 0.0F);
    EXPECT_EQ(dropped.w[2], 0.0F);
    EXPECT_NEAR(dropped.chisq, 1.0, 1e-6);
}

} // namespace

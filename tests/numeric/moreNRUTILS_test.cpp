// SPDX-License-Identifier: BSD-3-Clause
// Checks the geometry of vectors and small matrices by its defining equations, over random values.
#include "numeric/moreNRUTILS.h"
#include "tests/numeric/matrices.h"

namespace {

using namespace tonalign::test;
using Vector = Matrix<>;

/// cross_matrix(a) * b = a x b
Matrix<> cross_matrix(const Vector& a)
{
    return {3, {0, -a(3), a(2), a(3), 0, -a(1), -a(2), a(1), 0}};
}

double dot(const Vector& a, const Vector& b)
{
    return (transposed(a) * b)(1);
}

TEST(SmallGeometry, ProductsAndAnglesFollowTheirDefinitions)
{
    for (int round = 0; round < 200; ++round) {
        Vector a = random(3, 1), b = random(3, 1), r(3, 1);
        EXPECT_EQ(dotproduct(a, b), dot(a, b));
        crossproduct(a, b, r);
        EXPECT_LE(norm(r - cross_matrix(a) * b), 1e-15);
        EXPECT_NEAR(anglebetweenvectors(a, b), std::atan2(std::sqrt(dot(r, r)), dot(a, b)), 1e-12);
        EXPECT_NEAR(anglebetweenvectors(a, 2.9 * a), 0, 1e-7);
        EXPECT_NEAR(anglebetweenvectors(a, -2.9 * a), std::acos(-1), 1e-7);
        diff_vector_vector(a, b, r);
        EXPECT_EQ(norm(r - (a - b)), 0);
        calcunitvector(a, r);
        EXPECT_LE(norm(std::sqrt(dot(a, a)) * r - a), 1e-15);

        const int m = integer(1, 5), p = integer(0, 5), n = integer(1, 5);
        Matrix<> A = random(m, p), B = random(p, n), C(m, n), CT(n, m), S = random(m, m), s = random(m, 1);
        mult_matrix_matrix(A, B, m, p, n, C);
        EXPECT_EQ(norm(C - A * B), 0); // to the bit: one order of summation
        calcmatrixtranspose(C, m, n, CT);
        EXPECT_EQ(norm(CT - transposed(C)), 0);
        set_matrix_diagonal(S, s, m);
        EXPECT_EQ(norm(S - diagonal(s)), 0);

        Matrix<> D = random(3, 3), E = random(3, 3), F(3, 3);
        mult_matrix_matrix(D, E, F);
        EXPECT_EQ(norm(F - D * E), 0);
        mult_matrix_vector(D, a, r);
        EXPECT_EQ(norm(r - D * a), 0);
        calcmatrixtranspose(D, F);
        EXPECT_EQ(norm(F - transposed(D)), 0);
        copy_matrix(D, F);
        EXPECT_EQ(norm(F - D), 0);
        set_matrix_diagonal(F, a);
        get_matrix_diagonal(F, r);
        EXPECT_EQ(norm(F - diagonal(a)) + norm(r - a), 0);
    }
    Vector zero(3, 1), r(3, 1), tiny(3, {1e-100, 0, 0}), other_tiny(3, {1e-100, 1e-100, 0});
    calcunitvector(zero, r);
    EXPECT_EQ(norm(r), 0);
    EXPECT_TRUE(std::isnan(anglebetweenvectors(tiny, other_tiny)));
}

TEST(SmallGeometry, InversesUndoTheirMatrices)
{
    const double fractions[] = {-0.5, 0.49, -1.2, 2.5}, whole[] = {1, 0, 1, 3};
    for (int round = 0; round < 200; ++round) {
        Matrix<> D = random(3, 3), inverse(3, 3), A = random(4, 4), B(4, 4);
        const auto row = [&](int i) { return Vector(3, 1, [&](int j, int) { return D(i, j); }); };
        EXPECT_NEAR(calc_matrix_determinant(D), dot(row(1), cross_matrix(row(2)) * row(3)), 1e-15);
        calc_matrix_inverse(D, inverse);
        EXPECT_LE(norm(inverse * D - identity(3)), 1e-13 * (1 + norm(inverse)));

        std::copy_n(fractions, 4, &A(4));
        calc_affinematrix_inverse(A, B);
        EXPECT_TRUE(std::equal(whole, whole + 4, &A(4)) && std::equal(whole, whole + 4, &B(4)));
        for (int j = 1; j <= 4; ++j) {
            A(4, j) = B(4, j) = j == 4;
        }
        EXPECT_LE(norm(B * A - identity(4)), 1e-13 * (1 + norm(B)));
        calc_affinematrix_inverse(A, A);
        EXPECT_EQ(norm(A - B), 0);
    }
}

TEST(SmallGeometry, RotationsTurnByTheAngleOrFromOneDirectionToTheOther)
{
    Matrix<> R(3, 3), before(3, 3);
    for (int round = 0; round < 200; ++round) {
        Vector a = random(3, 1), b = random(3, 1), normal = cross_matrix(a) * b;
        const double theta = 7 * number();
        EXPECT_EQ(rotationAroundAxis(a, theta, R), 1);
        // Rodrigues' formula: 1 + sin(theta) K + (1 - cos(theta)) K^2 for the unit axis' K
        const Matrix<> K = 1 / std::sqrt(dot(a, a)) * cross_matrix(a);
        EXPECT_LE(norm(R - identity(3) - std::sin(theta) * K - (1 - std::cos(theta)) * K * K), 1e-14);

        rotationToVector(a, b, R);
        EXPECT_LE(norm(transposed(R) * R - identity(3)), 1e-13);
        EXPECT_LE(norm(R * normal - normal), 1e-13);
        // The arc cosine loses half the digits near 0 and pi.
        EXPECT_LE(norm(std::sqrt(dot(b, b) / dot(a, a)) * (R * a) - b), 1e-7);
        before = R;
        EXPECT_EQ(rotationAroundAxis(Vector(3, 1), theta, R), 0);
        rotationToVector(Vector(3, {1, -2, 0.5}), Vector(3, {-1, 2, -0.5}), R);
        rotationToVector(Vector(3, {1, -2, 0.5}), Vector(3, {2, -4, 1}), R);
        EXPECT_EQ(norm(R - before), 0);
    }
    rotationToVector(Vector(3, {1, -2, 0.5}), Vector(3, {1, -2, 0.5011}), R);
    EXPECT_GT(norm(R - identity(3)), 1e-5);
    rotationToVector(Vector(3, {1, -2, 0.5}), Vector(3, {1, -2, 0.5009}), R);
    EXPECT_EQ(norm(R - identity(3)), 0);
}

TEST(Jacobi, GivesEigenvectorsToSortAndTheQuotientOfTwoPointSets)
{
    // An entry no longer counts once a hundred times its size is lost in the eigenvalues as floats.
    constexpr double lost = std::numeric_limits<float>::epsilon() / 100;
    int nrot = -1;
    for (int round = 0; round < 96; ++round) {
        const int n = round % 12;
        Matrix<> a = random(n, n), work = a, v = random(n, n), d(n, 1);
        ASSERT_EQ(jacobi(work, n, d, v, &nrot), 1);
        EXPECT_GE(nrot, n * (n - 1) / 2);
        const Matrix<> from_above(n, n, [&](int i, int j) { return i < j ? a(i, j) : a(j, i); });
        EXPECT_EQ(norm(Matrix<>(n, n, [&](int i, int j) { return i < j ? 0 : work(i, j) - a(i, j); })), 0);
        for (int i = 0; i <= 1; ++i) {
            EXPECT_LE(norm(from_above * v - v * diagonal(d)), n * lost);
            EXPECT_LE(norm(transposed(v) * v - identity(n)), n * 1e-14);
            EXPECT_TRUE(i == 0 || std::is_sorted(d.elements.rbegin(), d.elements.rend() - 1));
            eigsrt(d, v, n);
        }
        Matrix<> points = random(n, n + 5), quotient(n, n);
        for (const int rank : {n, n / 2}) { // the points below span all of the space, or leave directions out
            Matrix<> from(n, n + 5, [&](int i, int j) { return i <= rank ? points(i, j) : 0; }),
                to = a * from;
            calc_matrix_division(from, to, n, n + 5, quotient);
            EXPECT_LE(norm(quotient * from - to), 100 * lost);
        }
    }
    Matrix<> d(3, {2, 2, 2}), v(3, {1, 2, 3, 11, 12, 13, 21, 22, 23});
    eigsrt(d, v, 3); // of equal values the last comes first
    EXPECT_EQ(norm(v - Matrix<>(3, {3, 1, 2, 13, 11, 12, 23, 21, 22})), 0);
    EXPECT_EQ(jacobi(Matrix<>(2, {3, 0, 5, 7}), 2, d, v, &nrot), 1);
    EXPECT_EQ(nrot, 0);
    EXPECT_EQ(jacobi(Matrix<>(2, {1, 1e-50, 0, 1}), 2, d, v, &nrot), 1); // beyond the range of a float
    EXPECT_FALSE(std::isnan(v(1, 1)));
    EXPECT_EQ(jacobi(Matrix<>(2, {1, NAN, 0, 1}), 2, d, v, &nrot), 0);
    // A small eigenvalue enters as it is: 1e-10 * (1e-5 * 1e5), where its inverse would give 1e10.
    calc_matrix_division(Matrix<>(1, {1e-5}), Matrix<>(1, {1e5}), 1, 1, v);
    EXPECT_NEAR(v(1, 1), 1e-10, 1e-22);
}

TEST(Listings, SeparateEntriesByTabsAndEndWithAnEmptyLine)
{
    Matrix<> M(3, {1, -0.5, 1234567, 4, 5.25, 6, 7, 8, 1.0 / 3});
    ::testing::internal::CaptureStdout();
    printvector(M, 4);
    printvector(M);
    printmatrix(M);
    printmatrix(M, 2, 1);
    const std::string first = "1\t-0.5\t1.23457e+06\t";
    EXPECT_EQ(::testing::internal::GetCapturedStdout(),
              first + "4\t\n\n" + first + "\n\n\n" + first +
                  "\n4\t5.25\t6\t\n7\t8\t0.333333\t\n\n\n1\t\n4\t\n\n");
}

} // namespace

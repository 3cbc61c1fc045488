// SPDX-License-Identifier: BSD-3-Clause
#include "numeric/moreNRUTILS.h"
#include "tests/numeric/test_matrix.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numbers>
#include <string>
#include <vector>

namespace {

using namespace tonalign_test;

constexpr double tolerance = 1e-13;

Vector<double> random_vector(Random& random)
{
    return {random.number(), random.number(), random.number()};
}

void expect_rotation(const Matrix<double>& R)
{
    EXPECT_LE(distance(product(transposed(R), R), identity(3)), tolerance);
    EXPECT_NEAR(calc_matrix_determinant(R), 1.0, tolerance);
}

TEST(Vectors, ProductsDifferencesAndAngles)
{
    Vector<double> a = {1, 2, 3};
    Vector<double> b = {-4, 5, 6};
    Vector<double> result(3);
    EXPECT_EQ(dotproduct(a, b), 24.0);
    crossproduct(a, b, result);
    EXPECT_EQ(result.values(), (std::vector<double>{-3, -18, 13}));
    diff_vector_vector(a, b, result);
    EXPECT_EQ(result.values(), (std::vector<double>{5, -3, -3}));

    Vector<double> along_x = {2, 0, 0};
    Vector<double> diagonal = {-3, 3, 0};
    EXPECT_NEAR(anglebetweenvectors(along_x, diagonal), 0.75 * std::numbers::pi, tolerance);
    Random random;
    for (int i = 0; i < 200; ++i) {
        Vector<double> v = random_vector(random);
        Vector<double> opposite = {-3 * v[1], -3 * v[2], -3 * v[3]};
        EXPECT_NEAR(anglebetweenvectors(v, v), 0.0, 1e-7);
        EXPECT_NEAR(anglebetweenvectors(v, opposite), std::numbers::pi, 1e-7);
    }
    Vector<double> zero = {0, 0, 0};
    EXPECT_TRUE(std::isnan(anglebetweenvectors(a, zero)));
    Vector<double> short_x = {1e-100, 0, 0};
    Vector<double> short_diagonal = {1e-100, 1e-100, 0};
    EXPECT_TRUE(std::isnan(anglebetweenvectors(short_x, short_diagonal)));
}

TEST(Vectors, UnitVectorsKeepTheDirectionAndTheZeroVector)
{
    Vector<double> v = {2, -3, 6};
    Vector<double> n(3);
    calcunitvector(v, n);
    EXPECT_EQ(n.values(), (std::vector<double>{2.0 / 7, -3.0 / 7, 6.0 / 7}));
    Vector<double> zero = {0, 0, 0};
    calcunitvector(zero, n);
    EXPECT_EQ(n.values(), zero.values());
}

TEST(SmallMatrices, ProductsTransposesAndDiagonals)
{
    const Matrix<double> A = {{1, 2, 3}, {4, 5, 6}};
    const Matrix<double> B = {{1, 0, 2, -1}, {0, 1, 1, 1}, {3, 1, 0, 2}};
    Matrix<double> C(2, 4, 9.0);
    mult_matrix_matrix(A, B, 2, 3, 4, C);
    EXPECT_EQ(distance(C, Matrix<double>{{10, 5, 4, 7}, {22, 11, 13, 13}}), 0.0);
    Matrix<double> AT(3, 2);
    calcmatrixtranspose(A, 2, 3, AT);
    EXPECT_EQ(distance(AT, transposed(A)), 0.0);

    const Matrix<double> D = {{1, 2, 3}, {4, 5, 6}, {7, 8, 10}};
    Matrix<double> result(3, 3, 9.0);
    mult_matrix_matrix(D, D, result);
    EXPECT_EQ(distance(result, product(D, D)), 0.0);
    calcmatrixtranspose(D, result);
    EXPECT_EQ(distance(result, transposed(D)), 0.0);
    copy_matrix(D, result);
    EXPECT_EQ(distance(result, D), 0.0);

    Vector<double> x = {1, -1, 2};
    Vector<double> b(3);
    mult_matrix_vector(D, x, b);
    EXPECT_EQ(b.values(), (std::vector<double>{5, 11, 19}));
    get_matrix_diagonal(D, b);
    EXPECT_EQ(b.values(), (std::vector<double>{1, 5, 10}));
    set_matrix_diagonal(result, b);
    EXPECT_EQ(distance(result, Matrix<double>{{1, 0, 0}, {0, 5, 0}, {0, 0, 10}}), 0.0);
    Matrix<double> smaller(2, 2, 9.0);
    set_matrix_diagonal(smaller, b, 2);
    EXPECT_EQ(distance(smaller, Matrix<double>{{1, 0}, {0, 5}}), 0.0);
}

TEST(SmallMatrices, InversesUndoTheirMatrices)
{
    EXPECT_EQ(calc_matrix_determinant(Matrix<double>{{2, -1, 3}, {4, 5, -6}, {7, 8, 9}}), 255.0);
    Random random;
    for (int i = 0; i < 50; ++i) {
        const auto D = random.matrix<double>(3, 3);
        const auto E = random.matrix<double>(3, 3);
        Matrix<double> inverse(3, 3);
        calc_matrix_inverse(D, inverse);
        const double rounding = tolerance * (1.0 + largest_entry(inverse));
        EXPECT_LE(distance(product(inverse, D), identity(3)), rounding);
        EXPECT_LE(distance(product(D, inverse), identity(3)), rounding);
        EXPECT_NEAR(calc_matrix_determinant(product(D, E)),
                    calc_matrix_determinant(D) * calc_matrix_determinant(E), tolerance);
    }
    Matrix<double> none(3, 3);
    calc_matrix_inverse(Matrix<double>{{1, 2, 0}, {2, 4, 0}, {0, 0, 1}}, none);
    EXPECT_TRUE(std::isinf(none[1][1]));
}

TEST(AffineMatrices, InversesUndoThemAndTheBottomRowIsMadeWhole)
{
    Matrix<double> shift = {{1, 0, 0, 1}, {0, 1, 0, 2}, {0, 0, 1, 3}, {1e-12, 0, 0, 0.9999999}};
    Matrix<double> inverse(4, 4, 9.0);
    calc_affinematrix_inverse(shift, inverse);
    EXPECT_EQ(distance(inverse, Matrix<double>{{1, 0, 0, -1}, {0, 1, 0, -2}, {0, 0, 1, -3}, {0, 0, 0, 1}}),
              0.0);
    EXPECT_EQ(distance(product(inverse, shift), identity(4)), 0.0);

    Random random;
    Matrix<double> D = random.matrix<double>(4, 4);
    Vector<double> bottom = {-0.5, 0.49, -1.2, 2.5};
    Vector<double> whole = {1, 0, 1, 3};
    Vector<double> proper = {0, 0, 0, 1};
    for (int j = 1; j <= 4; ++j) {
        D[4][j] = bottom[j];
    }
    calc_affinematrix_inverse(D, inverse);
    for (int j = 1; j <= 4; ++j) {
        EXPECT_EQ(D[4][j], whole[j]);
        EXPECT_EQ(inverse[4][j], whole[j]);
        D[4][j] = proper[j];
        inverse[4][j] = proper[j];
    }
    EXPECT_LE(distance(product(inverse, D), identity(4)), tolerance * (1.0 + largest_entry(inverse)));
    const Matrix<double> before(D);
    calc_affinematrix_inverse(D, D);
    EXPECT_EQ(distance(D, inverse), 0.0);
    EXPECT_LE(distance(product(D, before), identity(4)), tolerance * (1.0 + largest_entry(inverse)));
}

TEST(Rotations, TurnRightHandedAroundTheirAxis)
{
    Matrix<double> R(3, 3);
    Vector<double> z = {0, 0, 1};
    EXPECT_EQ(rotationAroundAxis(z, std::numbers::pi / 2, R), 1);
    EXPECT_LE(distance(R, Matrix<double>{{0, -1, 0}, {1, 0, 0}, {0, 0, 1}}), tolerance);

    Random random;
    for (int i = 0; i < 100; ++i) {
        Vector<double> axis = random_vector(random);
        const double theta = 3.0 * random.number();
        ASSERT_EQ(rotationAroundAxis(axis, theta, R), 1);
        expect_rotation(R);

        Vector<double> turned_axis(3);
        mult_matrix_vector(R, axis, turned_axis);
        Vector<double> across(3);
        Vector<double> turned(3);
        Vector<double> turn(3);
        crossproduct(axis, z, across);
        mult_matrix_vector(R, across, turned);
        crossproduct(across, turned, turn); // |across|^2 sin(theta) along the axis
        const double length = std::sqrt(dotproduct(axis, axis));
        for (int k = 1; k <= 3; ++k) {
            EXPECT_NEAR(turned_axis[k], axis[k], tolerance);
            EXPECT_NEAR(turn[k], dotproduct(across, across) * std::sin(theta) * axis[k] / length, tolerance);
        }
        EXPECT_NEAR(dotproduct(across, turned), dotproduct(across, across) * std::cos(theta), tolerance);
    }
}

TEST(Rotations, BringOneDirectionOntoAnother)
{
    Matrix<double> R(3, 3);
    Random random;
    for (int i = 0; i < 100; ++i) {
        Vector<double> a = random_vector(random);
        Vector<double> b = random_vector(random);
        rotationToVector(a, b, R);
        expect_rotation(R);
        Vector<double> turned(3);
        mult_matrix_vector(R, a, turned);
        calcunitvector(turned, turned);
        calcunitvector(b, b);
        for (int k = 1; k <= 3; ++k) {
            EXPECT_NEAR(turned[k], b[k], 1e-7); // the arc cosine loses half the digits near 0 and pi
        }
    }
}

TEST(Rotations, WithoutAnAxisAreTheIdentityOrLeaveTheMatrixAlone)
{
    const Matrix<double> before(3, 3, 7.0);
    Matrix<double> R(before);
    Vector<double> zero = {0, 0, 0};
    EXPECT_EQ(rotationAroundAxis(zero, 1.0, R), 0);
    EXPECT_EQ(distance(R, before), 0.0);
    Vector<double> a = {1, -2, 0.5};
    Vector<double> opposite = {-1, 2, -0.5};
    Vector<double> longer = {2, -4, 1};
    rotationToVector(a, opposite, R);
    rotationToVector(a, longer, R);
    EXPECT_EQ(distance(R, before), 0.0);
    Vector<double> close = {1, -2, 0.5009};
    rotationToVector(a, close, R);
    EXPECT_EQ(distance(R, identity(3)), 0.0);
    Vector<double> apart = {1, -2, 0.5011};
    rotationToVector(a, apart, R);
    EXPECT_GT(distance(R, identity(3)), 0.0);
}

TEST(Listings, SeparateEntriesByTabsAndEndWithAnEmptyLine)
{
    Vector<double> v = {1, -0.5, 1234567, 1e-7};
    const Matrix<double> M = {{1, 2, 3}, {4, 5.25, 6}, {7, 8, 1.0 / 3}};
    ::testing::internal::CaptureStdout();
    printvector(v, 4);
    printvector(v);
    printmatrix(M);
    printmatrix(M, 2, 1);
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), "1\t-0.5\t1.23457e+06\t1e-07\t\n\n"
                                                        "1\t-0.5\t1.23457e+06\t\n\n"
                                                        "\n1\t2\t3\t\n4\t5.25\t6\t\n7\t8\t0.333333\t\n\n"
                                                        "\n1\t\n4\t\n\n");
}

} // namespace

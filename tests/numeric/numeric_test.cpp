// SPDX-License-Identifier: BSD-3-Clause
// Checks each numerical routine by what must hold for random shapes and values.
#include "numeric/OffsetArrays.h"
#include "numeric/moreNRUTILS.h"
#include "tests/numeric/matrices.h"
#include "tests/support/process_end.h"

#include <malloc.h>

#include <climits>

namespace {

using namespace tonalign::test;
using Nr = classNRUTILS;

constexpr double epsilon = std::numeric_limits<float>::epsilon();

/// Whether the block of `first` has room for `count` elements behind a slot that no index reaches.
bool has_room(auto* first, int count)
{
    return malloc_usable_size(first - 1) >= (count + 1) * sizeof(*first);
}

template <typename T>
void use_arrays(auto new_vector, auto free_vector, auto new_matrix, auto free_matrix)
{
    for (int round = 0; round < 40; ++round) {
        const int low = integer(-400, 400), start = integer(-9, 9), columns = integer(1, 9);
        const int count = integer(300, 600), high = low + count - 1; // blocks that the runtime takes back
        free_vector(new_vector(low, low - 1), low, low - 1);
        const auto in_use = mallinfo2().uordblks;
        T* const v = new_vector(low, high);
        T** const m = new_matrix(low, high, start, start + columns - 1);
        EXPECT_TRUE(has_room(v + low, count) && has_room(m + low, count));
        EXPECT_TRUE(has_room(m[low] + start, count * columns));
        for (int k = 0; k < count; ++k) {
            ASSERT_EQ(m[low + k] + start, m[low] + start + k * columns);
        }
        free_vector(v, low, 0);
        free_matrix(m, low, 0, start, 0);
        EXPECT_EQ(mallinfo2().uordblks, in_use);

        tonalign::OffsetVector<T> vector(low, high), other_vector(1, 300);
        tonalign::OffsetMatrix<T> matrix(count, columns), other_matrix(300, 300);
        EXPECT_TRUE(has_room(&vector[low], count) && has_room(&matrix[1][1], count * columns));
        T* const moved[] = {vector, matrix[count]};
        other_vector = tonalign::OffsetVector<T>(std::move(vector));
        other_matrix = tonalign::OffsetMatrix<T>(std::move(matrix));
        EXPECT_TRUE(other_vector == moved[0] && other_matrix[count] == moved[1]);
    }
}

TEST(OffsetArrays, KeepTheirElementsInOneRunAndGiveEverythingBack)
{
    const auto in_use = mallinfo2().uordblks;
    use_arrays<float>(Nr::vector, Nr::free_vector, Nr::matrix, Nr::free_matrix);
    use_arrays<int>(Nr::ivector, Nr::free_ivector, Nr::imatrix, Nr::free_imatrix);
    use_arrays<double>(Nr::dvector, Nr::free_dvector, Nr::dmatrix, Nr::free_dmatrix);
    EXPECT_LT(mallinfo2().uordblks, in_use + 10'000) << "the owners leak";
}

TEST(NumericDeathTest, RoutinesEndTheProcessWithTheirTextAndStatus)
{
    const std::tuple<std::function<void()>, int, std::string> ends[] = {
        {[] { Nr::vector(1, INT_MAX); }, 1, "allocation failure in vector()"},
        {[] { Nr::ivector(INT_MIN, 0); }, 1, "allocation failure in ivector()"},
        {[] { Nr::dvector(-5, INT_MAX); }, 1, "allocation failure in dvector()"},
        {[] { Nr::matrix(INT_MIN, INT_MAX, 1, 1); }, 1, "allocation failure 1 in matrix()"},
        {[] { Nr::imatrix(1, 3, 1, 715'827'883); }, 1, "allocation failure 2 in matrix()"},
        {[] { Nr::dmatrix(1, INT_MAX - 1, 1, INT_MAX); }, 1, "allocation failure 2 in matrix()"},
        {[] {
             float parity;
             Nr::ludcmp(Floats(1, 1), 1, nullptr, &parity);
         },
         1, "Singular matrix in routine ludcmp"},
        {[] { Nr::bessi(1, 0.0F); }, 0, "[out]Index n less than 2 in bessi"},
    };
    for (const auto& [action, status, text] : ends) {
        EXPECT_EQ(ended(action), (Ended{status, text}));
    }
}

/// Gaussian elimination subtracts the same products in the same order, so that even the bits agree.
template <typename T>
void expect_lu_decomposition(Matrix<T> a)
{
    const int n = a.rows;
    const auto row = [&](int i) { return Doubles(1, n, [&](int, int j) { return a(i, j); }); };
    Matrix<T> scale(n, 1, [&](int i, int) { return 1 / static_cast<T>(norm(row(i))); }), lu = a;
    Matrix<int> indx(n, 1);
    T parity = 0;
    Nr::ludcmp(lu, n, indx, &parity);
    for (int k = 1; k <= n; ++k) {
        Matrix<T> b(n, 1, [k](int i, int) { return i == k ? 1 : i > k ? integer(-1, 1) : 0; }), x = b;
        Nr::lubksb(lu, n, indx, x);
        EXPECT_LE(norm(a * x - b), 500.0 * n * std::numeric_limits<T>::epsilon() * (1 + norm(x)));
    }
    for (int k = 1; k <= n; ++k) {
        int pivot = k;
        for (int i = k + 1; i <= n; ++i) {
            pivot = scale(i) * std::abs(a(i, k)) >= scale(pivot) * std::abs(a(pivot, k)) ? i : pivot;
        }
        EXPECT_EQ(indx(k), pivot);
        parity = pivot == k ? parity : -parity;
        scale(pivot) = scale(k);
        std::swap_ranges(&a(k), &a(k) + n, &a(pivot));
        a(k, k) = a(k, k) == 0 ? static_cast<T>(1e-20) : a(k, k);
        for (int i = k + 1; i <= n; ++i) {
            a(i, k) *= 1 / a(k, k);
            for (int j = k + 1; j <= n; ++j) {
                a(i, j) -= a(i, k) * a(k, j);
            }
        }
    }
    EXPECT_TRUE(lu.elements == a.elements && parity == 1);
}

TEST(LuDecomposition, IsThatOfGaussianEliminationAndSolves)
{
    for (int round = 0; round < 320; ++round) {
        const bool ties = round % 3 == 0; // of candidates for a pivot; and singular matrices
        const int n = round % (ties ? 4 : 16);
        const Entry entry = [ties](int i, int) { return ties ? 1.0 * integer(1, 2) : i * number(); };
        const Doubles a(n, n, entry);
        expect_lu_decomposition<float>(a);
        expect_lu_decomposition<double>(a);
    }
}

void expect_decomposition(const Floats& a, int rank)
{
    const int m = a.rows, n = a.columns;
    const double rounding = 16.0 * (m + n) * epsilon;
    Floats u = a, w(n, 1), v = noise(n, n), b = noise(m, 1), x(n, 1), c(n, n);
    Nr::svdcmp(u, m, n, w, v);
    EXPECT_LE(norm(u * diagonal(w) * t(v) - a), rounding * norm(a));
    for (int j = 1; j <= n; ++j) {
        EXPECT_GE(w(j), 0);
        w(j) = w(j) > rounding * norm(a) ? w(j) : 0;
        rank -= w(j) > 0;
    }
    EXPECT_EQ(rank, 0);
    const Doubles promised = diagonal({n, 1, [&](int j, int) { return m >= n || w(j) > 0; }});
    EXPECT_LE(norm(promised * t(u) * u * promised - promised) + norm(t(v) * v - identity(n)), rounding);
    // The covariance is the pseudo-inverse of A^T A, and gives the solution of least norm.
    Nr::svdvar(v, n, w, c);
    Nr::svbksb(u, w, v, m, n, b, x);
    const Doubles normal = t(a) * a, side = t(a) * b;
    const double loss = rounding * (1 + norm(normal) * norm(c));
    EXPECT_EQ(norm(c - t(c)), 0);
    EXPECT_LE(norm(normal * c * normal - normal), loss * norm(normal));
    EXPECT_LE(norm(c * normal * c - c), loss * norm(c));
    EXPECT_LE(norm(c * side - x), loss * norm(c) * norm(side));
}

TEST(SingularValues, RecomposeTheMatrixAndSolveWithItForAnyShapeAndRank)
{
    ::testing::internal::CaptureStderr();
    for (int round = 0; round < 400; ++round) {
        const int m = integer(0, 9), n = integer(1, 9), rank = integer(0, std::min(m, n));
        const auto factor = [](int i, int j) { return number() + 3 * (i == j); };
        const Doubles a = Doubles(m, rank, factor) * Doubles(rank, n, factor);
        expect_decomposition(std::ldexp(1, round / 10 - 20) * a, rank);
    }
    expect_decomposition(noise(40, 25), 25);
    expect_decomposition({4, {1, 1, 0, 0, 0, 0, 1, 0, 0, 0, 1, 1, 0, 0, 0, 1}}, 3);
    expect_decomposition({3, {0, 1, 0, 0, 0, 1, 0, 0, 0}}, 2);
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
    ::testing::internal::CaptureStderr();
    Nr::svdcmp(Floats(3, {NAN, 1, 2, 1, 1, 3, 1, 0, 4}), 3, 3, Floats(3, 1), Floats(3, 3));
    const std::string text = "no convergence in 30 svdcmp iterations\n";
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), text + text);
    for (const float size : {0.0F, 1e-30F, 1.0F, 1e30F}) {
        EXPECT_FLOAT_EQ(Nr::pythag(3 * size, -4 * size) + Nr::pythag(-12 * size, 5 * size), 18 * size);
    }
}

TEST(SvdFit, SolvesTheWeightedNormalEquationsAndDropsSmallSingularValues)
{
    const auto line = [](float x, float* f, int) { f[1] = 1, f[2] = x; };
    for (int round = 0; round < 40; ++round) {
        // In the first rounds two points give 1 and `small` as singular values, once above the limit, once
        // below.
        const double small = round == 0 ? 1.1e-5 : 0.9e-5;
        const int n = round < 2 ? 2 : round;
        const auto drawn = [&](int i, int) { return round < 2 ? 1 + (i - 1) / small : 0.5 + integer(0, 4); };
        Floats x = noise(n, 1), y = noise(n, 1), sig(n, 1, drawn), a(2, 1), w(2, 1);
        x(1) = 0;
        x(2) = round < 2 ? 1 : x(2);
        float chisq;
        Nr::svdfit(x, y, sig, n, a, 2, Floats(n, 2), Floats(2, 2), w, &chisq, line);
        const Doubles design(n, 2, [&](int i, int j) { return (j == 1 ? 1 : x(i)) / sig(i); });
        const Doubles residual = design * a - Doubles(n, 1, [&](int i, int) { return y(i) / sig(i); });
        EXPECT_LE(norm(t(design) * residual), 500 * epsilon);
        EXPECT_NEAR(chisq, norm(t(residual) * residual), 100 * epsilon * (1 + chisq));
        EXPECT_EQ(w(1) == 0 || w(2) == 0, round == 1);
    }
}

TEST(BesselFunctions, AgreeWithTheSeriesAndTheWronskianAndHaveTheirSymmetriesAndLimits)
{
    const auto i = [](int n, float x) { return n > 1 ? Nr::bessi(n, x) : n ? Nr::bessi1(x) : Nr::bessi0(x); };
    const auto series = [](int n, double x) {
        double term = std::pow(x / 2, n) / std::tgamma(n + 1), sum = term;
        for (int k = 1; k < 200; ++k) {
            sum += term *= x * x / 4 / k / (k + n);
        }
        return sum;
    };
    for (int step = 1; step <= 16 * 80; ++step) {
        const float x = static_cast<float>(step) / 16; // meets 2 and 3.75, the ends of the branches, exactly
        for (const int n : {0, 1, 2, 3, 4, 7, 14}) {
            const double bound = n < 2 ? (x < 3.75 ? 1e-7 : 6.4e-7) : n < 4 && x > 30 ? 6.1e-4 : 2e-6;
            EXPECT_NEAR(i(n, x) / series(n, x), 1, bound) << "order " << n << " at " << x;
            EXPECT_EQ(i(n, -x), n % 2 == 0 ? i(n, x) : -i(n, x));
            const double wronskian = series(n, x) * Nr::bessk(n + 1, x) + series(n + 1, x) * Nr::bessk(n, x);
            EXPECT_NEAR(wronskian * x, 1, n < 2 ? 3e-7 : 1e-6) << "order " << n << " at " << x;
        }
        EXPECT_TRUE(Nr::bessk(0, x) == Nr::bessk0(x) && Nr::bessk(-3, x) == Nr::bessk1(x));
    }
    EXPECT_TRUE(i(0, 0) == 1 && i(1, 0) == 0 && i(2, 0) == 0 && Nr::bessk0(0) == HUGE_VALF);
}

TEST(SmallMatrices, ProductsAreExactAndInversesUndoTheirMatrices)
{
    for (int round = 0; round < 200; ++round) {
        const int m = integer(1, 5), p = integer(0, 5), n = integer(1, 5);
        Doubles A = noise(m, p), B = noise(p, n), C(m, n), CT(n, m), S = noise(m, m), s = noise(m, 1);
        mult_matrix_matrix(A, B, m, p, n, C);
        calcmatrixtranspose(C, m, n, CT);
        set_matrix_diagonal(S, s, m);
        EXPECT_EQ(norm(C - A * B) + norm(CT - t(C)) + norm(S - diagonal(s)), 0);
        Doubles D = noise(3, 3), E = noise(3, 3), DE(3, 3), DT(3, 3), copy(3, 3), a = noise(3, 1), r(3, 1);
        mult_matrix_matrix(D, E, DE);
        mult_matrix_vector(D, a, r);
        calcmatrixtranspose(D, DT);
        copy_matrix(D, copy);
        EXPECT_EQ(norm(DE - D * E) + norm(r - D * a) + norm(DT - t(D)) + norm(copy - D), 0);
        set_matrix_diagonal(copy, a);
        get_matrix_diagonal(copy, r);
        EXPECT_EQ(norm(copy - diagonal(a)) + norm(r - a), 0);
        calc_matrix_inverse(D, E);
        EXPECT_LE(norm(E * D - identity(3)), 1e-13 * (1 + norm(E)));
        Doubles F = noise(4, 4), G(4, 4), whole(4, 1);
        for (int j = 1; j <= 4; ++j) {
            F(4, j) = integer(-5, 5) / 2.0;
            whole(j) = std::floor(std::abs(F(4, j)) + 0.5);
        }
        calc_affinematrix_inverse(F, G);
        for (int j = 1; j <= 4; ++j) {
            EXPECT_TRUE(F(4, j) == whole(j) && G(4, j) == whole(j));
            F(4, j) = G(4, j) = j == 4;
        }
        EXPECT_LE(norm(G * F - identity(4)), 1e-13 * (1 + norm(G)));
        calc_affinematrix_inverse(F, F);
        EXPECT_EQ(norm(F - G), 0);
    }
}

TEST(SmallGeometry, VectorsAnglesAndRotationsFollowTheirDefinitions)
{
    const auto length = [](const Doubles& a) { return std::sqrt((t(a) * a)(1)); };
    Doubles R(3, 3), zero(3, 1), unit(3, 1);
    for (int round = 0; round < 200; ++round) {
        Doubles a = noise(3, 1), b = noise(3, 1), c = noise(3, 1), cross(3, 1), r(3, 1);
        const double dot = dotproduct(a, b), theta = 7 * number(), sine = std::sin(theta);
        Doubles K(3, {0, -a(3), a(2), a(3), 0, -a(1), -a(2), a(1), 0}); // K b is a x b
        crossproduct(a, b, cross);
        diff_vector_vector(a, b, r);
        EXPECT_EQ(norm(cross - K * b) + norm(r - (a - b)) + dot - (t(a) * b)(1), 0);
        const auto rows = [&](int i, int j) { return i == 1 ? a(j) : i == 2 ? b(j) : c(j); };
        EXPECT_NEAR(calc_matrix_determinant(Doubles(3, 3, rows)), dotproduct(cross, c), 1e-15);
        calcunitvector(a, r);
        EXPECT_LE(norm(length(a) * r - a), 1e-15);
        EXPECT_NEAR(anglebetweenvectors(a, b), std::atan2(length(cross), dot), 1e-12);
        EXPECT_NEAR(anglebetweenvectors(a, 2.9 * a), 0, 1e-7);
        EXPECT_NEAR(anglebetweenvectors(a, -2.9 * a), M_PI, 1e-7);

        // Rodrigues' formula
        K = 1 / length(a) * K;
        EXPECT_EQ(rotationAroundAxis(a, theta, R), 1);
        EXPECT_LE(norm(R - identity(3) - sine * K - (1 - std::cos(theta)) * (K * K)), 1e-14);
        rotationToVector(a, b, R);
        EXPECT_LE(norm(t(R) * R - identity(3)) + norm(R * cross - cross), 1e-13);
        EXPECT_LE(norm(length(b) / length(a) * (R * a) - b), 1e-7); // the arc cosine is that exact
        const Doubles before = R;
        rotationToVector(a, -1 * a, R);
        rotationToVector(a, 2 * a, R);
        EXPECT_EQ(rotationAroundAxis(zero, theta, R) + norm(R - before), 0);
        const double apart = 1e-3 + 1e-4 * number();
        rotationToVector(a, a - Doubles(3, {0, apart, 0}), R);
        EXPECT_EQ(norm(R - identity(3)) == 0, apart < 1e-3);
    }
    calcunitvector(zero, unit);
    EXPECT_EQ(norm(unit), 0);
    EXPECT_TRUE(std::isnan(anglebetweenvectors(Doubles(3, {1e-100, 0, 0}), Doubles(3, {1e-100, 1e-100, 0}))));
}

TEST(Jacobi, GivesEigenvectorsToSortAndTheQuotientOfTwoPointSets)
{
    // An entry no longer counts once a hundred times its size is lost in the eigenvalues as floats.
    constexpr double lost = epsilon / 100;
    int nrot = -1;
    for (int round = 0; round < 96; ++round) {
        const int n = round % 12;
        Doubles a = noise(n, n), work = a, v = noise(n, n), d(n, 1), from = noise(n, n + 5), quotient(n, n);
        const Doubles used(n, n, [&](int i, int j) { return a(std::min(i, j), std::max(i, j)); });
        ASSERT_EQ(jacobi(work, n, d, v, &nrot), 1);
        EXPECT_GE(nrot, n * (n - 1) / 2);
        EXPECT_EQ(norm({n, n, [&](int i, int j) { return i < j ? 0 : work(i, j) - a(i, j); }}), 0);
        for (const bool sorted : {false, true}) {
            EXPECT_LE(norm(used * v - v * diagonal(d)), n * lost);
            EXPECT_LE(norm(t(v) * v - identity(n)), n * 1e-14);
            EXPECT_TRUE(!sorted || std::is_sorted(d.elements.rbegin(), d.elements.rend() - 1));
            eigsrt(d, v, n);
        }
        std::fill_n(from.elements.end() - n - 5, n > 1 && round % 2 ? n + 5 : 0, 0.0); // points in a plane
        calc_matrix_division(from, a * from, n, n + 5, quotient);
        EXPECT_LE(norm(quotient * from - a * from), 100 * lost);
    }
    Doubles d(3, {2, 2, 2}), v(3, {1, 2, 3, 11, 12, 13, 21, 22, 23});
    eigsrt(d, v, 3); // of equal values the last comes first
    EXPECT_EQ(norm(v - Doubles(3, {3, 1, 2, 13, 11, 12, 23, 21, 22})), 0);
    EXPECT_TRUE(jacobi(Doubles(2, {3, 0, 5, 7}), 2, d, v, &nrot) == 1 && nrot == 0);
    EXPECT_EQ(jacobi(Doubles(2, {1, NAN, 0, 1}), 2, d, v, &nrot), 0);
    jacobi(Doubles(3, {1, 1e-50, 0, 0, 1, 0, 0, 0, 1}), 3, d, v, &nrot); // beyond the range of a float
    EXPECT_LE(norm(t(v) * v - identity(3)), 1e-15);
    // A small eigenvalue enters as it is: 1e-10 * (1e-5 * 1e5), where its inverse would give 1e10.
    calc_matrix_division(Doubles(1, {1e-5}), Doubles(1, {1e5}), 1, 1, v);
    EXPECT_NEAR(v(1, 1), 1e-10, 1e-22);
}

TEST(Listings, SeparateEntriesByTabsAndEndWithAnEmptyLine)
{
    Doubles M(3, {1, -0.5, 1234567, 4, 5.25, 6, 7, 8, 1.0 / 3});
    ::testing::internal::CaptureStdout();
    printvector(M, 4);
    printvector(M);
    printmatrix(M);
    printmatrix(M, 2, 1);
    const std::string row = "1\t-0.5\t1.23457e+06\t",
                      rest = "\n4\t5.25\t6\t\n7\t8\t0.333333\t\n\n\n1\t\n4\t\n\n";
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), row + "4\t\n\n" + row + "\n\n\n" + row + rest);
}

} // namespace

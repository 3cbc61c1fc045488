// SPDX-License-Identifier: BSD-3-Clause
// Checks offset arrays, solvers and Bessel functions by what must hold for random shapes and values.
#include "numeric/OffsetArrays.h"
#include "tests/numeric/matrices.h"
#include "tests/support/process_end.h"

#include <malloc.h>

#include <climits>
#include <span>

namespace {

using namespace tonalign::test;
using Nr = classNRUTILS;
using Floats = Matrix<float>;

constexpr double epsilon = std::numeric_limits<float>::epsilon();

template <typename T>
void expect_block(T* first, int count)
{
    EXPECT_GE(malloc_usable_size(first - 1), (count + 1) * sizeof(T))
        << "no room for the lead slot and elements";
}

template <typename T>
void use_arrays(auto new_vector, auto free_vector, auto new_matrix, auto free_matrix)
{
    for (int round = 0; round < 40; ++round) {
        const int low = integer(-400, 400), start = integer(-9, 9), columns = integer(1, 9);
        const int count = integer(300, 600); // makes blocks that the runtime does not keep back when freed
        const auto in_use = mallinfo2().uordblks;
        T* const v = new_vector(low, low + count - 1);
        T** const m = new_matrix(low, low + count - 1, start, start + columns - 1);
        expect_block(v + low, count);
        expect_block(m + low, count);
        expect_block(m[low] + start, count * columns);
        for (int k = 0; k < count; ++k) {
            ASSERT_EQ(m[low + k] + start, m[low] + start + k * columns);
        }
        {
            tonalign::OffsetVector<T> vector(low, low + count), other_vector(1, 300);
            tonalign::OffsetMatrix<T> matrix(count, columns), other_matrix(300, 300);
            T* const moved[] = {vector, matrix[count]};
            expect_block(moved[0] + low, count + 1);
            expect_block(&matrix[1][1], count * columns);
            other_vector = tonalign::OffsetVector<T>(std::move(vector));
            other_matrix = tonalign::OffsetMatrix<T>(std::move(matrix));
            EXPECT_EQ(other_vector, moved[0]);
            EXPECT_EQ(other_matrix[count], moved[1]);
        }
        free_vector(v, low, 0);
        free_matrix(m, low, 0, start, 0);
        EXPECT_EQ(mallinfo2().uordblks, in_use);
        free_vector(new_vector(low, low - 1), low, low - 1);
    }
}

TEST(OffsetArrays, KeepTheirElementsInOneRunAndGiveEverythingBack)
{
    use_arrays<float>(Nr::vector, Nr::free_vector, Nr::matrix, Nr::free_matrix);
    use_arrays<int>(Nr::ivector, Nr::free_ivector, Nr::imatrix, Nr::free_imatrix);
    use_arrays<double>(Nr::dvector, Nr::free_dvector, Nr::dmatrix, Nr::free_dmatrix);
}

TEST(NumericDeathTest, RoutinesEndTheProcessWithTheirTextAndStatus)
{
    int indx[3];
    float d;
    expect_ends({
        {[] { Nr::vector(1, INT_MAX); }, 1, "allocation failure in vector()"},
        {[] { Nr::ivector(INT_MIN, 0); }, 1, "allocation failure in ivector()"},
        {[] { Nr::dvector(-5, INT_MAX); }, 1, "allocation failure in dvector()"},
        {[] { Nr::matrix(INT_MIN, INT_MAX, 1, 1); }, 1, "allocation failure 1 in matrix()"},
        {[] { Nr::imatrix(1, 3, 1, 715'827'883); }, 1, "allocation failure 2 in matrix()"},
        {[] { Nr::dmatrix(1, INT_MAX - 1, 1, INT_MAX); }, 1, "allocation failure 2 in matrix()"},
        {[&] {
             Nr::ludcmp(Floats(2, {1, 2, 0, 0}), 2, indx, &d);
         },
         1, "Singular matrix in routine ludcmp"},
        {[] { Nr::bessi(1, 0.0F); }, 0, "[out]Index n less than 2 in bessi"},
    });
}

/// Gaussian elimination: the same products, subtracted in the same order, so that even the bits agree.
template <typename T>
void eliminate(Matrix<T>& a, Matrix<int>& indx, T& parity)
{
    const int n = a.rows;
    const auto largest = [&](int i) { return norm(Matrix<>(1, n, [&](int, int j) { return a(i, j); })); };
    Matrix<T> scale(n, 1, [&](int i, int) { return T{1} / static_cast<T>(largest(i)); });
    for (int k = 1; k <= n; ++k) {
        indx(k) = k;
        for (int i = k + 1; i <= n; ++i) {
            indx(k) = scale(i) * std::abs(a(i, k)) >= scale(indx(k)) * std::abs(a(indx(k), k)) ? i : indx(k);
        }
        std::swap_ranges(&a(k), &a(k) + n, &a(indx(k)));
        parity = indx(k) == k ? parity : -parity;
        scale(indx(k)) = scale(k);
        a(k, k) = a(k, k) == 0 ? static_cast<T>(1e-20) : a(k, k);
        for (int i = k + 1; i <= n; ++i) {
            a(i, k) *= 1 / a(k, k);
            for (int j = k + 1; j <= n; ++j) {
                a(i, j) -= a(i, k) * a(k, j);
            }
        }
    }
}

template <typename T>
void expect_lu_decompositions()
{
    for (int round = 0; round < 160; ++round) {
        const int n = round % 16;
        const bool whole = round % 3 == 0; // makes equal candidates for pivots, and singular matrices
        const auto entry = [&](int i, int j) {
            return (i + j) % n == 0 ? 9 : whole ? integer(-1, 1) : i * number();
        };
        Matrix<T> a(n, n, entry), lu = a, twin = a;
        Matrix<int> indx(n, 1), twin_indx(n, 1);
        T d = 0, parity = 1;
        Nr::ludcmp(lu, n, indx, &d);
        eliminate(twin, twin_indx, parity);
        EXPECT_EQ(lu.elements, twin.elements);
        EXPECT_EQ(indx.elements, twin_indx.elements);
        EXPECT_EQ(d, parity);
        for (int unit = 1; unit <= n && !whole; ++unit) {
            const auto side = [&](int i, int) {
                return i == unit ? 1 : i > unit ? integer(-1, 1) * (round % 2) : 0;
            };
            Matrix<T> b(n, 1, side), x = b;
            Nr::lubksb(lu, n, indx, x);
            EXPECT_LE(norm(a * x - b), 500.0 * n * double{std::numeric_limits<T>::epsilon()} * (1 + norm(x)));
        }
    }
}

TEST(LuDecomposition, IsThatOfGaussianEliminationAndSolves)
{
    expect_lu_decompositions<float>();
    expect_lu_decompositions<double>();
}

struct Decomposition
{
    Decomposition(const Floats& a) : u(a), w(a.columns, 1), v(a.columns, a.columns)
    {
        Nr::svdcmp(u, a.rows, a.columns, w, v);
    }
    Floats u, w, v;
};

void expect_decomposition(const Floats& a, int rank)
{
    SCOPED_TRACE(::testing::Message() << a.rows << " x " << a.columns << ", rank " << rank);
    const int m = a.rows, n = a.columns;
    const double size = norm(a), rounding = 16.0 * (m + n) * epsilon;
    Decomposition svd(a);
    EXPECT_LE(norm(svd.u * diagonal(svd.w) * transposed(svd.v) - a), rounding * size);
    EXPECT_LE(norm(transposed(svd.v) * svd.v - identity(n)), rounding);
    for (float& w : std::span(svd.w.elements).subspan(1)) {
        EXPECT_GE(w, 0);
        w = w > rounding * size ? w : 0;
        rank -= w > 0;
    }
    EXPECT_EQ(rank, 0);
    const Matrix<> promised = diagonal(Matrix<>(n, 1, [&](int j, int) { return m >= n || svd.w(j) > 0; }));
    EXPECT_LE(norm(promised * transposed(svd.u) * svd.u * promised - promised), rounding);

    // The covariance is the pseudo-inverse of A^T A, and gives the solution of least norm.
    const Matrix<> normal = transposed(a) * a;
    Floats b = random(m, 1), x(n, 1), c = random(n, n);
    Nr::svdvar(svd.v, n, svd.w, c);
    Nr::svbksb(svd.u, svd.w, svd.v, m, n, b, x);
    const double inverse = 1 + norm(c);
    EXPECT_EQ(norm(c - transposed(c)), 0);
    EXPECT_LE(norm(normal * c * normal - normal), 20 * rounding * size * inverse);
    EXPECT_LE(norm(c * normal * c - c), 20 * rounding * inverse * inverse);
    EXPECT_LE(norm(c * (transposed(a) * b) - x), 20 * rounding * inverse);
}

TEST(SingularValues, RecomposeTheMatrixAndSolveWithItForAnyShapeAndRank)
{
    ::testing::internal::CaptureStderr();
    for (int round = 0; round < 400; ++round) {
        const int m = integer(1, 9), n = integer(1, 9), rank = integer(0, std::min(m, n));
        const Matrix<> w(rank, 1, [](int, int) { return 2 + number(); });
        const Floats v = Decomposition(random(n, rank)).u;
        expect_decomposition(Decomposition(random(m, rank)).u * diagonal(w) * transposed(v), rank);
    }
    expect_decomposition(random(40, 25), 25);
    expect_decomposition(Floats(4, {1, 1, 0, 0, 0, 0, 1, 0, 0, 0, 1, 1, 0, 0, 0, 1}), 3);
    expect_decomposition(Floats(3, {0, 1, 0, 0, 0, 1, 0, 0, 0}), 2);
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
    ::testing::internal::CaptureStderr();
    const Decomposition never_converges(Floats(3, {NAN, 1, 2, 1, 1, 3, 1, 0, 4}));
    const std::string text = "no convergence in 30 svdcmp iterations\n";
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), text + text);
    Decomposition none(Floats(0, 2));
    EXPECT_EQ(norm(none.w) + norm(none.v - identity(2)), 0);
}

TEST(SingularValues, AreFoundWithoutOverflowOrUnderflowOfSquares)
{
    for (int round = 0; round < 3000; ++round) {
        const float a = static_cast<float>(std::ldexp(number(), integer(-148, 127)));
        const float b = static_cast<float>(a * std::ldexp(number(), integer(-30, 0)) * integer(0, 2));
        EXPECT_FLOAT_EQ(Nr::pythag(a, b), static_cast<float>(std::hypot(double{a}, b)));
        EXPECT_EQ(Nr::pythag(b, -a), Nr::pythag(a, b));
    }
    EXPECT_EQ(Nr::pythag(0.0F, 0.0F), 0.0F);
    const double third = Decomposition(Floats(2, {3, 0, 4, 0})).w(1);
    for (const double size : {1e-16, 1e16}) {
        EXPECT_NEAR(Decomposition(size * Floats(2, {3, 0, 4, 0})).w(1) / size, third, 1e-5);
    }
}

void powers(float x, float* afunc, int ma)
{
    for (int j = 1; j <= ma; ++j) {
        afunc[j] = std::pow(x, static_cast<float>(j - 1));
    }
}

TEST(SvdFit, SolvesTheWeightedNormalEquationsAndDropsSmallSingularValues)
{
    float chisq;
    for (int n = 3; n < 40; ++n) {
        Floats x = random(n, 1), y = random(n, 1), a(3, 1), u(n, 3), v(3, 3), w(3, 1);
        Floats sig(n, 1, [](int, int) { return 0.5 + integer(0, 4); });
        Nr::svdfit(x, y, sig, n, a, 3, u, v, w, &chisq, powers);
        const Matrix<> design(n, 3, [&](int i, int j) { return std::pow(x(i), j - 1) / sig(i); });
        const Matrix<> residual = design * a - Matrix<>(n, 1, [&](int i, int) { return y(i) / sig(i); });
        EXPECT_LE(norm(transposed(design) * residual), 500 * epsilon);
        EXPECT_NEAR(chisq, norm(transposed(residual) * residual), 100 * epsilon * (1 + chisq));
    }
    for (const double share :
         {1.1e-5, 0.9e-5}) { // of the second singular value in the first, on either side of 1e-5
        Floats x(2, {0, 1e6}), y(2, {3, 2e6 / share}), sig(2, {1, 1e6 / share}), a(2, 1), u(2, 2), v(2, 2),
            w(2, 1);
        Nr::svdfit(x, y, sig, 2, a, 2, u, v, w, &chisq, powers);
        EXPECT_NEAR(a(1), 3, 1e-4);
        EXPECT_NEAR(a(2) * share, share > 1e-5 ? 2 : 0, 1e-4);
        EXPECT_NEAR(chisq, share > 1e-5 ? 0 : 4, 1e-4);
    }
}

/// I_n(x) by its power series, whose terms are all positive.
double series(int n, double x)
{
    double term = std::pow(x / 2, n) / std::tgamma(n + 1), sum = term;
    for (int k = 1; k < 200; ++k) {
        term *= x * x / 4 / k / (k + n);
        sum += term;
    }
    return sum;
}

TEST(BesselFunctions, AgreeWithTheSeriesAndTheWronskianAndHaveTheirSymmetriesAndLimits)
{
    const auto i = [](int n, float x) { return n > 1 ? Nr::bessi(n, x) : n ? Nr::bessi1(x) : Nr::bessi0(x); };
    for (int step = 1; step <= 16 * 80; ++step) {
        const float x = static_cast<float>(step) / 16; // meets 2 and 3.75, the ends of the branches, exactly
        for (const int n : {0, 1, 2, 3, 4, 7, 14}) {
            SCOPED_TRACE(::testing::Message() << "order " << n << " at " << x);
            const bool starts_low = x > 30 && (n == 2 || n == 3);
            EXPECT_NEAR(i(n, x) / series(n, x), 1, starts_low ? 6.1e-4 : n < 2 ? 6.4e-7 : 2e-6);
            EXPECT_EQ(i(n, -x), n % 2 == 0 ? i(n, x) : -i(n, x));
            const double wronskian = series(n, x) * Nr::bessk(n + 1, x) + series(n + 1, x) * Nr::bessk(n, x);
            EXPECT_NEAR(wronskian * x, 1, n < 2 ? 3e-7 : 1e-6);
        }
        EXPECT_EQ(Nr::bessk(0, x), Nr::bessk0(x));
        EXPECT_EQ(Nr::bessk(-3, x), Nr::bessk1(x));
    }
    EXPECT_EQ(std::vector({i(0, 0), i(1, 0), i(2, 0), Nr::bessk0(0)}),
              (std::vector{1.0F, 0.0F, 0.0F, HUGE_VALF}));
    EXPECT_TRUE(std::isnan(Nr::bessk1(-1)));
}

} // namespace

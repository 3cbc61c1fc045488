// SPDX-License-Identifier: BSD-3-Clause
// The public class of offset-indexed arrays and the numerical routines that work on them.
#pragma once

/// Offset-indexed vectors and matrices, and the numerical toolkit built on them: LU and singular value
/// decomposition, linear least squares, modified Bessel functions.
///
/// The caller chooses each index range. A vector over [nl..nh] is a pointer p with p[nl]..p[nh] valid; a
/// matrix over [nrl..nrh][ncl..nch] is a pointer m with m[i][j] valid, its elements one contiguous run in
/// row order (m[i][nch] + 1 is m[i + 1][ncl]). Element values are not initialised. The caller owns the array
/// and releases it with the matching `free_` routine and the same lower bounds; the upper bounds of the
/// `free_` routines are accepted for symmetry and ignored. `tonalign::OffsetVector` and
/// `tonalign::OffsetMatrix` (numeric/OffsetArrays.h) release themselves.
///
/// Preconditions: nh >= nl - 1, nrh >= nrl, nch >= ncl - 1. A block whose size does not fit a signed 32-bit
/// int ends the process with status 1 after "allocation failure in vector()" (or ivector, dvector), or
/// "allocation failure 1 in matrix()" (row table), "allocation failure 2 in matrix()" (elements), on standard
/// error without a line end. Exhausted memory raises std::bad_alloc.
///
/// The numerical routines take 1-based arrays, as `vector(1, n)` or `matrix(1, m, 1, n)` make them; index 0
/// is never touched. They allocate nothing for the caller and release their own work arrays. `float` routines
/// store and add in single precision.
///
/// The class carries no data; all members are static and safe to call from several threads on distinct data.
class classNRUTILS
{
public:
    static float* vector(int nl, int nh);
    static void free_vector(float* v, int nl, int nh);
    static int* ivector(int nl, int nh);
    static void free_ivector(int* v, int nl, int nh);
    static double* dvector(int nl, int nh);
    static void free_dvector(double* v, int nl, int nh);
    static float** matrix(int nrl, int nrh, int ncl, int nch);
    static void free_matrix(float** m, int nrl, int nrh, int ncl, int nch);
    static double** dmatrix(int nrl, int nrh, int ncl, int nch);
    static void free_dmatrix(double** m, int nrl, int nrh, int ncl, int nch);
    static int** imatrix(int nrl, int nrh, int ncl, int nch);
    static void free_imatrix(int** m, int nrl, int nrh, int ncl, int nch);

    /// LU decomposition of a row permutation of a square matrix: Crout's method with implicit partial
    /// pivoting (P. D. Crout, Trans. AIEE 60, 1941), in the precision of the element type.
    ///
    /// @param a     n x n, replaced: U on and above the diagonal, L (unit diagonal not stored) below it
    /// @param n     order; below 1 only *d is set
    /// @param indx  [1..n], receives for each column the row that was exchanged with it
    /// @param d     receives +1 or -1, the parity of the row interchanges
    /// Pivots are compared after each row has been scaled to a largest element of 1; the last of several
    /// equal candidates is taken. A pivot of exactly 0 becomes 1.0e-20, so that a singular matrix can still
    /// be decomposed. A row of zeros ends the process with status 1 after "Singular matrix in routine ludcmp"
    /// on standard error, without a line end.
    static void ludcmp(float** a, int n, int* indx, float* d);
    static void ludcmp(double** a, int n, int* indx, double* d);

    /// Solves A x = b with the decomposition that `ludcmp` left in a and indx.
    ///
    /// @param b  [1..n], the right-hand side; replaced by the solution. a and indx are only read, so one
    ///           decomposition serves any number of right-hand sides. With n below 1 nothing is done.
    static void lubksb(float** a, int n, int* indx, float* b);
    static void lubksb(double** a, int n, int* indx, double* b);

    /// sqrt(a^2 + b^2) without overflow or underflow of the squares.
    static float pythag(float a, float b);

    /// Singular value decomposition A = U diag(w) V^T: Householder bidiagonalisation followed by implicitly
    /// shifted QR (G. H. Golub and C. Reinsch, Numerische Mathematik 14, 1970, 403-420).
    ///
    /// @param a  m x n, replaced by U. Its columns are orthonormal when m >= n; when m < n, only those with
    ///           non-zero singular values are.
    /// @param w  [1..n], receives the singular values: non-negative, unsorted
    /// @param v  n x n, receives V (not its transpose)
    /// A value that has not converged after 30 iterations is reported as "no convergence in 30 svdcmp
    /// iterations" and a line end on standard error and left as it is; the computation goes on.
    ///
    /// An element of the bidiagonal form below 2.9e-39, deep in the denormal range, has no finite reciprocal
    /// and leaves columns of not-a-number in U, often in V too, and then in w as well. Such elements come
    /// from entries below about 1e-30, from a singular value that small, and from columns that are exact
    /// multiples of one another, where each column reduced leaves only rounding errors of the last: seen
    /// rarely with five such columns, often with twenty.
    static void svdcmp(float** a, int m, int n, float* w, float** v);

    /// Least-squares solution of A x = b from A = U diag(w) V^T; of least norm where A is rank deficient.
    ///
    /// @param u, w, v  m x n, [1..n] and n x n as `svdcmp` leaves them; only read. Terms with w[j] = 0
    ///                 are left out: set to 0 beforehand the singular values that are not to count.
    /// @param b        [1..m], right-hand side, only read
    /// @param x        [1..n], receives the solution; may be b
    static void svbksb(float** u, float* w, float** v, int m, int n, float* b, float* x);

    /// Covariance matrix V diag(1/w^2) V^T of the parameters of a fit; terms with w[i] = 0 are left out.
    ///
    /// @param v, w  ma x ma and [1..ma] as `svdcmp` leaves them; only read
    /// @param cvm   ma x ma, receives the covariance matrix
    static void svdvar(float** v, int ma, float* w, float** cvm);

    /// Weighted linear least-squares fit of y(x) = sum of a[j] times basis function j, through the SVD.
    ///
    /// @param x, y, sig  [1..ndata], data points and their standard deviations (non-zero)
    /// @param a          [1..ma], receives the coefficients
    /// @param u, v, w    ndata x ma, ma x ma and [1..ma]: workspace that receives the decomposition of the
    ///                   weighted design matrix. Singular values below 1.0e-5 times the largest are set to 0;
    ///                   v and w can then be passed to `svdvar`.
    /// @param chisq      receives the sum of the squared weighted residuals
    /// @param funcs      funcs(x, afunc, ma) writes the basis functions at x into afunc[1..ma]; called twice
    ///                   for each data point
    static void svdfit(float* x, float* y, float* sig, int ndata, float* a, int ma, float** u, float** v,
                       float* w, float* chisq, void (*funcs)(float, float*, int));

    /// Modified Bessel functions of the first kind, I0 and I1, for any x: the polynomial approximations 9.8.1
    /// to 9.8.4 of M. Abramowitz and I. A. Stegun, Handbook of Mathematical Functions (1964). The measured
    /// relative error is at most 6.4e-7 up to |x| = 88.7. `bessi0` takes its exponential in single precision
    /// and is therefore infinite from |x| = 88.73.
    static float bessi0(float x);
    static float bessi1(float x);

    /// Modified Bessel functions of the second kind, K0 and K1, for x > 0: Abramowitz and Stegun 9.8.5 to
    /// 9.8.8. Other arguments are accepted and give infinity or not-a-number.
    static float bessk0(float x);
    static float bessk1(float x);

    /// I_n(x) for n >= 2 by Miller's downward recurrence (Abramowitz and Stegun 9.12), normalised with I0.
    ///
    /// An order below 2 ends the process with status 0 after "Index n less than 2 in bessi" on standard
    /// output, without a line end. The recurrence runs in single precision and starts at an order that
    /// depends on n alone. The relative error, measured for orders to 100 against the power series, is
    /// - at most 2e-6 for orders to 20 and 5e-6 for orders to 100, where 1e-7 <= |x| <= 88.7;
    /// - but up to 2.2e-6 at |x| = 40, 5e-5 at 60, 2.6e-4 at 80 and 6.1e-4 at 88.7 for orders 2 and 3, which
    ///   start too low for such arguments.
    /// These bounds hold where I_n(x) >= 1e-37 and I_n(x) >= 1e-38 I0(x); smaller values lose digits or come
    /// out as 0. From |x| = 88.73 on, where I0 is infinite, and below 1e-7 (except at 0), the result can be
    /// infinite or not-a-number.
    static float bessi(int n, float x);

    /// K_n(x) for n >= 0 and x > 0 by the upward recurrence from K0 and K1; a negative n gives K1(x).
    static float bessk(int n, float x);
};

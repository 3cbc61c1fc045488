#pragma once

/// Offset-indexed vectors and matrices, and the numerical toolkit built on them: LU and singular value
/// decomposition, linear least squares, modified Bessel functions.
///
/// The caller chooses each index range. A vector over [nl..nh] is a pointer p with p[nl]..p[nh] valid; a
/// matrix over [nrl..nrh][ncl..nch] is a pointer m with m[i][j] valid, its elements one contiguous run in
/// row order (m[i][nch] + 1 is m[i + 1][ncl]). Element values are not initialised. The caller owns what it
/// receives and gives it back to the matching `free_` routine with the same lower bounds; the upper bounds
/// of the `free_` routines are accepted for symmetry and ignored. `tonalign::OffsetVector` and
/// `tonalign::OffsetMatrix` (numeric/OffsetArrays.h) do that by themselves.
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
    /// equal candidates is taken. A pivot of exactly 0 becomes 1.0e-20, so that a singular matrix still
    /// decomposes. A row of zeros ends the process with status 1 after "Singular matrix in routine ludcmp" on
    /// standard error, without a line end.
    static void ludcmp(float** a, int n, int* indx, float* d);
    static void ludcmp(double** a, int n, int* indx, double* d);

    /// Solves A x = b with the decomposition that `ludcmp` left in a and indx.
    ///
    /// @param b  [1..n], the right-hand side; replaced by the solution. a and indx are only read, so that one
    ///           decomposition serves any number of right-hand sides. With n below 1 nothing is done.
    static void lubksb(float** a, int n, int* indx, float* b);
    static void lubksb(double** a, int n, int* indx, double* b);
};

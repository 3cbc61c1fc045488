#pragma once

/// Offset-indexed vectors and matrices, and the numerical toolkit built on them.
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
/// The class carries no data; all members are static and safe to call from several threads.
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
};

// SPDX-License-Identifier: BSD-3-Clause
// The public functions for vectors, small matrices, rotations and eigenvectors.
#pragma once

/// Geometry of 3-vectors and small dense matrices, in double precision.
///
/// All arrays are 1-based, as `classNRUTILS::dvector(1, n)` and `classNRUTILS::dmatrix(1, m, 1, n)` make
/// them. A routine without size arguments takes 3-vectors and 3 x 3 matrices. The caller allocates the
/// outputs, which must not be inputs as well unless the routine allows it. Inputs are only read unless the
/// routine says otherwise. Nothing here reports an error or keeps state; results that do not exist come out
/// as infinities or not-a-number.

// Vectors

/// a . b
double dotproduct(double* a, double* b);

/// r = a x b
void crossproduct(double* a, double* b, double* r);

/// c = a - b; c may be a or b.
void diff_vector_vector(double* a, double* b, double* c);

/// n = v / |v|, or v itself where its computed length is 0; n may be v.
void calcunitvector(double* v, double* n);

/// The angle between two directions in radians, 0 to pi; not-a-number when either is the zero vector or the
/// product of their squared lengths underflows.
double anglebetweenvectors(double* a, double* b);

// Products, copies and diagonals. A product is added up from 0 in increasing order of the summation index.

/// b = A x
void mult_matrix_vector(double** A, double* x, double* b);

/// C = A B, all 3 x 3
void mult_matrix_matrix(double** A, double** B, double** C);

/// C (m x n) = A (m x p) times B (p x n)
void mult_matrix_matrix(double** A, double** B, int m, int p, int n, double** C);

/// MT = transpose of M, 3 x 3
void calcmatrixtranspose(double** M, double** MT);

/// MT (n x m) = transpose of M (m x n)
void calcmatrixtranspose(double** M, int m, int n, double** MT);

/// M2 = M1, 3 x 3
void copy_matrix(double** M1, double** M2);

/// d = diagonal of D, 3 x 3
void get_matrix_diagonal(double** D, double* d);

/// D = diag(d), 3 x 3; entries off the diagonal become 0.
void set_matrix_diagonal(double** D, double* d);

/// D = diag(d), n x n; entries off the diagonal become 0.
void set_matrix_diagonal(double** D, double* d, int n);

// Determinants and inverses

/// Determinant of a 3 x 3 matrix: the sum of its six products.
double calc_matrix_determinant(double** D);

/// ID = inverse of the 3 x 3 matrix D: the adjugate divided by the determinant. A determinant of 0 is not
/// detected.
void calc_matrix_inverse(double** D, double** ID);

/// ID = inverse of the 4 x 4 affine matrix D: linear part in rows and columns 1 to 3, translation in
/// column 4.
///
/// Each entry of row 4 of D is replaced by the absolute value of its nearest integer (halves away from 0),
/// and the row is copied to ID; a bottom row close to (0, 0, 0, 1) thus becomes exactly that in both. ID may
/// be D.
void calc_affinematrix_inverse(double** D, double** ID);

// Rotations

/// R = right-handed rotation by theta radians about an axis of any length (counter-clockwise seen from the
/// tip of the axis). Returns 1; for an axis whose computed squared length is 0, returns 0 and leaves R
/// unchanged.
int rotationAroundAxis(double* axisvector, double theta, double** R);

/// R = rotation that turns the direction of a into that of b, about a x b.
///
/// Vectors less than 1.0e-3 apart give the identity. Otherwise R is left unchanged when a and b lie on one
/// line (a x b = 0): opposite vectors, and parallel vectors of different lengths.
void rotationToVector(double* a, double* b, double** R);

// Symmetric eigenproblem

/// Eigenvalues and eigenvectors of a real symmetric matrix by cyclic Jacobi rotations (C. G. J. Jacobi, 1846;
/// H. Rutishauser, Numerische Mathematik 9, 1966, 1-10).
///
/// @param a     n x n; only the entries on and above the diagonal are read, those above it are overwritten
/// @param d     [1..n], receives the eigenvalues, unsorted
/// @param v     n x n, receives the eigenvectors in its columns, orthonormal
/// @param nrot  receives the number of rotations
/// Returns 1 once every entry above the diagonal is 0, and 0 if that takes more than 500 sweeps.
/// Whether an entry still counts is judged in single precision: the eigenvectors are orthonormal to double
/// precision, but a v = v diag(d) holds only to about 1e-9 of the largest eigenvalue, and magnitudes should
/// lie in the range of a float.
int jacobi(double** a, int n, double* d, double** v, int* nrot);

/// Sorts eigenvalues d[1..n] into descending order and the columns of v (n x n) with them. Of equal values
/// the last one comes first.
void eigsrt(double* d, double** v, int n);

/// A (m x m) = L2 L1^T (L1 L1^T)^-1 for L1 and L2 of m x n: the least-squares solution of A L1 = L2.
///
/// The inverse is formed from the eigenvalues of L1 L1^T; one below 1.0e-9 in magnitude is used as it is, not
/// inverted, which all but drops the directions that L1 does not reach. A may be L1 or L2 when m = n.
void calc_matrix_division(double** L1, double** L2, int m, int n, double** A);

// Listings on standard output: numbers in the stream's notation, each followed by a tab

/// v[1..n] on one line, then an empty line
void printvector(double* v, int n);

/// v[1..3] on one line, then an empty line
void printvector(double* v);

/// M[1..nrh][1..nch], a line for each row, between empty lines
void printmatrix(double** M, int nrh, int nch);

/// A 3 x 3 matrix, a line for each row, between empty lines
void printmatrix(double** M);

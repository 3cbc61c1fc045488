// SPDX-License-Identifier: BSD-3-Clause
// Products, transposes, diagonals and inverses of small matrices.
#include "numeric/OffsetArrays.h"
#include "numeric/moreNRUTILS.h"

#include <cmath>

using tonalign::OffsetMatrix;
using tonalign::OffsetVector;

void mult_matrix_vector(double** A, double* x, double* b)
{
    for (int i = 1; i <= 3; ++i) {
        b[i] = 0.0;
        for (int k = 1; k <= 3; ++k) {
            b[i] += A[i][k] * x[k];
        }
    }
}

void mult_matrix_matrix(double** A, double** B, double** C)
{
    mult_matrix_matrix(A, B, 3, 3, 3, C);
}

void mult_matrix_matrix(double** A, double** B, int m, int p, int n, double** C)
{
    for (int i = 1; i <= m; ++i) {
        for (int j = 1; j <= n; ++j) {
            C[i][j] = 0.0;
            for (int k = 1; k <= p; ++k) {
                C[i][j] += A[i][k] * B[k][j];
            }
        }
    }
}

void calcmatrixtranspose(double** M, double** MT)
{
    calcmatrixtranspose(M, 3, 3, MT);
}

void calcmatrixtranspose(double** M, int m, int n, double** MT)
{
    for (int i = 1; i <= m; ++i) {
        for (int j = 1; j <= n; ++j) {
            MT[j][i] = M[i][j];
        }
    }
}

void copy_matrix(double** M1, double** M2)
{
    for (int i = 1; i <= 3; ++i) {
        for (int j = 1; j <= 3; ++j) {
            M2[i][j] = M1[i][j];
        }
    }
}

void get_matrix_diagonal(double** D, double* d)
{
    for (int i = 1; i <= 3; ++i) {
        d[i] = D[i][i];
    }
}

void set_matrix_diagonal(double** D, double* d)
{
    set_matrix_diagonal(D, d, 3);
}

void set_matrix_diagonal(double** D, double* d, int n)
{
    for (int i = 1; i <= n; ++i) {
        for (int j = 1; j <= n; ++j) {
            D[i][j] = i == j ? d[i] : 0.0;
        }
    }
}

double calc_matrix_determinant(double** D)
{
    return D[1][1] * D[2][2] * D[3][3] + D[2][1] * D[3][2] * D[1][3] + D[3][1] * D[1][2] * D[2][3] -
           D[3][1] * (D[2][2] * D[1][3]) - D[1][1] * (D[3][2] * D[2][3]) - D[2][1] * (D[3][3] * D[1][2]);
}

void calc_matrix_inverse(double** D, double** ID)
{
    const double determinant = calc_matrix_determinant(D);
    ID[1][1] = (D[2][2] * D[3][3] - D[3][2] * D[2][3]) / determinant;
    ID[1][2] = (D[1][3] * D[3][2] - D[1][2] * D[3][3]) / determinant;
    ID[1][3] = (D[1][2] * D[2][3] - D[1][3] * D[2][2]) / determinant;
    ID[2][1] = (D[2][3] * D[3][1] - D[2][1] * D[3][3]) / determinant;
    ID[2][2] = (D[1][1] * D[3][3] - D[1][3] * D[3][1]) / determinant;
    ID[2][3] = (D[1][3] * D[2][1] - D[1][1] * D[2][3]) / determinant;
    ID[3][1] = (D[2][1] * D[3][2] - D[2][2] * D[3][1]) / determinant;
    ID[3][2] = (D[1][2] * D[3][1] - D[1][1] * D[3][2]) / determinant;
    ID[3][3] = (D[1][1] * D[2][2] - D[1][2] * D[2][1]) / determinant;
}

void calc_affinematrix_inverse(double** D, double** ID)
{
    const OffsetMatrix<double> linear(3, 3);
    const OffsetMatrix<double> linear_inverse(3, 3);
    const OffsetVector<double> translation(1, 3);
    const OffsetVector<double> moved_translation(1, 3);
    copy_matrix(D, linear);
    for (int i = 1; i <= 3; ++i) {
        translation[i] = D[i][4];
    }
    calc_matrix_inverse(linear, linear_inverse);
    mult_matrix_vector(linear_inverse, translation, moved_translation);

    copy_matrix(linear_inverse, ID);
    for (int i = 1; i <= 3; ++i) {
        ID[i][4] = -moved_translation[i];
    }
    for (int j = 1; j <= 4; ++j) {
        D[4][j] = std::abs(std::round(D[4][j]));
        ID[4][j] = D[4][j];
    }
}

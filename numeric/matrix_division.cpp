// SPDX-License-Identifier: BSD-3-Clause
// The least-squares quotient of two sets of points.
#include "numeric/OffsetArrays.h"
#include "numeric/moreNRUTILS.h"

#include <algorithm>
#include <cmath>

using tonalign::OffsetMatrix;
using tonalign::OffsetVector;

void calc_matrix_division(double** L1, double** L2, int m, int n, double** A)
{
    constexpr double smallest_inverted = 1.0e-9;

    if (m < 1) {
        return;
    }
    const OffsetMatrix<double> L1T(std::max(n, 1), m); // a matrix has at least one row
    const OffsetMatrix<double> M(m, m);
    calcmatrixtranspose(L1, m, n, L1T);
    mult_matrix_matrix(L1, L1T, m, n, m, M);

    const OffsetVector<double> u(1, m);
    const OffsetMatrix<double> V(m, m);
    int nrot = 0;
    jacobi(M, m, u, V, &nrot);
    for (int i = 1; i <= m; ++i) {
        if (std::abs(u[i]) >= smallest_inverted) {
            u[i] = 1.0 / u[i];
        }
    }

    const OffsetMatrix<double> U(m, m);
    const OffsetMatrix<double> VT(m, m);
    const OffsetMatrix<double> partial(m, m);
    const OffsetMatrix<double> inverse(m, m);
    set_matrix_diagonal(U, u, m);
    calcmatrixtranspose(V, m, m, VT);
    mult_matrix_matrix(U, VT, m, m, m, partial);
    mult_matrix_matrix(V, partial, m, m, m, inverse);

    mult_matrix_matrix(L2, L1T, m, n, m, partial);
    mult_matrix_matrix(partial, inverse, m, m, m, A);
}

// SPDX-License-Identifier: BSD-3-Clause
// Rotation matrices about an axis and from one direction to another.
#include "numeric/OffsetArrays.h"
#include "numeric/moreNRUTILS.h"

#include <cmath>

using tonalign::OffsetVector;

int rotationAroundAxis(double* axisvector, double theta, double** R)
{
    const double a = axisvector[1];
    const double b = axisvector[2];
    const double c = axisvector[3];
    const double aa = a * a;
    const double bb = b * b;
    const double cc = c * c;
    const double L2 = aa + bb + cc;
    if (L2 == 0.0) {
        return 0;
    }
    const double L = std::sqrt(L2);
    const double s = std::sin(theta);
    const double k = std::cos(theta);

    R[1][1] = (aa + (bb + cc) * k) / L2;
    R[2][2] = (bb + (aa + cc) * k) / L2;
    R[3][3] = (cc + (aa + bb) * k) / L2;

    R[1][2] = (a * b * (1.0 - k) - c * L * s) / L2;
    R[2][1] = (a * b * (1.0 - k) + c * L * s) / L2;
    R[1][3] = (a * c * (1.0 - k) + b * L * s) / L2;
    R[3][1] = (a * c * (1.0 - k) - b * L * s) / L2;
    R[2][3] = (b * c * (1.0 - k) - a * L * s) / L2;
    R[3][2] = (b * c * (1.0 - k) + a * L * s) / L2;
    return 1;
}

void rotationToVector(double* a, double* b, double** R)
{
    constexpr double same_squared_distance = 1.0e-6;

    const OffsetVector<double> difference(1, 3);
    diff_vector_vector(a, b, difference);
    if (dotproduct(difference, difference) < same_squared_distance) {
        const OffsetVector<double> ones(1, 3);
        ones[1] = ones[2] = ones[3] = 1.0;
        set_matrix_diagonal(R, ones);
        return;
    }
    const OffsetVector<double> axis(1, 3);
    crossproduct(a, b, axis);
    rotationAroundAxis(axis, anglebetweenvectors(a, b), R);
}

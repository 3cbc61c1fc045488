// SPDX-License-Identifier: BSD-3-Clause
// Products, lengths and angles of 3-vectors.
#include "numeric/moreNRUTILS.h"

#include <cmath>

double dotproduct(double* a, double* b)
{
    return a[1] * b[1] + a[2] * b[2] + a[3] * b[3];
}

void crossproduct(double* a, double* b, double* r)
{
    r[1] = a[2] * b[3] - a[3] * b[2];
    r[2] = a[3] * b[1] - a[1] * b[3];
    r[3] = a[1] * b[2] - a[2] * b[1];
}

void diff_vector_vector(double* a, double* b, double* c)
{
    for (int i = 1; i <= 3; ++i) {
        c[i] = a[i] - b[i];
    }
}

void calcunitvector(double* v, double* n)
{
    const double length = std::sqrt(dotproduct(v, v));
    for (int i = 1; i <= 3; ++i) {
        n[i] = length > 0.0 ? v[i] / length : v[i];
    }
}

double anglebetweenvectors(double* a, double* b)
{
    const double cosine = dotproduct(a, b) / std::sqrt(dotproduct(a, a) * dotproduct(b, b));
    // Rounding can take the cosine of parallel vectors slightly past 1, outside the domain of acos. Anything
    // farther out comes from lengths that underflowed, and stays not-a-number.
    constexpr double rounded_one = 1.0 + 1e-12;
    const bool parallel = std::abs(cosine) > 1.0 && std::abs(cosine) < rounded_one;
    return std::acos(parallel ? std::copysign(1.0, cosine) : cosine);
}

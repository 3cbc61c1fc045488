// SPDX-License-Identifier: BSD-3-Clause
// Least-squares solutions, covariances and fits from a singular value decomposition.
#include "numeric/OffsetArrays.h"
#include "numeric/classNRUTILS.h"

#include <algorithm>

namespace {

using FloatVector = tonalign::OffsetVector<float>;

/// Singular values below this fraction of the largest one count as 0.
constexpr double singular_value_tolerance = 1.0e-5;

/// A work vector over [1..count], empty when the count is below 1.
FloatVector scratch(int count)
{
    return {1, std::max(count, 0)};
}

void drop_small_singular_values(float* w, int ma)
{
    float largest = 0.0F;
    for (int j = 1; j <= ma; ++j) {
        largest = std::max(largest, w[j]);
    }
    const float threshold = static_cast<float>(singular_value_tolerance * largest);
    for (int j = 1; j <= ma; ++j) {
        if (w[j] < threshold) {
            w[j] = 0.0F;
        }
    }
}

} // namespace

void classNRUTILS::svbksb(float** u, float* w, float** v, int m, int n, float* b, float* x)
{
    const FloatVector coordinates = scratch(n);
    for (int j = 1; j <= n; ++j) {
        float sum = 0.0F;
        if (w[j] != 0.0F) {
            for (int i = 1; i <= m; ++i) {
                sum += u[i][j] * b[i];
            }
            sum /= w[j];
        }
        coordinates[j] = sum;
    }
    for (int j = 1; j <= n; ++j) {
        float sum = 0.0F;
        for (int k = 1; k <= n; ++k) {
            sum += v[j][k] * coordinates[k];
        }
        x[j] = sum;
    }
}

void classNRUTILS::svdvar(float** v, int ma, float* w, float** cvm)
{
    const FloatVector weights = scratch(ma);
    for (int i = 1; i <= ma; ++i) {
        weights[i] = w[i] != 0.0F ? 1.0F / (w[i] * w[i]) : 0.0F;
    }
    for (int i = 1; i <= ma; ++i) {
        for (int j = 1; j <= i; ++j) {
            float sum = 0.0F;
            for (int k = 1; k <= ma; ++k) {
                sum += v[i][k] * v[j][k] * weights[k];
            }
            cvm[i][j] = sum;
            cvm[j][i] = sum;
        }
    }
}

void classNRUTILS::svdfit(float* x, float* y, float* sig, int ndata, float* a, int ma, float** u, float** v,
                          float* w, float* chisq, void (*funcs)(float, float*, int))
{
    const FloatVector weighted = scratch(ndata);
    const FloatVector basis = scratch(ma);
    for (int i = 1; i <= ndata; ++i) {
        funcs(x[i], basis, ma);
        const float weight = 1.0F / sig[i];
        for (int j = 1; j <= ma; ++j) {
            u[i][j] = basis[j] * weight;
        }
        weighted[i] = y[i] * weight;
    }
    svdcmp(u, ndata, ma, w, v);
    drop_small_singular_values(w, ma);
    svbksb(u, w, v, ndata, ma, weighted, a);

    *chisq = 0.0F;
    for (int i = 1; i <= ndata; ++i) {
        funcs(x[i], basis, ma);
        float fitted = 0.0F;
        for (int j = 1; j <= ma; ++j) {
            fitted += a[j] * basis[j];
        }
        const float residual = (y[i] - fitted) / sig[i];
        *chisq += residual * residual;
    }
}

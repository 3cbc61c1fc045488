// SPDX-License-Identifier: BSD-3-Clause
// LU decomposition and the solution of linear systems, in float and in double.
#include "failure/end_process.h"
#include "numeric/classNRUTILS.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <iostream>
#include <utility>
#include <vector>

namespace {

/// Replaces a pivot of exactly 0.
template <typename T>
constexpr T tiny_pivot = static_cast<T>(1.0e-20);

/// 1 / (largest absolute value) of each row, 1-based.
template <typename T>
std::vector<T> row_scalings(T** a, int n)
{
    std::vector<T> scalings(static_cast<std::size_t>(n) + 1);
    for (int i = 1; i <= n; ++i) {
        T largest = 0;
        for (int j = 1; j <= n; ++j) {
            largest = std::max(largest, std::abs(a[i][j]));
        }
        if (largest == T{0}) {
            tonalign::end_process(std::cerr, {"Singular matrix in routine ludcmp"},
                                  tonalign::ExitStatus::failure);
        }
        scalings[static_cast<std::size_t>(i)] = T{1} / largest;
    }
    return scalings;
}

/// Subtracts from element (i, j) what the first `terms` columns of L and rows of U account for.
template <typename T>
T subtract_known_terms(T** a, int i, int j, int terms)
{
    T sum = a[i][j];
    for (int k = 1; k <= terms; ++k) {
        sum -= a[i][k] * a[k][j];
    }
    a[i][j] = sum;
    return sum;
}

/// Replaces column j by its entries of U and of L, the latter not yet divided by the pivot; returns the row
/// of the best pivot.
template <typename T>
int reduce_column(T** a, int n, int j, const std::vector<T>& scalings)
{
    for (int i = 1; i < j; ++i) {
        subtract_known_terms(a, i, j, i - 1);
    }
    int pivot_row = j; // kept when not-a-number entries leave nothing to compare
    T best = 0;
    for (int i = j; i <= n; ++i) {
        const T merit =
            scalings[static_cast<std::size_t>(i)] * std::abs(subtract_known_terms(a, i, j, j - 1));
        if (merit >= best) {
            best = merit;
            pivot_row = i;
        }
    }
    return pivot_row;
}

template <typename T>
void decompose(T** a, int n, int* indx, T* d)
{
    *d = T{1};
    if (n < 1) {
        return;
    }
    std::vector<T> scalings = row_scalings(a, n);
    for (int j = 1; j <= n; ++j) {
        const int pivot_row = reduce_column(a, n, j, scalings);
        if (pivot_row != j) {
            // Exchange elements, not row pointers: the owner may walk the matrix as one run.
            std::swap_ranges(&a[j][1], &a[j][1] + n, &a[pivot_row][1]);
            *d = -*d;
            scalings[static_cast<std::size_t>(pivot_row)] = scalings[static_cast<std::size_t>(j)];
        }
        indx[j] = pivot_row;
        if (a[j][j] == T{0}) {
            a[j][j] = tiny_pivot<T>;
        }
        const T reciprocal = T{1} / a[j][j];
        for (int i = j + 1; i <= n; ++i) {
            a[i][j] *= reciprocal;
        }
    }
}

template <typename T>
void substitute(T** a, int n, int* indx, T* b)
{
    int first_nonzero = 0; // 0 while all elements so far are 0 and contribute nothing
    for (int i = 1; i <= n; ++i) {
        std::swap(b[i], b[indx[i]]);
        if (first_nonzero != 0) {
            for (int j = first_nonzero; j < i; ++j) {
                b[i] -= a[i][j] * b[j];
            }
        } else if (b[i] != T{0}) {
            first_nonzero = i;
        }
    }
    for (int i = n; i >= 1; --i) {
        for (int j = i + 1; j <= n; ++j) {
            b[i] -= a[i][j] * b[j];
        }
        b[i] /= a[i][i];
    }
}

} // namespace

void classNRUTILS::ludcmp(float** a, int n, int* indx, float* d)
{
    decompose(a, n, indx, d);
}

void classNRUTILS::ludcmp(double** a, int n, int* indx, double* d)
{
    decompose(a, n, indx, d);
}

void classNRUTILS::lubksb(float** a, int n, int* indx, float* b)
{
    substitute(a, n, indx, b);
}

void classNRUTILS::lubksb(double** a, int n, int* indx, double* b)
{
    substitute(a, n, indx, b);
}

// SPDX-License-Identifier: BSD-3-Clause
// Random 1-based matrices, and plain arithmetic in double that shows the error of a routine alone.
#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <random>
#include <vector>

namespace tonalign::test {

/// Goes to the routines as a 1-based T**; a vector is a matrix of one column and goes as a T*.
template <typename T = double>
struct Matrix
{
    Matrix(
        int m, int n, const std::function<double(int, int)>& entry = [](int, int) { return 0.0; })
        : rows(m), columns(n), elements(m * n + 1, T{-99}), table(m + 1)
    {
        for (int k = 0; k < m * n; ++k) {
            elements[k + 1] = static_cast<T>(entry(k / n + 1, k % n + 1));
        }
    }
    Matrix(int m, std::initializer_list<double> values)
        : Matrix(m, static_cast<int>(values.size()) / m,
                 [k = values.begin()](int, int) mutable { return *k++; })
    {
    }
    template <typename U>
    Matrix(const Matrix<U>& other) : Matrix(other.rows, other.columns, other)
    {
    }
    ~Matrix() { EXPECT_EQ(elements[0], T{-99}) << "index 0 was touched"; }

    T operator()(int i, int j = 1) const { return elements[(i - 1) * columns + j]; }
    T& operator()(int i, int j = 1) { return elements[(i - 1) * columns + j]; }
    operator T*() { return elements.data(); }
    operator T**()
    {
        for (int i = 1; i <= rows; ++i) {
            table[i] = &elements[(i - 1) * columns];
        }
        return table.data();
    }

    int rows, columns;
    std::vector<T> elements;
    std::vector<T*> table;
};

/// Adds up in rising order of k, as the routines promise to.
inline Matrix<> operator*(const Matrix<>& a, const Matrix<>& b)
{
    Matrix<> c(a.rows, b.columns);
    for (int k = 1; k <= a.columns; ++k) {
        c = {a.rows, b.columns, [&](int i, int j) { return c(i, j) + a(i, k) * b(k, j); }};
    }
    return c;
}

inline Matrix<> operator*(double factor, const Matrix<>& a)
{
    return {a.rows, a.columns, [&](int i, int j) { return factor * a(i, j); }};
}

inline Matrix<> operator-(const Matrix<>& a, const Matrix<>& b)
{
    return {a.rows, a.columns, [&](int i, int j) { return a(i, j) - b(i, j); }};
}

inline Matrix<> transposed(const Matrix<>& a)
{
    return {a.columns, a.rows, [&](int i, int j) { return a(j, i); }};
}

inline Matrix<> diagonal(const Matrix<>& d)
{
    return {d.rows, d.rows, [&](int i, int j) { return i == j ? d(i) : 0.0; }};
}

inline Matrix<> identity(int n)
{
    return {n, n, std::equal_to<>()};
}

/// The size of the largest entry; infinite when one is not a number.
inline double norm(const Matrix<>& a)
{
    double largest = 0.0;
    for (std::size_t k = 1; k < a.elements.size(); ++k) {
        largest = std::isnan(a.elements[k]) ? HUGE_VAL : std::max(largest, std::abs(a.elements[k]));
    }
    return largest;
}

inline std::mt19937 engine; // the same numbers on every platform

inline double number()
{
    return static_cast<double>(engine()) / 2147483648.0 - 1.0;
}

inline int integer(int lowest, int highest)
{
    return lowest + static_cast<int>(engine() % (highest - lowest + 1U));
}

inline Matrix<> random(int rows, int columns)
{
    return {rows, columns, [](int, int) { return number(); }};
}

} // namespace tonalign::test

// SPDX-License-Identifier: BSD-3-Clause
// Random 1-based matrices, and plain arithmetic in double that shows a routine's error alone.
#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <numeric>
#include <random>

namespace tonalign::test {

using Entry = std::function<double(int, int)>;
inline const Entry zero = [](int, int) { return 0.0; };

/// Goes to the routines as a 1-based T**; a vector is a matrix of one column and goes as a T*.
template <typename T>
struct Matrix
{
    Matrix(int m, int n, const Entry& entry = zero)
        : rows(m), columns(n), elements(m * n + 1, T{-99}), table(m + 1)
    {
        for (int k = 0; k < m * n; ++k) {
            elements[k + 1] = static_cast<T>(entry(k / n + 1, k % n + 1));
        }
    }
    Matrix(int m, std::initializer_list<double> list)
        : Matrix(m, static_cast<int>(list.size()) / m, [k = list.begin()](int, int) mutable { return *k++; })
    {
    }
    ~Matrix() { EXPECT_EQ(elements[0], T{-99}) << "index 0 was touched"; }
    template <typename U>
    operator Matrix<U>() const
    {
        return Matrix<U>(rows, columns, *this);
    }

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
using Floats = Matrix<float>;
using Doubles = Matrix<double>;

inline std::mt19937 engine; // the same numbers on every platform
inline const auto number = [] { return static_cast<double>(engine()) / 2147483648.0 - 1; };
inline const auto integer = [](int low, int high) {
    return low + static_cast<int>(engine() % (high - low + 1));
};
inline const auto noise = [](int m, int n) { return Doubles(m, n, [](int, int) { return number(); }); };
inline const auto identity = [](int n) { return Doubles(n, n, std::equal_to<>()); };
inline const auto t = [](const Doubles& a) {
    return Doubles(a.columns, a.rows, [&](int i, int j) { return a(j, i); });
};

inline Doubles diagonal(const Doubles& d)
{
    return {d.rows, d.rows, [&](int i, int j) { return i == j ? d(i) : 0; }};
}

inline Doubles operator*(const Doubles& a, const Doubles& b)
{
    Doubles c(a.rows, b.columns);
    for (int k = 1; k <= a.columns; ++k) { // in the order that the routines promise
        c = {a.rows, b.columns, [&](int i, int j) { return c(i, j) + a(i, k) * b(k, j); }};
    }
    return c;
}

inline Doubles operator*(double factor, const Doubles& a)
{
    return {a.rows, a.columns, [&](int i, int j) { return factor * a(i, j); }};
}

inline Doubles operator-(const Doubles& a, const Doubles& b)
{
    return {a.rows, a.columns, [&](int i, int j) { return a(i, j) - b(i, j); }};
}

/// The size of the largest entry; infinite when one is not a number.
inline double norm(const Doubles& a)
{
    const auto max = [](double x, double y) { return std::isnan(y) ? HUGE_VAL : std::max(x, std::abs(y)); };
    return std::accumulate(a.elements.begin() + 1, a.elements.end(), 0.0, max);
}

} // namespace tonalign::test

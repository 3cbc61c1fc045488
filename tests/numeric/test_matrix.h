// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "numeric/OffsetArrays.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <initializer_list>
#include <limits>
#include <random>
#include <vector>

namespace tonalign_test {

/// A 1-based matrix that knows its shape; goes to the routines under test as a plain T**.
template <typename T>
class Matrix
{
public:
    Matrix(int rows, int columns, T value = T{}) : m_rows(rows), m_columns(columns), m_data(rows, columns)
    {
        fill([value](int, int) { return value; });
    }
    Matrix(std::initializer_list<std::initializer_list<T>> rows)
        : Matrix(static_cast<int>(rows.size()), static_cast<int>(rows.begin()->size()))
    {
        fill([rows](int i, int j) { return rows.begin()[i - 1].begin()[j - 1]; });
    }
    template <typename U>
    explicit Matrix(const Matrix<U>& other) : Matrix(other.rows(), other.columns())
    {
        fill([&other](int i, int j) { return static_cast<T>(other[i][j]); });
    }
    Matrix(const Matrix& other) : Matrix(other.rows(), other.columns())
    {
        fill([&other](int i, int j) { return other[i][j]; });
    }
    Matrix(Matrix&&) noexcept = default;
    Matrix& operator=(Matrix&&) noexcept = default;

    template <typename Value>
    void fill(Value value)
    {
        for (int i = 1; i <= m_rows; ++i) {
            for (int j = 1; j <= m_columns; ++j) {
                m_data[i][j] = value(i, j);
            }
        }
    }
    int rows() const { return m_rows; }
    int columns() const { return m_columns; }
    T* operator[](int i) const { return static_cast<T**>(m_data)[i]; }
    operator T**() const { return m_data; }

private:
    int m_rows;
    int m_columns;
    tonalign::OffsetMatrix<T> m_data;
};

/// Products and distances are formed in double, so that only the error of the routine under test shows.
template <typename T, typename U>
Matrix<double> product(const Matrix<T>& a, const Matrix<U>& b)
{
    Matrix<double> c(a.rows(), b.columns());
    c.fill([&](int i, int j) {
        double sum = 0.0;
        for (int k = 1; k <= a.columns(); ++k) {
            sum += static_cast<double>(a[i][k]) * static_cast<double>(b[k][j]);
        }
        return sum;
    });
    return c;
}

template <typename T>
Matrix<T> transposed(const Matrix<T>& a)
{
    Matrix<T> t(a.columns(), a.rows());
    t.fill([&a](int i, int j) { return a[j][i]; });
    return t;
}

inline Matrix<double> identity(int n)
{
    Matrix<double> one(n, n);
    one.fill([](int i, int j) { return i == j ? 1.0 : 0.0; });
    return one;
}

/// The largest difference of two entries; infinite where one of them is not a number.
template <typename T, typename U>
double distance(const Matrix<T>& a, const Matrix<U>& b)
{
    double largest = 0.0;
    for (int i = 1; i <= a.rows(); ++i) {
        for (int j = 1; j <= a.columns(); ++j) {
            const double difference = std::abs(static_cast<double>(a[i][j]) - static_cast<double>(b[i][j]));
            largest = std::max(largest,
                               std::isnan(difference) ? std::numeric_limits<double>::infinity() : difference);
        }
    }
    return largest;
}

template <typename T>
double largest_entry(const Matrix<T>& a)
{
    return distance(a, Matrix<double>(a.rows(), a.columns()));
}

/// Numbers between -1 and 1, the same on every platform.
class Random
{
public:
    double number() { return static_cast<double>(m_engine()) / 2147483647.5 - 1.0; }

    template <typename T>
    Matrix<T> matrix(int rows, int columns)
    {
        Matrix<T> a(rows, columns);
        a.fill([this](int, int) { return static_cast<T>(number()); });
        return a;
    }

private:
    std::mt19937 m_engine{20240229};
};

/// A 1-based vector from its elements.
template <typename T>
class Vector
{
public:
    Vector(std::initializer_list<T> elements) : Vector(static_cast<int>(elements.size()))
    {
        std::copy(elements.begin(), elements.end(), m_elements.begin() + 1);
    }
    explicit Vector(int n) : m_elements(static_cast<std::size_t>(n) + 1) {}
    T& operator[](int i) { return m_elements[static_cast<std::size_t>(i)]; }
    operator T*() { return m_elements.data(); }
    std::vector<T> values() const { return {m_elements.begin() + 1, m_elements.end()}; }

private:
    std::vector<T> m_elements;
};

} // namespace tonalign_test

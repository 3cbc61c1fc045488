// SPDX-License-Identifier: BSD-3-Clause
// Owners for offset-indexed arrays, so that no routine has to release one by hand.
#pragma once

#include "numeric/classNRUTILS.h"

#include <type_traits>
#include <utility>

namespace tonalign {

/// Owner of one offset-indexed vector over [lowest..highest]; element type float, int or double.
///
/// Converts to the plain pointer that the numerical routines take; that pointer is a view and stays valid
/// while the owner lives. Movable, not copyable.
template <typename T>
class OffsetVector
{
public:
    OffsetVector(int lowest, int highest)
        : m_elements(allocate(lowest, highest)), m_lowest(lowest), m_highest(highest)
    {
    }
    OffsetVector(OffsetVector&& other) noexcept
        : m_elements(std::exchange(other.m_elements, nullptr)),
          m_lowest(other.m_lowest),
          m_highest(other.m_highest)
    {
    }
    OffsetVector& operator=(OffsetVector&& other) noexcept
    {
        std::swap(m_elements, other.m_elements);
        std::swap(m_lowest, other.m_lowest);
        std::swap(m_highest, other.m_highest);
        return *this;
    }
    ~OffsetVector()
    {
        if (m_elements != nullptr) {
            release(m_elements, m_lowest, m_highest);
        }
    }

    operator T*() const { return m_elements; }

private:
    static T* allocate(int lowest, int highest)
    {
        if constexpr (std::is_same_v<T, float>) {
            return classNRUTILS::vector(lowest, highest);
        } else if constexpr (std::is_same_v<T, int>) {
            return classNRUTILS::ivector(lowest, highest);
        } else {
            return classNRUTILS::dvector(lowest, highest);
        }
    }
    static void release(T* v, int lowest, int highest)
    {
        if constexpr (std::is_same_v<T, float>) {
            classNRUTILS::free_vector(v, lowest, highest);
        } else if constexpr (std::is_same_v<T, int>) {
            classNRUTILS::free_ivector(v, lowest, highest);
        } else {
            classNRUTILS::free_dvector(v, lowest, highest);
        }
    }

    T* m_elements;
    int m_lowest;
    int m_highest;
};

/// Owner of one offset-indexed matrix with rows [1..rows] and columns [1..columns].
///
/// Converts to the plain `T**` that the numerical routines take; that pointer is a view and stays valid
/// while the owner lives. Movable, not copyable. Element values start out undefined.
template <typename T>
class OffsetMatrix
{
public:
    OffsetMatrix(int rows, int columns) : m_rows(allocate(rows, columns)), m_nrow(rows), m_ncol(columns) {}
    OffsetMatrix(OffsetMatrix&& other) noexcept
        : m_rows(std::exchange(other.m_rows, nullptr)), m_nrow(other.m_nrow), m_ncol(other.m_ncol)
    {
    }
    OffsetMatrix& operator=(OffsetMatrix&& other) noexcept
    {
        std::swap(m_rows, other.m_rows);
        std::swap(m_nrow, other.m_nrow);
        std::swap(m_ncol, other.m_ncol);
        return *this;
    }
    ~OffsetMatrix()
    {
        if (m_rows != nullptr) {
            release(m_rows, m_nrow, m_ncol);
        }
    }

    operator T**() const { return m_rows; }

private:
    static T** allocate(int rows, int columns)
    {
        if constexpr (std::is_same_v<T, float>) {
            return classNRUTILS::matrix(1, rows, 1, columns);
        } else if constexpr (std::is_same_v<T, int>) {
            return classNRUTILS::imatrix(1, rows, 1, columns);
        } else {
            return classNRUTILS::dmatrix(1, rows, 1, columns);
        }
    }
    static void release(T** m, int rows, int columns)
    {
        if constexpr (std::is_same_v<T, float>) {
            classNRUTILS::free_matrix(m, 1, rows, 1, columns);
        } else if constexpr (std::is_same_v<T, int>) {
            classNRUTILS::free_imatrix(m, 1, rows, 1, columns);
        } else {
            classNRUTILS::free_dmatrix(m, 1, rows, 1, columns);
        }
    }

    T** m_rows;
    int m_nrow;
    int m_ncol;
};

} // namespace tonalign

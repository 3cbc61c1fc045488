// SPDX-License-Identifier: BSD-3-Clause
// Allocation and release of offset-indexed vectors and matrices.
#include "failure/end_process.h"
#include "numeric/classNRUTILS.h"

#include <cstddef>
#include <cstdint>
#include <iostream>
#include <limits>
#include <memory>
#include <string_view>

namespace {

using tonalign::ExitStatus;

/// The element at index 0 of a block that starts at `start` and whose element 1 has index `lowest`.
///
/// It usually lies outside the block and is only ever used with valid indices.
template <typename T>
T* shift_to_index_base(T* start, std::int64_t lowest)
{
    return start + (1 - lowest);
}

template <typename T>
T* block_start(T* base, std::int64_t lowest)
{
    return base + (lowest - 1);
}

/// Ends the process when a block of one lead slot and `count` elements exceeds the 32-bit sizes.
void require_block_size(std::int64_t count, std::string_view failure_text)
{
    if (count < 0 || count + 1 > std::numeric_limits<int>::max()) {
        tonalign::end_process(std::cerr, {failure_text}, ExitStatus::failure);
    }
}

template <typename T>
std::unique_ptr<T[]> allocate_block(std::int64_t count)
{
    return std::unique_ptr<T[]>(new T[static_cast<std::size_t>(count + 1)]);
}

std::int64_t extent(int lowest, int highest)
{
    return std::int64_t{highest} - lowest + 1;
}

template <typename T>
T* allocate_vector(int nl, int nh, std::string_view failure_text)
{
    require_block_size(extent(nl, nh), failure_text);
    return shift_to_index_base(allocate_block<T>(extent(nl, nh)).release(), nl);
}

template <typename T>
void release_vector(T* v, int nl)
{
    delete[] block_start(v, nl);
}

template <typename T>
T** allocate_matrix(int nrl, int nrh, int ncl, int nch)
{
    const std::int64_t rows = extent(nrl, nrh);
    const std::int64_t columns = extent(ncl, nch);
    // Check both sizes before allocating either block: the row table alone can take gigabytes.
    require_block_size(rows, "allocation failure 1 in matrix()");
    require_block_size(rows * columns, "allocation failure 2 in matrix()");
    auto row_table = allocate_block<T*>(rows);
    auto elements = allocate_block<T>(rows * columns);
    T* row = shift_to_index_base(elements.release(), ncl);
    for (std::int64_t i = 1; i <= rows; ++i, row += columns) {
        row_table[static_cast<std::size_t>(i)] = row;
    }
    return shift_to_index_base(row_table.release(), nrl);
}

template <typename T>
void release_matrix(T** m, int nrl, int ncl)
{
    delete[] block_start(m[nrl], ncl);
    delete[] block_start(m, nrl);
}

} // namespace

float* classNRUTILS::vector(int nl, int nh)
{
    return allocate_vector<float>(nl, nh, "allocation failure in vector()");
}

void classNRUTILS::free_vector(float* v, int nl, int /*nh*/)
{
    release_vector(v, nl);
}

int* classNRUTILS::ivector(int nl, int nh)
{
    return allocate_vector<int>(nl, nh, "allocation failure in ivector()");
}

void classNRUTILS::free_ivector(int* v, int nl, int /*nh*/)
{
    release_vector(v, nl);
}

double* classNRUTILS::dvector(int nl, int nh)
{
    return allocate_vector<double>(nl, nh, "allocation failure in dvector()");
}

void classNRUTILS::free_dvector(double* v, int nl, int /*nh*/)
{
    release_vector(v, nl);
}

float** classNRUTILS::matrix(int nrl, int nrh, int ncl, int nch)
{
    return allocate_matrix<float>(nrl, nrh, ncl, nch);
}

void classNRUTILS::free_matrix(float** m, int nrl, int /*nrh*/, int ncl, int /*nch*/)
{
    release_matrix(m, nrl, ncl);
}

double** classNRUTILS::dmatrix(int nrl, int nrh, int ncl, int nch)
{
    return allocate_matrix<double>(nrl, nrh, ncl, nch);
}

void classNRUTILS::free_dmatrix(double** m, int nrl, int /*nrh*/, int ncl, int /*nch*/)
{
    release_matrix(m, nrl, ncl);
}

int** classNRUTILS::imatrix(int nrl, int nrh, int ncl, int nch)
{
    return allocate_matrix<int>(nrl, nrh, ncl, nch);
}

void classNRUTILS::free_imatrix(int** m, int nrl, int /*nrh*/, int ncl, int /*nch*/)
{
    release_matrix(m, nrl, ncl);
}

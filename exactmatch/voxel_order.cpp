// SPDX-License-Identifier: BSD-3-Clause
// The documented quicksort of feature columns.
#include "exactmatch/voxel_order.h"

#include <iostream>
#include <utility>

namespace {

/// A voxel's place in the feature stack.
struct Position
{
    int x;
    int y;
    int z;
};

Position position_of(int** indexarray, int column)
{
    return {indexarray[1][column], indexarray[2][column], indexarray[3][column]};
}

double value_at(const Array3D<double>& volume, const Position& at)
{
    return volume.address()[at.z][at.y][at.x];
}

/// Whether the element goes before the pivot: its key is less than or equal to the pivot's.
bool belongs_to_low_side(const Array3D<double>* D1, int D1level, const Position& element,
                         const Position& pivot)
{
    for (int level = 0; level < D1level; ++level) {
        const double p = value_at(D1[level], pivot);
        const double e = value_at(D1[level], element);
        if (p > e) {
            return true;
        }
        if (e > p) {
            return false;
        }
        if (p == e && level == D1level - 1) {
            return true;
        }
    }
    return false;
}

/// Whether the challenger's key is less than the minimum's; every level looked at is counted.
bool counts_as_smaller(const Array3D<double>* D1, int D1level, const Position& minimum,
                       const Position& challenger, int* comparisoncount, int* equalitycount)
{
    for (int level = 0; level < D1level; ++level) {
        const double m = value_at(D1[level], minimum);
        const double e = value_at(D1[level], challenger);
        if (m > e || e > m) {
            ++comparisoncount[level + 1];
            return m > e;
        }
        if (m == e) {
            ++comparisoncount[level + 1];
            ++equalitycount[level + 1];
        }
    }
    return false;
}

} // namespace

void quicksort_feature_array(Array3D<double>* D1, int D1level, int** indexarray, int beginindex, int endindex)
{
    // The two sides are independent: recursing into the shorter one alone bounds the depth and changes
    // nothing.
    while (beginindex < endindex) {
        const int q = quicksort_feature_array_partition(D1, D1level, indexarray, beginindex, endindex);
        if (q - beginindex < endindex - q) {
            quicksort_feature_array(D1, D1level, indexarray, beginindex, q - 1);
            beginindex = q + 1;
        } else {
            quicksort_feature_array(D1, D1level, indexarray, q + 1, endindex);
            endindex = q - 1;
        }
    }
}

int quicksort_feature_array_partition(Array3D<double>* D1, int D1level, int** indexarray, int beginindex,
                                      int endindex)
{
    if (beginindex + 1 < endindex) {
        const int middle = static_cast<int>((static_cast<long long>(beginindex) + endindex) / 2);
        quicksort_feature_array_exchange(indexarray, middle, endindex);
    }
    const Position pivot = position_of(indexarray, endindex);
    int i = beginindex - 1;
    for (int j = beginindex; j < endindex; ++j) {
        if (belongs_to_low_side(D1, D1level, position_of(indexarray, j), pivot)) {
            ++i;
            quicksort_feature_array_exchange(indexarray, i, j);
        }
    }
    quicksort_feature_array_exchange(indexarray, i + 1, endindex);
    return i + 1;
}

void quicksort_feature_array_exchange(int** indexarray, int index1, int index2)
{
    for (int row = 1; row <= 3; ++row) {
        std::swap(indexarray[row][index1], indexarray[row][index2]);
    }
}

void selectionsort_feature_array(Array3D<double>* D1, int D1level, int** indexarray, int beginindex,
                                 int endindex, int* comparisoncount, int* equalitycount)
{
    for (int i = beginindex; i < endindex; ++i) {
        int minindex = i;
        for (int j = i + 1; j <= endindex; ++j) {
            if (counts_as_smaller(D1, D1level, position_of(indexarray, minindex), position_of(indexarray, j),
                                  comparisoncount, equalitycount)) {
                minindex = j;
            }
        }
        if (minindex > i) {
            quicksort_feature_array_exchange(indexarray, i, minindex);
        }
    }
}

void quicksort_feature_array_printindexarray(Array3D<double>* D1, int D1level, int** indexarray, int index1,
                                             int index2)
{
    for (int p = index1; p <= index2; ++p) {
        std::cout << p << '\t';
        for (int level = 0; level < D1level; ++level) {
            std::cout << value_at(D1[level], position_of(indexarray, p)) << '\t';
        }
        std::cout << '\n';
    }
    std::cout << "\n\n";
}

// SPDX-License-Identifier: BSD-3-Clause
// Listings of vectors and matrices on standard output.
#include "numeric/moreNRUTILS.h"

#include <iostream>

namespace {

void print_entries(const double* v, int n)
{
    for (int i = 1; i <= n; ++i) {
        std::cout << v[i] << '\t';
    }
}

} // namespace

void printvector(double* v, int n)
{
    print_entries(v, n);
    std::cout << "\n\n";
}

void printvector(double* v)
{
    printvector(v, 3);
}

void printmatrix(double** M, int nrh, int nch)
{
    std::cout << '\n';
    for (int i = 1; i <= nrh; ++i) {
        print_entries(M[i], nch);
        std::cout << '\n';
    }
    std::cout << '\n';
}

void printmatrix(double** M)
{
    printmatrix(M, 3, 3);
}

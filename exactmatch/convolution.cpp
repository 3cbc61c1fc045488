// SPDX-License-Identifier: BSD-3-Clause
// Filters a volume slice by slice.
#include "exactmatch/convolution.h"

#include "exactmatch/FilterResponse.h"

void convolution3Dn(Array3D<double>* I, Array3D<double>* F, Array3D<double>* O)
{
    const tonalign::FilterResponse filter(*I, *F);
    const int nz = I->getNzInner();
    const int ny = I->getNyInner();
    double*** const response = O->address();

#pragma omp parallel
    {
#pragma omp for schedule(dynamic, 1) nowait
        for (int z = 0; z < nz; ++z) {
            for (int y = 0; y < ny; ++y) {
                filter.interiorOfRow(z, y, response[z][y]);
            }
        }
    }
#pragma omp parallel
    {
#pragma omp for schedule(dynamic, 1) nowait
        for (int z = 0; z < nz; ++z) {
            for (int y = 0; y < ny; ++y) {
                filter.borderOfRow(z, y, response[z][y]);
            }
        }
    }
}

// SPDX-License-Identifier: BSD-3-Clause
#include "bench/same_bits.h"
#include "bench/synthetic_volumes.h"
#include "exactmatch/convolution.h"
#include "exactmatch/filter_bank.h"

#include <benchmark/benchmark.h>
#include <omp.h>

/// The response of a whole volume to each filter of the bank.

namespace {

constexpr int side = 96;

int wrap(int p, int n)
{
    return ((p % n) + n) % n;
}

/// Every tap of every voxel in turn, zero weights included.
void dense_convolution(Array3D<double>* I, Array3D<double>* F, Array3D<double>* O)
{
    for (int z = 0; z < I->m_nz; ++z) {
        for (int y = 0; y < I->m_ny; ++y) {
            for (int x = 0; x < I->m_nx; ++x) {
                double sum = 0.0;
                for (int k = 0; k < F->m_nz; ++k) {
                    const int from_z = wrap(z + k - (F->m_nz - 1) / 2, I->m_nz);
                    for (int j = 0; j < F->m_ny; ++j) {
                        const int from_y = wrap(y + j - (F->m_ny - 1) / 2, I->m_ny);
                        for (int i = 0; i < F->m_nx; ++i) {
                            const int from_x = wrap(x + i - (F->m_nx - 1) / 2, I->m_nx);
                            sum = sum + I->m_p[from_z][from_y][from_x] * F->m_p[k][j][i];
                        }
                    }
                }
                O->m_p[z][y][x] = sum;
            }
        }
    }
}

template <auto convolve>
void Convolution(benchmark::State& state)
{
    Array3D<double> volume = tonalign::bench::head(side, 1);
    Array3D<double> filter;
    get3DfilterArray(1, static_cast<int>(state.range(0)), filter);
    Array3D<double> response(side, side, side);
    omp_set_num_threads(static_cast<int>(state.range(1)));
    for (auto _ : state) {
        convolve(&volume, &filter, &response);
        benchmark::ClobberMemory();
    }
    Array3D<double> expected(side, side, side);
    dense_convolution(&volume, &filter, &expected);
    tonalign::bench::require_same_bits(state, expected, response);
    state.SetItemsProcessed(state.iterations() * volume.blockSize());
}

} // namespace

BENCHMARK(Convolution<convolution3Dn>)
    ->Name("Convolution")
    ->ArgNames({"filter", "threads"})
    ->ArgsProduct({{2, 3, 4, 5, 6}, {1, 2}})
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK(Convolution<dense_convolution>)
    ->Name("ConvolutionPlain")
    ->ArgNames({"filter", "threads"})
    ->ArgsProduct({{2, 3, 4, 5, 6}, {1}})
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

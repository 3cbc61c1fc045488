// SPDX-License-Identifier: BSD-3-Clause
#include "bench/synthetic_volumes.h"
#include "histogram/BinGeometry.h"
#include "histogram/HistogramArray.h"
#include "histogram/histogram.h"
#include "volume/IntensityRange.h"

#include <benchmark/benchmark.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

/// Finding the bins of voxels, and counting them.

namespace {

using namespace tonalign;

constexpr int side = 128;

/// Whatever the data: noise scatters over all counts, constant regions hit the same one again and again.
Array3D<double> volume_number(std::int64_t number, benchmark::State& state)
{
    state.SetLabel(number == 0 ? "noise" : "label regions");
    return number == 0 ? bench::noise(side, 1) : bench::label_regions(side, 100, 1);
}

int plain_bin(double value, const IntensityRange& range, int bins)
{
    const double half_width = (range.maximum - range.minimum) / (static_cast<double>(bins) + bins);
    const double k = std::ceil((value - range.minimum) / (half_width + half_width));
    if (!(k >= 1.0)) {
        return 1;
    }
    return k > bins ? bins : static_cast<int>(k);
}

void plain_bins(const Array3D<double>& volume, const IntensityRange& range, int bins,
                std::vector<std::int32_t>& result)
{
    for (std::size_t j = 0; j < result.size(); ++j) {
        result[j] = plain_bin(volume.block()[j], range, bins);
    }
}

/// Rows 1 and 2 of a histogram array, without column N + 1 of row 1.
void plain_histogram(const Array3D<double>& volume, const IntensityRange& range, double** H, int N)
{
    const double half_width = (range.maximum - range.minimum) / (static_cast<double>(N) + N);
    for (int i = 1; i <= N; ++i) {
        H[1][i] = (2.0 * (i - 1.0)) * half_width + (half_width + range.minimum);
        H[2][i] = 0.0;
    }
    for (std::int64_t j = 0; j < volume.blockSize(); ++j) {
        H[2][plain_bin(volume.block()[j], range, N)] += 1.0;
    }
    H[2][1] = 0.0;
    H[2][N + 1] = 0.0;
    for (int i = 1; i <= N; ++i) {
        H[2][N + 1] += H[2][i];
    }
    for (int i = 1; i <= N; ++i) {
        H[2][i] = H[2][i] * (1.0 / H[2][N + 1]);
    }
}

void find_bins(const Array3D<double>& volume, const IntensityRange& range, int bins,
               std::vector<std::int32_t>& result)
{
    BinGeometry(range, bins).binsOf(volume.block(), volume.blockSize(), result.data());
}

void count(const Array3D<double>& volume, const IntensityRange& range, double** H, int N)
{
    calculate_histogram(volume, range, 0.0, H, N);
}

template <auto find>
void BinsOf(benchmark::State& state)
{
    const Array3D<double> volume = volume_number(state.range(0), state);
    const int bins = static_cast<int>(state.range(1));
    const IntensityRange range = intensity_range(volume);
    std::vector<std::int32_t> result(static_cast<std::size_t>(volume.blockSize()));
    for (auto _ : state) {
        find(volume, range, bins, result);
        benchmark::ClobberMemory();
    }
    std::vector<std::int32_t> expected(result.size());
    plain_bins(volume, range, bins, expected);
    if (result != expected) {
        state.SkipWithError("the bins differ from the plain loop's");
    }
    state.SetItemsProcessed(state.iterations() * volume.blockSize());
}

template <auto compute>
void Histogram(benchmark::State& state)
{
    const Array3D<double> volume = volume_number(state.range(0), state);
    const int N = static_cast<int>(state.range(1));
    const IntensityRange range = intensity_range(volume);
    const HistogramArray result(N);
    for (auto _ : state) {
        compute(volume, range, result, N);
        benchmark::ClobberMemory();
    }
    const HistogramArray expected(N);
    plain_histogram(volume, range, expected, N);
    for (int i = 1; i <= N + 1; ++i) {
        if (expected[2][i] != result[2][i] || (i <= N && expected[1][i] != result[1][i])) {
            state.SkipWithError("the histogram differs from the plain loop's");
        }
    }
    state.SetItemsProcessed(state.iterations() * volume.blockSize());
}

void volumes_and_bins(benchmark::internal::Benchmark* benchmark)
{
    benchmark->ArgNames({"volume", "bins"})->ArgsProduct({{0, 1}, {256, 65536}});
}

} // namespace

BENCHMARK(BinsOf<find_bins>)->Name("BinsOf")->Apply(volumes_and_bins);
BENCHMARK(BinsOf<plain_bins>)->Name("BinsOfPlain")->Apply(volumes_and_bins);
BENCHMARK(Histogram<count>)->Name("Histogram")->Apply(volumes_and_bins);
BENCHMARK(Histogram<plain_histogram>)->Name("HistogramPlain")->Apply(volumes_and_bins);

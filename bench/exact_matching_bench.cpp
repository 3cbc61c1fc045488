// SPDX-License-Identifier: BSD-3-Clause
#include "bench/same_bits.h"
#include "bench/synthetic_volumes.h"
#include "exactmatch/convolution.h"
#include "exactmatch/exact_assignment.h"
#include "exactmatch/exact_matching.h"
#include "exactmatch/filter_bank.h"
#include "histogram/HistogramArray.h"
#include "histogram/histogram.h"
#include "volume/IntensityRange.h"

#include <benchmark/benchmark.h>
#include <omp.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

/// The exact stage on a volume in memory: as the run does it, and on a stored stack of filter responses.

namespace {

using namespace tonalign;

constexpr int bins = 256;

/// The stack takes quadratic time on plateaus: beyond this size nobody waits for it, not even as a check.
constexpr int largest_stack = 64;

struct Kind
{
    const char* name;
    Array3D<double> (*make)(int side);
};

constexpr std::array<Kind, 4> kinds = {{
    {"noise", [](int side) { return bench::noise(side, 1); }},
    {"head", [](int side) { return bench::head(side, 1); }},
    {"label regions", [](int side) { return bench::label_regions(side, 100, 1); }},
    {"few levels", [](int side) { return bench::few_levels(side, 8, 1); }},
}};

HistogramArray target_histogram(int side)
{
    const Array3D<double> target = bench::head(side, 2);
    HistogramArray histogram(bins);
    calculate_histogram(target, intensity_range(target), 0.0, histogram, bins);
    return histogram;
}

void match_on_demand(Array3D<double>& volume, double** target)
{
    match_exactly(volume, intensity_range(volume), target, bins);
}

/// The public routines one after another: five responses of the volume's size, then the full sort.
void match_with_stack(Array3D<double>& volume, double** target)
{
    std::vector<Array3D<double>> stack(feature_levels);
    stack[0] = volume;
    for (int level = 1; level < feature_levels; ++level) {
        Array3D<double> filter;
        get3DfilterArray(1, filter_of_level(level), filter);
        Array3D<double>& response = stack[static_cast<std::size_t>(level)];
        response.setDim(volume.m_nz, volume.m_ny, volume.m_nx);
        convolution3Dn(&volume, &filter, &response);
    }
    perfect_histogram_matching(stack.data(), target, feature_levels, bins);
    volume = stack[0];
}

template <auto match>
void Matching(benchmark::State& state)
{
    const Kind& kind = kinds.at(static_cast<std::size_t>(state.range(0)));
    state.SetLabel(kind.name);
    const int side = static_cast<int>(state.range(1));
    omp_set_num_threads(static_cast<int>(state.range(2)));
    const Array3D<double> volume = kind.make(side);
    const HistogramArray histogram = target_histogram(side);
    Array3D<double> result;
    for (auto _ : state) {
        state.PauseTiming();
        result = Array3D<double>(volume);
        const HistogramArray target = histogram.copy();
        state.ResumeTiming();
        match(result, target);
        benchmark::ClobberMemory();
    }
    if (side <= largest_stack) {
        Array3D<double> expected(volume);
        match_with_stack(expected, histogram.copy());
        bench::require_same_bits(state, expected, result);
    }
    state.SetItemsProcessed(state.iterations() * volume.blockSize());
}

void every_kind(benchmark::internal::Benchmark* benchmark, const std::vector<std::int64_t>& sides)
{
    benchmark->ArgNames({"volume", "side", "threads"})
        ->ArgsProduct({{0, 1, 2, 3}, sides, {1, 2}})
        ->UseRealTime()
        ->Unit(benchmark::kMillisecond);
}

} // namespace

BENCHMARK(Matching<match_on_demand>)->Name("MatchExactly")->Apply([](benchmark::internal::Benchmark* b) {
    every_kind(b, {largest_stack, 160});
});
BENCHMARK(Matching<match_with_stack>)
    ->Name("MatchExactlyStoredStack")
    ->Apply([](benchmark::internal::Benchmark* b) { every_kind(b, {largest_stack}); });

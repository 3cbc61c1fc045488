// SPDX-License-Identifier: BSD-3-Clause
// The response of a whole volume to each filter of the bank, and the exact stage on a volume in memory.
#include "bench/kernels.h"
#include "exactmatch/convolution.h"
#include "exactmatch/exact_assignment.h"
#include "exactmatch/exact_matching.h"
#include "exactmatch/filter_bank.h"
#include "histogram/histogram.h"
#include "tests/support/plain_ranking.h"
#include "volume/IntensityRange.h"

#include <omp.h>

namespace {

using namespace tonalign;

/// Arguments: the distance shell and the number of threads.
struct Response
{
    explicit Response(benchmark::State& state) : shell(static_cast<int>(state.range(0)))
    {
        omp_set_num_threads(static_cast<int>(state.range(1)));
        get3DfilterArray(1, filter_of_level(shell), filter);
    }
    auto result() const { return test::bits_of(response); }

    static constexpr int side = 96;
    const int shell;
    Array3D<double> filter;
    Array3D<double> volume = bench::make_volume(bench::head, side);
    Array3D<double> response = Array3D<double>(side, side, side);
};

void convolve(Response& r)
{
    convolution3Dn(&r.volume, &r.filter, &r.response);
}

void convolve_plainly(Response& r)
{
    const test::Volume volume{r.side, r.side, r.side, test::voxels_of(r.volume)};
    r.response = test::array_of(test::convolved(volume, test::shell_filter(r.shell)));
}

/// The stack takes quadratic time on plateaus: beyond this size nobody waits for it, not even as a check.
constexpr int largest_stack = 64;
constexpr int bins = 256;

/// Arguments: the kind of volume, its side and the number of threads.
struct Matching
{
    explicit Matching(benchmark::State& state)
        : before(bench::make_volume(state.range(0), static_cast<int>(state.range(1))))
    {
        state.SetLabel(bench::kinds[state.range(0)]);
        omp_set_num_threads(static_cast<int>(state.range(2)));
        Array3D<double> other = bench::make_volume(bench::head, before.m_nx, 2);
        calculate_histogram(&other, histogram, bins);
    }
    void restore()
    {
        volume = before;
        target = histogram.copy();
    }
    auto result() const { return test::bits_of(volume); }

    const Array3D<double> before;
    Array3D<double> volume = Array3D<double>(before);
    HistogramArray histogram{bins}, target{bins};
};

void match(Matching& m)
{
    match_exactly(m.volume, intensity_range(m.volume), m.target, bins);
}

/// The public routines one after another: five responses of the volume's size, then the full sort.
void match_with_stack(Matching& m)
{
    std::vector<Array3D<double>> stack(feature_levels);
    stack[0] = m.volume;
    for (int level = 1; level < feature_levels; ++level) {
        Array3D<double> filter;
        get3DfilterArray(1, filter_of_level(level), filter);
        stack[level].setDim(m.volume.m_nz, m.volume.m_ny, m.volume.m_nx);
        convolution3Dn(&m.volume, &filter, &stack[level]);
    }
    perfect_histogram_matching(stack.data(), m.target, feature_levels, bins);
    m.volume = stack[0];
}

void match_by_twin(Matching& m)
{
    m.restore();
    omp_set_num_threads(1);
    m.volume.m_nx <= largest_stack ? match_with_stack(m) : match(m);
}

void finish(benchmark::internal::Benchmark* benchmark)
{
    benchmark->UseRealTime()->Unit(benchmark::kMillisecond);
}

void shells(benchmark::internal::Benchmark* benchmark)
{
    benchmark->ArgNames({"shell", "threads"})->ArgsProduct({{1, 2, 3, 4, 5}, {1, 2}})->Apply(finish);
}

template <int... sides>
void volumes(benchmark::internal::Benchmark* benchmark)
{
    using namespace bench;
    benchmark->ArgNames({"volume", "side", "threads"})
        ->ArgsProduct({{noise, head, regions, few_levels}, {sides...}, {1, 2}})
        ->Apply(finish);
}

BENCHMARK(bench::Measure<Response, convolve, convolve_plainly>)->Name("Convolution")->Apply(shells);
BENCHMARK(bench::Measure<Response, convolve_plainly, convolve>)
    ->Name("ConvolutionPlain")
    ->Args({5, 1})
    ->Apply(finish);
BENCHMARK(bench::Measure<Matching, match, match_by_twin>)
    ->Name("MatchExactly")
    ->Apply(volumes<largest_stack, 160>);
BENCHMARK(bench::Measure<Matching, match_with_stack, match_by_twin>)
    ->Name("MatchExactlyStoredStack")
    ->Apply(volumes<largest_stack>);

} // namespace

// SPDX-License-Identifier: BSD-3-Clause
// Finding the bins of voxels, and counting them.
#include "bench/kernels.h"
#include "histogram/BinGeometry.h"
#include "histogram/histogram.h"
#include "volume/IntensityRange.h"

#include <tuple>

namespace {

using namespace tonalign;

constexpr int side = 128;

/// Arguments: the kind of volume (noise scatters over all counts, regions hit the same one again and again)
/// and the number of bins.
struct Binned
{
    explicit Binned(benchmark::State& state)
        : bins(static_cast<int>(state.range(1))),
          volume(bench::make_volume(state.range(0), side)),
          histogram(bins)
    {
        state.SetLabel(bench::kinds[state.range(0)]);
        for (int row = 1; row <= 2; ++row) {
            std::fill_n(histogram[row] + 1, bins + 1, 0.0);
        }
    }
    auto result() const
    {
        return std::tuple(bin, test::row_of(histogram, 1, bins), test::row_of(histogram, 2, bins + 1));
    }

    const int bins;
    const Array3D<double> volume;
    const test::Volume plain{side, side, side, test::voxels_of(volume)};
    const IntensityRange range = intensity_range(volume);
    std::vector<std::int32_t> bin = std::vector<std::int32_t>(plain.voxels.size());
    HistogramArray histogram;
};

void find(Binned& binned)
{
    BinGeometry(binned.range, binned.bins)
        .binsOf(binned.volume.block(), binned.volume.blockSize(), binned.bin.data());
}

void find_plainly(Binned& binned)
{
    const test::Extremes range = {binned.range.minimum, binned.range.maximum};
    std::ranges::transform(binned.plain.voxels, binned.bin.begin(),
                           [&](double v) { return test::bin_of(v, range, binned.bins); });
}

void count(Binned& binned)
{
    calculate_histogram(binned.volume, binned.range, 0.0, binned.histogram, binned.bins);
}

void count_plainly(Binned& binned)
{
    const test::Histogram histogram = test::histogram_of(binned.plain, binned.bins);
    std::copy(histogram.centre.begin() + 1, histogram.centre.end(), binned.histogram[1] + 1);
    std::copy(histogram.frequency.begin() + 1, histogram.frequency.end(), binned.histogram[2] + 1);
    binned.histogram[2][binned.bins + 1] = histogram.total;
}

void volumes_and_bins(benchmark::internal::Benchmark* benchmark)
{
    benchmark->ArgNames({"volume", "bins"})->ArgsProduct({{bench::noise, bench::regions}, {256, 65536}});
}

BENCHMARK(bench::Measure<Binned, find, find_plainly>)->Name("BinsOf")->Apply(volumes_and_bins);
BENCHMARK(bench::Measure<Binned, find_plainly, find>)->Name("BinsOfPlain")->Apply(volumes_and_bins);
BENCHMARK(bench::Measure<Binned, count, count_plainly>)->Name("Histogram")->Apply(volumes_and_bins);
BENCHMARK(bench::Measure<Binned, count_plainly, count>)->Name("HistogramPlain")->Apply(volumes_and_bins);

} // namespace

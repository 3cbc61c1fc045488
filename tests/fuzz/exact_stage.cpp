/// The exact stage against its plain transcription, bit by bit. An input is seven bytes that say how to read
/// the rest, the target's frequencies, and the voxels, which are repeated until the volume is full.

#include "driver/requirements.h"
#include "exactmatch/exact_matching.h"
#include "histogram/HistogramArray.h"
#include "histogram/histogram.h"
#include "tests/fuzz/fuzz_target.h"
#include "tests/support/plain_ranking.h"
#include "tests/support/volumes.h"

#include <omp.h>

#include <array>
#include <cmath>

using namespace tonalign::test;
using tonalign::HistogramArray;

namespace {

/// How numbers are made from bytes. Small and coarse ones bring ties, raw ones everything else.
enum Numbers
{
    whole_bytes,
    fractions,
    whole_shorts,
    raw_floats,
    raw_doubles,
    kinds_of_numbers
};

double take_number(InputBytes& input, int kind)
{
    switch (kind) {
    case whole_bytes:
        return input.take<std::uint8_t>();
    case fractions:
        return -1.3 + 0.7 * input.take<std::int8_t>();
    case whole_shorts:
        return input.take<std::int16_t>();
    case raw_floats:
        return input.take<float>();
    default:
        return input.take<double>();
    }
}

int take_extent(InputBytes& input, int most)
{
    return input.take<std::uint8_t>() % most + 1;
}

Histogram take_target(InputBytes& input, int bins)
{
    Histogram target(bins);
    const int kind = input.take<std::uint8_t>() % kinds_of_numbers;
    for (int i = 2; i <= bins; ++i) {
        target.frequency[i] = std::fabs(take_number(input, kind));
    }
    target.total = sum_of_frequencies(target);
    return target;
}

Volume take_volume(InputBytes& input, int nx, int ny, int nz, int kind)
{
    Volume volume{nx, ny, nz, {}};
    const auto count = static_cast<std::size_t>(nx) * static_cast<std::size_t>(ny * nz);
    while (volume.voxels.size() < count && (input.left() > 0 || volume.voxels.empty())) {
        volume.voxels.push_back(take_number(input, kind));
    }
    for (std::size_t j = 0; volume.voxels.size() < count; ++j) {
        volume.voxels.push_back(double{volume.voxels[j]});
    }
    return volume;
}

/// What a run refuses before its exact stage.
bool usable(const Array3D<double>& voxels, const tonalign::IntensityRange& range, const Histogram& target)
{
    tonalign::RunParameters parameters{};
    parameters.form = tonalign::RunForm::image_to_histogram;
    return std::isfinite(target.total) && std::isfinite(1.0 / target.total) &&
           !tonalign::fault_of_voxels(voxels, range, "") &&
           completes([&] { tonalign::require_mappable_range(range, parameters); });
}

void require_equal_histograms(const HistogramArray& found, const Histogram& expected)
{
    for (int i = 1; i <= expected.bins; ++i) {
        require(std::bit_cast<std::uint64_t>(found[1][i]) == std::bit_cast<std::uint64_t>(expected.centre[i]),
                "the bin centres are those of the transcription");
        require(std::bit_cast<std::uint64_t>(found[2][i]) ==
                    std::bit_cast<std::uint64_t>(expected.frequency[i]),
                "the frequencies are those of the transcription");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    InputBytes input(data, size);
    constexpr std::array thread_counts = {1, 2, 7};
    omp_set_num_threads(thread_counts[input.take<std::uint8_t>() % thread_counts.size()]);
    const int nx = take_extent(input, 24);
    const int ny = take_extent(input, 8);
    const int nz = take_extent(input, 240 / (nx * ny) + 1);
    const int bins = take_extent(input, 63) + 1;
    const int kind = input.take<std::uint8_t>() % kinds_of_numbers;
    Histogram target = take_target(input, bins);
    Volume expected = take_volume(input, nx, ny, nz, kind);

    Array3D<double> matched = volume_of(nx, ny, nz, expected.voxels);
    const tonalign::IntensityRange range = tonalign::intensity_range(matched);
    if (!usable(matched, range, target)) {
        return 0;
    }
    normalise(target, target.total);
    const Histogram expected_hist1 = histogram_of(expected, bins);
    const HistogramArray hist1(bins);
    tonalign::calculate_histogram(matched, range, 0.0, hist1, bins);
    require_equal_histograms(hist1, expected_hist1);
    if (expected_hist1.total == 0.0) {
        return 0;
    }

    target.centre = expected_hist1.centre;
    const HistogramArray hist2(bins);
    for (int i = 1; i <= bins; ++i) {
        hist2[1][i] = target.centre[i];
        hist2[2][i] = target.frequency[i];
    }
    match_exactly(expected, target);
    tonalign::match_exactly(matched, range, hist2, bins);
    require(bits_of(matched) == bits_of(volume_of(nx, ny, nz, expected.voxels)),
            "the matched volume is that of the transcription");
    return 0;
}

// SPDX-License-Identifier: BSD-3-Clause
// The exact stage against its plain transcription, bit by bit. An input is six bytes that say how to read the
// rest, the kind and numbers of the target's frequencies, and the voxels, repeated until the volume is full.
#include "exactmatch/exact_matching.h"
#include "histogram/HistogramArray.h"
#include "tests/fuzz/fuzz_target.h"
#include "tests/support/plain_ranking.h"
#include "tests/support/volumes.h"

#include <omp.h>

#include <cmath>

namespace tonalign::test {

namespace {

/// Small and coarse numbers bring ties, raw ones everything else.
double take_number(std::string& input, int kind)
{
    return kind == 0   ? take<std::uint8_t>(input)
           : kind == 1 ? -1.3 + 0.7 * take<std::int8_t>(input)
           : kind == 2 ? take<std::int16_t>(input)
           : kind == 3 ? take<float>(input)
                       : take<double>(input);
}

} // namespace

void try_input(std::string input)
{
    const auto below = [&input](int n) { return take<std::uint8_t>(input) % n; };
    omp_set_num_threads(below(3) * 3 + 1);
    const int nx = below(24) + 1;
    const int ny = below(8) + 1;
    const int nz = below(240 / (nx * ny) + 1) + 1;
    const int bins = below(63) + 2;
    const int kind = below(5);
    Histogram target(bins);
    const int target_kind = below(5);
    for (int i = 2; i <= bins; ++i) {
        target.frequency[i] = std::fabs(take_number(input, target_kind));
    }
    Volume expected{nx, ny, nz, {}};
    const std::string start = input;
    while (static_cast<int>(expected.voxels.size()) < nx * ny * nz) {
        input = input.empty() ? start : input;
        expected.voxels.push_back(take_number(input, kind));
    }

    // What a run refuses before its exact stage.
    Array3D<double> matched = array_of(expected);
    const IntensityRange range = intensity_range(matched);
    const double total = sum_of_frequencies(target);
    const double width = range.maximum - range.minimum;
    if (!std::isfinite(total) || !std::isfinite(1.0 / total) || !range.finite ||
        !std::isfinite(255.0 / width) || !std::isfinite(width)) {
        return;
    }
    normalise(target, total);
    const Histogram counted = histogram_of(expected, bins);
    target.centre = counted.centre;
    if (counted.total > 0.0) {
        tonalign::match_exactly(matched, range, array_of(target), bins);
        match_exactly(expected, target);
        require(bits_of(matched) == bits_of(array_of(expected)), "the volume is that of the transcription");
    }
}

} // namespace tonalign::test

// SPDX-License-Identifier: BSD-3-Clause
// A program of somebody else's: uses the installed library, gives it a bad file, and goes on living.
#include "exactmatch/exact_assignment.h"
#include "exactmatch/exact_matching.h"
#include "failure/end_process.h"
#include "histogram/HistogramArray.h"
#include "volume/AnalyzeImage.h"

#include <algorithm>
#include <array>
#include <stdexcept>

int go_on(const tonalign::ProcessEnd&)
{
    throw std::runtime_error("the library asked for the end");
}

int main()
{
    const std::array<std::uint8_t, 8> bytes = {7, 3, 0, 5, 1, 6, 2, 4};
    Array3D<double> volume(2, 2, 2);
    std::ranges::copy(bytes, volume.block());
    // 0 and 1 are the background; each target value goes to two of the other six.
    tonalign::HistogramArray target(4);
    for (int bin = 1; bin <= 4; ++bin) {
        target[1][bin] = 10 * bin;
        target[2][bin] = bin == 1 ? 0 : 1.0 / 3;
    }
    const tonalign::HistogramArray counts = target.copy();
    perfect_histogram_matching(&volume, counts, 1, 4);
    const tonalign::Intensities intensities({bytes.data(), tonalign::ElementKind::uint8, 2, 2, 2});
    const tonalign::ExactMatch match = match_exactly(intensities, {0.0, 7.0, true}, target, 4);
    bool same = true; // in memory of our own, which is only read
    match.codes.forEach(8, 0, [&](std::int64_t j, std::uint32_t code) {
        same = same &&
               volume.block()[j] == (code == 0 ? bytes[static_cast<std::size_t>(j)] : match.values[code]);
    });
    const std::array matched = {40.0, 20.0, 0.0, 30.0, 1.0, 40.0, 20.0, 30.0};
    tonalign::set_end_handler(go_on);
    try {
        const AnalyzeImage<double> image("/dev/null");
    } catch (const std::runtime_error&) {
        return same && std::equal(matched.begin(), matched.end(), volume.block()) ? 0 : 1;
    }
    return 1;
}

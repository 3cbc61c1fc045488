// SPDX-License-Identifier: BSD-3-Clause
// A program of somebody else's: uses the installed library, gives it a bad file, and goes on living.
#include "exactmatch/exact_assignment.h"
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
    Array3D<double> volume(2, 2, 2);
    std::ranges::copy(std::array{7.0, 3.0, 0.0, 5.0, 1.0, 6.0, 2.0, 4.0}, volume.block());
    // 0 and 1 are the background; each target value goes to two of the other six.
    tonalign::HistogramArray target(4);
    for (int bin = 1; bin <= 4; ++bin) {
        target[1][bin] = 10 * bin;
        target[2][bin] = bin == 1 ? 0 : 1.0 / 3;
    }
    perfect_histogram_matching(&volume, target, 1, 4);
    const std::array matched = {40.0, 20.0, 0.0, 30.0, 1.0, 40.0, 20.0, 30.0};
    tonalign::set_end_handler(go_on);
    try {
        const AnalyzeImage<double> image("/dev/null");
    } catch (const std::runtime_error&) {
        return std::equal(matched.begin(), matched.end(), volume.block()) ? 0 : 1;
    }
    return 1;
}

// SPDX-License-Identifier: BSD-3-Clause
// A program of somebody else's: uses the installed library, gives it bad files, and goes on living.
#include "exactmatch/exact_assignment.h"
#include "failure/end_process.h"
#include "histogram/HistogramArray.h"
#include "histogram/histogram_files.h"
#include "numeric/classNRUTILS.h"
#include "volume/AnalyzeImage.h"
#include "volume/pair_file.h"

#include <algorithm>
#include <array>
#include <span>
#include <stdexcept>

namespace {

int go_on(const tonalign::ProcessEnd&)
{
    throw std::runtime_error("the library asked for the end");
}

bool survives_bad_files()
{
    tonalign::set_end_handler(go_on);
    tonalign::PairFile pair("/nowhere/scan");
    tonalign::HistogramArray histogram(2);
    int ends = 0;
    for (const char* const name : {"/nowhere/scan", "/dev/null"}) {
        try {
            const AnalyzeImage<double> image(name);
        } catch (const std::runtime_error&) {
            ++ends;
        }
    }
    return ends == 2 && read_header(pair) && load_array(histogram, 2, "/nowhere/h");
}

} // namespace

int main()
{
    constexpr int bins = 4;
    Array3D<double> volume(2, 2, 2);
    std::ranges::copy(std::array{7.0, 3.0, 0.0, 5.0, 1.0, 6.0, 2.0, 4.0}, volume.block());
    // 0 and 1 are the background; each target value goes to two of the other six.
    tonalign::HistogramArray target(bins);
    for (int bin = 1; bin <= bins; ++bin) {
        target[1][bin] = 10 * bin;
        target[2][bin] = bin == 1 ? 0 : 1.0 / 3;
    }
    perfect_histogram_matching(&volume, target, 1, bins);
    const std::array matched = {40.0, 20.0, 0.0, 30.0, 1.0, 40.0, 20.0, 30.0};
    const bool right = std::ranges::equal(matched, std::span(volume.block(), matched.size()));
    return right && classNRUTILS::pythag(3.0, 4.0) == 5 && survives_bad_files() ? 0 : 1;
}

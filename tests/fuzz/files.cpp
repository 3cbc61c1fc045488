// SPDX-License-Identifier: BSD-3-Clause
// Files as inputs: an image pair, an 8-bit pair or a target histogram. What is read comes back when saved.
#include "histogram/HistogramArray.h"
#include "histogram/histogram_files.h"
#include "tests/fuzz/fuzz_target.h"
#include "tests/support/volumes.h"
#include "volume/AnalyzeImage.h"
#include "volume/Image.h"

#include <cmath>
#include <numeric>

void tonalign::test::try_input(std::string input)
{
    const std::string loaded = scratch_file("loaded");
    const std::string saved = scratch_file("saved");
    const int kind = take<std::uint8_t>(input) % 3;
    const int bins = kind == 2 ? static_cast<int>(take<std::uint32_t>(input) >> 2U) + 1 : 0;
    const std::size_t header = std::min(input.size(), kind == 2 ? input.size() : 348);
    write_file(loaded + ".hdr", input.substr(0, header));
    write_file(loaded + ".img", input.substr(header));
    if (kind == 0) {
        AnalyzeImage<double> image;
        if (completes([&] { image = AnalyzeImage<double>(loaded.c_str()); })) {
            image.save(saved.c_str());
            image.H.setDataType("double");
            image.save(saved.c_str());
            const AnalyzeImage<double> again(saved.c_str());
            require(again.H.hasSameBytes(image.H) && bits_of(again.D) == bits_of(image.D),
                    "a saved pair comes back");
        }
    } else if (kind == 1) {
        Image image;
        if (completes([&] { image.Load(loaded.c_str()); }) && image.data != nullptr) {
            require(image.Save(saved.c_str()) == 1, "an image with voxels is saved");
            const std::int64_t count = std::int64_t{image.nx} * image.ny * image.nz;
            require(std::equal(image.data, image.data + count, Image(saved.c_str()).data),
                    "saved voxels come back");
        }
    } else if (!fault_of_histogram_length(loaded + ".hdr", bins)) { // what passes is as small as the input
        const HistogramArray hist(bins);
        if (!load_target_histogram(hist, bins, loaded + ".hdr")) {
            const double sum = std::accumulate(hist[2] + 1, hist[2] + bins + 1, 0.0);
            require(*std::min_element(hist[2] + 1, hist[2] + bins + 1) >= 0.0, "no frequency is negative");
            require(hist[2][1] == 0.0 && std::fabs(sum - 1.0) < 1e-6, "a target has its mass outside bin 1");
        }
    }
}

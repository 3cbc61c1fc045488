// SPDX-License-Identifier: BSD-3-Clause
// Files as inputs: an image pair, an 8-bit pair or a target histogram. What is read comes back when saved.
#include "histogram/HistogramArray.h"
#include "histogram/histogram_files.h"
#include "tests/fuzz/fuzz_target.h"
#include "tests/support/scratch_files.h"
#include "tests/support/volumes.h"
#include "volume/AnalyzeImage.h"
#include "volume/Image.h"

#include <cmath>
#include <numeric>

namespace tonalign::test {

namespace {

void load_pair(const char* loaded, const char* saved)
{
    AnalyzeImage<double> image;
    if (!completes([&] { image = AnalyzeImage<double>(loaded); })) {
        return;
    }
    for (const char* const type : {"", "unsigned char", "short", "int", "float", "double"}) {
        image.H.setDataType(type);
        image.save(saved);
        const AnalyzeImage<double> again(saved);
        require(again.H.hasSameBytes(image.H), "a saved header comes back");
        require(*type == 'd' || *type == '\0' ? bits_of(again.D) == bits_of(image.D) : true,
                "saved voxels come back");
    }
}

void load_byte_pair(const char* loaded, const char* saved)
{
    Image image;
    if (completes([&] { image.Load(loaded); }) && image.data != nullptr) {
        require(image.Save(saved) == 1, "an image with voxels is saved");
        const std::int64_t count = std::int64_t{image.nx} * image.ny * image.nz;
        require(std::equal(image.data, image.data + count, Image(saved).data), "saved voxels come back");
    }
}

void load_histogram(const std::string& loaded, const char* saved, int bins)
{
    if (fault_of_histogram_length(loaded, bins)) {
        return; // what passes is as small as the input
    }
    const HistogramArray hist(bins);
    if (load_target_histogram(hist, bins, loaded)) {
        return;
    }
    const double sum = std::accumulate(hist[2] + 1, hist[2] + bins + 1, 0.0);
    require(*std::min_element(hist[2] + 1, hist[2] + bins + 1) >= 0.0, "no frequency is negative");
    require(hist[2][1] == 0.0 && std::fabs(sum - 1.0) < 1e-6, "a target has its mass outside bin 1");
    require(save_array(hist, bins, saved), "a histogram is saved");
    const HistogramArray again(bins);
    require(!load_array(again, bins, saved), "a saved histogram is loaded");
    require(std::equal(hist[2] + 1, hist[2] + bins + 1, again[2] + 1), "a saved histogram comes back");
}

} // namespace

void try_input(std::string input)
{
    const std::string loaded = scratch_file("loaded");
    const std::string saved = scratch_file("saved");
    const int kind = take<std::uint8_t>(input) % 3;
    const int bins = kind == 2 ? static_cast<int>(take<std::uint32_t>(input) >> 2U) + 1 : 0;
    const std::size_t header = std::min(input.size(), kind == 2 ? input.size() : header_size);
    write_file(loaded + ".hdr", input.substr(0, header));
    write_file(loaded + ".img", input.substr(header));
    if (kind == 2) {
        load_histogram(loaded + ".hdr", saved.c_str(), bins);
    } else {
        (kind == 0 ? load_pair : load_byte_pair)(loaded.c_str(), saved.c_str());
    }
}

} // namespace tonalign::test

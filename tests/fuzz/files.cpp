// SPDX-License-Identifier: BSD-3-Clause
// Files as inputs: an image pair, an 8-bit pair or a target histogram. What is read comes back when it is
// saved.
#include "histogram/HistogramArray.h"
#include "histogram/histogram_files.h"
#include "tests/fuzz/fuzz_target.h"
#include "tests/support/scratch_files.h"
#include "tests/support/volumes.h"
#include "volume/AnalyzeImage.h"
#include "volume/Image.h"

#include <cmath>
#include <memory>

using namespace tonalign::test;

namespace {

void load_pair()
{
    AnalyzeImage<double> image;
    tonalign::Fault fault;
    const bool loaded = completes([&] {
        image.setAnalyzeFileName(scratch_file("loaded").c_str());
        image.readAnalyzeImageHeader();
        fault = image.readVoxels();
    });
    if (!loaded || fault) {
        return;
    }
    AnalyzeHeader swapped = image.H;
    swapped.byte_swap_header();
    swapped.byte_swap_header();
    require(swapped.hasSameBytes(image.H), "two swaps leave a header as it was");
    for (const char* const type : {"", "unsigned char", "short", "int", "float", "double"}) {
        image.H.setDataType(type);
        image.save(scratch_file("saved").c_str());
        const AnalyzeImage<double> again(scratch_file("saved").c_str());
        require(again.H.hasSameBytes(image.H), "a saved header comes back");
        const bool keeps = *type == '\0' || *type == 'd';
        require(!keeps || bits_of(again.D) == bits_of(image.D), "saved voxels come back");
    }
}

void load_byte_pair()
{
    Image image;
    int loaded = 0;
    if (!completes([&] { loaded = image.Load(scratch_file("loaded").c_str()); }) || loaded == 0) {
        return;
    }
    const std::unique_ptr<Image> copy(image.Copy());
    require(image.Save(scratch_file("saved").c_str()) == 1, "an image with voxels is saved");
    const Image again(scratch_file("saved").c_str());
    const std::int64_t count = std::int64_t{image.nx} * image.ny * image.nz;
    require(std::equal(image.data, image.data + count, again.data), "saved voxels come back");
    constexpr int few = 100; // sizes of 0 on one axis may hide huge ones on the others
    if (std::max({image.nx, image.ny, image.nz}) < few) {
        image.Pad();
        require(image.GetValue(1, 1, 1) == copy->GetValue(0, 0, 0), "padding moves the voxels by one");
    }
}

void load_histogram(int bins)
{
    const std::string name = scratch_file("loaded.hdr");
    if (tonalign::fault_of_histogram_length(name, bins)) {
        return; // what passes is as small as the input
    }
    const tonalign::HistogramArray hist(bins);
    if (tonalign::load_target_histogram(hist, bins, name)) {
        return;
    }
    double sum = 0.0;
    for (int i = 1; i <= bins; ++i) {
        require(hist[2][i] >= 0.0, "no frequency of a target is negative");
        sum += hist[2][i];
    }
    require(hist[2][1] == 0.0 && std::fabs(sum - 1.0) < 1e-6, "a target has its mass outside bin 1");
    require(save_array(hist, bins, scratch_file("saved").c_str()), "a histogram is saved");
    const tonalign::HistogramArray again(bins);
    require(!load_array(again, bins, scratch_file("saved").c_str()), "a saved histogram is loaded");
    require(std::equal(hist[2] + 1, hist[2] + bins + 1, again[2] + 1), "a saved histogram comes back");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    InputBytes input(data, size);
    const int kind = input.take<std::uint8_t>() % 3;
    const int bins = kind == 2 ? static_cast<int>(input.take<std::uint32_t>() >> 2U) + 1 : 0;
    write_file(scratch_file("loaded.hdr"), input.take_bytes(kind == 2 ? size : tonalign::header_size));
    write_file(scratch_file("loaded.img"), input.rest());
    if (kind == 0) {
        load_pair();
    } else if (kind == 1) {
        load_byte_pair();
    } else {
        load_histogram(bins);
    }
    return 0;
}

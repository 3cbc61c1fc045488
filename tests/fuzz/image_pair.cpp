/// An image pair, its header in the first 348 bytes: loaded as doubles, saved in every element type, loaded
/// again.

#include "tests/fuzz/fuzz_target.h"
#include "tests/support/scratch_files.h"
#include "tests/support/volumes.h"
#include "volume/AnalyzeImage.h"
#include "volume/IntensityRange.h"

#include <cmath>
#include <string_view>

using namespace tonalign::test;

namespace {

void require_range(const Array3D<double>& volume)
{
    const tonalign::IntensityRange range = tonalign::intensity_range(volume);
    if (range.finite) {
        require(std::isfinite(range.minimum) && range.minimum <= range.maximum, "a finite range is in order");
        require(range.minimum == volume.getMinValue() && range.maximum == volume.getMaxValue(),
                "the range is that of the volume");
    }
}

/// `keeps` says that the element type can hold every voxel.
void require_comes_back(AnalyzeImage<double>& image, bool keeps)
{
    const std::string name = scratch_file("saved");
    image.save(name.c_str());
    const AnalyzeImage<double> again(name.c_str());
    require(again.H == image.H, "a saved header comes back");
    require(again.D.blockSize() == image.D.blockSize(), "a saved volume comes back in its size");
    require(!keeps || bits_of(again.D) == bits_of(image.D), "saved voxels come back");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    InputBytes input(data, size);
    write_file(scratch_file("loaded.hdr"), input.take_bytes(tonalign::header_size));
    write_file(scratch_file("loaded.img"), input.rest());

    AnalyzeImage<double> image;
    const bool loaded = completes([&] {
        image.setAnalyzeFileName(scratch_file("loaded").c_str());
        image.readAnalyzeImageHeader();
        image.readAnalyzeImageData();
    });
    if (!loaded) {
        return 0;
    }
    require_range(image.D);
    require_comes_back(image, true);
    for (const char* const type : {"unsigned char", "short", "int", "float", "double"}) {
        image.H.setDataType(type);
        require_comes_back(image, type == std::string_view("double"));
    }
    return 0;
}

/// An unsigned 8-bit image pair, its header in the first 348 bytes: loaded, saved, loaded again, padded.

#include "tests/fuzz/fuzz_target.h"
#include "tests/support/scratch_files.h"
#include "volume/Image.h"

#include <algorithm>
#include <memory>
#include <string_view>

using namespace tonalign::test;

namespace {

std::int64_t voxel_count(const Image& image, int border)
{
    return (std::int64_t{image.nx} + border) * (image.ny + border) * (image.nz + border);
}

std::string_view bytes_of(const Image& image)
{
    return {reinterpret_cast<const char*>(image.hdr), sizeof(dsr)};
}

void require_same(const Image& a, const Image& b)
{
    require(a.nx == b.nx && a.ny == b.ny && a.nz == b.nz, "a saved image comes back in its size");
    require(bytes_of(a) == bytes_of(b), "the header of a saved image comes back");
    require(std::equal(a.data, a.data + voxel_count(a, 0), b.data), "the voxels of a saved image come back");
}

void require_comes_back(Image& image)
{
    const std::string name = scratch_file("saved");
    require(image.Save(name.c_str()) == 1, "an image with voxels is saved");
    Image again;
    require(again.Load(name.c_str()) == 1, "a saved image is loaded");
    require_same(image, again);
}

/// Sizes of 0 on one axis may hide huge ones on the others.
bool can_be_padded(const Image& image)
{
    return voxel_count(image, 2) < 1'000'000 && std::max({image.nx, image.ny, image.nz}) < 32766;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    InputBytes input(data, size);
    write_file(scratch_file("loaded.hdr"), input.take_bytes(tonalign::header_size));
    write_file(scratch_file("loaded.img"), input.rest());

    Image image;
    int loaded = 0;
    if (!completes([&] { loaded = image.Load(scratch_file("loaded.img").c_str()); })) {
        return 0;
    }
    const std::unique_ptr<Image> copy(image.Copy());
    if (loaded == 0) {
        return 0;
    }
    require_same(image, *copy);
    require_comes_back(image);
    if (can_be_padded(image)) {
        image.Pad();
        image.UpdateAnalyzeHeader();
        require_comes_back(image);
        require(image.GetValue(1, 1, 1) == copy->GetValue(0, 0, 0), "padding moves the voxels by one");
    }
    return 0;
}

#include "tests/support/process_end.h"
#include "tests/support/scratch_files.h"
#include "tests/support/volumes.h"
#include "volume/AnalyzeImage.h"

#include <cmath>
#include <limits>

namespace {

using tonalign::test::from_hex;
using tonalign::test::voxels_of;

class ImagePair : public ::testing::Test
{
protected:
    const tonalign::test::TemporaryDirectory directory;
    const std::string base = directory.path() / "scan";
    const std::string img = base + ".img";
};
using ImagePairDeathTest = ImagePair;

TEST_F(ImagePair, SavesVoxelsInTheElementTypeOfItsHeader)
{
    constexpr double inf = std::numeric_limits<double>::infinity();
    const std::vector<double> numbers = {-1.7, 300.0, 0.9, 65537.0};
    const std::vector<double> beyond = {3e9, -3e9, inf, -inf, std::nan("")};
    const struct
    {
        const char* type;
        std::vector<double> voxels;
        const char* bytes;
    } images[] = {
        {"unsigned char", numbers, "ff2c0001"},
        {"unsigned char", beyond, "ff00ff0000"},
        {"short", numbers, "ffff2c0100000100"},
        {"short", beyond, "ffff0000ffff00000000"},
        {"int", numbers, "ffffffff2c0100000000000001000100"},
        {"int", beyond, "ffffff7f00000080ffffff7f0000008000000000"},
        {"float", {0.1, -2.0, 16777217.0}, "cdcccc3d000000c00000804b"},
        {"double", {0.1, -0.0}, "9a9999999999b93f0000000000000080"},
    };
    for (const auto& c : images) {
        AnalyzeImage<double> image;
        image = tonalign::test::volume_of(static_cast<int>(c.voxels.size()), 1, 1, c.voxels);
        image.H.setDataType(c.type);
        image.save(base.c_str());
        EXPECT_EQ(tonalign::test::read_file(img), from_hex(c.bytes)) << c.type;
    }
}

TEST_F(ImagePair, ComesBackBitForBitWhenItTakesSeveralReads)
{
    std::mt19937 random(1);
    AnalyzeImage<double> image;
    image = tonalign::test::random_volume(41, 40, 21, 1000, random); // more than 256 KiB of doubles
    image.H.setDataType("double");
    image.save(img.c_str());
    EXPECT_EQ(voxels_of(AnalyzeImage<double>(base.c_str()).D), voxels_of(image.D));
}

TEST_F(ImagePairDeathTest, NoNameOrNoElementTypeEndsTheProcess)
{
    const auto unnamed = [](const std::string& inside, const std::string& attempt) {
        return " Inside  AnalyzeImage::" + inside + "() \n Attempt to " + attempt + " \n";
    };
    const std::string saving = "[out] Inside AnalyzeImage::saveAnalyzeImageData() \n";
    AnalyzeImage<double> image;
    tonalign::test::expect_ends({
        {[&] { image.readAnalyzeImageHeader(); }, 0,
         unnamed("readAnalyzeImageHeader", "read header without setting header filename")},
        {[&] { image.saveAnalyzeImageHeader(); }, 0,
         unnamed("SaveAnalyzeHeader", "save header without setting header filename")},
        {[&] { image.readAnalyzeImageData(); }, 0,
         unnamed("readAnalyzeImageData", "read Image Data without setting ImageFileName")},
        {[&] { image.saveAnalyzeImageData(); }, 0,
         saving + unnamed("saveAnalyzeImageData", "save Image Data without setting ImageFileName")},
        {[&] { image.save(base.c_str()); }, 0,
         saving + "[out] Error in saving Image: data-type not recognized \n"},
    });
}

} // namespace

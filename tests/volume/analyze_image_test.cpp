#include "tests/support/process_end.h"
#include "tests/support/scratch_files.h"
#include "tests/support/volumes.h"
#include "volume/AnalyzeImage.h"

#include <cmath>
#include <limits>

namespace {

using tonalign::test::from_hex;
using tonalign::test::voxels_of;
using tonalign::test::write_file;

class ImagePair : public ::testing::Test
{
protected:
    void writeHeader(int nx, int ny, int nz, int bitpix, int datatype, bool foreign = false) const
    {
        AnalyzeHeader h;
        h.setBareBonesHeader(nz, ny, nx, "", 0, 0);
        h.dime.datatype = static_cast<std::int16_t>(datatype);
        h.dime.bitpix = static_cast<std::int16_t>(bitpix);
        if (foreign) {
            h.byte_swap_header();
        }
        h.saveAnalyzeHeader((base + ".hdr").c_str());
    }
    std::vector<double> loadVoxels() const { return voxels_of(AnalyzeImage<double>(base.c_str()).D); }

    const tonalign::test::TemporaryDirectory directory;
    const std::string base = directory.path() / "scan";
    const std::string img = base + ".img";
};
using ImagePairDeathTest = ImagePair;

TEST(AnalyzeImage, DerivesBothFileNamesFromAnyOfThem)
{
    const std::string long_name(400, 'n');
    const std::string names[][2] = {
        {"brain", "brain"},     {"brain.img", "brain"},     {"brain.hdr", "brain"},
        {"brain.imx", "brain"}, {".img", ".img"},           {"brain.img.gz", "brain.img.gz"},
        {long_name, long_name}, {"brain.IMG", "brain.IMG"},
    };
    for (const auto& [name, base] : names) {
        AnalyzeImage<double> image;
        image.setAnalyzeFileName(name.c_str());
        EXPECT_EQ(image.imagename, base + ".img");
        EXPECT_EQ(image.headername, base + ".hdr");
    }
}

TEST_F(ImagePair, OfEveryElementTypeAndByteOrderLoadsToTheSameVoxels)
{
    const struct
    {
        int bitpix;
        int datatype;
        const char* little;
        const char* big;
        std::vector<double> voxels;
    } images[] = {
        {8, 2, "0080ff", "0080ff", {0, 128, 255}},
        {8, 16, "80", "80", {128}}, // with 8 and 64 bits the datatype does not matter
        {16, 4, "ffff0080ff010201", "ffff800001ff0102", {-1, -32768, 511, 258}},
        {32, 8, "ffffffff04030201", "ffffffff01020304", {-1, 16909060}},
        {32, 16, "000020c1cdcccc3d", "c12000003dcccccd", {-10, double{0.1F}}},
        {64, 64, "9a9999999999b93f", "3fb999999999999a", {0.1}},
        {64, 0, "00000000000010c0", "c010000000000000", {-4}},
    };
    for (const auto& image : images) {
        for (const bool foreign : {false, true}) {
            writeHeader(1, static_cast<int>(image.voxels.size()), 1, image.bitpix, image.datatype, foreign);
            write_file(img, from_hex(foreign ? image.big : image.little) + "more");
            ::testing::internal::CaptureStderr();
            EXPECT_EQ(loadVoxels(), image.voxels) << image.bitpix << " bits, foreign " << foreign;
            EXPECT_EQ(::testing::internal::GetCapturedStderr(),
                      foreign ? "**------Byte Swapping Image during Load from file -----**\n" : "");
        }
    }
}

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
    ::testing::internal::CaptureStdout();
    image.save(img.c_str());
    EXPECT_EQ(::testing::internal::GetCapturedStdout(),
              " Inside AnalyzeImage::saveAnalyzeImageData() \n File " + img +
                  " opened successfully \n size_of_data_in_bytes = 275520\n");
    EXPECT_EQ(loadVoxels(), voxels_of(image.D));
}

TEST_F(ImagePairDeathTest, UnusableNamesHeadersAndFilesEndTheProcess)
{
    const auto load = [&](int nx, int ny, int nz, int bitpix, int datatype, const std::string& bytes) {
        return [=, this] {
            writeHeader(nx, ny, nz, bitpix, datatype);
            write_file(img, bytes);
            loadVoxels();
        };
    };
    const auto unnamed = [](const std::string& inside, const std::string& attempt) {
        return " Inside  AnalyzeImage::" + inside + "() \n Attempt to " + attempt + " \n";
    };
    const auto unopened = [](const std::string& inside, const std::string& name) {
        return "  Inside  AnalyzeImage::" + inside + "() \n  Error opening file " + name +
               " for reading in data \n";
    };
    const std::string unknown = "[out] Error: Datatype format not recognized \n";
    const std::string saving = "[out] Inside AnalyzeImage::saveAnalyzeImageData() \n";
    const std::string short_file = "tonalign: " + img + ": the image file holds ";
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
        {[&] { (image = Array3D<double>(1, 1, 1)).save("no/such"); }, 0,
         " File could not be opened or already exists\n" + saving +
             unopened("saveAnalyzeImageData", "no/such.img")},
        // A missing file comes before an element type that is not recognised, and that before the sizes.
        {[&] { writeHeader(1, 1, 1, 16, 2), loadVoxels(); }, 0, unopened("readAnalyzeImageData", img)},
        {load(0, 1, 1, 16, 2, "00"), 0, unknown},
        {load(1, 1, 1, 32, 4, "0000"), 0, unknown},
        {load(1, 1, 1, 1, 2, "0"), 0, unknown},
        {load(0, 1, 0, 8, 2, ""), 1, "Dimensions not good in X \n"},
        {load(1, -3, 1, 8, 2, "000"), 1, "Dimensions not good in Y \n"},
        {load(2, 3, 4, 16, 4, std::string(47, '0')), 1,
         short_file + "47 bytes, but its header needs 48 (24 voxels of 2)\n"},
        {load(32767, 32767, 32767, 64, 64, "000"), 1,
         short_file + "3 bytes, but its header needs 281449207693304 (35181150961663 voxels of 8)\n"},
    });
}

} // namespace

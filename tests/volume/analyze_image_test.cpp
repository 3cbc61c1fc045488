#include "tests/support/process_end.h"
#include "tests/support/scratch_files.h"
#include "tests/support/volumes.h"
#include "volume/AnalyzeImage.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace {

using ::testing::ElementsAre;
using tonalign::test::from_hex;
using tonalign::test::read_file;
using tonalign::test::voxels_of;
using tonalign::test::write_file;

constexpr double infinity = std::numeric_limits<double>::infinity();

class ImagePair : public ::testing::Test
{
protected:
    /// Writes the header of an nx x ny x nz image, in the machine's or the other byte order.
    void writeHeader(int nx, int ny, int nz, int datatype, int bitpix, bool foreign = false) const
    {
        AnalyzeHeader h;
        h.setBareBonesHeader(nz, ny, nx, "float", 0, 0);
        h.dime.datatype = static_cast<std::int16_t>(datatype);
        h.dime.bitpix = static_cast<std::int16_t>(bitpix);
        if (foreign) {
            h.byte_swap_header();
        }
        h.saveAnalyzeHeader((base + ".hdr").c_str());
    }
    std::vector<double> loadVoxels() const { return voxels_of(AnalyzeImage<double>(base.c_str()).D); }

    /// The bytes of the image file after saving one row of voxels.
    std::string saveVoxels(const char* type, const std::vector<double>& voxels) const
    {
        const int nx = static_cast<int>(voxels.size());
        AnalyzeImage<double> image;
        image = tonalign::test::volume_of(nx, 1, 1, voxels);
        image.H.setDataType(type);
        image.save(base.c_str());
        return read_file(base + ".img");
    }

    const tonalign::test::TemporaryDirectory directory;
    const std::string base = directory.path() / "scan";
};
using ImagePairDeathTest = ImagePair;

TEST(AnalyzeImage, DerivesBothFileNamesFromAnyOfThem)
{
    const std::string long_name(400, 'n');
    const std::string names[][2] = {
        {"brain", "brain"},         {"brain.img", "brain"},   {"brain.hdr", "brain"}, {"brain.imx", "brain"},
        {"brain.IMG", "brain.IMG"}, {".img", ".img"},         {"a.img", "a"},         {"", ""},
        {"a.im", "a.im"},           {"a.img.gz", "a.img.gz"}, {long_name, long_name}, {"a.hdr.img", "a.hdr"},
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
        int datatype;
        int bitpix;
        const char* little;
        const char* big;
        std::vector<double> voxels;
    } images[] = {
        {2, 8, "00017fff", "00017fff", {0, 1, 127, 255}},
        {16, 8, "00017fff", "00017fff", {0, 1, 127, 255}}, // 8 bits say it all
        {4, 16, "0100ffff00800201", "0001ffff80000102", {1, -1, -32768, 258}},
        {8,
         32,
         "01000000ffffffff0000008004030201",
         "00000001ffffffff8000000001020304",
         {1, -1, -2147483648.0, 16909060}},
        {16,
         32,
         "0000803f000020c10000807fcdcccc3d",
         "3f800000c12000007f8000003dcccccd",
         {1, -10, infinity, double{0.1F}}},
        {64,
         64,
         "000000000000f03f9a9999999999b93f00000000000010c00000000000000080",
         "3ff00000000000003fb999999999999ac0100000000000008000000000000000",
         {1, 0.1, -4, -0.0}},
        {0,
         64,
         "000000000000f03f9a9999999999b93f00000000000010c00000000000000080",
         "3ff00000000000003fb999999999999ac0100000000000008000000000000000",
         {1, 0.1, -4, -0.0}},
    };
    for (const auto& image : images) {
        for (const bool foreign : {false, true}) {
            writeHeader(2, 2, 1, image.datatype, image.bitpix, foreign);
            write_file(base + ".img", from_hex(foreign ? image.big : image.little) + "more");
            ::testing::internal::CaptureStderr();
            ::testing::internal::CaptureStdout();
            EXPECT_EQ(loadVoxels(), image.voxels) << image.bitpix << " bits, foreign " << foreign;
            ::testing::internal::GetCapturedStdout();
            EXPECT_EQ(::testing::internal::GetCapturedStderr(),
                      foreign ? "**------Byte Swapping Image during Load from file -----**\n" : "");
        }
    }
}

TEST_F(ImagePair, StoresVoxelsWithXFastestFromIndexZero)
{
    std::string bytes;
    for (char j = 0; j < 24; ++j) {
        bytes += j;
    }
    writeHeader(2, 3, 4, 2, 8);
    write_file(base + ".img", bytes);
    const AnalyzeImage<double> image((base + ".hdr").c_str());
    EXPECT_THAT((std::array{image.getNx(), image.getNy(), image.getNz()}), ElementsAre(2, 3, 4));
    for (int z = 0; z < 4; ++z) {
        for (int y = 0; y < 3; ++y) {
            for (int x = 0; x < 2; ++x) {
                EXPECT_EQ(image.D.address()[z][y][x], x + 2 * y + 6 * z);
            }
        }
    }
}

TEST_F(ImagePair, ConvertsVoxelsToTheElementTypeOfItsHeader)
{
    const std::vector<double> integers = {-1.7, 300.0, 0.9, 65537.0, -0.9};
    const std::vector<double> beyond = {3e9, -3e9, infinity, -infinity, std::nan("")};
    const struct
    {
        const char* type;
        std::vector<double> voxels;
        const char* bytes;
    } images[] = {
        {"unsigned char", integers, "ff2c000100"},
        {"unsigned char", beyond, "ff00ff0000"},
        {"short", integers, "ffff2c01000001000000"},
        {"short", beyond, "ffff0000ffff00000000"},
        {"int", integers, "ffffffff2c010000000000000100010000000000"},
        {"int", beyond, "ffffff7f00000080ffffff7f0000008000000000"},
        {"float", {0.1, -2.0, 16777217.0, 1e300}, "cdcccc3d000000c00000804b0000807f"},
        {"double", {0.1, -0.0}, "9a9999999999b93f0000000000000080"},
    };
    for (const auto& image : images) {
        EXPECT_EQ(saveVoxels(image.type, image.voxels), from_hex(image.bytes)) << image.type;
    }
}

TEST_F(ImagePair, ComesBackBitForBitWhenItTakesSeveralReads)
{
    std::mt19937 random(1);
    AnalyzeImage<double> image;
    image = tonalign::test::random_volume(41, 40, 21, 1000, random); // more than 256 KiB of doubles
    image.H.setDataType("double");
    ::testing::internal::CaptureStdout();
    image.save((base + ".img").c_str());
    EXPECT_EQ(::testing::internal::GetCapturedStdout(),
              " Inside AnalyzeImage::saveAnalyzeImageData() \n File " + base +
                  ".img opened successfully \n size_of_data_in_bytes = 275520\n");
    EXPECT_EQ(loadVoxels(), voxels_of(image.D));
}

TEST_F(ImagePairDeathTest, UnusableNamesHeadersAndFilesEndTheProcess)
{
    const std::string img = base + ".img";
    const auto load = [&](int nx, int ny, int nz, int datatype, int bitpix, int bytes) {
        return [=, this] {
            writeHeader(nx, ny, nz, datatype, bitpix);
            write_file(img, std::string(static_cast<std::size_t>(bytes), '\0'));
            loadVoxels();
        };
    };
    const std::string unknown = "[out] Error: Datatype format not recognized \n";
    const std::string saving = "[out] Inside AnalyzeImage::saveAnalyzeImageData() \n";
    const tonalign::test::ProcessEnd ends[] = {
        {[] { AnalyzeImage<double>().readAnalyzeImageHeader(); }, 0,
         " Inside  AnalyzeImage::readAnalyzeImageHeader() \n"
         " Attempt to read header without setting header filename \n"},
        {[] { AnalyzeImage<double>().saveAnalyzeImageHeader(); }, 0,
         " Inside  AnalyzeImage::SaveAnalyzeHeader() \n"
         " Attempt to save header without setting header filename \n"},
        {[] { AnalyzeImage<double>().readAnalyzeImageData(); }, 0,
         " Inside  AnalyzeImage::readAnalyzeImageData() \n"
         " Attempt to read Image Data without setting ImageFileName \n"},
        {[] { AnalyzeImage<double>().saveAnalyzeImageData(); }, 0,
         saving + " Inside  AnalyzeImage::saveAnalyzeImageData() \n"
                  " Attempt to save Image Data without setting ImageFileName \n"},
        {[&] { // a missing file comes before an unknown element type
             writeHeader(1, 1, 1, 2, 16);
             loadVoxels();
         },
         0,
         "  Inside  AnalyzeImage::readAnalyzeImageData() \n  Error opening file " + img +
             " for reading in data \n"},
        {load(1, 1, 1, 2, 16, 9), 0, unknown},
        {load(1, 1, 1, 4, 32, 9), 0, unknown},
        {load(1, 1, 1, 2, 1, 9), 0, unknown},
        {load(0, 1, 0, 2, 8, 9), 1, "Dimensions not good in X \n"},
        {load(1, -3, 1, 2, 8, 9), 1, "Dimensions not good in Y \n"},
        {load(1, 1, 0, 2, 8, 9), 1, "Dimensions not good in Z \n"},
        {load(2, 3, 4, 4, 16, 47), 1,
         "tonalign: " + img + ": the image file holds 47 bytes, but its header needs 48 (24 voxels of 2)\n"},
        {load(32767, 32767, 32767, 64, 64, 3), 1,
         "tonalign: " + img +
             ": the image file holds 3 bytes, but its header needs 281449207693304 "
             "(35181150961663 voxels of 8)\n"},
        {[&] {
             AnalyzeImage<double> image;
             image.setAnalyzeFileName("scan");
             image.saveAnalyzeImageData();
         },
         0, saving + "[out] Error in saving Image: data-type not recognized \n"},
        {[&] {
             AnalyzeImage<double> image;
             image = Array3D<double>(1, 1, 1);
             image.save("no/such");
         },
         0,
         " File could not be opened or already exists\n" + saving +
             "  Inside  AnalyzeImage::saveAnalyzeImageData() \n"
             "  Error opening file no/such.img for reading in data \n"},
    };
    for (const auto& end : ends) {
        tonalign::test::expect_end(end);
    }
}

} // namespace

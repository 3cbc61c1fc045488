// SPDX-License-Identifier: BSD-3-Clause
// Image pairs made byte by byte, as all three readers take them and both writers give them back.
#include "tests/volume/volume_test.h"
#include "volume/AnalyzeImage.h"
#include "volume/Image.h"
#include "volume/pair_file.h"

#include <sys/stat.h>

#include <cmath>
#include <memory>

namespace {

using namespace tonalign::test;

template <typename T>
void store(HeaderRecord& record, std::size_t offset, T value)
{
    std::memcpy(record.data() + offset, &value, sizeof value);
}

struct Pair : Folder
{
    /// Random where a reader needs nothing.
    HeaderRecord drawHeader(int nx, int ny, int nz, ElementType type)
    {
        HeaderRecord record;
        std::generate(record.begin(), record.end(), [&] { return static_cast<unsigned char>(m_random()); });
        describe_volume(record, nx, ny, nz, type);
        return record;
    }
};

TEST_F(Pair, OfEveryTypeAndByteOrderIsReadAndSavedInSeveralBlocks)
{
    for (int round = 0; round < 10; ++round) {
        const auto type = static_cast<ElementType>(round / 2);
        const bool swaps = round % 2 == 1;
        const ByteOrder order = swaps ? ByteOrder::foreign : ByteOrder::native;
        const bool bytes_alone = type == ElementType::unsigned8;
        constexpr double steps[] = {1, 200, 70000, 0.5, 0.1};
        std::vector<double> voxels(90 * 60 * 50); // more than 256 KiB in every type
        for (double& voxel : voxels) {
            voxel = (static_cast<int>(m_random() % 256) - (bytes_alone ? 0 : 128)) * steps[round / 2];
        }
        const std::string native = voxel_bytes(voxels, type, ByteOrder::native);
        HeaderRecord header = drawHeader(90, 60, 50, type);
        store(header, 80, std::array{-2.0F, 0.25F, 0.0F});
        write_file("a.hdr", header_bytes(header, order) + "more");
        write_file("a.img", voxel_bytes(voxels, type, order) + "more");

        AnalyzeImage<double> image;
        EXPECT_EQ(told([&] { image = AnalyzeImage<double>("a.img"); }),
                  swaps ? "[out]**------------Byte Swapping Header during Loading from file------**\n\n"
                          "**------Byte Swapping Image during Load from file -----**\n"
                        : "");
        EXPECT_EQ(voxels_of(image.D), voxels);
        tonalign::PairFile pair("a");
        Array3D<double> volume;
        EXPECT_EQ(read_header(pair).message, "");
        EXPECT_EQ(read_image(pair, volume).message, "");
        EXPECT_EQ(voxels_of(volume), voxels);
        EXPECT_TRUE(pair.header.hasSameBytes(image.H) && pair.header.IsImgNeedByteSwap() == swaps);
        EXPECT_EQ(told([&] { image.save("b.hdr"); }),
                  "[out] Inside AnalyzeImage::saveAnalyzeImageData() \n File b.img opened successfully \n"
                  " size_of_data_in_bytes = " +
                      std::to_string(native.size()) + "\n");
        EXPECT_EQ(read_file("b.hdr"), header_bytes(header, ByteOrder::native));
        EXPECT_EQ(read_file("b.img"), native);

        Image bytes;
        EXPECT_EQ(told([&] { EXPECT_EQ(bytes.Load("a.hdx"), bytes_alone ? 1 : 0); }),
                  std::string(swaps ? "[out] Header for a.hdr was byte_swapped during loading \n" : "") +
                      (bytes_alone ? "" : "Image::ReadAnalyzeHeader(a.hdr) : ERROR : image not u_char\n"));
        if (bytes_alone) {
            EXPECT_EQ(std::string(bytes.data, bytes.data + native.size()), native);
            EXPECT_EQ(std::pair(bytes.curmin, bytes.curmax), std::pair(u_char{0}, u_char{255}));
            EXPECT_EQ(told([&] { EXPECT_EQ(bytes.Save("b.img"), 1); }), "[out]File exists!");
            store(header, 80, std::array{1.0F, 0.25F, 1.0F});
            EXPECT_EQ(read_file("b.hdr"), header_bytes(header, ByteOrder::foreign));
            EXPECT_EQ(read_file("b.img"), native);
        }
        pair.header.dime.datatype = 77; // the width alone tells bytes and doubles
        EXPECT_EQ(!check_image(pair), bytes_alone || type == ElementType::float64);
    }
}

TEST_F(Pair, ThatIsBadIsAFaultAndLeavesAnImageThatIsSafeToUse)
{
    const std::string pipe = "bad.hdr: a pipe, but a header file is expected";
    const std::string folder = "bad.img: not a regular file, but an image file is expected";
    const std::string cut = "bad.img: the image file holds 7 bytes, but its header needs 8 (8 voxels of 1)";
    const std::string no_bytes = "Image::ReadAnalyzeHeader(bad.hdr) : ERROR : image not u_char\n";
    const struct
    {
        std::size_t length, offset; ///< of the header file, and where it holds another value than a good one
        std::int16_t value;
        std::string voxels; ///< empty for no file, "/" for a folder
        std::string fault, of_bytes;
    } cases[] = {
        {0, 0, 348, "12345678", "bad.hdr: No such file or directory", "[out]Error: cannot open header file"},
        {1, 0, 348, "12345678", pipe, "[out]Error" + pipe + "\n"},
        {347, 0, 348, "12345678", "bad.hdr: ends after 347 bytes, but a header has 348", "[out]Error"},
        {348, 0, 1, "12345678",
         "bad.hdr: not an Analyze header: it does not begin with its size, 348, in either byte order",
         "[out] Header for bad.hdr was byte_swapped during loading \n"
         " Header unreadable even after byte_swapping \n[ends 0]"},
        {348, 44, 0, "12345678",
         "bad.hdr: the volume's size is 2 x 0 x 2, but at least one voxel along each axis is expected", ""},
        {348, 46, -2, "12345678",
         "bad.hdr: the volume's size is 2 x 2 x -2, but at least one voxel along each axis is expected",
         "bad.hdr: the volume is 2 x 2 x -2 voxels, but no size may be negative\n"},
        {348, 72, 16, "12345678", "bad.hdr: the element type, code 2 with 16 bits, is not one that is read",
         no_bytes},
        {348, 70, 4, "12345678", "", no_bytes},
        {348, 0, 348, "", "bad.img: the image file cannot be opened for reading: No such file or directory",
         "[out]Error: cannot open image file"},
        {348, 0, 348, "/", folder, "[out]Error" + folder + "\n"},
        {348, 0, 348, "1234567", cut, "[out]Error" + cut + "\n"},
    };
    for (const auto& c : cases) {
        std::filesystem::remove("bad.hdr");
        std::filesystem::remove("bad.img");
        HeaderRecord header = drawHeader(2, 2, 2, ElementType::unsigned8);
        store(header, c.offset, c.value);
        if (c.length == 1) {
            ASSERT_EQ(::mkfifo("bad.hdr", 0600), 0);
        } else if (c.length > 0) {
            write_file("bad.hdr", header_bytes(header, ByteOrder::native).substr(0, c.length));
        }
        if (c.voxels == "/") {
            std::filesystem::create_directory("bad.img");
        } else if (!c.voxels.empty()) {
            write_file("bad.img", c.voxels);
        }
        tonalign::PairFile pair("bad");
        Array3D<double> volume;
        if (const tonalign::Fault fault = read_header(pair)) {
            EXPECT_EQ(fault.message, c.fault);
        } else {
            EXPECT_EQ(check_image(pair).message, c.fault);
            EXPECT_EQ(read_image(pair, volume).message, c.fault);
        }
        Image image(3, 3, 3); // has room for the voxels that are not there
        EXPECT_EQ(told([&] { EXPECT_EQ(image.Load("bad"), c.of_bytes.empty() ? 1 : 0); }), c.of_bytes);
        const bool lost = c.fault.starts_with("bad.img");
        EXPECT_EQ(image.data == nullptr, lost);
        EXPECT_EQ(image.nx, lost || c.of_bytes.empty() ? 2 : 3);
        EXPECT_EQ(told([&] { EXPECT_EQ(image.Save("saved"), lost ? 0 : 1); }),
                  lost ? "saved: not saved, the image has no voxels\n" : "");
    }
}

TEST_F(Pair, SavedAsIntegersKeepsTheLowBitsOfWholeNumbers)
{
    const std::pair<const char*, const char*> types[] = {
        {"unsigned char", "ff2c0001ff00ff0000"},
        {"short", "ffff2c0100000100ffff0000ffff00000000"},
        {"int", "ffffffff2c0100000000000001000100ffffff7f00000080ffffff7f0000008000000000"}};
    for (const auto& [type, bytes] : types) {
        AnalyzeImage<double> image;
        image = volume_of(3, 3, 1, {-1.7, 300.0, 0.9, 65537.0, 3e9, -3e9, INFINITY, -INFINITY, std::nan("")});
        image.H.setDataType(type);
        told([&] { image.save("a"); });
        EXPECT_EQ(read_file("a.img"), from_hex(bytes));
    }
}

TEST_F(Pair, ThatCannotBeSavedEndsTheProcessAndLeavesNoFile)
{
    using Doubles = AnalyzeImage<double>;
    const std::string saving = "[out] Inside AnalyzeImage::saveAnalyzeImageData() \n";
    const std::string unnamed = " Inside  AnalyzeImage::SaveAnalyzeHeader() \n"
                                " Attempt to save header without setting header filename \n[ends 0]";
    Doubles image;
    EXPECT_EQ(told([&] { image.readAnalyzeImageHeader(); }),
              " Inside  AnalyzeImage::readAnalyzeImageHeader() \n"
              " Attempt to read header without setting header filename \n[ends 0]");
    EXPECT_EQ(told([&] { image.readAnalyzeImageData(); }),
              " Inside  AnalyzeImage::readAnalyzeImageData() \n"
              " Attempt to read Image Data without setting ImageFileName \n[ends 0]");
    EXPECT_EQ(told([&] { image.saveAnalyzeImageHeader(); }), unnamed);
    EXPECT_EQ(told([&] { image.Save(); }), unnamed);
    EXPECT_EQ(told([&] { image.saveAnalyzeImageData(); }),
              saving + " Inside  AnalyzeImage::saveAnalyzeImageData() \n"
                       " Attempt to save Image Data without setting ImageFileName \n[ends 0]");
    image.setAnalyzeFileName("a");
    for (const int axis : {0, 1, 2}) {
        image.D.setDim(axis == 0 ? 32768 : 1, axis == 1 ? 32768 : 1, axis == 2 ? 32768 : 1);
        for (const auto& save :
             {&Doubles::Save, &Doubles::saveAnalyzeImageHeader, &Doubles::saveAnalyzeImageData}) {
            EXPECT_EQ(told([&] { (image.*save)(); }),
                      "a.hdr: not saved, a header holds sizes up to 32767\n[ends 1]");
        }
        Image bytes(image.D.getNxTotal(), image.D.getNyTotal(), image.D.getNzTotal());
        EXPECT_EQ(told([&] { EXPECT_EQ(bytes.Save("a"), 0); }),
                  "a: not saved, a header holds sizes up to 32767\n");
    }
    image.D.setDim(1, 1, 1);
    EXPECT_EXIT(image.saveAnalyzeImageData(), ::testing::ExitedWithCode(0), "");
    EXPECT_EQ(fileCount(), 0);
    EXPECT_EXIT(image.Save(), ::testing::ExitedWithCode(0), "");
    EXPECT_EQ(fileCount(), std::filesystem::exists("a.hdr") ? 1 : 0);
    EXPECT_EQ(told([&] { image.Save(); }),
              saving + " Error in saving Image: data-type not recognized \n[ends 0]");
}

TEST_F(Pair, MadeInMemoryHasAPlainHeader)
{
    HeaderRecord header{};
    describe_volume(header, 2, 3, 4, ElementType::unsigned8);
    store(header, 32, 16384);
    store(header, 38, 'r');
    store(header, 40, std::int16_t{4});
    store(header, 48, std::int16_t{1});
    store(header, 56, std::array{'m', 'm', '\0', '\0', ' '});
    store(header, 80, std::array{1.0F, 1.0F, 1.0F});
    store(header, 140, 255);
    AnalyzeImage<double> image;
    image.H.dime.pixdim[7] = image.H.dime.vox_offset = image.H.dime.roi_scale = image.H.dime.funused1 = 9.0F;
    image.H.dime.cal_max = image.H.dime.cal_min = image.H.dime.funused2 = 9.0F;
    image.H.hist.orient = 2;
    image = random_volume(2, 3, 4, 5, m_random);
    told([&] { image.save("a"); });
    EXPECT_EQ(read_file("a.hdr"), header_bytes(header, ByteOrder::native));

    image.H.setPixelDimensions(3.0, 2.0, 0.1);
    image.H.setVoxelUnits("micrometres");
    image.H.setCalUnits("Hounsfield");
    image.H.setDataType("Float");
    EXPECT_THAT(image.H.dime.pixdim, ::testing::ElementsAre(0, 0.1F, 2, 3, 0, 0, 0, 0));
    EXPECT_STREQ(image.H.dime.vox_units, "mic");
    EXPECT_STREQ(image.H.dime.cal_units, "Hounsfi");
    EXPECT_EQ(image.H.getDataType(), 2);

    store(header, 56, std::array{' ', '\0'});
    Image bytes(2, 3, 4);
    EXPECT_EQ(bytes.needs_saving, 1);
    EXPECT_EQ(told([&] { EXPECT_EQ(bytes.Save("b"), 1); }), "");
    EXPECT_EQ(bytes.needs_saving, 0);
    EXPECT_EQ(read_file("b.hdr"), header_bytes(header, ByteOrder::foreign));
    EXPECT_EQ(read_file("b.img"), std::string(24, '\0'));
}

TEST_F(Pair, OfBytesIsPaddedCopiedAndMeasuredByItsVoxels)
{
    for (int round = 0; round < 50; ++round) {
        const auto size = [&] { return 1 + static_cast<int>(m_random() % 4); };
        Image image(size(), size(), size());
        std::generate_n(image.data, image.nx * image.ny * image.nz, [&] { return 5 + m_random() % 200; });
        image.Plot(image.nx - 1, 0, image.nz - 1, 3);
        EXPECT_EQ(image.data[((image.nz - 1) * image.ny) * image.nx + image.nx - 1], 3);
        image.UpdateAnalyzeHeader();
        const std::unique_ptr<Image> before(image.Copy());
        image.Pad();
        EXPECT_EQ(image.hdr->dime.dim[1], before->nx);
        image.UpdateAnalyzeHeader();
        EXPECT_THAT(std::vector<int>(image.hdr->dime.dim + 1, image.hdr->dime.dim + 4),
                    ::testing::ElementsAre(before->nx + 2, before->ny + 2, before->nz + 2));
        for (int k = 0, nx = image.nx + 2, ny = image.ny + 2; k < nx * ny * (image.nz + 2); ++k) {
            const int x = k % nx - 1, y = k / nx % ny - 1, z = k / (nx * ny) - 1;
            ASSERT_EQ(image.GetValue(x, y, z), before->GetValue(x - 1, y - 1, z - 1));
        }
        EXPECT_EQ(std::tuple(image.hdr->dime.glmin, image.hdr->dime.glmax, before->hdr->dime.glmin),
                  std::tuple(0, before->curmax, 3));
        EXPECT_EQ(before->needs_saving, 1);
    }
}

TEST(PairNames, LoseAnExtensionAndAreRefusedWhenTooLong)
{
    Image image;
    const std::string longest(4091, 'n');
    const std::pair<std::string, std::string> pairs[] = {
        {"a", "a"},       {"a.img", "a"},     {"a.hdr", "a"},     {"a.imx", "a"},
        {".img", ".img"}, {"a.IMG", "a.IMG"}, {"im.gz", "im.gz"}, {longest + ".hdr", longest},
    };
    for (const auto& [given, base] : pairs) {
        EXPECT_EQ(image.ConstructAnalyzeNames(given.c_str()), 1);
        EXPECT_EQ(image.Filename(), base);
        EXPECT_EQ(tonalign::PairNames(given).header, base + ".hdr");
        EXPECT_EQ(tonalign::PairNames(given).image, base + ".img");
    }
    for (const auto& call : {&Image::Load, &Image::Save}) {
        EXPECT_EQ(told([&] { EXPECT_EQ((image.*call)((longest + "n").c_str()), 0); }),
                  "an image name of 4092 characters is too long, at most 4091 are possible\n");
    }
    EXPECT_EQ(image.Filename(), longest);
    EXPECT_EQ(told([&] { EXPECT_EQ(Image(2, -1, 2).Nx(), 0); }), "an image cannot have 2 x -1 x 2 voxels\n");
    EXPECT_NE(told([&] { Image(1 << 30, 1 << 30, 1 << 30); }), "");
}

} // namespace

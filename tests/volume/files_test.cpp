// SPDX-License-Identifier: BSD-3-Clause
// What the library's readers and writers do with pairs, beyond the runs of the tool.
#include "tests/support/analyze_files.h"
#include "tests/support/process_end.h"
#include "tests/support/scratch_files.h"
#include "tests/support/volumes.h"
#include "volume/AnalyzeImage.h"
#include "volume/Image.h"
#include "volume/pair_file.h"

#include <cmath>
#include <memory>

namespace {

using namespace tonalign::test;

template <typename T>
void store(HeaderRecord& record, std::size_t offset, T value)
{
    std::memcpy(record.data() + offset, &value, sizeof value);
}

struct Files : ::testing::Test
{
    Files() { std::filesystem::current_path(m_directory.path()); }
    ~Files() override { std::filesystem::current_path("/"); }
    static auto fileCount() { return std::distance(std::filesystem::directory_iterator("."), {}); }

    /// Random where a reader needs nothing.
    HeaderRecord drawHeader(int nx, int ny, int nz, ElementType type)
    {
        HeaderRecord record;
        std::generate(record.begin(), record.end(), [&] { return static_cast<unsigned char>(m_random()); });
        describe_volume(record, nx, ny, nz, type);
        return record;
    }

    const TemporaryDirectory m_directory;
    std::mt19937 m_random{7};
};

TEST_F(Files, PairOfEveryTypeAndByteOrderIsReadAndSavedInSeveralBlocks)
{
    for (int round = 0; round < 10; ++round) {
        const auto type = static_cast<ElementType>(round / 2);
        const ByteOrder order = round % 2 == 1 ? ByteOrder::foreign : ByteOrder::native;
        const bool is_bytes = type == ElementType::unsigned8;
        constexpr double steps[] = {1, 200, 70000, 0.5, 0.1};
        std::vector<double> voxels(270000); // more than 256 KiB in every type
        for (double& voxel : voxels) {
            voxel = (static_cast<int>(m_random() % 256) - (is_bytes ? 0 : 128)) * steps[round / 2];
        }
        const std::string native = voxel_bytes(voxels, type, ByteOrder::native);
        HeaderRecord header = drawHeader(90, 60, 50, type);
        store(header, 80, std::array{-2.0F, 0.25F, 0.0F});
        write_file("a.hdr", header_bytes(header, order) + "more");
        write_file("a.img", voxel_bytes(voxels, type, order) + "more");

        AnalyzeImage<double> image;
        tonalign::PairFile pair("a");
        Array3D<double> volume;
        Image bytes;
        EXPECT_EQ(read_header(pair).message, "");
        EXPECT_EQ(read_image(pair, volume).message, "");
        EXPECT_EQ(ended([&] {
                      image = AnalyzeImage<double>("a.img");
                      image.save("b.hdr");
                      EXPECT_EQ(bytes.Load("a.hdx"), is_bytes ? 1 : 0);
                  }).status,
                  -1);
        EXPECT_EQ(voxels_of(image.D), voxels);
        EXPECT_EQ(voxels_of(volume), voxels);
        EXPECT_TRUE(pair.header.hasSameBytes(image.H));
        EXPECT_EQ(read_file("b.hdr"), header_bytes(header, ByteOrder::native));
        EXPECT_EQ(read_file("b.img"), native);
        if (is_bytes) {
            EXPECT_EQ(std::string(bytes.data, bytes.data + native.size()), native);
            EXPECT_EQ(std::pair(bytes.curmin, bytes.curmax), std::pair(u_char{0}, u_char{255}));
            Image small(1, 1, 1);
            small.ConstructAnalyzeNames("a");
            ended([&] { small.ReadAnalyzeHeader(); });
            EXPECT_EQ(small.data, nullptr);
            EXPECT_EQ(bytes.Save("c"), 1);
            store(header, 80, std::array{1.0F, 0.25F, 1.0F});
            EXPECT_EQ(read_file("c.hdr"), header_bytes(header, ByteOrder::foreign));
            EXPECT_EQ(read_file("c.img"), native);
        }
        pair.header.dime.datatype = 77; // the width alone tells bytes and doubles
        EXPECT_EQ(!check_image(pair), is_bytes || type == ElementType::float64);
    }
}

TEST_F(Files, PairThatIsBadLeavesAnImageOfBytesThatIsSafeToUse)
{
    const struct
    {
        std::size_t length, offset; // of the header file, and of the value in it
        std::int16_t value;
        std::string voxels, told;
        int size; // the image's afterwards
    } cases[] = {
        {347, 0, 348, "12345678", "[out]Error", 3},
        {348, 0, 1, "12345678", "Header unreadable even after byte_swapping", 3},
        {348, 46, -2, "12345678", "bad.hdr: the volume is 2 x 2 x -2 voxels, but no size may be negative", 3},
        {348, 70, 4, "12345678", "ERROR : image not u_char", 3},
        {348, 72, 16, "12345678", "ERROR : image not u_char", 3},
        {348, 44, 0, "12345678", "", 2},
        {348, 0, 348, "1234567", "bad.img: the image file holds 7 bytes, but its header needs 8", 2},
        {348, 0, 348, "", "[out]Error: cannot open image file", 2},
        {348, 0, 348, "/", "bad.img: not a regular file, but an image file is expected", 2},
    };
    for (const auto& [length, offset, value, voxels, told, size] : cases) {
        HeaderRecord header = drawHeader(2, 2, 2, ElementType::unsigned8);
        store(header, offset, value);
        write_file("bad.hdr", header_bytes(header, ByteOrder::native).substr(0, length));
        std::filesystem::remove("bad.img");
        if (voxels == "/") {
            std::filesystem::create_directory("bad.img");
        } else if (!voxels.empty()) {
            write_file("bad.img", voxels);
        }
        Image image(3, 3, 3); // has room for the voxels that are not there
        EXPECT_THAT(ended([&] { image.Load("bad"); }).text, ::testing::HasSubstr(told));
        const bool lost = size == 2 && !told.empty();
        EXPECT_EQ(image.needs_saving, told.empty() ? 0 : 1);
        EXPECT_EQ(image.data == nullptr, lost) << told;
        EXPECT_EQ(image.nx, size) << told;
        EXPECT_EQ(ended([&] { EXPECT_EQ(image.Save("saved"), lost ? 0 : 1); }).status, -1);
    }
}

TEST_F(Files, PairSavedAsIntegersKeepsTheLowBitsOfWholeNumbers)
{
    const std::pair<const char*, std::vector<unsigned>> types[] = {
        {"unsigned char", {0xff, 0x2c, 0, 1, 0xff, 0, 0xff, 0, 0}},
        {"short", {0xffff, 300, 0, 1, 0xffff, 0, 0xffff, 0, 0}},
        {"int", {0xffffffff, 300, 0, 65537, INT32_MAX, 1U << 31, INT32_MAX, 1U << 31, 0}}};
    std::size_t width = 1;
    for (const auto& [type, numbers] : types) {
        AnalyzeImage<double> image;
        image = volume_of(3, 3, 1, {-1.7, 300.0, 0.9, 65537.0, 3e9, -3e9, INFINITY, -INFINITY, NAN});
        image.H.setDataType(type);
        ended([&] { image.save("a"); });
        std::string bytes;
        for (const unsigned number : numbers) {
            bytes.append(reinterpret_cast<const char*>(&number), width);
        }
        EXPECT_EQ(read_file("a.img"), bytes);
        width *= 2;
    }
}

TEST_F(Files, PairThatCannotBeSavedLeavesNoFile)
{
    AnalyzeImage<double> image;
    image.setAnalyzeFileName("a");
    for (const int axis : {0, 1, 2}) {
        image.D.setDim(axis == 0 ? 32768 : 1, axis == 1 ? 32768 : 1, axis == 2 ? 32768 : 1);
        EXPECT_EQ(ended([&] { image.Save(); }).status, 1);
        EXPECT_EQ(ended([&] { image.saveAnalyzeImageHeader(); }).status, 1);
        Image bytes(image.D.getNxTotal(), image.D.getNyTotal(), image.D.getNzTotal());
        EXPECT_EQ(ended([&] { EXPECT_EQ(bytes.Save("a"), 0); }).text,
                  "a: not saved, a header holds sizes up to 32767\n");
    }
    image.D.setDim(1, 1, 1); // of no element type
    EXPECT_EXIT(image.saveAnalyzeImageData(), ::testing::ExitedWithCode(0), "");
    EXPECT_EQ(fileCount(), 0);
    EXPECT_EXIT(image.Save(), ::testing::ExitedWithCode(0), "");
    EXPECT_EQ(fileCount(), 1) << "the header stays";
    image.H.setDataType("float");
    image.imagename = "a.doc";
    EXPECT_EXIT(image.saveAnalyzeImageData(), ::testing::ExitedWithCode(0), "");
    EXPECT_EQ(fileCount(), 1);
}

TEST_F(Files, PairMadeInMemoryHasAPlainHeader)
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
    image.H.dime.pixdim[7] = image.H.dime.cal_max = 9.0F;
    image.H.hist.orient = 2;
    image = volume_of(2, 3, 4, std::vector<double>(24));
    ended([&] { image.save("a"); });
    EXPECT_EQ(read_file("a.hdr"), header_bytes(header, ByteOrder::native));

    image.H.setPixelDimensions(3.0, 2.0, 0.1);
    image.H.setVoxelUnits("micrometres");
    image.H.setCalUnits("Hounsfield");
    EXPECT_THAT(image.H.dime.pixdim, ::testing::ElementsAre(0, 0.1F, 2, 3, 0, 0, 0, 0));
    EXPECT_STREQ(image.H.dime.vox_units, "mic");
    EXPECT_STREQ(image.H.dime.cal_units, "Hounsfi");

    store(header, 56, std::array{' ', '\0'});
    Image bytes(2, 3, 4);
    EXPECT_EQ(bytes.Save("b"), 1);
    EXPECT_EQ(bytes.needs_saving, 0);
    EXPECT_EQ(read_file("b.hdr"), header_bytes(header, ByteOrder::foreign));
    EXPECT_EQ(read_file("b.img"), std::string(24, '\0'));
}

TEST_F(Files, PairOfBytesIsPaddedCopiedAndMeasuredByItsVoxels)
{
    for (int round = 0; round < 50; ++round) {
        const auto size = [&] { return 1 + static_cast<int>(m_random() % 4); };
        Image image(size(), size(), size());
        std::generate_n(image.data, image.nx * image.ny * image.nz, [&] { return 5 + m_random() % 200; });
        image.Plot(image.nx - 1, 0, image.nz - 1, 3);
        const std::unique_ptr<Image> before(image.Copy());
        image.Pad();
        image.UpdateAnalyzeHeader();
        u_char least = 0;
        u_char greatest = 0;
        before->MinMax(least, greatest);
        const dsr& header = *image.hdr;
        EXPECT_EQ(std::tuple(header.dime.dim[1], header.dime.dim[2], header.dime.dim[3]),
                  std::tuple(before->nx + 2, before->ny + 2, before->nz + 2));
        EXPECT_EQ(std::tuple(least, header.dime.glmin, header.dime.glmax), std::tuple(3, 0, greatest));
        for (int k = 0, nx = image.nx + 2, ny = image.ny + 2; k < nx * ny * (image.nz + 2); ++k) {
            const int x = k % nx - 1, y = k / nx % ny - 1, z = k / (nx * ny) - 1;
            ASSERT_EQ(image.GetValue(x, y, z), before->GetValue(x - 1, y - 1, z - 1));
        }
    }
}

TEST(PairNames, LoseAnExtensionAndAreRefusedWhenTooLong)
{
    Image image;
    const std::string longest(4091, 'n');
    const std::pair<std::string, std::string> pairs[] = {{"a.hdr", "a"},
                                                         {".img", ".img"},
                                                         {"a.IMG", "a.IMG"},
                                                         {"im.gz", "im.gz"},
                                                         {longest + ".hdr", longest}};
    for (const auto& [given, base] : pairs) {
        EXPECT_EQ(image.ConstructAnalyzeNames(given.c_str()), 1);
        EXPECT_EQ(image.Filename(), base);
        EXPECT_EQ(tonalign::PairNames(given).image, base + ".img");
    }
    EXPECT_EQ(ended([&] { EXPECT_EQ(image.Load((longest + "n").c_str()), 0); }).text,
              "an image name of 4092 characters is too long, at most 4091 are possible\n");
    EXPECT_EQ(image.Filename(), longest);
    EXPECT_EQ(ended([&] { EXPECT_EQ(Image(-2, -1, 2).Nx(), 0); }).text,
              "an image cannot have -2 x -1 x 2 voxels\n");
}

} // namespace

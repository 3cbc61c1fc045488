// SPDX-License-Identifier: BSD-3-Clause
// Image pairs made byte by byte, as all three readers take them and both writers give them back; and how
// files are written.
#include "tests/support/analyze_files.h"
#include "tests/support/process_end.h"
#include "tests/support/scratch_files.h"
#include "tests/support/volumes.h"
#include "volume/AnalyzeImage.h"
#include "volume/Image.h"
#include "volume/OutputFile.h"
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

std::string told(const std::function<void()>& action)
{
    const auto [status, text] = ended(action);
    return text + (status < 0 ? "" : "[ends " + std::to_string(status) + "]");
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
        const bool swaps = round % 2 == 1;
        const ByteOrder order = swaps ? ByteOrder::foreign : ByteOrder::native;
        const bool bytes_alone = type == ElementType::unsigned8;
        constexpr double steps[] = {1, 200, 70000, 0.5, 0.1};
        std::vector<double> voxels(270000); // more than 256 KiB in every type
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
                  swaps ? "[out]**------------Byte Swapping Header during Loading from file------**\n[out]\n"
                          "**------Byte Swapping Image during Load from file -----**\n"
                        : "");
        EXPECT_EQ(voxels_of(image.D), voxels);
        tonalign::PairFile pair("a");
        Array3D<double> volume;
        EXPECT_EQ(read_header(pair).message, "");
        EXPECT_EQ(read_image(pair, volume).message, "");
        EXPECT_EQ(voxels_of(volume), voxels);
        EXPECT_TRUE(pair.header.hasSameBytes(image.H) && pair.header.IsImgNeedByteSwap() == swaps);
        EXPECT_EQ(
            told([&] { image.save("b.hdr"); }),
            "[out] Inside AnalyzeImage::saveAnalyzeImageData() \n[out] File b.img opened successfully \n"
            "[out] size_of_data_in_bytes = " +
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
            Image small(1, 1, 1);
            small.ConstructAnalyzeNames("a");
            told([&] { small.ReadAnalyzeHeader(); });
            EXPECT_EQ(small.data, nullptr);
            EXPECT_EQ(told([&] { EXPECT_EQ(bytes.Save("b.img"), 1); }), "[out]File exists!");
            store(header, 80, std::array{1.0F, 0.25F, 1.0F});
            EXPECT_EQ(read_file("b.hdr"), header_bytes(header, ByteOrder::foreign));
            EXPECT_EQ(read_file("b.img"), native);
        }
        pair.header.dime.datatype = 77; // the width alone tells bytes and doubles
        EXPECT_EQ(!check_image(pair), bytes_alone || type == ElementType::float64);
        std::filesystem::resize_file("a.img", native.size() - 1);
        EXPECT_TRUE(check_image(pair));
    }
}

TEST_F(Files, PairThatIsBadIsAFaultAndLeavesAnImageThatIsSafeToUse)
{
    const std::string folder = "bad.img: not a regular file, but an image file is expected";
    const std::string cut = "bad.img: the image file holds 7 bytes, but its header needs 8 (8 voxels of 1)";
    const std::string no_bytes = "Image::ReadAnalyzeHeader(bad.hdr) : ERROR : image not u_char\n";
    // Length of the header file, where it holds what, the image file, the fault, and what the 8-bit image
    // tells.
    const std::tuple<std::size_t, std::size_t, std::int16_t, std::string, std::string, std::string> cases[] =
        {
            {0, 0, 348, "12345678", "bad.hdr: No such file or directory",
             "[out]Error: cannot open header file"},
            {347, 0, 348, "12345678", "bad.hdr: ends after 347 bytes, but a header has 348", "[out]Error"},
            {348, 0, 1, "12345678",
             "bad.hdr: not an Analyze header: it does not begin with its size, 348, in either byte order",
             "[out] Header for bad.hdr was byte_swapped during loading \n"
             " Header unreadable even after byte_swapping \n[ends 0]"},
            {348, 44, 0, "12345678",
             "bad.hdr: the volume's size is 2 x 0 x 2, but at least one voxel along each axis is expected",
             ""},
            {348, 46, -2, "12345678",
             "bad.hdr: the volume's size is 2 x 2 x -2, but at least one voxel along each axis is expected",
             "bad.hdr: the volume is 2 x 2 x -2 voxels, but no size may be negative\n"},
            {348, 72, 16, "12345678",
             "bad.hdr: the element type, code 2 with 16 bits, is not one that is read", no_bytes},
            {348, 70, 4, "12345678", "", no_bytes},
            {348, 0, 348, "",
             "bad.img: the image file cannot be opened for reading: No such file or directory",
             "[out]Error: cannot open image file"},
            {348, 0, 348, "1234567", cut, cut + "\n[out]Error"},
            {348, 0, 348, "/", folder, folder + "\n[out]Error"}, // the last one: a folder stays
        };
    for (const auto& [length, offset, value, voxels, expected, of_bytes] : cases) {
        HeaderRecord header = drawHeader(2, 2, 2, ElementType::unsigned8);
        store(header, offset, value);
        write_file("bad.hdr", header_bytes(header, ByteOrder::native).substr(0, length));
        write_file("bad.img", voxels);
        std::filesystem::remove(length == 0 ? "bad.hdr" : voxels.empty() ? "bad.img" : "");
        if (voxels == "/") {
            std::filesystem::remove("bad.img");
            std::filesystem::create_directory("bad.img");
        }
        tonalign::PairFile pair("bad");
        Array3D<double> volume;
        const tonalign::Fault fault = read_header(pair);
        EXPECT_EQ(fault ? fault.message : check_image(pair).message, expected);
        EXPECT_EQ(fault ? fault.message : read_image(pair, volume).message, expected);
        Image image(3, 3, 3); // has room for the voxels that are not there
        const u_char* const buffer = image.data;
        EXPECT_EQ(told([&] { image.Load("bad"); }), of_bytes);
        EXPECT_EQ(image.needs_saving, of_bytes.empty() ? 0 : 1);
        const bool lost = expected.starts_with("bad.img");
        EXPECT_EQ(image.data, lost ? nullptr : buffer);
        EXPECT_EQ(image.nx, lost || of_bytes.empty() ? 2 : 3);
        EXPECT_EQ(told([&] { EXPECT_EQ(image.Save("saved"), lost ? 0 : 1); }),
                  lost ? "saved: not saved, the image has no voxels\n" : "");
    }
}

TEST_F(Files, PairSavedAsIntegersKeepsTheLowBitsOfWholeNumbers)
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

TEST_F(Files, PairThatCannotBeSavedEndsTheProcessAndLeavesNoFile)
{
    using Doubles = AnalyzeImage<double>;
    const std::string saving = "[out] Inside AnalyzeImage::saveAnalyzeImageData() \n";
    const std::tuple<int (Doubles::*)(), std::string, std::string> unnamed[] = {
        {&Doubles::readAnalyzeImageHeader, " Inside  AnalyzeImage::readAnalyzeImageHeader",
         "read header without setting header filename"},
        {&Doubles::readAnalyzeImageData, " Inside  AnalyzeImage::readAnalyzeImageData",
         "read Image Data without setting ImageFileName"},
        {&Doubles::saveAnalyzeImageHeader, " Inside  AnalyzeImage::SaveAnalyzeHeader",
         "save header without setting header filename"},
        {&Doubles::saveAnalyzeImageData, saving + " Inside  AnalyzeImage::saveAnalyzeImageData",
         "save Image Data without setting ImageFileName"},
    };
    Doubles image;
    for (const auto& [call, inside, attempt] : unnamed) {
        EXPECT_EQ(told([&, member = call] { (image.*member)(); }),
                  inside + "() \n Attempt to " + attempt + " \n[ends 0]");
    }
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
    image.D.setDim(1, 1, 1); // of no element type
    EXPECT_EXIT(image.saveAnalyzeImageData(), ::testing::ExitedWithCode(0), "");
    EXPECT_EQ(fileCount(), 0);
    EXPECT_EXIT(image.Save(), ::testing::ExitedWithCode(0), "");
    EXPECT_EQ(fileCount(), 1);
    EXPECT_TRUE(std::filesystem::remove("a.hdr"));
    image.H.setDataType("float");
    image.imagename = "a.doc";
    EXPECT_EXIT(image.saveAnalyzeImageData(), ::testing::ExitedWithCode(0), "");
    EXPECT_EQ(fileCount(), 0);
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

TEST_F(Files, PairOfBytesIsPaddedCopiedAndMeasuredByItsVoxels)
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
        image.InitAnalyzeData();
        EXPECT_EQ(std::count(image.data, image.data + std::ptrdiff_t{image.nx} * image.ny * image.nz, 0),
                  image.nx * image.ny * image.nz);
    }
}

TEST_F(Files, HeaderProblemsAreReportedAndPassedOver)
{
    write_file("cut", std::string(5, 'o') + std::string(150, 'c'));
    std::ifstream in("no/such");
    std::ofstream out("no/such");
    std::ofstream full("/dev/full");
    AnalyzeHeader h;
    std::memset(&h.hk, 'o', 348);
    EXPECT_EQ(
        told([&] {
            h.print(out);
            EXPECT_EQ(h.load("cut", 5) + h.load(in, 0), 2);
            EXPECT_EQ(h.save(out, 0) + h.save(full, 0) + h.save("/dev/full", 0), 3);
            EXPECT_EQ(h.save("no/such", 0) + h.save("kept", 2), 1);
            h.readAnalyzeHeader("missing", 1);
        }),
        "AnalyzeHeader::load  read error\nAnalyzeHeader::load  corrupted ifstream\n"
        "AnalyzeHeader::load  error seeking pos\nAnalyzeHeader::load  read error\n"
        "AnalyzeHeader::save  corrupted ofstream\nAnalyzeHeader::save  error seeking pos\n"
        "AnalyzeHeader::save  write error\nAnalyzeHeader::save  write error\n"
        "AnalyzeHeader::save  write error\n File could not be opened or already exists\n"
        "AnalyzeHeader: File <missing> could not be opened \n Inside readAnalyzeHeader(char *file, itn byteSwap) \n"
        " AnalyzeHeader could not be loaded from file = missing\n[ends 0]");
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(&h), 348),
              std::string(150, 'c') + std::string(198, 'o'));
    EXPECT_EQ(read_file("kept"), std::string(2, '\0') + std::string(reinterpret_cast<const char*>(&h), 348));
}

TEST_F(Files, OutputFileChangesNothingUnderItsNameUntilItIsKept)
{
    write_file("old", "old");
    for (const char* const name : {"new", "old"}) {
        const auto before = fileCount();
        EXPECT_FALSE(tonalign::OutputFile(name).keep()) << "it was never begun";
        for (const bool kept : {false, true}) {
            tonalign::OutputFile file(name);
            ASSERT_TRUE(file.begin());
            file.stream() << "whole" << std::flush;
            EXPECT_EQ(fileCount(), before + 1);
            EXPECT_EQ(read_file("old"), "old");
            EXPECT_TRUE(!kept || file.keep());
        }
        EXPECT_EQ(read_file(name), "whole");
    }
    EXPECT_EQ(fileCount(), 2);
}

TEST_F(Files, OutputFileWritesThroughANameThatMeansAnOpenFile)
{
    write_file("open", "old");
    std::FILE* const open = std::fopen("open", "r");
    tonalign::OutputFile file("/proc/self/fd/" + std::to_string(::fileno(open)));
    ASSERT_TRUE(file.begin());
    file.stream() << "through";
    EXPECT_TRUE(file.keep());
    EXPECT_EQ(std::fgetc(open), 't');
    std::fclose(open);
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
    EXPECT_EQ(told([&] { EXPECT_EQ(Image(-2, -1, 2).Nx(), 0); }),
              "an image cannot have -2 x -1 x 2 voxels\n");
    EXPECT_NE(told([&] { Image(1 << 30, 1 << 30, 1 << 30); }), "");
}

} // namespace

#include "tests/support/process_end.h"
#include "tests/support/scratch_files.h"
#include "volume/AnalyzeHeader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <fstream>

namespace {

using ::testing::ElementsAre;
using tonalign::test::from_hex;
using tonalign::test::read_file;
using tonalign::test::write_file;

// One header, no two numbers in it alike, as the two kinds of machine write it.
const std::string little_endian =
    from_hex("5c0100006473720000000000000068656164207363616e73000000000000000000400000feff7230040002000300"
             "05000100faff070002016d6d00004855000000000000090010002000f6ff000080bf0000003f0000403f00000040"
             "00004040000080400000a0400000c0400000b0430000c03f000080be0000003e00007a4400007ac40b000000f4ff"
             "ffff01000100fefffeff6f6e6520686561642c205431000000000000000000000000000000000000000000000000"
             "00000000000000000000000000000000000000000000000000000000000000000000000000000000000000006174"
             "6c617300000000000000000000000000000000000000026c65667400000000000067656e00000000000000370000"
             "00000000000000502d3139000000000000323030312d30322d303330343a30353a3036000078797a15000000eaff"
             "ffff17000000e8ffffff19000000e6ffffff1b000000e4ffffff");
const std::string big_endian =
    from_hex("0000015c6473720000000000000068656164207363616e73000000000000000000004000fffe7230000400020003"
             "00050001fffa000701026d6d00004855000000000000000900100020fff6bf8000003f0000003f40000040000000"
             "404000004080000040a0000040c0000043b000003fc00000be8000003e000000447a0000c47a00000000000bffff"
             "fff400010001fffefffe6f6e6520686561642c205431000000000000000000000000000000000000000000000000"
             "00000000000000000000000000000000000000000000000000000000000000000000000000000000000000006174"
             "6c617300000000000000000000000000000000000000026c65667400000000000067656e00000000000000370000"
             "00000000000000502d3139000000000000323030312d30322d303330343a30353a3036000078797a00000015ffff"
             "ffea00000017ffffffe800000019ffffffe60000001bffffffe4");

const std::string swap_banner = "**------------Byte Swapping Header during Loading from file------**\n\n";

std::string record_of(const AnalyzeHeader& h)
{
    std::string bytes(reinterpret_cast<const char*>(&h.hk), sizeof h.hk);
    bytes.append(reinterpret_cast<const char*>(&h.dime), sizeof h.dime);
    return bytes.append(reinterpret_cast<const char*>(&h.hist), sizeof h.hist);
}

void expect_the_golden_values(const AnalyzeHeader& h)
{
    EXPECT_EQ(h.hk.sizeof_hdr, 348);
    EXPECT_STREQ(h.hk.data_type, "dsr");
    EXPECT_STREQ(h.hk.db_name, "head scans");
    EXPECT_EQ(h.hk.extents, 16384);
    EXPECT_EQ(h.hk.session_error, -2);
    EXPECT_EQ(h.hk.regular, 'r');
    EXPECT_EQ(h.hk.hkey_un0, '0');
    EXPECT_THAT(h.dime.dim, ElementsAre(4, 2, 3, 5, 1, -6, 7, 258));
    EXPECT_STREQ(h.dime.vox_units, "mm");
    EXPECT_STREQ(h.dime.cal_units, "HU");
    EXPECT_THAT((std::array{h.dime.unused1, h.dime.datatype, h.dime.bitpix, h.dime.dim_un0}),
                ElementsAre(9, 16, 32, -10));
    EXPECT_THAT(h.dime.pixdim, ElementsAre(-1, 0.5, 0.75, 2, 3, 4, 5, 6));
    EXPECT_THAT((std::array{h.dime.vox_offset, h.dime.roi_scale, h.dime.funused1, h.dime.funused2,
                            h.dime.cal_max, h.dime.cal_min}),
                ElementsAre(352, 1.5, -0.25, 0.125, 1000, -1000));
    EXPECT_THAT((std::array{h.dime.compressed, h.dime.verified, h.dime.glmax, h.dime.glmin}),
                ElementsAre(11, -12, 65537, -65538));
    EXPECT_STREQ(h.hist.descrip, "one head, T1");
    EXPECT_STREQ(h.hist.aux_file, "atlas");
    EXPECT_EQ(h.hist.orient, 2);
    EXPECT_STREQ(h.hist.originator, "left");
    EXPECT_STREQ(h.hist.generated, "gen");
    EXPECT_STREQ(h.hist.scannum, "7");
    EXPECT_STREQ(h.hist.patient_id, "P-19");
    EXPECT_EQ(std::string(h.hist.exp_date, 10), "2001-02-03"); // fills its field, no NUL
    EXPECT_STREQ(h.hist.exp_time, "04:05:06");
    EXPECT_EQ(std::string(h.hist.hist_un0, 3), "xyz");
    EXPECT_THAT((std::array{h.hist.views, h.hist.vols_added, h.hist.start_field, h.hist.field_skip,
                            h.hist.omax, h.hist.omin, h.hist.smax, h.hist.smin}),
                ElementsAre(21, -22, 23, -24, 25, -26, 27, -28));
}

class HeaderFile : public ::testing::Test
{
protected:
    std::string fileOf(const std::string& bytes) const
    {
        write_file(path, bytes);
        return path;
    }

    const tonalign::test::TemporaryDirectory directory;
    const std::string path = directory.path() / "scan.hdr";
};
using HeaderFileDeathTest = HeaderFile;

TEST_F(HeaderFile, OfEitherByteOrderGivesTheSameRecordAndIsSavedInNativeOrder)
{
    ::testing::internal::CaptureStdout();
    AnalyzeHeader native(fileOf(little_endian).c_str(), 1);
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), "");
    expect_the_golden_values(native);
    EXPECT_FALSE(native.IsImgNeedByteSwap());

    ::testing::internal::CaptureStdout();
    AnalyzeHeader foreign(fileOf(big_endian).c_str(), 1);
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), swap_banner);
    expect_the_golden_values(foreign);
    EXPECT_TRUE(foreign.IsImgNeedByteSwap());
    EXPECT_TRUE(AnalyzeHeader(foreign).IsImgNeedByteSwap());

    EXPECT_EQ(foreign.saveAnalyzeHeader(path.c_str()), 1);
    EXPECT_EQ(read_file(path), little_endian);
}

TEST_F(HeaderFile, IsKeptAsReadWithoutByteOrderHandling)
{
    AnalyzeHeader h(fileOf(big_endian).c_str(), 0);
    EXPECT_EQ(record_of(h), big_endian);
    EXPECT_EQ(h.hk.sizeof_hdr, 1543569408);
    h.checkAnalyzeHeaderInProperFormat();
    EXPECT_EQ(record_of(h), little_endian);
    EXPECT_FALSE(h.IsImgNeedByteSwap());
    h.byte_swap_header();
    EXPECT_EQ(record_of(h), big_endian);
    h.clean();
    h.checkAnalyzeHeaderInProperFormat();
    EXPECT_EQ(record_of(h), std::string(348, '\0'));
    EXPECT_FALSE(h.hasBeenReadFromFile());
}

TEST_F(HeaderFile, CanStartAnywhereInAStream)
{
    std::ifstream in(fileOf("12345" + little_endian), std::ios::binary);
    in.get();
    AnalyzeHeader h;
    EXPECT_EQ(h.load(in, 4), 1);
    EXPECT_EQ(record_of(h), little_endian);
    std::ofstream out(path, std::ios::binary);
    out << "abc";
    EXPECT_EQ(h.save(out, 2), 1);
    EXPECT_EQ(read_file(path), std::string("abc\0\0", 5) + little_endian);
}

TEST_F(HeaderFile, ProblemsOfStreamsAreReportedAndPassedOver)
{
    ::testing::internal::CaptureStderr();
    AnalyzeHeader h;
    std::memset(&h.hist, 7, sizeof h.hist);
    EXPECT_EQ(h.load(fileOf(little_endian.substr(0, 150)).c_str(), 0), 1);
    EXPECT_EQ(record_of(h), little_endian.substr(0, 150) + std::string(198, '\7'));
    std::ifstream unopened_input("no/such.hdr");
    EXPECT_EQ(h.load(unopened_input, 0), 1);
    std::ofstream unopened_output("no/such.hdr");
    EXPECT_EQ(h.save(unopened_output, 0), 1);
    std::ofstream full("/dev/full", std::ios::binary);
    EXPECT_EQ(h.save(full, 0), 1);
    EXPECT_EQ(h.load("no/such.hdr", 0), 0);
    EXPECT_EQ(h.save("no/such.hdr", 0), 0);
    EXPECT_EQ(::testing::internal::GetCapturedStderr(),
              "AnalyzeHeader::load  read error\n"
              "AnalyzeHeader::load  corrupted ifstream\n"
              "AnalyzeHeader::load  error seeking pos\n"
              "AnalyzeHeader::load  read error\n"
              "AnalyzeHeader::save  corrupted ofstream\n"
              "AnalyzeHeader::save  error seeking pos\n"
              "AnalyzeHeader::save  write error\n"
              "AnalyzeHeader::save  write error\n"
              "AnalyzeHeader: File <no/such.hdr> could not be opened \n"
              " File could not be opened or already exists\n");
}

TEST_F(HeaderFileDeathTest, MissingAndCorruptedHeadersEndTheProcess)
{
    const std::string corrupted = fileOf("none" + little_endian.substr(4));
    const std::string empty = directory.path() / "empty.hdr";
    write_file(empty, "");
    const std::string missing = directory.path() / "missing.hdr";
    const std::string banner =
        "[out]**------------Byte Swapping Header during Loading from file------**\n[out]\n";
    const tonalign::test::ProcessEnd ends[] = {
        {[&] { AnalyzeHeader().readAnalyzeHeader(missing.c_str(), 0); }, 0,
         "AnalyzeHeader: File <" + missing + "> could not be opened \n" +
             " Inside readAnalyzeHeader(char *file, itn byteSwap) \n" +
             " AnalyzeHeader could not be loaded from file = " + missing + "\n"},
        {[&] { AnalyzeHeader h(corrupted.c_str(), 1); }, 0,
         banner + " Header corrupted, even after Byte Swapping \n"},
        {[&] { AnalyzeHeader h(empty.c_str(), 1); }, 0,
         "AnalyzeHeader::load  read error\n" + banner + " Header corrupted, even after Byte Swapping \n"},
        {[&] { AnalyzeHeader(corrupted.c_str(), 0).checkAnalyzeHeaderInProperFormat(); }, 0,
         "Inside AnalyzeHeader::checkAnalyzeHeaderInProperFormat"
         "[out] - Header corrupted, even after Byte Swapping \n"},
    };
    for (const auto& end : ends) {
        tonalign::test::expect_end(end);
    }
}

TEST(AnalyzeHeader, BareBonesHeaderIsWhatANewVolumeNeedsAndNoMore)
{
    AnalyzeHeader h;
    std::strcpy(h.hist.descrip, "kept");
    h.dime.pixdim[7] = 9.0F;
    h.hist.orient = 2;
    h.setBareBonesHeader(30, 20, 10, "unsigned char", 255, -1);
    AnalyzeHeader expected;
    expected.hk.sizeof_hdr = 348;
    expected.hk.extents = 16384;
    expected.hk.regular = 'r';
    const std::int16_t dim[8] = {4, 10, 20, 30, 1, 0, 0, 0};
    std::copy_n(dim, 8, expected.dime.dim);
    std::strcpy(expected.dime.vox_units, "mm");
    std::strcpy(expected.dime.cal_units, " ");
    expected.dime.datatype = 2;
    expected.dime.bitpix = 8;
    expected.dime.pixdim[1] = expected.dime.pixdim[2] = expected.dime.pixdim[3] = 1.0F;
    expected.dime.glmax = 255;
    expected.dime.glmin = -1;
    std::strcpy(expected.hist.descrip, "kept");
    EXPECT_EQ(record_of(h), record_of(expected));
}

TEST(AnalyzeHeader, SettersReachTheirFieldsOnly)
{
    AnalyzeHeader h;
    h.setImageDimensions(3, 2, 65537, 4);
    EXPECT_THAT(h.dime.dim, ElementsAre(4, 1, 2, 3, 4, 0, 0, 0)); // narrowed to 16 bits
    h.setPixelDimensions(3.0, 2.0, 0.1);
    EXPECT_EQ(h.getPixelDimensionX(), double{0.1F});
    EXPECT_THAT(h.dime.pixdim, ElementsAre(0, 0.1F, 2, 3, 0, 0, 0, 0));
    h.setVoxelUnits("micrometres");
    h.setCalUnits("Hounsfield");
    EXPECT_STREQ(h.dime.vox_units, "mic");
    EXPECT_STREQ(h.dime.cal_units, "Hounsfi");
    const struct
    {
        const char* name;
        int datatype;
        int bitpix;
    } types[] = {{"unsigned char", 2, 8}, {"short", 4, 16},  {"int", 8, 32}, {"float", 16, 32},
                 {"double", 64, 64},      {"Float", 64, 64}, {"", 64, 64}};
    for (const auto& type : types) {
        h.setDataType(type.name);
        EXPECT_EQ(h.getDataType(), type.datatype) << type.name;
        EXPECT_EQ(h.getDataTypeBitSize(), type.bitpix) << type.name;
    }
}

} // namespace

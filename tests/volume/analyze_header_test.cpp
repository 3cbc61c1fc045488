#include "tests/support/process_end.h"
#include "tests/support/scratch_files.h"
#include "volume/AnalyzeHeader.h"

#include <cstring>
#include <fstream>
#include <tuple>

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

std::string record_of(const AnalyzeHeader& h)
{
    std::string bytes(reinterpret_cast<const char*>(&h.hk), sizeof h.hk);
    bytes.append(reinterpret_cast<const char*>(&h.dime), sizeof h.dime);
    return bytes.append(reinterpret_cast<const char*>(&h.hist), sizeof h.hist);
}

void expect_the_golden_values(const AnalyzeHeader& h)
{
    EXPECT_EQ(h.hk.extents, 16384);
    EXPECT_THAT(h.dime.dim, ElementsAre(4, 2, 3, 5, 1, -6, 7, 258));
    EXPECT_EQ(h.dime.datatype, 16);
    EXPECT_EQ(h.dime.bitpix, 32);
    EXPECT_THAT(h.dime.pixdim, ElementsAre(-1, 0.5, 0.75, 2, 3, 4, 5, 6));
    EXPECT_EQ(h.dime.cal_max, 1000.0F);
    EXPECT_EQ(h.dime.glmax, 65537);
    EXPECT_STREQ(h.hist.descrip, "one head, T1");
    EXPECT_EQ(h.hist.orient, 2);
    EXPECT_EQ(std::string(h.hist.exp_date, 10), "2001-02-03"); // fills its field, no NUL
    EXPECT_EQ(h.hist.smin, -28);
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
    for (const bool foreign : {false, true}) {
        const AnalyzeHeader h(fileOf(foreign ? big_endian : little_endian).c_str(), 1);
        expect_the_golden_values(h);
        EXPECT_EQ(AnalyzeHeader(h).IsImgNeedByteSwap(), foreign);
        EXPECT_EQ(h.saveAnalyzeHeader(path.c_str()), 1);
        EXPECT_EQ(read_file(path), little_endian);
    }
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
}

TEST_F(HeaderFile, ProblemsAreReportedAndPassedOver)
{
    std::ifstream unopened_input("no/such.hdr");
    std::ofstream unopened_output("no/such.hdr");
    std::ofstream full("/dev/full");
    AnalyzeHeader h;
    std::memset(&h.hist, 7, sizeof h.hist);
    ::testing::internal::CaptureStderr();
    EXPECT_EQ(h.load(fileOf(little_endian.substr(0, 150)).c_str(), 0), 1);
    EXPECT_EQ(record_of(h), little_endian.substr(0, 150) + std::string(198, '\7'));
    EXPECT_EQ(h.load(unopened_input, 0), 1);
    EXPECT_EQ(h.save(unopened_output, 0), 1);
    EXPECT_EQ(h.save(full, 0), 1);
    EXPECT_EQ(h.save("no/such.hdr", 0), 0);
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "AnalyzeHeader::load  read error\n"
                                                        "AnalyzeHeader::load  corrupted ifstream\n"
                                                        "AnalyzeHeader::load  error seeking pos\n"
                                                        "AnalyzeHeader::load  read error\n"
                                                        "AnalyzeHeader::save  corrupted ofstream\n"
                                                        "AnalyzeHeader::save  error seeking pos\n"
                                                        "AnalyzeHeader::save  write error\n"
                                                        "AnalyzeHeader::save  write error\n"
                                                        " File could not be opened or already exists\n");
}

TEST_F(HeaderFileDeathTest, ARecordOfNeitherByteOrderEndsTheProcess)
{
    const AnalyzeHeader h(fileOf("none" + little_endian.substr(4)).c_str(), 0);
    tonalign::test::expect_ends({{[&] { AnalyzeHeader(h).checkAnalyzeHeaderInProperFormat(); }, 0,
                                  "Inside AnalyzeHeader::checkAnalyzeHeaderInProperFormat"
                                  "[out] - Header corrupted, even after Byte Swapping \n"}});
}

TEST(AnalyzeHeader, BareBonesHeaderIsWhatANewVolumeNeeds)
{
    AnalyzeHeader h;
    h.dime.pixdim[7] = h.dime.cal_max = h.dime.funused2 = 9.0F;
    h.hist.orient = 2;
    h.hist.views = 1;
    h.setBareBonesHeader(30, 20, 10, "unsigned char", 255, -1);
    const auto zeros = [](std::size_t bytes) { return std::string(2 * bytes, '0'); };
    EXPECT_EQ(record_of(h), from_hex("5c010000" + zeros(28) + "00400000" + zeros(2) + "7200" +
                                     "04000a0014001e0001000000" + zeros(4) + "6d6d0000" + "20" + zeros(9) +
                                     "02000800" + zeros(6) + "0000803f0000803f0000803f" + zeros(48) +
                                     "ff000000ffffffff" + zeros(168) + "01000000" + zeros(28)));
}

TEST(AnalyzeHeader, SettersCutTextsAndKnowFiveElementTypes)
{
    AnalyzeHeader h;
    h.setPixelDimensions(3.0, 2.0, 0.1);
    EXPECT_THAT(h.dime.pixdim, ElementsAre(0, 0.1F, 2, 3, 0, 0, 0, 0));
    h.setVoxelUnits("micrometres");
    h.setCalUnits("Hounsfield");
    EXPECT_STREQ(h.dime.vox_units, "mic");
    EXPECT_STREQ(h.dime.cal_units, "Hounsfi");
    const std::tuple<const char*, int, int> types[] = {
        {"unsigned char", 2, 8}, {"short", 4, 16},  {"int", 8, 32}, {"float", 16, 32},
        {"double", 64, 64},      {"Float", 64, 64}, {"", 64, 64},
    };
    for (const auto& [name, datatype, bitpix] : types) {
        h.setDataType(name);
        EXPECT_EQ(h.getDataType(), datatype) << name;
        EXPECT_EQ(h.getDataTypeBitSize(), bitpix) << name;
    }
}

} // namespace

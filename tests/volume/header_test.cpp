// SPDX-License-Identifier: BSD-3-Clause
// Every field of the header record against a layout of its own, and what header files make their readers
// tell.
#include "tests/support/process_end.h"
#include "volume/AnalyzeHeader.h"
#include "volume/HeaderFields.h"
#include "volume/classByteSwap.h"

#include <bit>
#include <cmath>
#include <cstring>
#include <sstream>
#include <tuple>

namespace {

using namespace tonalign::test;

/// Type and size of each field, its place in a report of differences, 0 for none, and the form of that line:
/// f flush, i indented, a capital for no blank behind the second "=".
const char* const layout =
    "i4 1f t10 2F t18 3f i4 4I i2 5I c1 6I c1 7i i2 0F i2 8i i2 9i i2 10i i2 11i i2 0F i2 0F i2 0F t4 0F t8 0F "
    "i2 0F i2 16i i2 17i i2 0F f4 0F f4 12i f4 13i f4 14i f4 15i f4 0F f4 0F f4 0F f4 0F f4 0F f4 0F f4 0F "
    "f4 18i f4 19i i4 0F i4 0F i4 20i i4 21i t80 22f t24 23f c1 24i t10 25f t10 26f t10 27f t10 28f t10 29f "
    "t10 30f t3 31f i4 32i i4 33i i4 34i i4 35i i4 36i i4 37i i4 38i i4 39i";

const std::string headings[] = {" Comparing struct header_key for the given files \n",
                                " Comparing struct image_dimensions  for the given files \n",
                                " Comparing struct history for the given files \n"};
const std::string memory_line = " Struct image_dimension is different from memory compare \n";

AnalyzeHeader header_of(const std::string& record)
{
    AnalyzeHeader header;
    std::memcpy(static_cast<void*>(&header), record.data(), record.size());
    return header;
}

std::string record_of(const AnalyzeHeader& header)
{
    return {reinterpret_cast<const char*>(&header), 348};
}

std::string differences(const AnalyzeHeader& left, const AnalyzeHeader& right)
{
    std::ostringstream os;
    left.diff(right, os);
    EXPECT_EQ(left == right, left != right ? 0 : 1);
    return (left == right ? "equal" : "") + os.str();
}

TEST(AnalyzeHeader, IsListedComparedAndSwappedFieldByField)
{
    std::istringstream lines(layout);
    std::size_t offset = 0;
    for (const tonalign::HeaderField& field : tonalign::header_fields()) {
        char type = '-';
        char form = '-';
        int place = 0;
        std::size_t size = 0;
        lines >> type >> size >> place >> form;
        ASSERT_EQ(std::tuple(field.offset, field.size, field.difference.place),
                  std::tuple(offset, size, place));
        const auto filled = [&](int number) {
            std::string record(348, '\0');
            const auto real = static_cast<float>(number);
            const std::string text(size, number > 0 ? 'z' : 'w');
            const void* const bytes = type == 'i' ? static_cast<const void*>(&number) : text.data();
            std::memcpy(&record[offset], type == 'f' ? &real : bytes, size);
            return record;
        };
        const bool in_text = type == 't' || type == 'c';
        const std::string left = in_text ? std::string(size, 'z') : "258";
        const std::string right = in_text ? std::string(size, 'w') : "-3";
        std::string expected[] = {headings[0], headings[1], headings[2]};
        const std::size_t section = offset < 40 ? 0 : offset < 148 ? 1 : 2;
        expected[1] += section == 1 ? memory_line : "";
        if (place > 0) {
            expected[section] += (std::tolower(form) == 'i' ? " " : "") + std::string(field.name) + " = " +
                                 left + ", rhs." + field.name + (std::islower(form) != 0 ? " = " : " =") +
                                 right + "\n";
        }
        AnalyzeHeader header = header_of(filled(258));
        EXPECT_EQ(differences(header, header_of(filled(-3))), expected[0] + expected[1] + expected[2]);
        std::ostringstream listing;
        header.print(listing);
        const std::string caption = field.caption;
        EXPECT_THAT("\n" + listing.str(),
                    ::testing::HasSubstr("\n" + caption + std::string(27 - caption.size(), ' ') + ": " +
                                         (type == 'c' ? "122" : left) + "\n"));
        std::string swapped = filled(258);
        std::reverse(&swapped[offset], &swapped[offset] + (in_text ? 0 : size));
        header.byte_swap_header();
        EXPECT_EQ(record_of(header), swapped);
        offset += size;
    }
}

TEST(AnalyzeHeader, ComparesTextsToTheirEndsAndDimensionsAsMemory)
{
    const AnalyzeHeader plain;
    AnalyzeHeader other;
    other.hk.db_name[17] = other.hist.exp_time[6] = 'x';
    other.m_bImgNeedsByteSwap = true;
    EXPECT_EQ(differences(plain, other), "equal" + headings[0] + headings[1] + headings[2]);
    EXPECT_TRUE(!plain.hasSameBytes(other) && plain.hasSameBytes(AnalyzeHeader()));
    other.dime.cal_max = -0.0F;
    EXPECT_EQ(differences(plain, other), headings[0] + headings[1] + memory_line + headings[2]);
    other.dime.pixdim[1] = NAN;
    EXPECT_EQ(differences(other, other), "equal" + headings[0] + headings[1] +
                                             " dime.pixdim[1] = nan, rhs.dime.pixdim[1] = nan\n" +
                                             headings[2]);
}

TEST(AnalyzeHeader, OfNeitherByteOrderEndsTheProcess)
{
    for (const int size : {348, 0, -1, 1543569408, 1, 347, 349}) {
        AnalyzeHeader header;
        header.hk.sizeof_hdr = size;
        const bool stays = size <= 0 || size == 348;
        EXPECT_EQ(ended([&] { header.checkAnalyzeHeaderInProperFormat(); }).status,
                  stays || size == 1543569408 ? -1 : 0);
        EXPECT_EQ(header.hk.sizeof_hdr, stays ? size : __builtin_bswap32(size));
    }
}

TEST(ByteSwap, ReversesTheBytesOfOneValue)
{
    short number = 0x0102;
    int number4 = 0x01020304;
    auto real = std::bit_cast<float>(0x01020304);
    auto real8 = std::bit_cast<double>(0x0102030405060708);
    classByteSwap::BYTE_SWAP_SHORT(&number);
    classByteSwap::BYTE_SWAP_INT(&number4);
    classByteSwap::BYTE_SWAP_FLOAT(&real);
    classByteSwap::BYTE_SWAP_DOUBLE(&real8);
    EXPECT_EQ(std::tuple(number, number4, std::bit_cast<int>(real), std::bit_cast<std::int64_t>(real8)),
              std::tuple(0x0201, 0x04030201, 0x04030201, 0x0807060504030201));
}

} // namespace

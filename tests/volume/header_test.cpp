// SPDX-License-Identifier: BSD-3-Clause
// What the tools' runs do not show of the header record: other places in a file, and both byte orders.
#include "tests/support/process_end.h"
#include "volume/AnalyzeHeader.h"
#include "volume/classByteSwap.h"

#include <bit>
#include <cstring>
#include <sstream>
#include <tuple>

namespace {

using namespace tonalign::test;

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

TEST(AnalyzeHeader, ComparesTextsToTheirEnds)
{
    AnalyzeHeader plain;
    AnalyzeHeader other;
    other.hk.db_name[17] = other.hist.exp_time[6] = 'x';
    EXPECT_TRUE(plain == other && !plain.hasSameBytes(other));
    other.dime.cal_max = 1.0F;
    EXPECT_TRUE(plain != other);
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

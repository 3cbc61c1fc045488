#include "histogram/HistogramArray.h"
#include "histogram/histogram_files.h"
#include "tests/support/scratch_files.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cstdint>

namespace {

using tonalign::HistogramArray;

/// Numbers at the ends of what a double holds, which no run meets.
TEST(HistogramFile, ComesBackBitForBit)
{
    const double numbers[][3] = {{1.0 / 3.0, -0.0, 5e-324}, {1e-5, -1e22, 0x1.fffffffffffffp1023}};
    const tonalign::test::TemporaryDirectory directory;
    const std::string path = directory.path() / "target.txt";
    const HistogramArray hist(3);
    const HistogramArray loaded(3);
    for (const int row : {1, 2}) {
        std::copy_n(numbers[row - 1], 3, hist[row] + 1);
    }
    save_array(hist, 3, path.c_str());
    load_array(loaded, 3, path.c_str());
    for (const int row : {1, 2}) {
        for (int bin = 1; bin <= 3; ++bin) {
            EXPECT_EQ(std::bit_cast<std::uint64_t>(loaded[row][bin]),
                      std::bit_cast<std::uint64_t>(hist[row][bin]));
        }
    }
}

} // namespace

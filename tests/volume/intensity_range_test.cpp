#include "tests/support/volumes.h"
#include "volume/IntensityRange.h"

#include <gtest/gtest.h>

#include <bit>
#include <cstdint>
#include <limits>
#include <random>

namespace {

/// The plain scans are the volume's own; every bit must agree, the sign of a zero included.
void expect_range_of_plain_scans(const Array3D<double>& volume)
{
    const tonalign::IntensityRange range = tonalign::intensity_range(volume);
    EXPECT_EQ(std::bit_cast<std::uint64_t>(range.minimum),
              std::bit_cast<std::uint64_t>(volume.getMinValue()));
    EXPECT_EQ(std::bit_cast<std::uint64_t>(range.maximum),
              std::bit_cast<std::uint64_t>(volume.getMaxValue()));
}

TEST(IntensityRange, EqualsThePlainScansForEveryLength)
{
    std::mt19937 random(3);
    const double inf = std::numeric_limits<double>::infinity();
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double odd_values[] = {0.0, -0.0, 1.5, -1.5, inf, -inf, nan};
    for (int length = 1; length <= 40; ++length) {
        for (int trial = 0; trial < 50; ++trial) {
            Array3D<double> volume(1, 1, length);
            const std::size_t choices = trial % 2 == 0 ? 7 : 2;
            bool finite = true;
            for (int x = 0; x < length; ++x) {
                volume.block()[x] = odd_values[random() % choices];
                finite = finite && std::abs(volume.block()[x]) < inf;
            }
            expect_range_of_plain_scans(volume);
            EXPECT_EQ(tonalign::intensity_range(volume).finite, finite);
        }
    }
}

TEST(IntensityRange, LooksAtTheInnerRegionAlone)
{
    Array3D<double> volume;
    volume.setup(-1, 0, 5, 7, 2, 3, 4, 6, -3, -2, 0, 1);
    volume = 9.0;
    for (int z = -2; z <= 0; ++z) {
        for (int y = 3; y <= 4; ++y) {
            for (int x = 0; x <= 5; ++x) {
                volume.address()[z][y][x] = x == 2 ? -0.0 : 0.0;
            }
        }
    }
    expect_range_of_plain_scans(volume);
    volume.address()[-1][4][3] = -5.0;
    volume.address()[0][3][5] = 4.0;
    expect_range_of_plain_scans(volume);
}

} // namespace

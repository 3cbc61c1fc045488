#include "histogram/HistogramArray.h"
#include "histogram/histogram_files.h"
#include "tests/support/process_end.h"
#include "tests/support/scratch_files.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace {

using tonalign::HistogramArray;
using tonalign::test::read_file;
using tonalign::test::write_file;

HistogramArray histogram_of(const std::array<double, 3>& centres, const std::array<double, 3>& frequencies)
{
    HistogramArray hist(3);
    std::copy(centres.begin(), centres.end(), hist[1] + 1);
    std::copy(frequencies.begin(), frequencies.end(), hist[2] + 1);
    return hist;
}

class HistogramFile : public ::testing::Test
{
protected:
    const tonalign::test::TemporaryDirectory directory;
    const std::string path = directory.path() / "target.txt";
};
using HistogramFileDeathTest = HistogramFile;

TEST_F(HistogramFile, HoldsTheExactDecimalValuesLineByLine)
{
    const HistogramArray hist = histogram_of({-1.0, 0.1, 0.498046875}, {0.0, 0x1p-17, 1e20});
    save_array(hist, 3, path.c_str());
    EXPECT_EQ(read_file(path),
              "-1\t0\n"
              "0.1000000000000000055511151231257827021181583404541015625\t7.62939453125e-06\n"
              "0.498046875\t100000000000000000000\n");
    save_array(hist, 0, path.c_str());
    EXPECT_EQ(read_file(path), "");
    save_array(hist, 3, "no/such/file"); // passed over
}

TEST_F(HistogramFile, ComesBackBitForBit)
{
    const HistogramArray hist =
        histogram_of({1.0 / 3.0, -0.0, 5e-324}, {1e-5, -1e22, 0x1.fffffffffffffp1023});
    save_array(hist, 3, path.c_str());
    HistogramArray loaded(3);
    load_array(loaded, 3, path.c_str());
    for (const int row : {1, 2}) {
        EXPECT_EQ(std::memcmp(loaded[row] + 1, hist[row] + 1, 3 * sizeof(double)), 0);
    }
}

TEST_F(HistogramFile, OfATargetIsNormalisedWithoutItsFirstBinWhateverItsLayout)
{
    for (const char* layout :
         {"1\t9\n2\t0.5\n3\t1.5\n4\t7\n", " 1 9 2   .5 3 +15e-1", "1\n9\n2\n5e-1\n3 1.5 text"}) {
        write_file(path, layout);
        HistogramArray hist(3);
        tonalign::load_target_histogram(hist, 3, path.c_str());
        EXPECT_EQ(std::vector(hist[1] + 1, hist[1] + 4), (std::vector<double>{1, 2, 3}));
        EXPECT_EQ(std::vector(hist[2] + 1, hist[2] + 5), (std::vector<double>{0, 0.25, 0.75, 2}));
    }
}

TEST_F(HistogramFileDeathTest, UnusableTargetsEndTheProcess)
{
    const std::string three_pairs = ", but 3 pairs of bin centre and frequency are expected\n";
    const std::string no_number = "the histogram file does not hold a finite number at bin 2" + three_pairs;
    const std::pair<const char*, std::string> files[] = {
        {"", "the histogram file ends at bin 1" + three_pairs},
        {"1 0 2 1 3", "the histogram file ends at bin 3" + three_pairs},
        {"1 0 2 one 3 1", no_number},
        {"1 0 2 nan 3 1", no_number},
        {"1 0 2 1e999 3 1", no_number},
        {"1 0 2 1 3 -0.5",
         "the frequency of bin 3 is -0.5, but a finite number that is not negative is expected\n"},
        {"1 5 2 0 3 0", "the frequencies of bins 2 to 3 sum to 0, but a finite sum above 0 is expected\n"},
        {"1 0 2 1e308 3 1e308",
         "the frequencies of bins 2 to 3 sum to inf, but a finite sum above 0 is expected\n"},
    };
    const auto load = [](const std::string& name) {
        return [name] { tonalign::load_target_histogram(HistogramArray(3), 3, name.c_str()); };
    };
    const std::string folder = directory.path();
    tonalign::test::expect_ends(
        {{load(path), 1, "tonalign: " + path + ": the histogram file cannot be opened for reading\n"},
         {load(folder), 1,
          "tonalign: " + folder + ": the histogram file cannot be read at bin 1" + three_pairs}});
    for (const auto& [content, message] : files) {
        write_file(path, content);
        tonalign::test::expect_ends({{load(path), 1, "tonalign: " + path + ": " + message}});
    }
}

} // namespace

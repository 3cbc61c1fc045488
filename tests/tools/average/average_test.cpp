// SPDX-License-Identifier: BSD-3-Clause
#include "tests/support/random_runs.h"
#include "tests/support/scratch_files.h"

#include <gtest/gtest.h>

using namespace tonalign::test;

namespace {

/// Byte for byte, over volumes of all kinds, element types and byte orders; there is a mean after each.
TEST(Average, IsThatOfTheTranscriptionToTheLastDigit)
{
    for (const int bins : {2, 3, 17, 256}) {
        const TemporaryDirectory directory;
        Dice dice(500 + static_cast<std::uint64_t>(bins));
        std::vector<std::string> argv{TONALIGN_PROGRAM, "mean.hist", std::to_string(bins)};
        Histogram sum(bins);
        Histogram mean(bins);
        for (double count = 1.0; count <= 12.0; ++count) {
            StoredVolume stored = draw_volume(dice);
            while (histogram_of(stored.volume, bins).total == 0.0) {
                stored = draw_volume(dice); // the other one would be refused
            }
            ToolRun files;
            add_volume(files, stored, argv.emplace_back("volume" + std::to_string(argv.size())));
            for (const auto& [name, bytes] : files.inputs) {
                write_file(directory.path() / name, bytes);
            }
            const Histogram one = histogram_of(stored.volume, bins);
            for (int i = 1; i <= bins; ++i) {
                sum.centre[i] = sum.centre[i] + one.centre[i];
                sum.frequency[i] = sum.frequency[i] + one.frequency[i];
                mean.centre[i] = sum.centre[i] / count;
                mean.frequency[i] = sum.frequency[i] / count;
            }
            const ProcessResult result = run_process(argv, directory.path(), 1 + bins % 3);
            EXPECT_EQ(std::to_string(result.status) + result.standard_output + result.standard_error, "0");
            EXPECT_EQ(read_file(directory.path() / "mean.hist"), file_text(mean)) << bins << ", " << count;
        }
    }
}

} // namespace

// SPDX-License-Identifier: BSD-3-Clause
// The mean histogram byte for byte, against one that is computed from the plain transcription.
#include "tests/support/random_runs.h"
#include "tests/support/run_process.h"
#include "tests/support/scratch_files.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace tonalign::test;

namespace {

/// Files of a group of volumes, and the mean of their histograms.
struct Group
{
    ToolRun files;
    std::vector<std::string> names;
    std::vector<Histogram> histograms; ///< one for each name
    Histogram mean;
};

/// Volumes of all kinds, element types and byte orders, and the first one once more at the end.
Group draw_group(std::uint64_t seed, int bins)
{
    Dice dice(seed);
    Group group{{}, {}, {}, Histogram(bins)};
    std::vector<Histogram>& histograms = group.histograms;
    while (histograms.size() < 20) {
        const StoredVolume stored = draw_volume(dice);
        const Histogram histogram = histogram_of(stored.volume, bins);
        if (histogram.total > 0.0) { // others are refused
            group.names.push_back("volume" + std::to_string(group.names.size()));
            add_volume(group.files, stored, group.names.back());
            histograms.push_back(histogram);
        }
    }
    group.names.push_back(group.names.front());
    histograms.push_back(histograms.front());
    for (int i = 1; i <= bins; ++i) {
        double centres = 0.0;
        double frequencies = 0.0;
        for (const Histogram& one : histograms) {
            centres = centres + one.centre[i];
            frequencies = frequencies + one.frequency[i];
        }
        group.mean.centre[i] = centres / static_cast<double>(histograms.size());
        group.mean.frequency[i] = frequencies / static_cast<double>(histograms.size());
    }
    return group;
}

TEST(Average, IsThatOfTheTranscriptionToTheLastDigit)
{
    for (const int bins : {2, 3, 17, 256}) {
        const TemporaryDirectory directory;
        const Group group = draw_group(500 + static_cast<std::uint64_t>(bins), bins);
        for (const auto& [name, bytes] : group.files.inputs) {
            write_file(directory.path() / name, bytes);
        }
        std::vector<std::string> argv{TONALIGN_AVERAGE_PROGRAM, "mean.hist", std::to_string(bins)};
        argv.insert(argv.end(), group.names.begin(), group.names.end());
        const ProcessResult result = run_process(argv, directory.path(), 1 + bins % 2);
        EXPECT_EQ(result.status, 0);
        EXPECT_EQ(result.standard_output + result.standard_error, "");
        EXPECT_EQ(read_file(directory.path() / "mean.hist"), file_text(group.mean)) << bins << " bins";
    }
}

} // namespace

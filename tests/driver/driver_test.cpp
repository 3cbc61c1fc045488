// SPDX-License-Identifier: BSD-3-Clause
// The program as a whole, against the plain transcription: every byte it writes and every number it reports.
#include "tests/support/random_runs.h"
#include "tests/support/scratch_files.h"

#include <gtest/gtest.h>

#include <sstream>

using namespace tonalign::test;

namespace {

/// The numbers in the lines of ranges, endpoints and errors.
std::string reported_numbers(const std::string& console)
{
    std::string numbers;
    std::istringstream lines(console);
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with("Image-") || line.starts_with("bp_index") || line.starts_with("Error between")) {
            std::istringstream words(line);
            for (std::string word; words >> word;) {
                const bool number = word.find_first_not_of("0123456789.e+-") == std::string::npos;
                numbers += number ? word + " " : "";
            }
        }
    }
    return numbers;
}

void expect_run(const ToolRun& run, int threads)
{
    const TemporaryDirectory directory;
    for (const auto& [name, bytes] : run.inputs) {
        write_file(directory.path() / name, bytes);
    }
    std::istringstream arguments(run.arguments);
    std::vector<std::string> argv{TONALIGN_PROGRAM};
    std::copy(std::istream_iterator<std::string>(arguments), {}, std::back_inserter(argv));
    const ProcessResult process = run_process(argv, directory.path(), threads);
    std::ostringstream numbers;
    for (const double number : run.outcome.reported) {
        numbers << number << ' ';
    }
    EXPECT_EQ(process.status, 0) << process.standard_error;
    EXPECT_EQ(reported_numbers(process.standard_output), numbers.str());

    std::map<std::string, std::string> expected = run.inputs;
    expected.insert(run.outputs.begin(), run.outputs.end());
    for (const auto& entry : std::filesystem::directory_iterator(directory.path())) {
        const std::string name = entry.path().filename();
        EXPECT_TRUE(expected.contains(name)) << name;
        EXPECT_TRUE(read_file(entry.path()) == expected[name]) << name;
        expected.erase(name);
    }
    EXPECT_TRUE(expected.empty()) << expected.begin()->first << " was not written";
}

void expect_runs(bool to_volume, bool large, int count)
{
    for (int i = 0; i < count && !testing::Test::HasFailure(); ++i) {
        Dice dice(i);
        const ToolRun run = draw_run(dice, to_volume, large);
        for (const int threads : large ? std::vector{1, 2, 7} : std::vector{std::vector{1, 2, 7}[i % 3]}) {
            SCOPED_TRACE("run " + std::to_string(i) + ", threads " + std::to_string(threads) + ": " +
                         run.arguments);
            expect_run(run, threads);
        }
    }
}

TEST(WholeRun, MatchesVolumesToVolumesAsTheTranscriptionDoes)
{
    expect_runs(true, false, 240);
    expect_runs(true, true, 2);
}

TEST(WholeRun, MatchesVolumesToHistogramsAsTheTranscriptionDoes)
{
    expect_runs(false, false, 150);
    expect_runs(false, true, 1);
}

} // namespace

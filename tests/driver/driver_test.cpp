// SPDX-License-Identifier: BSD-3-Clause
// The program as a whole, against the plain transcription: every byte it writes and every number it reports.
#include "tests/support/random_runs.h"
#include "tests/support/run_process.h"

#include <gtest/gtest.h>

#include <sstream>

using namespace tonalign::test;

namespace {

using Draw = ToolRun (*)(std::uint64_t seed, bool large);

/// The numbers in the lines of ranges, endpoints and errors.
std::string reported_numbers(const std::string& console)
{
    std::string numbers;
    std::istringstream lines(console);
    for (std::string line; std::getline(lines, line);) {
        std::istringstream words(line.starts_with("Image-") || line.starts_with("bp_index") ||
                                         line.starts_with("Error between")
                                     ? line
                                     : "");
        for (std::string word; words >> word;) {
            char* rest = nullptr;
            std::strtod(word.c_str(), &rest);
            numbers += *rest == '\0' ? word + " " : "";
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
    std::vector<std::string> argv{TONALIGN_PROGRAM};
    argv.insert(argv.end(), run.arguments.begin(), run.arguments.end());
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

void expect_runs(Draw draw, std::uint64_t first_seed, int count, bool large)
{
    for (int i = 0; i < count && !testing::Test::HasFailure(); ++i) {
        const ToolRun run = draw(first_seed + static_cast<std::uint64_t>(i), large);
        for (const int threads : large ? std::vector{1, 2, 7} : std::vector{std::vector{1, 2, 7}[i % 3]}) {
            SCOPED_TRACE("seed " + std::to_string(first_seed + i) + ", threads " + std::to_string(threads) +
                         ": " + testing::PrintToString(run.arguments));
            expect_run(run, threads);
        }
    }
}

TEST(WholeRun, MatchesVolumesToVolumesAsTheTranscriptionDoes)
{
    expect_runs(draw_run_to_volume, 1000, 240, false);
    expect_runs(draw_run_to_volume, 1, 2, true);
}

TEST(WholeRun, MatchesVolumesToHistogramsAsTheTranscriptionDoes)
{
    expect_runs(draw_run_to_histogram, 5000, 150, false);
    expect_runs(draw_run_to_histogram, 1, 1, true);
}

} // namespace

#include "tests/support/random_runs.h"
#include "tests/support/run_process.h"
#include "tests/support/scratch_files.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

/// The program as a whole: what it prints and every byte it writes, against the plain transcription.

using namespace tonalign::test;

namespace {

using Files = std::map<std::string, std::string>;

/// After this many differing runs of one test, more of them would only bury the first.
constexpr int most_differing_runs = 3;

struct Observation
{
    ProcessResult process;
    Files files; ///< everything in the run's directory afterwards
};

Observation observe(const ToolRun& run, int threads)
{
    const TemporaryDirectory directory;
    for (const auto& [name, bytes] : run.inputs) {
        write_file(directory.path() / name, bytes);
    }
    std::vector<std::string> argv{TONALIGN_PROGRAM};
    argv.insert(argv.end(), run.arguments.begin(), run.arguments.end());
    Observation seen;
    seen.process = run_process(argv, directory.path(), threads);
    for (const auto& entry : std::filesystem::directory_iterator(directory.path())) {
        seen.files[entry.path().filename().string()] = read_file(entry.path());
    }
    return seen;
}

/// Empty when the texts are the same bytes, otherwise where and how they first differ.
std::string difference(const std::string& expected, const std::string& found)
{
    if (expected == found) {
        return {};
    }
    const auto [e, f] = std::mismatch(expected.begin(), expected.end(), found.begin(), found.end());
    const std::size_t offset = static_cast<std::size_t>(e - expected.begin());
    const auto around = [offset](const std::string& text) {
        const std::size_t begin = offset < 24 ? 0 : offset - 24;
        return begin < text.size() ? testing::PrintToString(text.substr(begin, 48)) : "nothing";
    };
    return "differs at offset " + std::to_string(offset) + " (" + std::to_string(found.size()) + " bytes, " +
           std::to_string(expected.size()) + " expected)\n    expected " + around(expected) +
           "\n    found    " + around(found) + "\n";
}

std::string difference(const Files& expected, const Files& found)
{
    std::string report;
    for (const auto& [name, bytes] : expected) {
        if (!found.contains(name)) {
            report += "  " + name + " was not written\n";
        } else if (const std::string where = difference(bytes, found.at(name)); !where.empty()) {
            report += "  " + name + " " + where;
        }
    }
    for (const auto& [name, bytes] : found) {
        if (!expected.contains(name)) {
            report += "  " + name + " should not be there\n";
        }
    }
    return report;
}

/// Empty when a run did exactly what it must.
std::string difference(const ToolRun& run, const Observation& seen)
{
    std::vector<std::string> argv{TONALIGN_PROGRAM};
    argv.insert(argv.end(), run.arguments.begin(), run.arguments.end());
    std::string report;
    if (seen.process.status != 0) {
        report += "  exit status " + std::to_string(seen.process.status) + "\n";
    }
    const std::string out = difference(expected_output(argv, run.images, run.outcome),
                                       mask_running_time(seen.process.standard_output));
    const std::string err = difference(expected_error(run.images), seen.process.standard_error);
    report += out.empty() ? "" : "  standard output " + out;
    report += err.empty() ? "" : "  standard error " + err;
    Files expected = run.inputs;
    expected.insert(run.outputs.begin(), run.outputs.end());
    return report + difference(expected, seen.files);
}

void compare_runs(ToolRun (*draw)(std::uint64_t), std::uint64_t first_seed, int count)
{
    int differing = 0;
    for (int i = 0; i < count && differing < most_differing_runs; ++i) {
        const std::uint64_t seed = first_seed + static_cast<std::uint64_t>(i);
        const ToolRun run = draw(seed);
        const int threads = 1 + i % 3;
        const std::string report = difference(run, observe(run, threads));
        if (!report.empty()) {
            ++differing;
            ADD_FAILURE() << "seed " << seed << ", " << threads << " threads: " << run.description << "\n"
                          << report;
        }
    }
}

TEST(WholeRun, MatchesVolumesToVolumesAsTheTranscriptionDoes)
{
    compare_runs(draw_run_to_volume, 1000, 200);
}

TEST(WholeRun, MatchesVolumesToHistogramsAsTheTranscriptionDoes)
{
    compare_runs(draw_run_to_histogram, 5000, 120);
}

} // namespace

#pragma once

#include "tests/support/expected_console.h"
#include "tests/support/plain_matching.h"
#include "tests/support/random_volumes.h"

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace tonalign::test {

/// One run of the tool, with everything it reads and everything it must write.
struct ToolRun
{
    std::string description;
    std::vector<std::string> arguments; ///< without the program's name
    std::map<std::string, std::string> inputs;
    std::vector<LoadedImage> images;
    std::map<std::string, std::string> outputs;
    Outcome outcome;
};

/// A completed run from an input volume to a target volume. The same seed gives the same run.
ToolRun draw_run_to_volume(std::uint64_t seed);

/// A completed run from an input volume to a histogram file.
ToolRun draw_run_to_histogram(std::uint64_t seed);

/// Puts the volume's two files, under a base name, among the inputs of a run, and its image into its list.
void add_volume(ToolRun& run, const StoredVolume& stored, const std::string& base);

/// Works out what a run to a volume must write; `arguments` must be in place.
void expect_match_to_volume(ToolRun& run, const StoredVolume& input, const StoredVolume& target);

/// The same for a run to a histogram file of these pairs.
void expect_match_to_histogram(ToolRun& run, const StoredVolume& input,
                               const std::vector<std::pair<double, double>>& pairs);

} // namespace tonalign::test

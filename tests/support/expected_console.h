#pragma once

#include "tests/support/analyze_files.h"
#include "tests/support/plain_matching.h"

#include <string>
#include <vector>

namespace tonalign::test {

/// What the console shows of an input file.
struct LoadedImage
{
    HeaderRecord header{};
    ByteOrder order = ByteOrder::native;
};

/// Standard output of a completed run, with `running_time` where the seconds stand.
///
/// `argv` starts with the program's name and has 13 entries (with a target volume) or 7 (without).
std::string expected_output(const std::vector<std::string>& argv, const std::vector<LoadedImage>& images,
                            const Outcome& outcome);

/// Standard error of a completed run.
std::string expected_error(const std::vector<LoadedImage>& images);

/// Standard output with its seconds replaced by `running_time`; unchanged when there is no number of
/// seconds, 0 or more, in its place.
std::string mask_running_time(const std::string& output);

/// Reads the numbers of a command line the way a run does; `argv` as above.
Parameters parameters_of(const std::vector<std::string>& argv);

inline constexpr const char* running_time = "<seconds>";

} // namespace tonalign::test

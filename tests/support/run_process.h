#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace tonalign::test {

struct ProcessResult
{
    int status = 0; ///< the exit status, or minus the number of the signal that ended the process
    std::string standard_output;
    std::string standard_error;
};

/// Runs a program in a directory with a team of `threads` OpenMP threads and waits for it.
///
/// `argv` starts with the path of the program. The two streams pass through files beside the directory, not
/// in it, so that the directory afterwards holds what the program wrote and nothing else.
ProcessResult run_process(const std::vector<std::string>& argv, const std::filesystem::path& directory,
                          int threads);

} // namespace tonalign::test

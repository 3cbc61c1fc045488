// SPDX-License-Identifier: BSD-3-Clause
// One run of a built program, as a user would start it.
#pragma once

#include "tests/support/scratch_files.h"

#include <sys/wait.h>

#include <vector>

namespace tonalign::test {

struct ProcessResult
{
    int status; ///< the exit status; above 128 after a signal
    std::string standard_output;
    std::string standard_error;
};

/// Runs argv in a directory with a team of `threads` OpenMP threads. The streams go to files elsewhere, so
/// that the directory afterwards holds what the program wrote and nothing else. No argument may hold a quote.
inline ProcessResult run_process(const std::vector<std::string>& argv, const std::filesystem::path& directory,
                                 int threads)
{
    const TemporaryDirectory streams;
    const std::string out = streams.path() / "out";
    const std::string err = streams.path() / "err";
    std::string command = "cd '" + directory.string() + "' && OMP_NUM_THREADS=" + std::to_string(threads);
    for (const std::string& argument : argv) {
        command += " '" + argument + "'";
    }
    const int ended = std::system((command + " >'" + out + "' 2>'" + err + "'").c_str());
    return {WIFEXITED(ended) ? WEXITSTATUS(ended) : 128 + WTERMSIG(ended), read_file(out), read_file(err)};
}

} // namespace tonalign::test

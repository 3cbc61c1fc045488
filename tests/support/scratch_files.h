// SPDX-License-Identifier: BSD-3-Clause
// Files of a test: a directory that goes away with everything in it, whole files as bytes, and runs of
// programs on them.
#pragma once

#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

namespace tonalign::test {

class TemporaryDirectory
{
public:
    TemporaryDirectory() : m_path(mkdtemp(m_name.data())) {}
    ~TemporaryDirectory() { std::filesystem::remove_all(m_path); }
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;
    const std::filesystem::path& path() const { return m_path; }

private:
    std::string m_name = std::filesystem::temp_directory_path() / "tonalign-test-XXXXXX";
    std::filesystem::path m_path;
};

inline std::string read_file(const std::filesystem::path& path)
{
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        throw std::runtime_error("cannot read " + path.string());
    }
    return {std::istreambuf_iterator<char>(file), {}};
}

inline void write_file(const std::filesystem::path& path, const std::string& bytes)
{
    std::ofstream file(path, std::ios::binary);
    if (!(file << bytes).flush()) {
        throw std::runtime_error("cannot write " + path.string());
    }
}

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

// SPDX-License-Identifier: BSD-3-Clause
// Files of a test: a directory that goes away with everything in it, and whole files as bytes.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

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

} // namespace tonalign::test

#pragma once

#include <filesystem>
#include <string>

namespace tonalign::test {

/// A directory of its own under the system's temporary one, removed with everything in it.
class TemporaryDirectory
{
public:
    TemporaryDirectory();
    ~TemporaryDirectory();
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

    const std::filesystem::path& path() const { return m_path; }

private:
    std::filesystem::path m_path;
};

/// A file as bytes. Both throw when the file cannot be read or written to its end.
std::string read_file(const std::filesystem::path& path);
void write_file(const std::filesystem::path& path, const std::string& bytes);

/// The bytes that pairs of hexadecimal digits stand for.
std::string from_hex(const std::string& digits);

} // namespace tonalign::test

#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace tonalign::test {

/// A directory of its own under the system's temporary one, removed with everything in it.
class TemporaryDirectory
{
public:
    TemporaryDirectory() { m_path = mkdtemp(m_path.data()); }
    ~TemporaryDirectory() { std::filesystem::remove_all(m_path); }
    std::filesystem::path path() const { return m_path; }

private:
    std::string m_path = std::filesystem::temp_directory_path() / "tonalign-XXXXXX";
};

inline std::string read_file(const std::filesystem::path& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

inline void write_file(const std::filesystem::path& path, const std::string& bytes)
{
    std::ofstream(path, std::ios::binary) << bytes;
}

inline std::string from_hex(const std::string& digits)
{
    std::string bytes;
    for (std::size_t i = 0; i < digits.size(); i += 2) {
        bytes += static_cast<char>(std::stoi(digits.substr(i, 2), nullptr, 16));
    }
    return bytes;
}

} // namespace tonalign::test

#include "tools/version.h"
#include "volume/AnalyzeHeader.h"
#include "volume/AnalyzeImage.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <iostream>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace {

/// As diff(1) ends.
enum Status
{
    equal = 0,
    different = 1,
    trouble = 2,
};

constexpr std::string_view usage = "Usage: tonalign-header print FILE...\n"
                                   "       tonalign-header diff FILE1 FILE2\n"
                                   "       tonalign-header --help | --version\n";

constexpr std::string_view explanation =
    "\n"
    "Shows the fields of Analyze 7.5 headers of either byte order.\n"
    "\n"
    "  print  list every field of each header\n"
    "  diff   list the fields in which two headers differ\n"
    "\n"
    "A FILE is named by its .hdr, its .img or the name without either.\n"
    "\n"
    "Exit status: 0 when all went well and the headers of diff are equal, 1 when they differ, 2 on trouble.\n";

void report(const std::string& message)
{
    std::cerr << "tonalign-header: " << message << '\n';
}

int usage_error(const std::string& message)
{
    report(message);
    std::cerr << usage;
    return trouble;
}

/// A header and the file it came from.
struct NamedHeader
{
    std::string file;
    AnalyzeHeader header;
};

std::nullopt_t unreadable(const std::string& file, const std::string& reason)
{
    report(file + ": " + reason);
    return std::nullopt;
}

/// Reads a header in either byte order; what is wrong goes to standard error as one line.
///
/// AnalyzeHeader::readAnalyzeHeader would announce a foreign byte order among the listings and end the
/// process at the first bad file.
std::optional<NamedHeader> read_header(const char* name)
{
    AnalyzeImage<double> pair;
    pair.setAnalyzeFileName(name);
    NamedHeader result = {pair.headername, {}};
    const std::string& file = result.file;

    errno = 0;
    std::ifstream stream(file, std::ios::binary);
    stream.ignore(tonalign::header_size);
    if (!stream.is_open() || stream.bad()) {
        return unreadable(file, errno != 0 ? std::strerror(errno) : "cannot be read");
    }
    if (stream.gcount() != tonalign::header_size) {
        return unreadable(file, "ends after " + std::to_string(stream.gcount()) +
                                    " bytes, but a header has " + std::to_string(tonalign::header_size));
    }

    AnalyzeHeader& header = result.header;
    stream.seekg(0);
    header.load(stream, 0);
    if (header.hk.sizeof_hdr != tonalign::header_size) {
        header.byte_swap_header();
    }
    if (header.hk.sizeof_hdr != tonalign::header_size) {
        return unreadable(file, "not an Analyze header: it does not begin with its size, " +
                                    std::to_string(tonalign::header_size) + ", in either byte order");
    }
    return result;
}

int print(std::span<char*> names)
{
    int status = equal;
    const char* separator = "";
    for (const char* const name : names) {
        const std::optional<NamedHeader> one = read_header(name);
        if (!one) {
            status = trouble;
            continue;
        }
        if (names.size() > 1) {
            std::cout << separator << "==> " << one->file << " <==\n";
            separator = "\n";
        }
        one->header.print(std::cout);
    }
    return status;
}

int diff(const char* left_name, const char* right_name)
{
    const std::optional<NamedHeader> left = read_header(left_name);
    const std::optional<NamedHeader> right = read_header(right_name);
    if (!left || !right) {
        return trouble;
    }
    left->header.diff(right->header, std::cout);
    return left->header == right->header ? equal : different;
}

int run(std::span<char*> arguments)
{
    const auto asked = [&](std::string_view option) { return std::ranges::count(arguments, option) > 0; };
    if (asked("--help")) {
        std::cout << usage << explanation;
        return equal;
    }
    if (asked("--version")) {
        std::cout << "tonalign-header " << tonalign::version << '\n';
        return equal;
    }
    if (arguments.empty()) {
        return usage_error("a command is expected");
    }
    const std::string command = arguments[0];
    const std::span<char*> names = arguments.subspan(1);
    if (command == "print") {
        return names.empty() ? usage_error("print expects at least one file") : print(names);
    }
    if (command == "diff") {
        return names.size() != 2 ? usage_error("diff expects two files") : diff(names[0], names[1]);
    }
    return usage_error("there is no command \"" + command + "\"");
}

} // namespace

int main(int argc, char** argv)
{
    const int status = run(std::span(argv, static_cast<std::size_t>(argc)).subspan(argc > 0 ? 1 : 0));
    std::cout.flush();
    if (!std::cout) {
        report("standard output cannot be written");
        return trouble;
    }
    return status;
}

// SPDX-License-Identifier: BSD-3-Clause
// tonalign-header: lists and compares headers.
#include "failure/unattended_run.h"
#include "tools/arguments.h"
#include "tools/version.h"
#include "volume/pair_file.h"

#include <unistd.h>

#include <iostream>
#include <optional>
#include <span>
#include <sstream>
#include <string>
#include <string_view>

namespace {

using tonalign::PairFile;

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
    "A FILE is named by its .hdr, its .img or the name without either. Names that start\n"
    "with a dash come after the argument --.\n"
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

/// Reads a header; what is wrong with it goes to standard error.
std::optional<PairFile> read_header(const char* name)
{
    PairFile result(name);
    if (const tonalign::Fault fault = tonalign::read_header(result)) {
        report(fault.message);
        return std::nullopt;
    }
    return result;
}

/// Writes a listing of what is in files. To a terminal, bytes that it might obey, or that are no plain text,
/// go as \xHH; a pipe or file gets them as they are.
void write_listing(const std::string& listing)
{
    if (::isatty(STDOUT_FILENO) != 1) {
        std::cout << listing;
        return;
    }
    constexpr const char* digits = "0123456789abcdef";
    for (const char character : listing) {
        const auto byte = static_cast<unsigned char>(character);
        if (character == '\n' || (byte >= ' ' && byte < 0x7f)) {
            std::cout << character;
        } else {
            std::cout << "\\x" << digits[byte >> 4U] << digits[byte & 0xfU];
        }
    }
}

int print(std::span<const char* const> names)
{
    int status = equal;
    const char* separator = "";
    for (const char* const name : names) {
        const std::optional<PairFile> one = read_header(name);
        if (!one) {
            status = trouble;
            continue;
        }
        if (names.size() > 1) {
            std::cout << separator << "==> " << one->names.header << " <==\n";
            separator = "\n";
        }
        std::ostringstream listing;
        one->header.print(listing);
        write_listing(listing.str());
    }
    return status;
}

int diff(const char* left_name, const char* right_name)
{
    const std::optional<PairFile> left = read_header(left_name);
    const std::optional<PairFile> right = read_header(right_name);
    if (!left || !right) {
        return trouble;
    }
    std::ostringstream listing;
    left->header.diff(right->header, listing);
    write_listing(listing.str());
    const bool fields_differ = left->header != right->header;
    if (!fields_differ && left->header.hasSameBytes(right->header)) {
        return equal;
    }
    if (!fields_differ) {
        std::cout << "The records differ in bytes that no field shows\n";
    }
    return different;
}

int run(std::span<char*> arguments)
{
    const tonalign::Arguments line = tonalign::parse_arguments(arguments);
    if (line.help) {
        std::cout << usage << explanation;
        return equal;
    }
    if (line.version) {
        std::cout << "tonalign-header " << tonalign::version << '\n';
        return equal;
    }
    if (!line.unknown_option.empty()) {
        return usage_error("there is no option \"" + line.unknown_option + "\"");
    }
    if (line.operands.empty()) {
        return usage_error("a command is expected");
    }
    const std::string command = line.operands[0];
    const std::span names = std::span(line.operands).subspan(1);
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
    tonalign::prepare_for_unattended_run("tonalign-header");
    const int status = run(std::span(argv, static_cast<std::size_t>(argc)).subspan(argc > 0 ? 1 : 0));
    return tonalign::standard_output_written() ? status : trouble;
}

// SPDX-License-Identifier: BSD-3-Clause
// The whole run that a command line asks for, one argument to a line, on tiny files. Their names come from a
// list, whatever the input says, so that no run leaves its scratch folder.
#include "driver/RunParameters.h"
#include "histogram/histogram.h"
#include "tests/fuzz/fuzz_target.h"
#include "tests/support/analyze_files.h"

#include <numeric>
#include <sstream>
#include <vector>

/// The tool's main under another name.
int tonalign_main(int argc, char** argv);

namespace tonalign::test {

namespace {

constexpr const char* names[] = {"bytes",    "bytes.img", "shorts.hdr", "floats", "doubles.img", "line",
                                 "huge",     "cut",       "flat.hist",  "folder", "text.hist",   "missing",
                                 "out1.img", "out2",      "1.hist",     "2.hist", "3.hist",      "4.hist"};

/// Anew for each run: outputs may have been written over inputs.
void write_inputs()
{
    using enum ElementType;
    const auto write_pair = [](const std::string& name, int nx, int ny, int nz, ElementType type,
                               const std::vector<double>& voxels) {
        HeaderRecord record{};
        describe_volume(record, nx, ny, nz, type);
        const ByteOrder order = type == signed16 || type == float32 ? ByteOrder::foreign : ByteOrder::native;
        write_file(scratch_file(name + ".hdr"), header_bytes(record, order));
        write_file(scratch_file(name + ".img"), voxel_bytes(voxels, type, order));
    };
    const std::vector<double> ramp = {0, 0, 1, 1, 2, 3, 3, 3, 5, 8, 8, 13, 21, 34, 55, 55, 55, 89};
    write_pair("bytes", 3, 3, 2, unsigned8, ramp);
    write_pair("shorts", 2, 3, 3, signed16, ramp);
    write_pair("floats", 1, 2, 9, float32, ramp);
    write_pair("doubles", 2, 2, 2, float64, {-1.5, 0.25, -0.0, 1e-9, 3e5, 3e5, 7.75, -1.5});
    write_pair("line", 18, 1, 1, signed32, ramp);
    write_pair("huge", 2, 2, 1, float64, {1e308, -1e308, 5e-324, 0});
    write_pair("cut", 3, 3, 3, float64, ramp);
    write_file(scratch_file("flat.hist"), "0 1 1 1 2 1 3 1 4 1 5 1 6 1 7 1");
    write_file(scratch_file("text.hist"), "0 0 bin two is text");
    std::filesystem::create_directories(scratch_file("folder"));
}

/// A listed name stays that file; any other text picks one.
std::string file_for(const std::string& argument)
{
    const auto* const found = std::find(std::begin(names), std::end(names), argument);
    const std::size_t sum = std::accumulate(argument.begin(), argument.end(), argument.size());
    return scratch_file(found == std::end(names) ? names[sum % std::size(names)] : *found);
}

} // namespace

void try_input(std::string input) // NOLINT(performance-unnecessary-value-param): other targets take it apart
{
    std::vector<std::string> arguments = {"tonalign"};
    std::istringstream lines(input);
    for (std::string line; std::getline(lines, line);) {
        arguments.push_back(line.substr(0, line.find('\0')));
    }
    std::vector<char*> argv = {arguments[0].data()};
    for (std::size_t i = 1; i < arguments.size(); ++i) {
        const bool is_number = arguments.size() == 7 ? i == 4 : 5 <= i && i <= 8;
        arguments[i] = is_number ? arguments[i] : file_for(arguments[i]);
        argv.push_back(arguments[i].data());
    }
    argv.push_back(nullptr);
    const auto argc = static_cast<int>(arguments.size());
    RunParameters parameters{};
    completes([&] { parameters = parse_arguments(argc, argv.data()); });
    // A target histogram too short for its bins is refused before any memory is taken, so there may be as
    // many as one likes; only what is no file has no length, nor has what the run itself writes first.
    const bool file_decides = !parameters.hasTargetVolume() &&
                              parameters.inputfile2 != parameters.inputfile1_hist &&
                              !std::filesystem::is_directory(parameters.inputfile2);
    if (file_decides || (parameters.Nbins <= 2000 && smoothing_kernel_length(parameters.sigma1) <= 1000.0)) {
        write_inputs();
        completes([&] { require(tonalign_main(argc, argv.data()) == 0, "a completed run gives 0"); });
    }
}

} // namespace tonalign::test

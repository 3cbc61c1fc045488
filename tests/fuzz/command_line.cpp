/// A command line, one argument to a line, the program's name left out; then the whole run that it asks for,
/// on tiny files. The names of files come from a list, whatever the input says, so that no run reads or
/// writes outside its scratch folder.

#include "driver/RunParameters.h"
#include "histogram/histogram.h"
#include "tests/fuzz/fuzz_target.h"
#include "tests/support/analyze_files.h"
#include "tests/support/scratch_files.h"

#include <array>
#include <filesystem>
#include <numeric>
#include <sstream>

using namespace tonalign::test;

/// The tool's main under another name.
int tonalign_main(int argc, char** argv);

namespace {

constexpr std::array names = {
    "bytes", "bytes.img", "shorts.hdr",   "floats",    "doubles.img", "line",      "huge",       "constant",
    "nan",   "cut",       "headless.img", "flat.hist", "peaks.hist",  "text.hist", "missing",    "out1.img",
    "out2",  "1.hist",    "2.hist",       "3.hist",    "4.hist",      "folder",    "missing/out"};

void write_pair(const std::string& name, int nx, int ny, int nz, const std::vector<double>& voxels,
                ElementType type, ByteOrder order)
{
    HeaderRecord record{};
    describe_volume(record, nx, ny, nz, type);
    write_file(scratch_file(name + ".hdr"), header_bytes(record, order));
    write_file(scratch_file(name + ".img"), voxel_bytes(voxels, type, order));
}

/// Anew for each run: outputs may have been written over inputs.
void write_inputs()
{
    using enum ElementType;
    using enum ByteOrder;
    const std::vector<double> ramp = {0, 0, 1, 1, 2, 3, 3, 3, 5, 8, 8, 13, 21, 34, 55, 55, 55, 89};
    write_pair("bytes", 3, 3, 2, ramp, unsigned8, native);
    write_pair("shorts", 2, 3, 3, ramp, signed16, foreign);
    write_pair("floats", 1, 2, 9, ramp, float32, foreign);
    write_pair("doubles", 2, 2, 2, {-1.5, 0.25, -0.0, 1e-9, 3e5, 3e5, 7.75, -1.5}, float64, native);
    write_pair("line", 18, 1, 1, ramp, signed32, native);
    write_pair("huge", 2, 2, 1, {1e308, -1e308, 5e-324, 0}, float64, native);
    write_pair("constant", 2, 2, 1, {7, 7, 7, 7}, unsigned8, native);
    write_pair("nan", 2, 1, 1, {1, 2}, float64, native);
    write_file(scratch_file("nan.img"), std::string(16, '\xff'));
    write_pair("cut", 3, 3, 2, ramp, float64, native);
    std::filesystem::resize_file(scratch_file("cut.img"), 100);
    write_file(scratch_file("headless.img"), "12345678");
    write_file(scratch_file("flat.hist"), "0 1 1 1 2 1 3 1 4 1 5 1 6 1 7 1");
    write_file(scratch_file("peaks.hist"), "0\t0\n10\t1e-3\n20\t0.9\n30\t0\n40\t0.099\n");
    write_file(scratch_file("text.hist"), "0 0 bin two is text");
    std::filesystem::create_directories(scratch_file("folder"));
}

std::vector<std::string> arguments_in(const std::string& text)
{
    std::vector<std::string> arguments = {"tonalign"};
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        arguments.push_back(line.substr(0, line.find('\0')));
    }
    return arguments;
}

std::vector<char*> pointers_to(std::vector<std::string>& arguments)
{
    std::vector<char*> argv;
    argv.reserve(arguments.size() + 1);
    for (std::string& argument : arguments) {
        argv.push_back(argument.data());
    }
    argv.push_back(nullptr);
    return argv;
}

/// A listed name stays that file; any other text picks one.
std::string file_for(const std::string& argument)
{
    const auto* found = std::find(names.begin(), names.end(), argument);
    if (found == names.end()) {
        found = names.begin() +
                std::accumulate(argument.begin(), argument.end(), argument.size(),
                                [](std::size_t sum, char c) { return sum + static_cast<unsigned char>(c); }) %
                    names.size();
    }
    return scratch_file(*found);
}

bool is_number(const tonalign::RunParameters& parameters, std::size_t position)
{
    return parameters.hasTargetVolume() ? 5 <= position && position <= 8 : position == 4;
}

/// A target histogram too short for its bins is refused before any memory is taken, so there may be as many
/// as one likes; only what is no file has no length.
bool stays_small(const tonalign::RunParameters& parameters, const std::string& target)
{
    return (parameters.Nbins <= 2000 && tonalign::smoothing_kernel_length(parameters.sigma1) <= 1000.0) ||
           (!parameters.hasTargetVolume() && !std::filesystem::is_directory(target));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    std::vector<std::string> arguments = arguments_in(InputBytes(data, size).rest());
    const auto argc = static_cast<int>(arguments.size());
    std::vector<char*> argv = pointers_to(arguments);
    tonalign::RunParameters parameters{};
    const bool usable = completes([&] {
        tonalign::echo_arguments(argc, argv.data());
        parameters = tonalign::parse_arguments(argc, argv.data());
        tonalign::print_parameters(parameters);
        tonalign::require_usable_parameters(parameters);
    });
    if (!usable) {
        return 0;
    }

    for (std::size_t i = 1; i < arguments.size(); ++i) {
        if (!is_number(parameters, i)) {
            arguments[i] = file_for(arguments[i]);
        }
    }
    write_inputs();
    if (stays_small(parameters, arguments[2])) {
        argv = pointers_to(arguments);
        completes([&] { require(tonalign_main(argc, argv.data()) == 0, "a completed run gives 0"); });
    }
    return 0;
}

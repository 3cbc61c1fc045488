// SPDX-License-Identifier: BSD-3-Clause
// tonalign-average: the mean histogram of a group of volumes, as a target.
#include "driver/RunVolume.h"
#include "failure/end_process.h"
#include "failure/unattended_run.h"
#include "histogram/HistogramMean.h"
#include "histogram/histogram.h"
#include "histogram/histogram_files.h"
#include "tools/arguments.h"
#include "tools/version.h"
#include "volume/OutputFile.h"
#include "volume/pair_file.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <limits>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

namespace {

using tonalign::Fault;

constexpr const char* program = "tonalign-average";

enum Status
{
    done = 0,
    trouble = 2,
};

constexpr std::string_view usage =
    "Usage: tonalign-average [--clip P] [--smooth S] [--leave-out IN]...\n"
    "                        [--leave-out-outliers Z] [--report] OUT.hist N IN...\n"
    "       tonalign-average --help | --version\n";

constexpr std::string_view explanation =
    "\n"
    "Writes the mean of the histograms of Analyze 7.5 volumes, as a target for\n"
    "tonalign IN OUT.hist RESULT N ...\n"
    "\n"
    "  OUT.hist  the histogram file to write; none of the inputs\n"
    "  N         number of bins, 2 or more\n"
    "  IN        a volume, named by its .hdr, its .img or the name without either;\n"
    "            it counts as often as it is named\n"
    "\n"
    "Each volume is counted in N bins over its own range, from its smallest to its\n"
    "largest voxel. The first bin is the background and left out; the frequencies of\n"
    "the others sum to 1 for every volume, whatever its size. Of these frequencies,\n"
    "and of the bin centres, the mean is written: the sum in the order of the inputs,\n"
    "divided by their number. One volume is in memory at a time.\n"
    "\n"
    "  --clip P      end each volume's range at this percentile of its voxels above the\n"
    "                smallest; what lies beyond counts in the last bin\n"
    "  --smooth S    smooth the mean by a Gaussian of so many bins\n"
    "  --leave-out IN\n"
    "                measure a volume, but make the mean without it; may be given again\n"
    "  --leave-out-outliers Z\n"
    "                the same for volumes whose distance from the mean of the others is\n"
    "                above the median by more than Z robust standard deviations\n"
    "  --report      print how far each volume is from the mean of the others\n"
    "\n"
    "Names that start with a dash come after the argument --.\n"
    "\n"
    "Exit status: 0 when the file has been written whole. 2 on trouble, which is told\n"
    "on standard error; OUT.hist is then what it was before. When memory runs out the\n"
    "process may be aborted (134 in the shell); OUT.hist is untouched then too.\n";

/// The texts of the library name neither the program nor, all of them, the file.
int end_in_trouble(const tonalign::ProcessEnd& end)
{
    std::cerr << program << ": failed while " << tonalign::present_stage() << '\n';
    write_end(end);
    return trouble;
}

int usage_error(const std::string& message)
{
    std::cerr << program << ": " << message << '\n' << usage;
    return trouble;
}

/// The number of bins, or 0 when the text is no plain number between the limits.
int parse_bins(std::string_view text, int fewest, int most)
{
    int bins = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), bins);
    const bool plain = error == std::errc{} && end == text.data() + text.size();
    return plain && fewest <= bins && bins <= most ? bins : 0;
}

/// What the options ask for.
struct Wishes
{
    double clip = 100.0;
    double smooth = 0.0;
    std::vector<std::string> left_out;
    std::optional<double> outlier_limit;
    bool report = false;
};

/// Reads the options; what cannot be used is a fault.
Fault parse_wishes(const tonalign::Arguments& line, Wishes& wishes)
{
    for (const auto& [option, value] : line.options) {
        double number = 0.0;
        const auto [end, error] = std::from_chars(value.data(), value.data() + value.size(), number);
        const bool plain = error == std::errc{} && end == value.data() + value.size() &&
                           std::isfinite(number) && number >= 0.0;
        if (option == "--leave-out") {
            wishes.left_out.push_back(value);
        } else if (option == "--report") {
            wishes.report = true;
        } else if (option == "--clip" && plain && 0.0 < number && number <= 100.0) {
            wishes.clip = number;
        } else if (option == "--smooth" && plain && tonalign::can_smooth(number)) {
            wishes.smooth = number;
        } else if (option == "--leave-out-outliers" && plain) {
            wishes.outlier_limit = number;
        } else {
            return {option + ": \"" + value + "\" is not a value that it takes"};
        }
    }
    for (const std::string& name : wishes.left_out) {
        const auto same = [&name](const char* operand) { return name == operand; };
        if (std::none_of(line.operands.begin() + 2, line.operands.end(), same)) {
            return {"--leave-out: \"" + name + "\" is none of the inputs"};
        }
    }
    return {};
}

/// One line on standard error, and only for somebody who watches.
///
/// The cursor is left at the start of the line, so that a message that ends the process overwrites it; the
/// message is the longer one, since it holds the program's name beside the volume's.
class Progress
{
public:
    explicit Progress(std::size_t total) : m_total(total), m_watched(::isatty(STDERR_FILENO) == 1) {}
    ~Progress() { show(""); }
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    void enter(std::size_t number, const std::string& name) const
    {
        show(std::to_string(number) + '/' + std::to_string(m_total) + ' ' + name);
    }

private:
    void show(const std::string& text) const
    {
        if (m_watched) {
            std::cerr << "\r\033[K" << text << '\r' << std::flush;
        }
    }

    std::size_t m_total;
    bool m_watched;
};

Fault fault_of_output(const std::string& name)
{
    const std::string reason = errno != 0 ? std::string(": ") + std::strerror(errno) : "";
    return {name + ": the histogram file cannot be written" + reason};
}

Fault fault_of_overwritten_input(const std::string& output, const tonalign::PairFile& input)
{
    for (const std::string& file : {input.names.header, input.names.image}) {
        std::error_code not_both_exist;
        if (std::filesystem::equivalent(output, file, not_both_exist)) {
            return {output + ": the output is also an input, " + file};
        }
    }
    return {};
}

/// Looks at everything before hours are spent on the voxels.
Fault inspect(const char* output, std::span<const char* const> names, std::vector<tonalign::PairFile>& inputs)
{
    for (const char* const name : names) {
        tonalign::PairFile& input = inputs.emplace_back(name);
        if (Fault fault = read_header(input)) {
            return fault;
        }
        if (Fault fault = check_image(input)) {
            return fault;
        }
        if (Fault fault = fault_of_overwritten_input(output, input)) {
            return fault;
        }
    }
    errno = 0;
    return tonalign::OutputFile(output).possible() ? Fault() : fault_of_output(output);
}

/// Reads a volume and adds its histogram.
Fault add(const tonalign::PairFile& input, int bins, double clip, tonalign::HistogramMean& mean)
{
    const std::string& name = input.names.image;
    const std::string stage = "reading " + name;
    tonalign::enter_stage(stage.c_str());
    Array3D<double> voxels;
    if (Fault fault = read_image(input, voxels)) {
        return fault;
    }
    tonalign::enter_stage("computing a histogram");
    tonalign::RunVolume volume;
    const tonalign::VolumeView view(voxels.block(), tonalign::ElementKind::float64, voxels.getNxTotal(),
                                    voxels.getNyTotal(), voxels.getNzTotal());
    if (Fault fault = volume.takeForeground(view, name, bins, clip)) {
        return fault;
    }
    const tonalign::HistogramArray hist(bins);
    volume.calculateHistogram(0.0, hist, bins);
    return mean.add(hist, name);
}

/// Leaves out what is to be left out, and tells of it when asked.
Fault choose(tonalign::HistogramMean& mean, std::span<const char* const> names, const Wishes& wishes)
{
    for (std::size_t k = 0; k < names.size(); ++k) {
        if (std::find(wishes.left_out.begin(), wishes.left_out.end(), names[k]) != wishes.left_out.end()) {
            mean.leaveOut(k);
        }
    }
    if (wishes.outlier_limit) {
        mean.leaveOutliersOut(*wishes.outlier_limit);
    }
    std::size_t left = 0;
    const std::vector<double> distances = mean.distances();
    for (std::size_t k = 0; k < names.size(); ++k) {
        left += mean.isLeftOut(k) ? 0 : 1;
        if (wishes.report) {
            std::cout << names[k] << '\t' << distances[k] << (mean.isLeftOut(k) ? "\tleft out\n" : "\n");
        }
    }
    return left > 0 ? Fault() : Fault{"every volume is left out, but a mean expects at least one"};
}

Fault average(const char* output, int bins, std::span<const char* const> names, const Wishes& wishes)
{
    tonalign::enter_stage("looking at the inputs");
    std::vector<tonalign::PairFile> inputs;
    if (Fault fault = inspect(output, names, inputs)) {
        return fault;
    }
    tonalign::enter_stage("taking memory for the bins");
    tonalign::HistogramMean mean(bins);
    const Progress progress(inputs.size());
    for (std::size_t k = 0; k < inputs.size(); ++k) {
        progress.enter(k + 1, names[k]);
        if (Fault fault = add(inputs[k], bins, wishes.clip, mean)) {
            return fault;
        }
    }
    if (Fault fault = choose(mean, names, wishes)) {
        return fault;
    }
    tonalign::enter_stage("writing the mean");
    errno = 0;
    return save_array(mean.mean(wishes.smooth), bins, output) ? Fault() : fault_of_output(output);
}

int run(std::span<char*> arguments)
{
    const tonalign::Arguments line = tonalign::parse_arguments(
        arguments, {"--report"}, {"--clip", "--smooth", "--leave-out", "--leave-out-outliers"});
    if (line.help) {
        std::cout << usage << explanation;
        return done;
    }
    if (line.version) {
        std::cout << program << ' ' << tonalign::version << '\n';
        return done;
    }
    if (!line.unknown_option.empty()) {
        return usage_error("there is no option \"" + line.unknown_option + "\"");
    }
    if (line.operands.size() < 3) {
        return usage_error("an output, a number of bins and at least one input are expected");
    }
    constexpr int fewest = 2;
    constexpr int most = (std::numeric_limits<int>::max() - 1) / 2 - 1; // as many as tonalign takes
    const int bins = parse_bins(line.operands[1], fewest, most);
    if (bins == 0) {
        return usage_error("the number of bins is \"" + std::string(line.operands[1]) +
                           "\", but a plain number from " + std::to_string(fewest) + " to " +
                           std::to_string(most) + " is expected");
    }
    Wishes wishes;
    if (const Fault fault = parse_wishes(line, wishes)) {
        return usage_error(fault.message);
    }
    if (const Fault fault = average(line.operands[0], bins, std::span(line.operands).subspan(2), wishes)) {
        std::cerr << program << ": " << fault.message << '\n';
        return trouble;
    }
    return done;
}

} // namespace

int main(int argc, char** argv)
{
    tonalign::prepare_for_unattended_run(program);
    tonalign::set_end_handler(end_in_trouble);
    const int status = run(std::span(argv, static_cast<std::size_t>(argc)).subspan(argc > 0 ? 1 : 0));
    return tonalign::standard_output_written() ? status : trouble;
}

#include "tests/support/random_runs.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <sstream>

namespace tonalign::test {

namespace {

using Pairs = std::vector<std::pair<double, double>>;

/// 17 significant digits tell a double apart from all others, as the 128 of a histogram file do.
std::string decimal(double value, int significant_digits)
{
    char digits[512];
    std::snprintf(digits, sizeof digits, "%.*g", significant_digits, value);
    return digits;
}

/// How the frequencies of a target histogram spread over its bins.
enum class Spread
{
    single_peak,
    small_integers, ///< rounded counts then often meet exact halves
    sparse,
    bell,
    uneven,
    even,
    two_bins, ///< in simple proportion; the counts for one or two voxels are then halves
};

Pairs draw_pairs(Dice& dice, int bins, Spread spread)
{
    Pairs pairs;
    const int peak = dice.between(2, bins);
    const int other_peak = dice.between(2, bins);
    const double weight = dice.any_of<double>({1.0, 3.0});
    const double scale = dice.any_of<double>({1.0, 0.125, 1e-9, 3e7});
    for (int i = 1; i <= bins; ++i) {
        double frequency = 1.0;
        switch (spread) {
        case Spread::single_peak:
            frequency = i == peak ? 1.0 : 0.0;
            break;
        case Spread::small_integers:
            frequency = dice.between(0, 3);
            break;
        case Spread::sparse:
            frequency = dice.once_in(3) ? dice.unit() : 0.0;
            break;
        case Spread::bell:
            frequency = std::exp(-0.5 * (i - peak) * (i - peak) / (1.0 + bins));
            break;
        case Spread::uneven:
            frequency = dice.unit();
            break;
        case Spread::two_bins:
            frequency = i == other_peak ? weight : 0.0;
            break;
        default:
            break;
        }
        // The first bin and all centres are dropped, whatever they hold.
        pairs.emplace_back(dice.between(-5, 5) * 0.3, (i == 1 ? 50.0 : scale) * frequency);
    }
    pairs[static_cast<std::size_t>(peak - 1)].second += scale;
    return pairs;
}

std::string histogram_text(Dice& dice, const Pairs& pairs)
{
    const std::string between = dice.any_of<std::string>({"\t", "\t", "   ", "\n", " \t "});
    const std::string after = dice.any_of<std::string>({"\n", "\n", " ", "\n\n\n"});
    const int precision = dice.any_of<int>({17, 128});
    std::string text;
    for (const auto& [centre, frequency] : pairs) {
        text += decimal(centre, precision) + between + decimal(frequency, precision) + after;
    }
    return text + dice.any_of<std::string>({"", "", "77 0.25\n78 0.5\n", "the rest is not read\n"});
}

std::string draw_name(Dice& dice, const std::string& base)
{
    return base + dice.any_of<std::string>({"", ".img", ".hdr", ".imx"});
}

std::string joined(const std::vector<std::string>& arguments)
{
    std::string line = "tonalign";
    for (const std::string& argument : arguments) {
        line += " " + argument;
    }
    return line;
}

std::string in_words(const StoredVolume& stored)
{
    static const char* const types[] = {"8-bit", "16-bit", "32-bit", "float", "double"};
    const Volume& v = stored.volume;
    std::ostringstream words;
    words << v.nx << "x" << v.ny << "x" << v.nz << " " << stored.kind << ", "
          << types[static_cast<int>(stored.type)]
          << (stored.image.order == ByteOrder::foreign ? ", foreign byte order" : "");
    return words.str();
}

std::string draw_bins(Dice& dice, int lowest)
{
    const int bins =
        dice.once_in(2) ? dice.any_of<int>({2, 3, 4, 5, 6, 10, 16, 64, 256}) : dice.between(2, 300);
    return std::to_string(std::max(bins, lowest));
}

void expect_image(ToolRun& run, const std::string& name, const HeaderRecord& header,
                  const std::vector<float>& voxels)
{
    const std::string base = analyze_base_name(name);
    run.outputs[base + ".hdr"] = header_bytes(output_header(header), ByteOrder::native);
    run.outputs[base + ".img"] = float_bytes(voxels);
}

std::vector<std::string> with_program(const std::vector<std::string>& arguments)
{
    std::vector<std::string> argv{"tonalign"};
    argv.insert(argv.end(), arguments.begin(), arguments.end());
    return argv;
}

} // namespace

void add_volume(ToolRun& run, const StoredVolume& stored, const std::string& base)
{
    run.inputs[base + ".hdr"] = header_bytes(stored.image.header, stored.image.order);
    run.inputs[base + ".img"] =
        voxel_bytes(stored.volume.voxels, stored.type, stored.image.order) + stored.bytes_after;
    run.images.push_back(stored.image);
    run.description += "\n  " + base + ": " + in_words(stored);
}

void expect_match_to_volume(ToolRun& run, const StoredVolume& input, const StoredVolume& target)
{
    const std::vector<std::string>& a = run.arguments;
    run.outcome = match_to_volume(input.volume, target.volume, parameters_of(with_program(a)));
    expect_image(run, a[2], input.image.header, run.outcome.output1);
    expect_image(run, a[3], target.image.header, run.outcome.output2);
    run.outputs[a[8]] = run.outcome.input1_histogram;
    run.outputs[a[9]] = run.outcome.input2_histogram;
    run.outputs[a[10]] = run.outcome.output1_histogram;
    run.outputs[a[11]] = run.outcome.output2_histogram;
}

void expect_match_to_histogram(ToolRun& run, const StoredVolume& input, const Pairs& pairs)
{
    const std::vector<std::string>& a = run.arguments;
    run.outcome = match_to_histogram(input.volume, pairs, parameters_of(with_program(a)).bins);
    expect_image(run, a[2], input.image.header, run.outcome.output1);
    run.outputs[a[4]] = run.outcome.input1_histogram;
    run.outputs[a[5]] = run.outcome.output1_histogram;
}

ToolRun draw_run_to_volume(std::uint64_t seed)
{
    static const std::vector<std::string> on{"1", "1", "+1", "01", "1x"};
    static const std::vector<std::string> off{"0", "0", "2", "-1", "off"};
    static const std::vector<std::string> sigmas{"0", "0.5", "0.9", "1", "1.5", "2.25", "3", "-2", "none"};
    Dice dice(seed);
    while (true) {
        const StoredVolume input = draw_volume(dice);
        const StoredVolume target = draw_volume(dice);
        const bool endpoints = dice.once_in(2);
        const bool histogram = !dice.once_in(3);
        const int fewest_bins = endpoints ? 5 : histogram ? 2 : 1;
        const bool one_bin = fewest_bins == 1 && dice.once_in(4);
        ToolRun run;
        run.arguments = {draw_name(dice, "input"),
                         draw_name(dice, "target"),
                         draw_name(dice, "output"),
                         draw_name(dice, "matched-target"),
                         one_bin ? "1" : draw_bins(dice, fewest_bins),
                         dice.any_of(sigmas),
                         dice.any_of(endpoints ? on : off),
                         dice.any_of(histogram ? on : off),
                         "input.hist",
                         "target.hist",
                         "output.hist",
                         "matched-target.hist"};
        run.description = joined(run.arguments);
        add_volume(run, input, "input");
        add_volume(run, target, "target");
        expect_match_to_volume(run, input, target);
        if (run.outcome.refusal.empty()) {
            return run;
        }
    }
}

ToolRun draw_run_to_histogram(std::uint64_t seed)
{
    Dice dice(seed);
    while (true) {
        const bool few_voxels = dice.once_in(6);
        const StoredVolume input =
            few_voxels ? draw_volume(dice, 1, dice.between(1, 3), 2) : draw_volume(dice);
        const std::string bins = draw_bins(dice, 2);
        const Pairs pairs = draw_pairs(
            dice, std::stoi(bins), few_voxels ? Spread::two_bins : static_cast<Spread>(dice.between(0, 6)));
        ToolRun run;
        run.arguments = {draw_name(dice, "input"),
                         "wanted.txt",
                         draw_name(dice, "output"),
                         bins,
                         "input.hist",
                         "output.hist"};
        run.description = joined(run.arguments);
        add_volume(run, input, "input");
        run.inputs["wanted.txt"] = histogram_text(dice, pairs);
        expect_match_to_histogram(run, input, pairs);
        if (run.outcome.refusal.empty()) {
            return run;
        }
    }
}

} // namespace tonalign::test

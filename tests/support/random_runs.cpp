// SPDX-License-Identifier: BSD-3-Clause
// What runs are drawn from: each choice here once told a fault of the tool from its absence.
#include "tests/support/random_runs.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace tonalign::test {

namespace {

using Pairs = std::vector<std::pair<double, double>>;

/// Voxel values are first + step * level.
struct Levels
{
    double first;
    double step;
};

/// Apart and exact in the element type, for levels below 1000 (bytes: below 34).
Levels draw_levels(Dice& dice, ElementType type)
{
    const double sign = dice.once_in(2) ? -1.0 : 1.0;
    switch (type) {
    case ElementType::unsigned8:
        return {dice.any_of<double>({0, 57}), dice.any_of<double>({1, 6})};
    case ElementType::signed16:
        return {sign * dice.between(0, 700), dice.any_of<double>({1, 32})};
    case ElementType::signed32:
        return {sign * dice.between(0, 1000000000), dice.any_of<double>({1, 262, 263, 1000000})};
    default:
        // Most steps are ones that binary fractions cannot hold: sums then depend on the order of their
        // terms.
        return {dice.any_of<double>({0.0, -1.4, 100.1, -3000.3, 0x1p50}),
                dice.any_of<double>({0.1, 0.7, 13.3, 0.25, 1.0})};
    }
}

/// Levels of the voxels of one kind of volume.
std::vector<int> draw_pattern(Dice& dice, int nx, int ny, int nz, int most)
{
    const int kind = dice.between(0, 7);
    const int levels = std::min(most, dice.any_of<int>({2, 3, 4, 6, 17, 33, 999}));
    const int a = dice.between(1, 4);
    const int b = dice.between(0, 3);
    std::vector<int> pattern;
    const int turn = dice.between(0, nx * ny * nz);
    for (int j = 0; j < nx * ny * nz; ++j) {
        const int x = j % nx;
        const int y = j / nx % ny;
        const int z = j / nx / ny;
        const int noise = dice.between(0, levels - 1);
        const int level[] = {noise,
                             noise,
                             x / (a + 1) + 2 * (y / (a + 2)) + 3 * (z / 2),   // regions
                             x * a + y * b + z,                               // a ramp
                             (x + y + z) % 2,                                 // a checkerboard
                             dice.once_in(4 * a) ? noise : 1,                 // a plateau and specks
                             std::abs(j / (b + 1) - turn) + 1,                // falling and rising
                             noise < levels / 2 ? 0 : levels - (2 * z < nz)}; // halves apart by one level
        pattern.push_back(std::min(level[kind], most) % (kind > 5 ? most : levels));
    }
    return pattern;
}

/// Each byte without a meaning to readers is drawn.
HeaderRecord draw_header(Dice& dice, const Volume& volume, ElementType type)
{
    HeaderRecord header;
    std::generate(header.begin(), header.end(),
                  [&] { return static_cast<unsigned char>(dice.between(0, 255)); });
    describe_volume(header, volume.nx, volume.ny, volume.nz, type);
    // Only the width tells 8-bit integers and doubles; readers must not look at their data type.
    if ((type == ElementType::unsigned8 || type == ElementType::float64) && dice.once_in(3)) {
        put(header, header_offset::datatype, dice.between(-32768, 32767));
    }
    return header;
}

StoredVolume draw_large_volume(Dice& dice)
{
    using enum ElementType;
    StoredVolume stored = draw_volume(dice, 48, 40, 40);
    stored.type = dice.any_of<ElementType>({signed32, float32, float64});
    for (double& v : stored.volume.voxels) {
        const int level = dice.between(200, 700) + dice.between(0, 500);
        v = dice.once_in(12000) ? dice.between(2000, 3000) : dice.once_in(10) ? dice.between(0, 3) : level;
    }
    describe_volume(stored.header, 48, 40, 40, stored.type);
    return stored;
}

Pairs draw_pairs(Dice& dice, int bins, bool few_voxels)
{
    const int spread = few_voxels ? 0 : dice.between(0, 4);
    const int peak = dice.between(2, bins);
    const int other_peak = dice.between(2, bins);
    const double weight = dice.any_of<double>({0.0, 1.0, 3.0});
    const double scale = dice.any_of<double>({1.0, 0.125, 1e-9, 3e7});
    Pairs pairs;
    for (int i = 1; i <= bins; ++i) {
        const double frequency[] = {i == other_peak ? weight
                                                    : 0.0, // the counts for two voxels are then halves
                                    static_cast<double>(dice.between(0, 3)), dice.once_in(3) ? 0.3 : 0.0,
                                    std::exp(-0.5 * (i - peak) * (i - peak) / (1.0 + bins)), 1.0};
        // The first bin and all centres are dropped, whatever they hold.
        pairs.emplace_back(dice.between(-5, 5) * 0.3, (i == 1 ? 50.0 : scale) * frequency[spread]);
    }
    pairs[peak - 1].second += scale;
    return pairs;
}

std::string histogram_text(Dice& dice, const Pairs& pairs)
{
    const std::string between = dice.any_of<std::string>({"\t", "   ", "\n", " \t "});
    const std::string after = dice.any_of<std::string>({"\n", " ", "\n\n\n"});
    std::string text;
    for (const auto& [centre, frequency] : pairs) {
        char digits[64];
        std::snprintf(digits, sizeof digits, "%.17g%s%.17g%s", centre, between.c_str(), frequency,
                      after.c_str());
        text += digits;
    }
    return text + dice.any_of<std::string>({"", "77 0.25\n78 0.5\n", "the rest is not read\n"});
}

/// Adds one of the endings that all name the same pair.
std::string draw_name(Dice& dice, const std::string& base)
{
    return base + dice.any_of<std::string>({"", ".img", ".hdr", ".imx"});
}

void expect_image(ToolRun& run, const std::string& base, const StoredVolume& stored,
                  const std::vector<float>& voxels)
{
    run.outputs[base + ".hdr"] = header_bytes(output_header(stored.header), ByteOrder::native);
    run.outputs[base + ".img"] = float_bytes(voxels);
}

} // namespace

int Dice::between(int lowest, int highest)
{
    return lowest + static_cast<int>(m_engine() % static_cast<std::uint64_t>(highest - lowest + 1));
}

StoredVolume draw_volume(Dice& dice, int nx, int ny, int nz)
{
    StoredVolume stored{{nx, ny, nz, {}}, static_cast<ElementType>(dice.between(0, 4)), {}, {}, {}};
    const Levels levels = draw_levels(dice, stored.type);
    const bool real = stored.type == ElementType::float32 || stored.type == ElementType::float64;
    const bool zeros = real && dice.once_in(4);
    for (const int level : draw_pattern(dice, nx, ny, nz, stored.type == ElementType::unsigned8 ? 33 : 999)) {
        double value = levels.first + levels.step * level;
        if (zeros && dice.once_in(4)) {
            value = dice.once_in(2) ? 0.0 : -0.0;
        }
        stored.volume.voxels.push_back(stored.type == ElementType::float32 ? double{static_cast<float>(value)}
                                                                           : value);
    }
    stored.header = draw_header(dice, stored.volume, stored.type);
    stored.order = dice.once_in(3) ? ByteOrder::foreign : ByteOrder::native;
    stored.bytes_after = dice.once_in(8) ? "more bytes" : "";
    return stored;
}

StoredVolume draw_volume(Dice& dice)
{
    const int most = dice.any_of<int>({3, 6, 9, 9, 24});
    const int nx = dice.once_in(5) ? 1 : dice.between(1, most);
    const int ny = dice.once_in(5) ? 1 : dice.between(1, std::min(most, 20));
    return draw_volume(dice, nx, ny, dice.once_in(5) ? 2 : dice.between(1, std::min(most, 18)));
}

void add_volume(ToolRun& run, const StoredVolume& stored, const std::string& base)
{
    run.inputs[base + ".hdr"] = header_bytes(stored.header, stored.order);
    run.inputs[base + ".img"] =
        voxel_bytes(stored.volume.voxels, stored.type, stored.order) + stored.bytes_after;
}

ToolRun draw_run_to_volume(std::uint64_t seed, bool large)
{
    static const std::vector<std::string> on{"1", "1", "+1", "01", "1x"};
    static const std::vector<std::string> off{"0", "0", "2", "-1", "off"};
    Dice dice(seed);
    while (true) {
        const StoredVolume input = large ? draw_large_volume(dice) : draw_volume(dice);
        const StoredVolume target = large ? draw_large_volume(dice) : draw_volume(dice);
        const bool endpoints = large || dice.once_in(2);
        const bool histogram = large || !dice.once_in(3);
        const int fewest = endpoints ? 5 : histogram ? 2 : 1;
        const int bins =
            std::max(fewest, large ? 90 : dice.any_of<int>({1, 2, 3, 4, 5, 10, 64, dice.between(1, 300)}));
        const double sigma = dice.any_of<double>({0, 0.5, 0.9, 1, 1.5, 2.25, 3, -2});
        ToolRun run;
        add_volume(run, input, "input");
        add_volume(run, target, "target");
        run.outcome = match_to_volume(input.volume, target.volume, {bins, sigma, endpoints, histogram});
        if (!run.outcome.refusal.empty()) {
            continue;
        }
        run.arguments = {draw_name(dice, "input"),
                         draw_name(dice, "target"),
                         draw_name(dice, "output"),
                         draw_name(dice, "matched-target"),
                         std::to_string(bins),
                         std::to_string(sigma),
                         dice.any_of(endpoints ? on : off),
                         dice.any_of(histogram ? on : off),
                         "1.hist",
                         "2.hist",
                         "3.hist",
                         "4.hist"};
        expect_image(run, "output", input, run.outcome.output1);
        expect_image(run, "matched-target", target, run.outcome.output2);
        run.outputs["1.hist"] = run.outcome.input1_histogram;
        run.outputs["2.hist"] = run.outcome.input2_histogram;
        run.outputs["3.hist"] = run.outcome.output1_histogram;
        run.outputs["4.hist"] = run.outcome.output2_histogram;
        return run;
    }
}

ToolRun draw_run_to_histogram(std::uint64_t seed, bool large)
{
    Dice dice(seed);
    while (true) {
        const bool few = !large && dice.once_in(6);
        const StoredVolume input = large ? draw_large_volume(dice)
                                   : few ? draw_volume(dice, 1, dice.between(1, 3), 2)
                                         : draw_volume(dice);
        const int bins = dice.any_of<int>({2, 3, 4, 5, 10, 64, dice.between(2, 300)});
        const Pairs pairs = draw_pairs(dice, bins, few);
        ToolRun run;
        add_volume(run, input, "input");
        run.inputs["wanted.txt"] = histogram_text(dice, pairs);
        run.outcome = match_to_histogram(input.volume, pairs, bins);
        if (!run.outcome.refusal.empty()) {
            continue;
        }
        run.arguments = {draw_name(dice, "input"), "wanted.txt", draw_name(dice, "output"),
                         std::to_string(bins),     "1.hist",     "2.hist"};
        expect_image(run, "output", input, run.outcome.output1);
        run.outputs["1.hist"] = run.outcome.input1_histogram;
        run.outputs["2.hist"] = run.outcome.output1_histogram;
        return run;
    }
}

} // namespace tonalign::test

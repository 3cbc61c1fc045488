// SPDX-License-Identifier: BSD-3-Clause
// The choices that runs are drawn from; without any one of them some fault of the tool would go unseen.
#include "tests/support/random_runs.h"

#include <algorithm>
#include <cstdlib>
#include <sstream>

namespace tonalign::test {

namespace {

/// First value and step of the levels: apart and exact in the element type.
std::array<double, 2> draw_scale(Dice& dice, ElementType type)
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
        // Steps that binary fractions cannot hold: sums depend on the order of their terms.
        return {dice.any_of<double>({0.0, -1.4, 100.1, -3000.3, 9000000000000007.0}),
                dice.any_of<double>({0.1, 0.7, 13.3, 0.25, 1.0})};
    }
}

/// Levels from 0 to `most` of the voxels of one kind of volume.
std::vector<int> draw_levels(Dice& dice, int nx, int ny, int nz, int most)
{
    const int kind = dice.between(0, 7);
    const int count = std::min(most, dice.any_of<int>({2, 3, 4, 6, 17, 33, 999}));
    const int a = dice.between(1, 4);
    const int b = dice.between(0, 3);
    const int turn = dice.between(0, nx * ny * nz);
    std::vector<int> levels;
    for (int j = 0; j < nx * ny * nz; ++j) {
        const int x = j % nx;
        const int y = j / nx % ny;
        const int z = j / nx / ny;
        const int noise = dice.between(0, count - 1);
        const int regions = x / (a + 1) + 2 * (y / (a + 2)) + 3 * (z / 2);
        const int falling_and_rising = std::abs(j / (b + 1) - turn) + 1;
        const int halves = noise < count / 2 ? 0 : count - (2 * z < nz ? 1 : 0);
        const int specks = dice.once_in(4 * a) ? noise : 1;
        const int level[] = {noise,           noise,  regions, x * a + y * b + z,
                             (x + y + z) % 2, specks, halves,  falling_and_rising};
        levels.push_back(level[kind] % (most + 1));
    }
    return levels;
}

StoredVolume draw_large_volume(Dice& dice)
{
    StoredVolume stored = draw_volume(dice, 48, 40, 40);
    stored.type = static_cast<ElementType>(dice.between(2, 4)); // 4 bytes a voxel at least
    describe_volume(stored.header, 48, 40, 40, stored.type);
    for (double& v : stored.volume.voxels) {
        v = dice.between(200, 700) + dice.between(0, 500);
        v = dice.once_in(12000) ? 3000 - v : dice.once_in(10) ? dice.between(0, 3) : v;
    }
    return stored;
}

/// The first bin and all centres are dropped, whatever they hold.
std::vector<std::pair<double, double>> draw_pairs(Dice& dice, int bins)
{
    const int peak = dice.between(2, bins);
    const int full = dice.between(0, 3);
    const double scale = dice.any_of<double>({1.0, 0.125, 1e-9, 3e7});
    std::vector<std::pair<double, double>> pairs;
    for (int i = 1; i <= bins; ++i) {
        const bool empty = i != peak && dice.between(1, 3) > full;
        pairs.emplace_back(dice.between(-5, 5) * 0.3,
                           empty ? 0.0 : scale * dice.any_of<double>({1, 1, 3, 0.3}));
    }
    return pairs;
}

std::string histogram_text(Dice& dice, const std::vector<std::pair<double, double>>& pairs)
{
    const std::string between = dice.any_of<std::string>({"\t", "   ", "\n", " \t "});
    std::ostringstream text;
    text.precision(17);
    for (const auto& [centre, frequency] : pairs) {
        text << centre << between << frequency << (between == "\n" ? " " : "\n");
    }
    return text.str() + dice.any_of<std::string>({"", "77 0.25\n78 0.5\n", "the rest is not read\n"});
}

void expect_image(ToolRun& run, const std::string& base, const StoredVolume& stored,
                  const std::vector<float>& voxels)
{
    run.outputs[base + ".hdr"] = header_bytes(output_header(stored.header), ByteOrder::native);
    run.outputs[base + ".img"] = float_bytes(voxels);
}

} // namespace

StoredVolume draw_volume(Dice& dice, int nx, int ny, int nz)
{
    StoredVolume stored{{nx, ny, nz, {}}, static_cast<ElementType>(dice.between(0, 4)), {}, {}, {}};
    const bool real = stored.type >= ElementType::float32;
    const bool zeros = real && dice.once_in(4);
    const auto [first, step] = draw_scale(dice, stored.type);
    for (const int level : draw_levels(dice, nx, ny, nz, stored.type == ElementType::unsigned8 ? 33 : 999)) {
        const double value =
            zeros && dice.once_in(4) ? dice.any_of<double>({0.0, -0.0}) : first + step * level;
        stored.volume.voxels.push_back(stored.type == ElementType::float32 ? static_cast<float>(value)
                                                                           : value);
    }
    for (unsigned char& byte : stored.header) {
        byte = static_cast<unsigned char>(dice.between(0, 255));
    }
    describe_volume(stored.header, nx, ny, nz, stored.type);
    // Only the width tells 8-bit integers and doubles; readers must not look at their data type.
    if ((stored.type == ElementType::unsigned8 || stored.type == ElementType::float64) && dice.once_in(3)) {
        put(stored.header, header_offset::datatype, dice.between(-32768, 32767));
    }
    stored.order = dice.once_in(3) ? ByteOrder::foreign : ByteOrder::native;
    stored.bytes_after = dice.once_in(8) ? "more bytes" : "";
    return stored;
}

StoredVolume draw_volume(Dice& dice)
{
    const int most = dice.any_of<int>({3, 6, 9, 9, 20});
    const auto extent = [&] { return dice.once_in(5) ? 1 : dice.between(1, most); };
    const int nx = extent();
    const int ny = extent();
    return draw_volume(dice, nx, ny, nx * ny == 1 ? 2 : extent());
}

void add_volume(ToolRun& run, const StoredVolume& stored, const std::string& base)
{
    run.inputs[base + ".hdr"] = header_bytes(stored.header, stored.order);
    run.inputs[base + ".img"] =
        voxel_bytes(stored.volume.voxels, stored.type, stored.order) + stored.bytes_after;
}

ToolRun draw_run(Dice& dice, bool to_volume, bool large)
{
    ToolRun run;
    const auto draw = [&](const std::string& base) {
        const bool few = !to_volume && dice.once_in(6);
        StoredVolume stored = large ? draw_large_volume(dice)
                              : few ? draw_volume(dice, 1, 3, 2)
                                    : draw_volume(dice);
        add_volume(run, stored, base);
        return stored;
    };
    const auto named = [&](const std::string& base) {
        return base + dice.any_of<std::string>({" ", ".img ", ".hdr ", ".imx "}); // all name the same pair
    };
    const bool endpoints = to_volume && (large || dice.once_in(2));
    const bool histogram = !to_volume || large || !dice.once_in(3);
    const int fewest = large ? 90 : endpoints ? 5 : histogram ? 2 : 1;
    const int bins = std::max(fewest, dice.any_of<int>({1, 2, 3, 4, 5, 10, 64, dice.between(1, 300)}));
    const double sigma = dice.any_of<double>({0, 0.5, 0.9, 1, 1.5, 2.25, 3, -2});
    const StoredVolume input = draw("input");
    if (to_volume) {
        const StoredVolume target = draw("target");
        run.outcome = match_to_volume(input.volume, target.volume, {bins, sigma, endpoints, histogram});
        run.arguments = named("input") + named("target") + named("output") + named("matched-target") +
                        std::to_string(bins) + " " + std::to_string(sigma) +
                        dice.any_of<std::string>({endpoints ? " 1" : " 0", endpoints ? " +1x" : " off"}) +
                        (histogram ? " 1" : " 2") + " 1.hist 3.hist 2.hist 4.hist";
        expect_image(run, "matched-target", target, run.outcome.output2);
        run.outputs["3.hist"] = run.outcome.input2_histogram;
        run.outputs["4.hist"] = run.outcome.output2_histogram;
    } else {
        const auto pairs = draw_pairs(dice, bins);
        run.inputs["wanted.txt"] = histogram_text(dice, pairs);
        run.outcome = match_to_histogram(input.volume, pairs, bins);
        run.arguments =
            named("input") + "wanted.txt " + named("output") + std::to_string(bins) + " 1.hist 2.hist";
    }
    expect_image(run, "output", input, run.outcome.output1);
    run.outputs["1.hist"] = run.outcome.input1_histogram;
    run.outputs["2.hist"] = run.outcome.output1_histogram;
    return run.outcome.refusal.empty() ? run : draw_run(dice, to_volume, large);
}

} // namespace tonalign::test

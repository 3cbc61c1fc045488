// SPDX-License-Identifier: BSD-3-Clause
// Runs of the tool drawn at random, with everything they read and everything they must write.
#pragma once

#include "tests/support/analyze_files.h"
#include "tests/support/plain_matching.h"

#include <map>
#include <random>

namespace tonalign::test {

/// Draws that are the same with every standard library.
class Dice
{
public:
    explicit Dice(std::uint64_t seed) : m_engine(seed) {}
    int between(int lowest, int highest);
    bool once_in(int n) { return between(1, n) == 1; }
    template <typename T>
    T any_of(const std::vector<T>& choices)
    {
        return choices[between(0, static_cast<int>(choices.size()) - 1)];
    }

private:
    std::mt19937_64 m_engine;
};

/// A volume and how it lies in its two files.
struct StoredVolume
{
    Volume volume;
    ElementType type;
    HeaderRecord header;
    ByteOrder order;
    std::string bytes_after; ///< what follows the voxels in the image file
};

/// A volume of one of the kinds that matter to the matching: noise, regions, outliers, ties and more.
StoredVolume draw_volume(Dice& dice, int nx, int ny, int nz);

/// The same, of a size drawn as well: single slices and lines, a few voxels, up to 24x20x18.
StoredVolume draw_volume(Dice& dice);

struct ToolRun
{
    std::vector<std::string> arguments; ///< without the program's name
    std::map<std::string, std::string> inputs;
    std::map<std::string, std::string> outputs;
    Outcome outcome;
};

/// Completed runs; the same seed gives the same run. A large one has several slabs, blocks of the reader, and
/// outliers beyond both endpoints.
ToolRun draw_run_to_volume(std::uint64_t seed, bool large);
ToolRun draw_run_to_histogram(std::uint64_t seed, bool large);

/// Puts the volume's two files, under a base name, among the inputs of a run.
void add_volume(ToolRun& run, const StoredVolume& stored, const std::string& base);

} // namespace tonalign::test

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
    int between(int lowest, int highest)
    {
        return lowest + static_cast<int>(m_engine() % (highest - lowest + 1U));
    }
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

/// A volume of one of the kinds that matter to the matching: noise, regions, ties, signed zeros and more.
StoredVolume draw_volume(Dice& dice, int nx, int ny, int nz);
StoredVolume draw_volume(Dice& dice); ///< of a size drawn as well, lines and single slices included

struct ToolRun
{
    std::string arguments{}; ///< without the program's name
    std::map<std::string, std::string> inputs{}, outputs{};
    Outcome outcome{};
};

/// A completed run, to a volume or to a histogram. A large one has several slabs, several blocks of the
/// reader, and outliers beyond the endpoints.
ToolRun draw_run(Dice& dice, bool to_volume, bool large);

/// Puts the volume's two files, under a base name, among the inputs of a run.
void add_volume(ToolRun& run, const StoredVolume& stored, const std::string& base);

} // namespace tonalign::test

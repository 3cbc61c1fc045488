#pragma once

#include "tests/support/expected_console.h"
#include "tests/support/plain_histogram.h"

#include <cstddef>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

namespace tonalign::test {

/// Draws that are the same with every standard library.
class Dice
{
public:
    explicit Dice(std::uint64_t seed) : m_engine(seed) {}
    int between(int lowest, int highest);
    double unit(); ///< in [0, 1)
    bool once_in(int n) { return between(1, n) == 1; }
    template <typename T>
    T any_of(const std::vector<T>& choices)
    {
        return choices[static_cast<std::size_t>(between(0, static_cast<int>(choices.size()) - 1))];
    }

private:
    std::mt19937_64 m_engine;
};

/// A volume and how it lies in its two files.
struct StoredVolume
{
    std::string kind; ///< in words, for messages
    Volume volume;
    ElementType type = ElementType::unsigned8;
    LoadedImage image;         ///< its header and byte order
    std::string bytes_after{}; ///< what follows the voxels in the image file
};

/// A volume of one of the kinds that matter to the matching: plateaus, ramps, noise, ties and more.
StoredVolume draw_volume(Dice& dice, int nx, int ny, int nz);

/// The same, of a size drawn as well: single slices and lines, a few voxels, up to 24x20x18.
StoredVolume draw_volume(Dice& dice);

} // namespace tonalign::test

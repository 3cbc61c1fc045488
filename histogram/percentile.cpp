// SPDX-License-Identifier: BSD-3-Clause
// Selects by counting.
#include "histogram/percentile.h"

#include "numeric/sort_key.h"
#include "volume/Team.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <functional>
#include <utility>
#include <vector>

namespace tonalign {

namespace {

constexpr int digit_bits = 16;
constexpr std::size_t digits = std::size_t{1} << digit_bits;

/// Counts the foreground by one digit of the keys that begin with `prefix`, the digits above it.
std::vector<std::int64_t> count_digits(const Intensities& volume, double minimum, std::uint64_t prefix,
                                       int shift)
{
    const VolumeView& view = volume.view();
    std::vector<std::int64_t> counts(digits);
    in_parallel(view.nz, [&](Team& team) {
        std::vector<std::int64_t> own(digits);
        std::vector<double> row(static_cast<std::size_t>(view.nx));
        team.share([&](std::int64_t slice) {
            const int z = static_cast<int>(slice);
            for (int y = 0; y < view.ny; ++y) {
                volume.row(z, y, row.data());
                const std::uint8_t* const mask = view.maskRow(z, y);
                for (int x = 0; x < view.nx; ++x) {
                    const double value = row[static_cast<std::size_t>(x)];
                    const bool inside = mask != nullptr ? mask[x * view.stride_x] != 0 : value > minimum;
                    const std::uint64_t key = sort_key(value) >> shift;
                    if (inside && key >> digit_bits == prefix) {
                        ++own[key % digits];
                    }
                }
            }
        });
        team.takeTurns(
            [&] { std::transform(own.begin(), own.end(), counts.begin(), counts.begin(), std::plus<>()); });
    });
    return counts;
}

/// How many of `voxels` make up the share; at least 1.
std::int64_t wanted(std::int64_t voxels, double percent)
{
    const double share = std::ceil(static_cast<double>(voxels) * percent / 100.0);
    return std::clamp<std::int64_t>(static_cast<std::int64_t>(share), 1, voxels);
}

double percentile_of_levels(const Intensities& volume, double minimum, double percent)
{
    std::vector<std::pair<double, std::int64_t>> levels;
    std::int64_t voxels = 0;
    for (std::size_t level = 0; level < volume.values().size(); ++level) {
        const double value = volume.values()[level];
        const bool inside = volume.view().mask != nullptr ? level != volume.outsideLevel() : value > minimum;
        if (inside && volume.counts()[level] > 0) {
            levels.emplace_back(value, volume.counts()[level]);
            voxels += volume.counts()[level];
        }
    }
    std::sort(levels.begin(), levels.end());
    double result = minimum;
    std::int64_t missing = voxels == 0 ? 0 : wanted(voxels, percent);
    for (std::size_t k = 0; missing > 0; ++k) {
        result = levels[k].first;
        missing -= levels[k].second;
    }
    return result;
}

} // namespace

double percentile(const Intensities& volume, double minimum, double percent)
{
    if (volume.haveLevels()) {
        return percentile_of_levels(volume, minimum, percent);
    }
    std::uint64_t key = 0;
    std::int64_t missing = 0;
    for (int shift = 64 - digit_bits; shift >= 0; shift -= digit_bits) {
        const std::vector<std::int64_t> counts = count_digits(volume, minimum, key, shift);
        if (key == 0 && missing == 0) {
            std::int64_t voxels = 0;
            for (const std::int64_t count : counts) {
                voxels += count;
            }
            if (voxels == 0) {
                return minimum;
            }
            missing = wanted(voxels, percent);
        }
        std::uint64_t digit = 0;
        for (; missing > counts[digit]; ++digit) {
            missing -= counts[digit];
        }
        key = key << digit_bits | digit;
    }
    return value_of_sort_key(key);
}

} // namespace tonalign

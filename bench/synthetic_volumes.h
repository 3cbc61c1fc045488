// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "volume/Array3D.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <random>
#include <vector>

/// Cubic volumes for the benchmarks, made in code: the same voxels on every machine for the same seed.
namespace tonalign::bench {

/// A number in [0, 1). The standard distributions may differ between libraries; the engine may not.
inline double unit_draw(std::mt19937_64& random)
{
    return std::ldexp(static_cast<double>(random() >> 11U), -53);
}

/// A volume of side x side x side voxels, each given by value(x, y, z) with positions in [-1, 1].
template <typename Function>
Array3D<double> cube_of(int side, Function value)
{
    Array3D<double> volume(side, side, side);
    double* voxel = volume.block();
    const auto position = [side](int i) { return 2.0 * i / (side - 1) - 1.0; };
    for (int z = 0; z < side; ++z) {
        for (int y = 0; y < side; ++y) {
            for (int x = 0; x < side; ++x) {
                *voxel++ = value(position(x), position(y), position(z));
            }
        }
    }
    return volume;
}

/// An ellipsoid that fills about 45 % of the cube; outside it is background, as around a head.
inline bool in_head(double x, double y, double z)
{
    return x * x / 0.85 + y * y / 0.95 + z * z / 0.80 < 1.0;
}

/// 256 grey levels, each voxel drawn by itself: nothing to predict, hardly a tie beyond the intensity.
inline Array3D<double> noise(int side, std::uint64_t seed)
{
    std::mt19937_64 random(seed);
    return cube_of(side, [&random](double, double, double) { return std::floor(256.0 * unit_draw(random)); });
}

/// Slow waves and a little noise inside the ellipsoid, in whole grey levels up to 255: near a scan of a head.
inline Array3D<double> head(int side, std::uint64_t seed)
{
    struct Wave
    {
        double fx, fy, fz, phase;
    };
    std::mt19937_64 random(seed);
    std::vector<Wave> waves(6);
    for (Wave& wave : waves) {
        wave = {6.0 * unit_draw(random), 6.0 * unit_draw(random), 6.0 * unit_draw(random),
                6.3 * unit_draw(random)};
    }
    return cube_of(side, [&](double x, double y, double z) {
        if (!in_head(x, y, z)) {
            return 0.0;
        }
        double level = 120.0 + 8.0 * (unit_draw(random) - 0.5);
        for (const Wave& wave : waves) {
            level += 20.0 * std::sin(wave.fx * x + wave.fy * y + wave.fz * z + wave.phase);
        }
        return std::clamp(std::floor(level), 1.0, 255.0);
    });
}

/// Constant regions inside the ellipsoid, each the voxels nearest to one of its seed points: inside a region
/// all keys are equal on every level.
inline Array3D<double> label_regions(int side, int regions, std::uint64_t seed)
{
    struct Point
    {
        double x, y, z;
    };
    std::mt19937_64 random(seed);
    std::vector<Point> points(static_cast<std::size_t>(regions));
    for (Point& point : points) {
        point = {2.0 * unit_draw(random) - 1.0, 2.0 * unit_draw(random) - 1.0, 2.0 * unit_draw(random) - 1.0};
    }
    return cube_of(side, [&](double x, double y, double z) {
        double label = 0.0;
        double nearest = std::numeric_limits<double>::max();
        for (std::size_t k = 0; k < points.size() && in_head(x, y, z); ++k) {
            const double squared = (x - points[k].x) * (x - points[k].x) +
                                   (y - points[k].y) * (y - points[k].y) +
                                   (z - points[k].z) * (z - points[k].z);
            if (squared < nearest) {
                nearest = squared;
                label = static_cast<double>(k + 1);
            }
        }
        return label;
    });
}

/// The head above in `levels` grey levels only: large bins, in which the filter responses decide.
inline Array3D<double> few_levels(int side, int levels, std::uint64_t seed)
{
    Array3D<double> volume = head(side, seed);
    std::for_each(volume.block(), volume.block() + volume.blockSize(),
                  [levels](double& voxel) { voxel = std::ceil(voxel * levels / 255.0); });
    return volume;
}

} // namespace tonalign::bench

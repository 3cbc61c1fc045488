// SPDX-License-Identifier: BSD-3-Clause
// What the benchmarks of the hot routines share: volumes made in code, and how a routine is timed.
#pragma once

#include "tests/support/volumes.h"

#include <benchmark/benchmark.h>

#include <array>
#include <cmath>

namespace tonalign::bench {

/// Noise has nothing to predict; a head is slow waves and a little noise inside an ellipsoid, as in a scan;
/// in a region all keys are equal on every level; few levels make large bins, in which filter responses
/// decide.
enum Kind
{
    noise,
    head,
    regions,
    few_levels,
};
inline constexpr const char* kinds[] = {"noise", "head", "100 regions", "8 grey levels"};

using Point = std::array<double, 3>;

inline std::int64_t nearest_of(const std::vector<Point>& points, const Point& p)
{
    const auto squared = [&p](const Point& q) {
        return std::pow(p[0] - q[0], 2) + std::pow(p[1] - q[1], 2) + std::pow(p[2] - q[2], 2);
    };
    return std::ranges::min_element(points, {}, squared) - points.begin();
}

/// A volume of side x side x side voxels in whole numbers up to 255, the same ones on every machine.
inline Array3D<double> make_volume(std::int64_t kind, int side, std::uint64_t seed = 1)
{
    std::mt19937_64 random(seed);
    // The standard distributions may differ between libraries; the engine may not.
    const auto draw = [&random] { return std::ldexp(static_cast<double>(random() >> 11U), -53); };
    std::vector<Point> points(kind == regions ? 100 : 6); // seeds of the regions, or directions of the waves
    for (Point& p : points) {
        p = {2.0 * draw() - 1.0, 2.0 * draw() - 1.0, 2.0 * draw() - 1.0};
    }
    Array3D<double> volume(side, side, side);
    const auto position = [side](std::int64_t i) {
        return 2.0 * static_cast<double>(i % side) / (side - 1) - 1.0;
    };
    for (std::int64_t j = 0; j < volume.blockSize(); ++j) {
        const Point p = {position(j), position(j / side), position(j / side / side)};
        double level = std::floor(256.0 * draw());
        if (kind != noise && p[0] * p[0] / 0.85 + p[1] * p[1] / 0.95 + p[2] * p[2] / 0.80 >= 1.0) {
            level = 0.0; // the background, as around a head
        } else if (kind == regions) {
            level = static_cast<double>(nearest_of(points, p) + 1);
        } else if (kind != noise) {
            level = 116.0 + level / 32.0;
            for (const Point& wave : points) {
                level += 20.0 * std::sin(4.0 * (wave[0] * p[0] + wave[1] * p[1] + wave[2] * p[2]) + wave[0]);
            }
            level = std::clamp(kind == head ? std::floor(level) : std::ceil(level * 8.0 / 255.0), 1.0, 255.0);
        }
        volume.block()[j] = level;
    }
    return volume;
}

/// Times `run` on a Case made for these arguments, and fails unless it leaves there what the plain `twin`
/// leaves: the speed of a wrong result is not worth knowing.
template <typename Case, void (*run)(Case&), void (*twin)(Case&)>
void Measure(benchmark::State& state)
{
    Case found(state);
    for (auto _ : state) {
        if constexpr (requires { found.restore(); }) {
            state.PauseTiming();
            found.restore();
            state.ResumeTiming();
        }
        run(found);
        benchmark::ClobberMemory();
    }
    Case expected(state);
    twin(expected);
    if (!(found.result() == expected.result())) {
        state.SkipWithError("the result differs from its plain twin's");
    }
    state.SetItemsProcessed(state.iterations() * found.volume.blockSize());
}

} // namespace tonalign::bench

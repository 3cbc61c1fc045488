// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "volume/Array3D.h"

#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstring>

namespace tonalign::bench {

/// Fails the benchmark unless two volumes of one extent hold the same bits: the speed of a wrong result is
/// not worth knowing.
inline void require_same_bits(benchmark::State& state, const Array3D<double>& expected,
                              const Array3D<double>& found)
{
    const auto bytes = static_cast<std::size_t>(expected.blockSize()) * sizeof(double);
    if (expected.blockSize() != found.blockSize() ||
        std::memcmp(expected.block(), found.block(), bytes) != 0) {
        state.SkipWithError("the result differs from its plain twin's");
    }
}

} // namespace tonalign::bench

// SPDX-License-Identifier: BSD-3-Clause
#include "bench/same_bits.h"
#include "bench/synthetic_volumes.h"
#include "volume/ElementType.h"
#include "volume/IntensityRange.h"
#include "volume/voxel_file.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstring>
#include <iostream>
#include <streambuf>
#include <string>
#include <type_traits>
#include <vector>

/// Reading, writing and scanning the voxels of a volume, without a disk in between.

namespace {

using namespace tonalign;

/// A stream over bytes in memory, which are read or overwritten in place.
class MemoryBuffer : public std::streambuf
{
public:
    explicit MemoryBuffer(std::vector<char>& bytes)
    {
        setg(bytes.data(), bytes.data(), bytes.data() + bytes.size());
        setp(bytes.data(), bytes.data() + bytes.size());
    }
};

constexpr int side = 128;

template <typename Element>
const ElementType& type_of(Element)
{
    if constexpr (std::is_same_v<Element, float>) {
        return *element_type_by_name("float");
    } else if constexpr (std::is_same_v<Element, std::int16_t>) {
        return *element_type_by_name("short");
    } else {
        return *element_type_by_name("unsigned char");
    }
}

template <typename Element>
void plain_decode(const std::vector<char>& bytes, bool swap, double* voxels, std::int64_t count)
{
    for (std::int64_t j = 0; j < count; ++j) {
        char raw[sizeof(Element)];
        for (std::size_t b = 0; b < sizeof raw; ++b) {
            raw[swap ? sizeof raw - 1 - b : b] = bytes[static_cast<std::size_t>(j) * sizeof raw + b];
        }
        Element element;
        std::memcpy(&element, raw, sizeof raw);
        voxels[j] = static_cast<double>(element);
    }
}

template <typename Element>
void plain_encode(const double* voxels, std::int64_t count, std::vector<char>& bytes)
{
    for (std::int64_t j = 0; j < count; ++j) {
        const auto element = static_cast<Element>(voxels[j]);
        std::memcpy(bytes.data() + static_cast<std::size_t>(j) * sizeof element, &element, sizeof element);
    }
}

IntensityRange plain_range(const Array3D<double>& volume)
{
    const double* const voxels = volume.block();
    IntensityRange range = {voxels[0], voxels[0], true};
    for (std::int64_t j = 0; j < volume.blockSize(); ++j) {
        if (voxels[j] < range.minimum) {
            range.minimum = voxels[j];
        }
        if (voxels[j] > range.maximum) {
            range.maximum = voxels[j];
        }
        range.finite = range.finite && std::isfinite(voxels[j]);
    }
    return range;
}

template <typename Element>
std::vector<char> stored(const Array3D<double>& volume, bool swap)
{
    std::vector<char> bytes(static_cast<std::size_t>(volume.blockSize()) * sizeof(Element));
    plain_encode<Element>(volume.block(), volume.blockSize(), bytes);
    for (std::size_t j = 0; swap && j < bytes.size(); j += sizeof(Element)) {
        std::reverse(&bytes[j], &bytes[j] + sizeof(Element));
    }
    return bytes;
}

void count_voxels(benchmark::State& state, const Array3D<double>& volume)
{
    state.SetItemsProcessed(state.iterations() * volume.blockSize());
}

template <typename Element>
void ReadVoxels(benchmark::State& state)
{
    const bool swap = state.range(0) != 0;
    const Array3D<double> volume = bench::head(side, 1);
    std::vector<char> bytes = stored<Element>(volume, swap);
    Array3D<double> result(side, side, side);
    for (auto _ : state) {
        MemoryBuffer buffer(bytes);
        std::istream file(&buffer);
        read_voxels(file, "memory", type_of(Element{}), swap, result.block(), result.blockSize());
        benchmark::ClobberMemory();
    }
    bench::require_same_bits(state, volume, result);
    count_voxels(state, volume);
}

template <typename Element>
void ReadVoxelsPlain(benchmark::State& state)
{
    const bool swap = state.range(0) != 0;
    const Array3D<double> volume = bench::head(side, 1);
    const std::vector<char> bytes = stored<Element>(volume, swap);
    Array3D<double> result(side, side, side);
    for (auto _ : state) {
        plain_decode<Element>(bytes, swap, result.block(), result.blockSize());
        benchmark::ClobberMemory();
    }
    bench::require_same_bits(state, volume, result);
    count_voxels(state, volume);
}

template <typename Element>
void WriteVoxels(benchmark::State& state)
{
    const Array3D<double> volume = bench::head(side, 1);
    std::vector<char> bytes(static_cast<std::size_t>(volume.blockSize()) * sizeof(Element));
    for (auto _ : state) {
        MemoryBuffer buffer(bytes);
        std::ostream file(&buffer);
        write_voxels(file, type_of(Element{}), volume.block(), volume.blockSize());
        benchmark::ClobberMemory();
    }
    if (bytes != stored<Element>(volume, false)) {
        state.SkipWithError("the bytes differ from the plain loop's");
    }
    count_voxels(state, volume);
}

template <typename Element>
void WriteVoxelsPlain(benchmark::State& state)
{
    const Array3D<double> volume = bench::head(side, 1);
    std::vector<char> bytes(static_cast<std::size_t>(volume.blockSize()) * sizeof(Element));
    for (auto _ : state) {
        plain_encode<Element>(volume.block(), volume.blockSize(), bytes);
        benchmark::ClobberMemory();
    }
    count_voxels(state, volume);
}

template <IntensityRange (*scan)(const Array3D<double>&)>
void Range(benchmark::State& state)
{
    const Array3D<double> volume = bench::head(side, 1);
    IntensityRange range{};
    for (auto _ : state) {
        benchmark::DoNotOptimize(range = scan(volume));
    }
    const IntensityRange expected = plain_range(volume);
    if (range.minimum != expected.minimum || range.maximum != expected.maximum ||
        range.finite != expected.finite) {
        state.SkipWithError("the range differs from the plain loop's");
    }
    count_voxels(state, volume);
}

} // namespace

#define TONALIGN_BENCH_ELEMENT(Element)                                                                      \
    BENCHMARK(ReadVoxels<Element>)->ArgName("swap")->DenseRange(0, sizeof(Element) > 1 ? 1 : 0);             \
    BENCHMARK(ReadVoxelsPlain<Element>)->ArgName("swap")->DenseRange(0, sizeof(Element) > 1 ? 1 : 0);        \
    BENCHMARK(WriteVoxels<Element>);                                                                         \
    BENCHMARK(WriteVoxelsPlain<Element>)

TONALIGN_BENCH_ELEMENT(std::uint8_t);
TONALIGN_BENCH_ELEMENT(std::int16_t);
TONALIGN_BENCH_ELEMENT(float);
BENCHMARK(Range<intensity_range>)->Name("IntensityRange");
BENCHMARK(Range<plain_range>)->Name("IntensityRangePlain");

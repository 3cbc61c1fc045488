// SPDX-License-Identifier: BSD-3-Clause
// Reading, writing and scanning the voxels of a volume, without a disk in between.
#include "bench/kernels.h"
#include "tests/support/analyze_files.h"
#include "volume/ElementType.h"
#include "volume/IntensityRange.h"
#include "volume/voxel_file.h"

#include <istream>
#include <ostream>
#include <tuple>

namespace {

using namespace tonalign;

constexpr int side = 128;

/// Bytes in memory as a file, read or overwritten in place.
struct MemoryFile : std::streambuf
{
    explicit MemoryFile(std::string& bytes)
    {
        setg(bytes.data(), bytes.data(), bytes.data() + bytes.size());
        setp(bytes.data(), bytes.data() + bytes.size());
    }
};

/// Arguments: the element type, and whether the file is in the other byte order.
struct Voxels
{
    explicit Voxels(benchmark::State& state)
        : type(static_cast<test::ElementType>(state.range(0))), swap(state.range(1) != 0)
    {
        constexpr const char* names[] = {"unsigned char", "short", "int", "float"};
        state.SetLabel(names[state.range(0)]);
        library_type = element_type_by_name(names[state.range(0)]);
        file = stored(swap ? test::ByteOrder::foreign : test::ByteOrder::native);
        written.resize(file.size());
    }
    std::string stored(test::ByteOrder order) const
    {
        return test::voxel_bytes(test::voxels_of(volume), type, order);
    }
    auto result() const { return std::tuple(test::bits_of(read), written); }

    const test::ElementType type;
    const bool swap;
    const ElementType* library_type;
    Array3D<double> volume = bench::make_volume(bench::head, side);
    Array3D<double> read = Array3D<double>(volume);
    std::string file, written;
};

void read(Voxels& voxels)
{
    MemoryFile buffer(voxels.file);
    std::istream file(&buffer);
    voxels.read.block()[0] = -1.0;
    if (read_voxels(file, "memory", *voxels.library_type, voxels.swap, voxels.read.block(),
                    voxels.read.blockSize())) {
        std::abort();
    }
}

template <typename Element>
void decode(Voxels& voxels)
{
    for (std::int64_t j = 0; j < voxels.read.blockSize(); ++j) {
        std::array<char, sizeof(Element)> raw;
        std::memcpy(raw.data(), voxels.file.data() + j * std::ssize(raw), raw.size());
        if (voxels.swap) {
            std::ranges::reverse(raw);
        }
        voxels.read.block()[j] = static_cast<double>(std::bit_cast<Element>(raw));
    }
}

void read_plainly(Voxels& voxels)
{
    constexpr void (*decoders[])(Voxels&) = {decode<std::uint8_t>, decode<std::int16_t>, decode<std::int32_t>,
                                             decode<float>};
    decoders[static_cast<int>(voxels.type)](voxels);
}

void write(Voxels& voxels)
{
    MemoryFile buffer(voxels.written);
    std::ostream file(&buffer);
    const auto row = [&voxels](int z, int y, double* values) {
        std::copy_n(voxels.volume.address()[z][y], side, values);
    };
    write_voxels(file, *voxels.library_type, {side, side, side, row});
}

void write_plainly(Voxels& voxels)
{
    voxels.written = voxels.stored(test::ByteOrder::native);
}

struct Range
{
    explicit Range(benchmark::State&) {}
    auto result() const { return std::tuple(found.minimum, found.maximum, found.finite); }

    Array3D<double> volume = bench::make_volume(bench::head, side);
    test::Volume plain{side, side, side, test::voxels_of(volume)};
    IntensityRange found{};
};

void scan(Range& range)
{
    range.found = intensity_range(range.volume);
}

void scan_plainly(Range& range)
{
    const test::Extremes ends = test::extremes(range.plain);
    const auto is_finite = [](double v) { return std::isfinite(v); };
    range.found = {ends.smallest, ends.largest, std::ranges::all_of(range.plain.voxels, is_finite)};
}

void element_types(benchmark::internal::Benchmark* benchmark)
{
    using enum test::ElementType;
    for (const auto type : {unsigned8, signed16, float32}) {
        for (int swap = 0; swap <= (type == unsigned8 ? 0 : 1); ++swap) {
            benchmark->Args({static_cast<int>(type), swap})->ArgNames({"type", "swap"});
        }
    }
}

BENCHMARK(bench::Measure<Voxels, read, read_plainly>)->Name("ReadVoxels")->Apply(element_types);
BENCHMARK(bench::Measure<Voxels, read_plainly, read>)->Name("ReadVoxelsPlain")->Apply(element_types);
BENCHMARK(bench::Measure<Voxels, write, write_plainly>)->Name("WriteVoxels")->Apply(element_types);
BENCHMARK(bench::Measure<Voxels, write_plainly, write>)->Name("WriteVoxelsPlain")->Apply(element_types);
BENCHMARK(bench::Measure<Range, scan, scan_plainly>)->Name("IntensityRange");
BENCHMARK(bench::Measure<Range, scan_plainly, scan>)->Name("IntensityRangePlain");

} // namespace

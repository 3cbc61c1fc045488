// SPDX-License-Identifier: BSD-3-Clause
// The layout of a header file, and its byte orders.
#include "tests/support/analyze_files.h"

#include <algorithm>
#include <stdexcept>

namespace tonalign::test {

namespace {

/// Offset, width and count of neighbouring numbers in the header; all bytes outside these runs are text.
constexpr int number_runs[][3] = {{0, 4, 1},  {32, 4, 1},  {36, 2, 1},  {40, 2, 8}, {68, 2, 4},
                                  {76, 4, 8}, {108, 4, 6}, {132, 4, 4}, {316, 4, 8}};

void put_type(HeaderRecord& record, ElementType type)
{
    constexpr int codes[][2] = {{2, 8}, {4, 16}, {8, 32}, {16, 32}, {64, 64}};
    put(record, header_offset::datatype, codes[static_cast<int>(type)][0]);
    put(record, header_offset::bitpix, codes[static_cast<int>(type)][1]);
}

template <typename T>
void append(std::string& bytes, double value, ByteOrder order)
{
    const T element = static_cast<T>(value);
    if (static_cast<double>(element) != value) {
        throw std::invalid_argument("a voxel value does not fit its element type");
    }
    std::string raw(reinterpret_cast<const char*>(&element), sizeof element);
    if (order == ByteOrder::foreign) {
        std::reverse(raw.begin(), raw.end());
    }
    bytes += raw;
}

} // namespace

void describe_volume(HeaderRecord& record, int nx, int ny, int nz, ElementType type)
{
    const std::int32_t size = 348;
    std::memcpy(record.data(), &size, sizeof size);
    put(record, header_offset::dim + 2, nx);
    put(record, header_offset::dim + 4, ny);
    put(record, header_offset::dim + 6, nz);
    put_type(record, type);
}

HeaderRecord output_header(HeaderRecord record)
{
    put_type(record, ElementType::float32);
    // The text and its end; the field's fourth byte stays as it was read.
    std::memcpy(record.data() + header_offset::vox_units, "mm", 3);
    return record;
}

std::string header_bytes(const HeaderRecord& record, ByteOrder order)
{
    std::string bytes(record.begin(), record.end());
    for (const auto& [offset, width, count] : number_runs) {
        for (int i = 0; order == ByteOrder::foreign && i < count; ++i) {
            char* const number = bytes.data() + offset + std::ptrdiff_t{i} * width;
            std::reverse(number, number + width);
        }
    }
    return bytes;
}

std::string voxel_bytes(const std::vector<double>& values, ElementType type, ByteOrder order)
{
    using Append = void (*)(std::string&, double, ByteOrder);
    constexpr Append appends[] = {append<std::uint8_t>, append<std::int16_t>, append<std::int32_t>,
                                  append<float>, append<double>};
    std::string bytes;
    for (const double value : values) {
        appends[static_cast<int>(type)](bytes, value, order);
    }
    return bytes;
}

} // namespace tonalign::test

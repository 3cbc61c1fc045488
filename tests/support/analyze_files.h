// SPDX-License-Identifier: BSD-3-Clause
// Analyze pairs byte by byte, from a layout of their own: no wrong field of the tool's record can hide here
// too.
#pragma once

#include <array>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace tonalign::test {

// clang-format off
enum class ElementType { unsigned8, signed16, signed32, float32, float64 };
enum class ByteOrder { native, foreign };
// clang-format on

/// The content of a header file, its numbers in the byte order of this machine.
using HeaderRecord = std::array<unsigned char, 348>;

namespace header_offset {
inline constexpr std::size_t dim = 40, vox_units = 56, datatype = 70, bitpix = 72;
} // namespace header_offset

template <typename T>
T get(const HeaderRecord& record, std::size_t offset)
{
    T value;
    std::memcpy(&value, record.data() + offset, sizeof value);
    return value;
}

inline void put(HeaderRecord& record, std::size_t offset, int value)
{
    const auto number = static_cast<std::int16_t>(value);
    std::memcpy(record.data() + offset, &number, sizeof number);
}

/// Sets what a reader needs: the header's size, the volume's size and the element type. Leaves the rest.
void describe_volume(HeaderRecord& record, int nx, int ny, int nz, ElementType type);

/// The header that a run saves for a volume it read with this one: a float volume in millimetres.
HeaderRecord output_header(HeaderRecord record);

std::string header_bytes(const HeaderRecord& record, ByteOrder order);

/// The bytes of an image file. Every value must be one that the element type can hold.
std::string voxel_bytes(const std::vector<double>& values, ElementType type, ByteOrder order);

/// The bytes of a float image in the byte order of this machine.
inline std::string float_bytes(const std::vector<float>& values)
{
    return {reinterpret_cast<const char*>(values.data()), values.size() * sizeof(float)};
}

} // namespace tonalign::test

#pragma once

#include <array>
#include <cstddef>
#include <cstring>
#include <string>
#include <vector>

/// Analyze pairs made byte by byte, from a layout of their own: a wrong field in the tool's header record
/// cannot hide behind the same mistake here.
namespace tonalign::test {

enum class ElementType
{
    unsigned8,
    signed16,
    signed32,
    float32,
    float64,
};

enum class ByteOrder
{
    native,
    foreign,
};

/// The content of a header file, its numbers in the byte order of this machine.
using HeaderRecord = std::array<unsigned char, 348>;

namespace header_offset {
inline constexpr std::size_t sizeof_hdr = 0;
inline constexpr std::size_t dim = 40;
inline constexpr std::size_t vox_units = 56;
inline constexpr std::size_t datatype = 70;
inline constexpr std::size_t bitpix = 72;
inline constexpr std::size_t pixdim = 76;
} // namespace header_offset

template <typename T>
void put(HeaderRecord& record, std::size_t offset, T value)
{
    std::memcpy(record.data() + offset, &value, sizeof value);
}

template <typename T>
T get(const HeaderRecord& record, std::size_t offset)
{
    T value;
    std::memcpy(&value, record.data() + offset, sizeof value);
    return value;
}

/// Sets what a reader needs: the header's size, the volume's size and the element type. Leaves the rest.
void describe_volume(HeaderRecord& record, int nx, int ny, int nz, ElementType type);

/// The header that a run saves for a volume it read with this one: a float volume in millimetres.
HeaderRecord output_header(HeaderRecord record);

/// The bytes of a header file in the asked byte order.
std::string header_bytes(const HeaderRecord& record, ByteOrder order);

/// The bytes of an image file. Every value must be one that the element type can hold.
std::string voxel_bytes(const std::vector<double>& values, ElementType type, ByteOrder order);

/// The bytes of a float image in the byte order of this machine.
std::string float_bytes(const std::vector<float>& values);

/// A file name without an extension that starts with ".im" or ".hd" and has one letter more.
std::string analyze_base_name(const std::string& name);

} // namespace tonalign::test

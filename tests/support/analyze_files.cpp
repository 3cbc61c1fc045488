#include "tests/support/analyze_files.h"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <stdexcept>

namespace tonalign::test {

namespace {

struct TypeCodes
{
    std::int16_t datatype;
    std::int16_t bitpix;
};

TypeCodes codes_of(ElementType type)
{
    switch (type) {
    case ElementType::unsigned8:
        return {2, 8};
    case ElementType::signed16:
        return {4, 16};
    case ElementType::signed32:
        return {8, 32};
    case ElementType::float32:
        return {16, 32};
    default:
        return {64, 64};
    }
}

/// A run of neighbouring numbers of one width in the header; all bytes outside these runs are text.
struct NumberRun
{
    std::size_t offset;
    std::size_t width;
    std::size_t count;
};

constexpr NumberRun number_runs[] = {
    {0, 4, 1},   // header size
    {32, 4, 1},  // extents
    {36, 2, 1},  // session error
    {40, 2, 8},  // dimensions
    {68, 2, 4},  // an unused one, data type, bits per voxel, an unused one
    {76, 4, 8},  // voxel sizes
    {108, 4, 6}, // voxel offset, scales and calibration, as floats
    {132, 4, 4}, // compressed, verified, largest and smallest voxel
    {316, 4, 8}, // the integers at the end of the history
};

template <typename T>
std::string bytes_of(const std::vector<double>& values, ByteOrder order)
{
    std::string bytes;
    for (const double value : values) {
        const T element = static_cast<T>(value);
        // Values that do not survive the element type would make a test compare two different volumes.
        if (static_cast<double>(element) != value) {
            throw std::invalid_argument("a voxel value does not fit its element type");
        }
        char raw[sizeof(T)];
        std::memcpy(raw, &element, sizeof(T));
        if (order == ByteOrder::foreign) {
            std::reverse(std::begin(raw), std::end(raw));
        }
        bytes.append(raw, sizeof(T));
    }
    return bytes;
}

} // namespace

void describe_volume(HeaderRecord& record, int nx, int ny, int nz, ElementType type)
{
    put(record, header_offset::sizeof_hdr, std::int32_t{348});
    put(record, header_offset::dim + 2, static_cast<std::int16_t>(nx));
    put(record, header_offset::dim + 4, static_cast<std::int16_t>(ny));
    put(record, header_offset::dim + 6, static_cast<std::int16_t>(nz));
    put(record, header_offset::datatype, codes_of(type).datatype);
    put(record, header_offset::bitpix, codes_of(type).bitpix);
}

HeaderRecord output_header(HeaderRecord record)
{
    const TypeCodes floats = codes_of(ElementType::float32);
    put(record, header_offset::datatype, floats.datatype);
    put(record, header_offset::bitpix, floats.bitpix);
    // The text and its end; the field's fourth byte stays as it was read.
    std::memcpy(record.data() + header_offset::vox_units, "mm", 3);
    return record;
}

std::string header_bytes(const HeaderRecord& record, ByteOrder order)
{
    std::string bytes(record.begin(), record.end());
    if (order == ByteOrder::foreign) {
        for (const NumberRun& run : number_runs) {
            for (std::size_t i = 0; i < run.count; ++i) {
                char* const number = bytes.data() + run.offset + i * run.width;
                std::reverse(number, number + run.width);
            }
        }
    }
    return bytes;
}

std::string voxel_bytes(const std::vector<double>& values, ElementType type, ByteOrder order)
{
    switch (type) {
    case ElementType::unsigned8:
        return bytes_of<std::uint8_t>(values, order);
    case ElementType::signed16:
        return bytes_of<std::int16_t>(values, order);
    case ElementType::signed32:
        return bytes_of<std::int32_t>(values, order);
    case ElementType::float32:
        return bytes_of<float>(values, order);
    default:
        return bytes_of<double>(values, order);
    }
}

std::string float_bytes(const std::vector<float>& values)
{
    std::string bytes;
    for (const float value : values) {
        char raw[sizeof value];
        std::memcpy(raw, &value, sizeof value);
        bytes.append(raw, sizeof value);
    }
    return bytes;
}

std::string analyze_base_name(const std::string& name)
{
    if (name.size() > 4) {
        const std::string three = name.substr(name.size() - 4, 3);
        if (three == ".im" || three == ".hd") {
            return name.substr(0, name.size() - 4);
        }
    }
    return name;
}

} // namespace tonalign::test

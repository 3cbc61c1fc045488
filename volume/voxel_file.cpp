// SPDX-License-Identifier: BSD-3-Clause
// Converts voxels between files and doubles, block by block.
#include "volume/voxel_file.h"

#include <algorithm>
#include <cmath>
#include <concepts>
#include <cstddef>
#include <cstring>
#include <filesystem>
#include <istream>
#include <limits>
#include <ostream>
#include <system_error>
#include <vector>

namespace tonalign {

namespace {

/// Bytes converted at a time: large enough for the system call to cost nothing beside the copy, small enough
/// to stay in the second-level cache.
constexpr std::int64_t block_bytes = 1 << 18;

Fault fault_of_short_file(const std::string& imagename, std::int64_t found, std::int64_t count,
                          const ElementType& type)
{
    return {imagename + ": the image file holds " + std::to_string(found) + " bytes, but its header needs " +
            std::to_string(count * type.bytes()) + " (" + std::to_string(count) + " voxels of " +
            std::to_string(type.bytes()) + ")"};
}

template <typename Element>
Element load_element(const unsigned char* bytes, bool swap)
{
    unsigned char ordered[sizeof(Element)];
    std::memcpy(ordered, bytes, sizeof ordered);
    if (swap) {
        std::reverse(ordered, ordered + sizeof ordered);
    }
    Element element;
    std::memcpy(&element, ordered, sizeof element);
    return element;
}

template <typename Element, bool swap>
void decode(const unsigned char* bytes, double* voxels, std::int64_t count)
{
    for (std::int64_t j = 0; j < count; ++j) {
        voxels[j] =
            static_cast<double>(load_element<Element>(bytes + j * std::int64_t{sizeof(Element)}, swap));
    }
}

std::int32_t truncate_to_int32(double value)
{
    using Limits = std::numeric_limits<std::int32_t>;
    if (std::isnan(value)) {
        return 0;
    }
    return static_cast<std::int32_t>(
        std::clamp(value, static_cast<double>(Limits::min()), static_cast<double>(Limits::max())));
}

template <typename Element>
void encode(const double* voxels, unsigned char* bytes, std::int64_t count)
{
    for (std::int64_t j = 0; j < count; ++j) {
        Element element;
        if constexpr (std::integral<Element>) {
            element = static_cast<Element>(truncate_to_int32(voxels[j]));
        } else {
            element = static_cast<Element>(voxels[j]);
        }
        std::memcpy(bytes + j * std::int64_t{sizeof element}, &element, sizeof element);
    }
}

/// Calls function(Element{}) with the C++ type behind `kind`.
template <typename Function>
auto with_element(ElementKind kind, Function function)
{
    switch (kind) {
    case ElementKind::uint8:
        return function(std::uint8_t{});
    case ElementKind::int16:
        return function(std::int16_t{});
    case ElementKind::int32:
        return function(std::int32_t{});
    case ElementKind::float32:
        return function(float{});
    case ElementKind::float64:
        break;
    }
    return function(double{});
}

using Decoder = void (*)(const unsigned char*, double*, std::int64_t);
using Encoder = void (*)(const double*, unsigned char*, std::int64_t);

Decoder decoder_for(const ElementType& type, bool swap)
{
    return with_element(type.kind, [swap](auto element) -> Decoder {
        return swap ? decode<decltype(element), true> : decode<decltype(element), false>;
    });
}

Encoder encoder_for(const ElementType& type)
{
    return with_element(type.kind, [](auto element) -> Encoder { return encode<decltype(element)>; });
}

} // namespace

Fault fault_of_header_file(const std::string& headername)
{
    std::error_code error;
    if (std::filesystem::is_fifo(headername, error)) {
        return {headername + ": a pipe, but a header file is expected"};
    }
    return {};
}

Fault fault_of_image_file(const std::string& imagename)
{
    std::error_code error;
    const std::filesystem::file_status status = std::filesystem::status(imagename, error);
    if (std::filesystem::exists(status) && !std::filesystem::is_regular_file(status)) {
        return {imagename + ": not a regular file, but an image file is expected"};
    }
    return {};
}

Fault fault_of_image_length(const std::string& imagename, std::int64_t count, const ElementType& type)
{
    std::error_code error;
    const auto found = static_cast<std::int64_t>(std::filesystem::file_size(imagename, error));
    if (error) {
        return {imagename + ": the length of the image file cannot be read: " + error.message()};
    }
    return found / type.bytes() < count ? fault_of_short_file(imagename, found, count, type) : Fault();
}

Fault read_voxels(std::istream& file, const std::string& imagename, const ElementType& type, bool swap,
                  double* voxels, std::int64_t count)
{
    const Decoder decode_block = decoder_for(type, swap);
    std::vector<unsigned char> buffer(static_cast<std::size_t>(std::min(block_bytes, count * type.bytes())));
    const std::int64_t block_voxels = block_bytes / type.bytes();
    for (std::int64_t done = 0; done < count; done += block_voxels) {
        const std::int64_t voxels_now = std::min(block_voxels, count - done);
        file.read(reinterpret_cast<char*>(buffer.data()), voxels_now * type.bytes());
        if (file.bad()) {
            return {imagename + ": the image file cannot be read beyond byte " +
                    std::to_string(done * type.bytes() + file.gcount()) + " of " +
                    std::to_string(count * type.bytes())};
        }
        if (!file) {
            return fault_of_short_file(imagename, done * type.bytes() + file.gcount(), count, type);
        }
        decode_block(buffer.data(), voxels + done, voxels_now);
    }
    return {};
}

void write_voxels(std::ostream& file, const ElementType& type, const double* voxels, std::int64_t count)
{
    const Encoder encode_block = encoder_for(type);
    std::vector<unsigned char> buffer(static_cast<std::size_t>(std::min(block_bytes, count * type.bytes())));
    const std::int64_t block_voxels = block_bytes / type.bytes();
    for (std::int64_t done = 0; done < count && file; done += block_voxels) {
        const std::int64_t voxels_now = std::min(block_voxels, count - done);
        encode_block(voxels + done, buffer.data(), voxels_now);
        file.write(reinterpret_cast<const char*>(buffer.data()), voxels_now * type.bytes());
    }
    file.flush();
}

} // namespace tonalign

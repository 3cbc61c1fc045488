// SPDX-License-Identifier: BSD-3-Clause
// Converts voxels between files and doubles, block by block.
#include "volume/voxel_file.h"

#include <omp.h>

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
void decode(const unsigned char* bytes, double* voxels, std::int64_t count)
{
    for (std::int64_t j = 0; j < count; ++j) {
        Element element;
        std::memcpy(&element, bytes + j * std::int64_t{sizeof element}, sizeof element);
        voxels[j] = static_cast<double>(element);
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

template <typename Element>
void reverse_bytes(unsigned char* bytes, std::int64_t count)
{
    for (std::int64_t j = 0; j < count; ++j, bytes += sizeof(Element)) {
        std::reverse(bytes, bytes + sizeof(Element));
    }
}

/// Reads the voxels done..done+voxels_now of `count` and brings them into the machine's byte order.
Fault read_block(std::istream& file, const std::string& imagename, const ElementType& type, bool swap,
                 std::int64_t count, std::int64_t done, std::int64_t voxels_now, unsigned char* bytes)
{
    file.read(reinterpret_cast<char*>(bytes), voxels_now * type.bytes());
    const std::int64_t found = done * type.bytes() + file.gcount();
    if (file.bad()) {
        return {imagename + ": the image file cannot be read beyond byte " + std::to_string(found) + " of " +
                std::to_string(count * type.bytes())};
    }
    if (!file) {
        return fault_of_short_file(imagename, found, count, type);
    }
    if (swap) {
        with_element(type.kind, [=](auto element) { reverse_bytes<decltype(element)>(bytes, voxels_now); });
    }
    return {};
}

using Encoder = void (*)(const double*, unsigned char*, std::int64_t);

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
    const std::int64_t room = std::min(block_bytes / type.bytes(), count);
    std::vector<unsigned char> buffer(static_cast<std::size_t>(room * type.bytes()));
    for (std::int64_t done = 0; done < count; done += room) {
        const std::int64_t now = std::min(room, count - done);
        if (Fault fault = read_block(file, imagename, type, swap, count, done, now, buffer.data())) {
            return fault;
        }
        with_element(type.kind,
                     [&](auto element) { decode<decltype(element)>(buffer.data(), voxels + done, now); });
    }
    return {};
}

Fault read_elements(std::istream& file, const std::string& imagename, const ElementType& type, bool swap,
                    std::byte* elements, std::int64_t count)
{
    const std::int64_t room = block_bytes / type.bytes();
    for (std::int64_t done = 0; done < count; done += room) {
        auto* const block = reinterpret_cast<unsigned char*>(elements + done * type.bytes());
        const std::int64_t now = std::min(room, count - done);
        if (Fault fault = read_block(file, imagename, type, swap, count, done, now, block)) {
            return fault;
        }
    }
    return {};
}

void write_voxels(std::ostream& file, const ElementType& type, const VolumeRows& volume,
                  const std::function<void()>& written)
{
    const Encoder encode_row = encoder_for(type);
    const bool as_floats = volume.float_row && type.kind == ElementKind::float32;
    const std::int64_t nx = volume.nx;
    const std::int64_t rows = nx == 0 ? 0 : std::int64_t{volume.ny} * volume.nz;
    const std::int64_t row_bytes = nx * type.bytes();
    // Threads make the rows of a block between them, then one writes it.
    const std::int64_t block_rows =
        std::min(rows, std::max<std::int64_t>(1, 4 * block_bytes / std::max<std::int64_t>(1, row_bytes)));
    std::vector<unsigned char> block(static_cast<std::size_t>(block_rows * row_bytes));
    std::vector<double> values(static_cast<std::size_t>(nx * omp_get_max_threads())); // a row for each
    for (std::int64_t done = 0; done < rows && file; done += block_rows) {
        const std::int64_t rows_now = std::min(block_rows, rows - done);
#pragma omp parallel for schedule(static)
        for (std::int64_t r = 0; r < rows_now; ++r) {
            const int z = static_cast<int>((done + r) / volume.ny);
            const int y = static_cast<int>((done + r) % volume.ny);
            unsigned char* const bytes = block.data() + r * row_bytes;
            if (as_floats) {
                volume.float_row(z, y, reinterpret_cast<float*>(bytes));
            } else {
                double* const own = values.data() + nx * omp_get_thread_num();
                volume.row(z, y, own);
                encode_row(own, bytes, nx);
            }
        }
        file.write(reinterpret_cast<const char*>(block.data()), rows_now * row_bytes);
        written();
    }
    file.flush();
}

} // namespace tonalign

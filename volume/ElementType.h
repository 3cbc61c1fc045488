// SPDX-License-Identifier: BSD-3-Clause
// How voxels are stored in a file.
#pragma once

#include <cstdint>

namespace tonalign {

/// How one voxel is stored in an image file.
enum class ElementKind
{
    uint8,
    int16,
    int32,
    float32,
    float64,
};

/// A voxel element type that is read and written, with its Analyze 7.5 codes and its name.
struct ElementType
{
    ElementKind kind;
    const char* name; ///< as AnalyzeHeader::setDataType takes it
    std::int16_t datatype;
    std::int16_t bitpix;
    bool any_datatype; ///< `bitpix` alone decides; `datatype` is what we write

    std::int64_t bytes() const { return bitpix / 8; }
};

/// The element type that a header's codes name, or null when the pair is not recognised.
const ElementType* element_type_by_codes(int datatype, int bitpix);

/// The element type of that name, or null.
const ElementType* element_type_by_name(const char* name);

} // namespace tonalign

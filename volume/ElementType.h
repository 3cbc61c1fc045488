// SPDX-License-Identifier: BSD-3-Clause
// How voxels are stored in a file.
#pragma once

#include <cstdint>
#include <type_traits>

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

/// How a C++ type is stored.
template <typename Element>
inline constexpr ElementKind element_kind = std::is_same_v<Element, std::uint8_t>   ? ElementKind::uint8
                                            : std::is_same_v<Element, std::int16_t> ? ElementKind::int16
                                            : std::is_same_v<Element, std::int32_t> ? ElementKind::int32
                                            : std::is_same_v<Element, float>        ? ElementKind::float32
                                                                                    : ElementKind::float64;

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

/// The element type that a header's codes name, or null when the pair is not recognised.
const ElementType* element_type_by_codes(int datatype, int bitpix);

/// The element type of that name, or null.
const ElementType* element_type_by_name(const char* name);

} // namespace tonalign

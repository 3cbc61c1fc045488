// SPDX-License-Identifier: BSD-3-Clause
// The table of element types.
#include "volume/ElementType.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace tonalign {

namespace {

constexpr std::array element_types = {
    ElementType{ElementKind::uint8, "unsigned char", 2, 8, true},
    ElementType{ElementKind::int16, "short", 4, 16, false},
    ElementType{ElementKind::int32, "int", 8, 32, false},
    ElementType{ElementKind::float32, "float", 16, 32, false},
    ElementType{ElementKind::float64, "double", 64, 64, true},
};

template <typename Predicate>
const ElementType* find_type(Predicate predicate)
{
    const auto found = std::find_if(element_types.begin(), element_types.end(), predicate);
    return found == element_types.end() ? nullptr : &*found;
}

} // namespace

const ElementType* element_type_by_codes(int datatype, int bitpix)
{
    return find_type([=](const ElementType& type) {
        return type.bitpix == bitpix && (type.any_datatype || type.datatype == datatype);
    });
}

const ElementType* element_type_by_name(const char* name)
{
    return find_type([=](const ElementType& type) { return std::string_view(type.name) == name; });
}

} // namespace tonalign

// SPDX-License-Identifier: BSD-3-Clause
// Lists and compares headers, field by field.
#include "volume/AnalyzeHeader.h"
#include "volume/HeaderFields.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <ostream>
#include <string>
#include <string_view>

namespace {

using tonalign::FieldType;
using tonalign::HeaderField;

dsr record_of(const AnalyzeHeader& header)
{
    return {header.hk, header.dime, header.hist};
}

const char* address_of(const HeaderField& field, const dsr& record)
{
    return reinterpret_cast<const char*>(&record) + field.offset;
}

template <typename Value>
Value value_of(const HeaderField& field, const dsr& record)
{
    Value value;
    std::memcpy(&value, address_of(field, record), sizeof value);
    return value;
}

/// The text without its NUL; a field that is full has none.
std::string_view text_of(const HeaderField& field, const dsr& record)
{
    const char* const text = address_of(field, record);
    return {text, strnlen(text, field.size)};
}

/// Calls function(value, value) with one field of two records, in the C++ type of that field.
template <typename Function>
auto with_both(const HeaderField& field, const dsr& left, const dsr& right, Function function)
{
    switch (field.type) {
    case FieldType::integer16:
        return function(value_of<std::int16_t>(field, left), value_of<std::int16_t>(field, right));
    case FieldType::integer32:
        return function(value_of<std::int32_t>(field, left), value_of<std::int32_t>(field, right));
    case FieldType::float32:
        return function(value_of<float>(field, left), value_of<float>(field, right));
    case FieldType::character:
        return function(value_of<char>(field, left), value_of<char>(field, right));
    case FieldType::text:
        break;
    }
    return function(text_of(field, left), text_of(field, right));
}

bool differs(const HeaderField& field, const dsr& left, const dsr& right)
{
    return with_both(field, left, right, [](auto a, auto b) { return a != b; });
}

bool same_dimensions_memory(const AnalyzeHeader& left, const AnalyzeHeader& right)
{
    // Bits, not values: it has float fields, and no padding.
    return std::memcmp(static_cast<const void*>(&left.dime), static_cast<const void*>(&right.dime),
                       sizeof left.dime) == 0;
}

/// One structure of the record, as a part of the report of differences.
struct Section
{
    const char* heading;
    std::size_t begin;
    std::size_t end;
    bool compared_as_memory;

    bool contains(const HeaderField& field) const { return begin <= field.offset && field.offset < end; }
};

constexpr std::array sections = {
    Section{" Comparing struct header_key for the given files \n", 0, offsetof(dsr, dime), false},
    Section{" Comparing struct image_dimensions  for the given files \n", offsetof(dsr, dime),
            offsetof(dsr, hist), true},
    Section{" Comparing struct history for the given files \n", offsetof(dsr, hist), sizeof(dsr), false},
};

void write_difference(const HeaderField& field, const dsr& left, const dsr& right, std::ostream& os)
{
    os << (field.difference.leading_blank ? " " : "") << field.name << " = ";
    with_both(field, left, right, [&](auto a, auto b) {
        os << a << ", rhs." << field.name << (field.difference.trailing_blank ? " = " : " =") << b << '\n';
    });
}

void write_value(std::ostream& os, auto value)
{
    os << value;
}

void write_value(std::ostream& os, char value)
{
    os << static_cast<int>(value);
}

} // namespace

int AnalyzeHeader::operator==(const AnalyzeHeader& rhs) const
{
    const dsr left = record_of(*this);
    const dsr right = record_of(rhs);
    const auto is_equal = [&](const Section& section) {
        if (section.compared_as_memory) {
            return same_dimensions_memory(*this, rhs);
        }
        return std::ranges::none_of(tonalign::header_fields(), [&](const HeaderField& field) {
            return section.contains(field) && differs(field, left, right);
        });
    };
    return std::ranges::all_of(sections, is_equal) ? 1 : 0;
}

bool AnalyzeHeader::hasSameBytes(const AnalyzeHeader& rhs) const
{
    const dsr left = record_of(*this);
    const dsr right = record_of(rhs);
    return std::memcmp(static_cast<const void*>(&left), static_cast<const void*>(&right), sizeof left) == 0;
}

void AnalyzeHeader::diff(const AnalyzeHeader& rhs, std::ostream& os) const
{
    const dsr left = record_of(*this);
    const dsr right = record_of(rhs);
    for (const Section& section : sections) {
        os << section.heading;
        if (section.compared_as_memory && !same_dimensions_memory(*this, rhs)) {
            os << " Struct image_dimension is different from memory compare \n";
        }
        for (const HeaderField* field : tonalign::fields_by_difference_line()) {
            if (section.contains(*field) && differs(*field, left, right)) {
                write_difference(*field, left, right, os);
            }
        }
    }
}

void AnalyzeHeader::print(std::ostream& os) const
{
    const std::ostream::sentry ready(os);
    if (!ready) {
        return;
    }
    const dsr record = record_of(*this);
    for (const HeaderField& field : tonalign::header_fields()) {
        const std::string_view caption = field.caption;
        os << caption << std::string(tonalign::caption_width - caption.size(), ' ') << ": ";
        with_both(field, record, record, [&os](auto value, auto) { write_value(os, value); });
        os << '\n';
    }
}

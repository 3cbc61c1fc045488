// SPDX-License-Identifier: BSD-3-Clause
// The header's fields as a table, which swapping, comparing and listing walk.
#pragma once

#include "volume/HeaderRecord.h"

#include <cstddef>
#include <span>

namespace tonalign {

enum class FieldType
{
    integer16,
    integer32,
    float32,
    text,      ///< char[n], up to its terminating NUL
    character, ///< a single char
};

/// Where and how a field shows in a report of the differences between two headers.
struct DifferenceLine
{
    int place;           ///< 1-based position among the lines of the report, 0 for a field without a line
    bool leading_blank;  ///< before the left label
    bool trailing_blank; ///< after the "=" of the right label
};

/// One field of the header record, array elements counted as fields of their own.
struct HeaderField
{
    const char* name;   ///< as in code, for example "dime.dim[1]"
    std::size_t offset; ///< byte offset in the 348-byte record
    FieldType type;
    std::size_t size;          ///< in bytes
    const char* caption;       ///< in the listing of a header; its spelling is part of that listing
    DifferenceLine difference; ///< in the differences between two headers
};

/// Width to which the captions of a listing are padded.
inline constexpr std::size_t caption_width = 27;

/// Every field, in file order, which is also the order of a listing. The one enumeration of the record:
/// whatever must visit its fields walks this.
std::span<const HeaderField> header_fields();

/// The fields of the table above that have a line in a report of differences, in the order of those lines.
std::span<const HeaderField* const> fields_by_difference_line();

/// Reverses the bytes of every numeric field; text and characters stay as they are.
void swap_numeric_fields(dsr& record);

} // namespace tonalign

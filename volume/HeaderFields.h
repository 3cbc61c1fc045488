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

/// One field of the header record, array elements counted as fields of their own.
struct HeaderField
{
    const char* name;   ///< as in code, for example "dime.dim[1]"
    std::size_t offset; ///< byte offset in the 348-byte record
    FieldType type;
    std::size_t size; ///< in bytes
};

/// Every field, in file order. The one enumeration of the record: whatever must visit its fields walks this.
std::span<const HeaderField> header_fields();

/// Reverses the bytes of every numeric field; text and characters stay as they are.
void swap_numeric_fields(dsr& record);

} // namespace tonalign

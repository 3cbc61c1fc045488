// SPDX-License-Identifier: BSD-3-Clause
// The index ranges of a volume, and what must be true of them.
#pragma once

#include <cstdint>

namespace tonalign {

/// The index ranges of a volume along one axis: memory exists for min..max, the region of interest is
/// begin..end.
struct AxisRange
{
    int min;
    int begin;
    int end;
    int max;

    bool isGood() const { return min <= begin && begin <= end && end <= max; }
    std::int64_t totalExtent() const { return std::int64_t{max} - min + 1; }
    std::int64_t innerExtent() const { return std::int64_t{end} - begin + 1; }
};

/// An axis of `extent` voxels that starts at 0 and has no margin.
inline AxisRange axis_without_margin(int extent)
{
    return {0, 0, extent - 1, extent - 1};
}

/// Ends the process with status 1 and "Dimensions not good in X " (Y, Z) on standard error at the first
/// axis, in the order x, y, z, that does not satisfy min <= begin <= end <= max.
void require_good_box(const AxisRange& x, const AxisRange& y, const AxisRange& z);

/// Number of elements of a box with these extents (each below 2^32), or -1 when it exceeds 64 bits.
std::int64_t element_count(std::int64_t nx, std::int64_t ny, std::int64_t nz);

/// Ends the process with status 1 and " Failed to allocate Memory " on standard error.
[[noreturn]] void end_without_memory();

/// Ends the process with status 1 and " Null array being initialized in assignment" on standard error.
[[noreturn]] void end_on_null_array();

/// Ends the process with status 0: the source of a volume assignment holds no memory.
[[noreturn]] void end_on_empty_source();

/// Ends the process with status 1: the two volumes of an assignment have different inner regions.
[[noreturn]] void end_on_different_dimensions();

} // namespace tonalign

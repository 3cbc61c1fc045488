#pragma once

#include "volume/ElementType.h"

#include <cstdint>
#include <iosfwd>
#include <string>

namespace tonalign {

/// Ends the process with status 1 and one line on standard error unless the image file is a regular file of
/// at least `count` elements. Longer files pass: only their first voxels are read.
///
/// This comes before any memory is taken for the voxels, so that a header cannot ask for more than the disk
/// holds.
void require_whole_image_file(const std::string& imagename, std::int64_t count, const ElementType& type);

/// Reads `count` voxels of the given type from the stream's position on into voxels[0..count), as double.
///
/// `swap` says that the file is in the other byte order. A file that ends early ends the process like
/// require_whole_image_file; `imagename` is for that message. Conversion goes block by block, so no second
/// buffer of the volume's size is needed.
void read_voxels(std::istream& file, const std::string& imagename, const ElementType& type, bool swap,
                 double* voxels, std::int64_t count);

/// Writes voxels[0..count) to the stream in the given type and the machine's byte order.
///
/// Floats are rounded to nearest. Integers are truncated toward zero, values beyond the 32-bit range taking
/// its nearest end and NaN 0; the low bits of that 32-bit integer are stored. Stream errors are left in the
/// stream's state.
void write_voxels(std::ostream& file, const ElementType& type, const double* voxels, std::int64_t count);

} // namespace tonalign

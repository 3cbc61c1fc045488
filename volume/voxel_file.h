#pragma once

#include "volume/ElementType.h"

#include <cstdint>
#include <iosfwd>
#include <string>

namespace tonalign {

/// Whether the name is that of something other than a regular file. To be asked before an image file is
/// opened, which would wait for the writer of a pipe.
bool is_special_file(const std::string& name);

/// Whether the name is that of a pipe. To be asked before a header file is opened: a pipe without a writer
/// would be waited for, and none has an image beside it.
bool is_pipe(const std::string& name);

/// Ends the process with status 1 and one line on standard error when the header file is a pipe.
void require_no_pipe(const std::string& headername);

/// Ends the process with status 1 and one line on standard error when the image file is a special one.
void require_no_special_file(const std::string& imagename);

/// Ends the process with status 1 and one line on standard error unless the image file is a regular file of
/// at least `count` elements. Longer files pass: only their first voxels are read.
///
/// This comes before any memory is taken for the voxels, so that a header cannot ask for more than the disk
/// holds.
void require_whole_image_file(const std::string& imagename, std::int64_t count, const ElementType& type);

/// Reads `count` voxels of the given type from the stream's position on into voxels[0..count), as double.
///
/// `swap` says that the file is in the other byte order. A file that ends early, or cannot be read to its
/// end, ends the process like require_whole_image_file; `imagename` is for that message. Conversion goes
/// block by block, so no second buffer of the volume's size is needed.
void read_voxels(std::istream& file, const std::string& imagename, const ElementType& type, bool swap,
                 double* voxels, std::int64_t count);

/// Writes voxels[0..count) to the stream in the given type and the machine's byte order.
///
/// Floats are rounded to nearest. Integers are truncated toward zero, values beyond the 32-bit range taking
/// its nearest end and NaN 0; the low bits of that 32-bit integer are stored. Stream errors are left in the
/// stream's state.
void write_voxels(std::ostream& file, const ElementType& type, const double* voxels, std::int64_t count);

} // namespace tonalign

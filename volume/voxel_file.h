// SPDX-License-Identifier: BSD-3-Clause
// The bytes of image files.
#pragma once

#include "failure/Fault.h"
#include "volume/ElementType.h"
#include "volume/VolumeRows.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <iosfwd>
#include <string>

namespace tonalign {

/// A pipe cannot be a header file: one without a writer would be waited for, and none has an image beside it.
/// To be asked before the file is opened.
[[nodiscard]] Fault fault_of_header_file(const std::string& headername);

/// Only a regular file can be an image file; a missing one is found when it is opened. To be asked before
/// that.
[[nodiscard]] Fault fault_of_image_file(const std::string& imagename);

/// An image file must hold `count` elements at least; of a longer one only the first voxels are read. To be
/// asked before any memory is taken for the voxels, so that a header cannot ask for more than the disk holds.
[[nodiscard]] Fault fault_of_image_length(const std::string& imagename, std::int64_t count,
                                          const ElementType& type);

/// Reads `count` voxels of the given type from the stream's position on into voxels[0..count), as double.
///
/// `swap` says that the file is in the other byte order. Faults are a file that ends early, or cannot be read
/// to its end; `imagename` is for the message. Conversion goes block by block, so no second buffer of the
/// volume's size is needed.
[[nodiscard]] Fault read_voxels(std::istream& file, const std::string& imagename, const ElementType& type,
                                bool swap, double* voxels, std::int64_t count);

/// The same into elements[0..count) of the file's own type, in the machine's byte order.
[[nodiscard]] Fault read_elements(std::istream& file, const std::string& imagename, const ElementType& type,
                                  bool swap, std::byte* elements, std::int64_t count);

/// Writes all rows of a volume to the stream in the given type and the machine's byte order.
///
/// Floats are rounded to nearest. Integers are truncated toward zero, values beyond the 32-bit range taking
/// its nearest end and NaN 0; the low bits of that 32-bit integer are stored. Stream errors are left in the
/// stream's state.
///
/// Calls written() after each block.
void write_voxels(
    std::ostream& file, const ElementType& type, const VolumeRows& volume,
    const std::function<void()>& written = [] {});

} // namespace tonalign

// SPDX-License-Identifier: BSD-3-Clause
// Reading an image pair for callers that go on living when it is bad.
#pragma once

#include "failure/Fault.h"
#include "volume/AnalyzeHeader.h"
#include "volume/Array3D.h"
#include "volume/PairNames.h"

namespace tonalign {

/// An image pair whose header has been read.
struct PairFile
{
    explicit PairFile(std::string_view name) : names(name) {}

    PairNames names;
    AnalyzeHeader header; ///< in the machine's byte order; its flag tells of the image's
};

/// Reads the header of a pair, in either byte order. Faults are a file that cannot be read, a pipe, a file
/// that is too short and one that is no header.
[[nodiscard]] Fault read_header(PairFile& pair);

/// Looks at the image file without reading it. Faults are sizes below 1, an unknown element type, a file that
/// cannot be opened, is no regular one or is too short.
[[nodiscard]] Fault check_image(const PairFile& pair);

/// Sizes the volume and reads the voxels into it. Faults are those of check_image and what goes wrong on the
/// way.
[[nodiscard]] Fault read_image(const PairFile& pair, Array3D<double>& volume);

} // namespace tonalign

#pragma once

#include "volume/AnalyzeHeader.h"

#include <string>

namespace tonalign {

/// The header of an image pair, or what is wrong with it.
struct PairHeader
{
    std::string headername;
    std::string imagename;
    AnalyzeHeader header; ///< in the machine's byte order; its flag tells of the image's
    std::string fault;    ///< empty when the header is good, otherwise one line that names the file
};

/// Reads the header of the pair that `name` names, in either byte order.
///
/// AnalyzeHeader::readAnalyzeHeader would announce a foreign byte order on standard output, pass over a short
/// file and end the process at the first bad one.
PairHeader read_pair_header(const char* name);

} // namespace tonalign

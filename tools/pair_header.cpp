#include "tools/pair_header.h"

#include "volume/AnalyzeImage.h"
#include "volume/voxel_file.h"

#include <cerrno>
#include <cstring>
#include <fstream>

namespace tonalign {

namespace {

std::string fault_of(const std::string& file, AnalyzeHeader& header)
{
    if (is_pipe(file)) {
        return "a pipe, but a header file is expected";
    }
    errno = 0;
    std::ifstream stream(file, std::ios::binary);
    dsr record;
    stream.read(reinterpret_cast<char*>(&record), sizeof record);
    if (!stream.is_open() || stream.bad()) {
        return errno != 0 ? std::strerror(errno) : "cannot be read";
    }
    if (stream.gcount() != header_size) {
        return "ends after " + std::to_string(stream.gcount()) + " bytes, but a header has " +
               std::to_string(header_size);
    }
    header.hk = record.hk;
    header.dime = record.dime;
    header.hist = record.hist;
    if (header.hk.sizeof_hdr != header_size) {
        header.byte_swap_header();
        header.m_bImgNeedsByteSwap = true;
    }
    if (header.hk.sizeof_hdr != header_size) {
        return "not an Analyze header: it does not begin with its size, " + std::to_string(header_size) +
               ", in either byte order";
    }
    return {};
}

} // namespace

PairHeader read_pair_header(const char* name)
{
    AnalyzeImage<double> pair;
    pair.setAnalyzeFileName(name);
    PairHeader result = {pair.headername, pair.imagename, {}, {}};
    const std::string fault = fault_of(result.headername, result.header);
    if (!fault.empty()) {
        result.fault = result.headername + ": " + fault;
    }
    return result;
}

} // namespace tonalign

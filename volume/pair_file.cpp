// SPDX-License-Identifier: BSD-3-Clause
// Reads image pairs without a word on the console.
#include "volume/pair_file.h"

#include "volume/HeaderRecord.h"
#include "volume/voxel_file.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>

namespace tonalign {

namespace {

std::string text_of_errno()
{
    return errno != 0 ? std::strerror(errno) : "cannot be read";
}

Fault open_image(const PairFile& pair, std::ifstream& file)
{
    const AnalyzeHeader& header = pair.header;
    if (std::min({header.getNx(), header.getNy(), header.getNz()}) < 1) {
        return {pair.names.header + ": the volume's size is " + std::to_string(header.getNx()) + " x " +
                std::to_string(header.getNy()) + " x " + std::to_string(header.getNz()) +
                ", but at least one voxel along each axis is expected"};
    }
    const ElementType* const type = element_type_by_codes(header.getDataType(), header.getDataTypeBitSize());
    if (type == nullptr) {
        return {pair.names.header + ": the element type, code " + std::to_string(header.getDataType()) +
                " with " + std::to_string(header.getDataTypeBitSize()) + " bits, is not one that is read"};
    }
    if (Fault fault = fault_of_image_file(pair.names.image)) {
        return fault;
    }
    errno = 0;
    file.open(pair.names.image, std::ios::binary);
    if (!file) {
        return {pair.names.image + ": the image file cannot be opened for reading: " + text_of_errno()};
    }
    return fault_of_image_length(pair.names.image,
                                 element_count(header.getNx(), header.getNy(), header.getNz()), *type);
}

} // namespace

Fault read_header(PairFile& pair)
{
    const std::string& name = pair.names.header;
    if (Fault fault = fault_of_header_file(name)) {
        return fault;
    }
    errno = 0;
    std::ifstream file(name, std::ios::binary);
    dsr record;
    file.read(reinterpret_cast<char*>(&record), sizeof record);
    if (!file.is_open() || file.bad()) {
        return {name + ": " + text_of_errno()};
    }
    if (file.gcount() != header_size) {
        return {name + ": ends after " + std::to_string(file.gcount()) + " bytes, but a header has " +
                std::to_string(header_size)};
    }
    pair.header.hk = record.hk;
    pair.header.dime = record.dime;
    pair.header.hist = record.hist;
    if (record.hk.sizeof_hdr != header_size) {
        pair.header.byte_swap_header();
        pair.header.m_bImgNeedsByteSwap = true;
    }
    if (pair.header.hk.sizeof_hdr != header_size) {
        return {name + ": not an Analyze header: it does not begin with its size, " +
                std::to_string(header_size) + ", in either byte order"};
    }
    return {};
}

Fault check_image(const PairFile& pair)
{
    std::ifstream file;
    return open_image(pair, file);
}

Fault read_image(const PairFile& pair, Array3D<double>& volume)
{
    std::ifstream file;
    if (Fault fault = open_image(pair, file)) {
        return fault;
    }
    const AnalyzeHeader& header = pair.header;
    volume.setDim(header.getNz(), header.getNy(), header.getNx());
    return read_voxels(file, pair.names.image,
                       *element_type_by_codes(header.getDataType(), header.getDataTypeBitSize()),
                       header.IsImgNeedByteSwap(), volume.block(), volume.blockSize());
}

} // namespace tonalign

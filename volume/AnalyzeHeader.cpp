// SPDX-License-Identifier: BSD-3-Clause
// Sets the fields of a header.
#include "volume/AnalyzeHeader.h"

#include "failure/end_process.h"
#include "volume/ElementType.h"
#include "volume/HeaderFields.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <iostream>

namespace {

template <std::size_t size>
void copy_text(char (&field)[size], const char* text)
{
    const std::size_t length = std::min(std::strlen(text), size - 1);
    std::memcpy(field, text, length);
    field[length] = '\0';
}

} // namespace

AnalyzeHeader::AnalyzeHeader(const char* file, int byteSwap)
{
    clean();
    readAnalyzeHeader(file, byteSwap);
}

void AnalyzeHeader::clean()
{
    hk = {};
    dime = {};
    hist = {};
    m_bImgNeedsByteSwap = false;
}

void AnalyzeHeader::setImageDimensions(int Nz, int Ny, int Nx, int Nt)
{
    dime.dim[0] = 4;
    setNx(Nx);
    setNy(Ny);
    setNz(Nz);
    dime.dim[4] = static_cast<std::int16_t>(Nt);
}

void AnalyzeHeader::setPixelDimensions(double pz, double py, double px)
{
    setPixelDimensionX(px);
    setPixelDimensionY(py);
    setPixelDimensionZ(pz);
}

void AnalyzeHeader::setVoxelUnits(const char* units)
{
    copy_text(dime.vox_units, units);
}

void AnalyzeHeader::setCalUnits(const char* units)
{
    copy_text(dime.cal_units, units);
}

void AnalyzeHeader::setGlobalMaxMin(int max, int min)
{
    dime.glmax = max;
    dime.glmin = min;
}

void AnalyzeHeader::setDataType(const char* ch)
{
    if (const tonalign::ElementType* type = tonalign::element_type_by_name(ch)) {
        dime.datatype = type->datatype;
        dime.bitpix = type->bitpix;
    }
}

void AnalyzeHeader::setHeaderKeyDefaults()
{
    hk.sizeof_hdr = tonalign::header_size;
    hk.regular = 'r';
    hk.extents = tonalign::default_extents;
}

void AnalyzeHeader::setBareBonesHeader(int Nz, int Ny, int Nx, const char* data_type, int max, int min)
{
    std::fill(std::begin(dime.pixdim), std::end(dime.pixdim), 0.0F);
    setHeaderKeyDefaults();
    setImageDimensions(Nz, Ny, Nx, 1);
    setDataType(data_type);
    setGlobalMaxMin(max, min);
    setPixelDimensions(1, 1, 1);
    setVoxelUnits("mm");
    setCalUnits(" ");
    dime.vox_offset = 0;
    dime.roi_scale = 0;
    dime.funused1 = 0;
    dime.funused2 = 0;
    dime.cal_max = 0;
    dime.cal_min = 0;
    hist.orient = 0;
}

void AnalyzeHeader::byte_swap_header()
{
    dsr record = {hk, dime, hist};
    tonalign::swap_numeric_fields(record);
    hk = record.hk;
    dime = record.dime;
    hist = record.hist;
}

void AnalyzeHeader::checkAnalyzeHeaderInProperFormat()
{
    if (hk.sizeof_hdr <= 0 || hk.sizeof_hdr == tonalign::header_size) {
        return;
    }
    byte_swap_header();
    if (hk.sizeof_hdr != tonalign::header_size) {
        std::cerr << "Inside AnalyzeHeader::checkAnalyzeHeaderInProperFormat";
        tonalign::end_process(std::cout, {" - Header corrupted, even after Byte Swapping \n"},
                              tonalign::ExitStatus::success);
    }
}

// SPDX-License-Identifier: BSD-3-Clause
// Reads and writes 8-bit pairs.
#include "volume/Image.h"

#include "failure/end_process.h"
#include "volume/ElementType.h"
#include "volume/HeaderFields.h"
#include "volume/OutputFile.h"
#include "volume/voxel_file.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <limits>
#include <system_error>

namespace {

const tonalign::ElementType& uint8_type = *tonalign::element_type_by_name("unsigned char");
constexpr const char* image_not_opened = "Error: cannot save image file";

int failed(const char* text)
{
    std::cout << text;
    return 0;
}

/// Writes a file that has been begun and is not kept yet.
int write_file(tonalign::OutputFile& output, const void* bytes, std::size_t size)
{
    output.stream().write(static_cast<const char*>(bytes), static_cast<std::streamsize>(size));
    return output.close() ? 1 : failed("Error");
}

int kept(tonalign::OutputFile& output)
{
    return output.keep() ? 1 : failed("Error");
}

} // namespace

int Image::Load(const char* file)
{
    if (ConstructAnalyzeNames(file) == 0 || ReadAnalyzeHeader() == 0 || ReadAnalyzeData() == 0) {
        return 0;
    }
    needs_saving = 0;
    return 1;
}

int Image::ReadAnalyzeHeader()
{
    const std::string name = headerName();
    if (const tonalign::Fault fault = tonalign::fault_of_header_file(name)) {
        refused(fault.message);
        return failed("Error");
    }
    std::ifstream file(name, std::ios::binary);
    if (!file) {
        return failed("Error: cannot open header file");
    }
    dsr record;
    if (!file.read(reinterpret_cast<char*>(&record), sizeof record)) {
        return failed("Error");
    }
    if (record.hk.sizeof_hdr != tonalign::header_size) {
        tonalign::swap_numeric_fields(record);
        std::cout << " Header for " << name << " was byte_swapped during loading \n";
        if (record.hk.sizeof_hdr != tonalign::header_size) {
            tonalign::end_process(std::cerr, {" Header unreadable even after byte_swapping \n"},
                                  tonalign::ExitStatus::success);
        }
    }
    if (record.dime.datatype != uint8_type.datatype || record.dime.bitpix != uint8_type.bitpix) {
        std::cerr << "Image::ReadAnalyzeHeader(" << name << ") : ERROR : image not u_char\n";
        return 0;
    }
    const std::int16_t* const dim = record.dime.dim;
    if (std::min({dim[1], dim[2], dim[3]}) < 0) {
        return refused(name + ": the volume is " + std::to_string(dim[1]) + " x " + std::to_string(dim[2]) +
                       " x " + std::to_string(dim[3]) + " voxels, but no size may be negative");
    }
    for (int axis = 1; axis <= 3; ++axis) {
        float& spacing = record.dime.pixdim[axis];
        spacing = spacing <= 0.0F ? 1.0F : spacing;
    }
    provideHeader();
    *hdr = record;
    nx = dim[1];
    ny = dim[2];
    nz = dim[3];
    if (lacksVoxels()) {
        dropVoxels();
    }
    return 1;
}

int Image::ReadAnalyzeData()
{
    const std::string name = imageName();
    const auto count = voxelCount(nx, ny, nz);
    if (!count) {
        dropVoxels();
        return refusedSizes(nx, ny, nz);
    }
    if (const tonalign::Fault fault = tonalign::fault_of_image_file(name)) {
        dropVoxels();
        refused(fault.message);
        return failed("Error");
    }
    std::ifstream file(name, std::ios::binary);
    if (!file) {
        dropVoxels();
        return failed("Error: cannot open image file");
    }
    const auto needed = static_cast<std::int64_t>(*count);
    if (const tonalign::Fault fault = tonalign::fault_of_image_length(name, needed, uint8_type)) {
        dropVoxels();
        refused(fault.message);
        return failed("Error");
    }
    provideVoxels(*count);
    if (!file.read(reinterpret_cast<char*>(data), static_cast<std::streamsize>(*count))) {
        dropVoxels();
        return failed("Error");
    }
    CalculateMinMax();
    return 1;
}

int Image::Save(const char* file)
{
    if (ConstructAnalyzeNames(file) == 0) {
        return 0;
    }
    if (lacksVoxels()) {
        return refused(std::string(filename) + ": not saved, the image has no voxels");
    }
    if (std::max({nx, ny, nz}) > std::numeric_limits<std::int16_t>::max()) {
        return refused(std::string(filename) + ": not saved, a header holds sizes up to " +
                       std::to_string(std::numeric_limits<std::int16_t>::max()));
    }
    if (FileExists(file) != 0) {
        std::cout << "File exists!";
    }
    tonalign::OutputFile header_file(headerName());
    tonalign::OutputFile image_file(imageName());
    tonalign::OutputFile::refuseOneFile(header_file, image_file);
    if (writeHeader(header_file) == 0) {
        return 0;
    }
    if (!image_file.begin()) {
        kept(header_file);
        return failed(image_not_opened);
    }
    if (writeVoxels(image_file) == 0) {
        return 0;
    }
    if (tonalign::OutputFile::keepPair(header_file, image_file) != nullptr) {
        return failed("Error");
    }
    needs_saving = 0;
    return 1;
}

int Image::writeHeader(tonalign::OutputFile& file)
{
    if (!file.begin()) {
        return failed("Error: cannot save header file");
    }
    if (hdr == nullptr) {
        InitAnalyzeHeader();
    }
    dsr swapped = *hdr;
    tonalign::swap_numeric_fields(swapped);
    return write_file(file, &swapped, sizeof swapped);
}

int Image::writeVoxels(tonalign::OutputFile& file)
{
    return write_file(file, data, voxelCount(nx, ny, nz).value());
}

int Image::SaveAnalyzeHeader()
{
    tonalign::OutputFile file(headerName());
    return writeHeader(file) == 0 ? 0 : kept(file);
}

int Image::SaveAnalyzeData()
{
    if (lacksVoxels()) {
        return refused(std::string(filename) + ": not saved, the image has no voxels");
    }
    tonalign::OutputFile file(imageName());
    if (!file.begin()) {
        return failed(image_not_opened);
    }
    return writeVoxels(file) == 0 ? 0 : kept(file);
}

int Image::FileExists(const char* file)
{
    return std::ifstream(file).is_open() ? 1 : 0;
}

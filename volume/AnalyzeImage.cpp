// SPDX-License-Identifier: BSD-3-Clause
// Reads and saves image pairs, with the documented texts.
#include "volume/AnalyzeImage.h"

#include "failure/end_process.h"
#include "volume/ElementType.h"
#include "volume/OutputFile.h"
#include "volume/PairNames.h"
#include "volume/StoredVolume.h"
#include "volume/VolumeRows.h"
#include "volume/voxel_file.h"

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <iostream>
#include <limits>
#include <new>

template <typename T>
void AnalyzeImage<T>::constructImageHeaderFileNames(const char* pref)
{
    const tonalign::PairNames names(pref);
    imagename = names.image;
    headername = names.header;
}

template <typename T>
const tonalign::ElementType* AnalyzeImage<T>::elementType() const
{
    return tonalign::element_type_by_codes(H.getDataType(), H.getDataTypeBitSize());
}

template <typename T>
void AnalyzeImage<T>::requireName(const std::string& name, const char* extension, const char* inside,
                                  const char* attempt) const
{
    if (!name.ends_with(extension)) {
        tonalign::end_process(std::cerr, {inside, "\n", attempt, "\n"}, tonalign::ExitStatus::success);
    }
}

template <typename T>
void AnalyzeImage<T>::endUnopened(const char* inside) const
{
    tonalign::end_process(std::cerr,
                          {inside, "\n", "  Error opening file ", imagename, " for reading in data \n"},
                          tonalign::ExitStatus::success);
}

template <typename T>
void AnalyzeImage<T>::endOn(const tonalign::Fault& fault)
{
    if (fault) {
        tonalign::end_process(std::cerr, {fault.message, "\n"}, tonalign::ExitStatus::failure);
    }
}

template <typename T>
int AnalyzeImage<T>::readAnalyzeImageHeader()
{
    requireName(headername, ".hdr", " Inside  AnalyzeImage::readAnalyzeImageHeader() ",
                " Attempt to read header without setting header filename ");
    endOn(tonalign::fault_of_header_file(headername));
    return H.readAnalyzeHeader(headername.c_str(), 1);
}

template <typename T>
int AnalyzeImage<T>::readAnalyzeImageData()
{
    requireName(imagename, ".img", " Inside  AnalyzeImage::readAnalyzeImageData() ",
                " Attempt to read Image Data without setting ImageFileName ");
    return readImageData();
}

template <typename T>
int AnalyzeImage<T>::readImageData()
{
    endOn(readVoxels());
    return 1;
}

/// Opens the image file of the header, which is read first if it has not been, and makes sure that the file
/// holds every voxel.
template <typename T>
tonalign::Fault AnalyzeImage<T>::openImage(std::ifstream& file, const tonalign::ElementType*& type)
{
    if (!H.hasBeenReadFromFile()) {
        readAnalyzeImageHeader();
    }
    if (tonalign::Fault fault = tonalign::fault_of_image_file(imagename)) {
        return fault;
    }
    file.open(imagename, std::ios::binary);
    if (!file) {
        endUnopened("  Inside  AnalyzeImage::readAnalyzeImageData() ");
    }
    type = elementType();
    if (type == nullptr) {
        tonalign::end_process(std::cout, {" Error: Datatype format not recognized \n"},
                              tonalign::ExitStatus::success);
    }
    tonalign::require_good_box(tonalign::axis_without_margin(getNx()), tonalign::axis_without_margin(getNy()),
                               tonalign::axis_without_margin(getNz()));
    return tonalign::fault_of_image_length(imagename, voxelCount(), *type);
}

template <typename T>
tonalign::Fault AnalyzeImage<T>::readVoxels()
{
    std::ifstream file;
    const tonalign::ElementType* type = nullptr;
    if (tonalign::Fault fault = openImage(file, type)) {
        return fault;
    }
    D.setDim(getNz(), getNy(), getNx());
    tellOfSwap();
    return tonalign::read_voxels(file, imagename, *type, H.m_bImgNeedsByteSwap, D.block(), voxelCount());
}

template <typename T>
tonalign::Fault AnalyzeImage<T>::readStored(tonalign::StoredVolume& volume)
{
    std::ifstream file;
    const tonalign::ElementType* type = nullptr;
    if (tonalign::Fault fault = openImage(file, type)) {
        return fault;
    }
    try {
        volume = tonalign::StoredVolume(type->kind, getNx(), getNy(), getNz());
    } catch (const std::bad_alloc&) {
        tonalign::end_without_memory();
    }
    tellOfSwap();
    return tonalign::read_elements(file, imagename, *type, H.m_bImgNeedsByteSwap, volume.bytes(),
                                   voxelCount());
}

template <typename T>
void AnalyzeImage<T>::tellOfSwap() const
{
    if (H.m_bImgNeedsByteSwap) {
        std::cerr << "**------Byte Swapping Image during Load from file -----**\n";
    }
}

template <typename T>
std::int64_t AnalyzeImage<T>::voxelCount() const
{
    return tonalign::element_count(getNx(), getNy(), getNz());
}

template <typename T>
int AnalyzeImage<T>::Save()
{
    requireNameOfHeaderToSave();
    endOn(faultOfSizes());
    return savePair(nullptr);
}

template <typename T>
int AnalyzeImage<T>::save(const char* file, const tonalign::VolumeRows& rows)
{
    setAnalyzeFileName(file);
    requireNameOfHeaderToSave();
    return savePair(&rows);
}

template <typename T>
int AnalyzeImage<T>::savePair(const tonalign::VolumeRows* rows)
{
    tonalign::OutputFile header(headername);
    tonalign::OutputFile image(nameOfImageToSave());
    tonalign::OutputFile::refuseOneFile(header, image);
    H.write(header, 0);
    return saveImage(image, &header, rows);
}

template <typename T>
void AnalyzeImage<T>::requireNameOfHeaderToSave() const
{
    requireName(headername, ".hdr", " Inside  AnalyzeImage::SaveAnalyzeHeader() ",
                " Attempt to save header without setting header filename ");
}

template <typename T>
int AnalyzeImage<T>::saveAnalyzeImageHeader()
{
    requireNameOfHeaderToSave();
    endOn(faultOfSizes());
    return H.saveAnalyzeHeader(headername.c_str());
}

template <typename T>
int AnalyzeImage<T>::saveAnalyzeImageData()
{
    endOn(faultOfSizes());
    tonalign::OutputFile image(nameOfImageToSave());
    return saveImage(image, nullptr, nullptr);
}

/// A header holds sizes of 16 bits.
template <typename T>
tonalign::Fault AnalyzeImage<T>::faultOfSizes() const
{
    constexpr int largest = std::numeric_limits<std::int16_t>::max();
    if (std::max({D.getNxTotal(), D.getNyTotal(), D.getNzTotal()}) <= largest) {
        return {};
    }
    return {headername + ": not saved, a header holds sizes up to " + std::to_string(largest)};
}

/// Empty when no image can be saved: no file is touched then.
template <typename T>
std::string AnalyzeImage<T>::nameOfImageToSave() const
{
    return imagename.ends_with(".img") && elementType() != nullptr ? imagename : std::string();
}

/// Writes the rows, or D if there are none, to the image file, and puts that in place, together with the file
/// of a header that has been written or given up already.
template <typename T>
int AnalyzeImage<T>::saveImage(tonalign::OutputFile& image, tonalign::OutputFile* header,
                               const tonalign::VolumeRows* rows)
{
    std::cout << " Inside AnalyzeImage::saveAnalyzeImageData() \n";
    const bool opened = image.begin();
    if (!opened && header != nullptr) {
        AnalyzeHeader::keep(*header); // the process ends below
    }
    requireName(imagename, ".img", " Inside  AnalyzeImage::saveAnalyzeImageData() ",
                " Attempt to save Image Data without setting ImageFileName ");
    const tonalign::ElementType* type = elementType();
    if (type == nullptr) {
        tonalign::end_process(std::cout, {" Error in saving Image: data-type not recognized \n"},
                              tonalign::ExitStatus::success);
    }
    if (!opened) {
        endUnopened("  Inside  AnalyzeImage::saveAnalyzeImageData() ");
    }
    std::cout << " File " << imagename << " opened successfully \n"
              << " size_of_data_in_bytes = " << voxelCount() * type->bytes() << '\n';
    const auto row_of_block = [this](int z, int y, double* values) {
        std::copy_n(D.block() + (std::int64_t{z} * getNy() + y) * getNx(), getNx(), values);
    };
    tonalign::write_voxels(image.stream(), *type,
                           rows != nullptr ? *rows
                                           : tonalign::VolumeRows{getNx(), getNy(), getNz(), row_of_block},
                           [&image] { image.startWriteback(); });
    const tonalign::OutputFile* const failed = header != nullptr
                                                   ? tonalign::OutputFile::keepPair(*header, image)
                                               : image.keep() ? nullptr
                                                              : &image;
    if (failed == &image) {
        std::cout << "the file seems to be written....but the out stream failed after write."
                     " Have to debug this. Check Data for validity.";
    } else if (failed != nullptr) {
        AnalyzeHeader::reportWriteError();
    }
    return 1;
}

template class AnalyzeImage<double>;

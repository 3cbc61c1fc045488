// SPDX-License-Identifier: BSD-3-Clause
// Reads and saves image pairs, with the documented texts.
#include "volume/AnalyzeImage.h"

#include "failure/end_process.h"
#include "volume/ElementType.h"
#include "volume/OutputFile.h"
#include "volume/PairNames.h"
#include "volume/voxel_file.h"

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <iostream>
#include <limits>

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

template <typename T>
tonalign::Fault AnalyzeImage<T>::readVoxels()
{
    if (!H.hasBeenReadFromFile()) {
        readAnalyzeImageHeader();
    }
    if (tonalign::Fault fault = tonalign::fault_of_image_file(imagename)) {
        return fault;
    }
    std::ifstream file(imagename, std::ios::binary);
    if (!file) {
        endUnopened("  Inside  AnalyzeImage::readAnalyzeImageData() ");
    }
    const tonalign::ElementType* type = elementType();
    if (type == nullptr) {
        tonalign::end_process(std::cout, {" Error: Datatype format not recognized \n"},
                              tonalign::ExitStatus::success);
    }
    tonalign::require_good_box(tonalign::axis_without_margin(getNx()), tonalign::axis_without_margin(getNy()),
                               tonalign::axis_without_margin(getNz()));
    const std::int64_t count = tonalign::element_count(getNx(), getNy(), getNz());
    if (tonalign::Fault fault = tonalign::fault_of_image_length(imagename, count, *type)) {
        return fault;
    }
    D.setDim(getNz(), getNy(), getNx());
    if (H.m_bImgNeedsByteSwap) {
        std::cerr << "**------Byte Swapping Image during Load from file -----**\n";
    }
    return tonalign::read_voxels(file, imagename, *type, H.m_bImgNeedsByteSwap, D.block(), count);
}

template <typename T>
int AnalyzeImage<T>::Save()
{
    requireNameOfHeaderToSave();
    endOn(faultOfSizes());
    tonalign::OutputFile header(headername);
    tonalign::OutputFile image(nameOfImageToSave());
    tonalign::OutputFile::refuseOneFile(header, image);
    H.write(header, 0);
    return saveImage(image, &header);
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
    return saveImage(image, nullptr);
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

/// Writes D to its file, and puts that in place, together with the file of a header that has been written or
/// given up already.
template <typename T>
int AnalyzeImage<T>::saveImage(tonalign::OutputFile& image, tonalign::OutputFile* header)
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
    const std::int64_t count = tonalign::element_count(getNx(), getNy(), getNz());
    std::cout << " File " << imagename << " opened successfully \n"
              << " size_of_data_in_bytes = " << count * type->bytes() << '\n';
    tonalign::write_voxels(image.stream(), *type, D.block(), count);
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

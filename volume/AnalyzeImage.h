// SPDX-License-Identifier: BSD-3-Clause
// A header, its volume and their two files.
#pragma once

#include "failure/end_process.h"
#include "volume/AnalyzeHeader.h"
#include "volume/Array3D.h"
#include "volume/ElementType.h"
#include "volume/OutputFile.h"
#include "volume/PairNames.h"
#include "volume/voxel_file.h"

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <iostream>
#include <limits>
#include <string>
#include <type_traits>

/// An Analyze 7.5 image pair: a header, a volume and the names of the two files.
///
/// Loads a pair of any recognised element type, in either byte order, into a volume of doubles, and saves a
/// volume in the element type that its header names. Names may be of any length. Every failure that a reader
/// or writer detects ends the process; they return 1 when they return at all.
template <typename T>
class AnalyzeImage
{
    static_assert(std::is_same_v<T, double>, "voxels are converted from and to double only");

public:
    AnalyzeHeader H;
    Array3D<T> D;
    std::string imagename;  ///< of the `.img` file
    std::string headername; ///< of the `.hdr` file

    /// A clean header, no voxels, no names.
    AnalyzeImage() = default;

    /// Loads the pair that `file` names: its base name, or the name of either file.
    explicit AnalyzeImage(const char* file)
    {
        constructImageHeaderFileNames(file);
        readAnalyzeImageHeader();
        readAnalyzeImageData();
    }

    /// Derives both file names from a base name.
    ///
    /// A name longer than four characters whose fourth to second last are ".im" or ".hd" loses its last four
    /// first: brain, brain.img and brain.hdr (and brain.imx) all mean brain.img and brain.hdr.
    void constructImageHeaderFileNames(const char* pref);

    void setAnalyzeFileName(const char* file) { constructImageHeaderFileNames(file); }

    /// Reads H from headername, converting it when it is in the other byte order.
    int readAnalyzeImageHeader();

    /// Reads D from imagename; reads H first when it has not been read yet.
    int readAnalyzeImageData();

    /// The work of readAnalyzeImageData, without its test of the file name.
    int readImageData();

    /// The same for callers that decide for themselves about faults of no documented text: an image that is
    /// no regular file, is too short or cannot be read to its end. readImageData ends the process on them,
    /// with status 1 and the message on standard error. D is sized only after the file is known to hold every
    /// voxel that the header promises.
    [[nodiscard]] tonalign::Fault readVoxels();

    /// Writes H to headername, in the machine's byte order.
    int saveAnalyzeImageHeader();

    /// Writes D to imagename in the element type of H. The header's sizes, which must be those of D's
    /// allocated box, decide how many voxels are written.
    int saveAnalyzeImageData();

    /// Writes the header, then the voxels. The two files take their names together, so that a failed write
    /// leaves the old pair. A header that cannot be written is told and the image saved all the same; an
    /// image that cannot be created, or is of no known element type, ends the process after the header, which
    /// stays.
    int Save()
    {
        requireNameOfHeaderToSave();
        endOn(faultOfSizes());
        tonalign::OutputFile header(headername);
        tonalign::OutputFile image(nameOfImageToSave());
        tonalign::OutputFile::refuseOneFile(header, image);
        H.write(header, 0);
        return saveImage(image, &header);
    }

    /// setAnalyzeFileName(file), then Save().
    int save(const char* file)
    {
        setAnalyzeFileName(file);
        return Save();
    }

    /// Copies a volume in (under the rules of Array3D's assignment) and gives it a bare-bones 8-bit header.
    AnalyzeImage& operator=(const Array3D<T>& I)
    {
        D = I;
        createNewBareBonesHeader(I.getNzInner(), I.getNyInner(), I.getNxInner(), "unsigned char", 255, 0);
        return *this;
    }

    void createNewBareBonesHeader(int Nz, int Ny, int Nx, const char* data_type, int max, int min)
    {
        H.setBareBonesHeader(Nz, Ny, Nx, data_type, max, min);
    }

    /// Copies the whole record and the flag.
    void setAnalyzeHeader(const AnalyzeHeader* Hpointer) { H = *Hpointer; }

    AnalyzeHeader* getAnalyzeHeader() { return &H; }
    Array3D<T>* getAnalyzeImage() { return &D; }

    int getNx() const { return H.getNx(); }
    int getNy() const { return H.getNy(); }
    int getNz() const { return H.getNz(); }

private:
    const tonalign::ElementType* elementType() const
    {
        return tonalign::element_type_by_codes(H.getDataType(), H.getDataTypeBitSize());
    }

    void requireName(const std::string& name, const char* extension, const char* inside,
                     const char* attempt) const;
    [[noreturn]] void endUnopened(const char* inside) const;
    static void endOn(const tonalign::Fault& fault);
    void requireNameOfHeaderToSave() const;
    std::string nameOfImageToSave() const;
    tonalign::Fault faultOfSizes() const;
    int saveImage(tonalign::OutputFile& image, tonalign::OutputFile* header);
};

template <typename T>
void AnalyzeImage<T>::constructImageHeaderFileNames(const char* pref)
{
    const tonalign::PairNames names(pref);
    imagename = names.image;
    headername = names.header;
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

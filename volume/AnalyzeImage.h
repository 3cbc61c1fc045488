// SPDX-License-Identifier: BSD-3-Clause
// A header, its volume and their two files.
#pragma once

#include "failure/Fault.h"
#include "volume/AnalyzeHeader.h"
#include "volume/Array3D.h"

#include <cstdint>
#include <iosfwd>
#include <string>
#include <type_traits>

namespace tonalign {
class OutputFile;
class StoredVolume;
struct ElementType;
struct VolumeRows;
} // namespace tonalign

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

    /// The same into a volume of the file's own element type; D stays empty.
    [[nodiscard]] tonalign::Fault readStored(tonalign::StoredVolume& volume);

    /// Writes H to headername, in the machine's byte order.
    int saveAnalyzeImageHeader();

    /// Writes D to imagename in the element type of H. The header's sizes, which must be those of D's
    /// allocated box, decide how many voxels are written.
    int saveAnalyzeImageData();

    /// Writes the header, then the voxels. The two files take their names together, so that a failed write
    /// leaves the old pair. A header that cannot be written is told and the image saved all the same; an
    /// image that cannot be created, or is of no known element type, ends the process after the header, which
    /// stays.
    int Save();

    /// setAnalyzeFileName(file), then Save().
    int save(const char* file)
    {
        setAnalyzeFileName(file);
        return Save();
    }

    /// The same for a volume that has the sizes of H and is computed while it is written; D is not used.
    int save(const char* file, const tonalign::VolumeRows& rows);

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
    const tonalign::ElementType* elementType() const;
    void requireName(const std::string& name, const char* extension, const char* inside,
                     const char* attempt) const;
    [[noreturn]] void endUnopened(const char* inside) const;
    static void endOn(const tonalign::Fault& fault);
    void requireNameOfHeaderToSave() const;
    std::string nameOfImageToSave() const;
    tonalign::Fault faultOfSizes() const;
    std::int64_t voxelCount() const;
    void tellOfSwap() const;
    tonalign::Fault openImage(std::ifstream& file, const tonalign::ElementType*& type);
    int savePair(const tonalign::VolumeRows* rows);
    int saveImage(tonalign::OutputFile& image, tonalign::OutputFile* header,
                  const tonalign::VolumeRows* rows);
};

extern template class AnalyzeImage<double>;

// SPDX-License-Identifier: BSD-3-Clause
// The header record of a pair, and what can be done with it.
#pragma once

#include "volume/HeaderRecord.h"

#include <iosfwd>

namespace tonalign {
class OutputFile;
}

/// The 348-byte Analyze 7.5 header record and the flag that its voxel file is in the other byte order.
///
/// The record's fields are public, as every program that deals with the format knows them. The flag is set
/// only while a header is read (readAnalyzeHeader) and never written to a file.
class AnalyzeHeader
{
public:
    header_key hk;
    image_dimension dime;
    data_history hist;
    bool m_bImgNeedsByteSwap;

    /// A clean header.
    AnalyzeHeader() { clean(); }

    /// A clean header, then readAnalyzeHeader(file, byteSwap).
    AnalyzeHeader(const char* file, int byteSwap);

    /// Every byte of the record becomes 0, the flag false.
    void clean();

    int getNx() const { return dime.dim[1]; }
    int getNy() const { return dime.dim[2]; }
    int getNz() const { return dime.dim[3]; }
    double getPixelDimensionX() const { return dime.pixdim[1]; }
    double getPixelDimensionY() const { return dime.pixdim[2]; }
    double getPixelDimensionZ() const { return dime.pixdim[3]; }
    int getDataType() const { return dime.datatype; }
    int getDataTypeBitSize() const { return dime.bitpix; }
    int hasBeenReadFromFile() const { return hk.sizeof_hdr > 0; }
    bool IsImgNeedByteSwap() const { return m_bImgNeedsByteSwap; }

    /// Sizes are narrowed to the record's 16 bits.
    void setNx(int Nx) { dime.dim[1] = static_cast<std::int16_t>(Nx); }
    void setNy(int Ny) { dime.dim[2] = static_cast<std::int16_t>(Ny); }
    void setNz(int Nz) { dime.dim[3] = static_cast<std::int16_t>(Nz); }
    /// Four dimensions; note the order z, y, x, t.
    void setImageDimensions(int Nz, int Ny, int Nx, int Nt);

    void setPixelDimensionX(double dx) { dime.pixdim[1] = static_cast<float>(dx); }
    void setPixelDimensionY(double dy) { dime.pixdim[2] = static_cast<float>(dy); }
    void setPixelDimensionZ(double dz) { dime.pixdim[3] = static_cast<float>(dz); }
    /// Note the order z, y, x.
    void setPixelDimensions(double pz, double py, double px);

    /// Copies the text with its terminating NUL; what does not fit the field (3 characters) is cut.
    void setVoxelUnits(const char* units);
    /// Copies the text with its terminating NUL; what does not fit the field (7 characters) is cut.
    void setCalUnits(const char* units);

    void setGlobalMaxMin(int max, int min);

    /// Sets `datatype` and `bitpix` from "unsigned char", "short", "int", "float" or "double"; any other name
    /// changes nothing.
    void setDataType(const char* ch);

    /// `sizeof_hdr` 348, `regular` 'r', `extents` 16384.
    void setHeaderKeyDefaults();

    /// Fills what a new header for an Nx x Ny x Nz volume needs: unit voxel sizes in "mm", no calibration,
    /// transverse. Fields not named in the call or here keep their values, so start from a clean header.
    void setBareBonesHeader(int Nz, int Ny, int Nx, const char* data_type, int max, int min);

    /// Reverses the byte order of every numeric field; the flag is not touched.
    void byte_swap_header();

    /// Converts a header that was read without byte-order handling to the machine's order.
    ///
    /// A header that was never read, or is in order, stays as it is. When neither order gives a
    /// `sizeof_hdr` of 348 the process ends with status 0 and a message. The flag is not touched.
    void checkAnalyzeHeaderInProperFormat();

    /// 1 when the records are equal, else 0. The image dimensions are compared as memory, so floats of equal
    /// value and different bits (+0 and -0) differ; texts are compared up to their terminating NUL. The flag
    /// is not compared.
    int operator==(const AnalyzeHeader& rhs) const;
    int operator!=(const AnalyzeHeader& rhs) const { return *this == rhs ? 0 : 1; }

    /// Whether every byte of the records is the same, the ones behind the end of a text included.
    bool hasSameBytes(const AnalyzeHeader& rhs) const;

    /// Writes the fields in which two headers differ, under one heading for each structure of the record.
    ///
    /// Each line names a field and gives both values, in the stream's current number format; single
    /// characters are written as characters, texts up to their terminating NUL or the end of their field. A
    /// float that is NaN differs from everything. Some image dimension fields have no line: a difference
    /// there shows only in the line that says that the structures differ as memory.
    void diff(const AnalyzeHeader& rhs, std::ostream& os) const;

    /// Writes every field of the record as one line, caption and value, in the stream's current number
    /// format.
    ///
    /// Single characters are written as integers, texts as in diff. Nothing is written to a stream that is
    /// not ready for output. The flag is not listed.
    void print(std::ostream& os) const;

    /// Reads the record from an open binary stream, `byteoffset` bytes after its current position.
    ///
    /// Failures are reported on standard error and otherwise passed over: bytes that were not read leave the
    /// record as it was. Always 1.
    int load(std::ifstream& fin, std::streamoff byteoffset);

    /// Writes the record to an open binary stream, `byteoffset` bytes after its current position, in the
    /// machine's byte order. Failures are reported on standard error. Always 1.
    int save(std::ofstream& fout, std::streamoff byteoffset) const;

    /// Reads the record from a file; 0 and a message on standard error when it cannot be opened, else 1.
    int load(const char* file, std::streamoff byteoffset);

    /// Creates or replaces a file with the record; 0 and a message on standard error when it cannot be
    /// opened, else 1. A file that cannot be written whole is reported there too, and leaves what was there
    /// before.
    int save(const char* file, std::streamoff byteoffset) const;

    /// Writes the record to a file that is not kept yet, and closes it; 0 when it cannot be opened, else 1.
    /// Failures are reported on standard error, as by save(file, byteoffset).
    int write(tonalign::OutputFile& output, std::streamoff byteoffset) const;

    /// Gives a header file that write() left whole its final name; reports on standard error when that fails.
    static void keep(tonalign::OutputFile& output);

    /// What is reported on standard error of a header file that could not be written whole.
    static void reportWriteError();

    /// save(file, 0).
    int saveAnalyzeHeader(const char* file) const { return save(file, 0); }

    /// Reads a header file and, when `byteSwap` is non-zero, recognises the other byte order by a
    /// `sizeof_hdr` that is not 348, converts the record and sets the flag.
    ///
    /// Ends the process with status 0 and a message when the file cannot be opened or neither order gives
    /// 348. Always 1.
    int readAnalyzeHeader(const char* file, int byteSwap);
};

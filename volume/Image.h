// SPDX-License-Identifier: BSD-3-Clause
// An 8-bit volume with files of its own.
#pragma once

#include "volume/HeaderRecord.h"

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tonalign {
class OutputFile;
}

/// An unsigned 8-bit volume with an Analyze 7.5 reader and writer of its own.
///
/// Voxel (x, y, z) is data[z * nx * ny + y * nx + x], indices from 0. Headers are read in either byte order
/// and written in the reverse of the machine's own (big-endian on a little-endian machine).
///
/// The image owns its voxels and its header and cannot be copied but by Copy(). The public fields are for
/// reading and for changing values in place: `data` and `hdr` are views of memory that the image holds, so
/// write through them, but never reassign or release them. Whoever changes a size by hand calls
/// InitAnalyzeData() next, before anything else.
///
/// File operations give 1 on success and 0 on failure. Failures of older note keep their text on standard
/// output, which has no line end; what is refused beyond those gets one line on standard error. For one
/// thread at a time.
class Image
{
public:
    int nx = 0, ny = 0, nz = 0;     ///< size in voxels
    u_char* data = nullptr;         ///< the voxels, x fastest, then y, then z; null when absent
    u_char curmin = 0, curmax = 0;  ///< smallest and largest voxel as last computed
    char filename[4096] = "<none>"; ///< base name of the pair, without extension
    int needs_saving = 0;           ///< 1 for an image made in memory and not saved yet
    dsr* hdr = nullptr;             ///< the header record; null when absent

    /// An empty image: no voxels, no header.
    Image() = default;

    /// An image of zero voxels with the default header, waiting to be saved. Negative sizes, and sizes whose
    /// product does not fit memory addresses, are refused with a line on standard error; the image is then
    /// empty.
    Image(int xdim, int ydim, int zdim);

    /// An empty image, then Load(file).
    explicit Image(const char* file) { Load(file); }

    Image(const Image&) = delete;
    Image& operator=(const Image&) = delete;
    ~Image() = default;

    int Nx() const { return nx; }
    int Ny() const { return ny; }
    int Nz() const { return nz; }
    u_char* Data() const { return data; }
    int NeedsSaving() const { return needs_saving; }
    char* Filename() { return filename; }

    /// The voxel at (x, y, z); 0 outside the volume and in an image without voxels.
    u_char GetValue(int x, int y, int z) const;

    /// Sets the voxel at (x, y, z), which must lie inside the volume. Touches neither header nor
    /// `needs_saving`.
    void Plot(int x, int y, int z, u_char intensity) { data[offsetOf(x, y, z)] = intensity; }

    /// Reads the pair that `file` names: its base name, or the name of either file.
    ///
    /// When the name or the header is refused, the image keeps header, sizes and voxels as they were. When
    /// the header is good and the voxels are not, the image has the sizes and the header of the file and no
    /// voxels (`data` is null). A buffer that is large enough is used again, a smaller one replaced.
    int Load(const char* file);

    /// Writes the pair that `file` names, over existing files if need be. The two files take their names
    /// together, so that a failed write leaves the old pair; a header whose image cannot be created stays,
    /// though. An image without a header is given the default one first; otherwise the header is written as
    /// it is (UpdateAnalyzeHeader() refreshes it).
    ///
    /// Refused before any file is touched: an image whose voxels are absent, sizes that the header's 16 bits
    /// cannot hold, a name too long.
    int Save(const char* file);

    /// CalculateMinMax(), then gives out `curmin` and `curmax`.
    void MinMax(u_char& minret, u_char& maxret);

    /// A new image with voxels and header of its own, which the caller deletes; it counts as unsaved. The
    /// copy of an image without a header has the default one.
    Image* Copy() const;

    /// Adds a border of one zero voxel on every side. The header is not changed; nothing happens to an image
    /// without voxels.
    void Pad();

    /// Sets `filename` from a name. One longer than four characters whose fourth to second last are ".im" or
    /// ".hd" loses its last four. A base name of more than 4091 characters, for which `filename` has no room
    /// beside an extension, is refused with a line on standard error, result 0, `filename` unchanged.
    int ConstructAnalyzeNames(const char* pref);

    /// Creates `hdr` if absent and sets every field: an unsigned 8-bit volume of this size, voxel size 1,
    /// units of a single blank.
    void InitAnalyzeHeader();

    /// Brings sizes and extremes in `hdr` (created if absent) in line with the image. The extremes are
    /// computed anew for an image that waits to be saved.
    void UpdateAnalyzeHeader();

    /// Provides nx * ny * nz voxels and sets them to 0. Sizes that the constructor refuses leave none.
    void InitAnalyzeData();

    /// Sets `curmin` and `curmax` from the voxels, or to 0 and 255 when there are none.
    void CalculateMinMax();

    /// Reverses the bytes of the numeric header fields; does nothing without a header.
    void byte_swap_header();

    /// Reads filename.hdr. Voxel spacings <= 0 become 1.
    ///
    /// Besides unreadable files this refuses element types other than unsigned 8-bit and negative sizes; the
    /// image then stays as it was. When neither byte order gives a header size of 348 the process ends with
    /// status 0. Voxels of an earlier image are dropped when they are too few for the new sizes, else they
    /// stay, meaningless, until ReadAnalyzeData().
    int ReadAnalyzeHeader();

    /// Reads nx * ny * nz voxels from filename.img, after the file is known to hold them, so that a header
    /// cannot ask for more memory than the disk holds; then CalculateMinMax(). A failure leaves no voxels.
    int ReadAnalyzeData();

    /// Writes the header (the default one if absent) to filename.hdr.
    int SaveAnalyzeHeader();

    /// Writes the voxels to filename.img.
    int SaveAnalyzeData();

    /// 1 when the file can be opened for reading, else 0.
    static int FileExists(const char* file);

private:
    static std::optional<std::size_t> voxelCount(std::int64_t xdim, std::int64_t ydim, std::int64_t zdim);
    static int refused(const std::string& message);
    static int refusedSizes(int xdim, int ydim, int zdim);
    std::size_t offsetOf(int x, int y, int z) const
    {
        return (static_cast<std::size_t>(z) * static_cast<std::size_t>(ny) + static_cast<std::size_t>(y)) *
                   static_cast<std::size_t>(nx) +
               static_cast<std::size_t>(x);
    }
    std::string headerName() const { return std::string(filename) + ".hdr"; }
    std::string imageName() const { return std::string(filename) + ".img"; }
    int writeHeader(tonalign::OutputFile& file);
    int writeVoxels(tonalign::OutputFile& file);
    bool lacksVoxels() const;
    void provideHeader();
    void provideVoxels(std::size_t count);
    void dropVoxels();

    std::vector<u_char> m_voxels;
    std::unique_ptr<dsr> m_header;
};

#pragma once

#include "histogram/HistogramArray.h"
#include "volume/AnalyzeHeader.h"
#include "volume/ElementType.h"

#include <cstdint>
#include <string>

namespace tonalign {

/// An image pair whose two files have been looked at, and whose voxels have not been read yet.
struct InputVolume
{
    std::string name; ///< as the user gave it
    std::string headername;
    std::string imagename;
    AnalyzeHeader header;
    const ElementType* type = nullptr;

    std::int64_t voxels() const { return std::int64_t{header.getNx()} * header.getNy() * header.getNz(); }
};

/// Reads the header of the pair that `name` names and looks at its image file.
///
/// What is wrong with either ends the process with one line on standard error that names the file: a header
/// that cannot be read, is short or no header, sizes below 1, an unknown element type, an image file that
/// cannot be opened or is too short.
InputVolume inspect_input(const char* name);

/// The mean of normalised histograms of the same number of bins, each over its own volume's range.
///
/// Centres and frequencies are summed bin by bin in the order in which the volumes are added, in double
/// precision, and divided by the number of volumes at the end: each mean is one sum and one division.
class HistogramMean
{
public:
    /// @param bins  at least 2, since the first bin is the background
    explicit HistogramMean(int bins);

    /// Reads a volume and adds its histogram, as compute_histogram gives it without smoothing.
    ///
    /// Ends the process with one line on standard error for a file that has become unreadable or short, a
    /// voxel that is not finite, a range whose width is not finite, no voxel outside the first bin, and a sum
    /// that is not finite.
    void add(const InputVolume& input);

    /// The mean of at least one volume; column bins+1 is not written.
    HistogramArray mean() const;

private:
    int m_bins;
    int m_volumes = 0;
    HistogramArray m_sum;
    HistogramArray m_one; ///< of the volume that is being added
};

} // namespace tonalign

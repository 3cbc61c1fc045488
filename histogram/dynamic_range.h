// SPDX-License-Identifier: BSD-3-Clause
// The endpoint stage on volumes and histograms.
#pragma once

#include "histogram/HistogramArray.h"
#include "volume/Array3D.h"
#include "volume/IntensityRange.h"

#include <cstdint>
#include <iosfwd>

/// Finds the two bins that enclose all but a small share of a histogram's mass.
///
/// @param hist1        histogram array of N bins, read only
/// @param energyratio  fraction of the mass that each search aims at, in (0, 1]
/// @param bp_index     receives the bin at which the mass summed from bin N downward comes closest to
///                     energyratio
/// @param ep_index     receives the bin at which the mass summed from bin 1 upward comes closest to it
/// Ties go to the lowest bin. Both indices keep their values when N < 1.
void find_histogram_endpoints(double** hist1, int N, double energyratio, int& bp_index, int& ep_index);

/// Maps the intensities of D1 piecewise linearly onto the range of D2, and clips D2.
///
/// @param D1            input volume, mapped in place: its minimum, endpoints and maximum go to the minimum,
///                      lower endpoint, top bin centre and maximum of D2 (a voxel at the very minimum keeps
///                      its value)
/// @param D2            target volume; voxels above the centre of its upper endpoint bin are set to that
/// centre
/// @param energyratio1  fraction of D1's histogram mass that each endpoint aims at; exactly 1.0 means the
///                      outermost bins, without a search
/// @param energyratio2  the same for D2
/// @param N             number of bins, at least 5
/// @param sigma1        standard deviation in bins of the smoothing of both histograms, <= 0 for none
/// Lowest indices of both volumes are 0. The endpoints are printed on standard output before and after the
/// clipping.
void adjust_dynamic_range(Array3D<double>* D1, Array3D<double>* D2, double energyratio1, double energyratio2,
                          int N, double sigma1);

/// Maps the intensities of D1 piecewise linearly so that its endpoints reach those of a target histogram.
///
/// D1's minimum and maximum stay where they are. hist2, a histogram array of N >= 5 bins, is only read;
/// nothing is printed or clipped. Landmarks that are not in increasing order (a target range outside D1's)
/// are not rejected: a voxel then follows the first segment that contains it. The other arguments are as
/// above.
void adjust_dynamic_range(Array3D<double>* D1, double** hist2, double energyratio1, double energyratio2,
                          int N, double sigma1);

/// Maps every voxel of the allocated box piecewise linearly from the landmarks IM1 to the landmarks IM2.
///
/// @param D    volume with lowest index 0 on each axis, mapped in place
/// @param IM1  3 x N landmark matrix of D's own intensities; row 2 is read
/// @param IM2  3 x N landmark matrix of the target; row 2 and the landmark count IM2[3][N] are read
/// A voxel in (IM1[2][k], IM1[2][k+1]] follows segment k, the first such k; voxels in no segment (the first
/// landmark and below, above the last) are unchanged. Runs in parallel over slices.
void apply_scaling_transformation(Array3D<double>* D, double** IM1, double** IM2, int N);

namespace tonalign {

/// The range and the histogram of a volume; the histogram array is a view.
struct MeasuredHistogram
{
    IntensityRange range;
    double** hist; ///< of N bins, smoothed when the endpoints are to be found in the smoothed histogram
};

/// The first adjust_dynamic_range for volumes that have been measured already: what it does to their
/// intensities, wherever these are. The endpoints are printed on construction, to `console`.
class EndpointMatch
{
public:
    EndpointMatch(const MeasuredHistogram& input, const MeasuredHistogram& target, double energyratio1,
                  double energyratio2, int N, std::ostream& console);

    /// Change intensities of the target, and of the input, in place.
    void clipTarget(double* values, std::int64_t count) const;
    void mapInput(double* values, std::int64_t count) const;

private:
    int m_bins;
    double m_threshold = 0.0;
    LandmarkMatrix m_from;
    LandmarkMatrix m_to;
};

} // namespace tonalign

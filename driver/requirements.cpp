#include "driver/requirements.h"

#include "failure/end_process.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <sstream>

namespace tonalign {

void require_finite_voxels(const Array3D<double>& volume, const IntensityRange& range,
                           const std::string& imagename)
{
    if (range.finite) {
        return;
    }
    const double* const begin = volume.block();
    const double* const end = begin + volume.blockSize();
    const auto is_not_finite = [](double v) { return !std::isfinite(v); };
    const double* const first = std::find_if(begin, end, is_not_finite);
    const std::int64_t position = first - begin;
    const std::int64_t nx = volume.getNxTotal();
    const std::int64_t ny = volume.getNyTotal();
    const std::int64_t count = std::count_if(first, end, is_not_finite);
    std::ostringstream message;
    message << imagename << ": " << count
            << (count == 1 ? " voxel is not a finite number ("
                           : " voxels are not finite numbers, the first one (")
            << *first << ") at x=" << position % nx << " y=" << position / nx % ny
            << " z=" << position / (nx * ny) << ", but every voxel is expected to be finite";
    refuse(message.str());
}

void require_foreground(double** hist, int bins, const std::string& name)
{
    if (hist[2][bins + 1] == 0.0) {
        refuse(name + ": all voxels fall into the background bin, the first of " + std::to_string(bins) +
               ", but matching expects at least one voxel outside it");
    }
}

void require_usable_adjustment(const IntensityRange& range, const RunParameters& parameters)
{
    const bool ranks = parameters.matchesHistogram();
    if (range.finite && !(ranks && range.minimum == range.maximum)) {
        return;
    }
    std::ostringstream message;
    message << parameters.inputfile1 << ": matching the endpoints to " << parameters.inputfile2
            << " leaves voxels from " << range.minimum << " to " << range.maximum << ", but "
            << (ranks ? "more than one intensity, all finite, is" : "finite voxels are") << " expected";
    refuse(message.str());
}

void require_mappable_range(const IntensityRange& range, const RunParameters& parameters)
{
    const double width = range.maximum - range.minimum;
    if (std::isfinite(width) && std::isfinite(255.0 / width)) {
        return;
    }
    std::ostringstream message;
    message << parameters.inputfile1;
    if (parameters.hasTargetVolume()) {
        message << " and " << parameters.inputfile2;
    }
    message << ": voxels range from " << range.minimum << " to " << range.maximum
            << ", but a range that can be mapped onto [0, 255] is expected";
    refuse(message.str());
}

} // namespace tonalign

// SPDX-License-Identifier: BSD-3-Clause
// Refuses, in the tool's name.
#include "driver/requirements.h"

#include "failure/end_process.h"

#include <cmath>
#include <iostream>
#include <sstream>

namespace tonalign {

void refuse(const std::string& message)
{
    end_process(std::cerr, {"tonalign: ", message, "\n"}, ExitStatus::failure);
}

void refuse(const Fault& fault)
{
    if (fault) {
        refuse(fault.message);
    }
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

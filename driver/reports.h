// SPDX-License-Identifier: BSD-3-Clause
// The reports of a run on standard output.
#pragma once

#include "driver/MatchingRun.h"

#include <sys/time.h>

namespace tonalign {

/// Writes a stage's banner or a report to standard output. Reals are printed with six significant digits.

/// Four lines: sizes in voxels of the input and the target, then their voxel sizes; zeros where there is no
/// target volume.
void report_dimensions(const MatchingRun& run);

/// The largest and smallest voxel of each volume; nothing in usage 2.
void report_ranges(const MatchingRun& run);

/// The Euclidean distance between the frequencies of the two histograms.
void report_error(const MatchingRun& run);

/// Wall-clock time from its construction on.
class RunClock
{
public:
    RunClock() { gettimeofday(&m_start, nullptr); }

    /// Writes the seconds since the start.
    void report() const;

private:
    timeval m_start;
};

} // namespace tonalign

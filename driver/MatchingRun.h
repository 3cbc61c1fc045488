// SPDX-License-Identifier: BSD-3-Clause
// Every object of a run, and its stages in order.
#pragma once

#include "driver/RunParameters.h"
#include "driver/RunVolume.h"
#include "histogram/HistogramArray.h"

namespace tonalign {

/// Every object of a run. The stages below take it from the command line to the saved outputs, in the order
/// in which main calls them; each ends the process with a message when it cannot go on.
struct MatchingRun
{
    explicit MatchingRun(const RunParameters& run_parameters) : parameters(run_parameters) {}

    const RunParameters parameters;
    RunVolume input;
    RunVolume target; ///< empty in usage 2

    // Without bins until what they are made from has been found good: the bin count may ask for gigabytes.
    HistogramArray hist1{0}; ///< of the input volume
    HistogramArray hist2{0}; ///< of the target volume, or the target histogram of usage 2
};

/// Loads the input and, in usage 1, the target; refuses voxels that are not finite numbers.
void load_volumes(MatchingRun& run);

/// Computes and writes the histograms before any change; in usage 2 reads the target histogram.
///
/// Volumes that the stages asked for cannot use, and a common range that cannot be mapped onto [0, 255], are
/// refused here, before the first output file is touched.
void calculate_initial_histograms(MatchingRun& run);

/// Matches the dynamic range of the input to the target's, when asked for.
void match_endpoints(MatchingRun& run);

/// Gives the input the target histogram exactly, when asked for.
void match_histograms(MatchingRun& run);

/// Maps both volumes onto [0, 255] by their common minimum and maximum.
void map_to_output_range(MatchingRun& run);

/// Computes and writes the histograms after the change.
void calculate_final_histograms(MatchingRun& run);

/// Saves the volumes as 32-bit float pairs that carry their input files' headers.
void save_volumes(MatchingRun& run);

} // namespace tonalign

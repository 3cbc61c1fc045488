// SPDX-License-Identifier: BSD-3-Clause
// Every object of a run, and its stages in order.
#pragma once

#include "driver/RunParameters.h"
#include "driver/RunVolume.h"
#include "histogram/HistogramArray.h"

#include <iosfwd>

namespace tonalign {

/// Every object of a run. The stages below take it from the command line to the saved outputs, in the order
/// in which main calls them; each ends the process with a message when it cannot go on.
struct MatchingRun
{
    /// @param run_console  where the stages tell what they do
    MatchingRun(const RunParameters& run_parameters, std::ostream& run_console)
        : parameters(run_parameters), console(run_console)
    {
    }

    const RunParameters parameters;
    std::ostream& console;
    RunVolume input;
    RunVolume target; ///< empty in usage 2

    // Without bins until what they are made from has been found good: the bin count may ask for gigabytes.
    HistogramArray hist1{0}; ///< of the input volume
    HistogramArray hist2{0}; ///< of the target volume, or the target histogram of usage 2
};

/// Loads the input and, in usage 1, the target; refuses voxels that are not finite numbers.
void load_volumes(MatchingRun& run);

/// Computes the histograms before any change.
///
/// Volumes that the stages asked for cannot use, and a common range that cannot be mapped onto [0, 255], are
/// refused here, before the first output file is touched.
void calculate_initial_histograms(MatchingRun& run);

/// Writes them; a target histogram that is the file just written is read now.
void save_initial_histograms(MatchingRun& run);

/// In usage 2: bin i of the target histogram stands for bin i of the input's own range, whatever intensities
/// it came from.
void adopt_target_bins(MatchingRun& run);

/// Matches the dynamic range of the input to the target's, when asked for.
void match_endpoints(MatchingRun& run);

/// The histogram that the next stage gives the input; its top bin stands for the target volume's present
/// maximum.
///
/// Smoothed, it is that of the target volume as it is now; unsmoothed, that of the target as loaded.
HistogramArray histogram_to_reach(const MatchingRun& run);

/// Gives the input the target histogram exactly, when asked for.
void match_histograms(MatchingRun& run);

/// Maps both volumes onto [0, 255] by their common minimum and maximum.
void map_to_output_range(MatchingRun& run);

/// The Euclidean distance between the frequencies of the two histograms.
double histogram_distance(const MatchingRun& run);

/// Computes the histograms after the change, and writes them.
void calculate_final_histograms(MatchingRun& run);
void save_final_histograms(const MatchingRun& run);

/// Saves the volumes as 32-bit float pairs that carry their input files' headers.
void save_volumes(MatchingRun& run);

} // namespace tonalign

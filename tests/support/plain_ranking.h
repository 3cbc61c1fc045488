// SPDX-License-Identifier: BSD-3-Clause
// The exact stage of the plain transcription: shells, ranks and the hand-out of the target's values.
#pragma once

#include "tests/support/plain_histogram.h"

namespace tonalign::test {

/// The 0/1 indicator of distance shell 1..5.
Volume shell_filter(int shell);

/// The filter laid on every voxel without reversal, borders wrapped around.
Volume convolved(const Volume& volume, const Volume& filter);

/// Ranks the voxels outside bin 1 and hands out the target's bin centres by rank.
void match_exactly(Volume& input, Histogram target);

} // namespace tonalign::test

#pragma once

#include "tests/support/plain_histogram.h"

namespace tonalign::test {

/// Sums, at every voxel, of the neighbours in distance shell 1..5, borders wrapped around.
Volume shell_response(const Volume& volume, int shell);

/// Ranks the voxels outside bin 1 and hands out the target's bin centres by rank.
void match_exactly(Volume& input, Histogram target);

} // namespace tonalign::test

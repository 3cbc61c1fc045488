// SPDX-License-Identifier: BSD-3-Clause
// The plain transcription in place of the stages of a run: what tonalign's speed and bytes are compared with.
//
// Takes the command line of usage 1 and writes the files that tonalign writes.
#include "driver/MatchingRun.h"
#include "tests/support/plain_matching.h"
#include "tests/support/scratch_files.h"
#include "tests/support/volumes.h"

#include <cstdio>

using namespace tonalign;

namespace {

test::Volume taken_from(RunVolume& volume)
{
    const Array3D<double> voxels = std::move(volume.voxels);
    return {voxels.m_nx, voxels.m_ny, voxels.m_nz, test::voxels_of(voxels)};
}

void put_back(RunVolume& volume, const std::vector<float>& values)
{
    volume.voxels = test::volume_of(volume.header.getNx(), volume.header.getNy(), volume.header.getNz(),
                                    {values.begin(), values.end()});
}

} // namespace

int main(int argc, char** argv)
{
    const RunParameters wanted = parse_arguments(argc, argv);
    MatchingRun run(wanted);
    load_volumes(run);
    const test::Outcome outcome = test::match_to_volume(
        taken_from(run.input), taken_from(run.target),
        {wanted.Nbins, wanted.sigma1, wanted.matchesEndpoints(), wanted.matchesHistogram()});
    if (!outcome.refusal.empty()) {
        std::fprintf(stderr, "plain_run: %s\n", outcome.refusal.c_str());
        return 1;
    }
    test::write_file(wanted.inputfile1_hist, outcome.input1_histogram);
    test::write_file(wanted.inputfile2_hist, outcome.input2_histogram);
    test::write_file(wanted.outputfile1_hist, outcome.output1_histogram);
    test::write_file(wanted.outputfile2_hist, outcome.output2_histogram);
    put_back(run.input, outcome.output1);
    put_back(run.target, outcome.output2);
    save_volumes(run);
    return 0;
}

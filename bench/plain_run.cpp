// SPDX-License-Identifier: BSD-3-Clause
// The plain transcription in place of the stages of a run: what tonalign's speed and bytes are compared with.
//
// Takes the command line of usage 1 and writes the files that tonalign writes.
#include "driver/RunParameters.h"
#include "tests/support/plain_matching.h"
#include "tests/support/scratch_files.h"
#include "tests/support/volumes.h"
#include "volume/AnalyzeImage.h"

#include <cstdio>

using namespace tonalign;

namespace {

test::Volume taken_from(AnalyzeImage<double>& image)
{
    const Array3D<double> voxels = std::move(image.D);
    return {voxels.m_nx, voxels.m_ny, voxels.m_nz, test::voxels_of(voxels)};
}

void save(AnalyzeImage<double>& image, const std::vector<float>& values, const std::string& name)
{
    image.D = test::volume_of(image.getNx(), image.getNy(), image.getNz(), {values.begin(), values.end()});
    image.H.setDataType("float");
    image.H.setVoxelUnits("mm");
    image.save(name.c_str());
}

} // namespace

int main(int argc, char** argv)
{
    const RunParameters wanted = parse_arguments(argc, argv);
    AnalyzeImage<double> input(wanted.inputfile1.c_str());
    AnalyzeImage<double> target(wanted.inputfile2.c_str());
    const test::Outcome outcome = test::match_to_volume(
        taken_from(input), taken_from(target),
        {wanted.Nbins, wanted.sigma1, wanted.matchesEndpoints(), wanted.matchesHistogram()});
    if (!outcome.refusal.empty()) {
        std::fprintf(stderr, "plain_run: %s\n", outcome.refusal.c_str());
        return 1;
    }
    test::write_file(wanted.inputfile1_hist, outcome.input1_histogram);
    test::write_file(wanted.inputfile2_hist, outcome.input2_histogram);
    test::write_file(wanted.outputfile1_hist, outcome.output1_histogram);
    test::write_file(wanted.outputfile2_hist, outcome.output2_histogram);
    save(input, outcome.output1, wanted.outputfile1);
    save(target, outcome.output2, wanted.outputfile2);
    return 0;
}

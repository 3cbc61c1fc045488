#include "driver/MatchingRun.h"

#include "driver/requirements.h"
#include "failure/unattended_run.h"
#include "histogram/histogram.h"
#include "histogram/histogram_files.h"
#include "volume/AnalyzeImage.h"
#include "volume/wide.h"

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <iostream>
#include <string>
#include <system_error>
#include <utility>

namespace tonalign {

namespace {

constexpr double output_maximum = 255.0;

/// The range that the final mapping sends to [0, 255]: the input's, in usage 1 together with the target's.
IntensityRange common_range(const MatchingRun& run)
{
    IntensityRange range = run.input.range;
    if (run.parameters.hasTargetVolume()) {
        range.minimum = std::min(range.minimum, run.target.range.minimum);
        range.maximum = std::max(range.maximum, run.target.range.maximum);
    }
    return range;
}

void load_volume(const std::string& name, RunVolume& volume)
{
    AnalyzeImage<double> image(name.c_str());
    volume.voxels = std::move(image.D);
    volume.header = image.H;
    volume.range = intensity_range(volume.voxels);
    require_finite_voxels(volume.voxels, volume.range, image.imagename);
}

bool same_file(const std::string& a, const std::string& b)
{
    std::error_code not_both_exist;
    return std::filesystem::equivalent(a, b, not_both_exist);
}

void adopt_target_histogram(MatchingRun& run)
{
    const RunParameters& p = run.parameters;
    const int bins = p.Nbins;
    if (same_file(p.inputfile1_hist, p.inputfile2)) {
        // The first histogram file has just been written over the target, which makes it the target now. Only
        // then, since a target that comes through a pipe cannot be read twice.
        load_target_histogram(run.hist2, bins, p.inputfile2.c_str());
    }
    // Bin i of the file stands for bin i of the input's own range, whatever intensities it came from.
    for (int i = 1; i <= bins; ++i) {
        run.hist2[1][i] = run.hist1[1][i];
    }
}

/// The volume's own header with the element type and voxel units of the result; everything else stays as
/// read.
AnalyzeHeader output_header(const AnalyzeHeader& header)
{
    AnalyzeHeader result = header;
    result.setDataType("float");
    result.setVoxelUnits("mm");
    return result;
}

/// (v + shift) * factor, each operation rounded by itself, as two passes over the volume would round.
TONALIGN_WIDE void shift_and_scale(double* voxels, std::int64_t count, double shift, double factor)
{
    for (std::int64_t j = 0; j < count; ++j) {
        const double shifted = voxels[j] + shift;
        voxels[j] = shifted * factor;
    }
}

/// Maps a volume and its range, which the mapping, being monotone, takes along.
void map_volume(RunVolume& volume, double shift, double factor)
{
    shift_and_scale(volume.voxels.block(), volume.voxels.blockSize(), shift, factor);
    volume.range.minimum = (volume.range.minimum + shift) * factor;
    volume.range.maximum = (volume.range.maximum + shift) * factor;
}

/// Saves a volume and gives its memory back.
void save_volume(RunVolume& volume, const std::string& name)
{
    AnalyzeImage<double> image;
    image.D = std::move(volume.voxels);
    image.H = output_header(volume.header);
    image.save(name.c_str());
}

} // namespace

void load_volumes(MatchingRun& run)
{
    enter_stage("reading the inputs");
    const RunParameters& p = run.parameters;
    if (!p.hasTargetVolume()) {
        // First, since its refusals should not wait for the volumes.
        require_room_for_pairs(p.inputfile2.c_str(), p.Nbins);
        run.hist2 = HistogramArray(p.Nbins);
        load_target_histogram(run.hist2, p.Nbins, p.inputfile2.c_str());
    }
    load_volume(p.inputfile1, run.input);
    if (p.hasTargetVolume()) {
        load_volume(p.inputfile2, run.target);
    }
}

void compute_initial_histograms(MatchingRun& run)
{
    enter_stage("computing the histograms before the change");
    const RunParameters& p = run.parameters;
    run.hist1 = HistogramArray(p.Nbins);
    compute_histogram(run.input.voxels, run.input.range, 0.0, run.hist1, p.Nbins);
    if (p.hasTargetVolume()) {
        run.hist2 = HistogramArray(p.Nbins);
        compute_histogram(run.target.voxels, run.target.range, 0.0, run.hist2, p.Nbins);
    }
    if (p.matchesEndpoints() || p.matchesHistogram()) {
        require_foreground(run.hist1, p.Nbins, p.inputfile1);
        if (p.hasTargetVolume()) {
            require_foreground(run.hist2, p.Nbins, p.inputfile2);
        }
    }
    require_mappable_range(common_range(run), p);

    save_array(run.hist1, p.Nbins, p.inputfile1_hist.c_str());
    if (p.hasTargetVolume()) {
        save_array(run.hist2, p.Nbins, p.inputfile2_hist.c_str());
    } else {
        adopt_target_histogram(run);
    }
}

void map_to_output_range(MatchingRun& run)
{
    enter_stage("mapping the volumes to the output range");
    const IntensityRange range = common_range(run);
    require_mappable_range(range, run.parameters);
    const double factor = output_maximum / (range.maximum - range.minimum);
    map_volume(run.input, -range.minimum, factor);
    if (run.parameters.hasTargetVolume()) {
        map_volume(run.target, -range.minimum, factor);
    }
}

void compute_final_histograms(MatchingRun& run)
{
    enter_stage("computing the histograms after the change");
    const RunParameters& p = run.parameters;
    compute_histogram(run.input.voxels, run.input.range, 0.0, run.hist1, p.Nbins);
    if (p.hasTargetVolume()) {
        compute_histogram(run.target.voxels, run.target.range, p.sigma1, run.hist2, p.Nbins);
    }
    save_array(run.hist1, p.Nbins, p.outputfile1_hist.c_str());
    if (p.hasTargetVolume()) {
        save_array(run.hist2, p.Nbins, p.outputfile2_hist.c_str());
    }
}

void save_volumes(MatchingRun& run)
{
    enter_stage("saving the volumes");
    std::cout << "*****IMAGES ARE BEING SAVED*****\n\n";
    save_volume(run.input, run.parameters.outputfile1);
    if (run.parameters.hasTargetVolume()) {
        save_volume(run.target, run.parameters.outputfile2);
    }
}

} // namespace tonalign

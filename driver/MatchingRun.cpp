#include "driver/MatchingRun.h"

#include "driver/histogram_files.h"
#include "driver/requirements.h"
#include "histogram/histogram.h"
#include "volume/AnalyzeImage.h"

#include <algorithm>
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
    IntensityRange range = {run.I1[0].getMinValue(), run.I1[0].getMaxValue()};
    if (run.parameters.hasTargetVolume()) {
        range.minimum = std::min(range.minimum, run.I2.getMinValue());
        range.maximum = std::max(range.maximum, run.I2.getMaxValue());
    }
    return range;
}

void load_volume(const std::string& name, Array3D<double>& volume, AnalyzeHeader& header)
{
    AnalyzeImage<double> image(name.c_str());
    require_finite_voxels(image.D, image.imagename);
    volume = std::move(image.D);
    header = image.H;
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

void save_volume(Array3D<double>& volume, const AnalyzeHeader& header, const std::string& name)
{
    AnalyzeImage<double> image;
    image.D = std::move(volume);
    image.H = output_header(header);
    image.save(name.c_str());
}

} // namespace

void load_volumes(MatchingRun& run)
{
    const RunParameters& p = run.parameters;
    if (!p.hasTargetVolume()) {
        // First, since its refusals should not wait for the volumes.
        require_room_for_pairs(p.inputfile2.c_str(), p.Nbins);
        run.hist2 = HistogramArray(p.Nbins);
        load_target_histogram(run.hist2, p.Nbins, p.inputfile2.c_str());
    }
    load_volume(p.inputfile1, run.I1[0], run.H1);
    if (p.hasTargetVolume()) {
        load_volume(p.inputfile2, run.I2, run.H2);
    }
}

void compute_initial_histograms(MatchingRun& run)
{
    const RunParameters& p = run.parameters;
    run.hist1 = HistogramArray(p.Nbins);
    calculate_histogram(&run.I1[0], run.hist1, p.Nbins);
    if (p.hasTargetVolume()) {
        run.hist2 = HistogramArray(p.Nbins);
        calculate_histogram(&run.I2, run.hist2, p.Nbins);
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
    const IntensityRange range = common_range(run);
    require_mappable_range(range, run.parameters);
    const double factor = output_maximum / (range.maximum - range.minimum);
    if (run.parameters.hasTargetVolume()) {
        run.I2 += -range.minimum;
        run.I2 *= factor;
    }
    run.I1[0] += -range.minimum;
    run.I1[0] *= factor;
}

void compute_final_histograms(MatchingRun& run)
{
    const RunParameters& p = run.parameters;
    calculate_histogram(&run.I1[0], run.hist1, p.Nbins);
    if (p.hasTargetVolume()) {
        if (p.sigma1 > 0.0) {
            calculate_smoothed_histogram(&run.I2, run.hist2, p.Nbins, p.sigma1);
        } else {
            calculate_histogram(&run.I2, run.hist2, p.Nbins);
        }
    }
    save_array(run.hist1, p.Nbins, p.outputfile1_hist.c_str());
    if (p.hasTargetVolume()) {
        save_array(run.hist2, p.Nbins, p.outputfile2_hist.c_str());
    }
}

void save_volumes(MatchingRun& run)
{
    std::cout << "*****IMAGES ARE BEING SAVED*****\n\n";
    save_volume(run.I1[0], run.H1, run.parameters.outputfile1);
    if (run.parameters.hasTargetVolume()) {
        save_volume(run.I2, run.H2, run.parameters.outputfile2);
    }
}

} // namespace tonalign

// SPDX-License-Identifier: BSD-3-Clause
// The stages of a run, from its inputs to its saved outputs.
#include "driver/MatchingRun.h"

#include "driver/requirements.h"
#include "failure/unattended_run.h"
#include "histogram/histogram_files.h"
#include "volume/AnalyzeImage.h"
#include "volume/OutputFile.h"
#include "volume/PairNames.h"
#include "volume/voxel_file.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <iostream>
#include <string>
#include <system_error>

namespace tonalign {

namespace {

constexpr double output_maximum = 255.0;

/// The range that the final mapping sends to [0, 255]: the input's, in usage 1 together with the target's.
IntensityRange common_range(const MatchingRun& run)
{
    IntensityRange range = run.input.range();
    if (run.parameters.hasTargetVolume()) {
        range.minimum = std::min(range.minimum, run.target.range().minimum);
        range.maximum = std::max(range.maximum, run.target.range().maximum);
    }
    return range;
}

/// Scans mostly come as NIfTI files: whoever names one should not have to search for the way.
void tell_where_nifti_goes(const std::string& name)
{
    std::error_code error;
    const PairNames pair(name);
    if (std::filesystem::exists(pair.header, error)) {
        return;
    }
    const std::string base(base_of_pair(name));
    const bool named = name.ends_with(".nii") || name.ends_with(".nii.gz");
    for (const std::string& file : {named ? name : base + ".nii", base + ".nii.gz"}) {
        if (named || std::filesystem::exists(file, error)) {
            std::cerr << "tonalign: " << file
                      << ": NIfTI files are converted first: see tonalign-from-nifti\n";
            return;
        }
    }
}

/// A volume whose header has been read, and nothing else.
AnalyzeImage<double> open_volume(const std::string& name)
{
    tell_where_nifti_goes(name);
    AnalyzeImage<double> image;
    image.setAnalyzeFileName(name.c_str());
    refuse(fault_of_header_file(image.headername));
    image.readAnalyzeImageHeader();
    return image;
}

void load_target(MatchingRun& run)
{
    const RunParameters& p = run.parameters;
    refuse(fault_of_histogram_length(p.inputfile2, p.Nbins));
    run.hist2 = HistogramArray(p.Nbins);
    refuse(load_target_histogram(run.hist2, p.Nbins, p.inputfile2));
}

/// Whether the first histogram file is written over the target histogram, which makes it the target.
bool writes_over_target(const RunParameters& p)
{
    return OutputFile::leadToOneFile(p.inputfile1_hist, p.inputfile2);
}

} // namespace

void load_volumes(MatchingRun& run)
{
    enter_stage("reading the inputs");
    const RunParameters& p = run.parameters;
    AnalyzeImage<double> input = open_volume(p.inputfile1);
    if (!p.hasTargetVolume() && !writes_over_target(p)) {
        load_target(run); // before the voxels, which take their time
    }
    refuse(run.input.read(input));
    if (p.hasTargetVolume()) {
        AnalyzeImage<double> target = open_volume(p.inputfile2);
        refuse(run.target.read(target));
    }
}

void calculate_initial_histograms(MatchingRun& run)
{
    enter_stage("computing the histograms before the change");
    const RunParameters& p = run.parameters;
    run.hist1 = HistogramArray(p.Nbins);
    run.input.calculateHistogram(0.0, run.hist1, p.Nbins);
    if (p.hasTargetVolume()) {
        run.hist2 = HistogramArray(p.Nbins);
        run.target.calculateHistogram(0.0, run.hist2, p.Nbins);
    }
    if (p.matchesEndpoints() || p.matchesHistogram()) {
        require_foreground(run.hist1, p.Nbins, p.inputfile1);
        if (p.hasTargetVolume()) {
            require_foreground(run.hist2, p.Nbins, p.inputfile2);
        }
    }
    require_mappable_range(common_range(run), p);
}

void save_initial_histograms(MatchingRun& run)
{
    const RunParameters& p = run.parameters;
    save_array(run.hist1, p.Nbins, p.inputfile1_hist.c_str());
    if (p.hasTargetVolume()) {
        save_array(run.hist2, p.Nbins, p.inputfile2_hist.c_str());
    } else if (writes_over_target(p)) {
        load_target(run);
    }
}

void adopt_target_bins(MatchingRun& run)
{
    for (int i = 1; i <= run.parameters.Nbins && !run.parameters.hasTargetVolume(); ++i) {
        run.hist2[1][i] = run.hist1[1][i];
    }
}

double histogram_distance(const MatchingRun& run)
{
    double sum3 = 0.0;
    for (int i = 1; i <= run.parameters.Nbins; ++i) {
        const double difference = run.hist2[2][i] - run.hist1[2][i];
        sum3 += difference * difference;
    }
    return std::sqrt(sum3);
}

void map_to_output_range(MatchingRun& run)
{
    enter_stage("mapping the volumes to the output range");
    const IntensityRange range = common_range(run);
    require_mappable_range(range, run.parameters);
    const double factor = output_maximum / (range.maximum - range.minimum);
    run.input.shiftAndScale(-range.minimum, factor);
    if (run.parameters.hasTargetVolume()) {
        run.target.shiftAndScale(-range.minimum, factor);
    }
}

void calculate_final_histograms(MatchingRun& run)
{
    enter_stage("computing the histograms after the change");
    const RunParameters& p = run.parameters;
    run.input.calculateHistogram(0.0, run.hist1, p.Nbins);
    if (p.hasTargetVolume()) {
        run.target.calculateHistogram(p.sigma1, run.hist2, p.Nbins);
    }
}

void save_final_histograms(const MatchingRun& run)
{
    const RunParameters& p = run.parameters;
    save_array(run.hist1, p.Nbins, p.outputfile1_hist.c_str());
    if (p.hasTargetVolume()) {
        save_array(run.hist2, p.Nbins, p.outputfile2_hist.c_str());
    }
}

void save_volumes(MatchingRun& run)
{
    enter_stage("saving the volumes");
    std::cout << "*****IMAGES ARE BEING SAVED*****\n\n";
    run.input.save(run.parameters.outputfile1);
    if (run.parameters.hasTargetVolume()) {
        run.target.save(run.parameters.outputfile2);
    }
}

} // namespace tonalign

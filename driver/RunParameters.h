// SPDX-License-Identifier: BSD-3-Clause
// What the command line asks for.
#pragma once

#include <string>

/// Writes the usage text to standard error.
void print_usage();

namespace tonalign {

/// Which of the two run forms the argument count chose.
enum class RunForm
{
    image_to_image,     ///< usage 1: the target is a second volume
    image_to_histogram, ///< usage 2: the target is a histogram file
};

/// What the command line asks for. Fields that a form does not use keep the values here.
struct RunParameters
{
    RunForm form;
    std::string inputfile1;  ///< the volume to be transformed
    std::string inputfile2;  ///< usage 1: the target volume; usage 2: the target histogram file
    std::string outputfile1; ///< the transformed input volume
    std::string outputfile2; ///< usage 1: the transformed target volume
    int Nbins = 0;
    double sigma1 = 0.0; ///< smoothing in bins; 0 or below means none
    int matchendpoints = 0;
    int matchhistogram = 1;
    std::string inputfile1_hist; ///< histogram files, before and after
    std::string inputfile2_hist;
    std::string outputfile1_hist;
    std::string outputfile2_hist;

    bool hasTargetVolume() const { return form == RunForm::image_to_image; }
    bool matchesEndpoints() const { return matchendpoints == 1; }
    bool matchesHistogram() const { return matchhistogram == 1; }
};

/// Writes the numbered arguments, the program's name first, to standard output.
void echo_arguments(int argc, char** argv);

/// Reads the parameters of the run form that the argument count chooses.
///
/// Any other count ends the process with status 0 after the usage text. Numbers are read as atoi and atof do.
RunParameters parse_arguments(int argc, char** argv);

/// Writes the labelled listing of the parameters to standard output.
void print_parameters(const RunParameters& parameters);

/// Ends the process with status 1 and one line on standard error when the bin count or sigma cannot be used.
void require_usable_parameters(const RunParameters& parameters);

} // namespace tonalign

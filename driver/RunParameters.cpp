// SPDX-License-Identifier: BSD-3-Clause
// Reads, checks and lists the command line.
#include "driver/RunParameters.h"

#include "driver/requirements.h"
#include "failure/end_process.h"
#include "histogram/histogram.h"

#include <cstdlib>
#include <iostream>
#include <limits>
#include <sstream>

namespace tonalign {

namespace {

constexpr int image_to_image_count = 13;
constexpr int image_to_histogram_count = 7;
constexpr int endpoint_landmarks = 4;

RunParameters parse_image_to_image(char** argv)
{
    RunParameters p;
    p.form = RunForm::image_to_image;
    p.inputfile1 = argv[1];
    p.inputfile2 = argv[2];
    p.outputfile1 = argv[3];
    p.outputfile2 = argv[4];
    p.Nbins = std::atoi(argv[5]);
    p.sigma1 = std::atof(argv[6]);
    p.matchendpoints = std::atoi(argv[7]);
    p.matchhistogram = std::atoi(argv[8]);
    p.inputfile1_hist = argv[9];
    p.inputfile2_hist = argv[10];
    p.outputfile1_hist = argv[11];
    p.outputfile2_hist = argv[12];
    return p;
}

RunParameters parse_image_to_histogram(char** argv)
{
    RunParameters p;
    p.form = RunForm::image_to_histogram;
    p.inputfile1 = argv[1];
    p.inputfile2 = argv[2];
    p.outputfile1 = argv[3];
    p.Nbins = std::atoi(argv[4]);
    p.inputfile1_hist = argv[5];
    p.outputfile1_hist = argv[6];
    return p;
}

/// The most bins whose arrays fit the allocators' 32-bit sizes: `rows` x (bins + extra) elements and a lead
/// slot.
int most_bins(int rows, int extra)
{
    return (std::numeric_limits<int>::max() - 1) / rows - extra;
}

void require_bins(const RunParameters& parameters)
{
    int fewest = 1;
    int most = most_bins(2, 1);
    const char* what_for = "a histogram";
    if (parameters.matchesHistogram()) {
        fewest = 2;
        what_for = "matching histograms";
    }
    if (parameters.matchesEndpoints()) {
        fewest = endpoint_landmarks + 1;
        most = most_bins(3, 0);
        what_for = "matching histogram endpoints";
    }
    if (parameters.Nbins < fewest || parameters.Nbins > most) {
        refuse("argument Nbins is " + std::to_string(parameters.Nbins) + ", but " + what_for + " takes " +
               std::to_string(fewest) + " to " + std::to_string(most) + " bins");
    }
}

void require_sigma(const RunParameters& parameters)
{
    if (!can_smooth(parameters.sigma1)) {
        std::ostringstream message;
        message << "argument sigma is " << parameters.sigma1
                << ", but a number of bins below 214748364.6 is expected";
        refuse(message.str());
    }
}

} // namespace

void echo_arguments(int argc, char** argv)
{
    std::cout << "\nINPUTS TO THE PROGRAM\n";
    for (int i = 0; i < argc; ++i) {
        std::cout << i << "> " << argv[i] << std::endl;
    }
    std::cout << '\n';
}

RunParameters parse_arguments(int argc, char** argv)
{
    if (argc == image_to_image_count) {
        return parse_image_to_image(argv);
    }
    if (argc == image_to_histogram_count) {
        return parse_image_to_histogram(argv);
    }
    print_usage();
    end_process(std::cout,
                {"**********************************\n", "Exiting, wrong number of arguments\n",
                 "**********************************\n"},
                ExitStatus::success);
}

void print_parameters(const RunParameters& p)
{
    const bool target_volume = p.hasTargetVolume();
    std::cout << '\n';
    std::cout << "inputfile1      \t" << p.inputfile1 << '\n';
    std::cout << "inputfile2      \t" << p.inputfile2 << '\n';
    std::cout << "outputfile1     \t" << p.outputfile1 << '\n';
    if (target_volume) {
        std::cout << "outputfile2     \t" << p.outputfile2 << '\n';
    }
    std::cout << "Nbins           \t" << p.Nbins << '\n';
    std::cout << "sigma           \t" << p.sigma1 << '\n';
    std::cout << "matchendpoints  \t" << p.matchendpoints << '\n';
    std::cout << "matchhistogram  \t" << p.matchhistogram << '\n';
    std::cout << "inputfile1_hist \t" << p.inputfile1_hist << '\n';
    if (target_volume) {
        std::cout << "inputfile2_hist \t" << p.inputfile2_hist << '\n';
    }
    std::cout << "outputfile1_hist\t" << p.outputfile1_hist << '\n';
    if (target_volume) {
        std::cout << "outputfile2_hist\t" << p.outputfile2_hist << '\n';
    }
    // A run that memory exhaustion kills should at least have said what it was asked for.
    std::cout << "\n\n" << std::flush;
}

void require_usable_parameters(const RunParameters& parameters)
{
    require_bins(parameters);
    require_sigma(parameters);
}

} // namespace tonalign

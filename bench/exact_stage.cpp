// SPDX-License-Identifier: BSD-3-Clause
// The seconds that the exact stage takes inside a run, without the reading and writing around it.
//
// Takes the command line of usage 1, does what the run does up to and including the exact stage (the first
// two histogram files are written, volumes are not), and prints the seconds last.
#include "driver/MatchingRun.h"

#include <chrono>
#include <iostream>

int main(int argc, char** argv)
{
    using Clock = std::chrono::steady_clock;

    const tonalign::RunParameters parameters = tonalign::parse_arguments(argc, argv);
    tonalign::require_usable_parameters(parameters);
    tonalign::MatchingRun run(parameters, std::cout);
    tonalign::load_volumes(run);
    tonalign::calculate_initial_histograms(run);

    const Clock::time_point start = Clock::now();
    tonalign::match_histograms(run);
    const std::chrono::duration<double> elapsed = Clock::now() - start;
    std::cout << "exact stage seconds: " << elapsed.count() << '\n';
    return 0;
}

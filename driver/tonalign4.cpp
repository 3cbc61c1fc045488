// SPDX-License-Identifier: BSD-3-Clause
// main: the table of contents of a run.
#include "driver/MatchingRun.h"
#include "driver/RunParameters.h"
#include "driver/reports.h"
#include "failure/unattended_run.h"

#include <malloc.h>

#include <iostream>

int main(int argc, char** argv)
{
    using namespace tonalign;

    prepare_for_unattended_run("tonalign");
#ifdef M_MMAP_THRESHOLD
    mallopt(M_MMAP_THRESHOLD, 1 << 20); // large blocks go back to the system when they are freed, always
#endif
    const RunClock clock;
    echo_arguments(argc, argv);
    const RunParameters parameters = parse_arguments(argc, argv);
    print_parameters(parameters);
    require_usable_parameters(parameters);

    std::cout << "*****READING IMAGES AND ALLOCATING ARRAYS*****\n";
    MatchingRun run(parameters, std::cout);
    load_volumes(run);
    report_dimensions(run);
    calculate_initial_histograms(run);
    save_initial_histograms(run);
    adopt_target_bins(run);
    report_ranges(run);
    report_error(run);

    match_endpoints(run);
    report_ranges(run);
    report_error(run);

    match_histograms(run);
    map_to_output_range(run);
    calculate_final_histograms(run);
    save_final_histograms(run);
    report_ranges(run);
    report_error(run);

    save_volumes(run);
    report_dimensions(run);
    clock.report();
    standard_output_written(); // the outputs are what counts
    return 0;
}

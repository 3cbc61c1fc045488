// SPDX-License-Identifier: BSD-3-Clause
// What a run says of sizes, ranges, errors and time.
#include "driver/reports.h"

#include <ctime>
#include <iostream>

namespace tonalign {

namespace {

/// Of a header; 0 for the clean header that stands in for a missing target.
void report_size(const AnalyzeHeader& header)
{
    std::cout << header.getNx() << '\t' << header.getNy() << '\t' << header.getNz() << '\n';
}

void report_voxel_size(const AnalyzeHeader& header)
{
    std::cout << header.getPixelDimensionX() << '\t' << header.getPixelDimensionY() << '\t'
              << header.getPixelDimensionZ() << '\n';
}

void report_range(const char* label, const IntensityRange& range)
{
    std::cout << label << range.maximum << "\t\t" << range.minimum << '\n';
}

} // namespace

void report_dimensions(const MatchingRun& run)
{
    report_size(run.input.header());
    report_size(run.target.header());
    report_voxel_size(run.input.header());
    report_voxel_size(run.target.header());
}

void report_ranges(const MatchingRun& run)
{
    if (run.parameters.hasTargetVolume()) {
        report_range("Image-1 max-min values:\t\t", run.input.range());
        report_range("Image-2 max-min values:\t\t", run.target.range());
    }
}

void report_error(const MatchingRun& run)
{
    std::cout << "Error between histograms=\t" << histogram_distance(run) << '\n';
}

void RunClock::report() const
{
    timeval end;
    gettimeofday(&end, nullptr);
    const auto microseconds = static_cast<double>(end.tv_usec - m_start.tv_usec);
    const double seconds = std::difftime(end.tv_sec, m_start.tv_sec) + microseconds / 1000000.0;
    std::cout << "*****TOTAL RUNNING TIME*****\n" << seconds << "\n\n\n";
}

} // namespace tonalign

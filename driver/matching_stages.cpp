// SPDX-License-Identifier: BSD-3-Clause
// The two optional stages: endpoints and exact matching.
#include "driver/MatchingRun.h"

#include "driver/requirements.h"
#include "failure/unattended_run.h"
#include "histogram/dynamic_range.h"
#include "histogram/histogram.h"

#include <cstdint>
#include <ostream>

namespace tonalign {

namespace {

/// The endpoints enclose all but 0.02 % of a histogram's mass, so that single outliers do not set the range.
constexpr double energy_ratio = 0.9998;

/// A copy of a volume's histogram, smoothed when the run asks for it.
HistogramArray smoothed_copy(const HistogramArray& hist, const RunParameters& p)
{
    HistogramArray result = hist.copy();
    if (p.sigma1 > 0.0) {
        smooth_histogram(result, p.Nbins, p.sigma1);
    }
    return result;
}

} // namespace

HistogramArray histogram_to_reach(const MatchingRun& run)
{
    const RunParameters& p = run.parameters;
    if (!p.hasTargetVolume()) {
        return run.hist2.copy();
    }
    HistogramArray hist2(p.Nbins);
    if (p.matchesEndpoints() && p.sigma1 > 0.0) {
        run.target.calculateHistogram(p.sigma1, hist2, p.Nbins);
    } else {
        hist2 = smoothed_copy(run.hist2, p);
    }
    hist2[1][p.Nbins] = run.target.range().maximum;
    return hist2;
}

void match_endpoints(MatchingRun& run)
{
    const RunParameters& p = run.parameters;
    if (!p.matchesEndpoints()) {
        return;
    }
    enter_stage("matching the endpoints");
    run.console << "*****MATCHING HISTOGRAM ENDPOINTS*****\n";
    const HistogramArray hist1 = smoothed_copy(run.hist1, p);
    const HistogramArray hist2 = smoothed_copy(run.hist2, p);
    const EndpointMatch match({run.input.range(), hist1}, {run.target.range(), hist2}, energy_ratio,
                              energy_ratio, p.Nbins, run.console);
    run.target.map([&match](double* values, std::int64_t count) { match.clipTarget(values, count); });
    run.input.map([&match](double* values, std::int64_t count) { match.mapInput(values, count); });
    require_usable_adjustment(run.input.range(), p);
}

void match_histograms(MatchingRun& run)
{
    const RunParameters& p = run.parameters;
    if (!p.matchesHistogram()) {
        return;
    }
    enter_stage("matching the histograms");
    run.console << "*****MATCHING HISTOGRAMS*****\n";
    // The assignment leaves counts in what it is given; the reports still need the frequencies.
    HistogramArray hist2 = histogram_to_reach(run);
    run.input.match(hist2, p.Nbins);
}

} // namespace tonalign

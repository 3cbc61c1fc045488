#include "driver/MatchingRun.h"

#include "exactmatch/convolution.h"
#include "exactmatch/exact_assignment.h"
#include "exactmatch/filter_bank.h"
#include "histogram/dynamic_range.h"
#include "histogram/histogram.h"

#include <iostream>

namespace tonalign {

namespace {

/// The endpoints enclose all but 0.02 % of a histogram's mass, so that single outliers do not set the range.
constexpr double energy_ratio = 0.9998;

void compute_features(std::array<Array3D<double>, feature_levels>& I1)
{
    for (int k = 1; k < feature_levels; ++k) {
        Array3D<double> filter;
        get3DfilterArray(1, k + first_filter - 1, filter);
        I1[k].setDim(I1[0].getNzTotal(), I1[0].getNyTotal(), I1[0].getNxTotal());
        convolution3Dn(&I1[0], &filter, &I1[k]);
    }
}

} // namespace

void match_endpoints(MatchingRun& run)
{
    const RunParameters& p = run.parameters;
    if (!p.matchesEndpoints()) {
        return;
    }
    std::cout << "*****MATCHING HISTOGRAM ENDPOINTS*****\n";
    adjust_dynamic_range(&run.I1[0], &run.I2, energy_ratio, energy_ratio, p.Nbins, p.sigma1);
}

void match_histograms(MatchingRun& run)
{
    const RunParameters& p = run.parameters;
    if (!p.matchesHistogram()) {
        return;
    }
    std::cout << "*****MATCHING HISTOGRAMS*****\n";
    compute_features(run.I1);
    // The assignment leaves counts in what it is given; the reports still need the frequencies.
    HistogramArray target = run.hist2.copy();
    if (p.hasTargetVolume()) {
        if (p.sigma1 > 0.0) {
            calculate_smoothed_histogram(&run.I2, target, p.Nbins, p.sigma1);
        }
        target[1][p.Nbins] = run.I2.getMaxValue();
    }
    perfect_histogram_matching(run.I1.data(), target, feature_levels, p.Nbins);
    for (int k = 1; k < feature_levels; ++k) {
        run.I1[k] = Array3D<double>();
    }
}

} // namespace tonalign

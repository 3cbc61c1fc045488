#include "tests/support/plain_matching.h"

#include "tests/support/plain_ranking.h"

namespace tonalign::test {

namespace {

void match_endpoints(Volume& input, Volume& target, const Parameters& parameters, Outcome& outcome)
{
    const Extremes range1 = extremes(input);
    const Extremes range2 = extremes(target);
    const Histogram hist1 = histogram_of(input, parameters.bins, parameters.sigma);
    const Histogram hist2 = histogram_of(target, parameters.bins, parameters.sigma);
    EndpointReport report{find_endpoints(hist1), find_endpoints(hist2)};
    outcome.endpoint_reports.push_back(report);
    const double ceiling = hist2.centre[report.target.upper];
    for (double& v : target.voxels) {
        if (v > ceiling) {
            v = ceiling;
        }
    }
    report.target.upper = parameters.bins;
    outcome.endpoint_reports.push_back(report);

    const std::array<double, 4> from{range1.smallest, hist1.centre[report.input.lower],
                                     hist1.centre[report.input.upper], range1.largest};
    const std::array<double, 4> to{range2.smallest, hist2.centre[report.target.lower],
                                   hist2.centre[report.target.upper], range2.largest};
    for (double& v : input.voxels) {
        for (std::size_t k = 0; k + 1 < from.size(); ++k) {
            if (from[k] < v && v <= from[k + 1]) {
                v = ((v - from[k]) * (to[k + 1] - to[k])) / (from[k + 1] - from[k]) + to[k];
                break;
            }
        }
    }
}

void shift_and_scale(Volume& volume, const Extremes& range)
{
    const double factor = 255.0 / (range.largest - range.smallest);
    for (double& v : volume.voxels) {
        v = v + -range.smallest;
    }
    for (double& v : volume.voxels) {
        v = v * factor;
    }
}

std::vector<float> as_floats(const Volume& volume)
{
    std::vector<float> floats;
    for (const double v : volume.voxels) {
        floats.push_back(static_cast<float>(v));
    }
    return floats;
}

Outcome refused(const char* reason)
{
    Outcome outcome;
    outcome.refusal = reason;
    return outcome;
}

constexpr const char* no_foreground = "a volume has no voxel outside the background bin";
constexpr const char* no_range = "the common range is empty";

} // namespace

Outcome match_to_volume(Volume input, Volume target, const Parameters& parameters)
{
    const int bins = parameters.bins;
    Outcome outcome;
    Histogram hist1 = histogram_of(input, bins);
    Histogram hist2 = histogram_of(target, bins);
    if ((parameters.match_endpoints || parameters.match_histogram) &&
        (hist1.total == 0.0 || hist2.total == 0.0)) {
        return refused(no_foreground);
    }
    outcome.input1_histogram = file_text(hist1);
    outcome.input2_histogram = file_text(hist2);
    outcome.ranges.push_back({extremes(input), extremes(target)});
    outcome.errors.push_back(distance(hist1, hist2));
    if (parameters.match_endpoints) {
        match_endpoints(input, target, parameters, outcome);
    }
    outcome.ranges.push_back({extremes(input), extremes(target)});
    outcome.errors.push_back(distance(hist1, hist2));
    if (parameters.match_histogram) {
        if (histogram_of(input, bins).total == 0.0) {
            return refused(no_foreground);
        }
        if (parameters.sigma > 0.0) {
            hist2 = histogram_of(target, bins, parameters.sigma);
        }
        hist2.centre[bins] = extremes(target).largest;
        match_exactly(input, hist2);
    }

    Extremes common = extremes(input);
    const Extremes other = extremes(target);
    common.largest = other.largest > common.largest ? other.largest : common.largest;
    common.smallest = other.smallest < common.smallest ? other.smallest : common.smallest;
    if (common.largest == common.smallest) {
        return refused(no_range);
    }
    shift_and_scale(target, common);
    shift_and_scale(input, common);
    hist1 = histogram_of(input, bins);
    hist2 = histogram_of(target, bins, parameters.sigma);
    outcome.output1_histogram = file_text(hist1);
    outcome.output2_histogram = file_text(hist2);
    outcome.ranges.push_back({extremes(input), extremes(target)});
    outcome.errors.push_back(distance(hist1, hist2));
    outcome.output1 = as_floats(input);
    outcome.output2 = as_floats(target);
    return outcome;
}

Outcome match_to_histogram(Volume input, const std::vector<std::pair<double, double>>& target, int bins)
{
    Outcome outcome;
    Histogram hist1 = histogram_of(input, bins);
    if (hist1.total == 0.0) {
        return refused(no_foreground);
    }
    outcome.input1_histogram = file_text(hist1);
    Histogram hist2(bins);
    for (int i = 2; i <= bins; ++i) {
        hist2.frequency[i] = target.at(static_cast<std::size_t>(i - 1)).second;
    }
    hist2.total = sum_of_frequencies(hist2);
    normalise(hist2, hist2.total);
    hist2.centre = hist1.centre;
    outcome.errors.assign(2, distance(hist1, hist2));
    match_exactly(input, hist2);

    const Extremes range = extremes(input);
    if (range.largest == range.smallest) {
        return refused(no_range);
    }
    shift_and_scale(input, range);
    hist1 = histogram_of(input, bins);
    outcome.output1_histogram = file_text(hist1);
    outcome.errors.push_back(distance(hist1, hist2));
    outcome.output1 = as_floats(input);
    return outcome;
}

} // namespace tonalign::test

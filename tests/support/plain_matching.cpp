// SPDX-License-Identifier: BSD-3-Clause
// The run's stages in their documented order.
#include "tests/support/plain_matching.h"

#include "tests/support/plain_ranking.h"

#include <algorithm>

namespace tonalign::test {

namespace {

constexpr const char* no_foreground = "a volume has no voxel outside the background bin";
constexpr const char* no_range = "the common range is empty";

std::vector<float> map_to_output_range(Volume& volume, const Extremes& range)
{
    std::vector<float> floats;
    for (double& v : volume.voxels) {
        v = v + -range.smallest;
        v = v * (255.0 / (range.largest - range.smallest));
        floats.push_back(static_cast<float>(v));
    }
    return floats;
}

} // namespace

std::pair<Endpoints, Endpoints> match_endpoints(Volume& input, Volume& target, int bins, double sigma,
                                                double share1, double share2)
{
    const Histogram hist1 = histogram_of(input, bins, sigma);
    const Histogram hist2 = histogram_of(target, bins, sigma);
    const Endpoints ends1 = find_endpoints(hist1, share1);
    const Endpoints ends2 = find_endpoints(hist2, share2);
    follow_segments(input, landmarks(hist1, ends1, extremes(input)),
                    landmarks(hist2, {ends2.lower, bins}, extremes(target)));
    for (double& v : target.voxels) {
        v = std::min(v, hist2.centre[ends2.upper]);
    }
    return {ends1, ends2};
}

Outcome match_to_volume(Volume input, Volume target, const Parameters& parameters)
{
    const int bins = parameters.bins;
    Outcome outcome;
    Histogram hist1 = histogram_of(input, bins);
    Histogram hist2 = histogram_of(target, bins);
    if ((parameters.match_endpoints || parameters.match_histogram) && hist1.total * hist2.total == 0.0) {
        return {no_foreground};
    }
    const auto report = [&] {
        for (const Volume* const volume : {&input, &target}) {
            outcome.reported.push_back(extremes(*volume).largest);
            outcome.reported.push_back(extremes(*volume).smallest);
        }
        outcome.reported.push_back(distance(hist1, hist2));
    };
    outcome.input1_histogram = file_text(hist1);
    outcome.input2_histogram = file_text(hist2);
    report();
    if (parameters.match_endpoints) {
        const auto [ends1, ends2] = match_endpoints(input, target, bins, parameters.sigma, 0.9998, 0.9998);
        for (const int upper : {ends2.upper, bins}) {
            for (const int bin : {ends1.lower, ends1.upper, ends2.lower, upper}) {
                outcome.reported.push_back(bin);
            }
        }
    }
    report();
    if (parameters.match_histogram) {
        if (histogram_of(input, bins).total == 0.0) {
            return {no_foreground};
        }
        Histogram wanted = parameters.sigma > 0.0 ? histogram_of(target, bins, parameters.sigma) : hist2;
        wanted.centre[bins] = extremes(target).largest;
        match_exactly(input, wanted);
    }
    const Extremes common = {std::min(extremes(input).smallest, extremes(target).smallest),
                             std::max(extremes(input).largest, extremes(target).largest)};
    if (common.largest == common.smallest) {
        return {no_range};
    }
    outcome.output1 = map_to_output_range(input, common);
    outcome.output2 = map_to_output_range(target, common);
    hist1 = histogram_of(input, bins);
    hist2 = histogram_of(target, bins, parameters.sigma);
    report();
    outcome.output1_histogram = file_text(hist1);
    outcome.output2_histogram = file_text(hist2);
    return outcome;
}

Outcome match_to_histogram(Volume input, const std::vector<std::pair<double, double>>& target, int bins)
{
    Outcome outcome;
    Histogram hist1 = histogram_of(input, bins);
    if (hist1.total == 0.0) {
        return {no_foreground};
    }
    outcome.input1_histogram = file_text(hist1);
    Histogram hist2(bins);
    for (int i = 2; i <= bins; ++i) {
        hist2.frequency[i] = target.at(i - 1).second;
    }
    normalise(hist2, sum_of_frequencies(hist2));
    hist2.centre = hist1.centre;
    outcome.reported.assign(2, distance(hist1, hist2));
    match_exactly(input, hist2);
    const Extremes range = extremes(input);
    if (range.largest == range.smallest) {
        return {no_range};
    }
    outcome.output1 = map_to_output_range(input, range);
    hist1 = histogram_of(input, bins);
    outcome.reported.push_back(distance(hist1, hist2));
    outcome.output1_histogram = file_text(hist1);
    return outcome;
}

} // namespace tonalign::test

// SPDX-License-Identifier: BSD-3-Clause
// The whole matching run as plain loops on plain vectors, which the tool must equal bit for bit.
#pragma once

#include "tests/support/plain_histogram.h"

#include <utility>

namespace tonalign::test {

struct Parameters
{
    int bins = 0;
    double sigma = 0.0; ///< in bins; 0 or below: no smoothing
    bool match_endpoints = false, match_histogram = false;
};

/// Everything a run writes, apart from its headers and texts.
struct Outcome
{
    std::string refusal{};                   ///< why the run cannot be done; empty when it can
    std::vector<double> reported{};          ///< ranges, errors and endpoints in the order of the console
    std::vector<float> output1{}, output2{}; ///< the second empty without a target volume
    std::string input1_histogram{}, input2_histogram{}, output1_histogram{}, output2_histogram{}; ///< files
};

/// The endpoint stage; gives the endpoints of the input and the target, searched for unless the share is 1.
std::pair<Endpoints, Endpoints> match_endpoints(Volume& input, Volume& target, int bins, double sigma,
                                                double share1, double share2);

Outcome match_to_volume(Volume input, Volume target, const Parameters& parameters);

/// Matches a volume to (bin centre, frequency) pairs as read from a file, at least `bins` of them.
Outcome match_to_histogram(Volume input, const std::vector<std::pair<double, double>>& target, int bins);

} // namespace tonalign::test

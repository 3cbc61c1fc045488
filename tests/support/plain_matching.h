#pragma once

#include "tests/support/plain_histogram.h"

#include <array>
#include <string>
#include <utility>
#include <vector>

/// The whole matching run as plain loops on plain vectors: no files, no threads, nothing clever.
///
/// Tests hold the tool against this, bit for bit. It shares no code with the tool, so that one fault cannot
/// hide in both, and it is never made faster: its only merit is that a reader can check every line.
namespace tonalign::test {

struct Parameters
{
    int bins = 0;
    double sigma = 0.0; ///< in bins; 0 or below: no smoothing
    bool match_endpoints = false;
    bool match_histogram = false;
};

struct EndpointReport
{
    Endpoints input;
    Endpoints target;
};

/// Everything a run reports or writes, apart from its headers and its running time.
struct Outcome
{
    std::string refusal;                          ///< why the run cannot be done; empty when it can
    std::vector<EndpointReport> endpoint_reports; ///< two, or none without the endpoint stage
    std::vector<std::array<Extremes, 2>> ranges;  ///< three reports of input and target; none without target
    std::vector<double> errors;                   ///< three distances between the two histograms
    std::vector<float> output1;
    std::vector<float> output2;   ///< empty without a target volume
    std::string input1_histogram; ///< the four histogram files, byte by byte
    std::string input2_histogram;
    std::string output1_histogram;
    std::string output2_histogram;
};

/// Matches a volume to a second one.
Outcome match_to_volume(Volume input, Volume target, const Parameters& parameters);

/// Matches a volume to (bin centre, frequency) pairs as read from a file, at least `bins` of them.
Outcome match_to_histogram(Volume input, const std::vector<std::pair<double, double>>& target, int bins);

} // namespace tonalign::test

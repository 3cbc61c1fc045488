// SPDX-License-Identifier: BSD-3-Clause
// Writes and reads histogram files.
#include "histogram/histogram_files.h"

#include "volume/OutputFile.h"

#include <cmath>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <limits>
#include <sstream>
#include <system_error>

namespace {

using tonalign::Fault;

/// Enough significant digits for the exact decimal value of any intensity or frequency that occurs.
constexpr int exact_digits = 128;

/// As the other messages show reals: std::to_string would show a tiny frequency as 0.
std::string text_of(double value)
{
    std::ostringstream text;
    text << value;
    return text.str();
}

Fault fault_of_opening(const std::string& filename)
{
    return {filename + ": the histogram file cannot be opened for reading"};
}

/// A number too large for a double is read to its end, and given as the largest one.
bool was_too_large(std::ifstream& file, double value)
{
    if (std::abs(value) != std::numeric_limits<double>::max() || file.bad()) {
        return false;
    }
    file.clear(file.rdstate() & ~std::ios::failbit);
    return true;
}

} // namespace

bool save_array(double** hist1, int N, const char* filename)
{
    tonalign::OutputFile output(filename);
    if (!output.begin()) {
        return false;
    }
    std::ofstream& file = output.stream();
    file.precision(exact_digits);
    for (int i = 1; i <= N; ++i) {
        file << hist1[1][i] << '\t' << hist1[2][i] << '\n';
    }
    return output.keep();
}

Fault load_array(double** hist1, int N, const char* filename)
{
    std::ifstream file(filename);
    if (!file) {
        return fault_of_opening(filename);
    }
    for (int i = 1; i <= N; ++i) {
        if (file >> hist1[1][i] && (file >> hist1[2][i] || (i == 1 && was_too_large(file, hist1[2][i])))) {
            continue;
        }
        const std::string found = file.bad()   ? "the histogram file cannot be read at bin "
                                  : file.eof() ? "the histogram file ends at bin "
                                               : "the histogram file does not hold a finite number at bin ";
        return {std::string(filename) + ": " + found + std::to_string(i) + ", but " + std::to_string(N) +
                " pairs of bin centre and frequency are expected"};
    }
    return {};
}

namespace tonalign {

Fault fault_of_histogram_length(const std::string& filename, int N)
{
    constexpr std::int64_t shortest_pair = sizeof "0 0"; // with the blank before the next
    std::error_code error;
    if (!std::filesystem::exists(filename, error)) {
        return fault_of_opening(filename);
    }
    if (!std::filesystem::is_regular_file(filename, error)) {
        return {}; // reading it will tell
    }
    const auto found = static_cast<std::int64_t>(std::filesystem::file_size(filename, error));
    if (!error && found < N * shortest_pair - 1) {
        return {filename + ": the histogram file holds " + std::to_string(found) + " bytes, but " +
                std::to_string(N) + " pairs of bin centre and frequency are expected"};
    }
    return {};
}

Fault load_target_histogram(double** hist2, int N, const std::string& filename)
{
    Fault fault = load_array(hist2, N, filename.c_str());
    return fault ? fault : complete_target_histogram(hist2, N, filename);
}

Fault complete_target_histogram(double** hist2, int N, const std::string& name)
{
    hist2[2][1] = 0.0;
    double sum = 0.0;
    for (int i = 1; i <= N; ++i) {
        if (!(hist2[2][i] >= 0.0) || std::isinf(hist2[2][i])) {
            return {name + ": the frequency of bin " + std::to_string(i) + " is " + text_of(hist2[2][i]) +
                    ", but a finite number that is not negative is expected"};
        }
        sum += hist2[2][i];
    }
    hist2[2][N + 1] = sum;
    const double reciprocal = 1.0 / sum; // finite from the limit in the message on
    if (!std::isfinite(sum) || !std::isfinite(reciprocal)) {
        return {name + ": the frequencies of bins 2 to " + std::to_string(N) + " sum to " + text_of(sum) +
                ", but a finite sum of at least 5.56268464626801e-309 is expected"};
    }
    for (int i = 1; i <= N; ++i) {
        hist2[2][i] = hist2[2][i] * reciprocal;
    }
    return {};
}

} // namespace tonalign

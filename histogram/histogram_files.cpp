#include "histogram/histogram_files.h"

#include "failure/end_process.h"
#include "volume/OutputFile.h"

#include <cmath>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <system_error>

namespace {

/// Enough significant digits for the exact decimal value of any intensity or frequency that occurs.
constexpr int exact_digits = 128;

/// As the other messages show reals: std::to_string would show a tiny frequency as 0.
std::string text_of(double value)
{
    std::ostringstream text;
    text << value;
    return text.str();
}

[[noreturn]] void refuse_unopened(const char* filename)
{
    tonalign::refuse(std::string(filename) + ": the histogram file cannot be opened for reading");
}

} // namespace

void save_array(double** hist1, int N, const char* filename)
{
    tonalign::save_histogram(hist1, N, filename);
}

void load_array(double** hist1, int N, const char* filename)
{
    std::ifstream file(filename);
    if (!file) {
        refuse_unopened(filename);
    }
    for (int i = 1; i <= N; ++i) {
        if (file >> hist1[1][i] >> hist1[2][i]) {
            continue;
        }
        const std::string found = file.bad()   ? "the histogram file cannot be read at bin "
                                  : file.eof() ? "the histogram file ends at bin "
                                               : "the histogram file does not hold a finite number at bin ";
        tonalign::refuse(std::string(filename) + ": " + found + std::to_string(i) + ", but " +
                         std::to_string(N) + " pairs of bin centre and frequency are expected");
    }
}

namespace tonalign {

bool save_histogram(double** hist, int N, const char* filename)
{
    OutputFile output(filename);
    if (!output.begin()) {
        return false;
    }
    std::ofstream& file = output.stream();
    file.precision(exact_digits);
    for (int i = 1; i <= N; ++i) {
        file << hist[1][i] << '\t' << hist[2][i] << '\n';
    }
    return output.keep();
}

void require_room_for_pairs(const char* filename, int N)
{
    constexpr std::int64_t shortest_pair = sizeof "0 0"; // with the blank before the next
    std::error_code error;
    if (!std::filesystem::exists(filename, error)) {
        refuse_unopened(filename);
    }
    if (!std::filesystem::is_regular_file(filename, error)) {
        return;
    }
    const auto found = static_cast<std::int64_t>(std::filesystem::file_size(filename, error));
    if (!error && found < N * shortest_pair - 1) {
        refuse(std::string(filename) + ": the histogram file holds " + std::to_string(found) +
               " bytes, but " + std::to_string(N) + " pairs of bin centre and frequency are expected");
    }
}

void load_target_histogram(double** hist2, int N, const char* filename)
{
    load_array(hist2, N, filename);
    for (int i = 1; i <= N; ++i) {
        if (!(hist2[2][i] >= 0.0) || std::isinf(hist2[2][i])) {
            refuse(std::string(filename) + ": the frequency of bin " + std::to_string(i) + " is " +
                   text_of(hist2[2][i]) + ", but a finite number that is not negative is expected");
        }
    }
    hist2[2][1] = 0.0;
    double sum = 0.0;
    for (int i = 1; i <= N; ++i) {
        sum += hist2[2][i];
    }
    hist2[2][N + 1] = sum;
    const double reciprocal = 1.0 / sum;
    if (!std::isfinite(sum) || !std::isfinite(reciprocal)) {
        refuse(std::string(filename) + ": the frequencies of bins 2 to " + std::to_string(N) + " sum to " +
               text_of(sum) + ", but a finite sum above 0 is expected");
    }
    for (int i = 1; i <= N; ++i) {
        hist2[2][i] = hist2[2][i] * reciprocal;
    }
}

} // namespace tonalign

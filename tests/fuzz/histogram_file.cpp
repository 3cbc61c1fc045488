/// A histogram file, after four bytes that say how many bins are expected of it.

#include "histogram/HistogramArray.h"
#include "histogram/histogram_files.h"
#include "tests/fuzz/fuzz_target.h"
#include "tests/support/scratch_files.h"

#include <cmath>
#include <limits>

using namespace tonalign::test;
using tonalign::HistogramArray;

namespace {

bool same_bits(double** a, double** b, int N)
{
    const auto length = static_cast<std::size_t>(N) * sizeof(double);
    return std::memcmp(a[1] + 1, b[1] + 1, length) == 0 && std::memcmp(a[2] + 1, b[2] + 1, length) == 0;
}

void require_comes_back(double** hist, int N)
{
    const std::string name = scratch_file("saved.hist");
    save_array(hist, N, name.c_str());
    const HistogramArray again(N);
    load_array(again, N, name.c_str());
    require(same_bits(hist, again, N), "a saved histogram comes back");
}

void require_normalised(double** hist, int N)
{
    double sum = 0.0;
    for (int i = 1; i <= N; ++i) {
        require(hist[2][i] >= 0.0, "no frequency of a target is negative");
        sum += hist[2][i];
    }
    require(hist[2][1] == 0.0 && std::fabs(sum - 1.0) < 1e-6, "a target has its mass outside bin 1");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    InputBytes input(data, size);
    const int N = static_cast<int>(input.take<std::uint32_t>() % std::numeric_limits<int>::max()) + 1;
    const std::string name = scratch_file("target.hist");
    write_file(name, input.rest());

    // What passes has room for N pairs, so what follows stays as small as the input.
    if (!completes([&] { tonalign::require_room_for_pairs(name.c_str(), N); })) {
        return 0;
    }
    const HistogramArray hist(N);
    if (completes([&] { load_array(hist, N, name.c_str()); })) {
        require_comes_back(hist, N);
    }
    if (completes([&] { tonalign::load_target_histogram(hist, N, name.c_str()); })) {
        require_normalised(hist, N);
    }
    return 0;
}

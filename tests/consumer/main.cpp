// A program of somebody else's: uses every room of the installed library and checks the answers.
#include "exactmatch/exact_assignment.h"
#include "failure/end_process.h"
#include "histogram/HistogramArray.h"
#include "histogram/histogram.h"
#include "numeric/classNRUTILS.h"
#include "volume/Array3D.h"

#include <algorithm>
#include <array>
#include <span>
#include <string>

namespace {

void require(bool right, const char* what)
{
    if (!right) {
        tonalign::refuse(std::string("the installed library gives a wrong ") + what);
    }
}

} // namespace

int main()
{
    constexpr int bins = 4;
    Array3D<double> volume(2, 2, 2);
    std::ranges::copy(std::array{7.0, 3.0, 0.0, 5.0, 1.0, 6.0, 2.0, 4.0}, volume.block());

    tonalign::HistogramArray histogram(bins);
    calculate_histogram(&volume, histogram, bins);
    require(histogram[2][bins + 1] == 6, "count of voxels beyond the background");

    // 0 and 1 are the background; each target value goes to two of the other six.
    tonalign::HistogramArray target(bins);
    for (int bin = 1; bin <= bins; ++bin) {
        target[1][bin] = 10 * bin;
        target[2][bin] = bin == 1 ? 0 : 1.0 / 3;
    }
    perfect_histogram_matching(&volume, target, 1, bins);
    const std::array matched = {40.0, 20.0, 0.0, 30.0, 1.0, 40.0, 20.0, 30.0};
    require(std::ranges::equal(matched, std::span(volume.block(), matched.size())), "matched volume");

    require(classNRUTILS::pythag(3.0, 4.0) == 5, "hypotenuse");
    return 0;
}

// SPDX-License-Identifier: BSD-3-Clause
// The exact stage, its documented slow routines and the plain transcription against each other, bit for bit.
#include "exactmatch/convolution.h"
#include "exactmatch/exact_assignment.h"
#include "exactmatch/exact_matching.h"
#include "exactmatch/filter_bank.h"
#include "exactmatch/voxel_order.h"
#include "tests/support/plain_ranking.h"
#include "tests/support/process_end.h"
#include "tests/support/random_runs.h"
#include "tests/support/volumes.h"

#include <omp.h>

#include <algorithm>
#include <cmath>
#include <limits>

using namespace tonalign::test;
using testing::ElementsAre;
using tonalign::HistogramArray;
using tonalign::MatchingLimits;

namespace {

TEST(Convolution, IsTheDenseSumOnEverySmallSize)
{
    std::mt19937 random(1);
    const auto draw = [&random](int nx, int ny, int nz) {
        return Volume{nx, ny, nz, voxels_of(random_volume(nx, ny, nz, 50, random))};
    };
    for (const Volume& filter : {shell_filter(2), shell_filter(5), draw(5, 3, 1), draw(2, 4, 3)}) {
        for (int size = 0; size < 6 * 6 * 6; ++size) {
            const Volume volume = draw(size % 6 + 1 + size % 4 * 9, size / 6 % 6 + 1, size / 36 + 1);
            Array3D<double> I = array_of(volume);
            Array3D<double> F = array_of(filter);
            Array3D<double> O(volume.nz, volume.ny, volume.nx);
            O = -99.0;
            convolution3Dn(&I, &F, &O);
            ASSERT_EQ(bits_of(O), bits_of(convolved(volume, filter).voxels)) << "filter of " << filter.nx;
        }
    }
}

TEST(FilterBank, HoldsTheShellsUnderItsNumbers)
{
    for (const int filter : {0, 1, 2, 3, 4, 5, 6, 7}) {
        const bool is_shell = 2 <= filter && filter <= 6;
        Array3D<double> F;
        get3DfilterArray(1, filter, F);
        EXPECT_EQ(voxels_of(F), is_shell ? shell_filter(filter - 1).voxels : std::vector(27, 0.0));
    }
    Array3D<double> untouched = volume_of(2, 1, 1, {3, 3});
    get3DfilterArray(2, 3, untouched);
    EXPECT_THAT(voxels_of(untouched), ElementsAre(3, 3));
}

Histogram draw_target(Dice& dice, int bins)
{
    Histogram target(bins);
    const int most = dice.any_of<int>({0, 1, 1, 3, 100});
    for (int i = 1; i <= bins; ++i) {
        target.centre[i] = 100.0 + i; // no intensity of the volumes' bins
        target.frequency[i] = i == 1 || dice.once_in(3) ? 0.0 : dice.between(0, most);
    }
    normalise(target, sum_of_frequencies(target));
    return target;
}

/// As for large volumes; few cells, no table; tables of all sums, in few and in many parts, and in one part
/// less than there are sums in one cell; every bin ranked.
const MatchingLimits ways[] = {{},
                               {.cells = 5, .favourite_share = 1 << 30, .open_share = 1},
                               {.open_share = 1 << 30, .table_entries = 200, .fewest_parts = 2},
                               {.voxels_of_32_bits = 0, .open_share = 1 << 30, .fewest_parts = 2},
                               {.open_share = 1 << 30, .table_entries = 0, .fewest_parts = 2},
                               {.voxels_of_32_bits = 0, .alike_share = 1 << 30, .fewest_alike = 0}};

MatchingLimits next_way(const tonalign::IntensityRange& range)
{
    static std::size_t next = 0;
    MatchingLimits way = ways[next++ % std::size(ways)];
    if (way.table_entries == 0) {
        way.table_entries = static_cast<std::int64_t>(std::min(6 * (range.maximum - range.minimum), 1e6));
    }
    return way;
}

/// A volume whose voxels an element type can hold, as a view that is dense, or runs backwards with gaps. With
/// a mask, whose outside is the volume's minimum, something else is stored there; it may look like a voxel,
/// and so may the gaps.
template <typename Element>
void expect_match_as(const Volume& volume, const Histogram& target, const Volume& expected,
                     const std::vector<std::uint8_t>& mask = {})
{
    using Limits = std::numeric_limits<Element>;
    const auto count = std::ssize(volume.voxels);
    const std::ptrdiff_t step = volume.nx % 3 == 0 ? 1 : -2;
    const std::ptrdiff_t begin = step == 1 ? 0 : 2 * count - 2;
    const bool alike = volume.ny % 2 == 1;
    std::vector<Element> stored(volume.voxels.size() * 2, Limits::max());
    std::vector<std::uint8_t> stored_mask(stored.size());
    for (std::ptrdiff_t j = 0; j < count; ++j) {
        const auto place = static_cast<std::size_t>(begin + j * step);
        const double v = volume.voxels[static_cast<std::size_t>(j)];
        stored_mask[place] = mask.empty() ? 1 : mask[static_cast<std::size_t>(j)];
        if (stored_mask[place] == 0) {
            stored[place] = alike && j > 0 ? stored[place - static_cast<std::size_t>(step)] : Limits::max();
            continue;
        }
        if (v < Limits::lowest() || v > Limits::max() || static_cast<double>(static_cast<Element>(v)) != v ||
            (std::signbit(v) && v == 0.0)) {
            return;
        }
        stored[place] = static_cast<Element>(v);
        stored[place + 1] = alike ? stored[place] : Limits::max();
    }
    const tonalign::VolumeView view(&stored[static_cast<std::size_t>(begin)], tonalign::element_kind<Element>,
                                    volume.nx, volume.ny, volume.nz, step, step * volume.nx,
                                    step * volume.nx * volume.ny);
    tonalign::Intensities intensities(
        mask.empty() ? view : view.masked(&stored_mask[static_cast<std::size_t>(begin)]));
    if (!mask.empty()) {
        intensities.setOutside(*std::min_element(volume.voxels.begin(), volume.voxels.end()));
    }
    const tonalign::IntensityRange range = tonalign::intensity_range(intensities.rows());
    const tonalign::ExactMatch match =
        tonalign::match_exactly(intensities, range, array_of(target), target.bins, next_way(range));
    std::vector<double> found = volume.voxels;
    match.codes.forEach(
        match.codes.areAbsent() ? 0 : view.count(), 0,
        [&](std::int64_t j, std::uint32_t code) { found[j] = code == 0 ? found[j] : match.values[code]; });
    ASSERT_EQ(bits_of(found), bits_of(expected.voxels)) << sizeof(Element) << " bytes";
}

void expect_match(const Volume& volume, const Histogram& target)
{
    Volume expected = volume;
    match_exactly(expected, target);
    const HistogramArray counts = array_of(target);
    std::vector<Array3D<double>> stack{array_of(volume)};
    for (int level = 1; level < tonalign::feature_levels; ++level) {
        stack.push_back(array_of(convolved(volume, shell_filter(level))));
    }
    perfect_histogram_matching(stack.data(), counts, tonalign::feature_levels, target.bins);
    ASSERT_EQ(bits_of(stack[0]), bits_of(expected.voxels)) << "of the documented routines";
    for (const int threads : {1, 2, 7}) {
        omp_set_num_threads(threads);
        Array3D<double> matched = array_of(volume);
        const HistogramArray own_counts = array_of(target);
        const tonalign::IntensityRange range = tonalign::intensity_range(matched);
        tonalign::match_exactly(matched, range, own_counts, target.bins, next_way(range));
        ASSERT_EQ(bits_of(matched), bits_of(expected.voxels)) << threads << " threads";
        ASSERT_EQ(row_of(own_counts, 2, target.bins), row_of(counts, 2, target.bins));
    }
    expect_match_as<std::uint8_t>(volume, target, expected);
    expect_match_as<std::int16_t>(volume, target, expected);
    expect_match_as<std::int32_t>(volume, target, expected);
    expect_match_as<float>(volume, target, expected);
}

TEST(ExactMatching, IsTheTranscribedOneOnRandomVolumes)
{
    for (std::uint64_t seed = 1; seed <= 400 && !HasFailure(); ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        Dice dice(seed);
        const Volume volume =
            seed % 8 == 0 ? draw_volume(dice, dice.between(14, 18), 16, 16).volume : draw_volume(dice).volume;
        expect_match(volume, draw_target(dice, dice.any_of<int>({2, 3, 4, 6, 10, 40})));
    }
}

TEST(ExactMatching, TakesWhatLiesOutsideAMaskForItsBackground)
{
    for (std::uint64_t seed = 1; seed <= 150 && !HasFailure(); ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        Dice dice(seed);
        Volume volume = draw_volume(dice, dice.between(5, 14), 9, 7).volume;
        const int bins = dice.any_of<int>({2, 3, 10, 40});
        std::vector<std::uint8_t> mask(volume.voxels.size());
        const int holes = dice.any_of<int>({3, 100});
        double lo = std::numeric_limits<double>::infinity();
        double hi = -lo;
        for (std::size_t j = 0; j < mask.size(); ++j) {
            volume.voxels[j] = volume.voxels[holes == 3 || dice.once_in(100) ? j : 0]; // or a plateau
            mask[j] = dice.once_in(holes) ? 0 : static_cast<std::uint8_t>(dice.between(1, 255));
            lo = mask[j] != 0 ? std::min(lo, volume.voxels[j]) : lo;
            hi = mask[j] != 0 ? std::max(hi, volume.voxels[j]) : hi;
        }
        const double outside = lo - (hi - lo) / (bins - 1.5);
        for (std::size_t j = 0; j < mask.size(); ++j) {
            volume.voxels[j] = mask[j] != 0 ? volume.voxels[j] : outside;
        }
        const Histogram target = draw_target(dice, bins);
        Volume expected = volume;
        match_exactly(expected, target);
        omp_set_num_threads(dice.any_of<int>({1, 2, 7}));
        expect_match_as<std::uint8_t>(volume, target, expected, mask);
        expect_match_as<std::int16_t>(volume, target, expected, mask);
        expect_match_as<std::int32_t>(volume, target, expected, mask);
        expect_match_as<float>(volume, target, expected, mask);
        expect_match_as<double>(volume, target, expected, mask);
    }
}

/// What random volumes meet too seldom. The rows fall and rise again, nearly all in one bin: the middle is a
/// poor pivot over and over, and keys are equal within each row. On the plateau, voxels are equal wherever a
/// range may end.
TEST(ExactMatching, IsTheTranscribedOneOnTellingVolumes)
{
    Dice dice(9);
    for (int round = 0; round < 15 && !HasFailure(); ++round) {
        Volume halves{8, 8, 16, {}};
        Volume zeros{7, 6, 5, {}};
        Volume rows{18, 16, 16, {}};
        Volume plateau{12, 11, 9, {}};
        for (int j = 0; j < 18 * 16 * 16; ++j) {
            halves.voxels.push_back(dice.once_in(2) ? 0.0 : j < 8 * 8 * 8 ? 9.1 : 9.2);
            zeros.voxels.push_back(dice.any_of<double>({-1.5, -0.0, 0.0, 0.1, 1.3}));
            const int row = j / 18;
            rows.voxels.push_back(j == 0 ? 0.0 : 1e5 + std::abs(16 * row - 2040.3));
        }
        for (int j = 0; j < 12 * 11 * 9; ++j) {
            plateau.voxels.push_back(j == 0 ? 0.0 : 7.0 + (dice.once_in(150) ? dice.between(-1, 1) : 0));
        }
        halves.voxels.resize(1024);
        zeros.voxels.resize(210);
        expect_match(halves, draw_target(dice, 4));
        expect_match(zeros, draw_target(dice, 3));
        expect_match(rows, draw_target(dice, dice.between(3, 12)));
        expect_match(plateau, draw_target(dice, dice.any_of<int>({4, 40, 2000})));
    }
}

TEST(VoxelOrder, HasTheDocumentedSlowRoutinesBesides)
{
    const tonalign::OffsetMatrix<int> columns(3, 4); // column p names the voxel x = p - 1 of one row
    const auto number_columns = [&columns] {
        for (int p = 1; p <= 4; ++p) {
            columns[1][p] = p - 1;
            columns[2][p] = columns[3][p] = 0;
        }
    };
    number_columns();
    Array3D<double> undecided = volume_of(3, 1, 1, {1.0, 2.0, std::numeric_limits<double>::quiet_NaN()});
    EXPECT_EQ(quicksort_feature_array_partition(&undecided, 1, columns, 1, 3), 2);
    EXPECT_THAT(row_of(columns, 1, 3), ElementsAre(0, 1, 2));
    EXPECT_EQ(quicksort_feature_array_partition(&undecided, 0, columns, 1, 2), 1);
    EXPECT_THAT(row_of(columns, 1, 3), ElementsAre(1, 0, 2));

    number_columns();
    Array3D<double> stack[] = {volume_of(4, 1, 1, {1, 1, 0, 1}), volume_of(4, 1, 1, {5, 3, 9, 3})};
    int comparisons[] = {-1, 10, 20};
    int equalities[] = {-1, 30, 40};
    selectionsort_feature_array(stack, 2, columns, 1, 4, comparisons, equalities);
    EXPECT_THAT(row_of(columns, 1, 4), ElementsAre(2, 1, 3, 0)); // of equal keys the first
    EXPECT_THAT(comparisons, ElementsAre(-1, 16, 24));
    EXPECT_THAT(equalities, ElementsAre(-1, 34, 41));
    const auto list = [&] { quicksort_feature_array_printindexarray(stack, 2, columns, 3, 4); };
    EXPECT_EQ(ended(list).text, "[out]3\t1\t3\t\n[out]4\t1\t5\t\n[out]\n[out]\n");
}

} // namespace

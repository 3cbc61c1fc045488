// SPDX-License-Identifier: BSD-3-Clause
// The documented sort is transcribed exchange by exchange: it decides the order of voxels with equal keys.
#include "tests/support/plain_ranking.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace tonalign::test {

namespace {

/// A voxel and its key: its intensity, then its responses, nearest shell first.
struct Ranked
{
    std::array<double, 6> key;
    std::size_t voxel;
};

void sort(std::vector<Ranked>& v, int begin, int end)
{
    if (begin >= end) {
        return;
    }
    if (begin + 1 < end) {
        std::swap(v[(begin + end) / 2], v[end]);
    }
    int q = begin;
    const auto& pivot = v[end].key;
    for (int j = begin; j < end; ++j) {
        if (!std::lexicographical_compare(pivot.begin(), pivot.end(), v[j].key.begin(), v[j].key.end())) {
            std::swap(v[q++], v[j]);
        }
    }
    std::swap(v[q], v[end]);
    sort(v, begin, q - 1);
    sort(v, q + 1, end);
}

/// The voxels outside bin 1 by rank, from 1 on: bin by bin in raster order, then sorted within each bin.
std::vector<Ranked> ranked_voxels(const Volume& volume, int bins)
{
    std::vector<Volume> features{volume};
    for (int shell = 1; shell <= 5; ++shell) {
        features.push_back(convolved(volume, shell_filter(shell)));
    }
    const Extremes range = extremes(volume);
    std::vector<Ranked> ranked(1);
    for (int bin = 2; bin <= bins; ++bin) {
        const std::size_t begin = ranked.size();
        for (std::size_t j = 0; j < volume.voxels.size(); ++j) {
            if (bin_of(volume.voxels[j], range, bins) == bin) {
                ranked.push_back({{}, j});
                std::transform(features.begin(), features.end(), ranked.back().key.begin(),
                               [j](const Volume& feature) { return feature.voxels[j]; });
            }
        }
        sort(ranked, static_cast<int>(begin), static_cast<int>(ranked.size()) - 1);
    }
    return ranked;
}

/// First and last rank of a bin; -1 and -1 for a bin that holds none.
struct Ranks
{
    int first = -1, last = -1;
};

std::vector<Ranks> consecutive_ranks(const Histogram& target, double voxels)
{
    std::vector<Ranks> ranks(target.bins + 1);
    int next = 1;
    for (int i = 1; i <= target.bins; ++i) {
        if (const double count = std::round(target.frequency[i] * voxels); count != 0.0) {
            ranks[i] = {next, static_cast<int>(next + count - 1.0)};
            next = ranks[i].last + 1;
        }
    }
    return ranks;
}

/// Makes the target's ranks end where the input's end, and moves the last of them to the top bin.
void reconcile(std::vector<Ranks>& target, int last_rank)
{
    const auto by_last = [](const Ranks& a, const Ranks& b) { return a.last < b.last; };
    const auto top = std::max_element(target.begin() + 1, target.end(), by_last);
    if (last_rank > top->last) {
        top->last = last_rank;
    } else if (last_rank < top->last) {
        auto kept = top;
        while (kept != target.begin() && !(0 < kept->last && kept->last < last_rank)) {
            --kept;
        }
        // Without a bin to keep, the last one takes every rank.
        const int first = kept == target.begin() ? 1 : kept->last + 1;
        std::fill(kept + 1, top, Ranks{});
        *top = {first, last_rank};
    }
    std::swap(*top, target.back());
}

} // namespace

Volume shell_filter(int shell)
{
    const int half = shell <= 2 ? 1 : 2;
    const int size = 2 * half + 1;
    const int nearest[] = {1, 2, 4, 5, 6, 13}; // squared distances, each shell up to the next
    Volume filter{size, size, size, {}};
    for (int j = 0; j < size * size * size; ++j) {
        const int x = j % size - half;
        const int y = j / size % size - half;
        const int z = j / size / size - half;
        const int squared = x * x + y * y + z * z;
        filter.voxels.push_back(nearest[shell - 1] <= squared && squared < nearest[shell] ? 1.0 : 0.0);
    }
    return filter;
}

Volume convolved(const Volume& v, const Volume& f)
{
    const auto wrapped = [](int p, int n) { return (p % n + n) % n; };
    Volume result{v.nx, v.ny, v.nz, {}};
    for (int position = 0; position < std::ssize(v.voxels); ++position) {
        double sum = 0.0;
        for (int tap = 0; tap < std::ssize(f.voxels); ++tap) {
            const int x = wrapped(position % v.nx + tap % f.nx - (f.nx - 1) / 2, v.nx);
            const int y = wrapped(position / v.nx % v.ny + tap / f.nx % f.ny - (f.ny - 1) / 2, v.ny);
            const int z = wrapped(position / v.nx / v.ny + tap / f.nx / f.ny - (f.nz - 1) / 2, v.nz);
            sum = sum + v.voxels[(z * v.ny + y) * v.nx + x] * f.voxels[tap];
        }
        result.voxels.push_back(sum);
    }
    return result;
}

void match_exactly(Volume& input, Histogram target)
{
    const std::vector<Ranked> ranked = ranked_voxels(input, target.bins);
    const int last_rank = static_cast<int>(ranked.size()) - 1;
    std::vector<Ranks> ranks = consecutive_ranks(target, last_rank);
    reconcile(ranks, last_rank);
    for (int i = 1; i <= target.bins; ++i) {
        for (int j = ranks[i].first; 1 <= ranks[i].first && j <= ranks[i].last; ++j) {
            input.voxels[ranked[j].voxel] = target.centre[i];
        }
    }
}

} // namespace tonalign::test

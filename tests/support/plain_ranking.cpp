#include "tests/support/plain_ranking.h"

#include <cmath>
#include <utility>

namespace tonalign::test {

namespace {

struct Position
{
    int x = 0;
    int y = 0;
    int z = 0;
};

/// First and last rank of a bin; -1 and -1 for a bin that holds none.
struct RankRange
{
    int first = -1;
    int last = -1;
};

class Ranking
{
public:
    Ranking(const std::vector<Volume>& features, int count) : m_features(features), m_columns(count) {}
    Position& operator[](int rank) { return m_columns[rank]; }

    void sort(int begin, int end)
    {
        if (begin < end) {
            const int q = partition(begin, end);
            sort(begin, q - 1);
            sort(q + 1, end);
        }
    }

private:
    bool belongs_low(const Position& e, const Position& pivot) const
    {
        for (std::size_t level = 0; level < m_features.size(); ++level) {
            const double p = m_features[level].at(pivot.x, pivot.y, pivot.z);
            const double v = m_features[level].at(e.x, e.y, e.z);
            if (p > v) {
                return true;
            }
            if (v > p) {
                return false;
            }
        }
        return true;
    }

    int partition(int begin, int end)
    {
        if (begin + 1 < end) {
            std::swap(m_columns[(begin + end) / 2], m_columns[end]);
        }
        const Position pivot = m_columns[end];
        int i = begin - 1;
        for (int j = begin; j <= end - 1; ++j) {
            if (belongs_low(m_columns[j], pivot)) {
                i = i + 1;
                std::swap(m_columns[i], m_columns[j]);
            }
        }
        std::swap(m_columns[i + 1], m_columns[end]);
        return i + 1;
    }

    const std::vector<Volume>& m_features;
    OneBased<Position> m_columns;
};

OneBased<RankRange> rank_ranges(const Histogram& counts)
{
    OneBased<RankRange> ranges(counts.bins);
    int c = 1;
    for (int i = 1; i <= counts.bins; ++i) {
        if (counts.frequency[i] != 0.0) {
            ranges[i].first = c;
            ranges[i].last = static_cast<int>(c + counts.frequency[i] - 1.0);
            c = ranges[i].last + 1;
        }
    }
    return ranges;
}

/// The largest last rank, and the first bin that has it.
std::pair<int, int> last_rank(const OneBased<RankRange>& ranges, int bins)
{
    int rank = -100000000;
    int bin = 0;
    for (int i = 1; i <= bins; ++i) {
        if (ranges[i].last > rank) {
            rank = ranges[i].last;
            bin = i;
        }
    }
    return {rank, bin};
}

/// Makes the target's ranges end where the input's ranks end, and moves the last of them to the top bin.
void reconcile(OneBased<RankRange>& target, int bins, int input_ranks)
{
    const auto [target_ranks, top] = last_rank(target, bins);
    if (input_ranks > target_ranks) {
        target[top].last = input_ranks;
    } else if (input_ranks < target_ranks) {
        int kept = top;
        while (kept >= 1 && !(0 < target[kept].last && target[kept].last < input_ranks)) {
            --kept;
        }
        for (int i = kept + 1; i <= top - 1; ++i) {
            target[i] = RankRange{};
        }
        // Without a bin to keep, the last one takes every rank.
        target[top] = RankRange{kept >= 1 ? target[kept].last + 1 : 1, input_ranks};
    }
    if (top < bins) {
        target[bins] = target[top];
        target[top] = RankRange{};
    }
}

/// Lists the voxels outside bin 1 by rank: bin by bin in raster order, then sorted within each bin.
Ranking rank_voxels(const std::vector<Volume>& features, const OneBased<RankRange>& ranges, int bins)
{
    const Volume& volume = features.front();
    const Extremes range = extremes(volume);
    const double h = (range.largest - range.smallest) / (bins + bins);
    Ranking ranking(features, last_rank(ranges, bins).first);
    OneBased<int> next(bins);
    for (int i = 1; i <= bins; ++i) {
        next[i] = ranges[i].first;
    }
    for (int z = 0; z < volume.nz; ++z) {
        for (int y = 0; y < volume.ny; ++y) {
            for (int x = 0; x < volume.nx; ++x) {
                const int k = bin_of(volume.at(x, y, z), range.smallest, h, bins);
                if (k >= 2) {
                    ranking[next[k]] = Position{x, y, z};
                    next[k] = next[k] + 1;
                }
            }
        }
    }
    for (int i = 1; i <= bins; ++i) {
        ranking.sort(ranges[i].first, ranges[i].last);
    }
    return ranking;
}

} // namespace

Volume shell_response(const Volume& volume, int shell)
{
    const int half = shell <= 2 ? 1 : 2;
    const auto in_shell = [shell](int squared) {
        switch (shell) {
        case 1:
            return squared == 1;
        case 2:
            return squared == 2 || squared == 3;
        case 3:
            return squared == 4;
        case 4:
            return squared == 5;
        default:
            return squared == 6 || squared == 8 || squared == 9 || squared == 12;
        }
    };
    const auto wrapped = [](int p, int size) { return ((p % size) + size) % size; };
    Volume response = volume;
    for (int z = 0; z < volume.nz; ++z) {
        for (int y = 0; y < volume.ny; ++y) {
            for (int x = 0; x < volume.nx; ++x) {
                double sum = 0.0;
                for (int c = -half; c <= half; ++c) {
                    for (int b = -half; b <= half; ++b) {
                        for (int a = -half; a <= half; ++a) {
                            const double weight = in_shell(a * a + b * b + c * c) ? 1.0 : 0.0;
                            sum = sum + volume.at(wrapped(x + a, volume.nx), wrapped(y + b, volume.ny),
                                                  wrapped(z + c, volume.nz)) *
                                            weight;
                        }
                    }
                }
                response.at(x, y, z) = sum;
            }
        }
    }
    return response;
}

void match_exactly(Volume& input, Histogram target)
{
    const int bins = target.bins;
    std::vector<Volume> features{input};
    for (int shell = 1; shell <= 5; ++shell) {
        features.push_back(shell_response(input, shell));
    }
    Histogram counts = histogram_of(input, bins);
    for (int i = 1; i <= bins; ++i) {
        counts.frequency[i] = std::round(counts.frequency[i] * counts.total);
        target.frequency[i] = std::round(target.frequency[i] * counts.total);
    }
    const OneBased<RankRange> input_ranges = rank_ranges(counts);
    OneBased<RankRange> target_ranges = rank_ranges(target);
    Ranking ranking = rank_voxels(features, input_ranges, bins);
    reconcile(target_ranges, bins, last_rank(input_ranges, bins).first);
    for (int i = 1; i <= bins; ++i) {
        const auto [first, last] = target_ranges[i];
        for (int j = first; 1 <= first && j <= last; ++j) {
            input.at(ranking[j].x, ranking[j].y, ranking[j].z) = target.centre[i];
        }
    }
}

} // namespace tonalign::test

// SPDX-License-Identifier: BSD-3-Clause
// A volume on its way through a run.
#pragma once

#include "exactmatch/exact_matching.h"
#include "failure/Fault.h"
#include "volume/AnalyzeHeader.h"
#include "volume/AnalyzeImage.h"
#include "volume/Intensities.h"
#include "volume/IntensityRange.h"
#include "volume/StoredVolume.h"
#include "volume/VolumeRows.h"
#include "volume/VolumeView.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace tonalign {

/// A volume that stays in memory as its file stores it, and what the stages have made of it.
///
/// A stage changes what the voxels stand for: the table of their levels or, in a volume without levels, the
/// step that is applied to each row when it is read. An exact match gives most voxels a code, whose value
/// they stand for from then on.
class RunVolume
{
public:
    RunVolume() = default;
    RunVolume(const RunVolume&) = delete;
    RunVolume& operator=(const RunVolume&) = delete;

    /// Reads the voxels of an image whose header has been read; they must be finite.
    [[nodiscard]] Fault read(AnalyzeImage<double>& image);

    /// Takes voxels that are in memory already and stay there; `name` is for the messages.
    [[nodiscard]] Fault take(const VolumeView& view, const std::string& name);

    /// The same for volumes with a mask, or with outliers.
    ///
    /// With a mask the outside, and nothing else, is the background: the run goes on as on the same volume
    /// whose outside is at lo - (hi - lo) / (N - 1.5), lo and hi being the smallest and largest voxel inside.
    /// `clip` is the percentile of the foreground at which the range that is cut into bins ends, and stands
    /// for hi above; what lies beyond is in the top bin. 100 is none, and so is one that leaves no range.
    [[nodiscard]] Fault takeForeground(const VolumeView& view, const std::string& name, int N, double clip);

    const AnalyzeHeader& header() const { return m_header; } ///< the file's own
    const IntensityRange& range() const { return m_range; }  ///< of the present intensities

    const ExactMatch& exactMatch() const { return m_match; } ///< empty before match()

    /// Puts the present intensities of row (z, y) into values[0..nx).
    void row(int z, int y, double* values) const;

    /// The histogram of the present intensities, smoothed when sigma > 0.
    void calculateHistogram(double sigma, double** H, int N) const;

    /// Changes all intensities, before any match: change(values, count) works in place, on some at a time.
    void map(const std::function<void(double*, std::int64_t)>& change);

    /// Has match() give up when the flag is set.
    void stopOn(const StopFlag& stop) { m_limits.stop = &stop; }

    /// Gives the volume the target histogram exactly.
    void match(double** hist2, int N);

    /// Maps the intensities, and their range, which a monotone map takes along: (v + shift) * factor. Last.
    void shiftAndScale(double shift, double factor);

    /// Saves the present intensities as 32-bit floats under the file's own header.
    void save(const std::string& name) const;

private:
    struct ShiftAndScale
    {
        double shift;
        double factor;
    };

    VolumeRows rows() const;
    void floatRow(int z, int y, const std::vector<float>& table, std::uint32_t levels, float* row) const;
    bool hasCounts() const { return m_intensities->haveLevels(); }
    void count();
    void measure();
    void measureMatched(int N);

    AnalyzeHeader m_header;
    StoredVolume m_stored;
    std::optional<Intensities> m_intensities; ///< absent until read
    std::optional<ShiftAndScale> m_last_step; ///< of a volume without levels
    MatchingLimits m_limits;
    ExactMatch m_match;
    IntensityRange m_range = {0.0, 0.0, true};
    IntensityRange m_bin_range = m_range; ///< what is cut into bins

    // Of a volume with levels: the distinct intensities, and how many voxels have each.
    std::vector<double> m_values;
    std::vector<std::int64_t> m_counts;
};

} // namespace tonalign

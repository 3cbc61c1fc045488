// SPDX-License-Identifier: BSD-3-Clause
// Changes what stored voxels stand for.
#include "driver/RunVolume.h"

#include "histogram/BinGeometry.h"
#include "histogram/histogram.h"
#include "histogram/percentile.h"
#include "volume/Team.h"
#include "volume/wide.h"

#include <algorithm>
#include <cmath>
#include <sstream>
#include <utility>

namespace tonalign {

namespace {

/// (v + shift) * factor, each operation rounded by itself, as two passes over the volume would round.
TONALIGN_WIDE void shift_and_scale(double* values, std::int64_t count, double shift, double factor)
{
    for (std::int64_t j = 0; j < count; ++j) {
        const double shifted = values[j] + shift;
        values[j] = shifted * factor;
    }
}

/// The result is written in 32-bit floats and millimetres; everything else stays as it was read.
AnalyzeHeader output_header(const AnalyzeHeader& header)
{
    AnalyzeHeader result = header;
    result.setDataType("float");
    result.setVoxelUnits("mm");
    return result;
}

/// Whether both zeros are among the values: which of them the volume holds first then shows in its range.
bool hold_both_zeros(const std::vector<double>& values)
{
    const auto zero = [](bool negative) {
        return [negative](double v) { return v == 0.0 && std::signbit(v) == negative; };
    };
    return std::any_of(values.begin(), values.end(), zero(true)) &&
           std::any_of(values.begin(), values.end(), zero(false));
}

Fault fault_of_width(const IntensityRange& range, const std::string& name)
{
    if (std::isfinite(range.maximum - range.minimum)) {
        return {};
    }
    std::ostringstream message;
    message << name << ": voxels range from " << range.minimum << " to " << range.maximum
            << ", but a range of finite width is expected";
    return {message.str()};
}

} // namespace

Fault RunVolume::read(AnalyzeImage<double>& image)
{
    m_header = image.H;
    if (Fault fault = image.readStored(m_stored)) {
        return fault;
    }
    return take(m_stored.view(), image.imagename);
}

Fault RunVolume::take(const VolumeView& view, const std::string& name)
{
    m_intensities.emplace(view);
    if (!m_intensities->haveInside()) {
        return {name + (view.mask == nullptr ? ": no voxels" : ": no voxel is inside the mask")};
    }
    count();
    measure();
    return fault_of_voxels(rows(), m_range, name);
}

Fault RunVolume::takeForeground(const VolumeView& view, const std::string& name, int N, double clip)
{
    if (Fault fault = take(view, name)) {
        return fault;
    }
    double top = m_range.maximum;
    if (clip < 100.0) {
        const double end = percentile(*m_intensities, m_range.minimum, clip);
        top = end > m_range.minimum ? end : top;
    }
    if (view.mask != nullptr) {
        // Every voxel inside falls into the bins from 2 on, and the outside alone into bin 1.
        const double outside = m_range.minimum - (top - m_range.minimum) / (N - 1.5);
        m_intensities->setOutside(outside);
        count();
        m_range.minimum = outside; // even if no voxel is there
    }
    m_bin_range = {m_range.minimum, top, true};
    return fault_of_width(m_bin_range, name);
}

void RunVolume::row(int z, int y, double* values) const
{
    m_intensities->row(z, y, values);
    const int nx = m_intensities->view().nx;
    if (m_last_step) {
        shift_and_scale(values, nx, m_last_step->shift, m_last_step->factor);
    }
    const std::int64_t first = (std::int64_t{z} * m_intensities->view().ny + y) * nx;
    const double* const matched = m_match.values.data();
    m_match.codes.forEach(nx, static_cast<std::uint64_t>(first), [=](std::int64_t x, std::uint32_t code) {
        values[x] = code == 0 ? values[x] : matched[code];
    });
}

VolumeRows RunVolume::rows() const
{
    const VolumeView& view = m_intensities->view();
    return {view.nx, view.ny, view.nz, [this](int z, int y, double* values) { row(z, y, values); }};
}

/// Collects the intensities that a volume with levels has.
void RunVolume::count()
{
    m_values.clear();
    m_counts.clear();
    for (std::size_t level = 0; level < m_intensities->values().size(); ++level) {
        if (m_intensities->counts()[level] > 0) {
            m_values.push_back(m_intensities->values()[level]);
            m_counts.push_back(m_intensities->counts()[level]);
        }
    }
}

void RunVolume::measure()
{
    if (!hasCounts() || hold_both_zeros(m_values)) {
        m_range = intensity_range(rows());
    } else {
        const auto [least, greatest] = std::minmax_element(m_values.begin(), m_values.end());
        const auto finite = [](double v) { return std::isfinite(v); };
        m_range = {*least, *greatest, std::all_of(m_values.begin(), m_values.end(), finite)};
    }
    m_bin_range = m_range;
}

void RunVolume::calculateHistogram(double sigma, double** H, int N) const
{
    if (hasCounts()) {
        calculate_histogram(m_values, m_counts, m_bin_range, sigma, H, N);
    } else {
        calculate_histogram(rows(), m_bin_range, sigma, H, N);
    }
}

void RunVolume::map(const std::function<void(double*, std::int64_t)>& change)
{
    if (m_intensities->haveLevels()) {
        m_intensities->map(change);
        count();
    } else {
        // What the map gives may need all bits of a double.
        const VolumeView& view = m_intensities->view();
        StoredVolume mapped(ElementKind::float64, view.nx, view.ny, view.nz);
        auto* const values = reinterpret_cast<double*>(mapped.bytes());
        in_parallel(view.nz, [&](Team& team) {
            team.share([&](std::int64_t z) {
                for (int y = 0; y < view.ny; ++y) {
                    double* const row = values + (z * view.ny + y) * view.nx;
                    m_intensities->row(static_cast<int>(z), y, row);
                    change(row, view.nx);
                }
            });
        });
        m_stored = std::move(mapped);
        m_intensities.emplace(m_stored.view());
    }
    measure();
}

void RunVolume::match(double** hist2, int N)
{
    m_match = match_exactly(*m_intensities, m_range, m_bin_range, hist2, N, m_limits);
    if (m_match.codes.areAbsent()) {
        return;
    }
    if (hasCounts()) {
        // Only the background keeps its intensities.
        const BinGeometry bins(m_bin_range, N);
        std::vector<double> values = std::move(m_values);
        std::vector<std::int64_t> counts = std::move(m_counts);
        m_values.assign(m_match.values.begin() + 1, m_match.values.end());
        m_counts.assign(m_match.counts.begin() + 1, m_match.counts.end());
        for (std::size_t k = 0; k < values.size(); ++k) {
            if (bins.binOf(values[k]) == 1) {
                m_values.push_back(values[k]);
                m_counts.push_back(counts[k]);
            }
        }
        measure();
    } else {
        measureMatched(N);
    }
}

/// The range of a volume without levels after the match: its own minimum is in the background, which stays.
void RunVolume::measureMatched(int N)
{
    const auto [least, greatest] = std::minmax_element(m_match.values.begin() + 1, m_match.values.end());
    const bool above_background = BinGeometry(m_bin_range, N).binOf(*greatest) > 1;
    const bool zero =
        std::find(m_match.values.begin() + 1, m_match.values.end(), 0.0) != m_match.values.end();
    if (!above_background || zero || !std::isfinite(*least) || !std::isfinite(*greatest)) {
        measure(); // which of two zeros comes first shows, and so does a background above all else
        return;
    }
    m_range = {std::min(m_range.minimum, *least), *greatest, m_range.finite};
    m_bin_range = m_range;
}

void RunVolume::shiftAndScale(double shift, double factor)
{
    const auto change = [=](double* values, std::int64_t count) {
        shift_and_scale(values, count, shift, factor);
    };
    change(m_match.values.data(), static_cast<std::int64_t>(m_match.values.size()));
    change(m_values.data(), static_cast<std::int64_t>(m_values.size()));
    change(&m_range.minimum, 1);
    change(&m_range.maximum, 1);
    m_bin_range = m_range;
    if (m_intensities->haveLevels()) {
        m_intensities->map(change);
    } else {
        m_last_step = {shift, factor};
    }
}

void RunVolume::save(const std::string& name) const
{
    VolumeRows volume = rows();
    // A volume with levels has few values: the ranges', then the levels'.
    std::vector<float> floats(m_match.values.begin(), m_match.values.end());
    const auto levels = static_cast<std::uint32_t>(floats.size());
    floats.insert(floats.end(), m_intensities->values().begin(), m_intensities->values().end());
    if (m_intensities->haveLevels()) {
        volume.float_row = [&, this](int z, int y, float* row) { floatRow(z, y, floats, levels, row); };
    }
    AnalyzeImage<double> image;
    image.H = output_header(m_header);
    image.save(name.c_str(), volume);
}

/// Of a volume from a file, which has no mask and lies row by row.
///
/// @param levels  where the table's entry for level 0 is; the codes' come first
void RunVolume::floatRow(int z, int y, const std::vector<float>& table, std::uint32_t levels,
                         float* row) const
{
    const VolumeView& view = m_intensities->view();
    with_element(view.kind, [&](auto element) {
        using Element = decltype(element);
        if constexpr (sizeof(Element) <= 2) {
            const Element* const voxels = view.row<Element>(z, y);
            const float* const floats = table.data();
            const std::int64_t first = (std::int64_t{z} * view.ny + y) * view.nx;
            m_match.codes.forEach(view.nx, static_cast<std::uint64_t>(first),
                                  [=](std::int64_t x, std::uint32_t code) {
                                      const std::uint32_t at_level = levels + Intensities::level(voxels[x]);
                                      row[x] = floats[code == 0 ? at_level : code];
                                  });
            for (int x = 0; m_match.codes.areAbsent() && x < view.nx; ++x) {
                row[x] = floats[levels + Intensities::level(voxels[x])];
            }
        }
    });
}

} // namespace tonalign

// SPDX-License-Identifier: BSD-3-Clause
// Cells from levels, or by a pass over the voxels.
#include "exactmatch/Cells.h"

#include "volume/Team.h"
#include "volume/wide.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <numeric>

namespace tonalign {

namespace {

/// Counts one more voxel of this intensity. The majority vote of Boyer and Moore (1991): an intensity that
/// more than half of the voxels have ends up as the favourite.
void vote(Cells::Cell& cell, double value)
{
    if (cell.votes == 0) {
        cell.favourite = value;
    }
    cell.votes += value == cell.favourite ? 1 : -1;
    ++cell.count;
}

/// The cell of each value, 0 up to the top of the background. Monotone: each operation is.
TONALIGN_WIDE void cells_of(const double* values, int count, double background_top, double minimum,
                            double cells_per_unit, double last, std::uint32_t* cells)
{
    for (int x = 0; x < count; ++x) {
        const double place = (values[x] - minimum) * cells_per_unit;
        const auto cell = static_cast<std::int32_t>(place < last ? place : last) + 1;
        cells[x] = static_cast<std::uint32_t>(values[x] > background_top ? cell : 0);
    }
}

/// What a table says of the level of each voxel of a row. Four at a time: the loop itself would take half of
/// the time.
void look_up(const Intensities& volume, int z, int y, const std::uint32_t* table,
             std::vector<std::uint32_t>& found)
{
    const VolumeView& view = volume.view();
    with_element(view.kind, [&](auto element) {
        using Element = decltype(element);
        if constexpr (sizeof(Element) <= 2) {
            const Element* voxels = view.row<Element>(z, y);
            const std::ptrdiff_t stride = view.stride_x;
            std::size_t x = 0;
            if (const std::uint8_t* mask = view.maskRow(z, y)) {
                const std::uint32_t outside = table[volume.outsideLevel()];
                for (; x < found.size(); ++x, voxels += stride, mask += stride) {
                    found[x] = *mask != 0 ? table[Intensities::level(*voxels)] : outside;
                }
                return;
            }
            for (; x + 4 <= found.size(); x += 4, voxels += 4 * stride) {
                found[x] = table[Intensities::level(voxels[0])];
                found[x + 1] = table[Intensities::level(voxels[stride])];
                found[x + 2] = table[Intensities::level(voxels[2 * stride])];
                found[x + 3] = table[Intensities::level(voxels[3 * stride])];
            }
            for (; x < found.size(); ++x, voxels += stride) {
                found[x] = table[Intensities::level(*voxels)];
            }
        }
    });
}

/// The largest intensity of bin 1, found by halving the range: bins are monotone.
double top_of_background(const BinGeometry& geometry, const IntensityRange& range)
{
    double inside = range.minimum;
    double outside = range.maximum;
    if (geometry.binOf(outside) == 1) {
        return outside;
    }
    for (double middle = std::midpoint(inside, outside); inside < middle && middle < outside;
         middle = std::midpoint(inside, outside)) {
        (geometry.binOf(middle) == 1 ? inside : outside) = middle;
    }
    return inside;
}

} // namespace

Cells::Cells(const Intensities& volume, const BinGeometry& geometry, const IntensityRange& range,
             std::int64_t most, std::int64_t share)
    : m_volume(volume),
      m_geometry(geometry),
      m_minimum(range.minimum),
      m_background_top(top_of_background(geometry, range)),
      m_cells_per_unit(static_cast<double>(most) / (range.maximum - range.minimum)),
      m_cells(1),
      m_bins(static_cast<std::size_t>(geometry.bins()) + 1)
{
    if (volume.haveLevels()) {
        takeLevels();
    } else {
        // A range too narrow to be cut is one cell.
        const bool cut = std::isfinite(m_cells_per_unit);
        m_cells_per_unit = cut ? m_cells_per_unit : 0.0;
        m_cells.resize(static_cast<std::size_t>(cut ? most : 1) + 1);
        m_last_cell = static_cast<double>(m_cells.size()) - 2.0;
        countVoxels();
        if (split(share)) {
            countVoxels();
        }
    }
    m_first_columns.resize(m_bins.size() + 1);
    for (std::size_t bin = 2; bin < m_bins.size(); ++bin) {
        m_first_columns[bin + 1] = m_first_columns[bin] + m_bins[bin];
    }
}

int Cells::binOfColumn(std::int64_t column) const
{
    const auto behind = std::upper_bound(m_first_columns.begin() + 2, m_first_columns.end(), column);
    return static_cast<int>(behind - m_first_columns.begin()) - 1;
}

bool Cells::isUniform(int bin) const
{
    return std::count(m_bin_of_level.begin(), m_bin_of_level.end(), bin) == 1;
}

/// Maps can merge levels and turn their order round: cells go by intensity.
void Cells::takeLevels()
{
    const std::vector<double>& values = m_volume.values();
    m_cell_of_level.resize(values.size());
    m_bin_of_level.resize(values.size());
    std::vector<std::uint32_t> levels;
    for (std::uint32_t level = 0; level < values.size(); ++level) {
        const std::int64_t count = m_volume.counts()[level];
        const int bin = m_geometry.binOf(values[level]);
        m_bin_of_level[level] = bin;
        m_bins[static_cast<std::size_t>(bin)] += count;
        if (count > 0 && bin > 1) {
            levels.push_back(level);
        }
    }
    std::sort(levels.begin(), levels.end(),
              [&values](std::uint32_t a, std::uint32_t b) { return values[a] < values[b]; });
    for (const std::uint32_t level : levels) {
        if (m_cells.size() == 1 || m_cells.back().favourite != values[level]) {
            m_cells.push_back({0, values[level], 0});
        }
        m_cells.back().count += m_volume.counts()[level];
        m_cells.back().votes = m_cells.back().count;
        m_cell_of_level[level] = static_cast<std::uint32_t>(m_cells.size() - 1);
    }
}

/// Gives favourites cells of their own; whether there was any to be given one.
bool Cells::split(std::int64_t share)
{
    const std::int64_t least = m_volume.view().count() / share;
    std::uint32_t next = 0;
    for (const Cell& cell : m_cells) {
        const bool parts = &cell != m_cells.data() && !cell.isUniform() && cell.votes > least;
        m_moved.push_back(next);
        m_favourites.push_back(parts ? cell.favourite : std::numeric_limits<double>::quiet_NaN());
        next += parts ? 3 : 1;
    }
    const bool any = next > m_cells.size();
    if (any) {
        m_cells.assign(next, Cell());
        std::fill(m_bins.begin(), m_bins.end(), 0);
    } else {
        m_moved.clear();
    }
    return any;
}

void Cells::countVoxels()
{
    const VolumeView& view = m_volume.view();
    in_parallel(view.nz, [&](Team& team) {
        std::vector<Cell> cells(m_cells.size());
        std::vector<std::int64_t> bins(m_bins.size());
        Row row(view.nx);
        team.share([&](std::int64_t z) {
            for (int y = 0; y < view.ny; ++y) {
                findBins(static_cast<int>(z), y, row);
                findCells(static_cast<int>(z), y, row);
                for (std::size_t x = 0; x < row.cells.size(); ++x) {
                    ++bins[static_cast<std::size_t>(row.bins[x])];
                    vote(cells[row.cells[x]], row.values[x]);
                }
            }
        });
        team.takeTurns([&] { merge(cells, bins); });
    });
}

/// Counts add up in any order; so does the vote where a cell has one intensity only.
void Cells::merge(const std::vector<Cell>& cells, const std::vector<std::int64_t>& bins)
{
    std::transform(bins.begin(), bins.end(), m_bins.begin(), m_bins.begin(), std::plus<>());
    for (std::size_t c = 1; c < cells.size(); ++c) {
        Cell& cell = m_cells[c];
        if (cell.favourite == cells[c].favourite || cell.votes == 0) {
            cell.favourite = cells[c].favourite;
            cell.votes += cells[c].votes;
        } else {
            cell.favourite = cell.votes < cells[c].votes ? cells[c].favourite : cell.favourite;
            cell.votes = std::abs(cell.votes - cells[c].votes);
        }
        cell.count += cells[c].count;
    }
}

/// Of a volume without levels, as the next one.
void Cells::findBins(int z, int y, Row& row) const
{
    m_volume.row(z, y, row.values.data());
    m_geometry.binsOf(row.values.data(), m_volume.view().nx, row.bins.data());
}

void Cells::findCells(int z, int y, Row& row) const
{
    m_volume.row(z, y, row.values.data());
    cells_of(row.values.data(), m_volume.view().nx, m_background_top, m_minimum, m_cells_per_unit,
             m_last_cell, row.cells.data());
    for (std::size_t x = 0; !m_moved.empty() && x < row.cells.size(); ++x) {
        const std::uint32_t cell = row.cells[x];
        const bool behind = row.values[x] > m_favourites[cell];
        const bool at = row.values[x] == m_favourites[cell];
        row.cells[x] = m_moved[cell] + (behind ? 2 : at ? 1 : 0);
    }
}

std::vector<std::uint32_t> Cells::byLevel(const std::vector<std::uint32_t>& by_cell) const
{
    std::vector<std::uint32_t> result;
    for (const std::uint32_t cell : m_cell_of_level) {
        result.push_back(by_cell[cell]);
    }
    return result;
}

std::vector<std::uint32_t> Cells::byLevelOfBins(const std::vector<std::uint32_t>& by_bin) const
{
    std::vector<std::uint32_t> result;
    for (const std::int32_t bin : m_bin_of_level) {
        result.push_back(by_bin[static_cast<std::size_t>(bin)]);
    }
    return result;
}

void Cells::look(int z, int y, const std::vector<std::uint32_t>& by_cell,
                 const std::vector<std::uint32_t>& by_level, Row& row,
                 std::vector<std::uint32_t>& found) const
{
    if (m_volume.haveLevels()) {
        look_up(m_volume, z, y, by_level.data(), found);
        return;
    }
    findCells(z, y, row);
    for (std::size_t x = 0; x < found.size(); ++x) {
        found[x] = by_cell[row.cells[x]];
    }
}

void Cells::lookAtBins(int z, int y, const std::vector<std::uint32_t>& by_bin,
                       const std::vector<std::uint32_t>& by_level, Row& row,
                       std::vector<std::uint32_t>& found) const
{
    if (m_volume.haveLevels()) {
        look_up(m_volume, z, y, by_level.data(), found);
        return;
    }
    findBins(z, y, row);
    for (std::size_t x = 0; x < found.size(); ++x) {
        found[x] = by_bin[static_cast<std::size_t>(row.bins[x])];
    }
}

} // namespace tonalign

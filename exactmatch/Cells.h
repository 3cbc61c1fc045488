// SPDX-License-Identifier: BSD-3-Clause
// Counts the foreground in narrow intervals of intensity.
#pragma once

#include "histogram/BinGeometry.h"
#include "volume/Intensities.h"

#include <cstdint>
#include <vector>

namespace tonalign {

/// The foreground of a volume, counted by cells: disjoint intervals of intensity in ascending order.
///
/// Where the volume has levels, a cell is one intensity, and no voxel is looked at. Otherwise the range is
/// cut into equal cells, and one pass counts them; another one, if a value that very many voxels share gets
/// a cell of its own between two others. Cell 0 is the background, bin 1.
class Cells
{
public:
    struct Cell
    {
        std::int64_t count = 0;
        double favourite = 0.0; ///< the intensity of most voxels, if one has the majority
        std::int64_t votes =
            0; ///< by how much, at least; equal to `count` if the cell has one intensity only

        bool isUniform() const { return votes == count; }
    };

    /// What one thread needs to find the cells of a row.
    struct Row
    {
        explicit Row(int nx)
            : cells(static_cast<std::size_t>(nx)),
              bins(static_cast<std::size_t>(nx)),
              values(static_cast<std::size_t>(nx))
        {
        }

        std::vector<std::uint32_t> cells;
        std::vector<std::int32_t> bins;
        std::vector<double> values; ///< only where the volume has no levels
    };

    /// @param most  the number of cells that a range is cut into
    /// @param share  a cell with a favourite that more than one of so many voxels have is split around it
    Cells(const Intensities& volume, const BinGeometry& geometry, const IntensityRange& range,
          std::int64_t most, std::int64_t share);

    std::uint32_t size() const { return static_cast<std::uint32_t>(m_cells.size()); }
    const Cell& operator[](std::size_t cell) const { return m_cells[cell]; }

    /// Number of voxels of each bin; entry i is bin i.
    const std::vector<std::int64_t>& bins() const { return m_bins; }

    /// The foreground's columns are its ranks, counted from 0: bin 2 comes first.
    std::int64_t foreground() const { return m_first_columns.back(); }
    std::int64_t firstColumn(int bin) const { return m_first_columns[static_cast<std::size_t>(bin)]; }
    int binOfColumn(std::int64_t column) const;

    /// Whether a bin is known to hold one intensity only.
    bool isUniform(int bin) const;

    /// What a table by cell, or by bin, says of each level; empty where the volume has none.
    std::vector<std::uint32_t> byLevel(const std::vector<std::uint32_t>& by_cell) const;
    std::vector<std::uint32_t> byLevelOfBins(const std::vector<std::uint32_t>& by_bin) const;

    /// What a table says of the cell of each voxel of row (z, y); `by_level` is made of it.
    void look(int z, int y, const std::vector<std::uint32_t>& by_cell,
              const std::vector<std::uint32_t>& by_level, Row& row, std::vector<std::uint32_t>& found) const;

    /// The same for a table that says it of bins.
    void lookAtBins(int z, int y, const std::vector<std::uint32_t>& by_bin,
                    const std::vector<std::uint32_t>& by_level, Row& row,
                    std::vector<std::uint32_t>& found) const;

private:
    void findBins(int z, int y, Row& row) const;
    void takeLevels();
    void countVoxels();
    bool split(std::int64_t share);
    void findCells(int z, int y, Row& row) const;
    void merge(const std::vector<Cell>& cells, const std::vector<std::int64_t>& bins);

    const Intensities& m_volume;
    BinGeometry m_geometry;
    double m_minimum;
    double m_background_top; ///< the largest intensity of bin 1
    double m_cells_per_unit;
    double m_last_cell = 0.0; ///< counted from 0, before cells are split

    /// Where a cell has gone that was split, or lies behind one that was; empty if none was.
    std::vector<std::uint32_t> m_moved;
    std::vector<double> m_favourites; ///< of the cells that were split, else not a number
    std::vector<Cell> m_cells;
    std::vector<std::int64_t> m_bins;
    std::vector<std::int64_t> m_first_columns; ///< of each bin, and one behind the last
    std::vector<std::uint32_t> m_cell_of_level;
    std::vector<std::int32_t> m_bin_of_level;
};

} // namespace tonalign

// SPDX-License-Identifier: BSD-3-Clause
// The levels that order voxels: intensity, then five shell sums, computed where they are asked for.
#pragma once

#include "exactmatch/VoxelEntry.h"
#include "volume/Intensities.h"
#include "volume/IntensityRange.h"

#include <cstdint>
#include <memory>
#include <span>

namespace tonalign {

/// Cuts the values that a level can have into equal parts. Monotone: each operation is.
struct LevelParts
{
    double least;
    double parts_per_unit;
    double last; ///< the number of the last part, counted from 0
    bool exact;  ///< instead, whether each part is one whole number, and `parts_per_unit` counts for nothing
};

/// The feature levels of a volume in its own element type.
///
/// Level 0 is the intensity, level k the response to filter k + 1, with periodic borders. The values are
/// those of a stored stack of doubles, bit for bit: whole numbers add up exactly in any type that holds them,
/// and all other sums are doubles, added in the filter's order of slice, row and column.
class ShellSums
{
public:
    /// Works row by row; one for each thread.
    class Rows
    {
    public:
        virtual ~Rows() = default;

        /// Finds the part that each voxel of row (z, y) belongs to by its sum on a level from 1 on.
        virtual void findParts(int level, int z, int y, const LevelParts& parts, std::uint32_t* found) = 0;

        /// Sets the keys of voxels in raster order to `level` and as many levels below it as fit in beside
        /// it; gives back the deepest.
        virtual int setKeys(int level, std::span<VoxelEntry<std::uint32_t>> entries) = 0;
        virtual int setKeys(int level, std::span<VoxelEntry<std::uint64_t>> entries) = 0;
    };

    virtual ~ShellSums() = default;

    virtual std::unique_ptr<Rows> rows() const = 0;

    /// The least sum on a level from 1 on, how far the greatest is above it, and whether all are whole
    /// numbers.
    struct Span
    {
        double least;
        double width;
        bool whole;
    };
    virtual Span span(int level) const = 0;

    /// Sets the keys of any voxels to those of one level. Costs about a nanosecond for each voxel of the
    /// shell's neighbourhood where these are in the cache.
    virtual void setKeys(int level, std::span<VoxelEntry<std::uint32_t>> entries) const = 0;
    virtual void setKeys(int level, std::span<VoxelEntry<std::uint64_t>> entries) const = 0;
};

/// The sums of a volume, which outlives them, and whose intensities have this range.
std::unique_ptr<ShellSums> shell_sums(const Intensities& volume, const IntensityRange& range);

} // namespace tonalign

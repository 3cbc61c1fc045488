// SPDX-License-Identifier: BSD-3-Clause
// Sums neighbours in the element type of the volume.
#include "exactmatch/ShellSums.h"

#include "exactmatch/Shell.h"
#include "exactmatch/filter_bank.h"
#include "numeric/sort_key.h"

#include <algorithm>
#include <array>
#include <type_traits>
#include <vector>

namespace tonalign {

namespace {

/// What the sums of an element are held in: 68 neighbours, the most that a shell has, fit exactly.
template <typename Element, bool mapped>
using SumOf = std::conditional_t<
    mapped || (sizeof(Element) > 2), double,
    std::conditional_t<std::is_same_v<Element, std::uint8_t>, std::uint16_t, std::int32_t>>;

/// `mapped` says that voxels stand for other intensities than they are stored with.
template <typename Element, bool mapped>
class TypedSums : public ShellSums
{
    using Value = std::conditional_t<mapped, double, Element>;
    using Sum = SumOf<Element, mapped>;
    static constexpr bool whole = std::is_integral_v<Value>;

public:
    TypedSums(const Intensities& volume, const IntensityRange& range)
        : m_volume(volume), m_view(volume.view()), m_range(range)
    {
        for (int level = 0; level < feature_levels; ++level) {
            m_shells[static_cast<std::size_t>(level)] = Shell(level, m_view);
        }
    }

    std::unique_ptr<Rows> rows() const override { return std::make_unique<TypedRows>(*this); }

    Span span(int level) const override
    {
        const auto terms = static_cast<double>(shell(level).neighbours.size());
        return {terms * m_range.minimum, terms * (m_range.maximum - m_range.minimum), whole};
    }

    void setKeys(int level, std::span<VoxelEntry<std::uint32_t>> entries) const override
    {
        setKeysOf(level, entries);
    }
    void setKeys(int level, std::span<VoxelEntry<std::uint64_t>> entries) const override
    {
        setKeysOf(level, entries);
    }

private:
    class TypedRows : public Rows
    {
    public:
        explicit TypedRows(const TypedSums& sums)
            : m_sums(sums), m_view(sums.m_view), m_row(static_cast<std::size_t>(m_view.nx))
        {
            if (mapped || m_view.stride_x != 1) {
                m_slices.assign(slices * static_cast<std::size_t>(m_view.ny), -1);
                m_ring.resize(m_slices.size() * static_cast<std::size_t>(m_view.nx));
            }
        }

        void findParts(int level, int z, int y, const LevelParts& parts, std::uint32_t* found) override
        {
            sumRow(level, z, y);
            if (whole && parts.exact) {
                const Sum least = static_cast<Sum>(parts.least);
                for (std::size_t x = 0; x < m_row.size(); ++x) {
                    found[x] = static_cast<std::uint32_t>(m_row[x] - least);
                }
                return;
            }
            for (std::size_t x = 0; x < m_row.size(); ++x) {
                const double place = (static_cast<double>(m_row[x]) - parts.least) * parts.parts_per_unit;
                const double part =
                    std::min(std::max(place, 0.0), parts.last); // sums can be rounded below the least
                found[x] = static_cast<std::uint32_t>(static_cast<std::int32_t>(part));
            }
        }

        int setKeys(int level, std::span<VoxelEntry<std::uint32_t>> entries) override
        {
            return pack(level, entries);
        }
        int setKeys(int level, std::span<VoxelEntry<std::uint64_t>> entries) override
        {
            return pack(level, entries);
        }

    private:
        static constexpr std::size_t slices = 5;

        void sumRow(int level, int z, int y)
        {
            std::fill(m_row.begin(), m_row.end(), Sum{0});
            for (const Neighbour& neighbour : m_sums.shell(level).neighbours) {
                const Value* const row =
                    rowOf(wrapped(z + neighbour.dz, m_view.nz), wrapped(y + neighbour.dy, m_view.ny));
                const int dx = wrapped(neighbour.dx, m_view.nx);
                add_row(row + dx, m_view.nx - dx, m_row.data());
                add_row(row, dx, m_row.data() + m_view.nx - dx);
            }
        }

        /// A row side by side in memory, in the type that is summed: the volume's own, or a copy of it.
        const Value* rowOf(int z, int y)
        {
            if constexpr (!mapped) {
                if (m_slices.empty()) {
                    return m_view.row<Element>(z, y);
                }
            }
            const std::size_t slot =
                static_cast<std::size_t>(z) % slices * static_cast<std::size_t>(m_view.ny) +
                static_cast<std::size_t>(y);
            Value* const copy = m_ring.data() + slot * static_cast<std::size_t>(m_view.nx);
            if (m_slices[slot] != z) {
                m_slices[slot] = z;
                const Element* const row = m_view.row<Element>(z, y);
                for (int x = 0; x < m_view.nx; ++x) {
                    copy[x] = m_sums.value(row + x * m_view.stride_x);
                }
            }
            return copy;
        }

        /// Rows of many entries are summed as wholes.
        template <typename Position>
        int pack(int level, std::span<VoxelEntry<Position>> entries)
        {
            const int deepest = m_sums.deepestBeside(level);
            const auto nx = static_cast<Position>(m_view.nx);
            auto few = entries.begin(); // the entries of rows that hold few, up to the row that is looked at
            for (auto row = few; row != entries.end();) {
                const Position next_row = row->position - row->position % nx + nx;
                const auto end =
                    std::find_if(row, entries.end(), [=](const auto& e) { return e.position >= next_row; });
                if (end - row >= m_view.nx / 8) {
                    packEach(level, deepest, std::span(few, row));
                    packRow(level, deepest, std::span(row, end));
                    few = end;
                }
                row = end;
            }
            packEach(level, deepest, std::span(few, entries.end()));
            return deepest;
        }

        template <typename Position>
        void packEach(int level, int deepest, std::span<VoxelEntry<Position>> entries)
        {
            if (deepest == level) {
                m_sums.setKeys(level, entries);
                return;
            }
            const KeyLayout layout(m_sums, level);
            m_sums.forEachSum(level, deepest, entries,
                              [&layout](VoxelEntry<Position>& entry, int l, Sum sum) {
                                  entry.key = layout.appended(entry.key, l, sum);
                              });
        }

        template <typename Position>
        void packRow(int level, int deepest, std::span<VoxelEntry<Position>> entries)
        {
            const Place place = m_sums.placeOf(entries[0].position);
            const Position first = entries[0].position - static_cast<Position>(place.x);
            const KeyLayout layout(m_sums, level);
            for (int l = level; l <= deepest; ++l) {
                sumRow(l, place.z, place.y);
                for (VoxelEntry<Position>& entry : entries) {
                    const Sum sum = m_row[static_cast<std::size_t>(entry.position - first)];
                    entry.key = deepest == level ? sort_key(static_cast<double>(sum))
                                                 : layout.appended(entry.key, l, sum);
                }
            }
        }

        const TypedSums& m_sums;
        const VolumeView& m_view;
        std::vector<Sum> m_row; ///< the sums of one row
        std::vector<Value> m_ring;
        std::vector<int> m_slices; ///< which slice each row of the ring belongs to
    };

    /// How a key holds the sums of several levels: whole numbers, each as far as it is above the least of its
    /// level.
    class KeyLayout
    {
    public:
        KeyLayout(const TypedSums& sums, int first_level) : m_first_level(first_level)
        {
            for (int level = first_level; whole && level < feature_levels; ++level) {
                m_least[static_cast<std::size_t>(level)] = static_cast<std::int64_t>(sums.span(level).least);
                m_bits[static_cast<std::size_t>(level)] = sums.bits(level);
            }
        }

        /// The key with the sum of a level behind those of the levels before it.
        std::uint64_t appended(std::uint64_t key, int level, Sum sum) const
        {
            const auto l = static_cast<std::size_t>(level);
            const auto above = static_cast<std::uint64_t>(static_cast<std::int64_t>(sum) - m_least[l]);
            return level == m_first_level ? above : key << m_bits[l] | above;
        }

    private:
        int m_first_level;
        std::array<std::int64_t, feature_levels> m_least = {};
        std::array<int, feature_levels> m_bits = {};
    };

    /// A voxel, and whether the shell around it stays inside the volume.
    struct Place
    {
        int z;
        int y;
        int x;
        const Element* voxel;

        bool isInside(int reach, const VolumeView& view) const
        {
            return reach <= x && x < view.nx - reach && reach <= y && y < view.ny - reach && reach <= z &&
                   z < view.nz - reach;
        }
    };

    const Shell& shell(int level) const { return m_shells[static_cast<std::size_t>(level)]; }

    /// What the sums of a level take in a key.
    int bits(int level) const
    {
        return static_cast<int>(std::bit_width(static_cast<std::uint64_t>(span(level).width)));
    }

    /// The deepest level that fits into a key with all levels from this one on.
    int deepestBeside(int level) const
    {
        int free = 64;
        int deepest = level;
        for (int l = level; whole && l < feature_levels && free >= bits(l); ++l) {
            free -= bits(l);
            deepest = l;
        }
        return deepest;
    }

    template <typename Position>
    Place placeOf(Position position) const
    {
        const auto nx = static_cast<Position>(m_view.nx);
        const auto ny = static_cast<Position>(m_view.ny);
        const Position row = position / nx;
        const int x = static_cast<int>(position - row * nx);
        const int y = static_cast<int>(row % ny);
        const int z = static_cast<int>(row / ny);
        return {z, y, x, m_view.row<Element>(z, y) + x * m_view.stride_x};
    }

    Value value(const Element* voxel) const
    {
        if constexpr (mapped) {
            return m_volume.of(voxel);
        } else {
            return *voxel;
        }
    }

    template <typename Position>
    void setKeysOf(int level, std::span<VoxelEntry<Position>> entries) const
    {
        forEachSum(level, level, entries, [](VoxelEntry<Position>& entry, int, Sum sum) {
            entry.key = sort_key(static_cast<double>(sum));
        });
    }

    /// Calls take(entry, level, sum) for some levels. Several voxels at a time, since every addition to one
    /// sum waits for the one before.
    template <typename Position, typename Take>
    void forEachSum(int first, int last, std::span<VoxelEntry<Position>> entries, Take take) const
    {
        constexpr std::size_t batch = 8;
        std::array<const Element*, batch> voxels = {};
        std::array<VoxelEntry<Position>*, batch> waiting = {};
        std::size_t count = 0;
        const auto sum_waiting = [&] {
            std::fill(voxels.begin() + static_cast<std::ptrdiff_t>(count), voxels.end(), voxels[0]);
            for (int level = first; level <= last; ++level) {
                const std::array<Sum, batch> sums = sumsOf<batch>(shell(level), voxels);
                for (std::size_t j = 0; j < count; ++j) {
                    take(*waiting[j], level, sums[j]);
                }
            }
            count = 0;
        };
        for (VoxelEntry<Position>& entry : entries) {
            const Place place = placeOf(entry.position);
            if (place.isInside(shell(last).reach, m_view)) {
                voxels[count] = place.voxel;
                waiting[count] = &entry;
                if (++count == batch) {
                    sum_waiting();
                }
                continue;
            }
            for (int level = first; level <= last; ++level) {
                take(entry, level, wrappedSum(level, place));
            }
        }
        if (count > 0) {
            sum_waiting();
        }
    }

    template <std::size_t batch>
    std::array<Sum, batch> sumsOf(const Shell& shell, const std::array<const Element*, batch>& voxels) const
    {
        std::array<Sum, batch> sums = {};
        for (const Neighbour& neighbour : shell.neighbours) {
            for (std::size_t j = 0; j < batch; ++j) {
                sums[j] = static_cast<Sum>(sums[j] + value(voxels[j] + neighbour.offset));
            }
        }
        return sums;
    }

    Sum wrappedSum(int level, const Place& place) const
    {
        Sum sum = 0;
        for (const Neighbour& neighbour : shell(level).neighbours) {
            const Element* const row = m_view.row<Element>(wrapped(place.z + neighbour.dz, m_view.nz),
                                                           wrapped(place.y + neighbour.dy, m_view.ny));
            sum = static_cast<Sum>(sum +
                                   value(row + wrapped(place.x + neighbour.dx, m_view.nx) * m_view.stride_x));
        }
        return sum;
    }

    const Intensities& m_volume;
    const VolumeView& m_view;
    IntensityRange m_range;
    std::array<Shell, feature_levels> m_shells;
};

} // namespace

std::unique_ptr<ShellSums> shell_sums(const Intensities& volume, const IntensityRange& range)
{
    return with_element(volume.view().kind, [&](auto element) -> std::unique_ptr<ShellSums> {
        using Element = decltype(element);
        if (volume.areMapped()) {
            return std::make_unique<TypedSums<Element, true>>(volume, range);
        }
        return std::make_unique<TypedSums<Element, false>>(volume, range);
    });
}

} // namespace tonalign

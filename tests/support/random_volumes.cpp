#include "tests/support/random_volumes.h"

#include <cmath>

namespace tonalign::test {

namespace {

struct Size
{
    int nx;
    int ny;
    int nz;
};

Size draw_size(Dice& dice)
{
    static const std::vector<Size> corners{{1, 1, 2}, {2, 1, 1}, {2, 3, 4}, {4, 3, 2},
                                           {1, 9, 1}, {2, 2, 2}, {3, 3, 3}, {5, 5, 5}};
    switch (dice.between(0, 9)) {
    case 0:
    case 1:
        return dice.any_of(corners);
    case 2:
        return {dice.between(2, 12), dice.between(2, 12), 1};
    case 3:
        return {1, dice.between(2, 9), dice.between(2, 9)};
    case 4:
        return {dice.between(10, 24), dice.between(8, 20), dice.between(6, 18)};
    default:
        return {dice.between(2, 9), dice.between(2, 8), dice.between(2, 7)};
    }
}

/// A header whose every byte means nothing except for what a reader needs.
HeaderRecord draw_header(Dice& dice, const Volume& volume, ElementType type)
{
    HeaderRecord header;
    for (unsigned char& byte : header) {
        byte = static_cast<unsigned char>(dice.between(0, 255));
    }
    describe_volume(header, volume.nx, volume.ny, volume.nz, type);
    static const std::vector<float> spacings{1.0F, 0.5F, 0.9375F, 3.3F, 1234567.0F, 0.0F, -2.0F, 1e-7F};
    for (const std::size_t axis : {1U, 2U, 3U}) {
        put(header, header_offset::pixdim + 4 * axis, dice.any_of(spacings));
    }
    // Only the width tells 8-bit integers and doubles; readers must not look at their data type.
    if ((type == ElementType::unsigned8 || type == ElementType::float64) && dice.once_in(3)) {
        put(header, header_offset::datatype, static_cast<std::int16_t>(dice.between(-32768, 32767)));
    }
    return header;
}

/// The values that level 0, 1, 2... of a volume stand for, apart and exact in the element type.
struct Levels
{
    double first;
    double step;
};

Levels draw_levels(Dice& dice, ElementType type)
{
    switch (type) {
    case ElementType::unsigned8:
        return {static_cast<double>(dice.between(0, 60)), static_cast<double>(dice.between(1, 6))};
    case ElementType::signed16:
        return {static_cast<double>(dice.between(-32768, 10000)), static_cast<double>(dice.between(1, 600))};
    case ElementType::signed32:
        return {static_cast<double>(dice.between(-2000000000, 2000000000)),
                static_cast<double>(dice.between(1, 4000000))};
    default:
        // Steps that binary fractions cannot hold: sums then depend on the order of their terms.
        return {dice.any_of<double>({0.0, -1.7, 100.1, -3000.3}),
                dice.any_of<double>({0.1, 0.7, 13.3, 1e-3})};
    }
}

double as_stored(double value, ElementType type)
{
    return type == ElementType::float32 ? static_cast<double>(static_cast<float>(value)) : value;
}

/// Level, below 33, of a voxel of the volume's kind.
class Pattern
{
public:
    Pattern(Dice& dice, const Volume& volume) : m_dice(dice), m_volume(volume), m_kind(dice.between(0, 9))
    {
        m_a = dice.between(1, 4);
        m_b = dice.between(0, 3);
        m_levels = dice.any_of<int>({2, 2, 3, 4, 6, 17, 33});
    }
    std::string name() const
    {
        static const char* const names[] = {"few levels", "blocks",     "ramp",     "noise", "checkerboard",
                                            "stripes",    "two values", "one spot", "bumps", "many values"};
        return names[m_kind];
    }
    bool many_values() const { return m_kind == 9; }

    int level(int x, int y, int z)
    {
        switch (m_kind) {
        case 0:
        case 9:
            return m_dice.between(0, m_levels - 1);
        case 1:
            return (x / (m_a + 1) + 2 * (y / (m_a + 2)) + 3 * (z / 2)) % m_levels;
        case 2:
            return (x * m_a + y * m_b + z) % 33;
        case 3:
            return m_dice.between(0, 32);
        case 4:
            return (x + y + z) % 2;
        case 5:
            return (m_b == 0 ? x : m_b == 1 ? y : z) % (m_a + 1);
        case 6:
            return m_dice.once_in(4 * m_a) ? 1 : 0;
        case 7:
            return x == m_volume.nx / 2 && y == m_volume.ny / 3 && z == m_volume.nz - 1 ? m_levels - 1 : 0;
        default:
            return static_cast<int>(16.0 + 16.0 * std::sin(x / (1.0 + m_a)) * std::cos(y / 2.0 + z));
        }
    }

private:
    Dice& m_dice;
    const Volume& m_volume;
    int m_kind;
    int m_a;
    int m_b;
    int m_levels;
};

} // namespace

int Dice::between(int lowest, int highest)
{
    const auto count = static_cast<std::uint64_t>(std::int64_t{highest} - lowest + 1);
    return static_cast<int>(lowest + static_cast<std::int64_t>(m_engine() % count));
}

double Dice::unit()
{
    return std::ldexp(static_cast<double>(m_engine() >> 11), -53);
}

StoredVolume draw_volume(Dice& dice, int nx, int ny, int nz)
{
    StoredVolume stored;
    stored.type = static_cast<ElementType>(dice.between(0, 4));
    const bool real = stored.type == ElementType::float32 || stored.type == ElementType::float64;
    stored.volume = Volume{nx, ny, nz, {}};
    Pattern pattern(dice, stored.volume);
    stored.kind = pattern.name();
    const Levels levels = draw_levels(dice, stored.type);
    const bool signed_zeros = real && dice.once_in(4);
    for (int z = 0; z < nz; ++z) {
        for (int y = 0; y < ny; ++y) {
            for (int x = 0; x < nx; ++x) {
                double value = levels.first + levels.step * pattern.level(x, y, z);
                if (real && pattern.many_values()) {
                    value = levels.first + 100.0 * (dice.unit() - 0.5);
                }
                if (signed_zeros && dice.once_in(4)) {
                    value = dice.once_in(2) ? 0.0 : -0.0;
                }
                stored.volume.voxels.push_back(as_stored(value, stored.type));
            }
        }
    }
    stored.image.header = draw_header(dice, stored.volume, stored.type);
    stored.image.order = dice.once_in(3) ? ByteOrder::foreign : ByteOrder::native;
    stored.bytes_after = dice.once_in(8) ? "more bytes" : "";
    return stored;
}

StoredVolume draw_volume(Dice& dice)
{
    const auto [nx, ny, nz] = draw_size(dice);
    return draw_volume(dice, nx, ny, nz);
}

} // namespace tonalign::test

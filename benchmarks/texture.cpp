#include "texture.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace texture {

namespace {

/// Fixed mixing of two numbers and a seed to 32 bits.
std::uint32_t mixed(std::uint32_t x, std::uint32_t y, std::uint32_t seed)
{
    std::uint32_t h = x * 0x9E3779B1u ^ (y + seed * 0x27D4EB2Fu) * 0x85EBCA77u;
    h ^= h >> 15;
    h *= 0x2C1B3C6Du;
    h ^= h >> 12;
    h *= 0x297A2D39u;
    return h ^ h >> 15;
}

constexpr int weightBits = 15;
constexpr int latticeBits = 14;

/// Weights 3t² - 2t³ for the places of one cell of 2^`shift` pixels, 2^15 standing for 1.
std::vector<std::int32_t> weightsOf(int shift)
{
    std::vector<std::int32_t> weights(std::size_t{1} << shift);
    for (std::size_t i = 0; i < weights.size(); ++i) {
        const auto t = static_cast<std::int64_t>(i) << (weightBits - shift);
        weights[i] =
            static_cast<std::int32_t>((t * t >> weightBits) * ((3 << weightBits) - 2 * t) >> weightBits);
    }
    return weights;
}

const std::vector<std::int32_t>& weights(int shift)
{
    static const std::array<std::vector<std::int32_t>, weightBits> tables = [] {
        std::array<std::vector<std::int32_t>, weightBits> all;
        for (int i = 0; i < weightBits; ++i)
            all[static_cast<std::size_t>(i)] = weightsOf(i);
        return all;
    }();
    return tables[static_cast<std::size_t>(shift)];
}

/// One octave of smooth noise: random values at the corners of cells of 2^`shift` pixels, smooth in between.
struct Octave
{
    int shift;              ///< less than 15
    std::int32_t amplitude; ///< at most 2^14; values lie between - and + that
};

std::int32_t cornerValue(std::uint32_t column, std::uint32_t row, const Octave& octave, std::uint32_t seed)
{
    const std::uint32_t bits = mixed(column, row, seed + static_cast<std::uint32_t>(octave.shift));
    const auto value = static_cast<std::int32_t>(bits >> (32 - latticeBits - 1)) - (1 << latticeBits);
    return value * octave.amplitude / (1 << latticeBits);
}

std::int32_t between(std::int32_t a, std::int32_t b, std::int32_t weight)
{
    // Halves keep the product within 32 bits.
    return a + ((b - a) / 2 * weight) / (1 << (weightBits - 1));
}

/// Adds columns x0 and on of row `y` of an octave.
void addOctave(std::int32_t* row, int columns, int x0, int y, const Octave& octave, std::uint32_t seed)
{
    const int period = 1 << octave.shift;
    const std::vector<std::int32_t>& weight = weights(octave.shift);
    const auto latticeRow = static_cast<std::uint32_t>(y >> octave.shift);
    const std::int32_t down = weight[static_cast<std::size_t>(y & (period - 1))];
    const auto edge = [&](int column) {
        const auto at = static_cast<std::uint32_t>(column);
        return between(cornerValue(at, latticeRow, octave, seed),
                       cornerValue(at, latticeRow + 1, octave, seed), down);
    };
    int cell = x0 >> octave.shift;
    std::int32_t right = edge(cell);
    for (int x = 0; x < columns; ++cell) {
        const std::int32_t left = right;
        right = edge(cell + 1);
        const int first = x + x0 - (cell << octave.shift);
        const int count = std::min(period - first, columns - x);
        const std::int32_t* along = weight.data() + first;
        for (int i = 0; i < count; ++i)
            row[x + i] += between(left, right, along[i]);
        x += count;
    }
}

std::vector<std::int32_t> noiseRow(int columns, int x0, int y, std::initializer_list<Octave> octaves,
                                   std::uint32_t seed)
{
    std::vector<std::int32_t> row(static_cast<std::size_t>(columns), 0);
    for (const Octave& octave : octaves)
        addOctave(row.data(), columns, x0, y, octave, seed);
    return row;
}

enum Seed : std::uint32_t
{
    Shade = 100,
    FieldShape = 200,
    FieldColour = 300,
    Vegetation = 400,
    Grain = 500,
    Outline = 600,
    Height = 700,
    Roughness = 800,
    Hole = 900
};

/// Parts of a pixel's colour before the grain, in 1/256 of a gray level.
struct ColourRow
{
    std::vector<std::int32_t> shade;
    std::vector<std::int32_t> field;
    std::vector<std::int32_t> vegetation;
};

ColourRow colourRow(int columns, int x0, int y)
{
    return {noiseRow(columns, x0, y,
                     {{9, 5000}, {7, 3500}, {6, 2600}, {5, 2000}, {4, 2100}, {3, 2100}, {2, 2000}, {1, 1800}},
                     Shade),
            noiseRow(columns, x0, y, {{8, 9000}, {6, 5000}, {4, 900}}, FieldShape),
            noiseRow(columns, x0, y, {{8, 2600}, {5, 1600}, {3, 800}}, Vegetation)};
}

/// Sum of four bytes, which is nearly a normal distribution, about 0 with a standard deviation of 148.
std::int32_t grain(std::uint32_t bits)
{
    const std::uint32_t sum = (bits & 255) + (bits >> 8 & 255) + (bits >> 16 & 255) + (bits >> 24);
    return static_cast<std::int32_t>(sum) - 510;
}

std::uint8_t toByte(std::int32_t parts)
{
    return static_cast<std::uint8_t>(std::clamp(parts / 256, 1, 255));
}

/// Brightness of a field: the same all over it, and a step away from that of its neighbours.
std::int32_t fieldShade(std::int32_t shape)
{
    constexpr int fieldBits = 11;
    constexpr std::int32_t span = 9000;
    const auto number = static_cast<std::uint32_t>((shape >> fieldBits) + (1 << fieldBits));
    return static_cast<std::int32_t>(mixed(number, 0, FieldColour) % (2 * span)) - span;
}

struct Colour
{
    std::uint8_t red, green, blue;
};

Colour colourAt(const ColourRow& row, std::size_t i, int x, int y)
{
    constexpr std::int32_t middle = 120 * 256;
    const std::int32_t light = middle + row.shade[i] + fieldShade(row.field[i]);
    const std::uint32_t bits = mixed(static_cast<std::uint32_t>(x), static_cast<std::uint32_t>(y), Grain);
    const std::int32_t common = grain(bits) * 9;
    const std::int32_t single = grain(bits * 0x85EBCA77u ^ bits >> 13) * 6;
    return {toByte(light + common + single - row.vegetation[i]),
            toByte(light + common - single / 2 + row.vegetation[i]),
            toByte(light * 7 / 8 + common - single - row.vegetation[i] / 2)};
}

/// How many pixels the border takes along one side of the raster; about a thirtieth of its `depth`.
std::vector<int> outline(int length, int depth, int side)
{
    // As a row of noise: the lengths of its waves, 512 to 16 pixels.
    const std::vector<std::int32_t> wave =
        noiseRow(length, 0, side * 5000, {{9, 8000}, {7, 4000}, {6, 2400}, {4, 1200}}, Outline);
    constexpr std::int64_t span = 15600;
    std::vector<int> border;
    border.reserve(wave.size());
    for (const std::int32_t w : wave)
        border.push_back(static_cast<int>((w + span) * depth / (span * 30)));
    return border;
}

} // namespace

Orthophoto::Orthophoto(int width, int height)
    : m_width(width), m_height(height), m_north(outline(width, height, 0)),
      m_south(outline(width, height, 1)), m_west(outline(height, width, 2)), m_east(outline(height, width, 3))
{}

void Orthophoto::row(int y, std::vector<std::uint8_t>& rgba) const
{
    constexpr std::size_t bands = 4;
    rgba.assign(static_cast<std::size_t>(m_width) * bands, 0);
    const auto line = static_cast<std::size_t>(y);
    const ColourRow colours = colourRow(m_width, 0, y);
    for (int x = m_west[line]; x < m_width - m_east[line]; ++x) {
        const auto i = static_cast<std::size_t>(x);
        if (y < m_north[i] || y >= m_height - m_south[i])
            continue;
        const Colour colour = colourAt(colours, i, x, y);
        std::uint8_t* pixel = rgba.data() + i * bands;
        pixel[0] = colour.red;
        pixel[1] = colour.green;
        pixel[2] = colour.blue;
        pixel[3] = 255;
    }
}

void Orthophoto::grayRow(int y, int x0, int columns, std::uint8_t* gray) const
{
    const ColourRow colours = colourRow(columns, x0, y);
    for (int x = 0; x < columns; ++x)
        gray[x] = colourAt(colours, static_cast<std::size_t>(x), x0 + x, y).green;
}

void Terrain::row(int y, std::vector<float>& heights) const
{
    const std::vector<std::int32_t> shape = noiseRow(
        m_width, 0, y,
        {{12, 12000}, {11, 6000}, {10, 3000}, {9, 1500}, {8, 600}, {7, 250}, {6, 100}, {5, 40}, {4, 15}},
        Height);
    const std::vector<std::int32_t> holes =
        noiseRow(m_width, 0, y, {{8, 8000}, {6, 4000}, {4, 2000}, {2, 500}}, Hole);
    constexpr std::int32_t holesAbove = 6500;
    constexpr std::int32_t baseCentimetres = 50000;
    heights.resize(shape.size());
    for (std::size_t i = 0; i < shape.size(); ++i) {
        const std::uint32_t bits =
            mixed(static_cast<std::uint32_t>(i), static_cast<std::uint32_t>(y), Roughness);
        const std::int32_t centimetres = baseCentimetres + shape[i] + grain(bits) / 128;
        heights[i] = holes[i] > holesAbove ? noData : static_cast<float>(centimetres) / 100.0f;
    }
}

} // namespace texture

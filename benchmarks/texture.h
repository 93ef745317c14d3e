#ifndef VEXEL_BENCHMARKS_TEXTURE_H
#define VEXEL_BENCHMARKS_TEXTURE_H

#include <cstdint>
#include <vector>

/// Pixels of made-up rasters, in whole numbers throughout: the same on every machine. Rows may be asked for in
/// any order and from several threads, and each costs the same.
namespace texture {

/// An aerial picture: fields with edges, shades of several sizes, the grain of a sensor, and a transparent border
/// with a wavy outline.
class Orthophoto
{
public:
    Orthophoto(int width, int height);

    /// Row `y`: red, green, blue and alpha of each pixel in turn; colours are 0 where alpha is.
    void row(int y, std::vector<std::uint8_t>& rgba) const;

    /// The green of a row without border, for rasters of one band.
    void grayRow(int y, int x0, int columns, std::uint8_t* gray) const;

private:
    int m_width;
    int m_height;
    std::vector<int> m_north; ///< rows that the border takes in each column
    std::vector<int> m_south;
    std::vector<int> m_west; ///< columns that it takes in each row
    std::vector<int> m_east;
};

/// Heights in metres, rounded to centimetres, with holes of irregular shape.
class Terrain
{
public:
    static constexpr float noData = -10000.0f;

    explicit Terrain(int width) : m_width(width) {}

    void row(int y, std::vector<float>& heights) const;

private:
    int m_width;
};

} // namespace texture

#endif

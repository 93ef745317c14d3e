// Lays pictures side by side with a caption under each:
// vexel-contactsheet OUTPUT.png [--columns N] [--cell N] [--crop N] LABEL=PICTURE ...
//
// A picture is magnified to the largest whole multiple of its size that fits into its cell, or reduced.
// Colours are rounded to 32 shades per channel, because nobody sees that and the sheet becomes a third smaller.
// Exit codes: 0 done, 1 something failed (the reason is on standard error), 2 wrong usage.

#include "bitmapfont.h"
#include "commandline.h"
#include "common.h"
#include "pictures.h"

#include <QString>
#include <QStringList>
#include <vexel/vexel.h>

#include <algorithm>
#include <iostream>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using Eigen::Index;
using example::Picture;

struct Arguments
{
    std::string output;
    std::vector<std::string> entries;
    int columns = 4;
    int cell = 160;
    int crop = 0;
};

constexpr unsigned int paper = 0xFFFFFFFFu;
constexpr unsigned int ink = 0xFF202020u;
constexpr unsigned int hole = 0xFFBFD4F2u; // where a picture is transparent

// In pixels of the sheet.
constexpr Index dot = 2; // edge of a dot of a letter
constexpr Index gap = 8; // round each cell
constexpr Index lineHeight = (example::font::height + 2) * dot;

struct Entry
{
    QStringList caption; // line by line
    Picture picture;
};

/// What all cells of the sheet have in common.
struct Layout
{
    Index columns;
    Index rows;
    Index cellWidth;
    Index pictureHeight;
    Index cellHeight; // with the caption

    Index width() const { return gap + columns * (cellWidth + gap); }
    Index height() const { return gap + rows * (cellHeight + gap); }
};

Index textWidth(const QString& line)
{
    return static_cast<Index>(line.size()) * example::font::advance * dot;
}

/// Breaks a caption at spaces so that lines are no wider than a cell, but for single words that are.
QStringList wrapped(const QString& caption, Index width)
{
    QStringList lines;
    for (const QString& word : vexel::text::tokenize(caption, " ", /*skipEmpty=*/true)) {
        const QString longer = lines.isEmpty() ? word : lines.last() + " " + word;
        if (!lines.isEmpty() && textWidth(longer) <= width)
            lines.last() = longer;
        else
            lines << word;
    }
    return lines;
}

/// The level of detail at which a picture is not larger than a cell.
int levelOf(const QString& path, int cell)
{
    vexel::ImageInfo info;
    if (!vexel::imageInfoWithGDAL(path, info))
        throw std::runtime_error("Unable to open picture '" + path.toStdString() + "'");
    return static_cast<int>((std::max(info.width, info.height) + cell - 1) / cell);
}

Picture loaded(const QString& path, int level)
{
    Picture picture;
    if (!vexel::GDALImageLoader(path, {}).readRGB(picture, level))
        throw std::runtime_error("'" + path.toStdString() + "' is no picture of bytes");
    if (picture.size() == 0)
        throw std::runtime_error("'" + path.toStdString() + "' is too narrow to be reduced");
    return picture;
}

/// What is in the middle of a picture.
Picture cropped(const Picture& picture, Index edge)
{
    const Index rows = std::min(picture.rows(), edge);
    const Index columns = std::min(picture.cols(), edge);
    return picture.block((picture.rows() - rows) / 2, (picture.cols() - columns) / 2, rows, columns);
}

/// The nearest of 32 shades from 0 to 255.
unsigned int rounded(unsigned int value)
{
    return (value * 31u + 127u) / 255u * 255u / 31u;
}

/// The pixel as it looks on top of what shines through it.
unsigned int overHole(unsigned int pixel)
{
    const unsigned int alpha = pixel >> 24;
    unsigned int result = 0xFF000000u;
    for (const unsigned int shift : {0u, 8u, 16u}) {
        const unsigned int front = (pixel >> shift) & 0xFFu;
        const unsigned int back = (hole >> shift) & 0xFFu;
        result |= rounded((front * alpha + back * (255u - alpha) + 127u) / 255u) << shift;
    }
    return result;
}

/// Every pixel as a square of `factor` by `factor`.
Picture magnified(const Picture& picture, Index factor)
{
    Picture result(picture.rows() * factor, picture.cols() * factor);
    for (Index row = 0; row < picture.rows(); ++row)
        for (Index column = 0; column < picture.cols(); ++column)
            result.block(row * factor, column * factor, factor, factor)
                .setConstant(overHole(picture(row, column)));
    return result;
}

Entry entryFrom(const std::string& text, const Arguments& arguments)
{
    const std::size_t sign = text.find('=');
    const QString label = example::fromArgument(text.substr(0, sign));
    const QString path = example::fromArgument(text.substr(sign + 1));
    const int level = levelOf(path, arguments.cell);
    const Picture picture =
        arguments.crop > 0 ? cropped(loaded(path, 1), arguments.crop) : loaded(path, level);
    const Index factor = std::max<Index>(1, arguments.cell / std::max(picture.rows(), picture.cols()));
    return {wrapped(label, arguments.cell), magnified(picture, factor)};
}

Layout layoutOf(const std::vector<Entry>& entries, Index columns)
{
    Layout layout{};
    layout.columns = std::min<Index>(columns, static_cast<Index>(entries.size()));
    layout.rows = (static_cast<Index>(entries.size()) + layout.columns - 1) / layout.columns;
    Index lines = 0;
    for (const Entry& entry : entries) {
        layout.cellWidth = std::max(layout.cellWidth, entry.picture.cols());
        layout.pictureHeight = std::max(layout.pictureHeight, entry.picture.rows());
        lines = std::max<Index>(lines, entry.caption.size());
        for (const QString& line : entry.caption)
            layout.cellWidth = std::max(layout.cellWidth, textWidth(line));
    }
    layout.cellHeight = layout.pictureHeight + lines * lineHeight;
    return layout;
}

void drawLine(Picture& sheet, Index top, Index left, const QString& line)
{
    for (int k = 0; k < line.size(); ++k)
        for (int row = 0; row < example::font::height; ++row)
            for (int column = 0; column < example::font::width; ++column)
                if (example::font::hasInk(line[k].unicode(), row, column))
                    sheet.block(top + row * dot, left + (k * example::font::advance + column) * dot, dot, dot)
                        .setConstant(ink);
}

/// Picture and caption are centred; the caption stands under the tallest picture.
void drawEntry(Picture& sheet, const Layout& layout, Index top, Index left, const Entry& entry)
{
    const Picture& picture = entry.picture;
    sheet.block(top + layout.pictureHeight - picture.rows(), left + (layout.cellWidth - picture.cols()) / 2,
                picture.rows(), picture.cols()) = picture;
    Index lineTop = top + layout.pictureHeight + dot;
    for (const QString& line : entry.caption) {
        drawLine(sheet, lineTop, left + (layout.cellWidth - textWidth(line)) / 2, line);
        lineTop += lineHeight;
    }
}

void makeSheet(const Arguments& arguments)
{
    std::vector<Entry> entries;
    for (const std::string& text : arguments.entries)
        entries.push_back(entryFrom(text, arguments));

    const Layout layout = layoutOf(entries, arguments.columns);
    Picture sheet = Picture::Constant(layout.height(), layout.width(), paper);
    for (std::size_t k = 0; k < entries.size(); ++k) {
        const Index row = static_cast<Index>(k) / layout.columns;
        const Index column = static_cast<Index>(k) % layout.columns;
        drawEntry(sheet, layout, gap + row * (layout.cellHeight + gap),
                  gap + column * (layout.cellWidth + gap), entries[k]);
    }

    const QString path = example::fromArgument(arguments.output);
    if (!vexel::GDALImageLoader(path, {}).writeRGB(sheet))
        throw std::runtime_error("Unable to write '" + arguments.output + "'");
    example::requirePicture(path, sheet.cols(), sheet.rows());
    std::cout << "size: " << sheet.cols() << " x " << sheet.rows() << "\n"
              << "pictures: " << entries.size() << std::endl;
}

std::string checkEntry(const std::string& argument)
{
    return argument.find('=') != std::string::npos ? "" : "'" + argument + "' is not LABEL=PICTURE";
}

} // namespace

int main(int argc, char** argv)
{
    example::CommandLine line("Lays pictures side by side with a caption under each.", "vexel-contactsheet");
    Arguments arguments;
    line.add("OUTPUT", arguments.output, "picture to create; an earlier one is replaced")
        .required()
        .check(example::checkPng)
        .placeholder("PNG");
    line.add("ENTRY", arguments.entries, "caption and file of each picture, from left to right")
        .required()
        .check(checkEntry)
        .placeholder("LABEL=PICTURE ...");
    line.add("--columns", arguments.columns, "number of pictures per row")
        .range(1, 100)
        .showDefault()
        .placeholder("N");
    line.add("--cell", arguments.cell, "width and height of the place for a picture, in pixels")
        .range(8, 4096)
        .showDefault()
        .placeholder("N");
    line.add("--crop", arguments.crop,
             "show the middle N by N pixels of larger pictures instead of reducing them")
        .range(1, 4096)
        .placeholder("N");
    return line.run(argc, argv, [&] { makeSheet(arguments); });
}

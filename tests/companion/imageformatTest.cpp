#include "companion/imageformat.h"

#include <gtest/gtest.h>

#include <string>

namespace {

enum class Format
{
    None,
    Jpeg,
    Png,
    Jp2
};

struct PathCase
{
    const char* name;
    const char* path;
    Format format;
};

class ImageFormat : public testing::TestWithParam<PathCase>
{};

} // namespace

TEST_P(ImageFormat, IsToldByTheExtension)
{
    const QString path = QString::fromUtf8(GetParam().path);
    EXPECT_EQ(vexel::isJpeg(path), GetParam().format == Format::Jpeg);
    EXPECT_EQ(vexel::isPng(path), GetParam().format == Format::Png);
    EXPECT_EQ(vexel::isJp2(path), GetParam().format == Format::Jp2);
}

INSTANTIATE_TEST_SUITE_P(
    All, ImageFormat,
    testing::Values(PathCase{"Jpg", "a.jpg", Format::Jpeg}, PathCase{"Jpeg", "a.jpeg", Format::Jpeg},
                    PathCase{"Jpe", "a.jpe", Format::Jpeg}, PathCase{"UpperJpg", "A.JPG", Format::Jpeg},
                    PathCase{"MixedJpeg", "dir/a.JpEg", Format::Jpeg}, PathCase{"Png", "a.png", Format::Png},
                    PathCase{"UpperPng", "a.PNG", Format::Png}, PathCase{"Jp2", "a.jp2", Format::Jp2},
                    PathCase{"J2k", "a.j2k", Format::Jp2}, PathCase{"Jpx", "a.jpx", Format::Jp2},
                    PathCase{"Jpf", "a.jpf", Format::Jp2}, PathCase{"Jpc", "a.jpc", Format::Jp2},
                    PathCase{"J2c", "a.j2c", Format::Jp2}, PathCase{"UpperJp2", "a.JP2", Format::Jp2},
                    PathCase{"OddPath", "d\xC3\xA9j\xC3\xA0 vu.tif/x y.z.png", Format::Png},
                    PathCase{"Tif", "a.tif", Format::None}, PathCase{"Empty", "", Format::None},
                    PathCase{"NoExtension", "png", Format::None},
                    PathCase{"HiddenFile", ".png", Format::None},
                    PathCase{"FolderOnly", "a.png/b", Format::None},
                    PathCase{"NotLast", "a.jpg.tif", Format::None},
                    PathCase{"Longer", "a.pngx", Format::None}, PathCase{"Shorter", "a.jp", Format::None},
                    PathCase{"SpaceBehind", "a.png ", Format::None}),
    [](const auto& row) { return std::string(row.param.name); });

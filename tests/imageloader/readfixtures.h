#ifndef VEXEL_TESTS_IMAGELOADER_READFIXTURES_H
#define VEXEL_TESTS_IMAGELOADER_READFIXTURES_H

#include "imageloader/GDALImageLoader.h"
#include "images.h"
#include "support/files.h"
#include "support/gdalhandlers.h"

#include <cpl_error.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

/// What the tests of reading share.
namespace images {

constexpr int width = 41;
constexpr int height = 30;

/// The stated formula, spelt out.
inline unsigned char grayOf(unsigned int colour, const std::vector<double>& w)
{
    const double red = colour >> 16 & 0xFFu;
    const double green = colour >> 8 & 0xFFu;
    const double blue = colour & 0xFFu;
    double sum = green * w[1] + red * w[0];
    sum += blue * w[2];
    sum += 0.5;
    return static_cast<unsigned char>(sum);
}

inline std::vector<double> dividedBySum(std::vector<double> w)
{
    const double sum = w[0] + w[1] + w[2];
    for (double& weight : w)
        weight /= sum;
    return w;
}

inline Gray grayOf(const Colour& colour, const std::vector<double>& givenWeights = weights)
{
    const std::vector<double> w = dividedBySum(givenWeights);
    Gray gray(colour.rows(), colour.cols());
    for (Eigen::Index i = 0; i < colour.size(); ++i)
        gray.data()[i] = grayOf(colour.data()[i], w);
    return gray;
}

/// Matrices that are told from all results.
struct Untouched
{
    Colour colour = Colour::Constant(2, 3, 0x12345678u);
    Gray gray = Gray::Constant(2, 3, 123);
    Floats floats = Floats::Constant(2, 3, -7.5f);

    void expect() const
    {
        EXPECT_EQ(colour, Untouched().colour);
        EXPECT_EQ(gray, Untouched().gray);
        EXPECT_EQ(floats, Untouched().floats);
    }
};

/// Counts GDAL's errors of this thread, which do not show elsewhere.
class GdalErrors
{
public:
    int number() const { return m_number; }

private:
    int m_number = 0;
    GdalHandler m_handler{
        [this](CPLErr level, const std::string&) { m_number += level >= CE_Failure ? 1 : 0; }};
};

/// A raster that opens, and whose pixels cannot be read.
inline void makeUnreadable(const QString& path, int bands, const char* type)
{
    std::string text = "<VRTDataset rasterXSize=\"4\" rasterYSize=\"3\">\n";
    for (int band = 1; band <= bands; ++band)
        text +=
            "<VRTRasterBand dataType=\"" + std::string(type) + "\" band=\"" + std::to_string(band) +
            "\"><SimpleSource><SourceFilename relativeToVRT=\"1\">gone.tif</SourceFilename>"
            "<SourceBand>1</SourceBand><SourceProperties RasterXSize=\"4\" RasterYSize=\"3\" DataType=\"" +
            type +
            "\" BlockXSize=\"4\" BlockYSize=\"3\"/><SrcRect xOff=\"0\" yOff=\"0\" xSize=\"4\" ySize=\"3\"/>"
            "<DstRect xOff=\"0\" yOff=\"0\" xSize=\"4\" ySize=\"3\"/></SimpleSource></VRTRasterBand>\n";
    makeFile(path, text + "</VRTDataset>\n");
}

} // namespace images

#endif

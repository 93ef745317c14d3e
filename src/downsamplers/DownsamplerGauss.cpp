#include "downsamplers/DownsamplerGauss.h"

#include "companion/errnotext.h"
#include "companion/gaussblur.h"
#include "companion/log.h"
#include "companion/parallelrows.h"
#include "downsamplers/gaussstep.h"
#include "workspace/arithmetic.h"

#include <algorithm>
#include <stdexcept>

namespace vexel {

namespace {

constexpr float noData = -10000.0f;
constexpr float firstValid = static_cast<float>(-9999.999);
constexpr int blurOrder = 4;

float opaqueOrTransparent(float alpha)
{
    return static_cast<double>(alpha) > 127.5 ? 255.0f : 0.0f;
}

/// The low 8 bits of the value without its fraction: 0 for a transparent pixel.
unsigned char maskOfAlpha(float alpha)
{
    return static_cast<unsigned char>(arithmetic::truncate(static_cast<double>(alpha)));
}

} // namespace

DownsamplerGauss::DownsamplerGauss(const QString& inputPath, const QString& outputPath, const QString& wkt,
                                   double resolution, ImageAlphaType alphaType, GdalFileType fileType)
    : DownsamplerBase(inputPath, outputPath, wkt, resolution, alphaType, fileType, AlignToTile)
{}

DownsamplerGauss::~DownsamplerGauss() = default;

float DownsamplerGauss::representativeValue(const Block&) const
{
    return 0.0f;
}

bool DownsamplerGauss::isAlphaBand(std::size_t band) const
{
    return alpha && band == input.noBands();
}

bool DownsamplerGauss::do_step(std::size_t step)
{
    if (step >= input.noTiles())
        return false;
    const PixelBox tileBox = input.itile(step);
    const GaussStep plan = planGaussStep(tileBox, input.workspace().ibounds(), factor);
    const std::size_t noBands = input.noBands();
    if (alpha)
        readInput(alphaBand, noBands, plan.readBox);
    for (std::size_t band = 1; band <= noBands; ++band) {
        const double share = static_cast<double>(band) / static_cast<double>(noBands);
        if (!downsampleBand(band, tileBox, plan.readBox, plan.sigma) || !reportProgress(share))
            return false;
    }
    return true;
}

bool DownsamplerGauss::downsampleBand(std::size_t band, const PixelBox& tileBox, const PixelBox& readBox,
                                      double sigma)
{
    return readData(band, readBox) && blurImage(sigma, blurOrder) && subSample(band, tileBox, readBox) &&
           writeData(band, tileBox);
}

bool DownsamplerGauss::readData(std::size_t band, const PixelBox& readBox)
{
    if (isAlphaBand(band)) {
        data.swap(alphaBand);
        // Size and mask stay those of the band before, where there is one.
        if (band == 1) {
            rows = static_cast<int>(data.rows());
            cols = static_cast<int>(data.cols());
        }
        return true;
    }
    if (readInput(data, band, readBox)) {
        rows = static_cast<int>(data.rows());
        cols = static_cast<int>(data.cols());
        maskInvalid();
        return true;
    }
    const QString reason = errnoText();
    log::LogStreamer(log::defaultLogSource(), log::level::error, QString(),
                     log::FileAndLine("DownsamplerGauss", __LINE__))
        << "Unable to read tile " << input.path() << "': " << reason;
    return false;
}

void DownsamplerGauss::maskInvalid()
{
    if (alpha)
        mask = alphaBand.unaryExpr(&maskOfAlpha);
    else
        mask.setConstant(data.rows(), data.cols(), 255);
    const Eigen::Index columns = std::min(mask.cols(), data.cols());
    parallelRows(std::min(mask.rows(), data.rows()), columns, [&](Eigen::Index y) {
        for (Eigen::Index x = 0; x < columns; ++x)
            if (data(y, x) < firstValid)
                mask(y, x) = 0;
    });
}

bool DownsamplerGauss::blurImage(double sigma, int n)
{
    gauss_iir2d(data, static_cast<float>(sigma), n);
    return true;
}

bool DownsamplerGauss::subSample(std::size_t band, const PixelBox& tileBox, const PixelBox& readBox)
{
    const GaussStep plan = planGaussStep(tileBox, input.workspace().ibounds(), factor);
    const int xOffset = tileBox.min_corner().x() - readBox.min_corner().x();
    const int yOffset = tileBox.min_corner().y() - readBox.min_corner().y();
    result = PixelMatrix<float>::Constant(plan.rows, plan.columns, noData);
    parallelRows(plan.rows, plan.columns, [&](Eigen::Index i) {
        const Eigen::Index row = samplePosition(i, factor, yOffset);
        if (row >= rows)
            return;
        if (isAlphaBand(band))
            sampleAlphaRow(i, row, xOffset);
        else
            sampleRow(i, row, xOffset);
    });
    return true;
}

void DownsamplerGauss::sampleAlphaRow(Eigen::Index i, Eigen::Index row, int xOffset)
{
    if (row >= data.rows())
        return;
    const Eigen::Index columns = std::min<Eigen::Index>(cols, data.cols());
    for (Eigen::Index j = 0; j < result.cols(); ++j) {
        const Eigen::Index column = samplePosition(j, factor, xOffset);
        if (column < columns)
            result(i, j) = opaqueOrTransparent(data(row, column));
    }
}

void DownsamplerGauss::sampleRow(Eigen::Index i, Eigen::Index row, int xOffset)
{
    if (row >= data.rows() || row >= mask.rows()) {
        log::LogStreamer(log::defaultLogSource(), log::level::error, QString(),
                         log::FileAndLine("DownsamplerGauss", __LINE__))
            << "r_orig = " << row << " vs rows() = " << data.rows() << " vs nodata() = " << mask.rows();
        throw std::domain_error("Bad row (data)");
    }
    const Eigen::Index columns = std::min({Eigen::Index{cols}, data.cols(), mask.cols()});
    for (Eigen::Index j = 0; j < result.cols(); ++j) {
        const Eigen::Index column = samplePosition(j, factor, xOffset);
        if (column < columns)
            result(i, j) = mask(row, column) != 0 ? data(row, column) : noData;
    }
}

bool DownsamplerGauss::writeData(std::size_t band, const PixelBox& tileBox)
{
    const PixelBox outBox = planGaussStep(tileBox, input.workspace().ibounds(), factor).outBox;
    if (output.opened() && output.write(result, band, outBox))
        return true;
    const QString reason = errnoText();
    log::LogStreamer(log::defaultLogSource(), log::level::error, QString(),
                     log::FileAndLine("DownsamplerGauss", __LINE__))
        << "Unable to write tile " << textOf(outBox) << " to '" << output.path() << "': " << reason;
    return false;
}

} // namespace vexel

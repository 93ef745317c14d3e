#ifndef VEXEL_TESTS_SUPPORT_CUSTOMDOWNSAMPLER_H
#define VEXEL_TESTS_SUPPORT_CUSTOMDOWNSAMPLER_H

#include "downsamplers/DownsamplerBase.h"

#include <QString>

#include <functional>
#include <utility>

/// What a `CustomDownsampler` is built with beside paths and resolution.
struct DownsamplerSetup
{
    QString wkt;
    vexel::ImageAlphaType alpha = vexel::ImageAlphaType::NoAlpha;
    vexel::GdalFileType type = vexel::GdalFileType::SingleFile;
    int alignment = 0;
};

/// A downsampler as an application may derive one: a function reduces the blocks, and all that the base class
/// gives its subclasses is reachable.
class CustomDownsampler : public vexel::DownsamplerBase
{
public:
    using vexel::DownsamplerBase::Block;
    using Reduce = std::function<float(const Block&)>;

    CustomDownsampler(const QString& inputPath, const QString& outputPath, double resolution, Reduce reduce,
                      const DownsamplerSetup& setup = {})
        : DownsamplerBase(inputPath, outputPath, setup.wkt, resolution, setup.alpha, setup.type,
                          static_cast<DownsamplingAlignment>(setup.alignment)),
          m_reduce(std::move(reduce))
    {}

    CustomDownsampler() = default;

    using vexel::DownsamplerBase::alpha;
    using vexel::DownsamplerBase::border;
    using vexel::DownsamplerBase::factor;
    using vexel::DownsamplerBase::input;
    using vexel::DownsamplerBase::output;

private:
    float representativeValue(const Block& block) const override { return m_reduce(block); }

    Reduce m_reduce;
};

#endif

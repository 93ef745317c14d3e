#include <vexel/vexel.h>

#include <cstdio>
#include <memory>
#include <stdexcept>
#include <vector>

using namespace vexel;

namespace {

/// Derived outside the library: its virtual functions are called from inside.
class TopLeft : public DownsamplerBase
{
public:
    TopLeft(const QString& from, const QString& to)
        : DownsamplerBase(from, to, "", 300.0, ImageAlphaType::NoAlpha, GdalFileType::SingleFile, NoAlignment)
    {}

private:
    float representativeValue(const Block& block) const override { return block(0, 0); }
};

bool holds(bool condition, const char* what)
{
    if (!condition)
        std::fprintf(stderr, "failed: %s\n", what);
    return condition;
}

std::shared_ptr<DownsamplerBase> downsampler(DownsamplingStrategy strategy, const QString& input,
                                             const QString& output)
{
    return DownsamplerFactory::createDownsampler(strategy, input, output, "", 300.0, ImageAlphaType::NoAlpha,
                                                 GdalFileType::SingleFile);
}

/// Objects made in the library tell the program what they are, and the program's own the library.
bool castsWork(const QString& input, const QString& output)
{
    const std::shared_ptr<Worker> gauss =
        downsampler(DownsamplingStrategy::Gauss, input, output + ".gauss.tif");
    const std::shared_ptr<Worker> average =
        downsampler(DownsamplingStrategy::Average, input, output + ".average.tif");
    const std::unique_ptr<SimpleImageLoader> loader =
        std::make_unique<GDALImageLoader>(input, std::vector<double>());
    return holds(dynamic_cast<DownsamplerGauss*>(gauss.get()) != nullptr,
                 "a Gaussian is a DownsamplerGauss") &&
           holds(dynamic_cast<DownsamplerGauss*>(average.get()) == nullptr,
                 "a mean is no DownsamplerGauss") &&
           holds(dynamic_cast<DownsamplerBase*>(average.get()) != nullptr, "a mean is a DownsamplerBase") &&
           holds(dynamic_cast<GDALImageLoader*>(loader.get()) != nullptr, "the loader is a GDALImageLoader");
}

bool exceptionsAreCaught(const QString& output)
{
    bool missing = false;
    bool hasReason = false;
    bool undefined = false;
    try {
        downsampler(DownsamplingStrategy::Average, "there is no such file.tif", output);
    } catch (const std::runtime_error& error) {
        missing = true;
        const auto* const openError = dynamic_cast<const OpenError*>(&error);
        hasReason = openError && openError->reason.code == StreamError::Code::CannotOpen;
    }
    try {
        downsampler(static_cast<DownsamplingStrategy>(99), "there is no such file.tif", output);
    } catch (const std::logic_error&) {
        undefined = true;
    }
    return holds(missing, "std::runtime_error comes out of the library") &&
           holds(hasReason, "which is an OpenError with its reason") &&
           holds(undefined, "std::logic_error comes out of the library");
}

/// What the program throws goes through the library, whose own types it need not have.
bool ownExceptionPassesThrough(const QString& path)
{
    struct Mine
    {};
    try {
        vexel::gdal::doesExistValidFileAt(path, [](const GDALStreamer&) { throw Mine(); });
    } catch (const Mine&) {
        return true;
    }
    return holds(false, "an exception of the program's own comes back to it");
}

bool derivedJobRuns(const QString& input, const QString& output)
{
    {
        TopLeft job(input, output);
        if (!holds(JobRunner().run(job).outcome == JobRunner::Outcome::Finished, "the job runs"))
            return false;
    }
    GDALStreamer fine;
    GDALStreamer coarse;
    PixelMatrix<float> pixels;
    PixelMatrix<double> samePixels;
    return holds(fine.openRead(input) && coarse.openRead(output), "the rasters open") &&
           holds(coarse.width() < fine.width(), "the copy is coarser") &&
           holds(coarse.read(pixels, 1, PixelBox(), 1.0, false, 0.0F) &&
                     coarse.read(samePixels, 1, PixelBox(), 1.0, false, 0.0) &&
                     pixels.cast<double>() == samePixels,
                 "the pixels are read in several types");
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 3)
        return 2;
    const QString input = QString::fromUtf8(argv[1]);
    const QString output = QString::fromUtf8(argv[2]);
    const bool good = castsWork(input, output) && exceptionsAreCaught(output + ".missing.tif") &&
                      derivedJobRuns(input, output) && ownExceptionPassesThrough(output);
    return good ? 0 : 1;
}

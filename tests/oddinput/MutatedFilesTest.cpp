#include "downsamplers/DownsamplerFactory.h"
#include "interlacedpng.h"
#include "mutations.h"
#include "streaming/GDALStreamer.h"
#include "support/CacheSize.h"
#include "support/LogCapture.h"
#include "support/PeakMemory.h"
#include "support/TempFolder.h"
#include "support/downsampling.h"
#include "support/effort.h"
#include "support/figures.h"
#include "support/files.h"
#include "support/gdalhandlers.h"
#include "support/rasters.h"
#include "support/sanitized.h"
#include "utilities/probing.h"
#include "utilities/verify.h"
#include "zoo.h"

#include <cpl_error.h>
#include <gdal_priv.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <numeric>
#include <ostream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <csignal>
#include <unistd.h>

// Damaged files: whatever is in them, the library fails or reads, without a crash, a hang, a leak, or more memory
// than the box that is asked for.

namespace {

using vexel::DataType;
using vexel::GDALStreamer;
using vexel::PixelBox;
using vexel::PixelMatrix;
using vexel::PixelPoint;
using vexel::StreamError;

#ifdef VEXEL_TESTS_SANITIZED
constexpr int shareOfFiles = 10;
constexpr unsigned secondsPerCall = 60;
#else
constexpr int shareOfFiles = 4;
constexpr unsigned secondsPerCall = 10;
#endif

constexpr std::int64_t mebi = std::int64_t{1} << 20;

/// Ends the process when one file takes too long, and tells which.
class Watchdog
{
public:
    Watchdog() : m_former(std::signal(SIGALRM, &Watchdog::giveUp)) {}
    ~Watchdog()
    {
        alarm(0);
        std::signal(SIGALRM, m_former);
    }
    Watchdog(const Watchdog&) = delete;
    Watchdog& operator=(const Watchdog&) = delete;

    void start(int file, const std::string& path)
    {
        std::snprintf(message, sizeof message, "a call hangs on file %d: %s\n", file, path.c_str());
        nextCall();
    }

    /// Each call has the whole time. Of a file that claims blocks of hundreds of megabytes GDAL may clear one for every
    /// band that is asked for, before it finds out that there is none.
    static void nextCall() { alarm(secondsPerCall); }

private:
    static void giveUp(int /*signal*/)
    {
        std::size_t length = 0;
        while (length < sizeof message && message[length] != '\0')
            ++length;
        const ssize_t written = write(STDERR_FILENO, message, length);
        _exit(written < 0 ? 4 : 3);
    }

    static char message[512];

    void (*m_former)(int);
};

char Watchdog::message[512];

struct Tally
{
    int opened = 0;
    int failed = 0;
    int reads = 0;
    int failedReads = 0;
    int updatable = 0;
    int whole = 0;
    int downsampled = 0;
};

std::ostream& operator<<(std::ostream& stream, const Tally& tally)
{
    return stream << tally.opened << " opened, " << tally.failed << " failed to; " << tally.reads
                  << " reads, " << tally.failedReads << " failed ones; " << tally.updatable
                  << " opened for update, " << tally.whole << " whole, " << tally.downsampled
                  << " downsampled";
}

constexpr std::uint64_t someBands = 100;

/// Small enough to be read whole: a damaged header may claim any size, and any number of bands.
bool isSmall(const GDALStreamer& set)
{
    return set.noBands() <= someBands &&
           std::int64_t{set.width()} * set.height() <= 4 * mebi / static_cast<std::int64_t>(set.noBands());
}

PixelBox boxToRead(const GDALStreamer& set)
{
    constexpr int some = 64;
    const bool small = isSmall(set);
    return {PixelPoint(0, 0), PixelPoint(small ? set.width() : std::min(set.width(), some),
                                         small ? set.height() : std::min(set.height(), some))};
}

/// All bands, or the first few and the last of very many.
std::vector<int> bandsToRead(const GDALStreamer& set)
{
    constexpr std::size_t fewBands = 5;
    std::vector<int> bands(set.noBands() <= someBands ? set.noBands() : fewBands);
    std::iota(bands.begin(), bands.end(), 1);
    bands.back() = static_cast<int>(set.noBands());
    return bands;
}

template <class T>
void readAll(const GDALStreamer& set, double scale, Tally& tally)
{
    const PixelBox box = boxToRead(set);
    PixelMatrix<T> pixels;
    const auto count = [&](bool done) {
        Watchdog::nextCall();
        ++(done ? tally.reads : tally.failedReads);
        EXPECT_EQ(set.lastError().code == StreamError::Code::None, done);
    };
    const std::vector<int> bands = bandsToRead(set);
    for (const int band : bands)
        count(set.read(pixels, static_cast<std::size_t>(band), box, scale, true, T(3)));
    count(set.readBands(pixels, bands, box, scale, true, T(3)));
}

void expectDescription(const GDALStreamer& set)
{
    vexel::ImageInfo info;
    vexel::imageInfoWithGDAL(set, info);
    EXPECT_NE(info.dtype, DataType::Unknown);
    EXPECT_GE(info.noBands, 1u);
    EXPECT_GE(info.noPages, 1u);
    EXPECT_EQ(info.width, set.width());
    EXPECT_EQ(info.height, set.height());
    EXPECT_GE(set.width(), 1);
    EXPECT_GE(set.height(), 1);
}

void downsample(const QString& path, std::int64_t res, Tally& tally)
{
    try {
        const auto job = vexel::DownsamplerFactory::createDownsampler(
            vexel::DownsamplingStrategy::Median, path, path + "_coarse.tif", QString(),
            static_cast<double>(res) * 2e-5, vexel::ImageAlphaType::NoAlpha, vexel::GdalFileType::SingleFile);
        tally.downsampled += downsampling::run(*job) ? 1 : 0;
        job->discard();
    } catch (const std::runtime_error&) {
        // Too small for a coarser copy, for example.
    }
}

/// What GDAL decodes at once, as the file claims: a block of one band, or of all where their pixels are interleaved.
std::int64_t bytesOfBlock(const QString& path)
{
    GDALDataset* const file = static_cast<GDALDataset*>(GDALOpen(path.toUtf8().constData(), GA_ReadOnly));
    if (!file)
        return 0;
    std::int64_t bytes = 0;
    if (file->GetRasterCount() > 0) {
        int width = 0;
        int height = 0;
        file->GetRasterBand(1)->GetBlockSize(&width, &height);
        const char* const interleave = file->GetMetadataItem("INTERLEAVE", "IMAGE_STRUCTURE");
        const bool all = interleave && EQUAL(interleave, "PIXEL");
        bytes = std::int64_t{width} * height * (all ? file->GetRasterCount() : 1) *
                GDALGetDataTypeSizeBytes(file->GetRasterBand(1)->GetRasterDataType());
    }
    GDALClose(file);
    return bytes;
}

/// Does with a file what applications do with files.
void exercise(const QString& path, Tally& tally)
{
    GDALStreamer set;
    const bool opened = set.openRead(path);
    const bool small = opened && isSmall(set);
    const std::int64_t res = set.res();
    ++(opened ? tally.opened : tally.failed);
    EXPECT_EQ(set.opened(), opened);
    EXPECT_EQ(set.lastError().code == StreamError::Code::None, opened);
    if (opened) {
        expectDescription(set);
        for (const double scale : {1.0, 0.5}) {
            readAll<unsigned char>(set, scale, tally);
            readAll<float>(set, scale, tally);
        }
    }
    set.close();

    vexel::ImageInfo info;
    Watchdog::nextCall();
    EXPECT_EQ(vexel::imageInfoWithGDAL(path, info), opened);
    const bool whole = vexel::gdal::verify(path, /*decode=*/small).isWhole();
    EXPECT_TRUE(opened || !whole);
    tally.whole += whole ? 1 : 0;
    Watchdog::nextCall();
    if (small)
        downsample(path, res, tally);
    Watchdog::nextCall();
    tally.updatable += set.openUpdate(path) ? 1 : 0;
}

/// A damaged copy of one of the files. Damage to a PNG file shows in its checksums, which makes it all there is to be
/// seen: every other one has good ones.
std::string damaged(const std::vector<std::string>& originals, std::uint64_t seed)
{
    oddinput::Dice dice(seed);
    const std::string& original = originals[dice.below(originals.size())];
    std::string bytes = oddinput::mutated(original, originals[dice.below(originals.size())], dice);
    const bool isPng = bytes.compare(0, 4, "\x89PNG") == 0;
    return isPng && dice.below(2) == 0 ? zoo::withPngChecksums(std::move(bytes)) : bytes;
}

struct Family
{
    const char* name;
    const char* extension;
    int files;
    std::vector<std::string> originals;
};

void PrintTo(const Family& family, std::ostream* stream)
{
    *stream << family.name;
}

class MutatedFiles : public testing::TestWithParam<Family>
{
protected:
    /// The bytes of the originals that this GDAL can make; what they refer to is in the folder.
    std::vector<std::string> originals() const
    {
        std::vector<std::string> contents;
        for (const std::string& name : GetParam().originals) {
            const zoo::Specimen& specimen = zoo::specimen(name);
            if (!zoo::missing(specimen).empty())
                continue;
            const QString path = m_folder / QString::fromStdString(specimen.file);
            specimen.make(path);
            contents.push_back(fileText(path));
        }
        return contents;
    }

    const TempFolder m_folder;
};

} // namespace

TEST_P(MutatedFiles, AreReadOrRefused)
{
    const QuietGdal quiet;
    const CacheSize cache(16 * mebi); // little, so that what is taken besides shows
    const LogCapture log;
    const std::vector<std::string> contents = originals();
    ASSERT_FALSE(contents.empty());
    const QString path = m_folder / (std::string("damaged.") + GetParam().extension).c_str();
    const int openBefore = rasters::openDatasets();
    Watchdog watchdog;
    std::int64_t mostMemory = 0;
    Tally tally;
    const int files = GetParam().files / (isThorough() ? 1 : shareOfFiles);
    for (int i = 0; i < files && !HasFailure(); ++i) {
        SCOPED_TRACE("file " + std::to_string(i));
        makeFile(path, damaged(contents, static_cast<std::uint64_t>(i)));
        watchdog.start(i, path.toStdString());
        [[maybe_unused]] const std::int64_t claimed = bytesOfBlock(path);
        const PeakMemory memory;
        exercise(path, tally);
        if (memory.isKnown())
            mostMemory = std::max(mostMemory, memory.rise());
#ifndef VEXEL_TESTS_SANITIZED
        if (memory.isKnown()) {
            EXPECT_LT(memory.rise(), 256 * mebi + claimed);
        }
#endif
        EXPECT_EQ(rasters::openDatasets(), openBefore);
    }
    std::ostringstream figures;
    figures << files << " files: " << tally;
    if (mostMemory > 0)
        figures << "; GDAL and all else took " << mostMemory / mebi << " MiB at most";
    tellFigures(figures.str());
    EXPECT_GT(tally.opened, files / 20);
    EXPECT_GT(tally.failed, files / 20);
    EXPECT_GT(tally.reads, files / 20);
#ifndef VEXEL_TESTS_SANITIZED
    if (!PeakMemory().isKnown())
        GTEST_SKIP() << "the system does not count peaks of memory";
#endif
}

INSTANTIATE_TEST_SUITE_P(
    Formats, MutatedFiles,
    testing::Values(
        Family{"GeoTiff",
               "tif",
               5500,
               {"Stripped",     "RowStrips",        "Tiled",     "PlanarTiled",     "PixelInterleaved",
                "BigTiffTiled", "BigEndianDeflate", "OneBit",    "TwelveBitsTiled", "LzwPredicted",
                "PackBits",     "DeflateTiled",     "ZstdTiled", "LercDeflate",     "JpegInTiffYCbCr",
                "FaxGroup4",    "Palette",          "RgbAlpha",  "Sparse",          "Pages",
                "InternalMask", "OverviewsAndMask", "Rotated",   "SouthUp",         "TiePointsOnly",
                "HalfFloat",    "OnePixel"}},
        Family{"Png",
               "png",
               1500,
               {"PngGray", "PngOneBit", "PngGray16", "PngGrayAlpha", "PngRgb", "PngRgba16", "PngPalette",
                "PngInterlacedGray", "PngInterlacedRgba"}},
        Family{
            "Jpeg", "jpg", 1500, {"Jpeg", "JpegGray", "JpegCmyk", "JpegProgressive", "JpegProgressiveGray"}},
        Family{"Virtual",
               "vrt",
               1500,
               {"Vrt", "VrtPart", "VrtEnlarged", "VrtScaled", "VrtMosaic", "VrtWithoutSources",
                "VrtOfMixedTypes"}}),
    [](const auto& row) { return std::string(row.param.name); });

#include "FuzzInput.h"
#include "streaming/GDALStreamer.h"
#include "utilities/probing.h"
#include "utilities/verify.h"

#include <cpl_vsi.h>
#include <gdal_priv.h>

#include <algorithm>
#include <numeric>
#include <vector>

// Any bytes as a raster file: described, read, verified.

namespace {

using vexel::GDALStreamer;
using vexel::PixelBox;
using vexel::PixelMatrix;
using vexel::PixelPoint;

const char* const path = "/vsimem/fuzz/raster";

/// The bytes as a file in memory, while it lives.
class File
{
public:
    File(const std::uint8_t* bytes, std::size_t size) : m_bytes(bytes, bytes + size)
    {
        VSIFCloseL(VSIFileFromMemBuffer(path, m_bytes.data(), m_bytes.size(), /*bTakeOwnership=*/FALSE));
    }
    ~File() { VSIUnlink(path); }
    File(const File&) = delete;
    File& operator=(const File&) = delete;

private:
    std::vector<GByte> m_bytes;
};

/// Whether GDAL's cache takes a block of all bands.
bool fitsIntoCache(GDALRasterBand& band, int noBands)
{
    int width = 0;
    int height = 0;
    band.GetBlockSize(&width, &height);
    const double bytes = GDALGetDataTypeSizeBytes(band.GetRasterDataType());
    return bytes * width * height * noBands <= fuzz::cacheBytes;
}

/// Whether GDAL can be asked for pixels: it clears and decodes as large a block as the header claims, of all
/// bands at once, and does so again for each band and box if its cache does not take the block.
bool hasSmallBlocks(GDALDataset& file)
{
    const int noBands = file.GetRasterCount();
    if (noBands < 1 || noBands > 50)
        return false;
    GDALRasterBand& band = *file.GetRasterBand(1);
    std::vector<GDALRasterBand*> images{&band};
    for (int i = 0; i < band.GetOverviewCount(); ++i)
        if (GDALRasterBand* const overview = band.GetOverview(i))
            images.push_back(overview);
    return std::all_of(images.begin(), images.end(), [&](GDALRasterBand* image) {
        GDALRasterBand* const mask = image->GetMaskBand();
        return fitsIntoCache(*image, noBands) && (!mask || fitsIntoCache(*mask, 1));
    });
}

bool hasSmallBlocks(const char* file)
{
    const GDALDatasetUniquePtr dataset(GDALDataset::Open(file, GDAL_OF_RASTER));
    return dataset && hasSmallBlocks(*dataset);
}

/// Whether all pixels can be decoded, of all bands together. Each block takes a call of GDAL, and a VRT file
/// of a few kilobytes claims millions. GeoTIFF headers that claim more blocks than their file lists may pass:
/// the library does not decode them.
bool isSmall(const GDALStreamer& set)
{
    constexpr std::int64_t most = 1 << 20;
    return std::int64_t{set.width()} * set.height() <= most / static_cast<std::int64_t>(set.noBands());
}

/// A box near each end of the raster, and one beyond it.
std::vector<PixelBox> boxesOf(const GDALStreamer& set)
{
    const int width = std::min(set.width(), 40);
    const int height = std::min(set.height(), 40);
    std::vector<PixelBox> boxes{{PixelPoint(0, 0), PixelPoint(width, height)}};
    if (isSmall(set)) {
        boxes.emplace_back(PixelPoint(set.width() - width, set.height() - height),
                           PixelPoint(set.width(), set.height()));
        boxes.emplace_back(PixelPoint(-3, -3), PixelPoint(width, height));
    }
    return boxes;
}

template <class T>
void read(const GDALStreamer& set)
{
    std::vector<int> bands(std::min<std::uint64_t>(set.noBands(), 5));
    std::iota(bands.begin(), bands.end(), 1);
    PixelMatrix<T> pixels;
    for (const PixelBox& box : boxesOf(set))
        for (const double scale : {1.0, 0.4}) {
            for (const int band : bands)
                set.read(pixels, static_cast<std::size_t>(band), box, scale, true, T(1));
            set.readBands(pixels, bands, box, scale, true, T(1));
        }
}

void readColours(const GDALStreamer& set)
{
    PixelMatrix<unsigned int> pixels;
    set.readRGB(pixels, boxesOf(set).front(), 1.0, true, 0u);
    set.readRGBA(pixels, boxesOf(set).front(), 0.5, true, 0u);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    fuzz::prepare();
    const File file(bytes, size);
    int openBefore = 0;
    GDALDataset::GetOpenDatasets(&openBefore);
    {
        GDALStreamer set;
        const bool opened = set.openRead(path, vexel::GdalFileType::SingleFile);
        const bool readable = opened && hasSmallBlocks(path);
        if (opened) {
            fuzz::require(set.width() > 0 && set.height() > 0 && set.noBands() > 0, "an open set has pixels");
            if (readable) {
                const GDALStreamer::KeepFilesOpen keep(set);
                read<unsigned char>(set);
                read<float>(set);
                readColours(set);
            }
        }
        vexel::ImageInfo info;
        fuzz::require(vexel::imageInfoWithGDAL(path, info) == opened, "a set that opens is described");
        const bool whole = vexel::gdal::verify(path, /*decode=*/readable && isSmall(set)).isWhole();
        fuzz::require(opened || !whole, "what does not open is not whole");
    }
    int openAfter = 0;
    GDALDataset::GetOpenDatasets(&openAfter);
    fuzz::require(openAfter == openBefore, "no dataset is left open");
    return 0;
}

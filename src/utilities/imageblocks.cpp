#include "utilities/imageblocks.h"

#include "streaming/gdaldataset.h"

#include <cpl_string.h>
#include <gdal_priv.h>

#include <algorithm>
#include <cstdint>
#include <string>

namespace vexel::gdal::verification {

namespace {

/// Whether the image lies in the file itself: images of files beside it carry the name of theirs.
bool liesIn(GDALDataset& file, GDALDataset* image)
{
    if (!image || image == &file || image->GetRasterCount() < 1)
        return false;
    const std::string name = image->GetDescription();
    return name.empty() || name == file.GetDescription();
}

/// The mask that is neither an alpha band nor derived from no-data values, if there is one in the file.
GDALDataset* maskOf(GDALDataset& file, const Image& image)
{
    if (image.band(1).GetMaskFlags() != GMF_PER_DATASET)
        return nullptr;
    GDALRasterBand* const mask = image.band(1).GetMaskBand();
    GDALDataset* const dataset = mask ? mask->GetDataset() : nullptr;
    return liesIn(file, dataset) ? dataset : nullptr;
}

std::vector<Image> overviewsOf(GDALDataset& file)
{
    std::vector<Image> overviews;
    GDALRasterBand& band = *file.GetRasterBand(1);
    for (int i = 0; i < band.GetOverviewCount(); ++i) {
        GDALRasterBand* const overview = band.GetOverview(i);
        GDALDataset* const dataset = overview ? overview->GetDataset() : nullptr;
        // All overviews are in the file or none, and only the first one of another file carries its name.
        if (!liesIn(file, dataset))
            break;
        overviews.push_back({dataset, QString("overview %1: ").arg(i + 1)});
    }
    return overviews;
}

} // namespace

GDALRasterBand& Image::band(int i) const
{
    return *dataset->GetRasterBand(i);
}

bool isGeoTiff(GDALDataset& file)
{
    return file.GetDriver() && EQUAL(file.GetDriver()->GetDescription(), "GTiff");
}

std::vector<Image> imagesOf(GDALDataset& file)
{
    std::vector<Image> images{{&file, QString()}};
    if (!isGeoTiff(file))
        return images;
    const std::vector<Image> overviews = overviewsOf(file);
    images.insert(images.end(), overviews.begin(), overviews.end());
    GDALDataset* const mask = maskOf(file, images.front());
    if (!mask)
        return images; // and if the overviews have any, they are those of a mask beside the file
    images.push_back({mask, "mask: "});
    for (const Image& overview : overviews) {
        GDALDataset* const ofOverview = maskOf(file, overview);
        const bool isNew = std::none_of(images.begin(), images.end(),
                                        [&](const Image& image) { return image.dataset == ofOverview; });
        if (ofOverview && isNew)
            images.push_back({ofOverview, overview.name + "mask: "});
    }
    return images;
}

BlockGrid::BlockGrid(const Image& image)
    : width(image.dataset->GetRasterXSize()), height(image.dataset->GetRasterYSize()),
      bands(image.dataset->GetRasterCount())
{
    image.band(1).GetBlockSize(&blockWidth, &blockHeight);
    blockWidth = std::max(blockWidth, 1);
    blockHeight = std::max(blockHeight, 1);
    bandsShareBlocks = bands > 1 && vexel::bandsShareBlocks(*image.dataset);
}

int BlockGrid::columns() const
{
    return static_cast<int>((std::int64_t{width} + blockWidth - 1) / blockWidth);
}

int BlockGrid::rows() const
{
    return static_cast<int>((std::int64_t{height} + blockHeight - 1) / blockHeight);
}

} // namespace vexel::gdal::verification

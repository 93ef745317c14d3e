#include "utilities/filecheck.h"

#include "companion/ThreadOption.h"
#include "companion/datasetinfo.h"
#include "streaming/GDALMutex.h"
#include "streaming/gdaldataset.h"
#include "streaming/gdalmessages.h"
#include "streaming/georeference.h"
#include "utilities/blockplaces.h"
#include "utilities/decodecheck.h"
#include "utilities/imageblocks.h"
#include "utilities/placecheck.h"
#include "utilities/verifyreport.h"

#include <cpl_conv.h>
#include <cpl_vsi.h>
#include <gdal_priv.h>

#include <cstdint>
#include <limits>
#include <utility>
#include <vector>

namespace vexel::gdal::verification {

namespace {

/// If GDAL splits large strips, it reports one as many blocks, of which only the first has a place.
constexpr const char* splitOption = "GDAL_ENABLE_TIFF_SPLIT";

/// Opens a file as the library does.
///
/// @param oneOfMany whether it belongs to a set, whose folder is not worth listing for each of its files.
Dataset openToRead(const QString& path, bool oneOfMany)
{
    if (path.isEmpty())
        return nullptr;
    const SideFilesOneByOne oneByOne(oneOfMany);
    return openDataset(path, GA_ReadOnly);
}

/// None for what is no file by itself, such as a page of one.
std::optional<std::uint64_t> sizeOf(const QString& path)
{
    VSIStatBufL status;
    if (VSIStatExL(path.toUtf8().constData(), &status, VSI_STAT_EXISTS_FLAG | VSI_STAT_SIZE_FLAG) != 0)
        return std::nullopt;
    return static_cast<std::uint64_t>(status.st_size);
}

/// Blocks of an image that is decoded without knowing where they lie.
std::uint64_t countBlocks(const Image& image)
{
    const BlockGrid grid(image);
    return static_cast<std::uint64_t>(grid.columns()) * static_cast<std::uint64_t>(grid.rows()) *
           static_cast<std::uint64_t>(grid.layers());
}

void decodeFile(const QString& path, bool oneOfMany, GdalMessages& messages, FileCheck& check)
{
    // A cut JPEG image has gray pixels at its end, of which its decoder merely warns.
    const ThreadOption strict("GDAL_ERROR_ON_LIBJPEG_WARNING", "YES");
    // What GDAL says on threads of its own is not heard here.
    const ThreadOption onThisThread("GDAL_NUM_THREADS", "1");
    messages.ignoreSoFar();
    const Dataset file = openToRead(path, oneOfMany);
    if (!file) {
        add(check.report, path, VerifyCode::NotOpened, messages.firstFailure("cannot be opened"));
        return;
    }
    // A file cannot hold more damaged rows than it has bytes, while a short header can claim billions.
    const std::uint64_t mostFailures = sizeOf(path).value_or(std::numeric_limits<std::uint64_t>::max());
    DecodeCheck decoding(path, mostFailures, messages, check.report);
    for (const Image& image : imagesOf(*file)) {
        const auto decodable = check.decodable.find(image.name);
        if (decodable != check.decodable.end())
            decoding.run(image, &decodable->second);
        if (!check.placesKnown) {
            decoding.run(image, nullptr);
            check.report.noBlocks += countBlocks(image);
        }
    }
}

Description describe(GDALDataset& file)
{
    Description description;
    description.bands = file.GetRasterCount();
    description.type = getDataType(file);
    const int columns = file.GetRasterXSize();
    const int rows = file.GetRasterYSize();
    description.rows = rows;
    Geotransform geotransform{};
    description.extent = file.GetGeoTransform(geotransform.data()) == CE_None
                             ? workspaceOfGeotransform(geotransform, columns, rows)
                             : Workspace(0, 0, columns, rows, 1);
    return description;
}

/// Why the library does not read such a file; empty if it does.
QString reasonAgainst(const Description& description)
{
    if (description.bands < 1)
        return "no bands";
    if (description.type == DataType::Unknown)
        return "no supported pixel type";
    if (description.extent.pixelWidth() < 1 || description.extent.pixelHeight() < 1)
        return "no pixels in units of 0.00001 map units";
    return QString();
}

/// Looks where the blocks of a file lie, if GDAL tells.
void checkPlaces(GDALDataset& file, const QString& path, const std::vector<Image>& images,
                 GdalMessages& messages, FileCheck& check)
{
    const std::optional<std::uint64_t> size = sizeOf(path);
    check.placesKnown = isGeoTiff(file) && size;
    if (!check.placesKnown)
        return;
    PlaceCheck places(path, *size, messages, check.report);
    for (const Image& image : images)
        if (std::optional<DecodableBlocks> decodable = places.run(image))
            check.decodable.emplace(image.name, std::move(*decodable));
}

/// Checks what the headers say. False if the library does not read the file.
bool checkHeaders(const QString& path, bool oneOfMany, GdalMessages& messages, FileCheck& check)
{
    const ThreadOption wholeStrips(splitOption, "NO");
    const Dataset file = openToRead(path, oneOfMany);
    if (!file) {
        add(check.report, path, VerifyCode::NotOpened, messages.firstFailure("cannot be opened"));
        return false;
    }
    check.report.noFiles = 1;
    const Description description = describe(*file);
    const QString reason = reasonAgainst(description);
    if (!reason.isEmpty()) {
        add(check.report, path, VerifyCode::NotSupported, reason);
        return false;
    }
    check.description = description;
    const std::vector<Image> images = imagesOf(*file);
    if (messages.hasFailure())
        add(check.report, path, VerifyCode::HeaderDamaged, messages.firstFailure());
    checkPlaces(*file, path, images, messages, check);
    return true;
}

} // namespace

FileCheck checkFile(const QString& path, bool decode, bool oneOfMany)
{
    const GDALMutex lock;
    GdalMessages messages(GdalMessages::Fate::Dropped);
    FileCheck check;
    if (!checkHeaders(path, oneOfMany, messages, check))
        return check;
    if (decode)
        decodeFile(path, oneOfMany, messages, check);
    else if (!check.placesKnown)
        check.report.noFilesNotChecked = 1;
    return check;
}

} // namespace vexel::gdal::verification

namespace vexel::gdal {

bool hasAllBlocks(const QString& path, QString& reason)
{
    using namespace verification;
    const GDALMutex lock;
    GdalMessages messages(GdalMessages::Fate::Dropped);
    const ThreadOption wholeStrips(splitOption, "NO");
    const Dataset file = openToRead(path, /*oneOfMany=*/true);
    if (!file) {
        reason = messages.firstFailure("cannot be opened");
        return false;
    }
    FileCheck check;
    checkPlaces(*file, path, imagesOf(*file), messages, check);
    if (!check.placesKnown)
        reason = "no GeoTIFF";
    else if (!check.report.isWhole())
        reason = check.report.findings.front().text;
    else if (check.report.noSparseBlocks != 0)
        reason = QString("%1 blocks are missing").arg(check.report.noSparseBlocks);
    else
        return true;
    return false;
}

} // namespace vexel::gdal

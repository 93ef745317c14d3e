#include "utilities/verify.h"

#include "companion/datasetinfo.h"
#include "companion/imageformat.h"
#include "streaming/GDALMutex.h"
#include "streaming/gdaldataset.h"
#include "streaming/georeference.h"
#include "streaming/tilegrid.h"
#include "streaming/writetargets.h"
#include "utilities/blockplaces.h"
#include "utilities/tilenames.h"

#include <cpl_conv.h>
#include <cpl_error.h>
#include <cpl_string.h>
#include <cpl_vsi.h>
#include <gdal_priv.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <limits>
#include <map>
#include <numeric>
#include <optional>
#include <set>
#include <string>
#include <tuple>
#include <utility>

namespace vexel::gdal {

namespace {

/// If GDAL splits large strips, it reports one as many blocks, of which only the first has a place.
constexpr const char* splitOption = "GDAL_ENABLE_TIFF_SPLIT";

constexpr std::uint64_t decodedAtOnce = std::uint64_t{16} << 20; // bytes

/// Keeps what GDAL says on this thread to itself while it lives, and remembers the first failure: those that
/// follow only tell what came of it.
class Messages
{
public:
    Messages() { CPLPushErrorHandlerEx(&Messages::note, this); }
    ~Messages() { CPLPopErrorHandler(); }
    Messages(const Messages&) = delete;
    Messages& operator=(const Messages&) = delete;

    bool tellOfFailure() const { return m_failed; }
    /// The first failure, or `otherwise` if there was none.
    QString firstFailureOr(const QString& otherwise) const
    {
        return m_text.empty() ? otherwise : QString::fromUtf8(m_text.c_str());
    }
    void forget()
    {
        m_failed = false;
        m_text.clear();
    }

private:
    static void CPL_STDCALL note(CPLErr severity, CPLErrorNum /*number*/, const char* text)
    {
        auto& self = *static_cast<Messages*>(CPLGetErrorHandlerUserData());
        if (severity < CE_Failure || self.m_failed)
            return;
        self.m_failed = true;
        try {
            self.m_text = text ? text : "";
        } catch (...) {
            // No exception may pass through GDAL. That there was a failure counts more than its text.
        }
    }

    bool m_failed = false;
    std::string m_text;
};

/// Sets one of GDAL's options for this thread while it lives.
class ThreadOption
{
public:
    ThreadOption(const char* name, const char* value) : m_name(name)
    {
        if (const char* former = CPLGetThreadLocalConfigOption(name, nullptr))
            m_former = former;
        CPLSetThreadLocalConfigOption(name, value);
    }
    ~ThreadOption() { CPLSetThreadLocalConfigOption(m_name, m_former ? m_former->c_str() : nullptr); }
    ThreadOption(const ThreadOption&) = delete;
    ThreadOption& operator=(const ThreadOption&) = delete;

private:
    const char* m_name;
    std::optional<std::string> m_former;
};

void add(VerifyReport& report, VerifyFinding finding)
{
    ++report.noFindings;
    if (report.findings.size() < VerifyReport::maxFindings)
        report.findings.push_back(std::move(finding));
}

void add(VerifyReport& report, const QString& file, VerifyCode code, const QString& text)
{
    VerifyFinding finding;
    finding.file = file;
    finding.code = code;
    finding.text = text;
    add(report, std::move(finding));
}

/// Blocks, or rows of blocks, that follow each other and have the same kind of damage: one finding tells of all.
class Run
{
public:
    /// @param one,many what the run consists of.
    Run(VerifyReport& report, const char* one, const char* many) : m_report(report), m_one(one), m_many(many)
    {}
    Run(const Run&) = delete;
    Run& operator=(const Run&) = delete;

    /// @param finding makes the finding; asked for the first of the run alone.
    template <class MakeFinding>
    void goOn(const MakeFinding& finding)
    {
        if (m_length++ == 0)
            m_first = finding();
    }

    /// Adds the finding, if there is one.
    void end()
    {
        if (m_length > 1)
            m_first.text += m_length == 2 ? QString(", and the next %1").arg(m_one)
                                          : QString(", and the next %1 %2").arg(m_length - 1).arg(m_many);
        if (m_length > 0)
            add(m_report, std::move(m_first));
        m_length = 0;
    }

private:
    VerifyReport& m_report;
    const char* m_one;
    const char* m_many;
    VerifyFinding m_first;
    std::uint64_t m_length = 0;
};

/// Adds what was found in a file to what was found before.
void append(VerifyReport& report, const VerifyReport& ofFile)
{
    const std::size_t room = VerifyReport::maxFindings - report.findings.size();
    const auto taken = static_cast<std::ptrdiff_t>(std::min(room, ofFile.findings.size()));
    report.findings.insert(report.findings.end(), ofFile.findings.begin(), ofFile.findings.begin() + taken);
    report.noFindings += ofFile.noFindings;
    report.noFiles += ofFile.noFiles;
    report.noBlocks += ofFile.noBlocks;
    report.noSparseBlocks += ofFile.noSparseBlocks;
    report.noFilesNotChecked += ofFile.noFilesNotChecked;
}

/// Opens a file as the library does.
///
/// @param oneOfMany whether it belongs to a set, whose folder is not worth listing for each of its files.
Dataset openToRead(const QString& path, bool oneOfMany)
{
    if (path.isEmpty())
        return nullptr;
    constexpr const char* option = "GDAL_DISABLE_READDIR_ON_OPEN";
    std::optional<ThreadOption> sideFilesOneByOne;
    if (oneOfMany && !CPLGetConfigOption(option, nullptr))
        sideFilesOneByOne.emplace(option, "YES");
    return openDataset(path, GA_ReadOnly);
}

/// The raster of a file, one of its overviews, or a mask.
struct Image
{
    GDALDataset* dataset;
    QString name; ///< to begin a text with; empty for the raster itself

    GDALRasterBand& band(int i) const { return *dataset->GetRasterBand(i); }
};

bool isGeoTiff(GDALDataset& file)
{
    return file.GetDriver() && EQUAL(file.GetDriver()->GetDescription(), "GTiff");
}

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

/// All images of which GDAL tells where their blocks lie in the file.
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

/// The blocks of an image: all its bands have the same.
struct BlockGrid
{
    explicit BlockGrid(const Image& image)
        : width(image.dataset->GetRasterXSize()), height(image.dataset->GetRasterYSize()),
          bands(image.dataset->GetRasterCount())
    {
        image.band(1).GetBlockSize(&blockWidth, &blockHeight);
        blockWidth = std::max(blockWidth, 1);
        blockHeight = std::max(blockHeight, 1);
        const char* const interleave = image.dataset->GetMetadataItem("INTERLEAVE", "IMAGE_STRUCTURE");
        bandsShareBlocks = bands > 1 && interleave && EQUAL(interleave, "PIXEL");
    }

    int columns() const { return static_cast<int>((std::int64_t{width} + blockWidth - 1) / blockWidth); }
    int rows() const { return static_cast<int>((std::int64_t{height} + blockHeight - 1) / blockHeight); }
    /// How often each block stands in the file, and the band to name for the i-th.
    int layers() const { return bandsShareBlocks ? 1 : bands; }
    int bandOfLayer(int layer) const { return bandsShareBlocks ? -1 : layer; }

    int width;
    int height;
    int bands;
    int blockWidth = 1;
    int blockHeight = 1;
    bool bandsShareBlocks = false;
};

/// The blocks of an image that are worth decoding: those that lie in the file, once each.
class DecodableBlocks
{
public:
    explicit DecodableBlocks(const BlockGrid& grid)
        : m_columns(grid.columns()), m_rows(grid.rows()),
          m_decodable(asSize(m_columns) * asSize(m_rows) * asSize(grid.layers()))
    {}

    void insert(int layer, int row, int column, std::uint64_t offset, std::uint64_t size)
    {
        m_places.push_back({offset, size, indexOf(layer, row, column)});
    }

    /// Chooses one block of each place. All have been inserted.
    ///
    /// @return how many bytes the places have.
    std::uint64_t choose()
    {
        std::sort(m_places.begin(), m_places.end());
        std::uint64_t bytes = 0;
        const auto isSamePlace = [](const Place& a, const Place& b) {
            return a.offset == b.offset && a.size == b.size;
        };
        m_places.erase(std::unique(m_places.begin(), m_places.end(), isSamePlace), m_places.end());
        for (const Place& place : m_places) {
            m_decodable[place.block] = true;
            bytes += place.size;
        }
        m_places = std::vector<Place>();
        return bytes;
    }

    /// @param grid of the same image, which GDAL may have divided further: a single block into many.
    bool contains(const BlockGrid& grid, int layer, int row, int column) const
    {
        const bool isSame = grid.columns() == m_columns && grid.rows() == m_rows;
        return m_decodable[isSame ? indexOf(layer, row, column) : indexOf(layer, 0, 0)];
    }

private:
    struct Place
    {
        std::uint64_t offset;
        std::uint64_t size;
        std::size_t block;

        bool operator<(const Place& other) const
        {
            return std::tie(offset, size, block) < std::tie(other.offset, other.size, other.block);
        }
    };

    static std::size_t asSize(int length) { return static_cast<std::size_t>(length); }

    std::size_t indexOf(int layer, int row, int column) const
    {
        return (asSize(layer - 1) * asSize(m_rows) + asSize(row)) * asSize(m_columns) + asSize(column);
    }

    int m_columns;
    int m_rows;
    std::vector<bool> m_decodable;
    std::vector<Place> m_places;
};

/// Looks where the blocks of one file lie.
class PlaceCheck
{
public:
    PlaceCheck(const QString& path, std::uint64_t fileSize, Messages& messages, VerifyReport& report)
        : m_path(path), m_fileSize(fileSize), m_messages(messages), m_report(report),
          m_lost(report, "block", "blocks"), m_tablesLeft(fileSize), m_bytesLeft(largestPart * fileSize)
    {}

    /// The blocks to decode; none if the file is too small for the image's table or for its blocks.
    std::optional<DecodableBlocks> run(const Image& image)
    {
        const BlockGrid grid(image);
        // Every block has an entry in a table. That bounds the work that a forged header can ask for.
        const std::uint64_t blocks =
            static_cast<std::uint64_t>(grid.columns()) * static_cast<std::uint64_t>(grid.rows());
        if (blocks > m_tablesLeft / static_cast<std::uint64_t>(grid.layers())) {
            addTableFinding(
                image, -1,
                QString("%1 blocks do not go into a file of %2 bytes").arg(blocks).arg(m_fileSize));
            return std::nullopt;
        }
        m_tablesLeft -= blocks * static_cast<std::uint64_t>(grid.layers());
        DecodableBlocks decodable(grid);
        m_messages.forget();
        checkBlocks(image, grid, decodable);
        const std::uint64_t bytes = decodable.choose();
        if (bytes > m_bytesLeft) {
            addTableFinding(image, -1,
                            QString("blocks of %1 bytes in all do not go into a file of %2 bytes")
                                .arg(bytes)
                                .arg(m_fileSize));
            return std::nullopt;
        }
        m_bytesLeft -= bytes;
        return decodable;
    }

private:
    /// The bytes of all blocks, as a multiple of those of the file. Blocks do not overlap, but a table may give them more
    /// than they have, which decoders do not mind.
    static constexpr std::uint64_t largestPart = 16;

    void checkBlocks(const Image& image, const BlockGrid& grid, DecodableBlocks& decodable)
    {
        bool isReadable = true;
        for (int layer = 1; isReadable && layer <= grid.layers(); ++layer) {
            for (int row = 0; isReadable && row < grid.rows(); ++row)
                for (int column = 0; isReadable && column < grid.columns(); ++column)
                    isReadable = checkBlock(image, grid, layer, column, row, decodable);
            m_lost.end();
        }
    }

    /// False if the table cannot be read.
    bool checkBlock(const Image& image, const BlockGrid& grid, int layer, int column, int row,
                    DecodableBlocks& decodable)
    {
        const std::uint64_t offset = item(image.band(layer), "BLOCK_OFFSET", column, row);
        const std::uint64_t size = item(image.band(layer), "BLOCK_SIZE", column, row);
        if (m_messages.tellOfFailure()) {
            addTableFinding(image, grid.bandOfLayer(layer), m_messages.firstFailureOr(QString()));
            return false;
        }
        const bool isSparse = offset == 0 && size == 0;
        ++(isSparse ? m_report.noSparseBlocks : m_report.noBlocks);
        if (!isSparse && !isInFile(offset, size)) {
            m_lost.goOn([&] {
                return VerifyFinding{m_path,
                                     grid.bandOfLayer(layer),
                                     column,
                                     row,
                                     VerifyCode::BlockOutside,
                                     image.name + QString("%1 bytes from byte %2 on in a file of %3 bytes")
                                                      .arg(size)
                                                      .arg(offset)
                                                      .arg(m_fileSize)};
            });
            return true;
        }
        m_lost.end();
        if (!isSparse)
            decodable.insert(layer, row, column, offset, size);
        return true;
    }

    bool isInFile(std::uint64_t offset, std::uint64_t size) const
    {
        constexpr std::uint64_t headerSize = 8;
        return offset >= headerSize && size <= m_fileSize && offset <= m_fileSize - size;
    }

    /// 0 for blocks that are not in the file.
    static std::uint64_t item(GDALRasterBand& band, const char* name, int column, int row)
    {
        char key[64];
        std::snprintf(key, sizeof key, "%s_%d_%d", name, column, row);
        const char* const text = band.GetMetadataItem(key, "TIFF");
        return text ? std::strtoull(text, nullptr, 10) : 0;
    }

    void addTableFinding(const Image& image, int band, const QString& text)
    {
        m_lost.end();
        add(m_report, {m_path, band, -1, -1, VerifyCode::BlockTable, image.name + text});
    }

    const QString& m_path;
    std::uint64_t m_fileSize;
    Messages& m_messages;
    VerifyReport& m_report;
    Run m_lost;
    std::uint64_t m_tablesLeft; ///< bytes for the tables of further images
    std::uint64_t m_bytesLeft;  ///< the same for their blocks
};

/// A part of an image that is read in one go.
struct Window
{
    int columns;
    int rows;
};

/// The largest window of whole block columns in a row of blocks that memory allows; of a block that is too
/// large by itself a part.
Window windowOf(const BlockGrid& grid, int rows, std::uint64_t bytesPerPixel)
{
    const std::uint64_t pixels = std::max<std::uint64_t>(decodedAtOnce / bytesPerPixel, 1);
    const auto atMost = [](std::uint64_t value, int limit) {
        return static_cast<int>(std::clamp<std::uint64_t>(value, 1, static_cast<std::uint64_t>(limit)));
    };
    const std::uint64_t columns = pixels / static_cast<std::uint64_t>(rows);
    const auto blockWidth = static_cast<std::uint64_t>(grid.blockWidth);
    if (columns >= blockWidth)
        return {atMost(columns / blockWidth * blockWidth, grid.width), rows};
    const int blockColumns = atMost(pixels, std::min(grid.blockWidth, grid.width));
    return {blockColumns, atMost(pixels / static_cast<std::uint64_t>(blockColumns), rows)};
}

/// Decodes the images of one file.
class DecodeCheck
{
public:
    /// @param mostFailures how many rows of blocks are tried that cannot be decoded.
    DecodeCheck(const QString& path, std::uint64_t mostFailures, Messages& messages, VerifyReport& report)
        : m_path(path), m_failuresLeft(mostFailures), m_messages(messages),
          m_damaged(report, "row of blocks", "rows of blocks")
    {}

    /// @param decodable nullptr if all blocks are to be decoded.
    void run(const Image& image, const DecodableBlocks* decodable)
    {
        const BlockGrid grid(image);
        for (int layer = 1; layer <= grid.layers(); ++layer) {
            for (int row = 0; row < grid.rows() && m_failuresLeft > 0; ++row)
                decodeRow(image, grid, layer, row, decodable);
            m_damaged.end();
        }
    }

private:
    void decodeRow(const Image& image, const BlockGrid& grid, int layer, int row,
                   const DecodableBlocks* decodable)
    {
        m_messages.forget();
        if (decodes(image, grid, layer, row, decodable)) {
            m_damaged.end();
            return;
        }
        --m_failuresLeft;
        m_damaged.goOn([&] {
            return VerifyFinding{m_path,
                                 grid.bandOfLayer(layer),
                                 -1,
                                 row,
                                 VerifyCode::BlockDamaged,
                                 image.name + m_messages.firstFailureOr("cannot be decoded")};
        });
    }

    /// Reads the blocks of a row that are to be decoded. False if GDAL fails, or says so.
    bool decodes(const Image& image, const BlockGrid& grid, int layer, int row,
                 const DecodableBlocks* decodable)
    {
        const auto isWanted = [&](int column) {
            return !decodable || decodable->contains(grid, layer, row, column);
        };
        const int columns = grid.columns();
        for (int column = 0; column < columns; ++column) {
            const int first = column;
            while (column < columns && isWanted(column))
                ++column;
            if (column > first && !decodes(image, grid, layer, row, first, column))
                return false;
        }
        return true;
    }

    /// Reads neighbouring blocks of one band, or of all that share them.
    bool decodes(const Image& image, const BlockGrid& grid, int layer, int blockRow, int firstBlock,
                 int endBlock)
    {
        const int top = blockRow * grid.blockHeight;
        const int rows = std::min(grid.blockHeight, grid.height - top);
        const std::int64_t end = std::min<std::int64_t>(std::int64_t{endBlock} * grid.blockWidth, grid.width);
        const GDALDataType type = image.band(layer).GetRasterDataType();
        std::vector<int> bands(grid.bandsShareBlocks ? static_cast<std::size_t>(grid.bands) : 1);
        std::iota(bands.begin(), bands.end(), layer);
        const std::uint64_t bytesPerPixel =
            bands.size() * static_cast<std::uint64_t>(GDALGetDataTypeSizeBytes(type));
        const Window window = windowOf(grid, rows, bytesPerPixel);
        m_pixels.resize(static_cast<std::size_t>(window.columns) * static_cast<std::size_t>(window.rows) *
                        bytesPerPixel);
        for (std::int64_t x = std::int64_t{firstBlock} * grid.blockWidth; x < end; x += window.columns)
            for (std::int64_t y = top; y < std::int64_t{top} + rows; y += window.rows) {
                const int left = static_cast<int>(x);
                const int upper = static_cast<int>(y);
                const int columnsHere = static_cast<int>(std::min<std::int64_t>(window.columns, end - x));
                const int rowsHere = std::min(window.rows, top + rows - upper);
                if (image.dataset->RasterIO(GF_Read, left, upper, columnsHere, rowsHere, m_pixels.data(),
                                            columnsHere, rowsHere, type, static_cast<int>(bands.size()),
                                            bands.data(), 0, 0, 0, nullptr) != CE_None ||
                    m_messages.tellOfFailure())
                    return false;
            }
        return true;
    }

    const QString& m_path;
    std::uint64_t m_failuresLeft;
    Messages& m_messages;
    Run m_damaged;
    std::vector<unsigned char> m_pixels;
};

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

/// What a file is.
struct Description
{
    int bands = 0;
    int rows = 0; ///< of the file; the extent counts in square pixels
    DataType type = DataType::Unknown;
    Workspace extent;
};

/// What was found in one file, and what it is if the library can read it.
struct FileCheck
{
    VerifyReport report;
    std::optional<Description> description;
    bool placesKnown = false; ///< whether GDAL tells where the blocks lie
    /// By the name of their image. Others are not decoded if places are known: a header of a few bytes can claim billions
    /// of blocks, and a table of many entries blocks that are larger than the file.
    std::map<QString, DecodableBlocks> decodable;
};

void decodeFile(const QString& path, bool oneOfMany, Messages& messages, FileCheck& check)
{
    // A cut JPEG image has gray pixels at its end, of which its decoder merely warns.
    const ThreadOption strict("GDAL_ERROR_ON_LIBJPEG_WARNING", "YES");
    // What GDAL says on threads of its own is not heard here.
    const ThreadOption onThisThread("GDAL_NUM_THREADS", "1");
    messages.forget();
    const Dataset file = openToRead(path, oneOfMany);
    if (!file) {
        add(check.report, path, VerifyCode::NotOpened, messages.firstFailureOr("cannot be opened"));
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
void checkPlaces(GDALDataset& file, const QString& path, const std::vector<Image>& images, Messages& messages,
                 FileCheck& check)
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
bool checkHeaders(const QString& path, bool oneOfMany, Messages& messages, FileCheck& check)
{
    const ThreadOption wholeStrips(splitOption, "NO");
    const Dataset file = openToRead(path, oneOfMany);
    if (!file) {
        add(check.report, path, VerifyCode::NotOpened, messages.firstFailureOr("cannot be opened"));
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
    if (messages.tellOfFailure())
        add(check.report, path, VerifyCode::HeaderDamaged, messages.firstFailureOr(QString()));
    checkPlaces(*file, path, images, messages, check);
    return true;
}

FileCheck checkFile(const QString& path, bool decode, bool oneOfMany)
{
    const GDALMutex lock;
    Messages messages;
    FileCheck check;
    if (!checkHeaders(path, oneOfMany, messages, check))
        return check;
    if (decode)
        decodeFile(path, oneOfMany, messages, check);
    else if (!check.placesKnown)
        check.report.noFilesNotChecked = 1;
    return check;
}

struct Tile
{
    TileFile file;
    Description description;

    int width() const { return description.extent.pixelWidth(); }
    int height() const { return description.extent.pixelHeight(); }
    std::int64_t pixelWidth() const { return description.extent.res(); }
    std::int64_t pixelHeight() const { return description.extent.height() / std::max(description.rows, 1); }
    std::int64_t mapWidth() const { return description.extent.width(); }
    std::int64_t mapHeight() const { return description.extent.height(); }
};

/// The value that most tiles have, the smallest of several; none without tiles.
template <class Value>
auto mostFrequent(const std::vector<Tile>& tiles, const Value& value)
{
    std::map<decltype(value(tiles.front())), std::size_t> counts;
    for (const Tile& tile : tiles)
        ++counts[value(tile)];
    return std::max_element(counts.begin(), counts.end(),
                            [](const auto& a, const auto& b) { return a.second < b.second; })
        ->first;
}

/// What is expected of the tiles of a set.
struct Layout
{
    std::int64_t columns = 0; ///< of the grid that all names span
    std::int64_t rows = 0;
    int bands = 0;
    DataType type = DataType::Unknown;
    std::pair<std::int64_t, std::int64_t> pixelSize; ///< width and height, in integer map units
    int width = 0;                                   ///< pixels of a tile that is not in the last column
    int height = 0;
    int lastWidth = 0;
    int lastHeight = 0;
    std::int64_t mapWidth = 0; ///< in integer map units, of the same tiles
    std::int64_t mapHeight = 0;

    int widthOf(const TileFile& tile) const { return tile.column + 1 == columns ? lastWidth : width; }
    int heightOf(const TileFile& tile) const { return tile.row + 1 == rows ? lastHeight : height; }
};

std::pair<std::int64_t, std::int64_t> pixelSizeOf(const Tile& tile)
{
    return {tile.pixelWidth(), tile.pixelHeight()};
}

/// The length that most tiles have, and that of the tiles in the last column or row: at most as large.
template <class IsLast, class Length>
auto fullAndLast(const std::vector<Tile>& tiles, const IsLast& isLast, const Length& length)
{
    std::vector<Tile> lastTiles;
    std::vector<Tile> others;
    for (const Tile& tile : tiles)
        (isLast(tile) ? lastTiles : others).push_back(tile);
    const auto full = mostFrequent(others.empty() ? lastTiles : others, length);
    return std::pair(full, lastTiles.empty() ? full : std::min(full, mostFrequent(lastTiles, length)));
}

/// @param tiles those of the files that can be read.
Layout layoutOf(const std::vector<TileFile>& files, const std::vector<Tile>& tiles)
{
    Layout layout;
    for (const TileFile& file : files) {
        layout.columns = std::max(layout.columns, std::int64_t{file.column} + 1);
        layout.rows = std::max(layout.rows, std::int64_t{file.row} + 1);
    }
    if (tiles.empty())
        return layout;
    layout.bands = mostFrequent(tiles, [](const Tile& tile) { return tile.description.bands; });
    layout.type = mostFrequent(tiles, [](const Tile& tile) { return tile.description.type; });
    layout.pixelSize = mostFrequent(tiles, pixelSizeOf);
    const auto inLastColumn = [&](const Tile& tile) { return tile.file.column + 1 == layout.columns; };
    const auto inLastRow = [&](const Tile& tile) { return tile.file.row + 1 == layout.rows; };
    std::tie(layout.width, layout.lastWidth) = fullAndLast(tiles, inLastColumn, std::mem_fn(&Tile::width));
    std::tie(layout.height, layout.lastHeight) = fullAndLast(tiles, inLastRow, std::mem_fn(&Tile::height));
    layout.mapWidth = fullAndLast(tiles, inLastColumn, std::mem_fn(&Tile::mapWidth)).first;
    layout.mapHeight = fullAndLast(tiles, inLastRow, std::mem_fn(&Tile::mapHeight)).first;
    return layout;
}

/// Adds the places of the grid that no file is named for. One far index makes them many: they are counted
/// without visiting each.
void addMissing(const QString& path, const std::vector<TileFile>& files, const Layout& layout,
                VerifyReport& report)
{
    std::set<std::pair<std::int64_t, std::int64_t>> present;
    for (const TileFile& file : files)
        present.emplace(file.column, file.row);
    const std::uint64_t missing =
        static_cast<std::uint64_t>(layout.columns) * static_cast<std::uint64_t>(layout.rows) - present.size();
    std::uint64_t listed = 0;
    for (std::int64_t column = 0; column < layout.columns; ++column)
        for (std::int64_t row = 0; row < layout.rows; ++row) {
            if (listed == std::min<std::uint64_t>(missing, VerifyReport::maxFindings)) {
                report.noFindings += missing - listed;
                return;
            }
            if (present.count({column, row}) > 0)
                continue;
            ++listed;
            add(report, tile2path(path, static_cast<int>(column) + 1, static_cast<int>(row) + 1),
                VerifyCode::TileMissing,
                QString("no tile in column %1, row %2").arg(column + 1).arg(row + 1));
        }
}

void addDeviations(const Tile& tile, const Layout& layout, VerifyReport& report)
{
    const auto expect = [&](bool asExpected, VerifyCode code, const QString& text) {
        if (!asExpected)
            add(report, tile.file.path, code, text);
    };
    expect(tile.description.bands == layout.bands, VerifyCode::TileBands,
           QString("%1 bands instead of %2").arg(tile.description.bands).arg(layout.bands));
    expect(tile.description.type == layout.type, VerifyCode::TileType,
           "another pixel type than the other tiles");
    expect(pixelSizeOf(tile) == layout.pixelSize, VerifyCode::TilePixelSize,
           QString("pixels of %1 x %2 instead of %3 x %4 units of 0.00001 map units")
               .arg(tile.pixelWidth())
               .arg(tile.pixelHeight())
               .arg(layout.pixelSize.first)
               .arg(layout.pixelSize.second));
    const int width = layout.widthOf(tile.file);
    const int height = layout.heightOf(tile.file);
    expect(tile.width() == width && tile.height() == height, VerifyCode::TileSize,
           QString("%1 x %2 instead of %3 x %4 pixels")
               .arg(tile.width())
               .arg(tile.height())
               .arg(width)
               .arg(height));
}

/// One axis of the places of tiles: edge and index of each, and the length of a cell and of a pixel. In
/// integer map units.
struct Axis
{
    double cell;
    double pixel;
    std::vector<double> edges = {};
    std::vector<int> indices = {};

    double startFrom(std::size_t i) const { return edges[i] - indices[i] * cell; }

    /// Where the grid starts by most tiles.
    double start() const
    {
        std::vector<double> starts;
        for (std::size_t i = 0; i < edges.size(); ++i)
            starts.push_back(startFrom(i));
        const auto middle = starts.begin() + static_cast<std::ptrdiff_t>(starts.size() / 2);
        std::nth_element(starts.begin(), middle, starts.end());
        return *middle;
    }

    /// Within a pixel, and the half unit by which the size of each pixel of the grid may have been rounded.
    bool fits(std::size_t i, double gridStart, std::int64_t cells) const
    {
        const double pixels = cell / pixel * static_cast<double>(cells);
        return std::abs(startFrom(i) - gridStart) <= pixel + 0.5 * pixels;
    }
};

/// Adds the tiles that lie elsewhere than their names say. JPEG images have no place of their own.
void addMisplaced(const std::vector<Tile>& tiles, const Layout& layout, VerifyReport& report)
{
    Axis x{static_cast<double>(layout.mapWidth), static_cast<double>(layout.pixelSize.first)};
    Axis y{static_cast<double>(layout.mapHeight), static_cast<double>(layout.pixelSize.second)};
    std::vector<const Tile*> placed;
    for (const Tile& tile : tiles) {
        if (isJpeg(tile.file.path))
            continue;
        x.edges.push_back(static_cast<double>(tile.description.extent.minx()));
        y.edges.push_back(static_cast<double>(tile.description.extent.miny()));
        x.indices.push_back(tile.file.column);
        y.indices.push_back(tile.file.row);
        placed.push_back(&tile);
    }
    if (placed.empty())
        return;
    const double startX = x.start();
    const double startY = y.start();
    for (std::size_t i = 0; i < placed.size(); ++i)
        if (!x.fits(i, startX, layout.columns) || !y.fits(i, startY, layout.rows))
            add(report, placed[i]->file.path, VerifyCode::TilePlace,
                QString("does not lie in column %1, row %2")
                    .arg(std::int64_t{placed[i]->file.column} + 1)
                    .arg(std::int64_t{placed[i]->file.row} + 1));
}

/// Whether the set opens: its tiles fill the grid over their common extent.
bool fillGrid(const std::vector<Tile>& tiles, const Layout& layout)
{
    Workspace extent;
    std::vector<tilegrid::Candidate> candidates;
    for (const Tile& tile : tiles) {
        const std::int64_t x = std::int64_t{tile.file.column} * layout.width;
        const std::int64_t y = std::int64_t{tile.file.row} * layout.height;
        extent.merge(isJpeg(tile.file.path) ? Workspace(x, y, x + tile.width(), y + tile.height(), 1)
                                            : tile.description.extent);
        candidates.push_back({tile.file.column, tile.file.row, tile.width(), tile.height()});
    }
    return tilegrid::tileCount(extent, layout.width, layout.height) == tiles.size() &&
           extent.createTiles(layout.width, layout.height) &&
           tilegrid::orderByGrid(extent, candidates).size() == extent.noTiles();
}

/// Checks each tile by itself; gives those that can be read.
std::vector<Tile> checkTiles(const std::vector<TileFile>& files, bool decode, VerifyReport& report)
{
    std::vector<Tile> tiles;
    for (const TileFile& file : files) {
        const FileCheck check = checkFile(file.path, decode, /*oneOfMany=*/true);
        append(report, check.report);
        if (check.description)
            tiles.push_back({file, *check.description});
    }
    return tiles;
}

VerifyReport checkSet(const QString& path, const std::vector<TileFile>& files, bool decode)
{
    VerifyReport report;
    const std::vector<Tile> tiles = checkTiles(files, decode, report);
    const Layout layout = layoutOf(files, tiles);
    VerifyReport ofSet;
    addMissing(path, files, layout, ofSet);
    for (const Tile& tile : tiles)
        addDeviations(tile, layout, ofSet);
    if (ofSet.isWhole())
        addMisplaced(tiles, layout, ofSet);
    if (ofSet.isWhole() && tiles.size() == files.size() && !fillGrid(tiles, layout))
        add(ofSet, path, VerifyCode::NoGrid, "the tiles do not fill one grid");
    append(report, ofSet);
    return report;
}

} // namespace

VerifyReport verify(const QString& path, bool decode)
{
    FileCheck single = checkFile(path, decode, /*oneOfMany=*/false);
    if (single.description)
        return single.report;
    const std::vector<TileFile> tiles = tileFilesOf(path);
    if (!tiles.empty())
        return checkSet(path, tiles, decode);
    for (VerifyFinding& finding : single.report.findings)
        if (finding.code == VerifyCode::NotOpened)
            finding.code = VerifyCode::NoRaster;
    return single.report;
}

bool hasAllBlocks(const QString& path, QString& reason)
{
    const GDALMutex lock;
    Messages messages;
    const ThreadOption wholeStrips(splitOption, "NO");
    const Dataset file = openToRead(path, /*oneOfMany=*/true);
    if (!file) {
        reason = messages.firstFailureOr("cannot be opened");
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

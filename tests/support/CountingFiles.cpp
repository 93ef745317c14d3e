#include "support/CountingFiles.h"

#ifdef VEXEL_TESTS_HAVE_COUNTING_FILES

#include "support/rasters.h"

#include <cpl_vsi.h>

#include <algorithm>
#include <cstddef>
#include <memory>
#include <mutex>
#include <set>
#include <stdexcept>

namespace {

constexpr char prefix[] = "/vsicounting/";

struct FileNotes
{
    int opens = 0;
    std::uint64_t bytes = 0;
    std::map<std::uint64_t, int> readsFrom; // by the offset of their first byte
};

struct Notes
{
    std::mutex mutex;
    std::map<std::string, FileNotes> files;
};

Notes& notes()
{
    static Notes all;
    return all;
}

FileNotes notesOf(const QString& file)
{
    const std::lock_guard<std::mutex> lock(notes().mutex);
    const auto found = notes().files.find(file.toStdString());
    return found == notes().files.end() ? FileNotes() : found->second;
}

/// A real file that is open.
struct OpenFile
{
    std::string path;
    VSILFILE* file;
};

VSILFILE* fileOf(void* handle)
{
    return static_cast<OpenFile*>(handle)->file;
}

/// What is left of a path when its prefix is gone lacks the slash of the root.
std::string realPath(const char* path)
{
    return "/" + std::string(path);
}

int statFile(void*, const char* path, VSIStatBufL* status, int flags)
{
    return VSIStatExL(realPath(path).c_str(), status, flags);
}

void* openFile(void*, const char* path, const char* access)
{
    const std::string real = realPath(path);
    const bool forReading = std::string(access).find_first_of("wa+") == std::string::npos;
    VSILFILE* file = forReading ? VSIFOpenL(real.c_str(), access) : nullptr;
    if (!file)
        return nullptr;
    const std::lock_guard<std::mutex> lock(notes().mutex);
    ++notes().files[real].opens;
    return new OpenFile{real, file};
}

std::size_t readFile(void* handle, void* buffer, std::size_t size, std::size_t count)
{
    const OpenFile& open = *static_cast<OpenFile*>(handle);
    const vsi_l_offset offset = VSIFTellL(open.file);
    const std::size_t done = VSIFReadL(buffer, size, count, open.file);
    const std::lock_guard<std::mutex> lock(notes().mutex);
    FileNotes& file = notes().files[open.path];
    file.bytes += size * done;
    ++file.readsFrom[offset];
    return done;
}

int closeFile(void* handle)
{
    const std::unique_ptr<OpenFile> open(static_cast<OpenFile*>(handle));
    return VSIFCloseL(open->file);
}

bool installHandler()
{
    VSIFilesystemPluginCallbacksStruct* callbacks = VSIAllocFilesystemPluginCallbacksStruct();
    callbacks->stat = statFile;
    callbacks->open = openFile;
    callbacks->tell = [](void* handle) { return VSIFTellL(fileOf(handle)); };
    callbacks->seek = [](void* handle, vsi_l_offset offset, int whence) {
        return VSIFSeekL(fileOf(handle), offset, whence);
    };
    callbacks->read = readFile;
    callbacks->eof = [](void* handle) { return VSIFEofL(fileOf(handle)); };
    callbacks->close = closeFile;
    callbacks->nBufferSize = 0;
    callbacks->nCacheSize = 0;
    const bool installed = VSIInstallPluginHandler(prefix, callbacks) == 0;
    VSIFreeFilesystemPluginCallbacksStruct(callbacks);
    return installed;
}

} // namespace

CountingFiles::CountingFiles()
{
    static const bool installed = installHandler();
    if (!installed)
        throw std::runtime_error("GDAL takes no file system");
    reset();
}

QString CountingFiles::pathOf(const QString& file)
{
    return prefix + file.mid(1);
}

int CountingFiles::opens(const QString& file) const
{
    return notesOf(file).opens;
}

std::uint64_t CountingFiles::bytes(const QString& file) const
{
    return notesOf(file).bytes;
}

BlockFetches CountingFiles::fetches(const QString& geoTiff) const
{
    const FileNotes file = notesOf(geoTiff);
    std::vector<int> counts;
    for (const std::uint64_t offset : blockOffsets(geoTiff)) {
        const auto found = file.readsFrom.find(offset);
        counts.push_back(found == file.readsFrom.end() ? 0 : found->second);
    }
    BlockFetches fetches;
    fetches.blocks = counts.size();
    for (const int count : counts)
        fetches.fetches += static_cast<std::uint64_t>(count);
    if (!counts.empty()) {
        fetches.fewest = *std::min_element(counts.begin(), counts.end());
        fetches.most = *std::max_element(counts.begin(), counts.end());
    }
    return fetches;
}

void CountingFiles::reset()
{
    const std::lock_guard<std::mutex> lock(notes().mutex);
    notes().files.clear();
}

std::vector<std::uint64_t> blockOffsets(const QString& geoTiff)
{
    const rasters::Dataset dataset = rasters::open(geoTiff);
    if (!dataset)
        throw std::runtime_error("GDAL cannot open " + geoTiff.toStdString());
    std::set<std::uint64_t> offsets;
    for (int k = 1; k <= dataset->GetRasterCount(); ++k) {
        GDALRasterBand& band = *dataset->GetRasterBand(k);
        int width = 0;
        int height = 0;
        band.GetBlockSize(&width, &height);
        for (int y = 0; y * height < band.GetYSize(); ++y)
            for (int x = 0; x * width < band.GetXSize(); ++x) {
                const std::string item = "BLOCK_OFFSET_" + std::to_string(x) + "_" + std::to_string(y);
                if (const char* offset = band.GetMetadataItem(item.c_str(), "TIFF"))
                    offsets.insert(std::stoull(offset));
            }
    }
    return {offsets.begin(), offsets.end()};
}

#endif

#ifndef VEXEL_TESTS_SUPPORT_COUNTINGFILES_H
#define VEXEL_TESTS_SUPPORT_COUNTINGFILES_H

#include <QString>

#include <gdal_version.h>

#include <cstdint>
#include <map>
#include <string>
#include <vector>

// Older versions of GDAL have no file systems of the application's.
#if GDAL_VERSION_NUM >= GDAL_COMPUTE_VERSION(3, 0, 0)
#define VEXEL_TESTS_HAVE_COUNTING_FILES
#endif

/// How often the blocks of a file were fetched.
struct BlockFetches
{
    std::uint64_t blocks = 0;  ///< of the file; bands that lie interleaved share theirs
    std::uint64_t fetches = 0; ///< of all of them
    int fewest = 0;            ///< of one block
    int most = 0;

    double perBlock() const { return static_cast<double>(fetches) / static_cast<double>(blocks); }
};

/// Shows real files to GDAL under other paths, for reading, and notes what is read of them. Nothing lies
/// between the reads and the notes, no buffer and no cache: a block of a GeoTIFF that is decoded twice is
/// read twice.
///
/// One lives at a time. The paths stay valid when it is gone.
class CountingFiles
{
public:
    CountingFiles();

    /// The path under which GDAL finds the file, which has an absolute path.
    static QString pathOf(const QString& file);

    /// How often the file was opened.
    int opens(const QString& file) const;
    /// Bytes that were read of the file in all.
    std::uint64_t bytes(const QString& file) const;
    /// How often each block of a GeoTIFF was read. Sparse blocks, which take no place in the file, are left
    /// out.
    BlockFetches fetches(const QString& geoTiff) const;
    /// Forgets what was noted.
    void reset();
};

/// Where each block of a GeoTIFF starts, ascending.
std::vector<std::uint64_t> blockOffsets(const QString& geoTiff);

#endif

#include "fault/allocations.h"
#include "fault/resources.h"
#include "oddinput/mutations.h"
#include "oddinput/zoo.h"
#include "streaming/GDALStreamer.h"
#include "support/LogCapture.h"
#include "support/PeakMemory.h"
#include "support/TempFolder.h"
#include "support/downsampling.h"
#include "support/figures.h"
#include "support/files.h"
#include "support/gdalhandlers.h"

#include <cpl_error.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <numeric>
#include <sstream>
#include <string>
#include <vector>

// Whatever a file claims to be: beside the box of pixels that is asked for, the library's own code allocates no more
// than a constant. What GDAL allocates, for the blocks of the file above all, is told apart.

namespace {

using vexel::GDALStreamer;
using vexel::PixelBox;
using vexel::PixelMatrix;
using vexel::PixelPoint;

namespace allocations = faults::allocations;

/// For lists of files and bands, paths, and texts.
constexpr std::uint64_t constant = std::uint64_t{64} << 10;

constexpr int noDamagedFiles = faults::sanitized ? 200 : 2000;

/// The most that any file has made the library allocate, in bytes, counting what it had released again.
struct Most
{
    std::uint64_t opening = 0;
    std::uint64_t reading = 0; ///< beyond the box
    int files = 0;
    int opened = 0;
};

constexpr int edge = 256;

/// The first few bands, or all.
std::vector<int> someBands(const GDALStreamer& set)
{
    std::vector<int> bands(std::min<std::size_t>(4, set.noBands()));
    std::iota(bands.begin(), bands.end(), 1);
    return bands;
}

std::uint64_t bytesToOpen(GDALStreamer& set, const QString& path)
{
    allocations::count();
    set.openRead(path);
    return allocations::stopAndSum();
}

/// Calls `read(pixels)`; the bytes that it takes beyond the matrix.
template <class T, class Read>
std::uint64_t bytesBeside(const Read& read)
{
    PixelMatrix<T> pixels;
    allocations::count();
    read(pixels);
    const std::uint64_t all = allocations::stopAndSum();
    const std::uint64_t asked = static_cast<std::uint64_t>(pixels.size()) * sizeof(T);
    return all > asked ? all - asked : 0;
}

std::uint64_t bytesToRead(const GDALStreamer& set)
{
    const PixelBox box(PixelPoint(0, 0),
                       PixelPoint(std::min(edge, set.width()), std::min(edge, set.height())));
    const std::vector<int> bands = someBands(set);
    const std::uint64_t several = bytesBeside<float>(
        [&](PixelMatrix<float>& pixels) { set.readBands(pixels, bands, box, 1.0, /*fill=*/true, 0.0f); });
    const std::uint64_t one = bytesBeside<double>(
        [&](PixelMatrix<double>& pixels) { set.read(pixels, set.noBands(), box, 0.5, /*fill=*/true, 0.0); });
    return std::max(several, one);
}

void measure(const QString& path, Most& most)
{
    GDALStreamer set;
    const std::uint64_t opening = bytesToOpen(set, path);
    EXPECT_LE(opening, constant);
    most.opening = std::max(most.opening, opening);
    ++most.files;
    if (!set.opened())
        return;
    ++most.opened;
    const std::uint64_t reading = bytesToRead(set);
    EXPECT_LE(reading, constant);
    most.reading = std::max(most.reading, reading);
}

/// The bytes of every raster that GDAL makes here; files that they refer to lie in the folder.
std::vector<std::string> zooFiles(const TempFolder& folder, Most& most)
{
    std::vector<std::string> contents;
    for (const zoo::Specimen& specimen : zoo::specimens()) {
        if (!zoo::missing(specimen).empty())
            continue;
        SCOPED_TRACE(specimen.name);
        const QString path = folder / QString::fromStdString(specimen.file);
        specimen.make(path);
        measure(path, most);
        contents.push_back(fileText(path));
    }
    return contents;
}

TEST(AllocatedMemory, IsBoundByTheBoxThatIsAskedFor)
{
    const QuietGdal quiet;
    const LogCapture log;
    const TempFolder folder;
    const PeakMemory memory;
    Most most;
    const std::vector<std::string> originals = zooFiles(folder, most);
    ASSERT_FALSE(originals.empty());
    const QString path = folder / "damaged.tif";
    for (int i = 0; i < noDamagedFiles && !HasFailure(); ++i) {
        SCOPED_TRACE("damaged file " + std::to_string(i));
        oddinput::Dice dice(static_cast<std::uint64_t>(i));
        const std::string& original = originals[dice.below(originals.size())];
        makeFile(path, oddinput::mutated(original, originals[dice.below(originals.size())], dice));
        measure(path, most);
    }
    std::ostringstream figures;
    figures << most.files << " files, " << most.opened << " opened: at most " << most.opening
            << " bytes to open one, " << most.reading << " bytes to read apart from the box";
    if (memory.isKnown())
        figures << "; GDAL and all else took " << memory.rise() / (1 << 20) << " MiB at most";
    tellFigures(figures.str());
}

} // namespace

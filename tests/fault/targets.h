#ifndef VEXEL_TESTS_FAULT_TARGETS_H
#define VEXEL_TESTS_FAULT_TARGETS_H

#include "companion/DataType.h"
#include "streaming/GDALStreamer.h"

#include <QString>

#include <string>
#include <vector>

/// Rasters to be written and looked at afterwards, each with pixels that tell its place in it.
namespace faults {

struct Target
{
    const char* name; ///< of the file, or that the tile files are named from
    int width;
    int height;
    int bands;
    vexel::DataType type;
    int tileWidth = 0; ///< 0 for a single file
    int tileHeight = 0;
    bool hasReference = false; ///< has a projection file
};

/// One file that belongs to a target, and its place in it.
struct TargetFile
{
    std::string name;
    int x0;
    int y0;
    int width;
    int height;
    std::vector<std::string> sideFiles;
};

std::vector<TargetFile> filesOf(const Target& target);

/// What a pixel is written as; band from 1. A slow slope for JPEG, else noise, which does not compress.
double pixelOf(const Target& target, int x, int y, int band);

/// Opens the target below the folder for writing.
bool openTarget(vexel::GDALStreamer& set, const QString& folder, const Target& target);

/// Writes rows y0 to y1 of all bands.
bool writeRows(const vexel::GDALStreamer& set, const Target& target, int y0, int y1);

/// Opens, writes all pixels in several transfers, and closes. Empty if that worked, else why it did not.
std::string writeTarget(const QString& folder, const Target& target);

/// What is wrong with a file of the target: that it is not whole, or holds other pixels. Empty if nothing is.
std::string faultOf(const QString& folder, const Target& target, const TargetFile& file);

/// Names of all that belongs to finished targets, sorted and joined as `TempFolder::listing` does it.
std::string listingOf(const std::vector<Target>& targets);

} // namespace faults

#endif

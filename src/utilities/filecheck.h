#ifndef VEXEL_UTILITIES_FILECHECK_H
#define VEXEL_UTILITIES_FILECHECK_H

#include "companion/DataType.h"
#include "utilities/decodableblocks.h"
#include "utilities/verify.h"
#include "workspace/Workspace.h"

#include <QString>

#include <map>
#include <optional>

namespace vexel::gdal::verification {

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

/// Opens a file and checks it by itself. Holds the GDAL lock.
///
/// @param oneOfMany whether it belongs to a set, whose folder is not worth listing for each of its files.
FileCheck checkFile(const QString& path, bool decode, bool oneOfMany);

} // namespace vexel::gdal::verification

#endif

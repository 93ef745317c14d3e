#ifndef VEXEL_UTILITIES_WARPOUTPUT_H
#define VEXEL_UTILITIES_WARPOUTPUT_H

#include "streaming/gdaldataset.h"

#include <QString>

#include <filesystem>
#include <optional>

namespace vexel::gdal {

/// The output of GDAL's warp utility, which writes its target in place: takes care that no part of a file stays where
/// the warp failed, or where the disk turned out to be full when the file was closed.
class WarpOutput
{
public:
    /// To be made before the warp.
    explicit WarpOutput(const QString& path);

    /// Closes the result, null for a warp that failed. False, and what the warp has left is removed, if there is none
    /// or it is not whole. A file that the warp has not touched stays.
    bool finish(Dataset result) const;

    /// Removes what the warp has made, with its overviews, statistics and mask. A file that it has not touched stays.
    void discard() const;

private:
    using Time = std::filesystem::file_time_type;

    std::optional<Time> timeOfFile() const;

    QString m_path;
    std::optional<Time> m_before;
};

} // namespace vexel::gdal

#endif

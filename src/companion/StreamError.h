#ifndef VEXEL_COMPANION_STREAMERROR_H
#define VEXEL_COMPANION_STREAMERROR_H

#include "../export.h"

#include <QString>

#include <cstdint>
#include <iosfwd>

namespace vexel {

/// Reason why an operation of a raster set, a file or a job failed.
///
/// @code
/// if (!set.openRead(path))
///     std::cerr << set.lastError() << std::endl; // "ortho.tif: cannot be opened: ortho.tif: No such file or directory"
/// @endcode
struct VEXEL_EXPORT StreamError
{
    /// Kind of a failure.
    enum class Code : std::int32_t
    {
        None = 0,            ///< no failure
        BadArgument = 1,     ///< an empty path, a box without area, a scale that is not finite …
        NotOpen = 2,         ///< the set or file is not open, or the set has no such file
        CannotOpen = 3,      ///< GDAL cannot open the file
        UnsupportedType = 4, ///< the file has no bands, or its pixel type is not supported
        IncompleteSet = 5,   ///< the tile files do not form a grid, or differ in bands or type
        NoSuchBand = 6,      ///< a touched file lacks the band or the colours that you asked for
        NotWritable = 7,     ///< the set was opened for reading
        CannotRead = 8,      ///< GDAL could not read or decode pixels
        CannotWrite = 9,     ///< GDAL reported a write error by the end of the transfer
        CannotCreate = 10,   ///< the working file could not be created
        CannotComplete = 11, ///< the final file is not there, or a file next to it: see the text
        Stopped = 12         ///< completing was stopped, and nothing is left
    };

    Code code = Code::None; ///< kind of the failure
    QString path;           ///< path of the file or of the set
    QString text; ///< the reason, if possible in the words of GDAL or the system; not empty after a failure

    /// Returns true if there was a failure.
    explicit operator bool() const { return code != Code::None; }

    /// Returns the path, the failure and the reason in one line, or an empty text if there was no failure.
    QString message() const;
};

/// Writes `message()` as UTF-8. The stream's format has no effect.
VEXEL_EXPORT std::ostream& operator<<(std::ostream& stream, const StreamError& error);

} // namespace vexel

#endif

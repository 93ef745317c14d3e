#ifndef VEXEL_COMPANION_STREAMERROR_H
#define VEXEL_COMPANION_STREAMERROR_H

#include "../export.h"

#include <QString>

#include <cstdint>
#include <iosfwd>

namespace vexel {

/// Why an operation of a raster set, a file or a job failed.
///
/// @code
/// if (!set.openRead(path))
///     std::cerr << set.lastError() << std::endl; // "ortho.tif: cannot be opened: ortho.tif: No such file or directory"
/// @endcode
struct VEXEL_EXPORT StreamError
{
    /// What kind of failure it was.
    enum class Code : std::int32_t
    {
        None = 0,            ///< no failure
        BadArgument = 1,     ///< an empty path, a box without area, a scale that is not finite …
        NotOpen = 2,         ///< the set or file is not open, or there is no such file in it
        CannotOpen = 3,      ///< GDAL does not open the file
        UnsupportedType = 4, ///< no bands, or pixels of a type that is not supported
        IncompleteSet = 5,   ///< tile files that do not form a grid, or differ in bands or type
        NoSuchBand = 6,      ///< a touched file lacks the band, or is not of the colours that were asked for
        NotWritable = 7,     ///< the set was opened for reading
        CannotRead = 8,      ///< GDAL fails to read or decode pixels
        CannotWrite = 9,     ///< as far as GDAL has told by the end of the transfer
        CannotCreate = 10,   ///< the working file
        CannotComplete = 11, ///< the final file, which is not there then; or one beside it, as the text says
        Stopped = 12         ///< completing was asked to stop; nothing is left
    };

    Code code = Code::None; ///< what kind of failure
    QString path;           ///< of the file, or of the set
    QString text; ///< what was wrong, in the words of GDAL or the system where they have some; never empty

    /// True if there was a failure.
    explicit operator bool() const { return code != Code::None; }

    /// Path, what failed, and why, in one line; empty if there was no failure.
    QString message() const;
};

/// Writes `message()` as UTF-8, whatever the stream's format is.
VEXEL_EXPORT std::ostream& operator<<(std::ostream& stream, const StreamError& error);

} // namespace vexel

#endif

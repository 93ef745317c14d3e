#ifndef VEXEL_COMPANION_NATIVEPATH_H
#define VEXEL_COMPANION_NATIVEPATH_H

#include <QByteArray>
#include <QString>

#include <filesystem>
#include <string>

// Between Qt's texts and the paths of the standard library. Both ways are by UTF-8 in every language standard, since
// Qt encodes file names by the locale while GDAL takes UTF-8: both must agree, so Qt's file classes are not used.

namespace vexel::file {

/// The path that the system and GDAL know by this text.
inline std::filesystem::path nativePath(const QString& path)
{
    const QByteArray bytes = path.toUtf8();
#ifdef __cpp_lib_char8_t
    const auto* const first = reinterpret_cast<const char8_t*>(bytes.constData());
    return std::filesystem::path(first, first + bytes.size());
#else
    return std::filesystem::u8path(bytes.constData(), bytes.constData() + bytes.size());
#endif
}

/// The bytes of a path, which the system may know by a name that is not valid UTF-8.
inline std::string utf8Of(const std::filesystem::path& path)
{
    const auto text = path.u8string(); // of another type since C++20
    return std::string(text.begin(), text.end());
}

/// One path for all spellings of it: absolute and free of links as far as it exists. Where the system cannot tell, it
/// is at least free of "." and "..".
std::filesystem::path resolvedPath(const QString& path);

} // namespace vexel::file

#endif

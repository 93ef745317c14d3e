#ifndef VEXEL_COMPANION_FILE_H
#define VEXEL_COMPANION_FILE_H

#include "../export.h"

#include <QString>
#include <QStringList>

/// Paths and small files.
///
/// Paths are Unicode texts. The system receives them as UTF-8 in every locale, because GDAL does the same: a path names
/// the same file here and in GDAL. No function takes a lock, and none throws because a file is missing or cannot be
/// reached.
namespace vexel::file {

/// Returns the extension of the file name with its dot, for example ".tif". It is empty if the name has no extension.
///
/// Dots in folder names do not count, and neither does a dot at the start of the file name (".profile").
/// `basepath(path) + extension(path)` is always `path`.
VEXEL_EXPORT QString extension(const QString& path);

/// Returns the path without its extension, but with its folder.
VEXEL_EXPORT QString basepath(const QString& path);

/// Returns the file name without folder and without extension.
VEXEL_EXPORT QString basename(const QString& path);

/// Returns the folder of the path without a slash at the end. It is "." for a bare file name and "/" for a file in the
/// root.
VEXEL_EXPORT QString dirname(const QString& path);

/// Finds the entries of a folder whose names match a pattern.
///
/// @param dir       the folder. Its subfolders are not searched.
/// @param pattern   must match the whole name. '*' matches any number of characters and '?' matches one. Upper and
///                  lower case differ.
/// @param filesOnly true to find only regular files and links to such files.
/// @return the paths, each as `dir` + "/" + name, in natural order (runs of digits compare as numbers), which is the
///         same on every file system. The list is empty if the folder does not exist. Entries whose name is not valid
///         UTF-8 are left out.
VEXEL_EXPORT QStringList find(const QString& dir, const QString& pattern, bool filesOnly);

/// Returns true if both paths name the same file. Their spelling does not matter: they can be relative or absolute,
/// contain "." or "..", and go through links. The files need not exist yet, because their folders and names are
/// compared then.
VEXEL_EXPORT bool samepath(const QString& a, const QString& b);

/// Returns true if a file or folder exists at the path. Links are followed.
VEXEL_EXPORT bool exists(const QString& path);

/// Creates the folder and its parent folders. Returns true if the folder exists afterwards.
VEXEL_EXPORT bool mkdir(const QString& path);

/// Deletes the file. If the path is a link, the link is deleted and not its target.
///
/// @return false if there is no such file, if the path is a folder, or if the system refuses.
VEXEL_EXPORT bool remove(const QString& path);

/// Writes `text` as UTF-8 and replaces the file. Line ends are written unchanged.
///
/// @return false if the text cannot be written completely. `errno` has the reason, and a part of the text can be left
///         in the file.
VEXEL_EXPORT bool writeText(const QString& path, const QString& text);

} // namespace vexel::file

#endif

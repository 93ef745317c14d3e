#ifndef VEXEL_COMPANION_FILE_H
#define VEXEL_COMPANION_FILE_H

#include "../export.h"

#include <QString>
#include <QStringList>

/// Paths and small files. Paths are Unicode texts, handed to the system as UTF-8 in whatever locale the
/// application runs, so that they name the same file here and in GDAL. No operation throws for a file that is
/// missing or cannot be reached, or takes a lock.
namespace vexel::file {

/// The extension of the file name with its dot (".tif"), empty if the name has none. Dots of folder names and
/// one that starts the file name (".profile") do not count: `basepath(path) + extension(path)` is `path`.
VEXEL_EXPORT QString extension(const QString& path);

/// The path without its extension, folder kept.
VEXEL_EXPORT QString basepath(const QString& path);

/// The file name without folder and without extension.
VEXEL_EXPORT QString basename(const QString& path);

/// The folder part of the path without a closing slash: "." for a bare file name, "/" for a file of the root.
VEXEL_EXPORT QString dirname(const QString& path);

/// The entries of the folder `dir` whose name matches `pattern` ('*' any run of characters, '?' any one; case
/// counts), each as `dir` + "/" + name.
///
/// @param dir       the folder; those in it are not searched.
/// @param pattern   of the whole name.
/// @param filesOnly true leaves out all but regular files and links to them.
/// @return the paths in natural order (runs of digits compare as numbers), the same on every file system;
///         none if there is no such folder. Entries whose name is not valid UTF-8 are left out.
VEXEL_EXPORT QStringList find(const QString& dir, const QString& pattern, bool filesOnly);

/// True when both paths name the same file, however they are spelt: relative or absolute, with "." or ".."
/// parts, through links. Also tells for files that do not exist yet, by their folders and names.
VEXEL_EXPORT bool samepath(const QString& a, const QString& b);

/// True when a file or folder exists at the path. A link counts as what it points to.
VEXEL_EXPORT bool exists(const QString& path);

/// Makes the folder and those above it. True when it exists afterwards.
VEXEL_EXPORT bool mkdir(const QString& path);

/// Deletes the file (a link, not what it points to). False if there was none, for a folder, and if the system
/// refuses.
VEXEL_EXPORT bool remove(const QString& path);

/// Writes `text` as UTF-8, line ends as they are, replacing the file. False, with `errno` telling why, if it
/// cannot be written whole; a part of it may then be there.
VEXEL_EXPORT bool writeText(const QString& path, const QString& text);

} // namespace vexel::file

#endif

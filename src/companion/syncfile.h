#ifndef VEXEL_COMPANION_SYNCFILE_H
#define VEXEL_COMPANION_SYNCFILE_H

#include <QString>

namespace vexel::file {

/// Waits until all of the file has reached the disk. False, with the system's words in `reason`, if it has not.
bool syncFile(const QString& path, QString& reason);

/// Waits until the folder's names have reached the disk, where the file system can tell.
void syncFolder(const QString& path);

/// Gives the file `from` the name `to`, in one go, instead of the file that had it. False, with the system's
/// words in `reason`, if that cannot be done.
bool replace(const QString& from, const QString& to, QString& reason);

} // namespace vexel::file

#endif

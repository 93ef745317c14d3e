#ifndef VEXEL_COMPANION_SYNCFILE_H
#define VEXEL_COMPANION_SYNCFILE_H

#include <QString>

namespace vexel::file {

/// Waits until all of the file has reached the disk. False, with the system's words in `reason`, if it has not.
bool syncFile(const QString& path, QString& reason);

/// Waits until the folder's names have reached the disk, where the file system can tell.
void syncFolder(const QString& path);

/// Renames the file `from` to `to` atomically. A file of that name is replaced. False, with the system's
/// words in `reason`, if that cannot be done.
bool replace(const QString& from, const QString& to, QString& reason);

/// A file that stays what it is, whatever becomes of its path: it is held open, so that its number is not given to another
/// one. Windows does not let a held file be renamed: there it is only known by its path.
class HeldFile
{
public:
    HeldFile() = default;
    ~HeldFile() { letGo(); }
    HeldFile(const HeldFile&) = delete;
    HeldFile& operator=(const HeldFile&) = delete;

    /// Holds the file that is there now. False if there is none.
    bool hold(const QString& path);
    /// A file that was removed meanwhile gives its room back now, which takes a while for a large one.
    void letGo();

    bool isHeld() const { return m_isHeld; }
    /// Whether the path still means that file.
    bool isAt(const QString& path) const;

private:
    bool m_isHeld = false;
    int m_descriptor = -1;
};

} // namespace vexel::file

#endif

#ifndef VEXEL_TESTS_FAULT_SMALLDISK_H
#define VEXEL_TESTS_FAULT_SMALLDISK_H

#include <QString>

namespace faults {

/// A disk that can be filled up: a small file system in memory, which not every system lets a process mount.
class SmallDisk
{
public:
    /// @param folder where it is mounted, for this process alone and until it ends. Throws where it cannot be.
    explicit SmallDisk(const QString& folder);

    /// An empty folder on it.
    QString folder() const { return m_folder + "/disk"; }

    /// Leaves room for that many bytes, rounded up to the disk's blocks. May be called again with another number.
    void leave(unsigned long long bytes) const;

private:
    QString m_folder;
};

} // namespace faults

#endif

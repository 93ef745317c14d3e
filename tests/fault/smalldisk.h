#ifndef VEXEL_TESTS_FAULT_SMALLDISK_H
#define VEXEL_TESTS_FAULT_SMALLDISK_H

#include <QString>

namespace faults {

/// A disk that can be filled up. It is a small file system in memory where this process may mount one; else a limit of
/// the file size stands for it.
class SmallDisk
{
public:
    /// @param folder where it is mounted, for this process alone and until it ends.
    explicit SmallDisk(const QString& folder);

    /// True if it is a file system, false if it is a limit.
    bool isMounted() const { return m_isMounted; }

    /// An empty folder on it.
    QString folder() const { return m_folder + "/disk"; }

    /// Leaves room for that many bytes, rounded up to the disk's blocks. May be called again with another number.
    void leave(unsigned long long bytes) const;

private:
    QString m_folder;
    bool m_isMounted;
};

} // namespace faults

#endif

#ifndef VEXEL_BENCHMARKS_TEMPORARYFOLDER_H
#define VEXEL_BENCHMARKS_TEMPORARYFOLDER_H

#include <QString>

/// A new folder that is removed with all that is in it.
class TemporaryFolder
{
public:
    TemporaryFolder();
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    QString operator/(const char* name) const { return m_path + "/" + QString::fromUtf8(name); }

private:
    QString m_path;
};

#endif

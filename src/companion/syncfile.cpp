#include "companion/syncfile.h"

#include "companion/errnotext.h"
#include "companion/nativepath.h"

#include <cerrno>
#include <filesystem>

#ifndef Q_OS_WIN
#include <fcntl.h>
#include <unistd.h>
#endif

namespace vexel::file {

namespace {

#ifndef Q_OS_WIN
/// 0, or the error number. File systems that have nothing to wait for do not count.
int syncEntry(const QString& path, int flags)
{
    const int descriptor = ::open(path.toUtf8().constData(), flags | O_CLOEXEC);
    if (descriptor < 0)
        return errno;
    const bool synced = ::fsync(descriptor) == 0 || errno == EINVAL || errno == ENOTSUP;
    const int error = synced ? 0 : errno;
    ::close(descriptor);
    return error;
}
#else
int syncEntry(const QString&, int)
{
    return 0;
}
constexpr int O_RDONLY = 0;
#endif

} // namespace

bool syncFile(const QString& path, QString& reason)
{
    errno = syncEntry(path, O_RDONLY);
    if (errno == 0)
        return true;
    reason = errnoText();
    return false;
}

void syncFolder(const QString& path)
{
    syncEntry(path, O_RDONLY);
}

bool replace(const QString& from, const QString& to, QString& reason)
{
    std::error_code error;
    std::filesystem::rename(nativePath(from), nativePath(to), error);
    if (error)
        reason = QString::fromStdString(error.message());
    return !error;
}

} // namespace vexel::file

#include "companion/syncfile.h"

#include "companion/nativepath.h"

#include <filesystem>
#include <system_error>

#ifdef Q_OS_WIN
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>
#else
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#endif

namespace vexel::file {

namespace {

#ifdef Q_OS_WIN
std::error_code lastError()
{
    return {static_cast<int>(GetLastError()), std::system_category()};
}

std::error_code syncEntry(const QString& path)
{
    const DWORD sharing = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
    const HANDLE file = CreateFileW(nativePath(path).c_str(), GENERIC_WRITE, sharing, nullptr, OPEN_EXISTING,
                                    FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE)
        return lastError();
    const std::error_code error = FlushFileBuffers(file) ? std::error_code() : lastError();
    CloseHandle(file);
    return error;
}
#else
std::error_code lastError()
{
    return {errno, std::generic_category()};
}

/// File systems that have nothing to wait for do not count.
std::error_code syncEntry(const QString& path)
{
    const int descriptor = ::open(path.toUtf8().constData(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0)
        return lastError();
    const bool synced = ::fsync(descriptor) == 0 || errno == EINVAL || errno == ENOTSUP;
    const std::error_code error = synced ? std::error_code() : lastError();
    // Network file systems report a full disk here. Interrupted, the descriptor is closed all the same.
    const bool closed = ::close(descriptor) == 0 || errno == EINTR;
    return synced && !closed ? lastError() : error;
}
#endif

/// True without an error; otherwise `reason` gets the system's words.
bool succeeded(const std::error_code& error, QString& reason)
{
    if (error)
        reason = QString::fromLocal8Bit(error.message().c_str());
    return !error;
}

} // namespace

bool syncFile(const QString& path, QString& reason)
{
    return succeeded(syncEntry(path), reason);
}

void syncFolder(const QString& path)
{
#ifndef Q_OS_WIN
    syncEntry(path);
#else
    (void)path; // Windows has no way to wait for a folder's names
#endif
}

bool replace(const QString& from, const QString& to, QString& reason)
{
    std::error_code error;
    std::filesystem::rename(nativePath(from), nativePath(to), error);
    return succeeded(error, reason);
}

#ifdef Q_OS_WIN
bool HeldFile::hold(const QString& path)
{
    std::error_code error;
    return m_isHeld = std::filesystem::exists(nativePath(path), error);
}

void HeldFile::letGo()
{
    m_isHeld = false;
}

bool HeldFile::isAt(const QString& path) const
{
    std::error_code error;
    return m_isHeld && std::filesystem::exists(nativePath(path), error);
}
#else
bool HeldFile::hold(const QString& path)
{
    letGo();
    m_descriptor = ::open(path.toUtf8().constData(), O_RDONLY | O_CLOEXEC);
    return m_isHeld = m_descriptor >= 0;
}

void HeldFile::letGo()
{
    if (m_isHeld)
        ::close(m_descriptor);
    m_isHeld = false;
}

bool HeldFile::isAt(const QString& path) const
{
    struct stat here = {};
    struct stat there = {};
    return m_isHeld && ::fstat(m_descriptor, &here) == 0 && ::stat(path.toUtf8().constData(), &there) == 0 &&
           here.st_dev == there.st_dev && here.st_ino == there.st_ino;
}
#endif

} // namespace vexel::file

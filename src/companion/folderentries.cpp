#include "companion/folderentries.h"

#include "companion/nativepath.h"

#include <cstring>
#include <system_error>

namespace fs = std::filesystem;

namespace vexel::file {

#ifdef Q_OS_WIN

namespace {

fs::directory_iterator firstOf(const fs::path& folder)
{
    std::error_code error;
    fs::directory_iterator first(folder, error);
    return error ? fs::directory_iterator() : first;
}

} // namespace

FolderEntries::FolderEntries(const fs::path& folder) : m_folder(folder), m_next(firstOf(folder)) {}

bool FolderEntries::next()
{
    if (m_next == fs::directory_iterator())
        return false;
    m_name = utf8Of(m_next->path().filename());
    std::error_code error;
    m_next.increment(error);
    if (error)
        m_next = fs::directory_iterator();
    return true;
}

bool FolderEntries::isRegularFile() const
{
    std::error_code unreachable;
    return fs::is_regular_file(m_folder / nativePath(QString::fromStdString(m_name)), unreachable);
}

#else

namespace {

bool isFolderItselfOrParent(const char* name)
{
    return std::strcmp(name, ".") == 0 || std::strcmp(name, "..") == 0;
}

/// False also where the file system does not tell.
bool isKnownAsFile(const dirent& entry)
{
#ifdef DT_REG
    return entry.d_type == DT_REG;
#else
    (void)entry;
    return false;
#endif
}

} // namespace

FolderEntries::FolderEntries(const fs::path& folder) : m_folder(folder), m_stream(opendir(folder.c_str())) {}

bool FolderEntries::next()
{
    const dirent* entry = nullptr;
    do
        entry = m_stream ? readdir(m_stream.get()) : nullptr;
    while (entry && isFolderItselfOrParent(entry->d_name));
    if (!entry)
        return false;
    m_name = entry->d_name;
    m_knownAsFile = isKnownAsFile(*entry);
    return true;
}

bool FolderEntries::isRegularFile() const
{
    std::error_code unreachable;
    return m_knownAsFile || fs::is_regular_file(m_folder / m_name, unreachable);
}

#endif

} // namespace vexel::file

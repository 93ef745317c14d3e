#ifndef VEXEL_COMPANION_FOLDERENTRIES_H
#define VEXEL_COMPANION_FOLDERENTRIES_H

#include <QtGlobal>

#include <filesystem>
#include <memory>
#include <string>

#ifndef Q_OS_WIN
#include <dirent.h>
#endif

namespace vexel::file {

/// The entries of a folder, one after the other, in the system's order and without "." and "..".
///
/// Where memory is short it throws. The standard library's iterator reads an entry where nothing may be thrown, and would
/// end the process.
class FolderEntries
{
public:
    /// None for what is no folder, or cannot be read.
    explicit FolderEntries(const std::filesystem::path& folder);

    /// Goes on to the next entry, the first one to begin with. False if there is none, or it cannot be read.
    bool next();

    /// The name of the entry, in UTF-8 or whatever bytes the system has.
    const std::string& name() const { return m_name; }

    /// Whether the entry is a regular file or a link to one.
    bool isRegularFile() const;

private:
    std::filesystem::path m_folder;
    std::string m_name;
#ifdef Q_OS_WIN
    std::filesystem::directory_iterator m_next;
#else
    struct Close
    {
        void operator()(DIR* stream) const { closedir(stream); }
    };

    std::unique_ptr<DIR, Close> m_stream;
    bool m_knownAsFile = false;
#endif
};

} // namespace vexel::file

#endif

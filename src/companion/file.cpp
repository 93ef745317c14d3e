#include "companion/file.h"

#include "companion/folderentries.h"
#include "companion/nativepath.h"

#include <QByteArray>
#include <QChar>
#include <QVector>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <filesystem>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

namespace fs = std::filesystem;

namespace vexel::file {

namespace {

// Positions in texts: int in Qt 5, wider in Qt 6.
using Position = decltype(QString().size());

bool isSeparator(QChar c)
{
#ifdef Q_OS_WIN
    return c == '/' || c == '\\';
#else
    return c == '/';
#endif
}

// Where the file name starts: behind the last separator.
Position nameStart(const QString& path)
{
    Position start = path.size();
    while (start > 0 && !isSeparator(path[start - 1]))
        --start;
    return start;
}

// Where the extension starts; the length of the path if there is none.
Position extensionStart(const QString& path)
{
    const Position start = nameStart(path);
    const Position dot = path.lastIndexOf('.');
    const bool isParentFolder = dot == start + 1 && path.size() == start + 2 && path[start] == '.';
    return dot > start && !isParentFolder ? dot : path.size();
}

// Length of the leading separator, which names the root and belongs to it; with its drive on Windows.
int rootLength(const QString& path)
{
#ifdef Q_OS_WIN
    if (path.size() > 2 && path[1] == ':' && isSeparator(path[2]))
        return 3;
#endif
    return !path.isEmpty() && isSeparator(path[0]) ? 1 : 0;
}

bool matches(const QVector<uint>& name, const QVector<uint>& pattern)
{
    int n = 0;
    int p = 0;
    int star = -1;
    int starEnd = 0;
    while (n < name.size()) {
        if (p < pattern.size() && pattern[p] == '*') {
            star = p++;
            starEnd = n;
        } else if (p < pattern.size() && (pattern[p] == '?' || pattern[p] == name[n])) {
            ++p;
            ++n;
        } else if (star >= 0) {
            // Only the last star needs another try: what stands before it has matched as early as it can.
            p = star + 1;
            n = ++starEnd;
        } else {
            return false;
        }
    }
    while (p < pattern.size() && pattern[p] == '*')
        ++p;
    return p == pattern.size();
}

// Digits of other scripts are plain characters.
bool isDigit(QChar c)
{
    return c >= '0' && c <= '9';
}

// The run of digits that starts at `position`, without its leading zeros; moves behind it.
QString takeNumber(const QString& text, Position& position)
{
    while (position < text.size() && text[position] == '0')
        ++position;
    const Position start = position;
    while (position < text.size() && isDigit(text[position]))
        ++position;
    return text.mid(start, position - start);
}

// Natural order. Names that differ only in leading zeros follow their code units, so that the order is total.
bool naturallyLess(const QString& a, const QString& b)
{
    Position i = 0;
    Position k = 0;
    while (i < a.size() && k < b.size()) {
        if (isDigit(a[i]) && isDigit(b[k])) {
            const QString left = takeNumber(a, i);
            const QString right = takeNumber(b, k);
            if (left.size() != right.size())
                return left.size() < right.size();
            if (left != right)
                return left < right;
        } else {
            if (a[i] != b[k])
                return a[i] < b[k];
            ++i;
            ++k;
        }
    }
    const Position leftInA = a.size() - i;
    const Position leftInB = b.size() - k;
    return leftInA != leftInB ? leftInA < leftInB : a < b;
}

// False for a name that is not valid UTF-8.
bool decodeName(const std::string& entry, QString& name)
{
    // The slash keeps a byte order mark, which Qt drops at the start of a text, inside the name.
    const std::string bytes = "/" + entry;
    const QString text = QString::fromStdString(bytes);
    name = text.mid(1);
    return text.toStdString() == bytes;
}

QStringList namesIn(const QString& dir, const QString& pattern, bool filesOnly)
{
    const QVector<uint> wanted = pattern.toUcs4();
    QStringList names;
    QString name;
    for (FolderEntries entries(nativePath(dir)); entries.next();)
        if (decodeName(entries.name(), name) && matches(name.toUcs4(), wanted) &&
            (!filesOnly || entries.isRegularFile()))
            names.append(name);
    return names;
}

std::FILE* openForWriting(const QString& path)
{
#ifdef Q_OS_WIN
    return _wfopen(nativePath(path).c_str(), L"wb");
#else
    return std::fopen(nativePath(path).c_str(), "wb");
#endif
}

} // namespace

QString extension(const QString& path)
{
    return path.mid(extensionStart(path));
}

QString basepath(const QString& path)
{
    return path.left(extensionStart(path));
}

QString basename(const QString& path)
{
    const Position start = nameStart(path);
    return path.mid(start, extensionStart(path) - start);
}

QString dirname(const QString& path)
{
    const int root = rootLength(path);
    Position end = nameStart(path);
    while (end > root && isSeparator(path[end - 1]))
        --end;
    return end > 0 ? path.left(end) : QString(".");
}

QStringList find(const QString& dir, const QString& pattern, bool filesOnly)
{
    QStringList paths = namesIn(dir, pattern, filesOnly);
    std::sort(paths.begin(), paths.end(), naturallyLess);
    const QString folder = !dir.isEmpty() && isSeparator(dir[dir.size() - 1]) ? dir : dir + "/";
    for (QString& path : paths)
        path.prepend(folder);
    return paths;
}

bool samepath(const QString& a, const QString& b)
{
    if (a == b)
        return true;
    if (a.isEmpty() || b.isEmpty())
        return false;
    const fs::path left = nativePath(a);
    const fs::path right = nativePath(b);
    std::error_code error;
    if (fs::exists(left, error) && fs::exists(right, error)) {
        const bool same = fs::equivalent(left, right, error);
        if (!error)
            return same;
    }
    return resolvedPath(a) == resolvedPath(b);
}

bool exists(const QString& path)
{
    std::error_code error;
    return fs::exists(nativePath(path), error);
}

bool mkdir(const QString& path)
{
    const fs::path folder = nativePath(path);
    std::error_code error;
    fs::create_directories(folder, error);
    return fs::is_directory(folder, error);
}

bool remove(const QString& path)
{
    const fs::path entry = nativePath(path);
    std::error_code error;
    const fs::file_status status = fs::symlink_status(entry, error);
    return fs::exists(status) && !fs::is_directory(status) && fs::remove(entry, error);
}

bool writeText(const QString& path, const QString& text)
{
    const QByteArray bytes = text.toUtf8();
    std::FILE* const stream = openForWriting(path);
    if (!stream)
        return false;
    const auto size = static_cast<std::size_t>(bytes.size());
    const bool written = std::fwrite(bytes.constData(), 1, size, stream) == size;
    const int reason = errno;
    // Most of a text only reaches the system here, so that a full disk shows here.
    const bool closed = std::fclose(stream) == 0;
    if (!written)
        errno = reason;
    return written && closed;
}

} // namespace vexel::file

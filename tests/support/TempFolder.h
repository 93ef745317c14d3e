#ifndef VEXEL_TESTS_SUPPORT_TEMPFOLDER_H
#define VEXEL_TESTS_SUPPORT_TEMPFOLDER_H

#include <QString>

#include <string>

/// A new folder for one test, removed with all that is in it. Its name holds a space and a non-ASCII letter,
/// so that every test shows that such paths work.
class TempFolder
{
public:
    TempFolder();
    ~TempFolder();
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;

    /// The folder itself, absolute.
    QString path() const { return m_path; }
    /// The path of `name` inside it.
    QString operator/(const char* name) const { return m_path + "/" + QString::fromUtf8(name); }
    QString operator/(const QString& name) const { return m_path + "/" + name; }

    /// Names of what is inside, folders included, sorted and joined by spaces. For small folders.
    std::string listing() const;

private:
    QString m_path;
};

#endif

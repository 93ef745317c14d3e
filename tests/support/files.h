#ifndef VEXEL_TESTS_SUPPORT_FILES_H
#define VEXEL_TESTS_SUPPORT_FILES_H

#include <QString>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

inline bool exists(const QString& path)
{
    return std::filesystem::exists(path.toStdString());
}

/// The bytes of a file; throws if it cannot be read.
inline std::string fileText(const QString& path)
{
    std::ifstream file(path.toStdString(), std::ios::binary);
    if (!file)
        throw std::runtime_error("cannot read " + path.toStdString());
    return {std::istreambuf_iterator<char>(file), {}};
}

/// Makes a file of these bytes; throws if it cannot be written.
inline void makeFile(const QString& path, const std::string& text = "stale")
{
    std::ofstream file(path.toStdString(), std::ios::binary);
    file << text;
    if (!file.flush())
        throw std::runtime_error("cannot write " + path.toStdString());
}

#endif

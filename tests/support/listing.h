#ifndef VEXEL_TESTS_SUPPORT_LISTING_H
#define VEXEL_TESTS_SUPPORT_LISTING_H

#include <QString>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

/// The names in a folder, sorted and joined by spaces.
inline std::string listing(const QString& folder)
{
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder.toStdString()))
        names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    std::string joined;
    for (const std::string& name : names)
        joined += (joined.empty() ? "" : " ") + name;
    return joined;
}

#endif

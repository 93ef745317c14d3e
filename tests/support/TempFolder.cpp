#include "support/TempFolder.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <vector>

TempFolder::TempFolder()
{
    std::string name = (std::filesystem::temp_directory_path() / "vexel t\xC3\xABst XXXXXX").string();
    if (!mkdtemp(name.data()))
        throw std::runtime_error("cannot make a temporary folder");
    m_path = QString::fromStdString(name);
}

TempFolder::~TempFolder()
{
    std::error_code ignored;
    std::filesystem::remove_all(m_path.toStdString(), ignored);
}

std::string TempFolder::listing() const
{
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(m_path.toStdString()))
        names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    std::string joined;
    for (const std::string& name : names)
        joined += (joined.empty() ? "" : " ") + name;
    return joined;
}

#include "TemporaryFolder.h"

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <system_error>

TemporaryFolder::TemporaryFolder()
{
    std::string pattern = (std::filesystem::temp_directory_path() / "vexel-benchmark-XXXXXX").string();
    if (!mkdtemp(pattern.data()))
        throw std::runtime_error("Unable to create a folder like '" + pattern + "'");
    m_path = QString::fromStdString(pattern);
}

TemporaryFolder::~TemporaryFolder()
{
    std::error_code ignored;
    std::filesystem::remove_all(m_path.toStdString(), ignored);
}

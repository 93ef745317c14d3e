#include "support/TempFolder.h"

#include "support/listing.h"

#include <cstdlib>
#include <filesystem>
#include <stdexcept>

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
    return ::listing(m_path);
}

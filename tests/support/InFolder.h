#ifndef VEXEL_TESTS_SUPPORT_INFOLDER_H
#define VEXEL_TESTS_SUPPORT_INFOLDER_H

#include <QString>

#include <filesystem>

/// Works in another folder while it lives.
class InFolder
{
public:
    explicit InFolder(const QString& folder) : m_before(std::filesystem::current_path())
    {
        std::filesystem::current_path(folder.toStdString());
    }
    ~InFolder()
    {
        std::error_code ignored;
        std::filesystem::current_path(m_before, ignored);
    }
    InFolder(const InFolder&) = delete;
    InFolder& operator=(const InFolder&) = delete;

private:
    std::filesystem::path m_before;
};

#endif

#ifndef VEXEL_COMPANION_THREADOPTION_H
#define VEXEL_COMPANION_THREADOPTION_H

#include <optional>
#include <string>

namespace vexel::gdal {

/// Sets one of GDAL's options for this thread while it lives. Other threads, and what the application has set for all of
/// them, stay as they are.
class ThreadOption
{
public:
    /// @param name must outlive it.
    ThreadOption(const char* name, const char* value);
    ~ThreadOption();
    ThreadOption(const ThreadOption&) = delete;
    ThreadOption& operator=(const ThreadOption&) = delete;

private:
    const char* m_name;
    std::optional<std::string> m_former;
};

/// Has GDAL look for the side files of what this thread opens one by one, unless the application has said what it wants.
/// Otherwise GDAL lists the folder first, for each file, which takes far longer than opening one of thousands of tile
/// files.
class SideFilesOneByOne
{
public:
    explicit SideFilesOneByOne(bool wanted);

private:
    std::optional<ThreadOption> m_option;
};

} // namespace vexel::gdal

#endif

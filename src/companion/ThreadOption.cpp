#include "companion/ThreadOption.h"

#include <cpl_conv.h>

namespace vexel::gdal {

ThreadOption::ThreadOption(const char* name, const char* value) : m_name(name)
{
    if (const char* former = CPLGetThreadLocalConfigOption(name, nullptr))
        m_former = former;
    CPLSetThreadLocalConfigOption(name, value);
}

ThreadOption::~ThreadOption()
{
    CPLSetThreadLocalConfigOption(m_name, m_former ? m_former->c_str() : nullptr);
}

SideFilesOneByOne::SideFilesOneByOne(bool wanted)
{
    constexpr const char* option = "GDAL_DISABLE_READDIR_ON_OPEN";
    if (wanted && CPLGetConfigOption(option, nullptr) == nullptr)
        m_option.emplace(option, "YES");
}

} // namespace vexel::gdal

#ifndef VEXEL_TESTS_SUPPORT_GDALOPTION_H
#define VEXEL_TESTS_SUPPORT_GDALOPTION_H

#include <cpl_conv.h>

/// An option of GDAL's is set in this thread while it lives, and not set afterwards.
class GdalOption
{
public:
    GdalOption(const char* name, const char* value) : m_name(name)
    {
        CPLSetThreadLocalConfigOption(name, value);
    }
    ~GdalOption() { CPLSetThreadLocalConfigOption(m_name, nullptr); }
    GdalOption(const GdalOption&) = delete;
    GdalOption& operator=(const GdalOption&) = delete;

private:
    const char* m_name;
};

#endif
